// VolumeTestSupport.h - helpers for the virtual volume tests: byte builders, a counting
// stream and access to a memory stream's bytes.
#ifndef ZYNE_TESTS_VIRTUALVOLUME_VOLUME_TEST_SUPPORT_H
#define ZYNE_TESTS_VIRTUALVOLUME_VOLUME_TEST_SUPPORT_H

#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

#include "streams/FileHandle.h"
#include "streams/RandomAccessMechanism.h"

using Bytes = std::vector<uint8_t>;

/// Appends values in a chosen byte order, to build volumes byte by byte.
struct ByteBuilder {
    Bytes bytes;
    void Be(uint64_t v, int n) {
        for (int s = 8 * (n - 1); s >= 0; s -= 8) bytes.push_back(static_cast<uint8_t>(v >> s));
    }
    void Le(uint64_t v, int n) {
        for (int s = 0; s < 8 * n; s += 8) bytes.push_back(static_cast<uint8_t>(v >> s));
    }
    void Be32(uint32_t v) { Be(v, 4); }
    void Le32(uint32_t v) { Le(v, 4); }
    void BeDouble(double d) { Be(std::bit_cast<uint64_t>(d), 8); }
    void LeDouble(double d) { Le(std::bit_cast<uint64_t>(d), 8); }
    void Raw(const void* p, size_t n) {
        const auto* b = static_cast<const uint8_t*>(p);
        bytes.insert(bytes.end(), b, b + n);
    }
    void Zeros(size_t n) { bytes.insert(bytes.end(), n, 0); }
    size_t Size() const { return bytes.size(); }
};

inline Bytes Be32Bytes(uint32_t v) {
    ByteBuilder b;
    b.Be32(v);
    return b.bytes;
}
inline Bytes BeDoubleBytes(double d) {
    ByteBuilder b;
    b.BeDouble(d);
    return b.bytes;
}

/// A big-endian memory stream over the given bytes, as the loader prepares plug-in files.
inline FileHandle* NewStream(const Bytes& bytes = {}) {
    auto* s = new FileHandle();
    s->SetBigEndian();
    if (!bytes.empty()) s->WriteData(bytes.data(), static_cast<unsigned>(bytes.size()));
    s->SeekFromStart(0);
    return s;
}

/// Every byte of a stream (its position is left at the end).
inline Bytes AllBytes(RandomAccessMechanism& s) {
    Bytes out(static_cast<size_t>(s.GetLength()));
    s.SeekFromStart(0);
    int got = 0;
    if (!out.empty()) s.ReadData(out.data(), static_cast<unsigned>(out.size()), &got);
    out.resize(static_cast<size_t>(got > 0 ? got : 0));
    return out;
}

inline Bytes Slice(const Bytes& b, size_t offset, size_t n) {
    if (offset > b.size()) return {};
    if (n > b.size() - offset) n = b.size() - offset;
    return Bytes(b.begin() + static_cast<long>(offset), b.begin() + static_cast<long>(offset + n));
}

/// Forwards to a memory stream and counts the calls that reach it, so that tests can check
/// how work grows; can also report its own destruction.
class CountingStream : public RandomAccessMechanism {
public:
    explicit CountingStream(bool* destroyed = nullptr) : mDestroyed(destroyed) { SetBigEndian(); }
    ~CountingStream() override {
        if (mDestroyed) *mDestroyed = true;
    }
    bool ReadData(void* buffer, unsigned int count, int* actual) override {
        ++calls;
        return mInner.ReadData(buffer, count, actual);
    }
    bool WriteData(const void* buffer, unsigned int count) override {
        ++calls;
        if (writes++ == failWrite) return false;
        return mInner.WriteData(buffer, count);
    }
    bool Close() override { return mInner.Close(); }
    bool IsEOF() override { return mInner.IsEOF(); }
    bool SeekFromStart(unsigned long long position) override {
        ++calls;
        return mInner.SeekFromStart(position);
    }
    unsigned long long GetLength() override { return mInner.GetLength(); }
    bool SetLength(unsigned long long length) override { return mInner.SetLength(length); }
    unsigned long long GetPosition() override { return mInner.GetPosition(); }
    FileHandle& Inner() { return mInner; }

    unsigned long long calls = 0;  // reads, writes and seeks
    long writes = 0;               // WriteData calls so far
    long failWrite = -1;           // the 0-based write that fails; -1 = none

private:
    FileHandle mInner;
    bool* mDestroyed;
};

#endif  // ZYNE_TESTS_VIRTUALVOLUME_VOLUME_TEST_SUPPORT_H
