// StringTest.cpp - the string type: block layout, sharing, substrings, joining, comparing.
//
// Conversions across encodings run the C library's iconv (MacRoman, UTF-8, UTF-16),
// which every glibc carries. Blocks and their reference counts are read to check the
// "shared, not copied" promises. UTF-16 bytes are written in x86 (little-endian) order.
#include <cstddef>
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
#include "support/Sanitized.h"
#include "support/TextHelpers.h"

using namespace std::string_view_literals;

namespace {

uint32_t Count(const string& s) {
    return s.GetStorage() ? s.GetStorage()->referenceCount : 0;
}

size_t gRequested = 0;  // the last size asked of an allocator below
void* RecordingAllocator(size_t size) {
    return std::malloc(gRequested = size);
}
void* FailingAllocator(size_t) {
    return nullptr;
}

// Hands out a static arena at gArenaOffset bytes past a 16-byte boundary, so that a
// block header can end on an odd address, which malloc never gives. Blocks from it
// must never reach free(): each test keeps a reference it never drops. The header
// is then misaligned, which x86 (both our targets) reads and writes without complaint.
alignas(16) unsigned char gArena[512];
size_t gArenaOffset = 0;
void* ArenaAllocator(size_t size) {
    gRequested = size;
    return size + gArenaOffset <= sizeof gArena ? gArena + gArenaOffset : nullptr;
}

TEST(StringBlock, HeaderAndAllocationSize) {
    for (unsigned length : {1u, 2u, 255u, 300u}) {
        SCOPED_TRACE(length);
        string s;
        s.AllocateBuffer(length, RecordingAllocator);
        const stringStorage* block = s.GetStorage();
        ASSERT_NE(block, nullptr);
#if defined(__i386__)
        EXPECT_EQ(gRequested, length + 26);  // a 20-byte header
#elif defined(__x86_64__)
        EXPECT_EQ(gRequested, length + 38);  // the 64-bit pointer widens the header to 32
#endif
        EXPECT_EQ(block->referenceCount, 1u);
        EXPECT_EQ(block->blockSize, length + 5);
        EXPECT_EQ(block->length, length);
        EXPECT_EQ(block->encoding, kEncodingUnknown);
    }
    gRequested = 0;
    string s("abc");
    s.AllocateBuffer(0, RecordingAllocator);  // no zero-length blocks
    EXPECT_EQ(s.GetStorage(), nullptr);
    EXPECT_EQ(gRequested, 0u);
    s.AllocateBuffer(10, FailingAllocator);
    EXPECT_EQ(s.GetStorage(), nullptr);
}

TEST(StringBlock, TextStartsOnAnEvenAddressWhereverTheHeaderEnds) {
    // malloc's alignment makes every header end on an even address; the arena also
    // gives odd ones, where the length byte must move to the first byte after it.
    // The misaligned headers are what UndefinedBehaviorSanitizer reports, so its build
    // keeps to the aligned arena; the other builds cover the odd addresses.
    const std::vector<size_t> offsets =
        ZYNE_SANITIZED ? std::vector<size_t>{0} : std::vector<size_t>{0, 1, 2, 3};
    for (size_t offset : offsets) {
        gArenaOffset = offset;
        const unsigned char* start = gArena + offset;
        const unsigned char* headerEnd = start + sizeof(stringStorage);
        for (unsigned length = 1; length <= 40; ++length) {
            SCOPED_TRACE(testing::Message() << "offset " << offset << ", length " << length);
            string s;
            s.AllocateBuffer(length, ArenaAllocator);
            const stringStorage* block = s.ExtractStringStorage();  // never released
            ASSERT_EQ(static_cast<const void*>(block), static_cast<const void*>(start));
            const auto* text = reinterpret_cast<const unsigned char*>(s.CString());
            EXPECT_EQ(reinterpret_cast<uintptr_t>(text) % 2, 0u);
            EXPECT_TRUE(block->textBlock == headerEnd || block->textBlock == headerEnd + 1);
            EXPECT_EQ(text, block->textBlock + 1);
            EXPECT_LE(text + length + 4, start + gRequested);  // the terminator fits
            EXPECT_EQ(std::memcmp(text + length, "\0\0\0\0", 4), 0);
        }
    }
    gArenaOffset = 0;
}

TEST(StringBlock, LengthByte) {
    // AllocateBuffer clamps the Pascal length to 255.
    struct Case {
        unsigned length, lengthByte;
    } clamped[] = {{1, 1}, {128, 128}, {255, 255}, {256, 255}};
    for (const Case& c : clamped) {
        string s;
        s.AllocateBuffer(c.length);
        EXPECT_EQ(s.PString()[0], c.lengthByte) << c.length;
    }
    // The 16-bit constructors keep the low 8 bits of the byte length, unclamped.
    struct SixteenBitCase {
        unsigned units, lengthByte;
    } wrapped[] = {{1, 2}, {127, 254}, {128, 0}, {200, 144}};
    for (const SixteenBitCase& c : wrapped) {
        SCOPED_TRACE(c.units);
        const std::vector<unsigned short> units(c.units, 0x41);
        const std::vector<wchar_t> wide(c.units, L'A');
        string fromUnits, fromWide;
        fromUnits.ConstructFromUTF16String(units.data(), c.units);
        fromWide.ConstructFromWString(wide.data(), c.units);
        EXPECT_EQ(fromUnits.Length(), 2 * c.units);
        EXPECT_EQ(fromWide.Length(), 2 * c.units);
        EXPECT_EQ(fromUnits.PString()[0], c.lengthByte);
        EXPECT_EQ(fromWide.PString()[0], c.lengthByte);
    }
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
    EXPECT_EQ(Bytes(s), "A\0\0\xF6"sv);  // U+1F600 keeps its low 16 bits, 0xF600
    EXPECT_EQ(std::memcmp(s.CString() + 4, "\0\0", 2), 0);
    EXPECT_EQ(static_cast<void*>(s.WString()), static_cast<void*>(s.CString()));
    EXPECT_EQ(Tagged("ab", kEncodingUTF16LE).WString(), kNullWString);

    const unsigned short units[] = {0x41, 0xE9};
    s.ConstructFromUTF16String(units, 2);
    EXPECT_EQ(Bytes(s), "A\0\xE9\0"sv);
    EXPECT_EQ(s.Encoding(), kEncodingUTF16);

    s.ConstructFromWString(wide, 0);
    EXPECT_EQ(s.GetStorage(), nullptr);
    s.ConstructFromUTF16String(units, 0);
    EXPECT_EQ(s.GetStorage(), nullptr);
    s.ConstructFromUTF16String(units, -1);
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

TEST(StringShare, MutableCharCopiesASharedBlockForTheWriterOnly) {
    const string first = Tagged("abc", kEncodingUTF8);
    const string second = first;
    string writer = first;
    const stringStorage* shared = first.GetStorage();
    ASSERT_EQ(Count(first), 3u);
    *writer.MutableChar(1) = 'X';
    EXPECT_NE(writer.GetStorage(), shared);
    EXPECT_EQ(Count(writer), 1u);
    EXPECT_EQ(Bytes(writer), "aXc");
    EXPECT_EQ(writer.Encoding(), kEncodingUnknown);  // the copy drops the tag
    EXPECT_EQ(first.GetStorage(), shared);
    EXPECT_EQ(second.GetStorage(), shared);
    EXPECT_EQ(Count(first), 2u);
    EXPECT_EQ(Bytes(first), "abc");
    EXPECT_EQ(first.Encoding(), kEncodingUTF8);

    writer.SetEncoding(kEncodingASCII);  // now unshared: written in place, tag kept
    const stringStorage* block = writer.GetStorage();
    *writer.MutableChar(0) = 'Z';
    EXPECT_EQ(writer.GetStorage(), block);
    EXPECT_EQ(Bytes(writer), "ZXc");
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
        // kSame: a covering substring shares the block, without a copy.
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
    // Pairs of ASCII, UTF-8, MacRoman and UTF-16 without Unicode show in
    // StringJoin.EveryPairOfTags; here the 16-bit family, Latin-1 and allowUnicode.
    constexpr uint32_t kLatin1 = 513, kSixteen = 0x1FF, kMac = kEncodingMacRoman;
    constexpr uint32_t kAscii = kEncodingASCII, kUtf8 = kEncodingUTF8, kUtf16 = kEncodingUTF16;
    struct Case {
        uint32_t a, b;
        bool allowUnicode;
        uint32_t expected;
    } cases[] = {
        {kLatin1, kLatin1, false, kLatin1},       {kAscii, kSixteen, false, kEncodingUnknown},
        {kMac, kLatin1, false, kEncodingUnknown}, {kMac, kLatin1, true, kUtf8},
        {kAscii, kSixteen, true, kUtf8},          {kUtf16, kMac, true, kUtf16},
        {kAscii, kUtf16, true, kUtf16},           {kUtf16, kUtf8, true, kUtf8},
        {kEncodingUTF16LE, kUtf16, true, kUtf16},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(CommonEncoding(c.a, c.b, c.allowUnicode), c.expected)
            << std::hex << c.a << " " << c.b << " " << c.allowUnicode;
    }
}

TEST(StringEncoding, ConvertToSameEncoding) {
    // Empty sides decide without converting (joining never gets here with one).
    string a, b;
    EXPECT_EQ(ConvertToSameEncoding(&a, &b), kEncodingASCII);
    b = Tagged("x", kEncodingUTF16);
    EXPECT_EQ(ConvertToSameEncoding(&a, &b), kEncodingUTF16);
    EXPECT_EQ(ConvertToSameEncoding(&b, &a), kEncodingUTF16);

    a = Tagged("\x8E", kEncodingMacRoman);  // neither UTF-8 nor UTF-16: both to UTF-8
    b = Tagged("\xE9", kEncodingISOLatin1);
    EXPECT_EQ(ConvertToSameEncoding(&a, &b), kEncodingUTF8);
    EXPECT_EQ(Bytes(a), "\xC3\xA9");
    EXPECT_EQ(Bytes(b), "\xC3\xA9");
    EXPECT_EQ(b.Encoding(), kEncodingUTF8);
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

TEST(StringJoin, PairsOfTags) {
    // x + y for pairs of five tags, one pair per path. Different tags go through
    // ConvertToSameEncoding: ASCII joins UTF-8 and 8-bit text as it is, unknown joins
    // anything unconverted, and the rest meets in UTF-16 (when one side is UTF-16 and
    // neither UTF-8) or UTF-8. iconv's UTF-16 output starts with a byte-order mark.
    // The UTF-16 text is the unit U+0101, which reads the same in either byte order.
    enum { kAscii, kUtf8, kMac, kUtf16, kUnknown };
    const string texts[] = {Tagged("xy", kEncodingASCII), Tagged("\xC3\xA9", kEncodingUTF8),
                            Tagged("\x8E", kEncodingMacRoman),
                            Tagged("\x01\x01", kEncodingUTF16, 2),
                            Tagged("\xE9", kEncodingUnknown)};
    constexpr uint32_t kA = kEncodingASCII, k8 = kEncodingUTF8, kM = kEncodingMacRoman,
                       k16 = kEncodingUTF16, kU = kEncodingUnknown;
    struct Case {
        int x, y;
        uint32_t encoding;
        std::string_view bytes;
    } cases[] = {
        {kAscii, kAscii, kA, "xyxy"},
        {kAscii, kUtf8, k8, "xy\xC3\xA9"},
        {kAscii, kUtf16, k16, "\xFF\xFEx\0y\0\x01\x01"sv},
        {kUtf8, kMac, k8, "\xC3\xA9\xC3\xA9"},
        {kUtf8, kUtf16, k8, "\xC3\xA9\xC4\x81"},
        {kUtf8, kUnknown, kU, "\xC3\xA9\xE9"},
        {kMac, kAscii, kM, "\x8Exy"},
        {kMac, kUtf16, k16, "\xFF\xFE\xE9\0\x01\x01"sv},
        {kUtf16, kAscii, k16, "\x01\x01\xFF\xFEx\0y\0"sv},
        {kUtf16, kUtf16, k16, "\x01\x01\x01\x01"},
        {kUnknown, kUtf16, kU, "\xE9\x01\x01"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "pair " << c.x << " + " << c.y);
        const string& x = texts[c.x];
        const string& y = texts[c.y];
        const string joined = x + y;
        EXPECT_EQ(joined.Encoding(), c.encoding);
        EXPECT_EQ(Bytes(joined), c.bytes);
        string appended = x;
        appended += y;
        EXPECT_EQ(appended.Encoding(), c.encoding);
        EXPECT_EQ(Bytes(appended), c.bytes);
    }
    // The arguments are left as they were.
    EXPECT_EQ(Bytes(texts[kMac]), "\x8E");
    EXPECT_EQ(texts[kMac].Encoding(), kEncodingMacRoman);

    // An empty side gives the other, shared.
    const string x = texts[kUtf8];
    EXPECT_EQ((x + string()).GetStorage(), x.GetStorage());
    EXPECT_EQ((string() + x).GetStorage(), x.GetStorage());
}

TEST(StringJoin, Append) {
    string s;
    const string y = Tagged("c\xC3\xA9", kEncodingUTF8);
    s += y;  // onto an empty string: a new block with y's tag
    EXPECT_EQ(s.Encoding(), kEncodingUTF8);
    EXPECT_NE(s.GetStorage(), y.GetStorage());
    const stringStorage* before = s.GetStorage();
    s += string();
    s += "";
    EXPECT_EQ(s.GetStorage(), before);
    s += s.CString() + 1;  // C text, from this string's own bytes; the tag stays
    EXPECT_EQ(Bytes(s), "c\xC3\xA9\xC3\xA9");
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
