// BlockMapTest.cpp - the block map: saved form, first-match order, counts, reuse order.
#include "virtualvolume/BlockMap.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "VolumeTestSupport.h"

namespace {

Bytes Saved(const BlockMap& map) {
    unsigned char* buffer = nullptr;
    const uint32_t length = map.WriteBlockMapToBuffer(&buffer);
    Bytes out(buffer, buffer + length);
    free(buffer);
    return out;
}

TEST(BlockMap, SavedFormIsBigEndianEntriesInMapOrder) {
    BlockMap map;
    map.AddEntry(2, 48, 0);
    map.AddEntry(0, 0x01020304, 7);
    ByteBuilder expected;
    expected.Raw("BMap", 4);
    expected.Be32(2);
    expected.Be32(48), expected.Be32(2), expected.Be32(0);
    expected.Be32(0x01020304), expected.Be32(0), expected.Be32(7);
    EXPECT_EQ(Saved(map), expected.bytes);

    BlockMap copy;
    ASSERT_TRUE(copy.ConstructBlockMapFromBuffer(expected.bytes.data(),
                                                 static_cast<uint32_t>(expected.Size())));
    EXPECT_EQ(copy.ChangeCount(), 0u);
    EXPECT_EQ(copy.FreeCount(), 1u);
    EXPECT_EQ(Saved(copy), expected.bytes);
}

TEST(BlockMap, ConstructRefusesDamagedForms) {
    struct Case {
        const char* what;
        Bytes bytes;
        bool ok;
    };
    ByteBuilder good, badMagic, absurd, shortOne;
    good.Raw("BMap", 4), good.Be32(1), good.Be32(8), good.Be32(1), good.Be32(0);
    badMagic.Raw("BMaq", 4), badMagic.Be32(0);
    absurd.Raw("BMap", 4), absurd.Be32(0x7FFFFFFF), absurd.Be32(8), absurd.Be32(1), absurd.Be32(0);
    shortOne.Raw("BMap", 4), shortOne.Be32(2), shortOne.Be32(8), shortOne.Be32(1), shortOne.Be32(0);
    const Case cases[] = {
        {"sound", good.bytes, true},
        {"wrong magic", badMagic.bytes, false},
        {"absurd count", absurd.bytes, false},
        {"count one more than held", shortOne.bytes, false},
        {"too short for a header", Bytes{'B', 'M', 'a'}, false},
    };
    for (const Case& c : cases) {
        BlockMap map;
        EXPECT_EQ(
            map.ConstructBlockMapFromBuffer(c.bytes.data(), static_cast<uint32_t>(c.bytes.size())),
            c.ok)
            << c.what;
    }
    BlockMap map;
    EXPECT_FALSE(map.ConstructBlockMapFromBuffer(nullptr, 20));
    EXPECT_FALSE(map.ConstructBlockMapFromBuffer(good.bytes.data(), 0));
}

TEST(BlockMap, LookupsAnswerTheFirstMatchInMapOrder) {
    BlockMap map;
    map.AddEntry(5, 100, 1);  // 0
    map.AddEntry(5, 200, 0);  // 1
    map.AddEntry(6, 300, 0);  // 2
    map.AddEntry(5, 400, 0);  // 3
    map.AddEntry(7, 200, 0);  // 4: a second entry for block 200
    uint32_t start = 0;
    EXPECT_EQ(map.FindBlockStartByID(5, &start, 0, 0), 1u);
    EXPECT_EQ(start, 200u);
    EXPECT_EQ(map.FindBlockStartByID(5, &start, 2, 0), 3u);
    EXPECT_EQ(start, 400u);
    EXPECT_EQ(map.FindBlockStartByID(5, &start, 4, 0), kBlockMapNotFound);
    EXPECT_EQ(start, kBlockMapNotFound);
    EXPECT_EQ(map.FindBlockStartByID(5, &start, 0, 1), 0u);
    EXPECT_EQ(map.FindIDByBlockStart(200), 5u);
    EXPECT_EQ(map.FindIDByBlockStart(999), kBlockMapNotFound);

    // The first block-0 entry of file 5 leaves it: the next one in map order answers.
    map.ChangeEntryByBlockStart(200, 0, 0);
    EXPECT_EQ(map.FindIDByBlockStart(200), 0u);
    EXPECT_EQ(map.FindBlockStartByID(5, &start, 0, 0), 3u);
    map.ChangeEntryByBlockStart(100, 5, 0);  // joins before it
    EXPECT_EQ(map.FindBlockStartByID(5, &start, 0, 0), 0u);
}

TEST(BlockMap, CountsFollowTheirRules) {
    BlockMap map;
    map.AddEntry(0, 100, 0);
    map.AddEntry(3, 200, 0);
    EXPECT_EQ(map.FreeCount(), 1u);
    const uint32_t changes = map.ChangeCount();

    map.ChangeEntryByBlockStart(999, 0, 0);  // no such block: nothing, not even a count
    EXPECT_EQ(map.ChangeCount(), changes);

    map.ChangeEntryByBlockStart(100, 0, 0);  // freeing a free block counts again
    EXPECT_EQ(map.FreeCount(), 2u);
    map.ChangeEntryByBlockStart(100, 4, 0xFFFFFFFF);  // the index is kept
    EXPECT_EQ(map.FreeCount(), 1u);
    EXPECT_EQ(map.EntryAt(0).fileID, 4u);
    EXPECT_EQ(map.EntryAt(0).blockIndex, 0u);

    map.ChangeEntryByID(42, 1, 1);  // none: still counted as a change
    EXPECT_EQ(map.ChangeCount(), changes + 3);

    map.RemoveEntryByBlockStart(100);
    ASSERT_EQ(map.Count(), 1u);
    EXPECT_EQ(map.EntryAt(0).blockStart, 200u);
    EXPECT_EQ(map.FindIDByBlockStart(200), 3u);
    EXPECT_EQ(map.FindIDByBlockStart(100), kBlockMapNotFound);
    map.RemoveEntryByID(3);
    EXPECT_EQ(map.Count(), 0u);
}

TEST(BlockMap, ReuseCandidatesComeInMapOrderAndSkipMarkedOnes) {
    BlockMap map;
    map.AddEntry(2, 100, 0);
    map.AddEntry(0, 200, 3);  // free but not a first block: no candidate
    map.AddEntry(0, 300, 0);
    map.AddEntry(0, 400, 0);
    EXPECT_EQ(map.FirstReuseCandidate(), 2u);
    map.MarkUnsuitable(2);
    EXPECT_EQ(map.FirstReuseCandidate(), 3u);
    map.ChangeEntryByBlockStart(100, 0, 0);
    EXPECT_EQ(map.FirstReuseCandidate(), 0u);
    map.ChangeEntryByBlockStart(100, 9, 0);
    map.ChangeEntryByBlockStart(400, 9, 1);
    EXPECT_EQ(map.FirstReuseCandidate(), kBlockMapNotFound);
    map.ClearUnsuitableMarks();
    EXPECT_EQ(map.FirstReuseCandidate(), 2u);
}

TEST(BlockMap, ManyEntriesKeepLookupsCheap) {
    // Work per operation must not grow with the map: visits for 4n entries stay near 4x.
    auto visits = [](uint32_t n) {
        BlockMap map;
        for (uint32_t i = 0; i < n; ++i) map.AddEntry(0, 8 + 1024 * i, 0);
        for (uint32_t i = 0; i < n; ++i) {
            const uint32_t index = map.FirstReuseCandidate();
            map.ChangeEntryByBlockStart(map.EntryAt(index).blockStart, 2, i);
        }
        uint32_t start = 0;
        for (uint32_t i = 0; i < n; ++i) map.FindBlockStartByID(2, &start, 0, 0);
        for (uint32_t i = 0; i < n; ++i) map.ChangeEntryByBlockStart(8 + 1024 * i, 0, 0);
        return map.VisitCount();
    };
    const double small = static_cast<double>(visits(2000));
    const double large = static_cast<double>(visits(8000));
    EXPECT_LT(large / small, 6.0) << small << " " << large;
}

}  // namespace
