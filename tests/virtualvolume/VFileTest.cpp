// VFileTest.cpp - the content stream of a volume file: length kept in the header, the
// seek needed after the header is touched, reads bounded by the length.
#include "virtualvolume/VFile.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "VolumeFixture.h"

namespace {

class VFileTest : public VolumeFixture {};

TEST_F(VFileTest, ClosingAVFileStoresItsLength) {
    const VFileRef file = volume->CreateFile(root, "f", kText);
    std::unique_ptr<VFile> f(volume->OpenFile(file));
    ASSERT_TRUE(f);
    ASSERT_TRUE(f->WriteData("0123456789", 10));
    EXPECT_EQ(f->GetLength(), 10u);
    EXPECT_EQ(volume->GetFileInfo(file).length, 0.0);  // not yet in the header
    EXPECT_TRUE(f->Close());
    EXPECT_FALSE(f->Close());
    EXPECT_FALSE(f->WriteData("x", 1));
    EXPECT_EQ(ItemBytes(file.id, 0, 8), BeDoubleBytes(10.0));
    EXPECT_EQ(Content(file), "0123456789");
}

TEST_F(VFileTest, WritingAfterAFlushLandsInTheContentNotTheHeader) {
    const VFileRef file = volume->CreateFile(root, "f", kText);
    std::unique_ptr<VFile> f(volume->OpenFile(file));
    ASSERT_TRUE(f->WriteData("abc", 3));
    f->FlushToDisk();  // rewrites the length at block-layer position 0
    ASSERT_TRUE(f->WriteData("def", 3));
    ASSERT_TRUE(f->UpdateFileHeader());
    ASSERT_TRUE(f->WriteData("g", 1));
    f.reset();
    EXPECT_EQ(Content(file), "abcdefg");
    EXPECT_EQ(ItemBytes(file.id, 0, 12), (Bytes{0x40, 0x1C, 0, 0, 0, 0, 0, 0, 'T', 'E', 'X', 'T'}));
    EXPECT_EQ(std::string(volume->GetRoot().name.CString()), "/");
}

TEST_F(VFileTest, VFileReadsSeeksAndStopsAtItsLength) {
    const VFileRef file = volume->CreateFile(root, "big", kText);
    std::string data(5000, '\0');
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>('a' + i % 26);
    {
        std::unique_ptr<VFile> f(volume->OpenFile(file));
        ASSERT_TRUE(f->WriteData(data.data(), 5000));
    }
    std::unique_ptr<VFile> f(volume->OpenFile(file));
    EXPECT_EQ(f->GetLength(), 5000u);
    ASSERT_TRUE(f->SeekFromStart(4990));
    char tail[20] = {};
    int got = 0;
    EXPECT_TRUE(f->ReadData(tail, 20, &got));
    EXPECT_EQ(got, 10);
    EXPECT_EQ(std::string(tail, 10), data.substr(4990));
    EXPECT_TRUE(f->IsEOF());
    ASSERT_TRUE(f->SeekFromStart(1000));
    int32_t v = 0;
    EXPECT_TRUE(f->ReadLong(v));
    EXPECT_FALSE(f->IsEOF());
    // Past the allocated blocks (5 of them, 4960 content bytes beyond the header's 256).
    EXPECT_FALSE(f->SeekFromStart(100000));
    EXPECT_TRUE(f->SetLength(3));
    EXPECT_EQ(f->GetLength(), 3u);
}

}  // namespace
