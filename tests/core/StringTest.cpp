// StringTest.cpp - the string type: block layout, sharing, substrings, joining, comparing.
//
// Conversions across encodings run the C library's iconv (MacRoman, UTF-8, UTF-16),
// which every glibc carries. Reference counts are read from the blocks to check the
// "shared, not copied" promises.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "core/VectorStuff.h"
#include "core/string.h"
#include "encodings/Encodings.h"

namespace {

// A string of the given bytes (strlen when length is -1) with the given tag.
string Tagged(const char* bytes, uint32_t encoding, long length = -1) {
    string s;
    s.ConstructFromBuffer(bytes, static_cast<unsigned>(length < 0 ? std::strlen(bytes) : length));
    s.SetEncoding(encoding);
    return s;
}
std::string_view Bytes(const string& s) {
    return {s.CString(), s.Length()};
}
uint32_t Count(const string& s) {
    return s.GetStorage() ? s.GetStorage()->referenceCount : 0;
}

size_t gRequested = 0;  // the last size asked of RecordingAllocator
void* RecordingAllocator(size_t size) {
    return std::malloc(gRequested = size);
}
void* FailingAllocator(size_t) {
    return nullptr;
}

TEST(StringBlock, Layout) {
    for (unsigned length : {1u, 2u, 254u, 255u, 256u, 300u}) {
        SCOPED_TRACE(length);
        string s;
        s.AllocateBuffer(length, RecordingAllocator);
        const stringStorage* block = s.GetStorage();
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(gRequested, length + kStringBlockOverhead);
#if defined(__i386__)
        EXPECT_EQ(gRequested, length + 26);  // a 20-byte header
#endif
        EXPECT_EQ(block->referenceCount, 1u);
        EXPECT_EQ(block->blockSize, length + 5);
        EXPECT_EQ(block->length, length);
        EXPECT_EQ(block->encoding, kEncodingUnknown);
        const auto* base = reinterpret_cast<const unsigned char*>(block);
        EXPECT_GE(block->textBlock, base + sizeof(stringStorage));
        EXPECT_LE(block->textBlock, base + sizeof(stringStorage) + 1);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(s.CString()) % 2, 0u);
        EXPECT_EQ(unsigned{s.PString()[0]}, length < 255 ? length : 255u);
        EXPECT_EQ(std::memcmp(s.CString() + length, "\0\0\0\0", 4), 0);
    }
    string s("abc");
    s.AllocateBuffer(0, RecordingAllocator);
    EXPECT_EQ(s.GetStorage(), nullptr);
    s.AllocateBuffer(10, FailingAllocator);
    EXPECT_EQ(s.GetStorage(), nullptr);
}

TEST(StringBlock, EmptyStringAnswersWithSharedConstants) {
    const string empty;
    EXPECT_EQ(empty.CString()[0], 0);
    EXPECT_EQ(empty.PString(), kNullPString);
    EXPECT_EQ(empty.WString(), kNullWString);
    EXPECT_EQ(empty[1000], 0);
    EXPECT_EQ(empty.ExtractStringStorage(), nullptr);
    EXPECT_EQ(string("").GetStorage(), nullptr);
}

TEST(StringConstruct, TagsAndCopies) {
    const string literal("abc");
    EXPECT_EQ(literal.Encoding(), kEncodingASCII);
    string copy;
    copy.ConstructFromBuffer(literal.GetStorage());
    EXPECT_NE(copy.GetStorage(), literal.GetStorage());
    EXPECT_EQ(Bytes(copy), "abc");
    EXPECT_EQ(copy.Encoding(), kEncodingUnknown);

    // The source may be the string's own, unshared text.
    copy.ConstructFromBuffer(copy.CString() + 1, 2);
    EXPECT_EQ(Bytes(copy), "bc");
    copy.ConstructFromBuffer(nullptr, 4);  // a buffer to fill
    ASSERT_EQ(copy.Length(), 4u);
    std::memcpy(copy.CString(), "wxyz", 4);
    EXPECT_EQ(Bytes(copy), "wxyz");
}

