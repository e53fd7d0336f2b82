// VFSVolumeTest.cpp - the block layer: exact bytes, chains, seeks, reuse, damage and cost.
#include "virtualvolume/VFSVolume.h"

#include <gtest/gtest.h>

#include <memory>

#include "VolumeTestSupport.h"

namespace {

Bytes Header(uint32_t id, uint32_t index, double size, double next) {
    ByteBuilder b;
    b.Raw("BlkS", 4), b.Be32(id), b.Be32(index), b.BeDouble(size), b.BeDouble(next);
    return b.bytes;
}

class VFSVolumeTest : public ::testing::Test {
protected:
    void SetUp() override {
        volume.reset();  // before the stream it uses
        stream.reset(NewStream());
        volume.reset(VFSVolume::Create(stream.get(), 0));
        ASSERT_TRUE(volume && volume->IsValid());
    }
    void Reopen() {
        volume.reset();
        volume.reset(new VFSVolume(stream.get(), 0));
        ASSERT_TRUE(volume->IsValid());
    }
    bool Write(uint32_t id, const Bytes& data, double at = 0.0) {
        const short f = volume->OpenFile(id);
        const bool ok = f >= 0 && volume->SetFilePosition(f, at) &&
                        volume->WriteFileData(f, data.data(), static_cast<double>(data.size()));
        volume->CloseFile(f);
        return ok;
    }
    Bytes Read(uint32_t id, size_t n, double at = 0.0) {
        Bytes out(n);
        double count = static_cast<double>(n);
        const short f = volume->OpenFile(id);
        if (f < 0 || !volume->SetFilePosition(f, at))
            count = 0;
        else
            volume->ReadFileData(f, &count, out.data());
        volume->CloseFile(f);
        out.resize(static_cast<size_t>(count));
        return out;
    }
    uint32_t FirstBlock(uint32_t id) {
        VFSBlockHeader h{};
        double start = -1;
        return volume->FindFileFirstBlock(id, &h, &start) ? static_cast<uint32_t>(start) : 0;
    }

    std::unique_ptr<FileHandle> stream;
    std::unique_ptr<VFSVolume> volume;
};

Bytes Pattern(size_t n) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(i * 7 + 3);
    return b;
}

TEST_F(VFSVolumeTest, ANewVolumeIsFortyEightBytesAndItsFirstFileA1024ByteBlock) {
    ByteBuilder expected;
    expected.Raw("VFSv", 4), expected.Be32(3);
    const Bytes header = Header(1, 0, 40.0, 0.0);
    expected.Raw(header.data(), header.size());
    expected.Be32(2), expected.Be32(0), expected.Raw("BlkE", 4);
    EXPECT_EQ(AllBytes(*stream), expected.bytes);

    EXPECT_EQ(volume->CreateFile(), 2u);
    const Bytes bytes = AllBytes(*stream);
    ASSERT_EQ(bytes.size(), 48u + 1024u);
    EXPECT_EQ(Slice(bytes, 36, 4), Be32Bytes(3));  // the counter moved on
    EXPECT_EQ(Slice(bytes, 48, 28), Header(2, 0, 1024.0, 0.0));
    EXPECT_EQ(Slice(bytes, 48 + 1020, 4), (Bytes{'B', 'l', 'k', 'E'}));
    EXPECT_EQ(Slice(bytes, 76, 992), Bytes(992, 0));  // zero-filled
    EXPECT_EQ(volume->CreateFile(), 3u);
    EXPECT_EQ(FirstBlock(3), 1072u);
}

TEST_F(VFSVolumeTest, WritingPastTheFirstBlockChainsASecond) {
    const uint32_t id = volume->CreateFile();
    const Bytes data = Pattern(993);
    ASSERT_TRUE(Write(id, data));
    const Bytes bytes = AllBytes(*stream);
    ASSERT_EQ(bytes.size(), 48u + 2048u);
    EXPECT_EQ(Slice(bytes, 48, 28), Header(id, 0, 1024.0, 1072.0));
    EXPECT_EQ(Slice(bytes, 1072, 28), Header(id, 1, 1024.0, 0.0));
    EXPECT_EQ(bytes[1072 + 28], data[992]);
    EXPECT_EQ(Read(id, 993), data);
    // Reading on past the chain's data stops with what there was.
    EXPECT_EQ(Read(id, 5000).size(), 992u * 2);
}

