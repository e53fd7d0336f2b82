// BlockMap.h - the in-memory list of a virtual volume's blocks: which file owns which block.
//
// The map is an ordered list of entries {blockStart, fileID, blockIndex}; its order is
// observable (the first match in map order wins, free blocks are reused in map order), so
// lookups behave exactly like a front-to-back scan. Side indexes keep them cheap: block
// start -> first entry, file id -> first entry holding the file's block 0, and an ordered
// set of free entries that are candidates for reuse, so that writing, opening or deleting
// an N-block file costs O(N log N) rather than O(N^2).
// Not here: any stream access. The volume (VFSVolume.h) reads and writes the blocks.
//
// Saved form (WriteBlockMapToBuffer / ConstructBlockMapFromBuffer), every field big-endian:
//
//   OFFSET    SIZE  FIELD        MEANING
//   0         4     magic        0x424D6170 "BMap"
//   4         4     count        number of entries that follow
//   8 + 12i   4     blockStart   stream offset of entry i's block
//   12 + 12i  4     fileID       owning file; 0 = free block
//   16 + 12i  4     blockIndex   position of the block in its file's chain
#ifndef ZYNE_VIRTUALVOLUME_BLOCK_MAP_H
#define ZYNE_VIRTUALVOLUME_BLOCK_MAP_H

#include <cassert>
#include <cstdint>

/// The saved map's magic, "BMap".
inline constexpr uint32_t kBlockMapMagic = 0x424D6170;
/// "Not found" for entry indexes and block starts.
inline constexpr uint32_t kBlockMapNotFound = 0xFFFFFFFF;
/// Bytes of the saved map before its entries, and bytes per entry.
inline constexpr uint32_t kBlockMapHeaderSize = 8;
inline constexpr uint32_t kBlockMapEntrySize = 12;

/// One block of the volume.
struct BlockMapEntry {
    uint32_t blockStart;  // stream offset of the block
    uint32_t fileID;      // owning file; 0 = free
    uint32_t blockIndex;  // position in the owning file's chain
};

class BlockMap {
public:
    /// An empty map growing by `growthStep` entries (0: by its capacity, at least 16).
    explicit BlockMap(uint32_t growthStep = 0);
    ~BlockMap();

    BlockMap(const BlockMap&) = delete;
    BlockMap& operator=(const BlockMap&) = delete;

    /// Appends an entry; freeCount + 1 when id is 0. False (nothing changed) when memory
    /// ran out.
    bool AddEntry(uint32_t id, uint32_t blockStart, uint32_t blockIndex);

    /// The index of the first entry at or after `fromEntry` with this id and block index,
    /// storing its block start in *blockStart; kBlockMapNotFound (stored there too) when
    /// there is none.
    uint32_t FindBlockStartByID(uint32_t id, uint32_t* blockStart, uint32_t fromEntry,
                                uint32_t blockIndex);
    /// The id of the first entry for the block at `blockStart`; kBlockMapNotFound if none.
    uint32_t FindIDByBlockStart(uint32_t blockStart) const;

    /// Gives the first entry at `blockStart` the id `id` and, unless blockIndex is
    /// 0xFFFFFFFF, that block index. Nothing at all (no count) when there is no such entry.
    void ChangeEntryByBlockStart(uint32_t blockStart, uint32_t id, uint32_t blockIndex);
    /// Sets block start and index of the first entry with this id; changeCount + 1 even
    /// when there is none.
    void ChangeEntryByID(uint32_t id, uint32_t blockStart, uint32_t blockIndex);
    /// Deletes the first entry at `blockStart`, closing the gap; changeCount + 1.
    void RemoveEntryByBlockStart(uint32_t blockStart);
    /// Deletes the first entry with this id, closing the gap; changeCount + 1.
    void RemoveEntryByID(uint32_t id);

