// StringStorageMechanism.h - a read-only stream over the bytes of one string block.
//
// Holds one reference to a stringStorage block for as long as it is open, so the bytes
// stay alive even when every string that held them is gone. Reading is FilePtr's; writes
// and resizing are refused with lastError 100.
// Not here: text encodings (the stream sees bytes), writing into the block.
#ifndef ZYNE_STREAMS_STRING_STORAGE_MECHANISM_H
#define ZYNE_STREAMS_STRING_STORAGE_MECHANISM_H

#include "core/string.h"
#include "streams/FilePtr.h"

class StringStorageMechanism : public FilePtr {
public:
    /// Empty: no block.
    StringStorageMechanism() = default;
    /// Close().
    ~StringStorageMechanism() override;

    /// Closes any block held so far, then takes one reference to `storage` and reads its
    /// text bytes (the byte length, not the terminator). A null block gives an empty
    /// stream.
    void Open(stringStorage* storage);

    /// Sets lastError to 100 and returns false.
    bool WriteData(const void* buffer, unsigned int count) override;
    /// Drops the reference and forgets the block; the stream is then empty. True.
    bool Close() override;
    /// Sets lastError to 100 and returns false.
    bool SetLength(unsigned long long length) override;

private:
    stringStorage* storage = nullptr;  // one reference held while open; null when closed
};

#endif  // ZYNE_STREAMS_STRING_STORAGE_MECHANISM_H
