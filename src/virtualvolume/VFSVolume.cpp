// VFSVolume.cpp - creating and opening volumes, block chains, allocation and the saved map.
//
// Positions and sizes are doubles, as the format has them; before any of them becomes an
// offset it is checked to be a whole number inside the stream. A walk along a chain stops
// after as many hops as the stream could hold blocks, which bounds looping chains.
#include "virtualvolume/VFSVolume.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "streams/Endian.h"

namespace {

constexpr uint32_t kMaxOpenSlots = 32766;
constexpr int kMaxMapSaves = 100;
constexpr double kMaxOffset = 4294967295.0;  // block starts are 32-bit in the map
constexpr double kMaxChunk = 1073741824.0;   // bytes handed to the stream in one call

bool IsWhole(double v) {
    return std::isfinite(v) && v >= 0.0 && v == std::floor(v);
}

}  // namespace

VFSVolume::VFSVolume() {
    Initialize();
}

void VFSVolume::Initialize() {
    mCounterOffset = -1.0;
    mMinReuseSize = 256.0;
    mNewBlockSize = 1024.0;
    mMaxReuseSize = 16384.0;
    mZeroFill = 1;
    mVersion = kVolumeVersion;
}

VFSVolume* VFSVolume::Create(RandomAccessMechanism* stream, unsigned char ownsStream) {
    if (!stream) return nullptr;
    stream->SetLength(0);
    auto* volume = new (std::nothrow) VFSVolume();
    if (!volume) return nullptr;
    // Doubles follow the integers' byte order in a version 3 volume; opening one sets the
    // same switch, so a volume reads back the way it was written.
    stream->SetSwapDoubles(true);
    bool ok = stream->SeekFromStart(0);
    ok = stream->WriteLong(static_cast<int>(kVolumeMagic)) && ok;
    ok = stream->WriteLong(kVolumeVersion) && ok;
    volume->mStream = stream;
    volume->mValid = 1;
    volume->mOwnsStream = ownsStream;
    ok = volume->WriteHeader(VFSBlockHeader{kBlockStartMagic, kVolumeInfoFileID, 0, 40.0, 0.0}) &&
         ok;
    volume->mCounterOffset = static_cast<double>(stream->GetPosition());
    ok = stream->WriteLong(static_cast<int>(kFirstUserFileID)) && ok;
    ok = stream->WriteLong(0) && ok;  // no map saved yet
    ok = stream->WriteLong(static_cast<int>(kBlockEndMagic)) && ok;
    volume->mValid = ok ? 1 : 0;
    return volume;
}

VFSVolume::VFSVolume(RandomAccessMechanism* stream, unsigned char ownsStream)
    : mStream(stream), mOwnsStream(ownsStream) {
    Initialize();
    OpenExisting();
}

void VFSVolume::OpenExisting() {
    if (!mStream) return;
    int magic = 0;
    int version = 0;
    bool accepted = mStream->SeekFromStart(0) && mStream->ReadLong(magic) &&
                    static_cast<uint32_t>(magic) == kVolumeMagic && mStream->ReadLong(version) &&
                    version <= kVolumeVersion;  // Deliberate: signed, so 0 and below pass
    if (!accepted) {
        if (mOwnsStream) {
            delete mStream;
            mStream = nullptr;
        }
        return;
    }
    // Version 1 wrote block-header doubles little-endian on a big-endian stream.
    mStream->SetSwapDoubles(version != 1);
    mVersion = version;
    mValid = 1;

    VFSBlockHeader first{};
    if (!SeekTo(kFirstBlockOffset) || !ReadHeader(&first) || first.magic != kBlockStartMagic ||
        first.fileID != kVolumeInfoFileID || !(first.blockSize >= 36.0) ||
        !HeaderFits(first, kFirstBlockOffset)) {
        mValid = 0;
        return;
    }
    mCounterOffset = static_cast<double>(mStream->GetPosition());

    bool loaded = false;
    const short info = OpenFile(kVolumeInfoFileID);
    if (info >= 0) {
        unsigned char lengthBytes[4];
        double got = 4.0;
        uint32_t length = 0;
        if (SetFilePosition(info, 4.0) && ReadFileData(info, &got, lengthBytes) && got == 4.0)
            length = static_cast<uint32_t>(nloadlong(lengthBytes));  // big-endian always
        // A map can't be longer than the stream that holds it.
        if (length != 0 && length <= mStream->GetLength()) {
            auto* buffer = static_cast<unsigned char*>(malloc(length));
            double wanted = length;
            if (buffer && ReadFileData(info, &wanted, buffer) && wanted == length)
                loaded = mMap.ConstructBlockMapFromBuffer(buffer, length) && MapFitsStream();
            free(buffer);
        }
        CloseFile(info);
    }
    if (!loaded) {
        RebuildBlockMapFromScratch();
        UpdateBlockMap();
    }
    // No "valid block map of size ..." diagnostic is composed: the library writes no log.
}

