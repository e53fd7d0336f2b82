// StringMap.h - StringMap<T>, a chained hash map from text keys to small values.
//
// Keys are held in UTF-8 and match without regard to ASCII letter case (Compare).
// The chains double when the map is more than three quarters full; iteration follows
// insertion order, which growth never changes. Values are plain pointers or scalars
// that the map never owns. Iterators are attached to their map: the map deletes any
// still attached when it is destroyed, and an iterator deleted first detaches itself.
//
// Not here: removing keys, copying a map, keys that differ only in non-ASCII case.
#ifndef ZYNE_CORE_STRING_MAP_H
#define ZYNE_CORE_STRING_MAP_H

#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "core/string.h"

template <typename T>
class StringMap;

/// Walks a StringMap in insertion order, seeing keys added after it was made.
/// Made by StringMap::NewIterator.
template <typename T>
class StringMapIterator {
public:
    /// Detaches the iterator from its map.
    ~StringMapIterator();

    StringMapIterator(const StringMapIterator&) = delete;
    StringMapIterator& operator=(const StringMapIterator&) = delete;

    /// The next key (UTF-8, in the case it was first added with) and value: true,
    /// or false at the end (key and value untouched).
    bool Next(string& key, T& value);
    /// Starts again from the first entry.
    void Reset() { mCurrent = nullptr; }

private:
    friend class StringMap<T>;
    explicit StringMapIterator(StringMap<T>* map) : mMap(map) {}

    StringMap<T>* mMap;                                      // the map this is attached to
    const typename StringMap<T>::Entry* mCurrent = nullptr;  // last entry given; null
                                                             // before the first
    StringMapIterator* mNextAttached = nullptr;              // the map's list of iterators
};

template <typename T>
class StringMap {
public:
    /// One key and its value; a heap block owned by the map.
    struct Entry {
        Entry* nextInChain;  // next entry of the same chain, or null
        Entry* nextInOrder;  // next entry in insertion order, or null for the last
        string key;          // UTF-8
        T value;
    };

    /// An empty map of `bins` chains (see Initialize). Allocates nothing, so a map
    /// can be a global.
    explicit StringMap(unsigned bins = 256) { Initialize(bins); }

    /// Deletes attached iterators, then every entry (releasing its key), then the
    /// chains. The values are left alone.
    virtual ~StringMap() {
        while (mIterators) delete mIterators;  // each unlinks itself
        Clear();
    }

    StringMap(const StringMap&) = delete;
    StringMap& operator=(const StringMap&) = delete;

    /// The chain of a UTF-8 key: h = h * 31 + byte over the bytes, with "a".."z" taken
    /// as capitals and every byte as a signed 8-bit value, modulo the bin count.
    virtual unsigned hashString(const string& key) const {
        uint32_t h = 0;
        const char* bytes = key.CString();
        for (uint32_t i = 0, n = key.Length(); i < n; ++i) {
            signed char b = static_cast<signed char>(bytes[i]);
            if (b >= 'a' && b <= 'z') b = static_cast<signed char>(b - 32);
            // Deliberate: bytes of 0x80 and above enter the hash as negative numbers.
            h = h * 31 + static_cast<uint32_t>(static_cast<int32_t>(b));
        }
        return h % mBinCount;
    }

    /// Whether two UTF-8 keys are the same key: a case-insensitive Compare of 0.
    virtual bool StringsMatch(const string& a, const string& b) const { return a.Compare(b) == 0; }

    /// Empties the map and sets its bin count (at least 1); the chains themselves are
    /// allocated by the first AddEntry. Attached iterators start again.
    void Initialize(unsigned bins) {
        Clear();
        mBinCount = bins ? bins : 1;
        for (StringMapIterator<T>* it = mIterators; it; it = it->mNextAttached) it->Reset();
    }

