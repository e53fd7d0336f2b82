// BlockMap.cpp - the ordered block list and the indexes that spare it linear scans.
//
// Every lookup answers what a scan from the front would: the start index keeps the
// smallest entry per block start, the id index the smallest entry holding a file's block 0
// (found again lazily after that entry leaves), and a counting tree over the entries finds
// the first reuse candidate in map order. Removing or moving an entry rebuilds them all;
// the volume itself never does either.
#include "virtualvolume/BlockMap.h"

#include <cstdlib>
#include <cstring>

#include "streams/Endian.h"

namespace {

uint32_t Mix(uint32_t x) {
    x ^= x >> 16;
    x *= 0x85EBCA6BU;
    x ^= x >> 13;
    x *= 0xC2B2AE35U;
    x ^= x >> 16;
    return x;
}

// The smallest power of two >= n and >= minimum; 0 when that does not fit in 32 bits.
uint32_t PowerOfTwoAtLeast(uint32_t n, uint32_t minimum) {
    uint32_t p = minimum;
    while (p < n) {
        if (p > 0x7FFFFFFFU) return 0;
        p <<= 1;
    }
    return p;
}

}  // namespace

BlockMap::BlockMap(uint32_t growthStep) : mGrowthStep(growthStep) {}

BlockMap::~BlockMap() {
    free(mEntries);
    free(mUnsuitable);
    free(mStartSlots);
    free(mIdSlots);
    free(mTree);
}

bool BlockMap::Reserve(uint32_t needed) {
    if (needed <= mCapacity) return GrowTree(mCapacity);
    uint64_t capacity = mCapacity;
    while (capacity < needed) {
        uint64_t growth = mGrowthStep != 0 ? mGrowthStep : capacity;
        if (growth < 16) growth = 16;
        capacity += growth;
    }
    if (capacity > 0x7FFFFFFFU / sizeof(BlockMapEntry)) return false;
    auto* entries = static_cast<BlockMapEntry*>(realloc(
        static_cast<void*>(mEntries), static_cast<size_t>(capacity) * sizeof(BlockMapEntry)));
    if (!entries) return false;
    mEntries = entries;
    auto* marks = static_cast<uint8_t*>(realloc(mUnsuitable, static_cast<size_t>(capacity)));
    if (!marks) return false;
    mUnsuitable = marks;
    mCapacity = static_cast<uint32_t>(capacity);
    return GrowTree(mCapacity);
}

bool BlockMap::GrowTree(uint32_t needed) {
    if (needed <= mTreeLeaves) return true;
    const uint32_t leaves = PowerOfTwoAtLeast(needed, 16);
    if (leaves == 0) return false;
    auto* tree = static_cast<uint32_t*>(calloc(static_cast<size_t>(leaves) * 2, sizeof(uint32_t)));
    if (!tree) return false;
    free(mTree);
    mTree = tree;
    mTreeLeaves = leaves;
    for (uint32_t i = 0; i < mCount; ++i) {
        const BlockMapEntry& e = mEntries[i];
        if (e.fileID == 0 && e.blockIndex == 0 && !mUnsuitable[i]) mTree[leaves + i] = 1;
    }
    for (uint32_t node = leaves - 1; node >= 1; --node)
        mTree[node] = mTree[2 * node] + mTree[2 * node + 1];
    return true;
}

void BlockMap::SetCandidate(uint32_t index, bool on) {
    if (!mTree || index >= mTreeLeaves) return;
    uint32_t node = mTreeLeaves + index;
    const uint32_t value = on ? 1 : 0;
    if (mTree[node] == value) return;
    mTree[node] = value;
    for (node >>= 1; node >= 1; node >>= 1) mTree[node] = mTree[2 * node] + mTree[2 * node + 1];
}

uint32_t BlockMap::FirstReuseCandidate() const {
    if (!mTree || mTree[1] == 0) return kBlockMapNotFound;
    uint32_t node = 1;
    while (node < mTreeLeaves) {
        ++mVisits;
        node = mTree[2 * node] != 0 ? 2 * node : 2 * node + 1;
    }
    return node - mTreeLeaves;
}

void BlockMap::MarkUnsuitable(uint32_t index) {
    if (index >= mCount) return;
    mUnsuitable[index] = 1;
    SetCandidate(index, false);
}

void BlockMap::ClearUnsuitableMarks() {
    mVisits += mCount;
    for (uint32_t i = 0; i < mCount; ++i) {
        mUnsuitable[i] = 0;
        const BlockMapEntry& e = mEntries[i];
        SetCandidate(i, e.fileID == 0 && e.blockIndex == 0);
    }
}