bool VFSVolume::MapFitsStream() {
    const double length = static_cast<double>(mStream->GetLength());
    for (uint32_t i = 0; i < mMap.Count(); ++i) {
        const double start = mMap.EntryAt(i).blockStart;
        if (start < kFirstBlockOffset || start + kBlockOverhead > length) return false;
    }
    return true;
}

VFSVolume::~VFSVolume() {
    if (mValid) UpdateBlockMap();
    if (mStream) {
        mStream->Close();
        if (mOwnsStream) delete mStream;
    }
    for (long i = 0; i < mFiles.Count(); ++i) delete mFiles[i];
}

void VFSVolume::SetBlockSizePrefs(double minReuse, double newSize, double maxReuse) {
    mMinReuseSize = minReuse;
    mMaxReuseSize = maxReuse;
    // A block must have room for data, or extending a chain would never end.
    if (IsWhole(newSize) && newSize > kBlockOverhead && newSize <= kMaxOffset)
        mNewBlockSize = newSize;
    mMap.ClearUnsuitableMarks();  // the window moved: every free block may fit again
}

// ----- Stream helpers -----

bool VFSVolume::SeekTo(double offset) {
    // Beyond the 32-bit offsets blocks have, a whole number may not even convert.
    if (!IsWhole(offset) || offset > kMaxOffset) return false;
    return mStream->SeekFromStart(static_cast<unsigned long long>(offset));
}

bool VFSVolume::HeaderFits(const VFSBlockHeader& header, double blockStart) {
    const double length = static_cast<double>(mStream->GetLength());
    if (!IsWhole(blockStart) || blockStart < kFirstBlockOffset) return false;
    if (!IsWhole(header.blockSize) || header.blockSize < kBlockOverhead) return false;
    if (blockStart + header.blockSize > length) return false;
    if (header.nextBlock > 0.0) {
        if (!IsWhole(header.nextBlock) || header.nextBlock < kFirstBlockOffset ||
            header.nextBlock + kBlockOverhead > length)
            return false;
    } else if (std::isnan(header.nextBlock)) {
        return false;
    }
    return true;
}

double VFSVolume::HopLimit() {
    return static_cast<double>(mStream->GetLength()) / kBlockOverhead + 2.0;
}

bool VFSVolume::ReadHeader(VFSBlockHeader* header) {
    if (!mValid || !mStream) return false;
    int magic = 0;
    int id = 0;
    int index = 0;
    bool ok = mStream->ReadLong(magic) && mStream->ReadLong(id) && mStream->ReadLong(index);
    double size = 0.0;
    double next = 0.0;
    ok = ok && mStream->ReadDouble(size) && mStream->ReadDouble(next);
    if (!ok) return false;
    *header = VFSBlockHeader{static_cast<uint32_t>(magic), static_cast<uint32_t>(id),
                             static_cast<uint32_t>(index), size, next};
    return true;
}

bool VFSVolume::WriteHeader(const VFSBlockHeader& header) {
    if (!mValid || !mStream) return false;
    return mStream->WriteLong(static_cast<int>(header.magic)) &&
           mStream->WriteLong(static_cast<int>(header.fileID)) &&
           mStream->WriteLong(static_cast<int>(header.blockIndex)) &&
           mStream->WriteDouble(header.blockSize) && mStream->WriteDouble(header.nextBlock);
}

bool VFSVolume::ReadHeader(VFSFileRef* ref) {
    VFSBlockHeader header{};
    if (!SeekTo(ref->blockStart) || !ReadHeader(&header)) return false;
    const uint32_t expected = ref->header.fileID;
    ref->header = header;
    if (header.fileID != expected || !HeaderFits(header, ref->blockStart)) {
        ref->header.fileID = 0;
        return false;
    }
    return true;
}

VFSFileRef* VFSVolume::Ref(short file) const {
    if (file < 0 || file >= mFiles.Count()) return nullptr;
    return mFiles[file];
}

// ----- The map -----

