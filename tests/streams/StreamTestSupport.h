// StreamTestSupport.h - helpers shared by the stream tests: byte dumps of memory streams,
// streams preloaded with bytes, and FaultyStream, which fails or shortens chosen calls.
#ifndef ZYNE_TESTS_STREAMS_STREAM_TEST_SUPPORT_H
#define ZYNE_TESTS_STREAMS_STREAM_TEST_SUPPORT_H

#include <string>

#include "streams/FileHandle.h"

/// The logical bytes of a FileHandle, as stored (scrambled bytes stay scrambled).
inline std::string StoredBytes(const FileHandle& stream) {
    FileHandle& s = const_cast<FileHandle&>(stream);
    if (!s.GetHandle() || s.GetLength() == 0) return std::string();
    return std::string(*s.GetHandle(), static_cast<size_t>(s.GetLength()));
}

/// Writes `bytes` into `stream` unscrambled and rewinds it.
inline void Preload(FileHandle& stream, const std::string& bytes) {
    const unsigned char mode = stream.SetEncryption(0);
    stream.WriteData(bytes.data(), static_cast<unsigned>(bytes.size()));
    stream.SeekFromStart(0);
    stream.SetEncryption(mode);
}

/// A memory stream whose k-th ReadData or WriteData call (counted from 1) fails, or whose
/// k-th ReadData asks the store for `shortBy` fewer bytes than requested. 0 disables a
/// fault.
class FaultyStream : public RandomAccessMechanism {
public:
    int failReadAt = 0;
    int failWriteAt = 0;
    int shortReadAt = 0;
    unsigned shortBy = 1;
    int reads = 0;
    int writes = 0;
    FileHandle store;

    bool ReadData(void* buffer, unsigned int count, int* actual) override {
        ++reads;
        if (actual) *actual = 0;
        if (reads == failReadAt) return false;
        if (reads == shortReadAt) count = count > shortBy ? count - shortBy : 0;
        return store.ReadData(buffer, count, actual);
    }
    bool WriteData(const void* buffer, unsigned int count) override {
        ++writes;
        if (writes == failWriteAt) return false;
        return store.WriteData(buffer, count);
    }
    bool Close() override { return store.Close(); }
    bool IsEOF() override { return store.IsEOF(); }
    bool SeekFromStart(unsigned long long p) override { return store.SeekFromStart(p); }
    unsigned long long GetLength() override { return store.GetLength(); }
    bool SetLength(unsigned long long n) override { return store.SetLength(n); }
    unsigned long long GetPosition() override { return store.GetPosition(); }
};

#endif  // ZYNE_TESTS_STREAMS_STREAM_TEST_SUPPORT_H