// ----- Block start index -----

uint32_t BlockMap::LookupStart(uint32_t blockStart) const {
    if (!mStartSlots) return kBlockMapNotFound;
    const uint32_t mask = mStartSlotCount - 1;
    for (uint32_t slot = Mix(blockStart) & mask;; slot = (slot + 1) & mask) {
        const uint32_t held = mStartSlots[slot];
        ++mVisits;
        if (held == 0) return kBlockMapNotFound;
        if (mEntries[held - 1].blockStart == blockStart) return held - 1;
    }
}

bool BlockMap::IndexStart(uint32_t blockStart, uint32_t index) {
    if ((mStartUsed + 1) * 2 > mStartSlotCount) {
        const uint32_t slots = PowerOfTwoAtLeast((mStartUsed + 1) * 4, 64);
        if (slots == 0) return false;
        auto* table = static_cast<uint32_t*>(calloc(slots, sizeof(uint32_t)));
        if (!table) return false;
        for (uint32_t s = 0; s < mStartSlotCount; ++s) {
            const uint32_t held = mStartSlots[s];
            if (held == 0) continue;
            uint32_t slot = Mix(mEntries[held - 1].blockStart) & (slots - 1);
            while (table[slot] != 0) slot = (slot + 1) & (slots - 1);
            table[slot] = held;
        }
        free(mStartSlots);
        mStartSlots = table;
        mStartSlotCount = slots;
    }
    const uint32_t mask = mStartSlotCount - 1;
    uint32_t slot = Mix(blockStart) & mask;
    for (; mStartSlots[slot] != 0; slot = (slot + 1) & mask) {
        // An earlier entry for the same block keeps the slot: it is the first match.
        if (mEntries[mStartSlots[slot] - 1].blockStart == blockStart) return true;
    }
    mStartSlots[slot] = index + 1;
    ++mStartUsed;
    return true;
}

// ----- File id index -----

BlockMap::IdSlot* BlockMap::IdSlotFor(uint32_t id, bool create) {
    if (id == 0) return nullptr;
    if (mIdSlots) {
        const uint32_t mask = mIdSlotCount - 1;
        for (uint32_t slot = Mix(id) & mask; mIdSlots[slot].id != 0; slot = (slot + 1) & mask) {
            ++mVisits;
            if (mIdSlots[slot].id == id) return &mIdSlots[slot];
        }
    }
    if (!create) return nullptr;
    if ((mIdUsed + 1) * 2 > mIdSlotCount) {
        const uint32_t slots = PowerOfTwoAtLeast((mIdUsed + 1) * 4, 64);
        if (slots == 0) return nullptr;
        auto* table = static_cast<IdSlot*>(calloc(slots, sizeof(IdSlot)));
        if (!table) return nullptr;
        for (uint32_t s = 0; s < mIdSlotCount; ++s) {
            if (mIdSlots[s].id == 0) continue;
            uint32_t slot = Mix(mIdSlots[s].id) & (slots - 1);
            while (table[slot].id != 0) slot = (slot + 1) & (slots - 1);
            table[slot] = mIdSlots[s];
        }
        free(mIdSlots);
        mIdSlots = table;
        mIdSlotCount = slots;
    }
    const uint32_t mask = mIdSlotCount - 1;
    uint32_t slot = Mix(id) & mask;
    while (mIdSlots[slot].id != 0) slot = (slot + 1) & mask;
    mIdSlots[slot] = IdSlot{id, 0, 0, 0};
    ++mIdUsed;
    return &mIdSlots[slot];
}

void BlockMap::JoinKeys(uint32_t index) {
    const BlockMapEntry& e = mEntries[index];
    SetCandidate(index, e.fileID == 0 && e.blockIndex == 0 && !mUnsuitable[index]);
    if (e.fileID == 0 || e.blockIndex != 0) return;
    IdSlot* slot = IdSlotFor(e.fileID, true);
    if (!slot) {
        mIdIndexBroken = true;
        return;
    }
    if (slot->count++ == 0) {
        slot->first = index;
        slot->stale = 0;
    } else if (!slot->stale && index < slot->first) {
        slot->first = index;
    }
}

void BlockMap::LeaveKeys(uint32_t index) {
    const BlockMapEntry& e = mEntries[index];
    SetCandidate(index, false);
    if (e.fileID == 0 || e.blockIndex != 0) return;
    IdSlot* slot = IdSlotFor(e.fileID, false);
    if (!slot || slot->count == 0) return;
    if (--slot->count == 0)
        slot->stale = 0;
    else if (slot->first == index)
        slot->stale = 1;  // found again by the next lookup, not by every removal
}