void VFSVolume::RebuildBlockMapFromScratch() {
    mMap.Clear();
    if (!mValid) return;
    double offset = kFirstBlockOffset;
    VFSBlockHeader header{};
    while (SeekTo(offset) && ReadHeader(&header)) {
        // A header that is not a block, or claims more than the stream holds, ends the walk:
        // what lies beyond it can't be found.
        if (header.magic != kBlockStartMagic || !IsWhole(header.blockSize) ||
            header.blockSize < kBlockOverhead ||
            offset + header.blockSize > static_cast<double>(mStream->GetLength()))
            break;
        // Deliberate: every block is listed with block index 0, whatever its header says;
        // a file's first block is then the first of its blocks in stream order.
        if (!mMap.AddEntry(header.fileID, static_cast<uint32_t>(offset), 0)) break;
        offset += header.blockSize;
        if (offset > kMaxOffset) break;
    }
}

bool VFSVolume::UpdateBlockMap() {
    if (!mValid) return false;
    for (int attempt = 0; attempt < kMaxMapSaves; ++attempt) {
        const uint32_t changes = mMap.ChangeCount();
        unsigned char* buffer = nullptr;
        const uint32_t length = mMap.WriteBlockMapToBuffer(&buffer);
        if (!buffer) return false;
        const short info = OpenFile(kVolumeInfoFileID);
        bool ok = info >= 0 && SetFilePosition(info, 4.0);
        unsigned char lengthBytes[4];
        // The length is big-endian whatever the stream's setting, like the map it counts.
        // It is zeroed first and written last: a save cut short leaves "no saved map", which
        // the next opening rebuilds from the blocks, never half an old map and half a new
        // one under a length that believes them.
        static const unsigned char kNoMap[4] = {};
        nstorelong(lengthBytes, static_cast<int32_t>(length));
        ok = ok && WriteFileData(info, kNoMap, 4.0) && WriteFileData(info, buffer, length) &&
             SetFilePosition(info, 4.0) && WriteFileData(info, lengthBytes, 4.0);
        CloseFile(info);
        free(buffer);
        if (!ok) return false;
        // Saving may have extended file 1 and so changed the map: save again until stable.
        if (mMap.ChangeCount() == changes) return true;
    }
    return false;
}

void VFSVolume::FlushToDisk() {
    if (!mValid) return;
    UpdateBlockMap();
    mStream->FlushToDisk();
}

// ----- Finding and allocating blocks -----

bool VFSVolume::FindFileFirstBlock(uint32_t id, VFSBlockHeader* header, double* blockStart) {
    if (!mValid) return false;
    VFSBlockHeader h{};
    if (id == kVolumeInfoFileID) {
        double offset = kFirstBlockOffset;
        // Deliberate: when even the first header can't be read, the call reports success
        // and fills in nothing.
        if (!SeekTo(offset) || !ReadHeader(&h)) return true;
        const double limit = HopLimit();
        for (double hops = 0; !(h.fileID == kVolumeInfoFileID && h.blockIndex == 0); ++hops) {
            if (!IsWhole(h.blockSize) || h.blockSize < kBlockOverhead || hops > limit) return false;
            offset += h.blockSize;
            if (!SeekTo(offset) || !ReadHeader(&h)) return false;
        }
        if (!HeaderFits(h, offset)) return false;
        *header = h;
        *blockStart = offset;
        return true;
    }
    uint32_t start = 0;
    if (mMap.FindBlockStartByID(id, &start, 0, 0) == kBlockMapNotFound) return false;
    // A block the map gives to this file but whose header names another is damage.
    if (!SeekTo(start) || !ReadHeader(&h) || h.magic != kBlockStartMagic || h.fileID != id ||
        !HeaderFits(h, start))
        return false;
    *header = h;
    *blockStart = start;
    return true;
}

