// Sorter.h - an index-based quicksort driven by callbacks.
//
// The sorter never sees the elements: it asks "does position i sort before position j?"
// and says "exchange positions i and j", through a delegate object (sorter) or through two
// plain functions that also receive a direction word (orderSorter). Ranges above five
// elements are partitioned around their middle element; smaller ones are sorted by
// selection. Pending ranges wait on a linked stack of small heap nodes; nothing else is
// allocated. The sort is not stable.
//
// Not here: stable sorting, sorting of anything but positions.
#ifndef ZYNE_CORE_SORTER_H
#define ZYNE_CORE_SORTER_H

/// The collection being sorted, as the sorter sees it. Exactly two virtual operations, in
/// this order; a delegate is never deleted through this type.
class sorterDelegate {
public:
    /// True when the element at position i sorts before the element at position j.
    virtual bool Compare(int i, int j) = 0;
    /// Exchanges the elements at positions i and j. The sorter may pass i == j.
    virtual void Swap(int i, int j) = 0;

protected:
    ~sorterDelegate() = default;
};

/// Sorts positions 0 .. count - 1 through the delegate. A count below 2 or a null
/// delegate does nothing (no comparison is made).
void sorter(int count, sorterDelegate* delegate);

/// orderSorter's comparison: true when position i sorts before position j in `direction`.
typedef bool (*orderSorterCompare)(int i, int j, int direction);
/// orderSorter's exchange of positions i and j (i may equal j).
typedef void (*orderSorterSwap)(int i, int j, int direction);

/// Sorts positions low .. high (inclusive) with the same algorithm as sorter, passing
/// `sortDirection` through to both functions. A direction of 0, a null function or an
/// empty range sorts nothing.
void orderSorter(int low, int high, orderSorterCompare compare, orderSorterSwap swap,
                 int sortDirection);

#endif  // ZYNE_CORE_SORTER_H
