// Sorter.cpp - the quicksort behind sorter and orderSorter.
//
// One algorithm, written once over a "positions" object that either forwards to a
// sorterDelegate or to the two functions of orderSorter.
#include "core/Sorter.h"

#include <cstdlib>

namespace {

// A pending range, on a linked stack.
struct PendingRange {
    int low;
    int high;
    PendingRange* next;
};

struct DelegatePositions {
    sorterDelegate* delegate;
    bool Before(int i, int j) const { return delegate->Compare(i, j); }
    void Exchange(int i, int j) const { delegate->Swap(i, j); }
};

struct FunctionPositions {
    orderSorterCompare compare;
    orderSorterSwap swap;
    int direction;
    bool Before(int i, int j) const { return compare(i, j, direction); }
    void Exchange(int i, int j) const { swap(i, j, direction); }
};

// Selection sort of low..high: the largest element goes to high, then high moves down.
template <typename Positions>
void SelectionSort(const Positions& positions, int low, int high) {
    while (high > low) {
        int largest = low;
        for (int k = low + 1; k <= high; ++k) {
            if (positions.Before(largest, k)) largest = k;
        }
        positions.Exchange(largest, high);
        --high;
    }
}

template <typename Positions>
void QuickSort(const Positions& positions, int low, int high) {
    PendingRange* pending = nullptr;
    for (;;) {
        if (static_cast<long long>(high) - low < 5) {
            SelectionSort(positions, low, high);
            if (!pending) return;
            PendingRange* next = pending;
            low = next->low;
            high = next->high;
            pending = next->next;
            free(next);
            continue;
        }

        // The middle element becomes the pivot, at low.
        positions.Exchange(static_cast<int>((static_cast<long long>(low) + high) / 2), low);
        int store = low + 1;  // where the next element sorting before the pivot goes
        for (int k = low + 1; k <= high; ++k) {
            if (positions.Before(k, low)) {
                if (k > store) positions.Exchange(k, store);
                ++store;
            }
        }
        // The pivot goes to the last position stored: everything before it sorts before it.
        positions.Exchange(low, store - 1);

        auto* right = static_cast<PendingRange*>(malloc(sizeof(PendingRange)));
        if (right) {
            *right = PendingRange{store, high, pending};
            pending = right;
        } else {
            // No memory for a node: finish the right part now, slowly but without one.
            SelectionSort(positions, store, high);
        }
        high = store - 2;
    }
}

}  // namespace

void sorter(int count, sorterDelegate* delegate) {
    if (!delegate || count < 2) return;
    QuickSort(DelegatePositions{delegate}, 0, count - 1);
}

void orderSorter(int low, int high, orderSorterCompare compare, orderSorterSwap swap,
                 int sortDirection) {
    if (sortDirection == 0 || !compare || !swap || high <= low) return;
    QuickSort(FunctionPositions{compare, swap, sortDirection}, low, high);
}