double VFSVolume::FindOrAllocateBlock(double* blockSize) {
    *blockSize = 0.0;
    if (!mValid) return -1.0;
    if (mMap.FreeCount() != 0) {
        for (uint32_t index = mMap.FirstReuseCandidate(); index != kBlockMapNotFound;
             index = mMap.FirstReuseCandidate()) {
            const double start = mMap.EntryAt(index).blockStart;
            VFSBlockHeader h{};
            if (!SeekTo(start) || !ReadHeader(&h)) return -1.0;
            // Only a sound, free block is handed out, however the map came to list it.
            if (h.blockSize >= mMinReuseSize && h.blockSize <= mMaxReuseSize &&
                h.magic == kBlockStartMagic && h.fileID == 0 && HeaderFits(h, start)) {
                *blockSize = h.blockSize;
                return start;
            }
            mMap.MarkUnsuitable(index);  // its size never changes; don't read it again
        }
    }
    const unsigned long long streamLength = mStream->GetLength();
    const double start = static_cast<double>(streamLength);
    if (start < kFirstBlockOffset || start + mNewBlockSize > kMaxOffset) return -1.0;
    const double size = mNewBlockSize;
    // Blocks lie back to back: an append that fails part-way is cut off again, or the
    // next block would start inside it. The block is listed only once it is whole.
    bool ok = SeekTo(start) && WriteHeader(VFSBlockHeader{kBlockStartMagic, 0, 0, size, 0.0}) &&
              mStream->SetLength(static_cast<unsigned long long>(start + size));
    if (ok && mZeroFill) {
        static const unsigned char kZeros[4096] = {};
        for (double left = size - kBlockOverhead; ok && left > 0;) {
            const double chunk = left < sizeof(kZeros) ? left : sizeof(kZeros);
            ok = mStream->WriteData(kZeros, static_cast<unsigned int>(chunk));
            left -= chunk;
        }
    }
    ok = ok && SeekTo(start + size - 4) && mStream->WriteLong(static_cast<int>(kBlockEndMagic)) &&
         mMap.AddEntry(0, static_cast<uint32_t>(start), 0);
    if (!ok) {
        mStream->SetLength(streamLength);
        return -1.0;
    }
    *blockSize = size;
    return start;
}

void VFSVolume::ReleaseBlock(double start) {
    if (SeekTo(start + 4.0)) mStream->WriteLong(0);
    mMap.ChangeEntryByBlockStart(static_cast<uint32_t>(start), 0, 0);
}

// ----- Files -----

uint32_t VFSVolume::CreateFile() {
    if (!mValid) return 0;
    ++mChangeCount;
    int counter = 0;
    if (!SeekTo(mCounterOffset) || !mStream->ReadLong(counter)) return 0;
    const auto id = static_cast<uint32_t>(counter);
    // A counter below 2 or at an id in use is damage: handing it out would alias files.
    uint32_t unused = 0;
    if (id < kFirstUserFileID || id == 0xFFFFFFFFU ||
        mMap.FindBlockStartByID(id, &unused, 0, 0) != kBlockMapNotFound)
        return 0;
    if (!SeekTo(mCounterOffset) || !mStream->WriteLong(static_cast<int>(id + 1))) return 0;
    double size = 0.0;
    const double start = FindOrAllocateBlock(&size);
    if (start < 0.0) return 0;
    if (!SeekTo(start) || !WriteHeader(VFSBlockHeader{kBlockStartMagic, id, 0, size, 0.0})) {
        ReleaseBlock(start);  // the id may have reached the disk before the failure
        return 0;
    }
    mMap.ChangeEntryByBlockStart(static_cast<uint32_t>(start), id, 0);
    return id;
}

short VFSVolume::OpenFile(uint32_t id) {
    // Id 0 marks free blocks: there is no file 0 to open.
    if (!mValid || id == 0 || mFiles.Count() > static_cast<long>(kMaxOpenSlots)) return -1;
    // Deliberate: file 1 found without a readable first header still opens, as a dead ref.
    VFSBlockHeader header{};
    double start = 0.0;
    if (!FindFileFirstBlock(id, &header, &start)) return -1;
    auto* ref = new (std::nothrow) VFSFileRef{header, 0.0, start, kBlockHeaderSize, start};
    if (!ref) return -1;
    long slot = -1;
    for (long i = mFiles.Count() - 1; i >= 0 && slot < 0; --i)
        if (!mFiles[i]) slot = i;  // the highest-numbered empty slot
    if (slot < 0) {
        if (!mFiles.Append(ref)) {
            delete ref;
            return -1;
        }
        slot = mFiles.Count() - 1;
    } else {
        mFiles[slot] = ref;
    }
    return static_cast<short>(slot);
}

void VFSVolume::CloseFile(short file) {
    VFSFileRef* ref = Ref(file);
    if (!ref) return;
    delete ref;
    mFiles[file] = nullptr;
}

