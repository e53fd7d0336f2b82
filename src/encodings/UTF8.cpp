// UTF8.cpp - UTF-8 coding, stepping and case mapping over the case table.
//
// The buffer routines share one walk (MapUTF8 / MapUCS2) parameterised by the mapping;
// the two comparisons share the rule for differing characters.
#include "encodings/UTF8.h"

#include <cassert>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>

#include "encodings/CaseTable.h"

namespace {

// A cut-short last character compares as this plus its lead byte: after any code point
// a whole character can decode to (at most 0x1FFFFF).
constexpr unsigned long kCutShortBase = 0x200000;

enum class CaseMapping { kUpper, kLower, kCapitalize };

int SequenceLength(unsigned char lead) {
    if (lead < 0x80) return 1;
    if ((lead & 0xE0) == 0xC0) return 2;
    if ((lead & 0xF0) == 0xE0) return 3;
    return 4;
}

unsigned long DecodeSequence(const unsigned char* p, int length) {
    switch (length) {
        case 1:
            return p[0];
        case 2:
            return (static_cast<unsigned long>(p[0] & 0x1F) << 6) | (p[1] & 0x3F);
        case 3:
            return (static_cast<unsigned long>(p[0] & 0x0F) << 12) |
                   (static_cast<unsigned long>(p[1] & 0x3F) << 6) | (p[2] & 0x3F);
        default:
            return (static_cast<unsigned long>(p[0] & 0x07) << 18) |
                   (static_cast<unsigned long>(p[1] & 0x3F) << 12) |
                   (static_cast<unsigned long>(p[2] & 0x3F) << 6) | (p[3] & 0x3F);
    }
}

// One character of the text [p, end), p < end.
struct Character {
    unsigned long code;   // the code point, or kCutShortBase + lead byte
    unsigned long bytes;  // bytes it takes in the text
    bool whole;           // false when cut short by the end of the text
};

Character NextCharacter(const unsigned char* p, const unsigned char* end) {
    assert(p < end && "no character left");
    const int length = SequenceLength(*p);
    const unsigned long left = static_cast<unsigned long>(end - p);
    if (left < static_cast<unsigned long>(length)) return {kCutShortBase + *p, left, false};
    return {DecodeSequence(p, length), static_cast<unsigned long>(length), true};
}

bool IsSeparator(unsigned long c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           c == 0x180E || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 ||
           c == 0x202F || c == 0x205F || c == 0x3000;
}

// Maps one character; `afterSeparator` is the capitalisation state, updated here.
unsigned long MapCharacter(unsigned long c, CaseMapping mapping, bool* afterSeparator) {
    switch (mapping) {
        case CaseMapping::kUpper:
            return UnicodeCharToUpper(c);
        case CaseMapping::kLower:
            return UnicodeCharToLower(c);
        case CaseMapping::kCapitalize:
        default: {
            const bool upper = *afterSeparator;
            *afterSeparator = IsSeparator(c);
            return upper ? UnicodeCharToUpper(c) : UnicodeCharToLower(c);
        }
    }
}

void MapUTF8(const unsigned char* text, unsigned long length, unsigned char** result,
             unsigned long* resultLength, CaseMapping mapping) {
    if (!result && !resultLength) return;
    if (result) *result = nullptr;
    if (resultLength) *resultLength = 0;
    if (!text) length = 0;
    if (length > ULONG_MAX - 5) return;

    const unsigned long capacity = length + 5;
    unsigned char* out = new (std::nothrow) unsigned char[capacity];
    if (!out) return;
    unsigned long used = 0;
    bool afterSeparator = true;  // the first character is capitalised
    const unsigned char* p = text;
    const unsigned char* const end = text + length;
    while (p < end) {
        const Character ch = NextCharacter(p, end);
        unsigned char encoded[5];
        const unsigned char* bytes = p;  // a cut-short character is copied as it is
        unsigned long count = ch.bytes;
        if (ch.whole) {
            const unsigned long mapped = MapCharacter(ch.code, mapping, &afterSeparator);
            count = static_cast<unsigned long>(UTF8Encode(mapped, encoded));
            assert(count > 0 && "a decoded or mapped character is always encodable");
            bytes = encoded;
        } else {
            afterSeparator = false;
        }
        // Stop rather than overrun: the character and the zero byte after it must fit. Rows
        // such as U+0250 -> U+2C6F lengthen a character, so the output can fill up before
        // the input ends.
        if (count + 1 > capacity - used) break;
        memcpy(out + used, bytes, count);
        used += count;
        p += ch.bytes;
    }
    out[used] = 0;

    if (resultLength) *resultLength = used;
    if (result) {
        *result = out;
    } else {
        delete[] out;
    }
}

unsigned short* MapUCS2(const unsigned short* units, unsigned long byteLength,
                        CaseMapping mapping) {
    if (!units || byteLength > SIZE_MAX / sizeof(unsigned short)) return nullptr;
    // Deliberate: 2 * byteLength bytes (twice what the units need); callers size their
    // use of the array by it.
    unsigned short* out = new (std::nothrow) unsigned short[byteLength];
    if (!out) return nullptr;
    const unsigned long count = byteLength / 2;
    bool afterSeparator = true;
    for (unsigned long i = 0; i < count; ++i) {
        out[i] = static_cast<unsigned short>(MapCharacter(units[i], mapping, &afterSeparator));
    }
    for (unsigned long i = count; i < byteLength; ++i) out[i] = 0;
    return out;
}

// Sign of the order of two differing characters (0 when they match ignoring case).
int CompareCharacters(unsigned long a, unsigned long b, bool mappable, bool ignoreCase) {
    if (a == b) return 0;
    if (ignoreCase && mappable) {
        a = UnicodeCharToUpper(a);
        b = UnicodeCharToUpper(b);
        if (a == b) return 0;
    }
    return a < b ? -1 : 1;
}

}  // namespace