    /// Allocates (malloc) and fills the saved form; returns its length and leaves the
    /// buffer, which the caller frees, in *buffer. 0 and a null buffer when memory ran out.
    uint32_t WriteBlockMapToBuffer(unsigned char** buffer) const;
    /// Adds every entry of a saved map and sets changeCount to 0. False for a null buffer,
    /// a zero length, a wrong magic, or a count the buffer cannot hold (damaged input).
    bool ConstructBlockMapFromBuffer(const unsigned char* buffer, uint32_t length);
    /// Forgets every entry (counts to 0); the memory is kept for reuse.
    void Clear();
    /// Always true: there is nothing the map can check on its own.
    bool CheckIntegrity() const { return true; }

    // ----- Reuse candidates, for the volume's allocator -----

    /// The first entry, in map order, that is free with block index 0 and not marked
    /// unsuitable; kBlockMapNotFound when there is none. O(log n).
    uint32_t FirstReuseCandidate() const;
    /// Skips entry `index` in FirstReuseCandidate until the entry changes or the marks are
    /// cleared (its block's size is outside the reuse window).
    void MarkUnsuitable(uint32_t index);
    /// Makes every free entry a candidate again (the reuse window changed).
    void ClearUnsuitableMarks();

    uint32_t Count() const { return mCount; }
    /// The entry at `index`, which must be below Count().
    const BlockMapEntry& EntryAt(uint32_t index) const {
        assert(index < mCount && "BlockMap entry index out of range");
        return mEntries[index];
    }
    /// Entries with fileID 0, as counted by the rules above (it may drift on odd input).
    uint32_t FreeCount() const { return mFreeCount; }
    /// Incremented by every change; 0 after ConstructBlockMapFromBuffer.
    uint32_t ChangeCount() const { return mChangeCount; }
    /// Entries examined and hash slots probed so far: a cost measure, so that tests can
    /// check that work grows with the number of blocks and not with its square.
    uint64_t VisitCount() const { return mVisits; }

private:
    struct IdSlot {      // per file id: the entries holding the file's block 0
        uint32_t id;     // 0 = empty slot
        uint32_t count;  // entries with (id, blockIndex 0)
        uint32_t first;  // smallest such entry index, unless `stale`
        uint32_t stale;  // 1: `first` must be found again by a scan
    };

    bool Reserve(uint32_t needed);
    void ShrinkIfSparse();
    void RebuildIndexes();
    bool IndexStart(uint32_t blockStart, uint32_t index);
    uint32_t LookupStart(uint32_t blockStart) const;
    IdSlot* IdSlotFor(uint32_t id, bool create);
    void JoinKeys(uint32_t index);
    void LeaveKeys(uint32_t index);
    void SetCandidate(uint32_t index, bool on);
    bool GrowTree(uint32_t needed);

    BlockMapEntry* mEntries = nullptr;  // mCount entries in map order; mCapacity slots
    uint8_t* mUnsuitable = nullptr;     // per entry: 1 = skipped as a reuse candidate
    uint32_t mCount = 0;                // invariant mCount <= mCapacity
    uint32_t mCapacity = 0;
    uint32_t mGrowthStep;
    uint32_t mFreeCount = 0;
    uint32_t mChangeCount = 0;

    uint32_t* mStartSlots = nullptr;  // open addressing: entry index + 1, 0 = empty
    uint32_t mStartSlotCount = 0;     // power of two, above twice the distinct starts
    uint32_t mStartUsed = 0;
    IdSlot* mIdSlots = nullptr;  // open addressing by id; never shrinks
    uint32_t mIdSlotCount = 0;
    uint32_t mIdUsed = 0;
    uint32_t* mTree = nullptr;       // counts of candidates: node i covers 2i and 2i + 1
    uint32_t mTreeLeaves = 0;        // power of two >= mCapacity
    bool mStartIndexBroken = false;  // memory ran out: look block starts up by scanning
    bool mIdIndexBroken = false;     // memory ran out: look file ids up by scanning
    mutable uint64_t mVisits = 0;    // see VisitCount
};

#endif  // ZYNE_VIRTUALVOLUME_BLOCK_MAP_H