bool VFSVolume::DeleteFile(uint32_t id) {
    if (!mValid || id < kFirstUserFileID) return false;
    ++mChangeCount;
    for (long i = 0; i < mFiles.Count(); ++i)
        if (mFiles[i] && mFiles[i]->header.fileID == id) return false;
    VFSBlockHeader h{};
    double start = 0.0;
    if (!FindFileFirstBlock(id, &h, &start)) return false;
    const double limit = HopLimit();
    // A chain that loops comes back to a block already freed, whose id no longer matches.
    for (double hops = 0; h.magic == kBlockStartMagic && h.fileID == id && hops <= limit; ++hops) {
        // The map frees only what the disk freed. A first block that stays the file's
        // leaves the file whole (and the call failed); a later one is lost to the file
        // either way, but is not handed out while its header still names it.
        const bool freed = SeekTo(start + 4) && mStream->WriteLong(0);
        if (!freed && hops == 0) return false;
        if (freed) mMap.ChangeEntryByBlockStart(static_cast<uint32_t>(start), 0, 0);
        if (!(h.nextBlock > 0.0)) return true;
        start = h.nextBlock;
        if (!SeekTo(start) || !ReadHeader(&h) || !HeaderFits(h, start)) return true;
    }
    return true;
}

double VFSVolume::GetFilePosition(short file) const {
    const VFSFileRef* ref = Ref(file);
    return ref ? ref->position : -1.0;
}

bool VFSVolume::ReadFileData(short file, double* count, void* buffer) {
    if (!mValid) return false;
    if (!(*count > 0.0)) return true;
    VFSFileRef* ref = Ref(file);
    if (!ref) return false;
    double wanted = *count;
    *count = 0.0;
    if (ref->header.fileID == 0) return false;
    auto* out = static_cast<unsigned char*>(buffer);
    const double limit = HopLimit();
    double idleHops = 0;
    for (;;) {
        const double available = ref->header.blockSize - ref->blockOffset - 4.0;
        if (available > 0.0) {
            double chunk = wanted < available ? wanted : available;
            if (chunk > kMaxChunk) chunk = kMaxChunk;
            int got = 0;
            if (!SeekTo(ref->blockStart + ref->blockOffset) ||
                !mStream->ReadData(out, static_cast<unsigned int>(chunk), &got) || got < 0)
                return false;
            out += got;
            *count += got;
            ref->blockOffset += got;
            ref->position += got;
            wanted -= got;
            if (!(wanted > 0.0)) return true;
            if (got < chunk) return false;  // the stream ended inside the block
            idleHops = 0;
        } else if (++idleHops > limit) {
            return false;  // a loop of blocks without data
        }
        if (!(ref->header.nextBlock > 0.0)) return false;
        ref->blockStart = ref->header.nextBlock;
        ref->blockOffset = kBlockHeaderSize;
        if (!ReadHeader(ref)) return false;
    }
}

bool VFSVolume::WriteFileData(short file, const void* buffer, double count) {
    if (!mValid) return false;
    ++mChangeCount;
    VFSFileRef* ref = Ref(file);
    if (!ref || ref->header.fileID == 0) return false;
    const auto* in = static_cast<const unsigned char*>(buffer);
    double remaining = count;
    double idleHops = 0;
    while (remaining > 0.0) {
        const double available = ref->header.blockSize - ref->blockOffset - 4.0;
        if (available > 0.0) {
            double chunk = remaining < available ? remaining : available;
            if (chunk > kMaxChunk) chunk = kMaxChunk;
            if (!SeekTo(ref->blockStart + ref->blockOffset) ||
                !mStream->WriteData(in, static_cast<unsigned int>(chunk)))
                return false;
            in += static_cast<size_t>(chunk);
            ref->blockOffset += chunk;
            ref->position += chunk;
            remaining -= chunk;
            if (!(remaining > 0.0)) return true;
            idleHops = 0;
        } else if (++idleHops > HopLimit()) {
            return false;  // a loop of blocks without data
        }
        if (!(ref->header.nextBlock > 0.0)) {
            double size = 0.0;
            const double next = FindOrAllocateBlock(&size);
            const uint32_t index = ref->header.blockIndex + 1;
            // Deliberate: the map is told before the result is checked (a failed
            // allocation matches no entry, so nothing changes then).
            mMap.ChangeEntryByBlockStart(
                next < 0.0 ? kBlockMapNotFound : static_cast<uint32_t>(next), ref->header.fileID,
                index);
            if (next < 0.0) return false;
            // The new block is claimed before the chain points at it, so that a failure in
            // between leaves at worst a block of this file on no chain, never a chain that
            // runs into a free block; what was done is undone as far as the stream lets.
            if (!SeekTo(next) || !WriteHeader(VFSBlockHeader{kBlockStartMagic, ref->header.fileID,
                                                             index, size, 0.0})) {
                ReleaseBlock(next);
                return false;
            }
            ref->header.nextBlock = next;
            if (!SeekTo(ref->blockStart) || !WriteHeader(ref->header)) {
                ref->header.nextBlock = 0.0;
                if (SeekTo(ref->blockStart)) WriteHeader(ref->header);
                ReleaseBlock(next);
                return false;
            }
        }
        ref->blockStart = ref->header.nextBlock;
        ref->blockOffset = kBlockHeaderSize;
        if (!ReadHeader(ref)) return false;
    }
    return true;
}

