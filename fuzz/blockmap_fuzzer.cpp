// blockmap_fuzzer.cpp - the saved block map reader, and the map it builds.
//
// A map read from the input must save back to exactly the bytes it was read from (the
// header and the entries the count names), and its lookups must agree with its entries.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "virtualvolume/BlockMap.h"

namespace {

uint32_t LoadBig32(const unsigned char* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size != static_cast<uint32_t>(size)) return 0;  // the map takes 32-bit lengths
    BlockMap map;
    if (!map.ConstructBlockMapFromBuffer(data, static_cast<uint32_t>(size))) return 0;
    if (size < kBlockMapHeaderSize || LoadBig32(data) != kBlockMapMagic) abort();
    if (map.Count() != LoadBig32(data + 4) || map.ChangeCount() != 0) abort();

    unsigned char* saved = nullptr;
    const uint32_t length = map.WriteBlockMapToBuffer(&saved);
    const uint32_t expected = kBlockMapHeaderSize + map.Count() * kBlockMapEntrySize;
    if (saved != nullptr && (length != expected || memcmp(saved, data, length) != 0)) abort();
    free(saved);

    // Lookups answer as a front-to-back scan would (checked on the first entries).
    const uint32_t checked = map.Count() < 256 ? map.Count() : 256;
    uint32_t freeCount = 0;
    for (uint32_t i = 0; i < map.Count() && i < 4096; ++i) {
        if (map.EntryAt(i).fileID == 0) ++freeCount;
    }
    for (uint32_t i = 0; i < checked; ++i) {
        const BlockMapEntry entry = map.EntryAt(i);
        uint32_t firstAtStart = 0;
        while (map.EntryAt(firstAtStart).blockStart != entry.blockStart) ++firstAtStart;
        if (map.FindIDByBlockStart(entry.blockStart) != map.EntryAt(firstAtStart).fileID) abort();
        uint32_t firstOfId = 0;
        while (map.EntryAt(firstOfId).fileID != entry.fileID ||
               map.EntryAt(firstOfId).blockIndex != entry.blockIndex) {
            ++firstOfId;
        }
        uint32_t start = 0;
        if (map.FindBlockStartByID(entry.fileID, &start, 0, entry.blockIndex) != firstOfId ||
            start != map.EntryAt(firstOfId).blockStart) {
            abort();
        }
    }
    if (map.Count() <= 4096 && freeCount != map.FreeCount()) abort();
    const uint32_t candidate = map.FirstReuseCandidate();
    if (candidate != kBlockMapNotFound &&
        (candidate >= map.Count() || map.EntryAt(candidate).fileID != 0 ||
         map.EntryAt(candidate).blockIndex != 0)) {
        abort();
    }

    // A few edits driven by the first entries, as the volume makes them.
    if (map.Count() > 0) {
        const BlockMapEntry first = map.EntryAt(0);
        map.MarkUnsuitable(0);
        (void)map.FirstReuseCandidate();
        map.ChangeEntryByBlockStart(first.blockStart, first.fileID + 1, 0);
        map.RemoveEntryByID(first.fileID + 1);
        map.ClearUnsuitableMarks();
        (void)map.AddEntry(0, first.blockStart, 0);
        (void)map.FirstReuseCandidate();
    }
    return 0;
}