TEST(StringConstruct, SixteenBitText) {
    const wchar_t wide[] = {L'A', static_cast<wchar_t>(0x1F600)};
    string s;
    s.ConstructFromWString(wide, 2);
    EXPECT_EQ(s.Encoding(), kEncodingUTF16);
    uint16_t units[3];
    ASSERT_EQ(s.Length(), 4u);
    std::memcpy(units, s.CString(), sizeof units);
    EXPECT_EQ(units[0], 0x41);
    EXPECT_EQ(units[1], 0xF600);  // low 16 bits only
    EXPECT_EQ(units[2], 0);       // terminator
    EXPECT_EQ(static_cast<void*>(s.WString()), static_cast<void*>(s.CString()));
    EXPECT_EQ(Tagged("ab", kEncodingUTF16LE).WString(), kNullWString);

    // The length byte is the low 8 bits of the byte length: 400 gives 144.
    std::vector<unsigned short> many(200, 0x41);
    s.ConstructFromUTF16String(many.data(), 200);
    EXPECT_EQ(s.Length(), 400u);
    EXPECT_EQ(s.PString()[0], 144);
    EXPECT_EQ(std::memcmp(s.CString(), many.data(), 400), 0);
    std::vector<wchar_t> manyWide(200, L'A');
    s.ConstructFromWString(manyWide.data(), 200);
    EXPECT_EQ(s.PString()[0], 144);

    s.ConstructFromWString(wide, 0);
    EXPECT_EQ(s.GetStorage(), nullptr);
    s.ConstructFromUTF16String(many.data(), -1);
    EXPECT_EQ(s.GetStorage(), nullptr);
}

TEST(StringShare, CopiesAssignmentsAndExtraction) {
    string a("abc");
    {
        string b = a;
        string c("xyz");
        const string xyz = c;
        c = a;
        EXPECT_EQ(Count(a), 3u);
        EXPECT_EQ(Count(xyz), 1u);  // c released its old block
        c = c;
        EXPECT_EQ(Count(a), 3u);
    }
    EXPECT_EQ(Count(a), 1u);
    stringStorage* extracted = a.ExtractStringStorage();
    EXPECT_EQ(Count(a), 2u);
    extracted->RemoveReference();
    EXPECT_EQ(Count(a), 1u);
}

TEST(StringShare, MutableCharCopiesASharedBlock) {
    const string original = Tagged("abc", kEncodingUTF8);
    string writer = original;
    *writer.MutableChar(1) = 'X';
    EXPECT_EQ(Bytes(writer), "aXc");
    EXPECT_EQ(writer.Encoding(), kEncodingUnknown);
    EXPECT_EQ(Bytes(original), "abc");
    EXPECT_EQ(original.Encoding(), kEncodingUTF8);

    writer.SetEncoding(kEncodingASCII);  // now unshared: written in place, tag kept
    const stringStorage* block = writer.GetStorage();
    *writer.MutableChar(0) = 'Z';
    EXPECT_EQ(writer.GetStorage(), block);
    EXPECT_EQ(writer.Encoding(), kEncodingASCII);

    string empty;
    *empty.MutableChar(5) = 'q';  // the scratch byte
    EXPECT_EQ(empty.GetStorage(), nullptr);
    EXPECT_EQ(string().CString()[0], 0);
}

TEST(StringAccess, ContainsOnlyASCII) {
    struct Case {
        const char* bytes;
        uint32_t encoding;
        bool expected;
    } cases[] = {{"abc", kEncodingASCII, true},
                 {"ab\x80", kEncodingUTF8, false},
                 {"\x7F", kEncodingMacRoman, true},
                 {"abc", kEncodingUTF16, false},
                 {"abc", 0x1FF, false},
                 {"abc", 0x200, true}};
    for (const Case& c : cases) {
        EXPECT_EQ(Tagged(c.bytes, c.encoding).ContainsOnlyASCII(), c.expected) << c.encoding;
    }
    EXPECT_TRUE(string().ContainsOnlyASCII());
    EXPECT_TRUE(VectorStuff()->ContainsOnlyLowBytes(nullptr, 0));
}