bool VFSVolume::SetFilePosition(short file, double p) {
    if (!mValid) return false;
    VFSFileRef* ref = Ref(file);
    if (!ref || ref->header.fileID == 0) return false;
    if (p == ref->position) return true;
    if (!(p >= 0.0)) return false;
    const double dataStart = ref->position - ref->blockOffset + kBlockHeaderSize;
    double end = ref->position + ref->header.blockSize - ref->blockOffset - 4.0;
    if (p >= dataStart && p < end) {
        ref->blockOffset += p - ref->position;
        ref->position = p;
        return true;
    }
    if (p < dataStart) {
        ref->blockStart = ref->firstBlock;
        ref->blockOffset = kBlockHeaderSize;
        ref->position = 0.0;
        if (!ReadHeader(ref)) return false;
        if (p == 0.0) return true;
        end = ref->header.blockSize - kBlockOverhead;
        if (p < end) {
            ref->blockOffset = kBlockHeaderSize + p;
            ref->position = p;
            return true;
        }
    }
    const double limit = HopLimit();
    for (double hops = 0; ref->header.nextBlock > 0.0; ++hops) {
        if (hops > limit) return false;  // a chain that loops
        ref->position = end;
        ref->blockStart = ref->header.nextBlock;
        ref->blockOffset = kBlockHeaderSize;
        if (!ReadHeader(ref)) return false;
        end = ref->position + ref->header.blockSize - kBlockOverhead;
        if (p < end) {
            ref->blockOffset = kBlockHeaderSize + (p - ref->position);
            ref->position = p;
            return true;
        }
    }
    if (p == end) {  // resting at the very end of the last block's data
        ref->blockOffset = ref->header.blockSize - 4.0;
        ref->position = p;
        return true;
    }
    return false;
}

// ----- Typed values -----
// Volumes of version 3 store them big-endian; older ones stored the host's (x86) order.

bool VFSVolume::WriteRaw(short file, const unsigned char* bytes, int size) {
    unsigned char ordered[8];
    for (int i = 0; i < size; ++i) ordered[i] = mVersion > 2 ? bytes[i] : bytes[size - 1 - i];
    return WriteFileData(file, ordered, size);
}

bool VFSVolume::ReadRaw(short file, unsigned char* bytes, int size) {
    unsigned char ordered[8];
    double got = size;
    if (!ReadFileData(file, &got, ordered) || got != size) return false;
    for (int i = 0; i < size; ++i) bytes[i] = mVersion > 2 ? ordered[i] : ordered[size - 1 - i];
    return true;
}

bool VFSVolume::ReadFileShort(short file, int16_t* value) {
    unsigned char b[2];
    if (!ReadRaw(file, b, 2)) return false;
    *value = nloadshort(b);
    return true;
}

bool VFSVolume::ReadFileLong(short file, int32_t* value) {
    unsigned char b[4];
    if (!ReadRaw(file, b, 4)) return false;
    *value = nloadlong(b);
    return true;
}

bool VFSVolume::ReadFileDouble(short file, double* value) {
    unsigned char b[8];
    if (!ReadRaw(file, b, 8)) return false;
    uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits = (bits << 8) | b[i];
    memcpy(value, &bits, 8);
    return true;
}

bool VFSVolume::WriteFileShort(short file, int16_t value) {
    unsigned char b[2];
    nstoreshort(b, value);
    return WriteRaw(file, b, 2);
}

bool VFSVolume::WriteFileLong(short file, int32_t value) {
    unsigned char b[4];
    nstorelong(b, value);
    return WriteRaw(file, b, 4);
}

bool VFSVolume::WriteFileDouble(short file, double value) {
    uint64_t bits = 0;
    memcpy(&bits, &value, 8);
    unsigned char b[8];
    for (int i = 7; i >= 0; --i, bits >>= 8) b[i] = static_cast<unsigned char>(bits);
    return WriteRaw(file, b, 8);
}
