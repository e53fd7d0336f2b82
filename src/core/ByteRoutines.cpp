// ByteRoutines.cpp - the byte, text-to-number and rectangle routines of ByteRoutines.h.
//
// Also home of the 8-bit upper-case table. The comparison routines with lengths keep two
// different orders on purpose (see ustrcmp below).
#include "core/ByteRoutines.h"

#include <limits.h>
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <type_traits>

namespace {

// a-z to A-Z, the Mac OS Roman lower-case letters to their capitals, all else to itself.
struct UpperCaseTable {
    unsigned char map[256];

    constexpr UpperCaseTable() : map() {
        for (int c = 0; c < 256; ++c) map[c] = static_cast<unsigned char>(c);
        for (int c = 'a'; c <= 'z'; ++c) map[c] = static_cast<unsigned char>(c - 'a' + 'A');
        // clang-format off
        constexpr unsigned char kRoman[][2] = {
            {0x87, 0xE7}, {0x88, 0xCB}, {0x89, 0xE5}, {0x8A, 0x80}, {0x8B, 0xCC},
            {0x8C, 0x81}, {0x8D, 0x82}, {0x8E, 0x83}, {0x8F, 0xE9}, {0x90, 0xE6},
            {0x91, 0xE8}, {0x92, 0xEA}, {0x93, 0xED}, {0x94, 0xEB}, {0x95, 0xEC},
            {0x96, 0x84}, {0x97, 0xEE}, {0x98, 0xF1}, {0x99, 0xEF}, {0x9A, 0x85},
            {0x9B, 0xCD}, {0x9C, 0xF2}, {0x9D, 0xF4}, {0x9E, 0xF3}, {0x9F, 0x86},
            {0xBE, 0xAE}, {0xBF, 0xAF}, {0xCF, 0xCE}, {0xD8, 0xD9},
            // Deliberate: the dotless i maps to the plain ASCII "I", not to itself.
            {0xF5, 0x49},
        };
        // clang-format on
        for (const auto& pair : kRoman) map[pair[0]] = pair[1];
    }
};

constexpr UpperCaseTable kUpperCase;

// The order of texts of unequal lengths: bytes as signed characters, a proper prefix first.
int CompareSignedBytes(const char* a, unsigned lengthA, const char* b, unsigned lengthB,
                       bool ignoreCase) {
    const unsigned shorter = lengthA < lengthB ? lengthA : lengthB;
    for (unsigned i = 0; i < shorter; ++i) {
        unsigned char byteA = static_cast<unsigned char>(a[i]);
        unsigned char byteB = static_cast<unsigned char>(b[i]);
        if (ignoreCase) {
            byteA = kUpperCase.map[byteA];
            byteB = kUpperCase.map[byteB];
        }
        const int charA = static_cast<signed char>(byteA);
        const int charB = static_cast<signed char>(byteB);
        if (charA != charB) return charA - charB;
    }
    return lengthA < lengthB ? -1 : 1;
}

template <typename Integer>
Integer ParseInteger(const char* text, long limit) {
    // Accumulated unsigned, so that overflow wraps instead of being undefined.
    using Unsigned = std::make_unsigned_t<Integer>;
    if (!text) return 0;
    long i = 0;
    while (i < limit && text[i] == ' ') ++i;
    bool negative = false;
    if (i < limit && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    Unsigned value = 0;
    while (i < limit && text[i] >= '0' && text[i] <= '9') {
        value = value * 10u + static_cast<Unsigned>(text[i] - '0');
        ++i;
    }
    if (negative) value = static_cast<Unsigned>(0u - value);
    return static_cast<Integer>(value);
}

// The "C" locale for uatod, made on first use and kept; null if it could not be made.
locale_t gCLocale = nullptr;

}  // namespace

unsigned long ustrlen(const char* text) {
    return text ? strlen(text) : 0;
}

char* ustrcpy(char* dest, const char* source) {
    if (!dest) return dest;
    if (!source) {
        dest[0] = 0;
        return dest;
    }
    return strcpy(dest, source);
}

char* ustrcat(char* dest, const char* source) {
    if (!dest || !source) return dest;
    return strcat(dest, source);
}

unsigned char* pstrcpy(unsigned char* dest, const unsigned char* source) {
    if (!dest || !source) return dest;
    memmove(dest, source, static_cast<size_t>(source[0]) + 1);
    return dest;
}

void* umemcpy(void* dest, const void* source, unsigned long count) {
    if (count == 0 || !dest || !source) return dest;
    return memmove(dest, source, count);
}

void* umemset(void* dest, unsigned char value, unsigned long count) {
    if (count == 0 || !dest) return dest;
    return memset(dest, value, count);
}

void umemzero(void* dest, unsigned long count) {
    umemset(dest, 0, count);
}

int umemcmp(const void* a, const void* b, unsigned long count) {
    if (count == 0 || a == b) return 0;
    if (!a || !b) return !a ? -1 : 1;
    return memcmp(a, b, count);
}

int ustrcmp(const char* a, const char* b) {
    if (!a || !b) return (a ? 1 : 0) - (b ? 1 : 0);
    return strcmp(a, b);
}

int ustrcmpi(const char* a, const char* b) {
    if (!a || !b) return (a ? 1 : 0) - (b ? 1 : 0);
    return strcasecmp(a, b);
}

// Deliberate: two orders. Texts of equal length compare as strncmp does (unsigned bytes,
// stopping at a zero byte); texts of different lengths byte by byte as *signed* characters
// over the whole shorter length. So "\xE9" sorts after "e" but "\xE9x" before "ex!".
// Stored orders depend on this; do not unify the two paths.
int ustrcmp(const char* a, unsigned lengthA, const char* b, unsigned lengthB) {
    if (!a) lengthA = 0;
    if (!b) lengthB = 0;
    if (lengthA == lengthB) return lengthA == 0 ? 0 : strncmp(a, b, lengthA);
    return CompareSignedBytes(a, lengthA, b, lengthB, false);
}

// Deliberate: as ustrcmp with lengths; equal lengths go through strncasecmp (the C
// library's folding), unequal lengths through utoupper's Mac OS Roman table.
int ustrcmpi(const char* a, unsigned lengthA, const char* b, unsigned lengthB) {
    if (!a) lengthA = 0;
    if (!b) lengthB = 0;
    if (lengthA == lengthB) return lengthA == 0 ? 0 : strncasecmp(a, b, lengthA);
    return CompareSignedBytes(a, lengthA, b, lengthB, true);
}

unsigned char utoupper(unsigned char c) {
    return kUpperCase.map[c];
}

long uatol(const char* text) {
    return ParseInteger<long>(text, LONG_MAX);
}

long uatol(const char* text, int length) {
    return ParseInteger<long>(text, length);
}

long long uatoll(const char* text) {
    return ParseInteger<long long>(text, LONG_MAX);
}

double uatod(const char* text) {
    if (!text) return 0;
    while (*text == ' ') ++text;
    // strtod would also skip tabs and line breaks; the other routines here do not.
    if (*text == '\t' || *text == '\n' || *text == '\v' || *text == '\f' || *text == '\r') {
        return 0;
    }
    if (!gCLocale) gCLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    // Without a locale object, strtod in the process's locale is the best there is.
    return gCLocale ? strtod_l(text, nullptr, gCLocale) : strtod(text, nullptr);
}

bool InRect(const ZQ::Rect& inner, const ZQ::Rect& outer) {
    if (inner.right < inner.left || inner.bottom < inner.top) return false;
    return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right &&
           inner.bottom <= outer.bottom;
}

bool SmallerRect(const ZQ::Rect& a, const ZQ::Rect& b) {
    auto area = [](const ZQ::Rect& r) -> long long {
        if (r.right <= r.left || r.bottom <= r.top) return 0;
        return static_cast<long long>(r.right - r.left) * (r.bottom - r.top);
    };
    return area(a) < area(b);
}