TEST(StringSubstring, Table) {
    const string s = Tagged("abcdef", kEncodingMacRoman);
    enum Kind { kEmpty, kSame, kCopy };
    struct Case {
        const char* name;
        string result;
        Kind kind;
        const char* text;
    } cases[] = {
        {"left 0", left(s, 0), kEmpty, ""},         {"left 2", left(s, 2), kCopy, "ab"},
        {"left 5", left(s, 5), kCopy, "abcde"},     {"left 6", left(s, 6), kSame, "abcdef"},
        {"right -1", right(s, -1), kEmpty, ""},     {"right 2", right(s, 2), kCopy, "ef"},
        {"right 9", right(s, 9), kSame, "abcdef"},  {"mid 6", mid(s, 6), kEmpty, ""},
        {"mid -3", mid(s, -3), kSame, "abcdef"},    {"mid 2", mid(s, 2), kCopy, "cdef"},
        {"mid -2,4", mid(s, -2, 4), kCopy, "ab"},   {"mid -6,6", mid(s, -6, 6), kEmpty, ""},
        {"mid 0,6", mid(s, 0, 6), kSame, "abcdef"}, {"mid 0,7", mid(s, 0, 7), kCopy, "abcdef"},
        {"mid 4,9", mid(s, 4, 9), kCopy, "ef"},     {"mid 6,1", mid(s, 6, 1), kEmpty, ""},
        {"mid 5,1", mid(s, 5, 1), kCopy, "f"},      {"mid 2,0", mid(s, 2, 0), kEmpty, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Bytes(c.result), c.text);
        const stringStorage* block = c.result.GetStorage();
        EXPECT_EQ(block == nullptr, c.kind == kEmpty);
        EXPECT_EQ(block == s.GetStorage(), c.kind == kSame);
        EXPECT_EQ(c.result.Encoding(), c.kind == kEmpty ? kEncodingUnknown : kEncodingMacRoman);
    }
}

TEST(StringSubstring, Trims) {
    const string padded = Tagged(" \t ab c\t ", kEncodingUTF8);
    EXPECT_EQ(Bytes(ltrim(padded)), "ab c\t ");
    EXPECT_EQ(Bytes(rtrim(padded)), " \t ab c");
    EXPECT_EQ(Bytes(trim(padded)), "ab c");
    EXPECT_EQ(trim(padded).Encoding(), kEncodingUTF8);
    const string other = Tagged("\nab\r", kEncodingASCII);  // only spaces and tabs
    EXPECT_EQ(trim(other).GetStorage(), other.GetStorage());
    EXPECT_EQ(trim(Tagged(" \t ", kEncodingASCII)).GetStorage(), nullptr);
}

TEST(StringEncoding, CommonEncodingRules) {
    constexpr uint32_t kLatin1 = 513, kSixteen = 0x1FF, kMac = kEncodingMacRoman;
    constexpr uint32_t kAscii = kEncodingASCII, kUtf8 = kEncodingUTF8, kUtf16 = kEncodingUTF16;
    struct Case {
        uint32_t a, b;
        bool allowUnicode;
        uint32_t expected;
    } cases[] = {
        {kLatin1, kLatin1, false, kLatin1},
        {kMac, kAscii, false, kMac},
        {kAscii, kMac, false, kMac},
        {kUtf8, kAscii, false, kUtf8},
        {kAscii, kUtf8, false, kUtf8},
        {kUtf16, kAscii, false, kEncodingUnknown},
        {kAscii, kSixteen, false, kEncodingUnknown},
        {kMac, kLatin1, false, kEncodingUnknown},
        {kMac, kLatin1, true, kUtf8},
        {kAscii, kSixteen, true, kUtf8},
        {kUtf16, kMac, true, kUtf16},
        {kAscii, kUtf16, true, kUtf16},
        {kUtf16, kUtf8, true, kUtf8},
        {kEncodingUTF16LE, kUtf16, true, kUtf16},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(CommonEncoding(c.a, c.b, c.allowUnicode), c.expected)
            << std::hex << c.a << " " << c.b << " " << c.allowUnicode;
    }
}

