// IntMapTest.cpp - IntMap<T>: the chain function, insert/replace/look-up/remove, and the
// insertion-order list across removals.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "core/IntMap.h"

namespace {

using Map = IntMap<int>;

std::vector<int32_t> KeysInOrder(const Map& map) {
    std::vector<int32_t> keys;
    for (const Map::Entry* e = map.FirstEntry(); e; e = e->nextInOrder) keys.push_back(e->key);
    return keys;
}

TEST(IntMap, HashPicksTheDocumentedChain) {
    const Map map;
    const struct {
        int32_t key;
        int chain;
    } cases[] = {
        {0x00010000, 1},      // high half only
        {0x00000001, 256},    // the low byte moves up by eight bits
        {0x00000100, 1},      // the second byte moves down
        {0x12345678, 0x262},  // 0x1234 ^ 0x7856, low ten bits
        {-2, 0x100},         {0x03FF0000, 0x3FF},
    };
    for (const auto& c : cases) EXPECT_EQ(map.hashInteger(c.key), c.chain) << std::hex << c.key;
}

TEST(IntMap, AddReplacesAndGetMissesLeaveTheValue) {
    Map map;
    int value = -1;
    EXPECT_FALSE(map.GetEntry(7, value));
    EXPECT_EQ(value, -1);
    ASSERT_TRUE(map.AddEntry(7, 70));
    ASSERT_TRUE(map.AddEntry(-7, -70));
    ASSERT_TRUE(map.AddEntry(7, 71));  // replaces, keeps its place
    EXPECT_TRUE(map.GetEntry(7, value));
    EXPECT_EQ(value, 71);
    EXPECT_EQ(KeysInOrder(map), (std::vector<int32_t>{7, -7}));
}

TEST(IntMap, KeysSharingAChainStayApart) {
    Map map;  // bits 26 and up never reach the chain number
    const int32_t keys[] = {5, 5 + (1 << 26), 5 + (2 << 26), 5 - (1 << 26)};
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(map.hashInteger(keys[i]), map.hashInteger(5));
        ASSERT_TRUE(map.AddEntry(keys[i], i));
    }
    map.RemoveEntry(keys[1]);  // middle of the chain
    map.RemoveEntry(keys[3]);  // head of the chain
    int value = -1;
    EXPECT_FALSE(map.GetEntry(keys[1], value));
    EXPECT_FALSE(map.GetEntry(keys[3], value));
    EXPECT_TRUE(map.GetEntry(keys[2], value));
    EXPECT_EQ(value, 2);
    EXPECT_EQ(KeysInOrder(map), (std::vector<int32_t>{keys[0], keys[2]}));
}

TEST(IntMap, RemoveKeepsInsertionOrderAndLastEntry) {
    const struct {
        int32_t removed;
        std::vector<int32_t> left;
    } cases[] = {{1, {2, 3}}, {2, {1, 3}}, {3, {1, 2}}, {4, {1, 2, 3}}};
    for (const auto& c : cases) {
        Map map;
        for (int32_t k : {1, 2, 3}) ASSERT_TRUE(map.AddEntry(k, k));
        map.RemoveEntry(c.removed);
        // A new key goes after the real last entry (a stale last pointer would lose it).
        ASSERT_TRUE(map.AddEntry(9, 9));
        std::vector<int32_t> expected = c.left;
        expected.push_back(9);
        EXPECT_EQ(KeysInOrder(map), expected) << "removed " << c.removed;
    }
    Map single;
    ASSERT_TRUE(single.AddEntry(1, 1));
    single.RemoveEntry(1);
    EXPECT_EQ(single.FirstEntry(), nullptr);
    ASSERT_TRUE(single.AddEntry(2, 2));
    EXPECT_EQ(KeysInOrder(single), (std::vector<int32_t>{2}));
}

TEST(IntMap, ManyKeysWithoutGrowth) {
    Map map;
    constexpr int kCount = 5000;  // about five per chain
    for (int i = 0; i < kCount; ++i) ASSERT_TRUE(map.AddEntry(i * 37 - 1000, i));
    for (int i = 0; i < kCount; i += 2) map.RemoveEntry(i * 37 - 1000);
    std::vector<int32_t> expected;
    for (int i = 0; i < kCount; ++i) {
        int value = -1;
        EXPECT_EQ(map.GetEntry(i * 37 - 1000, value), i % 2 == 1) << i;
        if (i % 2 == 1) expected.push_back(i * 37 - 1000);
    }
    EXPECT_EQ(KeysInOrder(map), expected);
}

}  // namespace