    /// Inserts the key, or replaces the value of a matching key (which keeps its first
    /// letter case and its place in the order). Grows the chains past three quarters
    /// load. False only when memory ran out; the map is then unchanged.
    bool AddEntry(const string& key, T value) {
        if (!mBins) {
            mBins = static_cast<Entry**>(std::calloc(mBinCount, sizeof(Entry*)));
            if (!mBins) return false;
        }
        const string utf8 = key.GetUTF8String();
        const unsigned chain = hashString(utf8);
        if (Entry* existing = Find(chain, utf8)) {
            existing->value = value;
            return true;
        }
        Entry* entry = new (std::nothrow) Entry{mBins[chain], nullptr, utf8, value};
        if (!entry) return false;
        mBins[chain] = entry;
        if (mLast) {
            mLast->nextInOrder = entry;
        } else {
            mFirst = entry;
        }
        mLast = entry;
        ++mCount;
        if (mCount > (3 * mBinCount) / 4) ResizeBinArray(2 * mBinCount);
        return true;
    }

    /// True, with the value copied to `value`, when the key is present; false
    /// otherwise (`value` untouched).
    bool GetEntry(const string& key, T& value) const {
        if (!mBins) return false;
        const string utf8 = key.GetUTF8String();
        const Entry* entry = Find(hashString(utf8), utf8);
        if (!entry) return false;
        value = entry->value;
        return true;
    }

    /// Rebuilds the chains for `bins` chains (0 and the current count do nothing).
    /// Entries are re-chained in insertion order; iteration order is unchanged. When
    /// memory runs out the old chains stay.
    void ResizeBinArray(unsigned bins) {
        if (bins == 0 || bins == mBinCount) return;
        if (!mBins) {
            mBinCount = bins;
            return;
        }
        auto** fresh = static_cast<Entry**>(std::calloc(bins, sizeof(Entry*)));
        if (!fresh) return;
        std::free(mBins);
        mBins = fresh;
        mBinCount = bins;
        for (Entry* entry = mFirst; entry; entry = entry->nextInOrder) {
            const unsigned chain = hashString(entry->key);
            entry->nextInChain = mBins[chain];
            mBins[chain] = entry;
        }
    }

    /// A new iterator over this map, attached to it. The caller may delete it; the
    /// map deletes it when destroyed first (the caller's pointer then dangles).
    /// Null when memory ran out.
    StringMapIterator<T>* NewIterator() {
        auto* it = new (std::nothrow) StringMapIterator<T>(this);
        if (!it) return nullptr;
        it->mNextAttached = mIterators;
        mIterators = it;
        return it;
    }

    /// Number of keys.
    uint32_t Count() const { return mCount; }
    /// Number of chains.
    uint32_t BinCount() const { return mBinCount; }
    /// The first entry in insertion order, or null; follow nextInOrder. Valid until
    /// the map is emptied or destroyed.
    const Entry* FirstEntry() const { return mFirst; }

private:
    friend class StringMapIterator<T>;

    Entry* Find(unsigned chain, const string& key) const {
        Entry* entry = mBins[chain];
        while (entry && !StringsMatch(entry->key, key)) entry = entry->nextInChain;
        return entry;
    }

    void Clear() {
        Entry* entry = mFirst;
        while (entry) {
            Entry* next = entry->nextInOrder;
            delete entry;
            entry = next;
        }
        std::free(mBins);
        mBins = nullptr;
        mFirst = mLast = nullptr;
        mCount = 0;
    }

    void Detach(StringMapIterator<T>* it) {
        StringMapIterator<T>** link = &mIterators;
        while (*link && *link != it) link = &(*link)->mNextAttached;
        assert(*link && "an iterator is missing from its map's list");
        if (*link) *link = it->mNextAttached;
    }

    uint32_t mBinCount = 0;   // chains; at least 1, doubled on growth
    uint32_t mCount = 0;      // keys; kept at or below 3/4 of mBinCount after AddEntry
    Entry** mBins = nullptr;  // mBinCount chain heads, or null before the first entry
    Entry* mFirst = nullptr;  // insertion order; null exactly when the map is empty
    Entry* mLast = nullptr;
    StringMapIterator<T>* mIterators = nullptr;  // attached iterators
};

template <typename T>
StringMapIterator<T>::~StringMapIterator() {
    mMap->Detach(this);
}

template <typename T>
bool StringMapIterator<T>::Next(string& key, T& value) {
    const typename StringMap<T>::Entry* next = mCurrent ? mCurrent->nextInOrder : mMap->mFirst;
    if (!next) return false;
    mCurrent = next;
    key = next->key;
    value = next->value;
    return true;
}

#endif  // ZYNE_CORE_STRING_MAP_H
