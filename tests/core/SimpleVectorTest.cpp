// SimpleVectorTest.cpp - SimpleVector<T>: the growth rule, and the growing index whose new
// slots must read as zero.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <vector>

#include "core/SimpleVector.h"

namespace {

TEST(SimpleVector, GrowthStepIsOwnStepOrCapacityAtLeastSixteen) {
    const struct {
        long step;
        int appended;
        std::vector<long> capacities;
    } cases[] = {
        {0, 70, {16, 32, 64, 128}},  // by the capacity, which starts at 16
        {-5, 40, {16, 32, 64}},      // a negative step means the same
        {4, 40, {16, 32, 48}},       // a small step is raised to 16
        {100, 201, {100, 200, 300}},
    };
    for (const auto& c : cases) {
        SimpleVector<int> v(c.step);
        EXPECT_EQ(v.Capacity(), 0) << "an empty vector allocates nothing";
        std::vector<long> seen;
        for (int i = 0; i < c.appended; ++i) {
            ASSERT_TRUE(v.Append(i));
            if (seen.empty() || seen.back() != v.Capacity()) seen.push_back(v.Capacity());
        }
        EXPECT_EQ(seen, c.capacities) << "step " << c.step;
        EXPECT_EQ(v.Count(), c.appended);
        EXPECT_EQ(v[c.appended - 1], c.appended - 1);
    }
}

TEST(SimpleVector, GrowingIndexBoundaries) {
    SimpleVector<int> v;
    for (int i = 1; i <= 3; ++i) ASSERT_TRUE(v.Append(i));
    int* last = v.GrowingAt(2);  // count - 1: an existing slot
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(*last, 3);
    EXPECT_EQ(v.Count(), 3);
    int* next = v.GrowingAt(3);  // count: one new slot
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(*next, 0);
    EXPECT_EQ(v.Count(), 4);
    EXPECT_EQ(v.GrowingAt(-1), nullptr);  // refused, nothing changes
    EXPECT_EQ(v.Count(), 4);
    ASSERT_NE(v.GrowingAt(40), nullptr);  // beyond the capacity: the whole gap is exposed
    EXPECT_EQ(v.Count(), 41);
    for (long i = 4; i <= 40; ++i) EXPECT_EQ(v[i], 0) << i;
    EXPECT_EQ(v[2], 3);
}

TEST(SimpleVector, GrowingIndexNeverShowsStaleMemory) {
    // A freed block full of a pattern is the likeliest one for the next vector to get.
    {
        SimpleVector<uint32_t> dirty;
        for (int i = 0; i < 64; ++i) ASSERT_TRUE(dirty.Append(0xDEADBEEF));
    }
    SimpleVector<uint32_t> v;
    ASSERT_NE(v.GrowingAt(63), nullptr);
    for (long i = 0; i < 64; ++i) EXPECT_EQ(v[i], 0u) << i;

    // Slots already allocated but past the count, exposed later.
    SimpleVector<void*> pointers(100);
    ASSERT_NE(pointers.GrowingAt(5), nullptr);
    ASSERT_NE(pointers.GrowingAt(80), nullptr);
    EXPECT_EQ(pointers.Capacity(), 100);
    for (long i = 0; i <= 80; ++i) EXPECT_EQ(pointers[i], nullptr) << i;
}

TEST(SimpleVector, ImpossibleSizesFailWithoutChange) {
    SimpleVector<int64_t> v;
    ASSERT_TRUE(v.Append(7));
    EXPECT_EQ(v.GrowingAt(LONG_MAX), nullptr);
    EXPECT_EQ(v.GrowingAt(LONG_MAX / 2), nullptr);  // more bytes than the address space
    SimpleVector<int64_t> stepped(1000);
    EXPECT_EQ(stepped.GrowingAt(LONG_MAX - 1), nullptr);
    EXPECT_EQ(v.Count(), 1);
    EXPECT_EQ(v[0], 7);
}

}  // namespace