TEST_F(VFSVolumeTest, SeeksReachTheEndOfTheLastBlockAndNoFurther) {
    const uint32_t id = volume->CreateFile();
    const short f = volume->OpenFile(id);
    ASSERT_GE(f, 0);
    EXPECT_TRUE(volume->SetFilePosition(f, 992));
    EXPECT_FALSE(volume->SetFilePosition(f, 993));
    EXPECT_FALSE(volume->SetFilePosition(f, -1));
    ASSERT_TRUE(volume->SetFilePosition(f, 992));
    ASSERT_TRUE(volume->WriteFileData(f, "xy", 2));  // at the very end: extends the chain
    EXPECT_TRUE(volume->SetFilePosition(f, 1984));
    EXPECT_FALSE(volume->SetFilePosition(f, 1985));
    ASSERT_TRUE(volume->SetFilePosition(f, 991));  // back into the first block
    char got[3] = {};
    double n = 3;
    ASSERT_TRUE(volume->ReadFileData(f, &n, got));
    EXPECT_EQ(n, 3.0);
    EXPECT_EQ(got[1], 'x');
    EXPECT_EQ(got[2], 'y');
    volume->CloseFile(f);
}

TEST_F(VFSVolumeTest, FreedBlocksAreReusedInMapOrderBeforeTheStreamGrows) {
    const uint32_t a = volume->CreateFile();  // 48
    const uint32_t b = volume->CreateFile();  // 1072
    const uint32_t c = volume->CreateFile();  // 2096
    ASSERT_EQ(FirstBlock(c), 2096u);
    const auto length = stream->GetLength();
    ASSERT_TRUE(volume->DeleteFile(c));
    ASSERT_TRUE(volume->DeleteFile(a));
    EXPECT_EQ(volume->GetBlockMap().FreeCount(), 2u);
    // Freed blocks keep their data; only the id becomes 0.
    EXPECT_EQ(Slice(AllBytes(*stream), 2096, 28), Header(0, 0, 1024.0, 0.0));
    EXPECT_EQ(FirstBlock(volume->CreateFile()), 48u);
    EXPECT_EQ(FirstBlock(volume->CreateFile()), 2096u);
    EXPECT_EQ(stream->GetLength(), length);
    EXPECT_EQ(FirstBlock(volume->CreateFile()), length);
    EXPECT_EQ(FirstBlock(b), 1072u);
}

TEST_F(VFSVolumeTest, OnlyFreeBlocksInsideTheSizeWindowAreReused) {
    struct Case {
        double size;
        bool reused;
    };
    for (const Case c :
         {Case{200, false}, Case{20000, false}, Case{256, true}, Case{16384, true}}) {
        SetUp();
        volume->SetBlockSizePrefs(256, c.size, 16384);
        const uint32_t odd = volume->CreateFile();
        volume->SetBlockSizePrefs(256, 1024, 16384);  // the defaults again
        const uint32_t at = FirstBlock(odd);
        ASSERT_TRUE(volume->DeleteFile(odd));
        const uint32_t fresh = volume->CreateFile();
        EXPECT_EQ(FirstBlock(fresh) == at, c.reused) << c.size;
    }
}

TEST_F(VFSVolumeTest, DeletingAnOpenFileFailsAndChangesNothing) {
    const uint32_t id = volume->CreateFile();
    const short f = volume->OpenFile(id);
    const Bytes before = AllBytes(*stream);
    const uint32_t free = volume->GetBlockMap().FreeCount();
    EXPECT_FALSE(volume->DeleteFile(id));
    EXPECT_EQ(AllBytes(*stream), before);
    EXPECT_EQ(volume->GetBlockMap().FreeCount(), free);
    volume->CloseFile(f);
    EXPECT_TRUE(volume->DeleteFile(id));
    EXPECT_FALSE(volume->DeleteFile(id));
    EXPECT_FALSE(volume->DeleteFile(1));  // the volume information is not a file to delete
}

TEST_F(VFSVolumeTest, FileNumbersReuseTheHighestEmptySlot) {
    const uint32_t id = volume->CreateFile();
    const short f0 = volume->OpenFile(id);
    const short f1 = volume->OpenFile(id);
    const short f2 = volume->OpenFile(id);
    EXPECT_EQ(f0, 0);
    EXPECT_EQ(f2, 2);
    volume->CloseFile(f0);
    volume->CloseFile(f1);
    EXPECT_EQ(volume->OpenFile(id), 1);
    EXPECT_EQ(volume->OpenFile(id), 0);
    EXPECT_EQ(volume->OpenFile(99), -1);
    EXPECT_EQ(volume->OpenFile(0), -1);
}

TEST_F(VFSVolumeTest, TypedValuesAreBigEndianInAVersionThreeVolume) {
    const uint32_t id = volume->CreateFile();
    const short f = volume->OpenFile(id);
    ASSERT_TRUE(volume->WriteFileLong(f, 0x01020304));
    ASSERT_TRUE(volume->WriteFileShort(f, 0x0506));
    ASSERT_TRUE(volume->WriteFileDouble(f, 1.5));
    volume->CloseFile(f);
    ByteBuilder expected;
    expected.Be32(0x01020304), expected.Raw("\x05\x06", 2), expected.BeDouble(1.5);
    EXPECT_EQ(Read(id, 14), expected.bytes);
}