int UTF8Encode(unsigned long c, unsigned char* out) {
    if (!out) return 0;
    int length = 0;
    if (c < 0x80) {
        out[length++] = static_cast<unsigned char>(c);
    } else if (c < 0x800) {
        out[length++] = static_cast<unsigned char>(0xC0 | (c >> 6));
        out[length++] = static_cast<unsigned char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out[length++] = static_cast<unsigned char>(0xE0 | (c >> 12));
        out[length++] = static_cast<unsigned char>(0x80 | ((c >> 6) & 0x3F));
        out[length++] = static_cast<unsigned char>(0x80 | (c & 0x3F));
    } else if (c <= 0x1FFFFF) {
        out[length++] = static_cast<unsigned char>(0xF0 | (c >> 18));
        out[length++] = static_cast<unsigned char>(0x80 | ((c >> 12) & 0x3F));
        out[length++] = static_cast<unsigned char>(0x80 | ((c >> 6) & 0x3F));
        out[length++] = static_cast<unsigned char>(0x80 | (c & 0x3F));
    }
    out[length] = 0;
    return length;
}

unsigned long UTF8Decode(const unsigned char* p) {
    if (!p) return 0;
    return DecodeSequence(p, SequenceLength(*p));
}

unsigned long UTF8DecodeAndAdvance(const unsigned char** p) {
    if (!p || !*p) return 0;
    const int length = SequenceLength(**p);
    const unsigned long c = DecodeSequence(*p, length);
    *p += length;
    return c;
}

unsigned long UTF8DecodeAndAdvance(unsigned char** p) {
    if (!p) return 0;
    const unsigned char* position = *p;
    const unsigned long c = UTF8DecodeAndAdvance(&position);
    *p = const_cast<unsigned char*>(position);
    return c;
}

void AdvanceUTF8(const unsigned char** p, const unsigned char* end, int count) {
    if (!p || !*p) return;
    const unsigned char* position = *p;
    for (; count > 0 && position < end; --count) {
        ++position;
        while (position < end && (*position & 0xC0) == 0x80) ++position;
    }
    *p = position;
}

void AdvanceUTF8(unsigned char** p, const unsigned char* end, int count) {
    if (!p) return;
    const unsigned char* position = *p;
    AdvanceUTF8(&position, end, count);
    *p = const_cast<unsigned char*>(position);
}

void BackupUTF8(const unsigned char** p, const unsigned char* start, int count) {
    if (!p || !*p) return;
    const unsigned char* position = *p;
    for (; count > 0 && position > start; --count) {
        --position;
        while (position > start && (*position & 0xC0) == 0x80) --position;
    }
    *p = position;
}

