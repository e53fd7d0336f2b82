// SorterTest.cpp - sorter and orderSorter: results over many shapes of input, the exact
// exchanges of a small case, and the calls that must not happen.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

#include "core/Sorter.h"

namespace {

// Sorts a vector of ints, checking every position it is handed and recording exchanges.
class VectorDelegate : public sorterDelegate {
public:
    explicit VectorDelegate(std::vector<int> v) : values(std::move(v)) {}
    bool Compare(int i, int j) override {
        ++comparisons;
        return InRange(i) && InRange(j) && values[i] < values[j];
    }
    void Swap(int i, int j) override {
        swaps.emplace_back(i, j);
        if (InRange(i) && InRange(j)) std::swap(values[i], values[j]);
    }

    std::vector<int> values;
    int comparisons = 0;
    std::vector<std::pair<int, int>> swaps;

private:
    bool InRange(int i) {
        if (i >= 0 && i < static_cast<int>(values.size())) return true;
        ADD_FAILURE() << "position " << i << " outside 0.." << values.size() - 1;
        return false;
    }
};

TEST(Sorter, SortsEveryShapeAndSize) {
    std::mt19937 random(99);
    const std::vector<std::function<int(int, int)>> shapes = {
        [&](int, int) { return static_cast<int>(random() % 1000) - 500; },
        [](int i, int) { return i; },                              // sorted
        [](int i, int n) { return n - i; },                        // reversed
        [](int, int) { return 3; },                                // all equal
        [&](int, int) { return static_cast<int>(random() % 3); },  // few distinct
        [](int i, int n) { return i < n / 2 ? i : n - i; },        // organ pipe
    };
    for (size_t shape = 0; shape < shapes.size(); ++shape) {
        for (int n : {2, 5, 6, 7, 16, 100, 5000}) {
            std::vector<int> v(n);
            for (int i = 0; i < n; ++i) v[i] = shapes[shape](i, n);
            VectorDelegate d(v);
            std::sort(v.begin(), v.end());
            sorter(n, &d);
            EXPECT_EQ(d.values, v) << "shape " << shape << ", " << n << " elements";
        }
    }
}

TEST(Sorter, EveryPermutationAroundTheSelectionLimit) {
    // Five elements (high - low = 4) are selection-sorted; six and more are partitioned.
    for (int n : {3, 4, 5, 6, 7}) {
        std::vector<int> perm(n);
        std::iota(perm.begin(), perm.end(), 0);
        do {
            VectorDelegate d(perm);
            sorter(n, &d);
            ASSERT_TRUE(std::is_sorted(d.values.begin(), d.values.end())) << n;
        } while (std::next_permutation(perm.begin(), perm.end()));
    }
}

TEST(Sorter, PartitionsAroundTheMiddleThenSelects) {
    // The middle element (position 2, value 4) is the pivot; elements sorting before it are
    // exchanged forward only when past the store position, the pivot goes to the last
    // stored place, the left part 0..3 is selection-sorted (largest to the end, even when
    // already there) and the one-element right part is popped.
    VectorDelegate d({5, 0, 4, 1, 3, 2});
    sorter(6, &d);
    EXPECT_EQ(d.values, (std::vector<int>{0, 1, 2, 3, 4, 5}));
    const std::vector<std::pair<int, int>> expected = {
        {2, 0}, {3, 2}, {4, 3}, {5, 4}, {0, 4},  // partition
        {3, 3}, {0, 2}, {0, 1},                  // selection of 0..3
    };
    EXPECT_EQ(d.swaps, expected);
}

TEST(Sorter, TooFewElementsCallNothing) {
    for (int count : {-1, 0, 1}) {
        VectorDelegate d({9, 8});
        sorter(count, &d);
        EXPECT_EQ(d.comparisons, 0) << count;
        EXPECT_TRUE(d.swaps.empty()) << count;
    }
    sorter(5, nullptr);
}

// orderSorter's functions see the array through these globals.
std::vector<int> gValues;
std::vector<int> gDirections;

bool CompareValues(int i, int j, int direction) {
    gDirections.push_back(direction);
    return direction > 0 ? gValues.at(i) < gValues.at(j) : gValues.at(i) > gValues.at(j);
}

void SwapValues(int i, int j, int direction) {
    gDirections.push_back(direction);
    std::swap(gValues.at(i), gValues.at(j));
}

TEST(OrderSorter, SortsOnlyTheRangeAndPassesTheDirection) {
    std::mt19937 random(7);
    gValues.resize(50);
    for (int& v : gValues) v = static_cast<int>(random() % 100);
    const std::vector<int> original = gValues;
    gDirections.clear();

    orderSorter(10, 39, CompareValues, SwapValues, -1);
    EXPECT_TRUE(std::is_sorted(gValues.begin() + 10, gValues.begin() + 40, std::greater<int>()));
    EXPECT_TRUE(std::equal(gValues.begin(), gValues.begin() + 10, original.begin()));
    EXPECT_TRUE(std::equal(gValues.begin() + 40, gValues.end(), original.begin() + 40));
    ASSERT_FALSE(gDirections.empty());
    EXPECT_EQ(std::count(gDirections.begin(), gDirections.end(), -1),
              static_cast<long>(gDirections.size()));

    gDirections.clear();
    const std::vector<int> before = gValues;
    orderSorter(0, 49, CompareValues, SwapValues, 0);  // direction 0 sorts nothing
    orderSorter(5, 5, CompareValues, SwapValues, 1);
    orderSorter(6, 5, CompareValues, SwapValues, 1);
    orderSorter(0, 49, nullptr, SwapValues, 1);
    EXPECT_TRUE(gDirections.empty());
    EXPECT_EQ(gValues, before);
}

}  // namespace