void BlockMap::RebuildIndexes() {
    if (mStartSlots) memset(mStartSlots, 0, mStartSlotCount * sizeof(uint32_t));
    mStartUsed = 0;
    if (mIdSlots) memset(static_cast<void*>(mIdSlots), 0, mIdSlotCount * sizeof(IdSlot));
    mIdUsed = 0;
    if (mTree) memset(mTree, 0, static_cast<size_t>(mTreeLeaves) * 2 * sizeof(uint32_t));
    mStartIndexBroken = false;
    mIdIndexBroken = false;
    mVisits += mCount;
    for (uint32_t i = 0; i < mCount; ++i) {
        if (!IndexStart(mEntries[i].blockStart, i)) mStartIndexBroken = true;
        JoinKeys(i);
    }
}

// ----- Public operations -----

bool BlockMap::AddEntry(uint32_t id, uint32_t blockStart, uint32_t blockIndex) {
    if (mCount == 0xFFFFFFFEU || !Reserve(mCount + 1)) return false;
    const uint32_t index = mCount++;
    mEntries[index] = BlockMapEntry{blockStart, id, blockIndex};
    mUnsuitable[index] = 0;
    if (!IndexStart(blockStart, index)) mStartIndexBroken = true;
    JoinKeys(index);
    if (id == 0) ++mFreeCount;
    ++mChangeCount;
    return true;
}

uint32_t BlockMap::FindBlockStartByID(uint32_t id, uint32_t* blockStart, uint32_t fromEntry,
                                      uint32_t blockIndex) {
    uint32_t found = kBlockMapNotFound;
    uint32_t scanFrom = fromEntry;
    if (id != 0 && blockIndex == 0 && !mIdIndexBroken) {
        IdSlot* slot = IdSlotFor(id, false);
        scanFrom = mCount;  // the index answers unless it points before fromEntry
        if (slot && slot->count != 0) {
            if (slot->stale) {
                for (uint32_t i = 0; i < mCount; ++i) {
                    ++mVisits;
                    if (mEntries[i].fileID == id && mEntries[i].blockIndex == 0) {
                        slot->first = i;
                        break;
                    }
                }
                slot->stale = 0;
            }
            if (slot->first >= fromEntry)
                found = slot->first;
            else
                scanFrom = fromEntry;
        }
    }
    for (uint32_t i = scanFrom; found == kBlockMapNotFound && i < mCount; ++i) {
        ++mVisits;
        if (mEntries[i].fileID == id && mEntries[i].blockIndex == blockIndex) found = i;
    }
    if (blockStart)
        *blockStart = found == kBlockMapNotFound ? kBlockMapNotFound : mEntries[found].blockStart;
    return found;
}

uint32_t BlockMap::FindIDByBlockStart(uint32_t blockStart) const {
    uint32_t index = kBlockMapNotFound;
    if (!mStartIndexBroken) {
        index = LookupStart(blockStart);
    } else {
        for (uint32_t i = 0; i < mCount && index == kBlockMapNotFound; ++i) {
            ++mVisits;
            if (mEntries[i].blockStart == blockStart) index = i;
        }
    }
    return index == kBlockMapNotFound ? kBlockMapNotFound : mEntries[index].fileID;
}

void BlockMap::ChangeEntryByBlockStart(uint32_t blockStart, uint32_t id, uint32_t blockIndex) {
    uint32_t index = kBlockMapNotFound;
    if (!mStartIndexBroken) {
        index = LookupStart(blockStart);
    } else {
        for (uint32_t i = 0; i < mCount && index == kBlockMapNotFound; ++i) {
            ++mVisits;
            if (mEntries[i].blockStart == blockStart) index = i;
        }
    }
    if (index == kBlockMapNotFound) return;
    LeaveKeys(index);
    BlockMapEntry& e = mEntries[index];
    if (e.fileID == 0 && id != 0 && mFreeCount > 0) --mFreeCount;
    // Deliberate: freeing counts even when the entry was free already; the allocator only
    // uses the count to decide whether to look for free blocks at all.
    if (id == 0) ++mFreeCount;
    e.fileID = id;
    if (blockIndex != kBlockMapNotFound) e.blockIndex = blockIndex;
    mUnsuitable[index] = 0;
    JoinKeys(index);
    ++mChangeCount;
}

void BlockMap::ChangeEntryByID(uint32_t id, uint32_t blockStart, uint32_t blockIndex) {
    for (uint32_t i = 0; i < mCount; ++i) {
        ++mVisits;
        if (mEntries[i].fileID != id) continue;
        mEntries[i].blockStart = blockStart;
        mEntries[i].blockIndex = blockIndex;
        mUnsuitable[i] = 0;
        RebuildIndexes();
        break;
    }
    ++mChangeCount;
}

