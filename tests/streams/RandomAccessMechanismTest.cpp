// RandomAccessMechanismTest.cpp - the typed helpers, the encoded integer, byte order and
// scrambling, exercised over memory streams and a fault-injecting stream.
#include "streams/RandomAccessMechanism.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "StreamTestSupport.h"
#include "encodings/Encodings.h"
#include "streams/FileHandle.h"
#include "streams/FilePtr.h"

namespace {

std::string Hex(const std::string& bytes) {
    std::string out;
    char buf[4];
    for (unsigned char c : bytes) {
        snprintf(buf, sizeof buf, "%02X ", c);
        out += buf;
    }
    if (!out.empty()) out.pop_back();
    return out;
}

std::string EncodedBytes(int v) {
    FileHandle stream;
    EXPECT_TRUE(stream.WriteEncodedInt(v));
    return StoredBytes(stream);
}

// Reads one encoded integer from `bytes` into `v`; a successful read must use them all.
bool Decode(const std::string& bytes, int& v) {
    FilePtr in;
    in.Open(bytes.data(), static_cast<int>(bytes.size()));
    const bool ok = in.ReadEncodedInt(v);
    EXPECT_TRUE(!ok || in.IsEOF()) << "reader must consume exactly the written bytes";
    return ok;
}

// ----- Encoded integer -----

TEST(EncodedIntTest, WritesDocumentedBytesAndReadsThemBack) {
    const struct {
        int value;
        const char* hex;
    } cases[] = {
        {0, "00"},
        {1, "01"},
        {63, "3F"},
        {-1, "41"},
        {-63, "7F"},
        {64, "80 01"},
        {-64, "C0 01"},
        {8191, "BF 7F"},
        {-8191, "FF 7F"},
        {8192, "80 80 01"},
        // Where the encoding gains a byte: 6, 13, 20 and 27 bits of magnitude.
        {(1 << 20) - 1, "BF FF 7F"},
        {-(1 << 20), "C0 80 80 01"},
        {(1 << 27) - 1, "BF FF FF 7F"},
        {1 << 27, "80 80 80 80 01"},
        {INT_MAX, "BF FF FF FF 0F"},
        {-INT_MAX, "FF FF FF FF 0F"},
        {INT_MIN, "80 80 80 80 10"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        const std::string bytes = EncodedBytes(c.value);
        EXPECT_EQ(Hex(bytes), c.hex);
        int back = 12345;
        EXPECT_TRUE(Decode(bytes, back));
        EXPECT_EQ(back, c.value);
    }
}

TEST(EncodedIntTest, ReadsFormsTheWriterNeverMakesAndFailsOnTruncation) {
    const struct {
        std::string bytes;
        bool ok;
        int value;  // 777: left as it was
    } cases[] = {
        {std::string("\x40", 1), true, 0},                          // sign set, magnitude 0
        {std::string("\x80\x00", 2), true, 0},                      // needless continuation
        {std::string("\xC0\x80\x80\x80\x10", 5), true, INT_MIN},    // 0x80000000 with sign set
        {std::string("\x80\x80\x80\x80\x80\x01", 6), true, 4},      // sixth group wraps to bit 2
        {std::string("\x81\x80\x80\x80\x80\x80\x00", 7), true, 1},  // long run of empty groups
        {std::string(), false, 777},
        {std::string("\x80", 1), false, 777},
        {std::string("\xBF\xFF\xFF", 3), false, 777},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Hex(c.bytes));
        int v = 777;
        EXPECT_EQ(Decode(c.bytes, v), c.ok);
        EXPECT_EQ(v, c.value);
    }
}

TEST(EncodedIntTest, EachFailingByteReadFailsTheRead) {
    for (int k = 1; k <= 5; ++k) {
        SCOPED_TRACE(k);
        FaultyStream s;
        Preload(s.store, EncodedBytes(INT_MIN));
        s.failReadAt = k;
        int v = 5;
        EXPECT_FALSE(s.ReadEncodedInt(v));
        EXPECT_EQ(v, 5);
    }
}

TEST(EncodedIntTest, IsHandedOverInOneWrite) {
    FaultyStream s;
    EXPECT_TRUE(s.WriteEncodedInt(INT_MIN));
    EXPECT_TRUE(s.WriteLine(string("line")));
    EXPECT_EQ(s.writes, 2);
    FaultyStream failing;
    failing.failWriteAt = 1;
    EXPECT_FALSE(failing.WriteEncodedInt(100000));
    EXPECT_EQ(failing.store.GetLength(), 0u);
}

// ----- Byte order -----

struct OrderCase {
    bool bigEndian;
    bool swapDoubles;
    const char* shortHex;   // WriteShort(0x1234)
    const char* longHex;    // WriteLong(0x01020304)
    const char* doubleHex;  // WriteDouble(1.0)
};

TEST(ByteOrderTest, TypedValuesFollowTheSwitchesBothWays) {
    const OrderCase cases[] = {
        {false, false, "34 12", "04 03 02 01", "00 00 00 00 00 00 F0 3F"},
        {false, true, "34 12", "04 03 02 01", "00 00 00 00 00 00 F0 3F"},
        // Doubles stay little-endian on a big-endian stream unless swapDoubles is set.
        {true, false, "12 34", "01 02 03 04", "00 00 00 00 00 00 F0 3F"},
        {true, true, "12 34", "01 02 03 04", "3F F0 00 00 00 00 00 00"},
    };
    for (const OrderCase& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << "big " << c.bigEndian << " swapDoubles " << c.swapDoubles);
        FileHandle out;
        out.SetBigEndian();
        if (!c.bigEndian) out.SetLittleEndian();
        out.SetSwapDoubles(c.swapDoubles);
        ASSERT_TRUE(out.WriteShort(0x1234));
        ASSERT_TRUE(out.WriteLong(0x01020304));
        ASSERT_TRUE(out.WriteDouble(1.0));
        const std::string bytes = StoredBytes(out);
        EXPECT_EQ(Hex(bytes.substr(0, 2)), c.shortHex);
        EXPECT_EQ(Hex(bytes.substr(2, 4)), c.longHex);
        EXPECT_EQ(Hex(bytes.substr(6, 8)), c.doubleHex);

        FilePtr in;
        in.Open(bytes.data(), static_cast<int>(bytes.size()));
        if (c.bigEndian) in.SetBigEndian();
        in.SetSwapDoubles(c.swapDoubles);
        short s = 0;
        int l = 0;
        double d = 0;
        EXPECT_TRUE(in.ReadShort(s));
        EXPECT_TRUE(in.ReadLong(l));
        EXPECT_TRUE(in.ReadDouble(d));
        EXPECT_EQ(s, 0x1234);
        EXPECT_EQ(l, 0x01020304);
        EXPECT_EQ(d, 1.0);
    }
}

