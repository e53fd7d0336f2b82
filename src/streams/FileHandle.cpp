// FileHandle.cpp - the memory-handle stream.
//
// The handle routines copy the whole block on every resize, so growth leaves slack: at
// least 2048 bytes past the write, and at least half the capacity again once the block is
// large, which keeps long runs of small writes linear. Every size is checked against the
// handle routines' limit (INT32_MAX) before it is used, and a failed resize fails the
// write rather than writing past the block.
#include "streams/FileHandle.h"

#include <cassert>
#include <climits>
#include <cstring>

namespace {

constexpr uint64_t kHandleLimit = INT32_MAX;  // the largest size the handle routines accept
constexpr uint64_t kGrowthSlack = 2048;

}  // namespace

FileHandle::~FileHandle() {
    DisposeOwned();
}

void FileHandle::DisposeOwned() {
    if (ownsHandle && handle) ZQ::DisposeHandle(handle);
    handle = nullptr;
}

bool FileHandle::ReadData(void* buffer, unsigned int count, int* actual) {
    if (actual) *actual = 0;
    if (count == 0) return true;
    if (position >= length) return false;
    assert(handle && *handle && length <= capacity && "a non-empty FileHandle has its bytes");
    const uint32_t n = count < length - position ? count : length - position;
    memcpy(buffer, *handle + position, n);
    ApplyDecryption(buffer, static_cast<int>(n));
    position += n;
    if (actual) *actual = static_cast<int>(n);
    return true;
}

bool FileHandle::WriteData(const void* buffer, unsigned int count) {
    if (writeFailed) return false;
    if (!handle) {
        if (length != 0) {
            writeFailed = 1;
            return false;
        }
        handle = ZQ::NewHandle(0);
        if (!handle) {
            writeFailed = 1;
            return false;
        }
        ownsHandle = 1;
        capacity = 0;
    }
    const uint64_t end = static_cast<uint64_t>(position) + count;
    if (end > length) {
        if (end > capacity) {
            if (end > kHandleLimit) {
                writeFailed = 1;
                return false;
            }
            uint64_t grown = end + kGrowthSlack;
            // A first write of n bytes gets n + 2048; later growth is at least by half, as
            // each resize copies the whole block.
            const uint64_t geometric = static_cast<uint64_t>(capacity) + capacity / 2;
            if (geometric > grown) grown = geometric;
            if (grown > kHandleLimit) grown = kHandleLimit;
            if (!ZQ::SetHandleSize(handle, static_cast<long>(grown))) {
                writeFailed = 1;
                return false;
            }
            capacity = static_cast<uint32_t>(grown);
        }
        length = static_cast<uint32_t>(end);
    }
    if (count == 0) return true;
    char* at = *handle + position;
    memcpy(at, buffer, count);
    ApplyEncryption(at, static_cast<int>(count));
    position = static_cast<uint32_t>(end);
    return true;
}

bool FileHandle::Close() {
    return !writeFailed;
}

bool FileHandle::IsEOF() {
    return position >= length;
}

bool FileHandle::SeekFromStart(unsigned long long to) {
    position = to > length ? length : static_cast<uint32_t>(to);
    return true;
}

unsigned long long FileHandle::GetLength() {
    return length;
}

bool FileHandle::SetLength(unsigned long long newLength) {
    if (newLength > kHandleLimit) return false;
    if (newLength <= capacity) {
        length = static_cast<uint32_t>(newLength);
    } else {
        if (!handle) {
            handle = ZQ::NewHandleClear(static_cast<long>(newLength));
            if (!handle) return false;
            ownsHandle = 1;
        } else if (!ZQ::SetHandleSize(handle, static_cast<long>(newLength))) {
            return false;
        }
        capacity = static_cast<uint32_t>(newLength);
        length = capacity;
    }
    if (position > length) position = length;
    return true;
}

unsigned long long FileHandle::GetPosition() {
    return position;
}

void FileHandle::Reset() {
    DisposeOwned();
    handle = ZQ::NewHandle(0);
    ownsHandle = 1;
    capacity = 0;
    position = 0;
    length = 0;
    writeFailed = 0;
}

void FileHandle::Open(ZQ::Handle adopted) {
    DisposeOwned();
    handle = adopted;
    ownsHandle = 0;
    position = 0;
    length = static_cast<uint32_t>(ZQ::GetHandleSize(adopted));
    capacity = length;
    // writeFailed stays as it was: only Reset clears the latch.
}

ZQ::Handle FileHandle::ExtractHandle() {
    if (writeFailed || !handle) return nullptr;
    // The trim's own failure leaves the block larger than the length; GetHandleSize still
    // tells the caller the truth.
    if (capacity != length) ZQ::SetHandleSize(handle, static_cast<long>(length));
    ZQ::Handle out = handle;
    handle = nullptr;
    ownsHandle = 1;
    capacity = 0;
    position = 0;
    length = 0;
    return out;
}
