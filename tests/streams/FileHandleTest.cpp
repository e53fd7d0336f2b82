// FileHandleTest.cpp - the memory streams: FileHandle's growth, latch and hand-over,
// FilePtr's clamping and refusals, and the reference StringStorageMechanism holds.
#include "streams/FileHandle.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "StreamTestSupport.h"
#include "streams/FilePtr.h"
#include "streams/StringStorageMechanism.h"

namespace {

TEST(FileHandleTest, FirstByteAllocatesWithSlackAndExtractTrims) {
    FileHandle s;
    EXPECT_EQ(s.GetHandle(), nullptr);
    ASSERT_TRUE(s.WriteByte(0x5A));
    EXPECT_EQ(s.GetCapacity(), 2049u);
    EXPECT_EQ(s.GetLength(), 1u);
    ZQ::Handle h = s.ExtractHandle();
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(ZQ::GetHandleSize(h), 1);
    EXPECT_EQ((*h)[0], 0x5A);
    // The stream is left empty and makes a fresh handle on the next write.
    EXPECT_EQ(s.GetHandle(), nullptr);
    EXPECT_EQ(s.GetLength(), 0u);
    EXPECT_EQ(s.GetPosition(), 0u);
    EXPECT_TRUE(s.WriteData("xy", 2));
    EXPECT_EQ(StoredBytes(s), "xy");
    ZQ::DisposeHandle(h);
}

TEST(FileHandleTest, OverwriteAndSeekInsideAndAcrossTheEnd) {
    FileHandle s;
    Preload(s, "abcdef");
    s.SeekFromStart(2);
    EXPECT_TRUE(s.WriteData("XY", 2));
    EXPECT_EQ(s.GetLength(), 6u) << "writing inside does not change the length";
    s.SeekFromStart(5);
    EXPECT_TRUE(s.WriteData("123", 3));
    EXPECT_EQ(StoredBytes(s), "abXYe123");
    EXPECT_EQ(s.GetPosition(), 8u);
    for (unsigned long long to : {0ull, 7ull, 8ull, 9ull, ~0ull}) {  // seeks stop at the end
        EXPECT_TRUE(s.SeekFromStart(to));
        EXPECT_EQ(s.GetPosition(), to < 8 ? to : 8u) << to;
    }
}

TEST(FileHandleTest, ReadsClampToTheEnd) {
    FileHandle s;
    Preload(s, "hello");
    char buf[16];
    int got = -1;
    EXPECT_TRUE(s.ReadData(buf, 0, &got)) << "a zero count is always fine";
    EXPECT_EQ(got, 0);
    EXPECT_TRUE(s.ReadData(buf, 3, &got));
    EXPECT_EQ(got, 3);
    EXPECT_TRUE(s.ReadData(buf, 16, &got));
    EXPECT_EQ(got, 2);
    EXPECT_EQ(std::string(buf, 2), "lo");
    EXPECT_TRUE(s.IsEOF());
    got = -1;
    EXPECT_FALSE(s.ReadData(buf, 1, &got));
    EXPECT_EQ(got, 0);
    EXPECT_TRUE(s.ReadData(buf, 0, nullptr));
    EXPECT_FALSE(s.ReadData(buf, 1, nullptr));
}

TEST(FileHandleTest, SetLengthWithinAndBeyondTheCapacityAndOnAFreshStream) {
    FileHandle s;
    Preload(s, "abcdefgh");  // capacity 8 + 2048
    const uint32_t capacity = s.GetCapacity();
    s.SeekFromStart(8);
    EXPECT_TRUE(s.SetLength(3));
    EXPECT_EQ(s.GetLength(), 3u);
    EXPECT_EQ(s.GetPosition(), 3u) << "position clamped to the new length";
    EXPECT_EQ(s.GetCapacity(), capacity) << "shrinking keeps the block";
    EXPECT_TRUE(s.SetLength(capacity));
    EXPECT_EQ(s.GetCapacity(), capacity);
    EXPECT_TRUE(s.SetLength(capacity + 1));
    EXPECT_EQ(s.GetCapacity(), capacity + 1) << "beyond the capacity: exactly the size asked";
    EXPECT_EQ(ZQ::GetHandleSize(s.GetHandle()), static_cast<long>(capacity + 1));
    EXPECT_EQ(StoredBytes(s).substr(0, 3), "abc");
    EXPECT_FALSE(s.SetLength(1ull << 32)) << "past the handle limit";
    EXPECT_EQ(s.GetLength(), capacity + 1u);

    FileHandle fresh;  // no handle yet: zeroed bytes
    EXPECT_TRUE(fresh.SetLength(4));
    EXPECT_EQ(StoredBytes(fresh), std::string(4, '\0'));
    EXPECT_TRUE(fresh.WriteData("z", 1));
    EXPECT_EQ(StoredBytes(fresh), std::string("z\0\0\0", 4));
}

TEST(FileHandleTest, FailedWriteLatchesUntilReset) {
    FileHandle s;
    Preload(s, "kept");
    char byte = 0;
    // A count that runs past the handle limit fails before touching the buffer.
    EXPECT_FALSE(s.WriteData(&byte, 0xFFFFFFFFu));
    EXPECT_FALSE(s.WriteData("x", 1)) << "latched";
    EXPECT_FALSE(s.Close());
    EXPECT_EQ(s.ExtractHandle(), nullptr);
    EXPECT_EQ(StoredBytes(s), "kept") << "a refused extract leaves the bytes";
    s.Reset();
    EXPECT_TRUE(s.Close());
    EXPECT_NE(s.GetHandle(), nullptr) << "Reset makes a fresh, empty handle";
    EXPECT_EQ(s.GetLength(), 0u);
    EXPECT_EQ(s.GetCapacity(), 0u);
    EXPECT_TRUE(s.WriteData("x", 1));
}

TEST(FileHandleTest, AdoptedHandleIsUsedButNotDisposed) {
    ZQ::Handle h = ZQ::NewHandle(3);
    memcpy(*h, "abc", 3);
    {
        FileHandle s;
        s.WriteData("owned", 5);  // the stream's own handle goes when Open adopts another
        s.Open(h);
        EXPECT_EQ(s.GetLength(), 3u);
        EXPECT_EQ(s.GetCapacity(), 3u);
        EXPECT_EQ(s.GetPosition(), 0u);
        char buf[3];
        int got = 0;
        EXPECT_TRUE(s.ReadData(buf, 3, &got));
        EXPECT_EQ(std::string(buf, 3), "abc");
        EXPECT_TRUE(s.WriteData("d", 1));  // grows the caller's handle
    }
    // Still alive after the stream is gone, and holding the appended byte (and slack).
    EXPECT_GE(ZQ::GetHandleSize(h), 4);
    EXPECT_EQ(std::string(*h, 4), "abcd");
    {
        FileHandle s;
        s.Open(h);
        s.SetLength(2);
        EXPECT_EQ(s.ExtractHandle(), h) << "extracting hands the adopted handle back";
    }
    EXPECT_EQ(ZQ::GetHandleSize(h), 2) << "trimmed to the length";
    ZQ::DisposeHandle(h);
}

// ----- FilePtr -----

TEST(FilePtrTest, ReadsTheCallersBytesAndRefusesWrites) {
    const char data[] = "0123456789";
    FilePtr s;
    s.Open(data, 10);
    EXPECT_EQ(s.GetLength(), 10u);
    for (unsigned long long to : {9ull, 10ull, 11ull, 1000ull, ~0ull}) {
        SCOPED_TRACE(to);
        EXPECT_TRUE(s.SeekFromStart(to));
        EXPECT_EQ(s.GetPosition(), to < 10 ? to : 10u);
        EXPECT_EQ(s.IsEOF(), to >= 10);
    }
    EXPECT_TRUE(s.SeekFromStart(8));
    char buf[8];
    int got = 0;
    EXPECT_TRUE(s.ReadData(buf, 8, &got));
    EXPECT_EQ(std::string(buf, static_cast<size_t>(got)), "89");
    EXPECT_FALSE(s.ReadData(buf, 1, &got));
    EXPECT_FALSE(s.WriteData("x", 1));
    EXPECT_FALSE(s.SetLength(2));
    EXPECT_EQ(s.GetLength(), 10u);
    EXPECT_TRUE(s.Close());
    EXPECT_EQ(s.GetLastError(), 0);
}

TEST(FilePtrTest, NullOrNegativeGivesAnEmptyStream) {
    const char data[] = "abc";
    for (auto [p, n] : {std::pair<const char*, int>{nullptr, 5}, {data, -1}, {data, 0}}) {
        FilePtr s;
        s.Open(p, n);
        EXPECT_EQ(s.GetLength(), 0u);
        EXPECT_TRUE(s.IsEOF());
        char c;
        EXPECT_FALSE(s.ReadData(&c, 1, nullptr));
    }
}

// ----- StringStorageMechanism -----

TEST(StringStorageMechanismTest, HoldsOneReferenceUntilClosedOrReopened) {
    StringStorageMechanism s;
    uint32_t countWhileOpen = 0;
    {
        string text;
        text.ConstructFromBuffer("payload", 7);
        s.Open(text.GetStorage());
        countWhileOpen = text.GetStorage()->referenceCount;
    }
    EXPECT_EQ(countWhileOpen, 2u);
    // The string is gone; the stream's reference keeps the bytes alive.
    char buf[16];
    int got = 0;
    EXPECT_TRUE(s.ReadData(buf, sizeof buf, &got));
    EXPECT_EQ(std::string(buf, static_cast<size_t>(got)), "payload");
    EXPECT_TRUE(s.Close());
    EXPECT_EQ(s.GetLength(), 0u);
    EXPECT_TRUE(s.Close()) << "closing twice is harmless";

    // Opening another block, or closing, releases the reference held.
    string a("first");
    string b("second");
    s.Open(a.GetStorage());
    s.Open(b.GetStorage());
    EXPECT_EQ(a.GetStorage()->referenceCount, 1u);
    EXPECT_EQ(b.GetStorage()->referenceCount, 2u);
    EXPECT_EQ(s.GetLength(), 6u);
    s.Close();
    EXPECT_EQ(b.GetStorage()->referenceCount, 1u);
    s.Open(nullptr);
    EXPECT_EQ(s.GetLength(), 0u);
}

TEST(StringStorageMechanismTest, RefusesWritesWithError100) {
    string text("abc");
    StringStorageMechanism s;
    s.Open(text.GetStorage());
    EXPECT_FALSE(s.WriteData("x", 1));
    EXPECT_EQ(s.GetLastError(), 100);
    s.SetLastError(0);
    EXPECT_FALSE(s.SetLength(1));
    EXPECT_EQ(s.GetLastError(), 100);
    EXPECT_FALSE(s.WriteByte(1));
    EXPECT_EQ(std::string(text.CString(), text.Length()), "abc");
}

}  // namespace
