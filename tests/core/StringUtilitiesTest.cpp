// StringUtilitiesTest.cpp - numbers to text, four-character codes, byte fields.
#include <climits>
#include <clocale>
#include <cstdio>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "core/StringUtilities.h"
#include "core/string.h"
#include "support/TextHelpers.h"
#include "encodings/Encodings.h"

namespace {

void ExpectAscii(const string& s, std::string_view text) {
    EXPECT_EQ(Bytes(s), text);
    EXPECT_EQ(s.Encoding(), kEncodingASCII);
}

TEST(NumberText, IntegersAndHex) {
    char expected[32];
    for (long v : {0L, -42L, LONG_MAX, LONG_MIN}) {
        std::snprintf(expected, sizeof expected, "%ld", v);
        ExpectAscii(ultoa(v), expected);
    }
    ExpectAscii(ulltoa(LLONG_MIN), "-9223372036854775808");
    ExpectAscii(uulltoa(ULLONG_MAX), "18446744073709551615");
    ExpectAscii(ultohexa(0), "00000000");
    ExpectAscii(ultohexa(0xABC), "00000ABC");
    ExpectAscii(ultohexa(0xFFFFFFFF), "FFFFFFFF");
}

TEST(NumberText, DoublesAreShortestAndLocaleFree) {
    struct Case {
        double value;
        const char* text;
    } cases[] = {{0.1, "0.1"}, {-2.5, "-2.5"}, {100, "100"}, {1e20, "1e+20"}};
    for (const Case& c : cases) ExpectAscii(udtoa(c.value), c.text);

    // A decimal-comma locale, where one is installed, changes nothing.
    const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
    if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8")) ExpectAscii(udtoa(0.5), "0.5");
    std::setlocale(LC_NUMERIC, saved.c_str());
}

TEST(FourCharCode, ToAndFromText) {
    const string text = FourCharCodeToString(0x5A515066);
    EXPECT_EQ(Bytes(text), "ZQPf");
    EXPECT_EQ(text.Encoding(), kEncodingMacRoman);
    const string withZeros = FourCharCodeToString(0x00410000);
    EXPECT_EQ(Bytes(withZeros), std::string_view("\0A\0\0", 4));
    EXPECT_EQ(StringToFourCharCode(withZeros), 0x00410000u);
    EXPECT_EQ(StringToFourCharCode("ab"), 0x61622020u);  // padded with spaces
    EXPECT_EQ(StringToFourCharCode("abcdef"), 0x61626364u);
    EXPECT_EQ(StringToFourCharCode(string()), 0u);
    string utf8("\xC3\xA9");
    utf8.SetEncoding(kEncodingUTF8);
    EXPECT_EQ(StringToFourCharCode(utf8), 0x8E202020u);  // read as MacRoman
}

TEST(ByteFields, ShortsLittleEndianLongsBigEndian) {
    const string shortField = WriteShortAsBits(0x1234);
    EXPECT_EQ(Bytes(shortField), "\x34\x12");
    EXPECT_EQ(ReadShortAsBits(shortField), 0x34);  // the required first byte only
    EXPECT_EQ(ReadShortAsBits(string()), 0);

    EXPECT_EQ(Bytes(WriteLongAsBits(0x01020384)), "\x01\x02\x03\x84");
    for (uint32_t v : {0u, 0x80000000u, 0xFFFFFFFFu, 0x00F1D173u}) {
        EXPECT_EQ(ReadLongAsBits(WriteLongAsBits(v)), v);
    }
    EXPECT_EQ(ReadLongAsBits(string("\x01")), 0x01000000u);
}

}  // namespace
