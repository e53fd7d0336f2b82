// VFSVolume.h - the block layer of a virtual volume: numbered files as chains of blocks.
//
// A volume is a file system inside one byte stream. This layer stores a flat set of
// numbered files, each a chain of variable-sized blocks, and keeps a BlockMap of which
// block belongs to which file; the map is saved inside file 1. Files have no length here:
// reading runs to the end of the chain's data, and the directory layer (VHFSVolume.h)
// keeps the logical length. Every block header is checked against the stream before it is
// followed, and every walk is bounded by the stream's size, so damaged volumes fail instead
// of crashing or hanging.
// Not here: names, directories, shrinking the stream or freeing map entries.
//
// Format. Integers are 32-bit and doubles IEEE 754 binary64, in the stream's byte order:
// big-endian, with doubles swapped too, as the loader sets it (in a version 1 volume the
// doubles of block headers are little-endian). Offsets are from the start of the stream.
//
//   OFFSET          SIZE            FIELD        MEANING
//   0               4               magic        0x56465376 "VFSv"
//   4               4               version      3 when created; 1 to 3 read
//   8               ...             blocks       back to back to the end of the stream
//
// A block of blockSize bytes (at least 32):
//
//   OFFSET          SIZE            FIELD        MEANING
//   0               4               magic        0x426C6B53 "BlkS"
//   4               4               fileID       owning file; 0 = free block
//   8               4               blockIndex   place in the file's chain, 0 = first
//   12              8               blockSize    double: whole block, header and trailer
//   20              8               nextBlock    double: stream offset of the next block;
//                                                0 = last block of the chain
//   28              blockSize - 32  data         the file's bytes
//   blockSize - 4   4               trailer      0x426C6B45 "BlkE"
//
// File 1, the volume information file, starts in the first block (offset 8). Its data:
//
//   POSITION        SIZE            FIELD        MEANING
//   0               4               nextID       next file id to hand out, from 2; stream
//                                                offset 36, in the stream's byte order
//   4               4               mapLength    bytes of the saved map, big-endian always;
//                                                0 = not saved yet
//   8               mapLength       map          the saved BlockMap (BlockMap.h)
#ifndef ZYNE_VIRTUALVOLUME_VFS_VOLUME_H
#define ZYNE_VIRTUALVOLUME_VFS_VOLUME_H

#include <cstdint>

#include "core/SimpleVector.h"
#include "streams/RandomAccessMechanism.h"
#include "virtualvolume/BlockMap.h"

inline constexpr uint32_t kVolumeMagic = 0x56465376;      // "VFSv"
inline constexpr int32_t kVolumeVersion = 3;              // written by Create
inline constexpr uint32_t kBlockStartMagic = 0x426C6B53;  // "BlkS"
inline constexpr uint32_t kBlockEndMagic = 0x426C6B45;    // "BlkE"
inline constexpr double kFirstBlockOffset = 8.0;          // the first block, file 1's
inline constexpr double kBlockHeaderSize = 28.0;          // data starts here in a block
inline constexpr double kBlockOverhead = 32.0;            // header and trailer
inline constexpr uint32_t kVolumeInfoFileID = 1;          // holds the counter and the map
inline constexpr uint32_t kFirstUserFileID = 2;           // the first id CreateFile gives

/// The 28 header bytes of a block, as on disk.
struct VFSBlockHeader {
    uint32_t magic;       // kBlockStartMagic in a sound block
    uint32_t fileID;      // owning file; 0 = free
    uint32_t blockIndex;  // place in the chain
    double blockSize;     // whole block in bytes
    double nextBlock;     // stream offset of the next block; 0 = last
};

/// One open file: its current block's header and where it stands.
struct VFSFileRef {
    VFSBlockHeader header;  // the current block's header; fileID 0 = the ref is dead
    double position;        // file position
    double blockStart;      // stream offset of the current block
    double blockOffset;     // offset inside the current block; 28 = start of its data
    double firstBlock;      // stream offset of the file's first block
};

class VFSVolume {
public:
    /// Writes a new, empty volume over `stream` (truncated first): 48 bytes, file 1 only.
    /// The caller sets the stream big-endian first, as the loader does; Create switches on
    /// its swapDoubles flag, since doubles follow the integers in a version 3 volume.
    /// Null only for a null stream (or no memory); otherwise a volume whose IsValid() says
    /// whether every write succeeded. The caller owns the volume; the volume owns the
    /// stream when ownsStream is non-zero (even when it is invalid).
    static VFSVolume* Create(RandomAccessMechanism* stream, unsigned char ownsStream);

    /// Opens the volume stored in `stream`; IsValid() tells whether it could. A bad magic
    /// or a version above 3 leaves it invalid, and then an owned stream is destroyed at
    /// once. A damaged saved map is rebuilt from the blocks.
    VFSVolume(RandomAccessMechanism* stream, unsigned char ownsStream);
    /// Saves the block map, closes the stream and destroys it when owned; frees any file
    /// records still open.
    ~VFSVolume();

    VFSVolume(const VFSVolume&) = delete;
    VFSVolume& operator=(const VFSVolume&) = delete;

    /// True after a successful Create or open; every operation fails otherwise.
    bool IsValid() const { return mValid != 0; }
    /// The format version: 3 for a new volume, else the one read.
    int32_t GetVersion() const { return mVersion; }
    /// The backing stream (still the volume's when it owns it); null after a refused open.
    RandomAccessMechanism* GetStream() const { return mStream; }
    BlockMap& GetBlockMap() { return mMap; }