TEST(ByteOrderTest, SignedValuesAndTruncationToTheFieldWidth) {
    for (bool big : {false, true}) {
        SCOPED_TRACE(big);
        FileHandle s;
        if (big) s.SetBigEndian();
        EXPECT_TRUE(s.WriteByte(0x1FF));     // low byte only
        EXPECT_TRUE(s.WriteShort(0x12345));  // low 16 bits only
        EXPECT_TRUE(s.WriteShort(-2));
        EXPECT_TRUE(s.WriteLong(INT_MIN));
        EXPECT_TRUE(s.WriteDouble(-0.0));
        EXPECT_EQ(s.GetLength(), 1u + 2 + 2 + 4 + 8);
        s.SeekFromStart(0);
        unsigned char b = 0;
        short sh = 0;
        int l = 0;
        double d = 1;
        EXPECT_TRUE(s.ReadByte(b));
        EXPECT_EQ(b, 0xFF);
        EXPECT_TRUE(s.ReadShort(sh));
        EXPECT_EQ(sh, 0x2345);
        EXPECT_TRUE(s.ReadShort(sh));
        EXPECT_EQ(sh, -2);
        EXPECT_TRUE(s.ReadLong(l));
        EXPECT_EQ(l, INT_MIN);
        EXPECT_TRUE(s.ReadDouble(d));
        EXPECT_TRUE(std::signbit(d));
    }
}