TEST_F(VFSVolumeTest, TheSavedMapIsBigEndianAndSurvivesReopening) {
    const uint32_t a = volume->CreateFile();
    ASSERT_TRUE(Write(a, Pattern(3000)));
    const uint32_t b = volume->CreateFile();
    ASSERT_TRUE(Write(b, Pattern(10)));
    Reopen();
    const BlockMap& map = volume->GetBlockMap();
    const Bytes length = Read(1, 4, 4);
    EXPECT_EQ(length, Be32Bytes(8 + 12 * map.Count()));
    const Bytes saved = Read(1, 8 + 12 * map.Count(), 8);
    EXPECT_EQ(Slice(saved, 0, 8),
              (Bytes{'B', 'M', 'a', 'p', 0, 0, 0, static_cast<uint8_t>(map.Count())}));
    // a's third block is listed with its index, not rebuilt with 0.
    bool sawIndex2 = false;
    for (uint32_t i = 0; i < map.Count(); ++i)
        sawIndex2 |= map.EntryAt(i).fileID == a && map.EntryAt(i).blockIndex == 2;
    EXPECT_TRUE(sawIndex2);
    EXPECT_EQ(Read(a, 3000), Pattern(3000));
    EXPECT_EQ(volume->CreateFile(), b + 1);
}

TEST_F(VFSVolumeTest, AMapWithAWrongMagicIsRebuiltWithEveryIndexZero) {
    const uint32_t a = volume->CreateFile();
    ASSERT_TRUE(Write(a, Pattern(2500)));
    volume.reset();  // saves the map
    Bytes bytes = AllBytes(*stream);
    bool patched = false;
    for (size_t i = 0; i + 4 <= bytes.size() && !patched; ++i)
        if (memcmp(&bytes[i], "BMap", 4) == 0) bytes[i + 3] = 'q', patched = true;
    ASSERT_TRUE(patched);
    stream.reset(NewStream(bytes));
    Reopen();
    const BlockMap& map = volume->GetBlockMap();
    uint32_t blocksOfA = 0;
    for (uint32_t i = 0; i < map.Count(); ++i) {
        EXPECT_EQ(map.EntryAt(i).blockIndex, 0u);
        blocksOfA += map.EntryAt(i).fileID == a;
    }
    EXPECT_EQ(blocksOfA, 3u);
    EXPECT_EQ(Read(a, 2500), Pattern(2500));
}

TEST(VFSVolumeCreate, AnyFailedWriteLeavesTheVolumeInvalid) {
    CountingStream sound;
    { std::unique_ptr<VFSVolume> volume(VFSVolume::Create(&sound, 0)); }
    const long writes = sound.writes;
    ASSERT_GE(writes, 10);
    for (long k = 0; k < 10; ++k) {
        CountingStream stream;
        stream.failWrite = k;
        std::unique_ptr<VFSVolume> volume(VFSVolume::Create(&stream, 0));
        ASSERT_TRUE(volume);
        EXPECT_FALSE(volume->IsValid()) << "write " << k;
        EXPECT_EQ(volume->CreateFile(), 0u);
    }
    EXPECT_EQ(VFSVolume::Create(nullptr, 1), nullptr);
}

TEST(VFSVolumeOpen, VersionAboveThreeIsRefusedAndAnOwnedStreamDestroyed) {
    bool destroyed = false;
    auto* stream = new CountingStream(&destroyed);
    ByteBuilder b;
    b.Raw("VFSv", 4), b.Be32(4);
    stream->WriteData(b.bytes.data(), 8);
    VFSVolume volume(stream, 1);
    EXPECT_FALSE(volume.IsValid());
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(volume.GetStream(), nullptr);
    EXPECT_EQ(volume.CreateFile(), 0u);
}

// A version 3 volume: file 1 in a block of `size1` bytes at 8 holding the counter; then file
// 2 in a block of `size2` bytes (declared; 1024 are there) whose nextBlock is `next2`.
// Other damage, and boundedness under every damaged byte, are the hostile tests'.
Bytes SmallVolume(double size1, double size2, double next2) {
    ByteBuilder b;
    b.Raw("VFSv", 4), b.Be32(3);
    Bytes h = Header(1, 0, size1, 0.0);
    b.Raw(h.data(), h.size());
    b.Be32(3), b.Be32(0);
    b.Zeros(static_cast<size_t>(size1 > 40 && size1 < 4096 ? size1 - 40 : 0));
    b.Raw("BlkE", 4);
    h = Header(2, 0, size2, next2);
    b.Raw(h.data(), h.size());
    b.Zeros(1024 - 32);
    b.Raw("BlkE", 4);
    return b.bytes;
}

