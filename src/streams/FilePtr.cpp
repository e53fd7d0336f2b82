// FilePtr.cpp - the read-only buffer stream.
#include "streams/FilePtr.h"

#include <cstring>

FilePtr::~FilePtr() = default;

void FilePtr::Open(const char* bytes, int count) {
    data = count > 0 ? bytes : nullptr;
    length = data ? static_cast<uint32_t>(count) : 0;
    position = 0;
}

bool FilePtr::ReadData(void* buffer, unsigned int count, int* actual) {
    if (actual) *actual = 0;
    if (count == 0) return true;
    if (position >= length) return false;
    const uint32_t n = count < length - position ? count : length - position;
    memcpy(buffer, data + position, n);
    ApplyDecryption(buffer, static_cast<int>(n));
    position += n;
    if (actual) *actual = static_cast<int>(n);
    return true;
}

bool FilePtr::WriteData(const void*, unsigned int) {
    return false;
}

bool FilePtr::Close() {
    return true;
}

bool FilePtr::IsEOF() {
    return position >= length;
}

bool FilePtr::SeekFromStart(unsigned long long to) {
    position = to > length ? length : static_cast<uint32_t>(to);
    return true;
}

unsigned long long FilePtr::GetLength() {
    return length;
}

bool FilePtr::SetLength(unsigned long long) {
    return false;
}

unsigned long long FilePtr::GetPosition() {
    return position;
}
