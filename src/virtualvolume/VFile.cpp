// VFile.cpp - content reads and writes through the block layer, and the length in the header.
//
// Anything that moves the block layer's position away from the content (updating the item
// header) sets needsSeek, so the next read or write first seeks back to where it belongs.
#include "virtualvolume/VFile.h"

#include "virtualvolume/VFSVolume.h"
#include "virtualvolume/VHFSVolume.h"

namespace {
// Content positions are 32-bit, and the block layer sees them 256 bytes further on.
constexpr unsigned long long kMaxContentPosition = 0xFFFFFFFFULL - kItemHeaderSize;
}  // namespace

VFile::VFile(VFSVolume* volume, short file, uint32_t length)
    : mVolume(volume), mFile(file), mLength(length) {}

VFile::~VFile() {
    if (IsOpen()) Close();
}

bool VFile::ReadData(void* buffer, unsigned int count, int* actual) {
    if (actual) *actual = 0;
    if (!IsOpen()) return false;
    const uint32_t left = mPosition < mLength ? mLength - mPosition : 0;
    const uint32_t wanted = count < left ? count : left;
    if (mNeedsSeek && !SeekFromStart(mPosition)) return false;
    double got = wanted;
    const bool ok = mVolume->ReadFileData(mFile, &got, buffer);
    mPosition += static_cast<uint32_t>(got);
    if (actual) *actual = static_cast<int>(got);
    return ok;
}

bool VFile::WriteData(const void* buffer, unsigned int count) {
    if (!IsOpen() || mPosition + static_cast<unsigned long long>(count) > kMaxContentPosition)
        return false;
    if (mNeedsSeek && !SeekFromStart(mPosition)) return false;
    if (!mVolume->WriteFileData(mFile, buffer, count)) {
        mNeedsSeek = 1;  // the block layer stopped somewhere inside the write
        return false;
    }
    mPosition += count;
    if (mPosition > mLength) mLength = mPosition;
    return true;
}

bool VFile::Close() {
    if (!IsOpen()) return false;
    UpdateFileHeader();
    mVolume->CloseFile(mFile);
    mFile = -1;
    mOwner = nullptr;
    mVolume = nullptr;
    return true;
}

bool VFile::IsEOF() {
    return mPosition >= mLength;
}

bool VFile::SeekFromStart(unsigned long long position) {
    if (!IsOpen() || position > kMaxContentPosition) return false;
    if (!mVolume->SetFilePosition(mFile, static_cast<double>(position + kItemHeaderSize)))
        return false;
    mPosition = static_cast<uint32_t>(position);
    mNeedsSeek = 0;
    return true;
}

unsigned long long VFile::GetLength() {
    return mLength;
}

bool VFile::SetLength(unsigned long long length) {
    mLength = length > 0xFFFFFFFFULL ? 0xFFFFFFFFU : static_cast<uint32_t>(length);
    return true;
}

unsigned long long VFile::GetPosition() {
    return mPosition;
}

void VFile::FlushToDisk() {
    if (!IsOpen()) return;
    UpdateFileHeader();
    mVolume->FlushToDisk();
}

bool VFile::UpdateFileHeader() {
    if (!IsOpen()) return false;
    // The header lies before the content: whatever happens, the next content access must
    // seek back first, or it would land in the header.
    mNeedsSeek = 1;
    double stored = 0.0;
    if (!mVolume->SetFilePosition(mFile, kItemLengthPosition) ||
        !mVolume->ReadFileDouble(mFile, &stored))
        return false;
    if (stored == static_cast<double>(mLength)) return true;
    return mVolume->SetFilePosition(mFile, kItemLengthPosition) &&
           mVolume->WriteFileDouble(mFile, static_cast<double>(mLength));
}