TEST(VFSVolumeOpen, DamagedVolumesAreRefusedOrRead) {
    struct Case {
        const char* what;
        Bytes bytes;
        bool opens;
        double got;  // bytes a 5000-byte read of file 2 gives; -1: file 2 can't be opened
        bool readOk;
    };
    Bytes truncated = SmallVolume(40, 1024, 0);
    truncated.resize(truncated.size() - 100);
    const Case cases[] = {
        {"sound", SmallVolume(40, 1024, 0), true, 992, false},
        {"first block smaller than its header", SmallVolume(20, 1024, 0), false, -1, false},
        {"first block larger than the stream", SmallVolume(1e9, 1024, 0), false, -1, false},
        {"truncated last block", truncated, true, -1, false},
        // A loop of blocks with data reads round it until the count is met.
        {"chain loops onto itself", SmallVolume(40, 1024, 48), true, 5000, true},
        {"too short for a magic", Bytes{'V', 'F'}, false, -1, false},
    };
    for (const Case& c : cases) {
        std::unique_ptr<FileHandle> stream(NewStream(c.bytes));
        VFSVolume volume(stream.get(), 0);
        EXPECT_EQ(volume.IsValid(), c.opens) << c.what;
        const short f = volume.OpenFile(2);
        EXPECT_EQ(f >= 0, c.got >= 0) << c.what;
        if (f >= 0) {
            Bytes buffer(5000);
            double n = 5000;
            EXPECT_EQ(volume.ReadFileData(f, &n, buffer.data()), c.readOk) << c.what;
            EXPECT_EQ(n, c.got) << c.what;
            volume.CloseFile(f);
        }
    }
}

TEST(VFSVolumeOpen, AMapListingBlocksBeyondTheStreamIsRebuilt) {
    std::unique_ptr<FileHandle> stream(NewStream());
    {
        std::unique_ptr<VFSVolume> volume(VFSVolume::Create(stream.get(), 0));
        volume->CreateFile();
        volume->FlushToDisk();  // the map goes into a second block of file 1
        volume->CreateFile();   // file 3, the last block
    }
    Bytes bytes = AllBytes(*stream);
    // Cut file 3's block away: the saved map still lists it.
    const uint32_t last = static_cast<uint32_t>(bytes.size()) - 1024;
    Bytes cut(bytes.begin(), bytes.begin() + last);
    std::unique_ptr<FileHandle> damaged(NewStream(cut));
    VFSVolume volume(damaged.get(), 0);
    ASSERT_TRUE(volume.IsValid());
    for (uint32_t i = 0; i < volume.GetBlockMap().Count(); ++i)
        EXPECT_LT(volume.GetBlockMap().EntryAt(i).blockStart + 32, damaged->GetLength());
    EXPECT_EQ(volume.OpenFile(3), -1);
    EXPECT_GE(volume.OpenFile(2), 0);
}

TEST(VFSVolumeCost, LargeFilesCostLinearWork) {
    // Write, reopen and delete an n-block file, counting stream calls and map visits: for
    // four times the blocks the work must stay near four times, not sixteen.
    struct Work {
        double calls;
        double visits;
    };
    auto run = [](uint32_t blocks) {
        std::unique_ptr<CountingStream> stream(new CountingStream());
        const Bytes data = Pattern(992u * blocks);
        Work work{0, 0};
        {
            std::unique_ptr<VFSVolume> volume(VFSVolume::Create(stream.get(), 0));
            const uint32_t id = volume->CreateFile();
            const short f = volume->OpenFile(id);
            EXPECT_TRUE(volume->WriteFileData(f, data.data(), static_cast<double>(data.size())));
            volume->CloseFile(f);
            work.visits += static_cast<double>(volume->GetBlockMap().VisitCount());
        }
        VFSVolume volume(stream.get(), 0);
        EXPECT_TRUE(volume.IsValid());
        EXPECT_GT(volume.GetBlockMap().Count(), blocks);
        const short f = volume.OpenFile(2);
        EXPECT_TRUE(volume.SetFilePosition(f, static_cast<double>(data.size())));
        volume.CloseFile(f);
        EXPECT_TRUE(volume.DeleteFile(2));
        EXPECT_EQ(volume.CreateFile(), 3u);  // reuses the first freed block
        work.visits += static_cast<double>(volume.GetBlockMap().VisitCount());
        work.calls = static_cast<double>(stream->calls);
        return work;
    };
    const Work small = run(1000);
    const Work large = run(4000);
    EXPECT_LT(large.calls / small.calls, 5.0);
    EXPECT_LT(large.visits / small.visits, 5.0);
}

}  // namespace
