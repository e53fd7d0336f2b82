// SimpleVector.h - SimpleVector<T>, a growable array of plain values.
//
// Elements are plain data (pointers, numbers, records of them) kept in one malloc'd
// block that is moved with realloc, so T must be trivially copyable. When the array must
// grow it grows by its step, or by its current capacity when the step is 0, and in either
// case by at least 16 slots. Every slot that becomes part of the array without being
// assigned reads as zero (nil for pointers), never as stale memory.
//
// Not here: removal, shrinking, copying, element destructors: the vector owns its block,
// never what the elements point to.
#ifndef ZYNE_CORE_SIMPLE_VECTOR_H
#define ZYNE_CORE_SIMPLE_VECTOR_H

#include <cassert>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

template <typename T>
class SimpleVector {
    static_assert(std::is_trivially_copyable_v<T>, "SimpleVector moves its elements with realloc");

public:
    /// The smallest number of slots the array grows by.
    static constexpr long kMinimumGrowth = 16;

    /// An empty vector (allocates nothing) growing by `step` slots, or by its capacity
    /// when `step` is 0 or negative.
    explicit SimpleVector(long step = 0) : mStep(step > 0 ? step : 0) {}

    /// Frees the block; elements are not followed.
    ~SimpleVector() { free(mItems); }

    SimpleVector(const SimpleVector&) = delete;
    SimpleVector& operator=(const SimpleVector&) = delete;

    /// Number of elements.
    long Count() const { return mCount; }

    /// Number of slots allocated.
    long Capacity() const { return mCapacity; }

    /// Appends a copy of `value`. False, with the vector unchanged, when memory ran out.
    bool Append(const T& value) {
        if (!Reserve(mCount + 1)) return false;
        mItems[mCount++] = value;
        return true;
    }

    /// The element at `index`, which must be in 0 .. Count() - 1.
    T& operator[](long index) {
        assert(index >= 0 && index < mCount && "SimpleVector index out of range");
        return mItems[index];
    }
    const T& operator[](long index) const {
        assert(index >= 0 && index < mCount && "SimpleVector index out of range");
        return mItems[index];
    }

    /// The slot at `index`, growing the vector first when `index` is at or beyond the count:
    /// the count becomes index + 1, and every slot so added reads as zero. Null, with the
    /// vector unchanged, for a negative index or when memory ran out. The pointer is valid
    /// until the vector next grows.
    T* GrowingAt(long index) {
        if (index < 0 || index == LONG_MAX) return nullptr;
        if (index >= mCount) {
            if (!Reserve(index + 1)) return nullptr;
            memset(static_cast<void*>(mItems + mCount), 0,
                   static_cast<size_t>(index + 1 - mCount) * sizeof(T));
            mCount = index + 1;
        }
        return &mItems[index];
    }

private:
    // Makes room for `needed` slots by whole growth steps.
    bool Reserve(long needed) {
        if (needed <= mCapacity) return true;
        long capacity = mCapacity;
        if (mStep != 0) {
            // Fixed step: the whole number of steps that covers `needed`, in one go.
            const long growth = mStep < kMinimumGrowth ? kMinimumGrowth : mStep;
            const long steps = (needed - capacity - 1) / growth + 1;
            if (steps > (LONG_MAX - capacity) / growth) return false;
            capacity += steps * growth;
        }
        while (capacity < needed) {
            const long growth = capacity < kMinimumGrowth ? kMinimumGrowth : capacity;
            if (capacity > LONG_MAX - growth) return false;
            capacity += growth;
        }
        if (static_cast<unsigned long>(capacity) > SIZE_MAX / sizeof(T)) return false;
        void* grown =
            realloc(static_cast<void*>(mItems), static_cast<size_t>(capacity) * sizeof(T));
        if (!grown) return false;
        mItems = static_cast<T*>(grown);
        mCapacity = capacity;
        return true;
    }

    T* mItems = nullptr;  // mCapacity slots; those from mCount on are not yet elements
    long mCount = 0;      // invariant: 0 <= mCount <= mCapacity
    long mCapacity = 0;
    long mStep;  // growth step; 0 means "by the current capacity"
};

#endif  // ZYNE_CORE_SIMPLE_VECTOR_H