void BackupUTF8(unsigned char** p, const unsigned char* start, int count) {
    if (!p) return;
    const unsigned char* position = *p;
    BackupUTF8(&position, start, count);
    *p = const_cast<unsigned char*>(position);
}

// Deliberate: the look-up uses the low 16 bits of c, so a code point beyond the BMP maps
// like the BMP code point it shares them with (U+10061 goes up to "A"). The table's
// indexes are keyed by 16-bit code points and callers rely on this exact rule.
unsigned long UnicodeCharToUpper(unsigned long c) {
    int row = 0;
    if (!CaseTableFindLower(static_cast<unsigned short>(c & 0xFFFF), &row)) return c;
    return kCaseTableUpper[row];
}

unsigned long UnicodeCharToLower(unsigned long c) {
    int row = 0;
    if (!CaseTableFindUpper(static_cast<unsigned short>(c & 0xFFFF), &row)) return c;
    return kCaseTableLower[row];
}

bool UTF8IsCaseless(const unsigned char* text, unsigned long length) {
    if (!text) return true;
    const unsigned char* p = text;
    const unsigned char* const end = text + length;
    while (p < end) {
        const Character ch = NextCharacter(p, end);
        if (ch.whole) {
            // The same 16-bit rule as the mapping: caseless exactly when mapping is a no-op.
            const auto key = static_cast<unsigned short>(ch.code & 0xFFFF);
            if (CaseTableFindLower(key, nullptr) || CaseTableFindUpper(key, nullptr)) {
                return false;
            }
        }
        p += ch.bytes;
    }
    return true;
}

void UTF8ToUpper(const unsigned char* text, unsigned long length, unsigned char** result,
                 unsigned long* resultLength) {
    MapUTF8(text, length, result, resultLength, CaseMapping::kUpper);
}

void UTF8ToLower(const unsigned char* text, unsigned long length, unsigned char** result,
                 unsigned long* resultLength) {
    MapUTF8(text, length, result, resultLength, CaseMapping::kLower);
}

void UTF8Capitalize(const unsigned char* text, unsigned long length, unsigned char** result,
                    unsigned long* resultLength) {
    MapUTF8(text, length, result, resultLength, CaseMapping::kCapitalize);
}

unsigned short* UCS2ToUpper(const unsigned short* units, unsigned long byteLength) {
    return MapUCS2(units, byteLength, CaseMapping::kUpper);
}

unsigned short* UCS2ToLower(const unsigned short* units, unsigned long byteLength) {
    return MapUCS2(units, byteLength, CaseMapping::kLower);
}

unsigned short* UCS2Capitalize(const unsigned short* units, unsigned long byteLength) {
    return MapUCS2(units, byteLength, CaseMapping::kCapitalize);
}

int UTF8StringCompare(const unsigned char* text1, unsigned long length1, const unsigned char* text2,
                      unsigned long length2, unsigned char ignoreCase) {
    if (!text1) length1 = 0;
    if (!text2) length2 = 0;
    const unsigned char* p1 = text1;
    const unsigned char* p2 = text2;
    const unsigned char* const end1 = text1 + length1;
    const unsigned char* const end2 = text2 + length2;
    while (p1 < end1 && p2 < end2) {
        const Character a = NextCharacter(p1, end1);
        const Character b = NextCharacter(p2, end2);
        const int order = CompareCharacters(a.code, b.code, a.whole && b.whole, ignoreCase != 0);
        if (order != 0) return order;
        p1 += a.bytes;
        p2 += b.bytes;
    }
    // Deliberate: the byte lengths decide, not what is left: texts whose characters all
    // match but whose byte counts differ (an overlong form, say) are not equal.
    if (length1 == length2) return 0;
    return length1 < length2 ? -1 : 1;
}

int UCS2StringCompare(const unsigned short* units1, unsigned long byteLength1,
                      const unsigned short* units2, unsigned long byteLength2,
                      unsigned char ignoreCase) {
    const unsigned long count1 = units1 ? byteLength1 / 2 : 0;
    const unsigned long count2 = units2 ? byteLength2 / 2 : 0;
    for (unsigned long i = 0; i < count1 && i < count2; ++i) {
        const int order = CompareCharacters(units1[i], units2[i], true, ignoreCase != 0);
        if (order != 0) return order;
    }
    if (count1 == count2) return 0;
    return count1 < count2 ? -1 : 1;
}