// ----- Short and failed reads -----

TEST(TypedReadTest, ShortReadConsumesWhatIsThereAndFails) {
    struct {
        int available;  // bytes in the stream
        int width;      // 2 short, 4 long, 8 double
    } cases[] = {{1, 2}, {3, 4}, {7, 8}, {0, 2}, {0, 4}, {0, 8}};
    for (const auto& c : cases) {
        for (bool big : {false, true}) {
            SCOPED_TRACE(testing::Message() << c.available << " of " << c.width << " big " << big);
            FileHandle s;
            Preload(s, std::string(static_cast<size_t>(c.available), '\x01'));
            if (big) s.SetBigEndian();
            s.SetSwapDoubles(true);
            short sh = 0;
            int l = 0;
            double d = 0;
            EXPECT_FALSE(c.width == 2   ? s.ReadShort(sh)
                         : c.width == 4 ? s.ReadLong(l)
                                        : s.ReadDouble(d));
            EXPECT_TRUE(s.IsEOF()) << "the bytes that were there are consumed";
        }
    }
    FileHandle empty;
    unsigned char b = 9;
    EXPECT_FALSE(empty.ReadByte(b));
}

TEST(TypedReadTest, ShortReadFromTheStreamIsReportedEvenWhenDataRemains) {
    FaultyStream s;
    Preload(s.store, std::string("\x01\x02\x03\x04\x05\x06\x07\x08", 8));
    s.shortReadAt = 1;
    int l = 0;
    EXPECT_FALSE(s.ReadLong(l));
    EXPECT_EQ(s.store.GetPosition(), 3u);
    // The bytes that did arrive were still put in host order: 01 02 03 then the old 00.
    EXPECT_EQ(l, 0x00030201);
}

TEST(TypedReadTest, FailingStreamFailsEveryTypedHelper) {
    FaultyStream s;
    Preload(s.store, std::string(32, '\x05'));
    unsigned char b;
    short sh;
    int l;
    double d;
    string str;
    const std::vector<std::pair<const char*, std::function<bool()>>> reads = {
        {"byte", [&] { return s.ReadByte(b); }},
        {"short", [&] { return s.ReadShort(sh); }},
        {"long", [&] { return s.ReadLong(l); }},
        {"double", [&] { return s.ReadDouble(d); }},
        {"pstring", [&] { return s.ReadPString(str); }},
        {"encoded", [&] { return s.ReadEncodedInt(l); }},
    };
    for (const auto& [name, read] : reads) {
        SCOPED_TRACE(name);
        s.reads = 0;
        s.failReadAt = 1;
        EXPECT_FALSE(read());
        s.failReadAt = 0;
        EXPECT_TRUE(read());
    }
}

TEST(TypedWriteTest, FailingWriteFailsEveryTypedHelper) {
    const std::vector<std::pair<const char*, std::function<bool(RandomAccessMechanism&)>>> writes =
        {
            {"byte", [](RandomAccessMechanism& s) { return s.WriteByte(1); }},
            {"short", [](RandomAccessMechanism& s) { return s.WriteShort(1); }},
            {"long", [](RandomAccessMechanism& s) { return s.WriteLong(1); }},
            {"double", [](RandomAccessMechanism& s) { return s.WriteDouble(1); }},
            {"line", [](RandomAccessMechanism& s) { return s.WriteLine(string("x")); }},
            {"encoded", [](RandomAccessMechanism& s) { return s.WriteEncodedInt(1); }},
        };
    for (const auto& [name, write] : writes) {
        SCOPED_TRACE(name);
        FaultyStream s;
        s.failWriteAt = 1;
        EXPECT_FALSE(write(s));
        EXPECT_EQ(s.store.GetLength(), 0u);
        EXPECT_TRUE(write(s));
    }
}