TEST(StringEncoding, ConvertToSameEncoding) {
    string a, b;
    EXPECT_EQ(ConvertToSameEncoding(&a, &b), kEncodingASCII);
    b = Tagged("x", kEncodingUTF16);
    EXPECT_EQ(ConvertToSameEncoding(&a, &b), kEncodingUTF16);
    EXPECT_EQ(ConvertToSameEncoding(&b, &a), kEncodingUTF16);
    a = Tagged("\x8E", kEncodingMacRoman);
    b = Tagged("\xE9", kEncodingUnknown);
    EXPECT_EQ(ConvertToSameEncoding(&a, &b), kEncodingUnknown);
    EXPECT_EQ(a.Encoding(), kEncodingMacRoman);

    a = Tagged("abc", kEncodingASCII);  // common without touching bytes
    b = Tagged("\x8E", kEncodingMacRoman);
    const stringStorage* aBlock = a.GetStorage();
    EXPECT_EQ(ConvertToSameEncoding(&a, &b), kEncodingMacRoman);
    EXPECT_EQ(a.GetStorage(), aBlock);

    a = Tagged("\x8E", kEncodingMacRoman);  // neither UTF-8 nor UTF-16: both to UTF-8
    b = Tagged("\xE9", kEncodingISOLatin1);
    EXPECT_EQ(ConvertToSameEncoding(&a, &b), kEncodingUTF8);
    EXPECT_EQ(Bytes(a), "\xC3\xA9");
    EXPECT_EQ(Bytes(b), "\xC3\xA9");

    a = Tagged("\x8E", kEncodingMacRoman);  // UTF-16 without UTF-8: to UTF-16
    b = Tagged("A\0", kEncodingUTF16, 2);
    EXPECT_EQ(ConvertToSameEncoding(&a, &b), kEncodingUTF16);
    EXPECT_EQ(a.Encoding(), kEncodingUTF16);
    EXPECT_EQ(Bytes(right(a, 2)), std::string_view("\xE9\0", 2));
}

TEST(StringEncoding, UnicodeCharAndConversions) {
    const string utf16 = UnicodeChar(0x41, kEncodingUTF16);
    EXPECT_EQ(Bytes(utf16), std::string_view("A\0\0", 3));  // the required length 3
    EXPECT_EQ(utf16.Encoding(), kEncodingUTF16);
    EXPECT_EQ(Bytes(UnicodeChar(0xE9, kEncodingUTF8)), "\xC3\xA9");
    const string macRoman = UnicodeChar(0xE9, kEncodingMacRoman);
    EXPECT_EQ(Bytes(macRoman), "\x8E");
    EXPECT_EQ(macRoman.Encoding(), kEncodingMacRoman);

    const string utf8 = Tagged("abc", kEncodingUTF8);
    EXPECT_EQ(utf8.GetUTF8String().GetStorage(), utf8.GetStorage());
    EXPECT_EQ(Bytes(Tagged("\x8E", kEncodingMacRoman).GetUTF8String()), "\xC3\xA9");
    EXPECT_EQ(utf16.GetUTF16String().GetStorage(), utf16.GetStorage());
    // Unknown text is read as the system encoding (UTF-8) and keeps its own tag.
    const string unknown = Tagged("\xC3\xA9", kEncodingUnknown);
    const string converted = unknown.GetUTF16String();
    EXPECT_EQ(unknown.Encoding(), kEncodingUnknown);
    EXPECT_EQ(converted.Encoding(), kEncodingUTF16);
    EXPECT_EQ(Bytes(right(converted, 2)), std::string_view("\xE9\0", 2));
}

