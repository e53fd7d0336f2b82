// FilePtr.h - a read-only stream over a caller's byte buffer.
//
// Reads copy bytes out of the buffer (unscrambling them when scrambling is on); writes and
// resizing are refused. The buffer belongs to the caller, who keeps it alive while the
// stream reads it; the stream never frees or changes it.
// Not here: writing (see FileHandle), buffers beyond 32-bit lengths.
#ifndef ZYNE_STREAMS_FILE_PTR_H
#define ZYNE_STREAMS_FILE_PTR_H

#include <cstdint>

#include "streams/RandomAccessMechanism.h"

class FilePtr : public RandomAccessMechanism {
public:
    /// Empty: no data.
    FilePtr() = default;
    ~FilePtr() override;

    /// Reads `length` bytes at `data` from position 0 on. A null buffer or a negative
    /// length gives an empty stream. Not copied, not owned.
    void Open(const char* data, int length);

    /// Copies min(count, length - position) bytes out, unscrambles them and advances.
    /// True (0 bytes) for count 0; false at or past the end.
    bool ReadData(void* buffer, unsigned int count, int* actual) override;
    /// False: the buffer is read-only.
    bool WriteData(const void* buffer, unsigned int count) override;
    /// True; releases nothing.
    bool Close() override;
    /// position >= length.
    bool IsEOF() override;
    /// A position past the length stops at the length. Always true.
    bool SeekFromStart(unsigned long long position) override;
    unsigned long long GetLength() override;
    /// False: the buffer is read-only.
    bool SetLength(unsigned long long length) override;
    unsigned long long GetPosition() override;

private:
    const char* data = nullptr;  // the caller's bytes; null when empty
    uint32_t position = 0;       // invariant position <= length
    uint32_t length = 0;
};

#endif  // ZYNE_STREAMS_FILE_PTR_H