// ----- Pascal strings and lines -----

TEST(PStringTest, WritesLengthByteThenAtMost255Bytes) {
    struct {
        size_t length;
        unsigned char lengthByte;
    } cases[] = {{0, 0}, {1, 1}, {254, 254}, {255, 255}, {256, 255}, {300, 255}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        std::string text(c.length, 'a');
        for (size_t i = 0; i < c.length; ++i) text[i] = static_cast<char>('a' + i % 26);
        string s;
        s.ConstructFromBuffer(text.data(), static_cast<unsigned>(text.size()));
        FileHandle out;
        EXPECT_TRUE(out.WritePString(s));
        const std::string bytes = StoredBytes(out);
        ASSERT_EQ(bytes.size(), 1u + c.lengthByte);
        EXPECT_EQ(static_cast<unsigned char>(bytes[0]), c.lengthByte);
        EXPECT_EQ(bytes.substr(1), text.substr(0, c.lengthByte));

        out.SeekFromStart(0);
        string back("stale");
        EXPECT_TRUE(out.ReadPString(back));
        EXPECT_EQ(std::string(back.CString(), back.Length()), text.substr(0, c.lengthByte));
        EXPECT_TRUE(out.IsEOF());
    }
}

TEST(PStringTest, TextThatReachesTheEndOfTheBuffer) {
    // The length byte promises 5; fewer bytes follow before the end.
    struct {
        std::string bytes;
        bool result;
        std::string text;  // what the string holds afterwards
    } cases[] = {
        {std::string("\x05hello", 6), true, "hello"},  // exactly at the end
        {std::string("\x05hel", 4), true, std::string("hel\0\0", 5)},
        {std::string("\x05", 1), false, std::string(5, '\0')},
        {std::string(), false, ""},
        {std::string("\x00", 1), true, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(Hex(c.bytes));
        FilePtr in;
        in.Open(c.bytes.data(), static_cast<int>(c.bytes.size()));
        string s("stale");
        EXPECT_EQ(in.ReadPString(s), c.result);
        EXPECT_EQ(std::string(s.CString(), s.Length()), c.text);
        EXPECT_TRUE(in.IsEOF());
    }
}

TEST(PStringTest, LengthByteWriteResultIsIgnored) {
    FaultyStream s;
    s.failWriteAt = 1;  // the length byte
    EXPECT_TRUE(s.WritePString(string("abc")));
    EXPECT_EQ(StoredBytes(s.store), "abc");
    FaultyStream t;
    t.failWriteAt = 2;  // the text
    EXPECT_FALSE(t.WritePString(string("abc")));
}

TEST(WriteLineTest, AppendsOneNewlineAlsoAcrossTheHandleEnd) {
    FileHandle s;
    EXPECT_TRUE(s.WriteLine(string("abc")));
    EXPECT_TRUE(s.WriteLine(string()));
    EXPECT_EQ(StoredBytes(s), "abc\n\n");

    // An adopted handle filled to its size: the line overwrites the tail and grows it.
    ZQ::Handle h = ZQ::NewHandle(4);
    memcpy(*h, "wxyz", 4);
    FileHandle adopted;
    adopted.Open(h);
    adopted.SeekFromStart(2);
    EXPECT_TRUE(adopted.WriteLine(string("ab")));
    EXPECT_EQ(StoredBytes(adopted), "wxab\n");
    adopted.Reset();  // not owned: Reset must leave it alone
    ZQ::DisposeHandle(h);
}

// ----- Scrambling -----

TEST(ScrambleTest, SwitchingRulesAndTheReturnedMode) {
    FileHandle s;
    EXPECT_FALSE(s.WasScrambled());
    EXPECT_EQ(s.SetEncryption(1), 0);
    EXPECT_TRUE(s.WasScrambled());
    s.WriteData("A", 1);               // chain now 0xBE
    EXPECT_EQ(s.SetEncryption(7), 1);  // still on: chain keeps running
    s.WriteData("B", 1);
    EXPECT_EQ(Hex(StoredBytes(s)), "BE FC");
    EXPECT_EQ(s.SetEncryption(0), 7);
    EXPECT_TRUE(s.WasScrambled()) << "never cleared";
    s.WriteData("C", 1);               // off: stored as is
    EXPECT_EQ(s.SetEncryption(2), 0);  // on from off: restarts at 255
    s.WriteData("A", 1);
    EXPECT_EQ(Hex(StoredBytes(s)), "BE FC 43 BE");
}

TEST(ScrambleTest, ScrambledBytesAndTypedValuesReadBackThroughASecondStream) {
    std::string text;
    for (int i = 0; i < 5000; ++i) text += static_cast<char>(i * 7 + i / 13);
    FileHandle writer;
    writer.SetEncryption(1);
    // Written in uneven pieces.
    for (size_t at = 0, piece = 1; at < text.size(); at += piece, piece = piece * 3 % 97 + 1) {
        const size_t n = std::min(piece, text.size() - at);
        ASSERT_TRUE(writer.WriteData(text.data() + at, static_cast<unsigned>(n)));
    }
    EXPECT_TRUE(writer.WriteLong(-5));  // the typed helpers go through the chain too
    EXPECT_TRUE(writer.WritePString(string("pascal")));
    EXPECT_TRUE(writer.WriteEncodedInt(-100000));
    const std::string stored = StoredBytes(writer);
    ASSERT_EQ(stored.size(), text.size() + 4 + 7 + 3);
    EXPECT_NE(stored.substr(0, text.size()), text);

    // Read through other streams, in other pieces: the chain depends on the byte order only.
    FilePtr reader;
    reader.Open(stored.data(), static_cast<int>(stored.size()));
    reader.SetEncryption(9);
    std::string back;
    char buf[64];
    int got = 0;
    for (unsigned piece = 1; back.size() < text.size(); piece = piece % 64 + 1) {
        ASSERT_TRUE(reader.ReadData(
            buf, std::min(piece, static_cast<unsigned>(text.size() - back.size())), &got));
        back.append(buf, static_cast<size_t>(got));
    }
    EXPECT_EQ(back, text);
    int l = 0;
    EXPECT_TRUE(reader.ReadLong(l));
    EXPECT_EQ(l, -5);
    string s;
    EXPECT_TRUE(reader.ReadPString(s));
    EXPECT_EQ(std::string(s.CString(), s.Length()), "pascal");
    EXPECT_TRUE(reader.ReadEncodedInt(l));
    EXPECT_EQ(l, -100000);
}

TEST(ScrambleTest, NothingHappensWhenOffOrForNoBytes) {
    FileHandle s;
    s.SetEncryption(1);
    const char text[] = "caller's";
    char copy[sizeof text];
    memcpy(copy, text, sizeof text);
    s.WriteData(copy, sizeof copy);
    EXPECT_EQ(memcmp(copy, text, sizeof text), 0) << "a scrambled write leaves the caller's bytes";

    s.SetEncryption(0);
    unsigned char bytes[3] = {1, 2, 3};
    s.ApplyEncryption(bytes, 3);
    s.ApplyDecryption(bytes, 3);
    EXPECT_EQ(bytes[0], 1);
    s.SetEncryption(1);  // from off: the chain restarts at 255
    s.ApplyEncryption(bytes, 0);
    s.ApplyEncryption(bytes, -4);
    EXPECT_EQ(bytes[0], 1);
    s.ApplyEncryption(bytes, 1);  // the chain was not moved by the empty calls
    EXPECT_EQ(bytes[0], 1 ^ 255);
}

}  // namespace
