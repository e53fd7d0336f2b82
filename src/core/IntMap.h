// IntMap.h - IntMap<T>, a hash map from signed 32-bit keys to small values.
//
// 1024 fixed chains and an insertion-order list; it never grows or rehashes, so a map of
// many thousands of keys gets long chains (its users hold tens to a few thousand). Values
// are plain pointers or scalars that the map never owns: removing an entry or destroying
// the map frees the entry, never what its value points to.
//
// Not here: text keys (StringMap), iteration while removing, copying a map.
#ifndef ZYNE_CORE_INT_MAP_H
#define ZYNE_CORE_INT_MAP_H

#include <cassert>
#include <cstdint>
#include <new>

template <typename T>
class IntMap {
public:
    /// Number of chains; fixed.
    static constexpr int kChainCount = 1024;

    /// One key and its value; a heap block owned by the map.
    struct Entry {
        Entry* nextInChain;  // next entry of the same chain, or null
        Entry* nextInOrder;  // next entry in insertion order, or null for the last
        int32_t key;
        T value;
    };

    /// An empty map: 1024 empty chains. Allocates nothing, so that a map can be a
    /// constant-initialised global.
    constexpr IntMap() : mChains{}, mFirst(nullptr), mLast(nullptr) {}

    /// Frees every entry; the values are left alone.
    virtual ~IntMap() {
        Entry* entry = mFirst;
        while (entry) {
            Entry* next = entry->nextInOrder;
            delete entry;
            entry = next;
        }
    }

    IntMap(const IntMap&) = delete;
    IntMap& operator=(const IntMap&) = delete;

    /// The chain of a key: ((k >> 16) XOR (((k >> 8) AND 0xFF) OR ((k AND 0xFF) * 256)))
    /// AND 0x3FF. So 0x00010000 lands in chain 1 and 0x00000001 in chain 256.
    int hashInteger(int32_t key) const {
        // The shift is arithmetic; only the low ten bits of the result are kept.
        return static_cast<int>(((key >> 16) ^ (((key >> 8) & 0xFF) | ((key & 0xFF) * 256))) &
                                0x3FF);
    }

    /// Inserts the key, or replaces the value of a key already present (its place in the
    /// insertion order stays). False only when memory for a new entry ran out.
    bool AddEntry(int32_t key, T value) {
        const int chain = hashInteger(key);
        if (Entry* existing = Find(chain, key)) {
            existing->value = value;
            return true;
        }
        Entry* entry = new (std::nothrow) Entry{mChains[chain], nullptr, key, value};
        if (!entry) return false;
        mChains[chain] = entry;
        if (mLast) {
            mLast->nextInOrder = entry;
        } else {
            mFirst = entry;
        }
        mLast = entry;
        return true;
    }

    /// True, with the value copied to `value`, when the key is present; false otherwise
    /// (`value` is then untouched).
    bool GetEntry(int32_t key, T& value) const {
        const Entry* entry = Find(hashInteger(key), key);
        if (!entry) return false;
        value = entry->value;
        return true;
    }

    /// Unlinks the key from its chain and from the insertion order and frees its entry.
    /// A missing key is ignored.
    void RemoveEntry(int32_t key) {
        Entry** link = &mChains[hashInteger(key)];
        while (*link && (*link)->key != key) link = &(*link)->nextInChain;
        Entry* entry = *link;
        if (!entry) return;
        *link = entry->nextInChain;

        Entry* previous = nullptr;
        for (Entry* walk = mFirst; walk != entry; walk = walk->nextInOrder) {
            assert(walk && "an entry in a chain is missing from the insertion order");
            previous = walk;
        }
        if (previous) {
            previous->nextInOrder = entry->nextInOrder;
        } else {
            mFirst = entry->nextInOrder;
        }
        if (mLast == entry) mLast = previous;
        delete entry;
    }

    /// The first entry in insertion order, or null for an empty map; follow nextInOrder.
    /// Valid until the entry is removed or the map destroyed.
    const Entry* FirstEntry() const { return mFirst; }

private:
    Entry* Find(int chain, int32_t key) const {
        Entry* entry = mChains[chain];
        while (entry && entry->key != key) entry = entry->nextInChain;
        return entry;
    }

    Entry* mChains[kChainCount];  // chain heads; a new entry is pushed at the head
    Entry* mFirst;                // insertion order; null exactly when the map is empty
    Entry* mLast;                 // the last inserted entry still present
};

#endif  // ZYNE_CORE_INT_MAP_H
