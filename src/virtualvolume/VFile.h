// VFile.h - the stream over the content of one file inside a virtual volume.
//
// A VFile reads and writes the bytes after a file's 256-byte item header through the block
// layer, keeping its own position and the logical length; the length reaches the item
// header only when the header is updated (Close, FlushToDisk, UpdateFileHeader).
// Not here: opening (VHFSVolume::OpenFile makes VFiles), freeing blocks when shortened,
// scrambling. A VFile holds its block-layer file open for its whole life, so it must be
// closed or destroyed before its volume.
#ifndef ZYNE_VIRTUALVOLUME_VFILE_H
#define ZYNE_VIRTUALVOLUME_VFILE_H

#include <cstdint>

#include "streams/RandomAccessMechanism.h"

class VFSVolume;
class VirtVolObject;  // the folder item that owns a VFile, opaque here

class VFile : public RandomAccessMechanism {
public:
    /// A stream over block-layer file `file` of `volume` (not owned) whose content is
    /// `length` bytes, positioned at 0; the first access seeks there.
    VFile(VFSVolume* volume, short file, uint32_t length);
    /// Closes the file when still open.
    ~VFile() override;

    /// Reads up to min(count, length - position) bytes. True with 0 bytes at the end;
    /// false when closed or when the block layer fails (`actual` still counts what came).
    bool ReadData(void* buffer, unsigned int count, int* actual) override;
    /// Writes at the position, extending the chain as needed; the length grows to the
    /// position. False when closed or on a block-layer failure.
    bool WriteData(const void* buffer, unsigned int count) override;
    /// Updates the item header and closes the block-layer file. False when already closed.
    bool Close() override;
    /// position >= length.
    bool IsEOF() override;
    /// Moves to content position p: false when closed or when p lies beyond the file's
    /// allocated blocks (a position past the length but inside them is allowed).
    bool SeekFromStart(unsigned long long position) override;
    unsigned long long GetLength() override;
    /// Sets the logical length only; nothing is written until the header is updated.
    bool SetLength(unsigned long long length) override;
    unsigned long long GetPosition() override;
    /// Updates the item header, then flushes the volume (its block map and stream).
    void FlushToDisk() override;

    /// Rewrites the stored length when it differs from the stream's. False when closed or
    /// when the header can't be read or written.
    bool UpdateFileHeader();
    /// Records the owning object (not owned); cleared by Close.
    void SetVirtVolObject(VirtVolObject* owner) { mOwner = owner; }
    VirtVolObject* GetVirtVolObject() const { return mOwner; }
    /// True until Close.
    bool IsOpen() const { return mFile >= 0; }

private:
    VFSVolume* mVolume;               // read through; not owned; null once closed
    VirtVolObject* mOwner = nullptr;  // opaque owner; null once closed
    short mFile;                      // block-layer file number; -1 = closed
    uint32_t mPosition = 0;           // content position (block-layer position - 256)
    uint8_t mNeedsSeek = 1;           // the block layer's position must be set first
    uint32_t mLength;                 // content length
};

#endif  // ZYNE_VIRTUALVOLUME_VFILE_H