TEST(StringJoin, EncodingsOfTheResult) {
    struct Case {
        const char* name;
        string x, y;
        uint32_t encoding;
        std::string_view bytes;
    } cases[] = {
        {"ascii+utf8", Tagged("ab", kEncodingASCII), Tagged("\xC3\xA9", kEncodingUTF8),
         kEncodingUTF8, "ab\xC3\xA9"},
        {"ascii+mac", Tagged("ab", kEncodingASCII), Tagged("\x8E", kEncodingMacRoman),
         kEncodingMacRoman, "ab\x8E"},
        {"utf8+mac", Tagged("\xC3\xA9", kEncodingUTF8), Tagged("\x8E", kEncodingMacRoman),
         kEncodingUTF8, "\xC3\xA9\xC3\xA9"},
        {"utf16+mac", Tagged("A\0", kEncodingUTF16, 2), Tagged("\x8E", kEncodingMacRoman),
         kEncodingUTF16, std::string_view("A\0\xFF\xFE\xE9\0", 6)},  // iconv's UTF-16 BOM
        {"same tag", Tagged("ab", 513), Tagged("\xE9", 513), 513, "ab\xE9"},
        {"unknown", Tagged("ab", kEncodingUnknown), Tagged("\xC3\xA9", kEncodingUTF8),
         kEncodingUnknown, "ab\xC3\xA9"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const string joined = c.x + c.y;
        EXPECT_EQ(joined.Encoding(), c.encoding);
        EXPECT_EQ(Bytes(joined), c.bytes);
    }
    const string x = Tagged("ab", kEncodingUTF8);
    EXPECT_EQ((x + string()).GetStorage(), x.GetStorage());
    EXPECT_EQ((string() + x).GetStorage(), x.GetStorage());
}

TEST(StringJoin, Append) {
    string s;
    const string y = Tagged("cd", kEncodingUTF8);
    s += y;
    EXPECT_EQ(s.Encoding(), kEncodingUTF8);
    EXPECT_NE(s.GetStorage(), y.GetStorage());
    const stringStorage* before = s.GetStorage();
    s += string();
    s += "";
    EXPECT_EQ(s.GetStorage(), before);
    s += Tagged("\x8E", kEncodingMacRoman);
    EXPECT_EQ(Bytes(s), "cd\xC3\xA9");
    EXPECT_EQ(s.Encoding(), kEncodingUTF8);
    s += s.CString() + 2;  // C text, from this string's own bytes
    EXPECT_EQ(Bytes(s), "cd\xC3\xA9\xC3\xA9");
    EXPECT_EQ(s.Encoding(), kEncodingUTF8);

    string empty;
    empty += "xy";
    EXPECT_EQ(empty.Encoding(), kEncodingUnknown);
}

TEST(StringJoin, AppendCharacter) {
    struct Case {
        string x;
        char c;
        uint32_t encoding;
    } cases[] = {
        {string(), 'a', kEncodingASCII},
        {Tagged("x", kEncodingMacRoman), 'a', kEncodingMacRoman},
        {Tagged("x", kEncodingUTF8), 'a', kEncodingUTF8},
        {Tagged("x\0", kEncodingUTF16, 2), 'a', kEncodingUnknown},
        {Tagged("x", kEncodingUTF8), '\xE9', kEncodingUnknown},
        {string(), '\x80', kEncodingUnknown},
    };
    for (const Case& c : cases) {
        const string joined = c.x + c.c;
        EXPECT_EQ(Bytes(joined), std::string(Bytes(c.x)) + c.c);
        EXPECT_EQ(joined.Encoding(), c.encoding) << std::hex << c.x.Encoding();
    }
}

TEST(StringCompare, Table) {
    struct Case {
        string x, y;
        int insensitive, sensitive;  // signs of Compare and CompareWithCase
    } cases[] = {
        {Tagged("Abc", kEncodingASCII), Tagged("abc", kEncodingASCII), 0, -1},
        {Tagged("ab", kEncodingASCII), Tagged("abc", kEncodingASCII), -1, -1},
        {Tagged("abc", kEncodingASCII), Tagged("AB", kEncodingASCII), 1, 1},
        {string(), string(), 0, 0},
        {string(), Tagged("a", kEncodingASCII), -1, -1},
        {Tagged("abc", kEncodingASCII), Tagged("abc", kEncodingMacRoman), 0, 0},
        {Tagged("\xC3\xA9", kEncodingUTF8), Tagged("\x8E", kEncodingMacRoman), 0, 0},
        {Tagged("\x8E", kEncodingUnknown), Tagged("\xC3\xA9", kEncodingUTF8), -1, -1},
        // Unequal lengths: signed bytes (0x80 before ASCII), folded by the 8-bit table.
        {Tagged("\x80", kEncodingUnknown), Tagged("ab", kEncodingUnknown), -1, -1},
        {Tagged("\x8A", kEncodingUnknown), Tagged("\x80x", kEncodingUnknown), -1, 1},
        // Equal lengths: strncmp/strncasecmp, unsigned and stopping at a zero byte.
        {Tagged("\x80", kEncodingUnknown), Tagged("a", kEncodingUnknown), 1, 1},
        {Tagged("a\0x", kEncodingUnknown, 3), Tagged("a\0y", kEncodingUnknown, 3), 0, 0},
    };
    auto sign = [](int v) { return (v > 0) - (v < 0); };
    int row = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(row++);
        EXPECT_EQ(sign(c.x.Compare(c.y)), c.insensitive);
        EXPECT_EQ(sign(c.y.Compare(c.x)), -c.insensitive);
        EXPECT_EQ(sign(c.x.CompareWithCase(c.y)), c.sensitive);
    }
    const string s("abc");
    EXPECT_EQ(s.CompareWithCase("abc"), 0);
    EXPECT_GT(s.CompareWithCase("ABC"), 0);
    EXPECT_GT(s.CompareWithCase(nullptr), 0);
}

}  // namespace
