// EncodingsConversionTest.cpp - identifiers, iconv names, caches and conversion.
//
// Conversions run the C library's iconv with encodings every glibc carries (MAC,
// ISO_8859-1, UTF-8, UTF-16 and UTF-32 forms). Tests that depend on the process-wide
// caches starting fresh run in a child process. iconv_open is counted to tell a
// conversion from a cache hit or a retag.
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include <dlfcn.h>
#include <iconv.h>

#include <gtest/gtest.h>

#include "core/string.h"
#include "encodings/Encodings.h"
#include "support/TextHelpers.h"

namespace {
long gIconvOpens = 0;  // calls of iconv_open, successful or not
}  // namespace

// This executable's iconv_open, which the library's conversion code links against:
// counts the call and forwards it to the C library's.
extern "C" iconv_t iconv_open(const char* toName, const char* fromName) {
    using IconvOpen = iconv_t (*)(const char*, const char*);
    static const auto real = reinterpret_cast<IconvOpen>(dlsym(RTLD_NEXT, "iconv_open"));
    ++gIconvOpens;
    return real(toName, fromName);
}

namespace {

TEST(EncodingTables, IconvNames) {
    // One row per kind of entry: the table's rows themselves are data.
    struct Case {
        uint32_t encoding;
        const char* name;  // null: no name
    } cases[] = {
        {0, "MAC"},
        {29, "MACUK"},
        {0x100, "UTF-16"},
        {527, "ISO_8859-15:1998"},
        {1585, "CP936"},
        {2561, "CP932"},
        {2562, "KOI8_R"},
        {3073, "CP037"},
        {0x600, "US-ASCII"},
        {0x08000100, "UTF-8"},
        {0x0C000100, "UTF-32"},
        {0x10000100, "UTF-16BE"},
        {0x14000100, "UTF-16LE"},
        {0xFFFF, "UTF-8"},
        {1, nullptr},
        {1300, nullptr},
        {0x0F000100, nullptr},
    };
    for (const Case& c : cases) {
        const char* name = GetIconvName(c.encoding);
        EXPECT_STREQ(name ? name : "(none)", c.name ? c.name : "(none)") << c.encoding;
    }
}

TEST(EncodingTables, Attributes) {
    struct Case {
        unsigned long encoding;
        int base, format;
    } cases[] = {
        {0x08000100, 256, 2},        {0x0C000100, 256, 7}, {0x0D000100, 256, 7},
        {0x0E000100, 256, 6},        {0x10000100, 256, 4}, {0x14000100, 256, 5},
        {0x600, 0x600, 0},           {0x100, 0x100, 0},    {0, 0, 0},
        {0x0F000100, 0x0F000100, 0},
    };
    for (const Case& c : cases) {
        int base = -1, variant = -1, format = -1;
        GetEncodingAttributes(c.encoding, base, variant, format);
        EXPECT_EQ(base, c.base) << std::hex << c.encoding;
        EXPECT_EQ(variant, 0) << std::hex << c.encoding;
        EXPECT_EQ(format, c.format) << std::hex << c.encoding;
    }
}

TEST(EncodingCaches, FontEncodingOnlyRemembersTheEmptyName) {
    // In a fresh process (re-executed, so no earlier test has asked anything): the
    // empty name is ASCII until another name is asked about.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const bool ok = GetEncodingFromFont(string()) == kEncodingASCII &&
                            GetEncodingFromFont("Geneva") == kEncodingUTF8 &&
                            GetEncodingFromFont(string()) == kEncodingUTF8;
            std::exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(GetSystemEncoding(), kEncodingUTF8);
    EXPECT_EQ(GetKeyboardEncoding(), 513u);
}

TEST(ConvertEncoding, LeavesTextAloneWhenNothingToDo) {
    const string mac = Tagged("\x8E", kEncodingMacRoman);
    EXPECT_EQ(ConvertEncoding(mac, kEncodingUnknown).GetStorage(), mac.GetStorage());
    EXPECT_EQ(ConvertEncoding(mac, kEncodingMacRoman).GetStorage(), mac.GetStorage());
    const string unknown = Tagged("\x8E", kEncodingUnknown);
    EXPECT_EQ(ConvertEncoding(unknown, kEncodingUTF8).GetStorage(), unknown.GetStorage());
    EXPECT_EQ(ConvertEncoding(string(), kEncodingUTF8).GetStorage(), nullptr);

    // An identifier without an iconv name: unchanged, old tag.
    const string odd = Tagged("abc\x8E", 1300);
    const string result = ConvertEncoding(odd, kEncodingUTF8);
    EXPECT_EQ(result.GetStorage(), odd.GetStorage());
    EXPECT_EQ(result.Encoding(), 1300u);
}

TEST(ConvertEncoding, ThroughIconv) {
    struct Case {
        const char* name;
        string text;
        uint32_t target;
        std::string_view bytes;
    } cases[] = {
        {"MacRoman to UTF-16LE", Tagged("A\x8E", kEncodingMacRoman), kEncodingUTF16LE,
         std::string_view("A\0\xE9\0", 4)},
        {"MacRoman to UTF-8", Tagged("\x8E", kEncodingMacRoman), kEncodingUTF8, "\xC3\xA9"},
        {"UTF-8 to MacRoman", Tagged("\xC3\xA9", kEncodingUTF8), kEncodingMacRoman, "\x8E"},
        {"UTF-8 to Latin-1", Tagged("\xC3\xA9", kEncodingUTF8), 513, "\xE9"},
        {"UTF-16BE to UTF-8", Tagged("\0A\0\xE9", kEncodingUTF16BE, 4), kEncodingUTF8, "A\xC3\xA9"},
        {"bad bytes become ?", Tagged("a\xFF\xFE\x62", kEncodingUTF8), 513, "a??b"},
        {"unrepresentable", Tagged("\xE2\x82\xACx", kEncodingUTF8), 513, "???x"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const string result = ConvertEncoding(c.text, c.target);
        EXPECT_EQ(Bytes(result), c.bytes);
        EXPECT_EQ(result.Encoding(), c.target);
        EXPECT_EQ(std::memcmp(result.CString() + result.Length(), "\0\0\0\0", 4), 0);
    }
}

TEST(ConvertEncoding, BadLastByteLeavesTextUnconverted) {
    // Deliberate behaviour: a bad byte with no input after it fails the conversion.
    const string text = Tagged("ab\xFF", kEncodingUTF8);
    const string result = ConvertEncoding(text, 513);
    EXPECT_EQ(result.GetStorage(), text.GetStorage());
    EXPECT_EQ(result.Encoding(), kEncodingUTF8);
    const string system = ConvertToSystemEncoding(Tagged("\x8E", kEncodingMacRoman));
    EXPECT_EQ(Bytes(system), "\xC3\xA9");
}

TEST(ConvertEncoding, AsciiIsRetaggedForAsciiSupersets) {
    const string ascii = Tagged("Az", kEncodingASCII);
    for (uint32_t target : {kEncodingUTF8, kEncodingMacRoman, 513u, 0x600u + 1, 0xFFFEu}) {
        const long opens = gIconvOpens;
        const string result = ConvertEncoding(ascii, target);
        EXPECT_EQ(gIconvOpens, opens) << target;  // a copy, not a conversion
        EXPECT_NE(result.GetStorage(), ascii.GetStorage()) << target;
        EXPECT_EQ(Bytes(result), "Az") << target;
        EXPECT_EQ(result.Encoding(), target) << target;
    }
    EXPECT_EQ(ascii.Encoding(), kEncodingASCII);

    // The 16-bit family up to 512 and Unicode forms other than UTF-8 go through iconv.
    const long opens = gIconvOpens;
    const string utf16 = ConvertEncoding(ascii, kEncodingUTF16);
    EXPECT_EQ(utf16.Encoding(), kEncodingUTF16);
    EXPECT_GE(utf16.Length(), 4u);
    const string le = ConvertEncoding(ascii, kEncodingUTF16LE);
    EXPECT_EQ(Bytes(le), std::string_view("A\0z\0", 4));
    // 512 has no iconv name: not retagged, and iconv is not asked.
    EXPECT_EQ(ConvertEncoding(ascii, 512).Encoding(), kEncodingASCII);
    EXPECT_EQ(gIconvOpens, opens + 2);
}

TEST(ConvertEncoding, RepeatsComeFromTheCache) {
    const string text = Tagged("\x8E", kEncodingMacRoman);
    const long opens = gIconvOpens;
    const string first = ConvertEncoding(text, kEncodingUTF8);
    EXPECT_EQ(gIconvOpens, opens + 1);
    const string second = ConvertEncoding(text, kEncodingUTF8);
    EXPECT_EQ(gIconvOpens, opens + 1);  // no iconv: the cached result, shared
    EXPECT_EQ(first.GetStorage(), second.GetStorage());
    EXPECT_EQ(Bytes(second), "\xC3\xA9");

    // The cache holds one conversion: another target for the same block replaces it.
    const string other = ConvertEncoding(text, kEncodingUTF16LE);
    EXPECT_EQ(other.Encoding(), kEncodingUTF16LE);
    const string third = ConvertEncoding(text, kEncodingUTF8);
    EXPECT_EQ(gIconvOpens, opens + 3);
    EXPECT_NE(third.GetStorage(), first.GetStorage());
    EXPECT_EQ(Bytes(third), "\xC3\xA9");
}

TEST(ConvertEncoding, MebibyteRoundTrip) {
    // Every MacRoman byte, 4096 times: 1 MiB to UTF-8 and back, byte for byte.
    std::string bytes(1 << 20, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i);
    const string mac = Tagged(bytes.data(), kEncodingMacRoman, static_cast<long>(bytes.size()));
    const string utf8 = ConvertEncoding(mac, kEncodingUTF8);
    ASSERT_EQ(utf8.Encoding(), kEncodingUTF8);
    EXPECT_GT(utf8.Length(), bytes.size());  // 128 two- and three-byte forms per round
    const string back = ConvertEncoding(utf8, kEncodingMacRoman);
    ASSERT_EQ(back.Encoding(), kEncodingMacRoman);
    ASSERT_EQ(back.Length(), bytes.size());
    EXPECT_EQ(std::memcmp(back.CString(), bytes.data(), bytes.size()), 0);
}

TEST(ConvertTextUnix, FailuresGiveBackTheSourceWithOneMoreReference) {
    EXPECT_EQ(ConvertTextUnix(nullptr, 0, kEncodingUTF8), nullptr);
    const string text = Tagged("A", kEncodingASCII);
    stringStorage* block = text.GetStorage();
    struct Case {
        const char* name;
        uint32_t from, to;
    } cases[] = {
        {"no source name", 1300, kEncodingUTF8},
        {"no target name", kEncodingASCII, 1},
        {"iconv lacks it", kEncodingASCII, 2562},
        // A byte-order mark and one 32-bit unit do not fit in four bytes a byte.
        {"output too small", kEncodingASCII, kEncodingUTF32},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        stringStorage* result = ConvertTextUnix(block, c.from, c.to);
        EXPECT_EQ(result, block);
        EXPECT_EQ(block->referenceCount, 2u);
        EXPECT_EQ(block->encoding, kEncodingASCII);
        result->RemoveReference();
    }
}

TEST(ConvertTextUnix, ResultBlock) {
    // 80 bytes of UTF-8 in, 40 bytes out: the length byte keeps its allocation value.
    string text;
    text.AllocateBuffer(80);
    for (int i = 0; i < 80; i += 2) std::memcpy(text.CString() + i, "\xC3\xA9", 2);
    stringStorage* result = ConvertTextUnix(text.GetStorage(), kEncodingUTF8, 513);
    ASSERT_NE(result, text.GetStorage());
    EXPECT_EQ(result->referenceCount, 1u);
    EXPECT_EQ(result->length, 40u);
    EXPECT_EQ(result->encoding, 513u);
    EXPECT_EQ(result->PString()[0], 255);
    EXPECT_EQ(result->CString()[40], 0);
    EXPECT_EQ(static_cast<unsigned char>(result->CString()[39]), 0xE9);
    result->RemoveReference();
    EXPECT_EQ(text.GetStorage()->referenceCount, 1u);
}

TEST(ConvertUsc2ByteSwapped, SwapsEachUnit) {
    const string text = Tagged("\x01\x02\x03\x04\x05", kEncodingUTF16);
    const string swapped = ConvertUsc2ByteSwapped(text.GetStorage());
    EXPECT_EQ(Bytes(swapped), std::string_view("\x02\x01\x04\x03\0", 5));
    EXPECT_EQ(swapped.Encoding(), kEncodingUnknown);
    EXPECT_EQ(ConvertUsc2ByteSwapped(nullptr).GetStorage(), nullptr);
}

}  // namespace
