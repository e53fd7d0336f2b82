// FileHandle.h - a stream over a growable memory handle.
//
// The bytes live in a ZQ handle (core/ZQToolbox.h), owned by the stream unless it was
// adopted with Open. Writes past the end grow the handle with slack, so `capacity` (the
// handle's size) may exceed the logical `length`; ExtractHandle trims it and hands it over.
// A failed write latches: every later write fails and Close and ExtractHandle report it.
// Written bytes are scrambled in place inside the handle and read bytes unscrambled, when
// scrambling is on.
// Not here: lengths beyond 32 bits (the handle routines' limit).
#ifndef ZYNE_STREAMS_FILE_HANDLE_H
#define ZYNE_STREAMS_FILE_HANDLE_H

#include <cstdint>

#include "core/ZQToolbox.h"
#include "streams/RandomAccessMechanism.h"

class FileHandle : public RandomAccessMechanism {
public:
    /// No handle yet (the first write makes one); empty; owns what it will make.
    FileHandle() = default;
    /// Disposes the handle when owned.
    ~FileHandle() override;

    /// Copies min(count, length - position) bytes out, unscrambles them and advances.
    /// True (0 bytes) for count 0; false at or past the end.
    bool ReadData(void* buffer, unsigned int count, int* actual) override;
    /// Copies the bytes in at the position, growing the handle when they pass its capacity,
    /// scrambles them in place and advances. False once a write has failed: with no handle
    /// and a non-zero length (after ExtractHandle of a failed stream), or when memory ran
    /// out, or past the 32-bit limit.
    bool WriteData(const void* buffer, unsigned int count) override;
    /// True unless a write failed. Releases nothing.
    bool Close() override;
    /// position >= length.
    bool IsEOF() override;
    /// A position past the length stops at the length. Always true.
    bool SeekFromStart(unsigned long long position) override;
    unsigned long long GetLength() override;
    /// Up to the capacity only the length changes; beyond it the handle is resized to
    /// exactly `length`. The position is clamped to the new length. False (nothing changed)
    /// beyond the 32-bit limit or when memory ran out.
    bool SetLength(unsigned long long length) override;
    unsigned long long GetPosition() override;

    /// Disposes an owned handle and starts again with a new, empty, owned one.
    void Reset();
    /// Disposes an owned handle and reads and writes `handle` instead, without owning it:
    /// position 0, length and capacity the handle's size. The caller keeps `handle` alive
    /// for as long as the stream uses it.
    void Open(ZQ::Handle handle);
    /// Null when a write failed (or there is no handle). Otherwise the handle, trimmed to
    /// exactly the length, now the caller's (DisposeHandle) whoever owned it before; the
    /// stream is left empty with no handle.
    ZQ::Handle ExtractHandle();

    /// Bytes allocated in the handle.
    uint32_t GetCapacity() const { return capacity; }
    /// The handle (null before the first write and after ExtractHandle); still the stream's.
    ZQ::Handle GetHandle() const { return handle; }

private:
    void DisposeOwned();

    uint32_t capacity = 0;        // bytes allocated in the handle; invariant length <= capacity
    uint32_t position = 0;        // invariant position <= length
    uint32_t length = 0;          // logical length
    uint8_t writeFailed = 0;      // latched by a failed write
    uint8_t ownsHandle = 1;       // dispose the handle when done with it
    ZQ::Handle handle = nullptr;  // the bytes; null before the first write
};

#endif  // ZYNE_STREAMS_FILE_HANDLE_H
