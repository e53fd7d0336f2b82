// URLCodingTest.cpp - percent-encoding and the framework's decoding rules.
#include <cstring>
#include <string_view>

#include <gtest/gtest.h>

#include "core/string.h"
#include "support/TextHelpers.h"
#include "encodings/Encodings.h"
#include "encodings/URLCoding.h"

namespace {

string Raw(std::string_view bytes) {
    string s;
    s.ConstructFromBuffer(bytes.data(), static_cast<unsigned>(bytes.size()));
    return s;
}

TEST(URLCoding, Encode) {
    struct Case {
        std::string_view in, out;
    } cases[] = {
        {"a b~c", "a%20b%7Ec"}, {"AZaz09-_.", "AZaz09-_."},
        {"/\xE9", "%2F%E9"},    {std::string_view("\0", 1), "%00"},
        {"%", "%25"},
    };
    for (const Case& c : cases) {
        const string encoded = EncodeURLComponent(Raw(c.in));
        EXPECT_EQ(Bytes(encoded), c.out) << c.in;
        EXPECT_EQ(encoded.Encoding(), kEncodingASCII);
    }
    EXPECT_EQ(EncodeURLComponent(string()).GetStorage(), nullptr);
}

TEST(URLCoding, DecodeDigitRules) {
    struct Case {
        std::string_view in, out;
    } cases[] = {
        {"%41%4a", "\x41\xA0"},                   // a lower-case second digit replaces the first
        {"%2F", "/"},           {"%2f", "\xF0"},  // the required quirk
        {"%e9", "\xE9"},                          // a lower-case first digit is fine
        {"a%20b", "a b"},       {"%G1", "\x01"},  // invalid first digit contributes nothing
        {"%4G", "\x40"},                          // invalid second digit leaves the first
        {"plain", "plain"},
    };
    for (const Case& c : cases) {
        const string decoded = DecodeURLComponent(Raw(c.in), kEncodingUTF8);
        EXPECT_EQ(Bytes(decoded), c.out) << c.in;
        EXPECT_EQ(decoded.Encoding(), kEncodingUTF8) << c.in;
    }
}

TEST(URLCoding, DecodeTruncatedEscapes) {
    // Each "%" counts for three input bytes even when fewer remain.
    struct Case {
        std::string_view in, out;
    } cases[] = {
        {"%", ""}, {"%4", ""}, {"ab%", "a"}, {"abc%4", "abc"}, {"ab%41", "abA"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Bytes(DecodeURLComponent(Raw(c.in), kEncodingASCII)), c.out) << c.in;
    }
    EXPECT_EQ(DecodeURLComponent(string(), kEncodingASCII).GetStorage(), nullptr);
}

TEST(URLCoding, EveryByteSurvivesARoundTrip) {
    char all[256];
    for (int i = 0; i < 256; ++i) all[i] = static_cast<char>(i);
    const string decoded =
        DecodeURLComponent(EncodeURLComponent(Raw({all, sizeof all})), kEncodingUnknown);
    EXPECT_EQ(Bytes(decoded), std::string_view(all, sizeof all));
}

}  // namespace