void BlockMap::RemoveEntryByBlockStart(uint32_t blockStart) {
    for (uint32_t i = 0; i < mCount; ++i) {
        ++mVisits;
        if (mEntries[i].blockStart != blockStart) continue;
        if (mEntries[i].fileID == 0 && mFreeCount > 0) --mFreeCount;
        memmove(&mEntries[i], &mEntries[i + 1], (mCount - i - 1) * sizeof(BlockMapEntry));
        memmove(&mUnsuitable[i], &mUnsuitable[i + 1], mCount - i - 1);
        --mCount;
        ShrinkIfSparse();
        RebuildIndexes();
        break;
    }
    ++mChangeCount;
}

void BlockMap::RemoveEntryByID(uint32_t id) {
    for (uint32_t i = 0; i < mCount; ++i) {
        ++mVisits;
        if (mEntries[i].fileID != id) continue;
        if (id == 0 && mFreeCount > 0) --mFreeCount;
        memmove(&mEntries[i], &mEntries[i + 1], (mCount - i - 1) * sizeof(BlockMapEntry));
        memmove(&mUnsuitable[i], &mUnsuitable[i + 1], mCount - i - 1);
        --mCount;
        ShrinkIfSparse();
        RebuildIndexes();
        break;
    }
    ++mChangeCount;
}

void BlockMap::ShrinkIfSparse() {
    const uint32_t keep = mGrowthStep != 0 ? mGrowthStep : mCount;
    const uint32_t spare = mCapacity - mCount;
    if (spare <= 2 * static_cast<uint64_t>(keep) || mCapacity <= 16) return;
    uint32_t capacity = mCount + keep;
    if (capacity < 16) capacity = 16;
    auto* entries = static_cast<BlockMapEntry*>(
        realloc(static_cast<void*>(mEntries), capacity * sizeof(BlockMapEntry)));
    if (entries) mEntries = entries;
    auto* marks = static_cast<uint8_t*>(realloc(mUnsuitable, capacity));
    if (marks) mUnsuitable = marks;
    if (entries && marks) mCapacity = capacity;  // a failed shrink keeps the bigger block
}

void BlockMap::Clear() {
    mCount = 0;
    mFreeCount = 0;
    ++mChangeCount;
    RebuildIndexes();
}

uint32_t BlockMap::WriteBlockMapToBuffer(unsigned char** buffer) const {
    *buffer = nullptr;
    const uint64_t length =
        kBlockMapHeaderSize + static_cast<uint64_t>(kBlockMapEntrySize) * mCount;
    if (length > 0x7FFFFFFFU) return 0;
    auto* out = static_cast<unsigned char*>(malloc(static_cast<size_t>(length)));
    if (!out) return 0;
    // Big-endian whatever the host, so that the saved map reads the same on every machine.
    nstorelong(out, static_cast<int32_t>(kBlockMapMagic));
    nstorelong(out + 4, static_cast<int32_t>(mCount));
    unsigned char* p = out + kBlockMapHeaderSize;
    for (uint32_t i = 0; i < mCount; ++i, p += kBlockMapEntrySize) {
        nstorelong(p, static_cast<int32_t>(mEntries[i].blockStart));
        nstorelong(p + 4, static_cast<int32_t>(mEntries[i].fileID));
        nstorelong(p + 8, static_cast<int32_t>(mEntries[i].blockIndex));
    }
    *buffer = out;
    return static_cast<uint32_t>(length);
}

bool BlockMap::ConstructBlockMapFromBuffer(const unsigned char* buffer, uint32_t length) {
    if (!buffer || length < kBlockMapHeaderSize) return false;
    if (static_cast<uint32_t>(nloadlong(buffer)) != kBlockMapMagic) return false;
    const uint32_t count = static_cast<uint32_t>(nloadlong(buffer + 4));
    // The count is believed only as far as the buffer holds it: a larger one is damage,
    // and the volume then rebuilds the map from the blocks themselves.
    if (count > (length - kBlockMapHeaderSize) / kBlockMapEntrySize) return false;
    if (!Reserve(mCount + count)) return false;
    const unsigned char* p = buffer + kBlockMapHeaderSize;
    for (uint32_t i = 0; i < count; ++i, p += kBlockMapEntrySize) {
        if (!AddEntry(static_cast<uint32_t>(nloadlong(p + 4)), static_cast<uint32_t>(nloadlong(p)),
                      static_cast<uint32_t>(nloadlong(p + 8))))
            return false;
    }
    mChangeCount = 0;
    return true;
}