    /// Sets the defaults: reuse free blocks of 256 to 16384 bytes, append blocks of 1024.
    void Initialize();
    /// Free blocks are reused when their size lies in [minReuse, maxReuse]; new blocks
    /// are newSize bytes. A newSize below 33 bytes (no room for data) or not a whole number
    /// is ignored, the other two values are still taken.
    void SetBlockSizePrefs(double minReuse, double newSize, double maxReuse);
    /// New blocks are filled with zeros (the default) or left as the stream extends them.
    void SetZeroFill(bool on) { mZeroFill = on ? 1 : 0; }
    /// Grows with every change made through this volume (each file write, creation and
    /// deletion, whether it succeeded or not), never shrinks. Readers that keep what they
    /// read (the folder items' listings) compare it to know when their copy may be stale.
    /// Bytes changed in the stream behind the volume's back are not counted.
    uint64_t GetChangeCount() const { return mChangeCount; }

    /// A new, empty one-block file; its id, 0 on failure (the counter may have advanced).
    /// A damaged counter (below 2, or at an id the map already lists) also gives 0.
    uint32_t CreateFile();
    /// A file number for reading and writing file `id` from position 0; -1 on failure. The
    /// same file may be open several times, each with its own position.
    short OpenFile(uint32_t id);
    /// Forgets file number `file`; out-of-range or closed numbers are ignored.
    void CloseFile(short file);
    /// Frees every block of file `id` (ids 0 and 1 are refused). False when the volume is
    /// invalid, the file is open, or its first block can't be found.
    bool DeleteFile(uint32_t id);

    /// Reads up to *count bytes: *count is the number wanted on entry and the number read
    /// on return. A count of 0 or less succeeds at once. False on an error or when the chain
    /// ends first (*count then says how much was read).
    bool ReadFileData(short file, double* count, void* buffer);
    /// Writes `count` bytes, overwriting within the chain and extending it past its end.
    /// False on any failure; what was written stays written.
    bool WriteFileData(short file, const void* buffer, double count);
    /// Moves to file position p. The end of the last block's data is allowed; anything
    /// further fails (seeking never extends a file).
    bool SetFilePosition(short file, double position);
    /// The file position of an open file; -1.0 for a bad file number.
    double GetFilePosition(short file) const;

    // Typed values: big-endian in a volume of version 3, little-endian in older ones.
    bool ReadFileShort(short file, int16_t* value);
    bool ReadFileLong(short file, int32_t* value);
    bool ReadFileDouble(short file, double* value);
    bool WriteFileShort(short file, int16_t value);
    bool WriteFileLong(short file, int32_t value);
    bool WriteFileDouble(short file, double value);

    /// The header and stream offset of file `id`'s first block. False when it is unknown,
    /// unreadable, or its header names another file.
    bool FindFileFirstBlock(uint32_t id, VFSBlockHeader* header, double* blockStart);
    /// A block for a chain: the first free block in map order whose size is in the reuse
    /// window, else a new block appended to the stream. Its offset, with its size in
    /// *blockSize; -1.0 on failure. The block's header is not rewritten here.
    double FindOrAllocateBlock(double* blockSize);

    /// Reads 28 header bytes at the stream's position; false when invalid or short.
    bool ReadHeader(VFSBlockHeader* header);
    /// Writes 28 header bytes at the stream's position; false when invalid or refused.
    bool WriteHeader(const VFSBlockHeader& header);
    /// Reads the header of ref's current block into the ref. False, with the ref's fileID
    /// set to 0, when the block belongs to another file or its header does not fit the
    /// stream.
    bool ReadHeader(VFSFileRef* ref);

    /// Forgets the map and lists every block found by walking the stream from offset 8.
    void RebuildBlockMapFromScratch();
    /// Saves the map into file 1, again while saving changes it (at most 100 times).
    /// False when the volume is invalid or a write failed.
    bool UpdateBlockMap();
    /// Saves the map, then flushes the stream.
    void FlushToDisk();

private:
    VFSVolume();
    VFSFileRef* Ref(short file) const;
    bool SeekTo(double offset);
    bool HeaderFits(const VFSBlockHeader& header, double blockStart);
    double HopLimit();
    bool WriteRaw(short file, const unsigned char* bytes, int size);
    bool ReadRaw(short file, unsigned char* bytes, int size);
    void OpenExisting();
    bool MapFitsStream();
    /// Gives back a block whose taking failed half-way: free on disk (as far as that can
    /// still be written) and in the map.
    void ReleaseBlock(double start);

    uint8_t mValid = 0;                        // 1 after a successful Create or open
    RandomAccessMechanism* mStream = nullptr;  // backing store
    uint8_t mOwnsStream = 0;                   // destroy the stream with the volume
    double mCounterOffset = -1.0;              // stream offset of nextID; 36 once open
    double mMinReuseSize = 256.0;              // reuse window, both ends inclusive
    double mNewBlockSize = 1024.0;             // size of appended blocks
    double mMaxReuseSize = 16384.0;
    SimpleVector<VFSFileRef*> mFiles;   // open files by number; null = free slot
    BlockMap mMap;                      // the blocks, in map order
    uint8_t mZeroFill = 1;              // new blocks are zero-filled
    int32_t mVersion = kVolumeVersion;  // format version
    uint64_t mChangeCount = 0;          // see GetChangeCount
};

#endif  // ZYNE_VIRTUALVOLUME_VFS_VOLUME_H
