// UTF8Test.cpp - UTF-8 coding and stepping, character case mapping, buffer case mapping of
// UTF-8 and UCS-2 texts, and the two comparisons.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "encodings/UTF8.h"

namespace {

const unsigned char* Bytes(const std::string& s) {
    return reinterpret_cast<const unsigned char*>(s.data());
}

// Runs one of the UTF-8 buffer routines and returns its text, checking the zero byte.
using Utf8Mapper = void (*)(const unsigned char*, unsigned long, unsigned char**, unsigned long*);
std::string Mapped(Utf8Mapper mapper, const std::string& text) {
    unsigned char* result = nullptr;
    unsigned long length = 12345;
    mapper(Bytes(text), text.size(), &result, &length);
    EXPECT_NE(result, nullptr);
    if (!result) return "<null>";
    EXPECT_LE(length, text.size() + 4);
    EXPECT_EQ(result[length], 0) << "a zero byte follows the text";
    std::string out(reinterpret_cast<char*>(result), length);
    delete[] result;
    return out;
}

std::u16string MappedUCS2(unsigned short* (*mapper)(const unsigned short*, unsigned long),
                          const std::u16string& text) {
    const unsigned long byteLength = text.size() * 2;
    unsigned short* result =
        mapper(reinterpret_cast<const unsigned short*>(text.data()), byteLength);
    EXPECT_NE(result, nullptr);
    if (!result) return u"<null>";
    std::u16string out(reinterpret_cast<const char16_t*>(result), text.size());
    for (unsigned long i = text.size(); i < byteLength; ++i) {
        EXPECT_EQ(result[i], 0) << "slack unit " << i;
    }
    delete[] result;
    return out;
}

TEST(UTF8, EncodeLengthsAndBytes) {
    // clang-format off
    const struct {
        unsigned long c;
        std::string bytes;
    } cases[] = {
        {0x00, std::string(1, '\0')},
        {0x41, "A"},
        {0x7F, "\x7F"},
        {0x80, "\xC2\x80"},
        {0x7FF, "\xDF\xBF"},
        {0x800, "\xE0\xA0\x80"},
        {0x20AC, "\xE2\x82\xAC"},
        {0xFFFF, "\xEF\xBF\xBF"},
        {0x10000, "\xF0\x90\x80\x80"},
        {0x1F600, "\xF0\x9F\x98\x80"},
        {0x1FFFFF, "\xF7\xBF\xBF\xBF"},
    };
    // clang-format on
    for (const auto& c : cases) {
        unsigned char out[6];
        memset(out, 0xEE, sizeof out);
        const int n = UTF8Encode(c.c, out);
        ASSERT_EQ(n, static_cast<int>(c.bytes.size())) << std::hex << c.c;
        EXPECT_EQ(memcmp(out, c.bytes.data(), c.bytes.size()), 0) << std::hex << c.c;
        EXPECT_EQ(out[n], 0) << "zero byte after " << std::hex << c.c;
        EXPECT_EQ(out[n + 1], 0xEE) << "nothing after the zero byte";
        EXPECT_EQ(UTF8Decode(out), c.c) << "round trip " << std::hex << c.c;
    }
    for (unsigned long tooLarge : {0x200000UL, 0xFFFFFFFFUL}) {
        unsigned char out[6];
        memset(out, 0xEE, sizeof out);
        EXPECT_EQ(UTF8Encode(tooLarge, out), 0);
        EXPECT_EQ(out[0], 0);
        EXPECT_EQ(out[1], 0xEE);
    }
    EXPECT_EQ(UTF8Encode(0x41, nullptr), 0);
}

TEST(UTF8, DecodeJudgesByTheLeadByteAlone) {
    // clang-format off
    const struct {
        std::string bytes;
        unsigned long c;
        long advance;
    } cases[] = {
        {"A", 0x41, 1},
        {"\xC3\xA9", 0xE9, 2},
        {"\xC3(", 0xE8, 2},                  // continuation byte not checked
        {"\xC1\x81", 0x41, 2},               // overlong form accepted
        {"\xE2\x82\xAC", 0x20AC, 3},
        {"\xF0\x9F\x98\x80", 0x1F600, 4},
        {"\x80\x80\x80\x81", 0x01, 4},       // a stray continuation byte leads four
        {"\xFF\xBF\xBF\xBF", 0x1FFFFF, 4},   // so does 0xFF
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(UTF8Decode(Bytes(c.bytes)), c.c);
        const unsigned char* p = Bytes(c.bytes);
        EXPECT_EQ(UTF8DecodeAndAdvance(&p), c.c);
        EXPECT_EQ(p - Bytes(c.bytes), c.advance);
        unsigned char copy[4];
        memcpy(copy, c.bytes.data(), c.bytes.size());
        unsigned char* q = copy;
        EXPECT_EQ(UTF8DecodeAndAdvance(&q), c.c);
        EXPECT_EQ(q - copy, c.advance);
    }
    EXPECT_EQ(UTF8Decode(nullptr), 0u);
    const unsigned char* none = nullptr;
    EXPECT_EQ(UTF8DecodeAndAdvance(&none), 0u);
}

// Positions AdvanceUTF8 visits stepping one character at a time.
std::vector<long> Steps(const std::string& s) {
    std::vector<long> positions;
    const unsigned char* begin = Bytes(s);
    const unsigned char* end = begin + s.size();
    const unsigned char* p = begin;
    while (p < end) {
        AdvanceUTF8(&p, end, 1);
        positions.push_back(p - begin);
    }
    return positions;
}

TEST(UTF8, AdvanceAndBackupAreInverses) {
    // clang-format off
    const struct {
        std::string text;
        std::vector<long> steps;
    } cases[] = {
        {"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z", {1, 3, 6, 10, 11}},
        {"\x80\x80" "a", {2, 3}},                  // leading continuation bytes: one character
        {"a\x80\x80\x80\x80\x80" "b", {6, 7}},     // a long run belongs to its lead
        {"\xE2\x82", {2}},                         // cut short: still one character
        {"", {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(Steps(c.text), c.steps) << c.text;
        const unsigned char* begin = Bytes(c.text);
        // Backing up from each step lands on the one before.
        for (size_t i = 0; i < c.steps.size(); ++i) {
            const unsigned char* p = begin + c.steps[i];
            BackupUTF8(&p, begin, 1);
            EXPECT_EQ(p - begin, i == 0 ? 0 : c.steps[i - 1]) << c.text << " step " << i;
        }
    }
}

TEST(UTF8, AdvanceAndBackupStayInBounds) {
    unsigned char text[] =
        "a\xC3\xA9\xE2\x82\xAC"
        "b";  // a, e-acute, euro, b: 7 bytes
    unsigned char* const end = text + 7;
    // clang-format off
    const struct {
        int count;
        long from;
        long advanced;
        long backed;
    } cases[] = {
        {0, 3, 3, 3},   {-1, 3, 3, 3},  // a count below 1 does nothing
        {1, 3, 6, 1},   {2, 3, 7, 0},
        {3, 3, 7, 0},   {100, 0, 7, 0},  // bounded by end and by start
    };
    // clang-format on
    for (const auto& c : cases) {
        unsigned char* p = text + c.from;
        AdvanceUTF8(&p, end, c.count);
        EXPECT_EQ(p - text, c.advanced) << c.count << " from " << c.from;
        p = text + c.from;
        BackupUTF8(&p, text, c.count);
        EXPECT_EQ(p - text, c.backed) << c.count << " from " << c.from;
    }
    // Limits inside a character hold, and so does a start past the position.
    const unsigned char* p = text + 6;
    BackupUTF8(&p, text + 4, 1);
    EXPECT_EQ(p - text, 4);
    p = text + 2;
    BackupUTF8(&p, text + 4, 1);
    EXPECT_EQ(p - text, 2);
    p = text + 1;
    AdvanceUTF8(&p, text + 2, 1);
    EXPECT_EQ(p - text, 2);
}

TEST(UTF8, CharacterCaseMapping) {
    // clang-format off
    const struct {
        unsigned long c;
        unsigned long upper;
        unsigned long lower;
    } cases[] = {
        // Letters with two partners and the mapping of every row are CaseTableTest's.
        {'a', 'A', 'a'},
        {'1', '1', '1'},
        {0xFF41, 0xFF21, 0xFF41},     // full-width a
        {0x1F600, 0x1F600, 0x1F600},  // beyond the table
        {0x3BC, 0x39C, 0x3BC},        // mu
        // Lower-case letters whose capital maps down to another letter have no row.
        {0xB5, 0xB5, 0xB5},           // micro sign
        {0x3C2, 0x3C2, 0x3C2},        // final sigma
        {0x17F, 0x17F, 0x17F},        // long s
        {0x131, 0x131, 0x131},        // dotless i
        {0x3B9, 0x399, 0x3B9},        // iota to capital iota, not to ypogegrammeni
        {0xDF, 0x1E9E, 0xDF},         // sharp s and capital sharp s
        {0x1E9E, 0x1E9E, 0xDF},
        {0x1C80, 0x1C80, 0x1C80},     // rounded ve: its capital is ve's
        {0x10D0, 0x1C90, 0x10D0},     // Georgian an (Mkhedruli) and Mtavruli an
        {0x10A0, 0x10A0, 0x2D00},     // Asomtavruli an and Nuskhuri an
        {0xAB70, 0x13A0, 0xAB70},     // Cherokee: the lower case has the higher code point
        // Deliberate: only the low 16 bits are looked up.
        {0x10061, 'A', 0x10061},
        {0x10041, 0x10041, 'a'},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(UnicodeCharToUpper(c.c), c.upper) << std::hex << c.c;
        EXPECT_EQ(UnicodeCharToLower(c.c), c.lower) << std::hex << c.c;
    }
}

TEST(UTF8, Caseless) {
    // clang-format off
    const struct {
        std::string text;
        bool caseless;
    } cases[] = {
        {"123", true},
        {"", true},
        {"1a", false},
        {"\xE2\x82\xAC !", true},           // euro sign
        {"\xC5\xBF", true},                 // long s: no row
        {"\xC3\x9F", false},                // sharp s pairs with capital sharp s
        {"\xF0\x90\x81\xA1", false},        // U+10061 shares its low bits with "a"
        {"12\xC3", true},                   // a cut-short character has no case
        {"\xD0\x96", false},                // Cyrillic Zhe
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(UTF8IsCaseless(Bytes(c.text), c.text.size()), c.caseless) << c.text;
    }
    EXPECT_TRUE(UTF8IsCaseless(nullptr, 5));
    EXPECT_TRUE(UTF8IsCaseless(Bytes("ab"), 0));
}

TEST(UTF8, BufferCaseMapping) {
    // clang-format off
    const struct {
        std::string text;
        std::string upper;
        std::string lower;
        std::string capitalized;
    } cases[] = {
        {"hello WORLD", "HELLO WORLD", "hello world", "Hello World"},
        {"", "", "", ""},
        {"\xC3\xA9t\xC3\xA9 \xC3\x89T\xC3\x89", "\xC3\x89T\xC3\x89 \xC3\x89T\xC3\x89",
         "\xC3\xA9t\xC3\xA9 \xC3\xA9t\xC3\xA9", "\xC3\x89t\xC3\xA9 \xC3\x89t\xC3\xA9"},
        {"a\tb\nc\xE3\x80\x80" "d\xC2\xA0" "e", "A\tB\nC\xE3\x80\x80" "D\xC2\xA0" "E",
         "a\tb\nc\xE3\x80\x80" "d\xC2\xA0" "e", "A\tB\nC\xE3\x80\x80" "D\xC2\xA0" "E"},
        {"x-y  z", "X-Y  Z", "x-y  z", "X-y  Z"},    // "-" is no separator; two spaces are
        {"\xE2\x84\xAA", "\xE2\x84\xAA", "k", "\xE2\x84\xAA"},  // Kelvin: shrinks to one byte
        {"stra\xC3\x9F" "e", "STRA\xE1\xBA\x9E" "E", "stra\xC3\x9F" "e",
         "Stra\xC3\x9F" "e"},                       // sharp s grows from two bytes to three
        {"ab\xC3", "AB\xC3", "ab\xC3", "Ab\xC3"},   // cut short: copied unchanged
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(Mapped(UTF8ToUpper, c.text), c.upper) << c.text;
        EXPECT_EQ(Mapped(UTF8ToLower, c.text), c.lower) << c.text;
        EXPECT_EQ(Mapped(UTF8Capitalize, c.text), c.capitalized) << c.text;
    }
}

TEST(UTF8, BufferStopsWhenUpperCaseOutgrowsIt) {
    // Ten 2-byte letters whose capitals take 3 bytes: 30 bytes where the output has
    // length + 5 = 25, so it stops, at a character, after eight capitals and the zero byte.
    std::string text;
    std::string expected;
    for (int i = 0; i < 10; ++i) text += "\xC9\x90";         // U+0250 turned a
    for (int i = 0; i < 8; ++i) expected += "\xE2\xB1\xAF";  // U+2C6F
    EXPECT_EQ(Mapped(UTF8ToUpper, text), expected);
    EXPECT_EQ(Mapped(UTF8Capitalize, text), "\xE2\xB1\xAF" + text.substr(2));
}

TEST(UTF8, BufferOutputsAreOptional) {
    const std::string text =
        "\xE2\x84\xAA"
        "abc";  // Kelvin sign: 3 bytes become 1
    unsigned long length = 0;
    UTF8ToLower(Bytes(text), text.size(), nullptr, &length);  // the buffer is freed again
    EXPECT_EQ(length, 4u);

    unsigned char* result = reinterpret_cast<unsigned char*>(1);
    UTF8ToUpper(Bytes(text), text.size(), &result, nullptr);
    ASSERT_NE(result, nullptr);
    EXPECT_STREQ(reinterpret_cast<char*>(result),
                 "\xE2\x84\xAA"
                 "ABC");
    delete[] result;

    UTF8ToUpper(Bytes(text), text.size(), nullptr, nullptr);  // nothing to do, no crash

    UTF8ToUpper(nullptr, 10, &result, &length);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(length, 0u) << "null text is empty";
    delete[] result;
}

TEST(UTF8, UCS2CaseMapping) {
    EXPECT_EQ(MappedUCS2(UCS2Capitalize, u"hello WORLD"), u"Hello World");
    EXPECT_EQ(MappedUCS2(UCS2ToUpper, u"\u00e9t\u00e9 \uff41"), u"\u00c9T\u00c9 \uff21");
    EXPECT_EQ(MappedUCS2(UCS2ToLower, u"\u0391\u03a3\u212a"), u"\u03b1\u03c3k");
    EXPECT_EQ(MappedUCS2(UCS2Capitalize, u"\u3000ab\u2028cd"), u"\u3000Ab\u2028Cd");
    EXPECT_EQ(MappedUCS2(UCS2ToUpper, u""), u"");

    // An odd byte length converts the whole units only.
    const char16_t units[] = u"ab";
    unsigned short* odd = UCS2ToUpper(reinterpret_cast<const unsigned short*>(units), 3);
    ASSERT_NE(odd, nullptr);
    EXPECT_EQ(odd[0], u'A');
    EXPECT_EQ(odd[1], 0) << "the half unit is not converted";
    delete[] odd;
    EXPECT_EQ(UCS2ToLower(nullptr, 4), nullptr);
}

TEST(UTF8, Compare) {
    // clang-format off
    const struct {
        std::string a;
        std::string b;
        int sensitive;
        int insensitive;
    } cases[] = {
        {"a", "AB", 1, -1},
        {"abc", "abc", 0, 0},
        {"abc", "ABC", 1, 0},
        {"ab", "abc", -1, -1},
        {"", "", 0, 0},
        {"", "a", -1, -1},
        {"\xC3\xA9", "\xC3\x89", 1, 0},      // e-acute and E-acute
        {"\xC3\xA9", "f", 1, 1},             // by code point, not by byte
        {"z", "\xC3\xA0", -1, -1},
        {"A", "\xC1\x81", -1, -1},           // same character, more bytes: longer is later
        {"a\xC3", "a\xC3\xA9", 1, 1},        // cut short sorts after any whole character
        {"a\xE2\x82", "a\xF4", -1, -1},      // both cut short: by lead byte
        {"\xE2\x84\xAA", "k", 1, 1},         // Kelvin: upper-case maps only lower-case letters
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(UTF8StringCompare(Bytes(c.a), c.a.size(), Bytes(c.b), c.b.size(), 0), c.sensitive)
            << c.a << " / " << c.b;
        EXPECT_EQ(UTF8StringCompare(Bytes(c.a), c.a.size(), Bytes(c.b), c.b.size(), 1),
                  c.insensitive)
            << c.a << " / " << c.b;
        EXPECT_EQ(UTF8StringCompare(Bytes(c.b), c.b.size(), Bytes(c.a), c.a.size(), 1),
                  -c.insensitive)
            << "reversed " << c.a << " / " << c.b;
    }
    EXPECT_EQ(UTF8StringCompare(nullptr, 3, Bytes(""), 0, 0), 0);
}

TEST(UTF8, CompareUCS2) {
    // clang-format off
    const struct {
        std::u16string a;
        std::u16string b;
        int sensitive;
        int insensitive;
    } cases[] = {
        {u"a", u"AB", 1, -1},
        {u"\u00e9", u"\u00c9", 1, 0},
        {u"ab", u"abc", -1, -1},
        {u"", u"", 0, 0},
        {u"\uff41", u"\uff21\uff21", 1, -1},
        {u"\u03c2", u"\u03a3", 1, 1},  // final sigma is not upper-cased
    };
    // clang-format on
    for (const auto& c : cases) {
        const auto* a = reinterpret_cast<const unsigned short*>(c.a.data());
        const auto* b = reinterpret_cast<const unsigned short*>(c.b.data());
        EXPECT_EQ(UCS2StringCompare(a, c.a.size() * 2, b, c.b.size() * 2, 0), c.sensitive);
        EXPECT_EQ(UCS2StringCompare(a, c.a.size() * 2, b, c.b.size() * 2, 1), c.insensitive);
    }
    // Unit counts decide: an odd byte is not a unit.
    const char16_t ab[] = u"ab";
    const auto* units = reinterpret_cast<const unsigned short*>(ab);
    EXPECT_EQ(UCS2StringCompare(units, 3, units, 2, 0), 0);
    EXPECT_EQ(UCS2StringCompare(units, 4, units, 3, 0), 1);
    EXPECT_EQ(UCS2StringCompare(nullptr, 4, units, 0, 0), 0);
}

}  // namespace
