// DataFile.cpp - DataFile's default slots, its factories and DataFileCleaner.
//
// The factories always make a FilePointerDataFile; the abstract defaults below answer
// "nothing here" for a subclass that does not override a slot.
#include "streams/DataFile.h"

#include <cerrno>
#include <new>

#include "streams/FilePointerDataFile.h"

namespace {

// Hands out `file` when `opened`, else reports its error and destroys it.
DataFile* Finish(FilePointerDataFile* file, bool opened, long* error) {
    if (opened) return file;
    if (error) *error = file->GetLastError();
    delete file;
    return nullptr;
}

FilePointerDataFile* Make(long* error) {
    auto* file = new (std::nothrow) FilePointerDataFile;
    if (!file && error) *error = ENOMEM;
    return file;
}

}  // namespace

DataFile* DataFile::CreateFromPath(const string& path, long* error) {
    FilePointerDataFile* file = Make(error);
    return file ? Finish(file, file->Create(path), error) : nullptr;
}

DataFile* DataFile::OpenFromPath(const string& path, int mode, long* error) {
    FilePointerDataFile* file = Make(error);
    return file ? Finish(file, file->Open(path, mode), error) : nullptr;
}

DataFile* DataFile::OpenFromHandle(unsigned long handle, unsigned long kind, long* error) {
    if (kind != kFileHandleStdio && kind != kFileHandleDescriptor) {
        if (error) *error = EINVAL;
        return nullptr;
    }
    FilePointerDataFile* file = Make(error);
    return file ? Finish(file, file->OpenFromHandleHelper(handle, kind), error) : nullptr;
}

DataFile* DataFile::CreateTemporaryFile(long* error) {
    FilePointerDataFile* file = Make(error);
    return file ? Finish(file, file->CreateTempFile(string()), error) : nullptr;
}

DataFile::~DataFile() = default;

bool DataFile::ReadData(void*, unsigned int, int* actual) {
    if (actual) *actual = 0;
    return false;
}

bool DataFile::WriteData(const void*, unsigned int) {
    return false;
}

bool DataFile::Close() {
    return false;
}

bool DataFile::IsEOF() {
    return GetPosition() >= GetLength();
}

bool DataFile::SeekFromStart(unsigned long long) {
    return false;
}

unsigned long long DataFile::GetLength() {
    return ~0ULL;
}

bool DataFile::SetLength(unsigned long long) {
    return false;
}

unsigned long long DataFile::GetPosition() {
    return ~0ULL;
}

void DataFile::FlushToDisk() {}

unsigned long DataFile::GetFileHandle(unsigned long) {
    return kNoFileHandle;
}

void DataFile::TemporaryClose() {}

void DataFile::TemporaryReopen() {}

void DataFile::FlushBuffer() {}

DataFileCleaner::~DataFileCleaner() {
    if (mFile) mFile->Close();
}
