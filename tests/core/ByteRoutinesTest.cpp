// ByteRoutinesTest.cpp - byte-string routines, the two comparison orders with lengths, the
// 8-bit upper-case table, text to number, and the rectangle predicates.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "core/ByteRoutines.h"

namespace {

int Sign(int v) {
    return (v > 0) - (v < 0);
}

TEST(ByteRoutines, CopiesAcceptNullsAndOverlap) {
    EXPECT_EQ(ustrlen(nullptr), 0u);
    EXPECT_EQ(ustrlen("abc\0def"), 3u);
    char buffer[8] = "xxxxxxx";
    EXPECT_STREQ(ustrcat(ustrcpy(buffer, "ab"), "cd"), "abcd");
    EXPECT_STREQ(ustrcat(buffer, nullptr), "abcd");
    EXPECT_STREQ(ustrcpy(buffer, nullptr), "") << "a null source copies the empty text";
    EXPECT_EQ(ustrcpy(nullptr, "a"), nullptr);

    // A Pascal string: the length byte and exactly that many bytes, up to 255.
    unsigned char source[256];
    unsigned char dest[258];
    for (int i = 0; i < 256; ++i) source[i] = static_cast<unsigned char>(255 - i);
    memset(dest, 0xEE, sizeof dest);
    EXPECT_EQ(pstrcpy(dest, source), dest);
    EXPECT_EQ(memcmp(dest, source, 256), 0);
    EXPECT_EQ(dest[256], 0xEE);

    char bytes[] = "0123456789";
    umemcpy(bytes + 2, bytes, 5);  // overlapping ranges
    EXPECT_STREQ(bytes, "0101234789");
    umemzero(umemset(bytes, 'z', 3), 1);
    EXPECT_STREQ(bytes, "");
    EXPECT_EQ(bytes[1], 'z');
    EXPECT_GT(umemcmp("\x80", "\x7F", 1), 0) << "bytes compare unsigned";
    EXPECT_EQ(umemcmp("abc", "abd", 2), 0);
}

TEST(ByteRoutines, CompareWithNulls) {
    // clang-format off
    const struct {
        const char* a;
        const char* b;
        int sensitive;
        int insensitive;
    } cases[] = {
        {nullptr, nullptr, 0, 0},
        {nullptr, "", -1, -1},  // null sorts before any text, even the empty one
        {"", nullptr, 1, 1},
        {"abc", "abc", 0, 0},
        {"abc", "ABC", 1, 0},
        {"ab", "abc", -1, -1},
        {"abd", "ABC", 1, 1},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(Sign(ustrcmp(c.a, c.b)), c.sensitive)
            << (c.a ? c.a : "null") << " " << (c.b ? c.b : "null");
        EXPECT_EQ(Sign(ustrcmpi(c.a, c.b)), c.insensitive)
            << (c.a ? c.a : "null") << " " << (c.b ? c.b : "null");
    }
}

TEST(ByteRoutines, CompareWithLengthsKeepsBothOrders) {
    // clang-format off
    const struct {
        std::string a;
        std::string b;
        int sensitive;
        int insensitive;
        const char* why;
    } cases[] = {
        {"abc", "abd", -1, -1, "equal lengths"},
        {"ABC", "abd", -1, -1, "equal lengths ignoring case"},
        {"", "", 0, 0, "both empty"},
        {std::string("a\0x", 3), std::string("a\0y", 3), 0, 0,
         "equal lengths stop at a zero byte"},
        {std::string("a\0x", 3), std::string("a\0yz", 4), -1, -1,
         "unequal lengths read past a zero byte"},
        {"ab", "abc", -1, -1, "a proper prefix sorts first"},
        {"abc", "ab", 1, 1, "a proper prefix sorts first"},
        {"", "a", -1, -1, "empty is a prefix"},
        {"ABC", "abcd", -1, -1, "prefix ignoring case"},
        {"\xE9", "e", 1, 1, "equal lengths: unsigned bytes"},
        {"\xE9x", "ex!", -1, -1, "unequal lengths: signed bytes"},
        {"\x8A", "\x80x", 1, -1, "Mac Roman a-umlaut is a prefix of A-umlaut-x ignoring case"},
        {"\xF5z", "Ia!", -1, 1, "dotless i upper-cases to I"},
    };
    // clang-format on
    for (const auto& c : cases) {
        const auto la = static_cast<unsigned>(c.a.size());
        const auto lb = static_cast<unsigned>(c.b.size());
        EXPECT_EQ(Sign(ustrcmp(c.a.data(), la, c.b.data(), lb)), c.sensitive) << c.why;
        EXPECT_EQ(Sign(ustrcmpi(c.a.data(), la, c.b.data(), lb)), c.insensitive) << c.why;
    }
    EXPECT_EQ(ustrcmp(nullptr, 5, "", 0), 0) << "a null text has length 0";
    EXPECT_LT(ustrcmpi(nullptr, 5, "a", 1), 0);
}

TEST(ByteRoutines, UpperCaseTableIsExactlyTheListedOne) {
    unsigned char expected[256];
    for (int c = 0; c < 256; ++c) expected[c] = static_cast<unsigned char>(c);
    for (int c = 'a'; c <= 'z'; ++c) expected[c] = static_cast<unsigned char>(c - 32);
    // clang-format off
    const unsigned char roman[][2] = {
        {0x87, 0xE7}, {0x88, 0xCB}, {0x89, 0xE5}, {0x8A, 0x80}, {0x8B, 0xCC}, {0x8C, 0x81},
        {0x8D, 0x82}, {0x8E, 0x83}, {0x8F, 0xE9}, {0x90, 0xE6}, {0x91, 0xE8}, {0x92, 0xEA},
        {0x93, 0xED}, {0x94, 0xEB}, {0x95, 0xEC}, {0x96, 0x84}, {0x97, 0xEE}, {0x98, 0xF1},
        {0x99, 0xEF}, {0x9A, 0x85}, {0x9B, 0xCD}, {0x9C, 0xF2}, {0x9D, 0xF4}, {0x9E, 0xF3},
        {0x9F, 0x86}, {0xBE, 0xAE}, {0xBF, 0xAF}, {0xCF, 0xCE}, {0xD8, 0xD9}, {0xF5, 0x49},
    };
    // clang-format on
    for (const auto& pair : roman) expected[pair[0]] = pair[1];
    for (int c = 0; c < 256; ++c) {
        EXPECT_EQ(utoupper(static_cast<unsigned char>(c)), expected[c]) << std::hex << c;
    }
}

TEST(ByteRoutines, TextToInteger) {
    constexpr int kWhole = 1000;  // "no length": the whole text
    // clang-format off
    const struct {
        const char* text;
        int length;
        long value;
    } cases[] = {
        {"  -42x", kWhole, -42}, {"+", kWhole, 0},   {"", kWhole, 0},     {"+7", kWhole, 7},
        {"12 3", kWhole, 12},    {"\t5", kWhole, 0}, {"--1", kWhole, 0},  {"- 1", kWhole, 0},
        {"12345", 3, 123},       {"12345", 0, 0},    {"12345", -1, 0},    {"  7", 2, 0},
        {"-5", 1, 0},            {"-5", 2, -5},      {nullptr, kWhole, 0},
    };
    // clang-format on
    for (const auto& c : cases) {
        const char* shown = c.text ? c.text : "null";
        if (c.length == kWhole) {
            EXPECT_EQ(uatol(c.text), c.value) << shown;
            EXPECT_EQ(uatoll(c.text), c.value) << shown;
        }
        const int length =
            c.length == kWhole ? (c.text ? 1 + static_cast<int>(strlen(c.text)) : 4) : c.length;
        EXPECT_EQ(uatol(c.text, length), c.value) << shown << " within " << length;
    }
    const char unterminated[3] = {'1', '2', '3'};  // no zero byte to stop at
    EXPECT_EQ(uatol(unterminated, 3), 123);
    EXPECT_EQ(uatoll("18446744073709551617"), 1) << "overflow wraps";
    EXPECT_EQ(uatoll("-9223372036854775808"), -9223372036854775807LL - 1);
    // 2^32 + 5 wraps to 5 where long has 32 bits.
    EXPECT_EQ(uatol("4294967301"), sizeof(long) == 4 ? 5L : static_cast<long>(4294967301LL));
}

TEST(ByteRoutines, TextToDouble) {
    EXPECT_DOUBLE_EQ(uatod("  3.25"), 3.25);
    EXPECT_DOUBLE_EQ(uatod("-1e3x"), -1000.0);
    EXPECT_DOUBLE_EQ(uatod("+.5"), 0.5);
    EXPECT_DOUBLE_EQ(uatod("abc"), 0.0);
    EXPECT_DOUBLE_EQ(uatod("\t1"), 0.0) << "only spaces are skipped";
    EXPECT_DOUBLE_EQ(uatod(nullptr), 0.0);
    EXPECT_TRUE(std::isinf(uatod("1e999")));
}

TEST(ByteRoutines, RectanglePredicates) {
    const ZQ::Rect outer = {10, 10, 20, 30};  // top, left, bottom, right
    // clang-format off
    const struct {
        ZQ::Rect r;
        bool in;
        bool smaller;
    } cases[] = {
        {{10, 10, 20, 30}, true, false},   // the same rectangle
        {{11, 11, 19, 29}, true, true},
        {{10, 10, 20, 31}, false, false},  // one past the right edge, larger
        {{9, 10, 19, 30}, false, false},   // one above, same size
        {{15, 15, 15, 15}, true, true},    // empty but inside: area 0
        {{15, 20, 14, 21}, false, true},   // inverted: within nothing
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(InRect(c.r, outer), c.in) << c.r.top << "," << c.r.left;
        EXPECT_EQ(SmallerRect(c.r, outer), c.smaller) << c.r.top << "," << c.r.left;
    }
    EXPECT_FALSE(SmallerRect(outer, {11, 11, 19, 29}));
}

}  // namespace
