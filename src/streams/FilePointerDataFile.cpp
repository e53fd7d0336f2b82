// FilePointerDataFile.cpp - the stdio DataFile: 64-bit offsets, flock on writable opens.
//
// The *64 calls are used by name so that offsets are 64-bit on 32-bit x86 whatever
// _FILE_OFFSET_BITS the including program chose. A closed file is a null FILE*: every
// operation checks for it, so nothing ever touches a stream after fclose.
//
// Files this object opens get a 64 KiB stdio buffer of its own. With glibc's default
// (st_blksize, often 4 KiB) every large write after the first is split in two system calls:
// one to top up and flush the buffer, one for the rest; a buffer as large as the usual bulk
// chunk avoids that, and small typed reads and writes make a system call per 64 KiB.
#include "streams/FilePointerDataFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr unsigned long long kMaxOffset = INT64_MAX;
constexpr size_t kStdioBufferBytes = size_t{64} * 1024;

bool IsDirectory(const char* path) {
    struct stat64 info;
    return stat64(path, &info) == 0 && S_ISDIR(info.st_mode);
}

bool IsWritableMode(const char* mode) {
    return strchr(mode, 'w') != nullptr || strchr(mode, '+') != nullptr;
}

}  // namespace

FilePointerDataFile::~FilePointerDataFile() {
    // Close without virtual calls: a subclass's part is already gone here.
    if (!mFile) return;
    FilePointerDataFile::FlushToDisk();
    CloseFile();
}

// ----- Opening -----

void FilePointerDataFile::Forget() {
    if (mFile) Close();
}

bool FilePointerDataFile::LockIfWritable(const char* mode) {
    if (!IsWritableMode(mode)) return true;
    if (flock(fileno(mFile), LOCK_EX | LOCK_NB) == 0) return true;
    lastError = errno;
    CloseFile();
    return false;
}

void FilePointerDataFile::Attach(FILE* file, bool giveBuffer) {
    mFile = file;
    mLastOp = LastOp::kNone;
    if (!mFile) {
        lastError = errno;
        return;
    }
    if (!giveBuffer) return;
    // Without the buffer stdio keeps its own; nothing fails for want of it.
    mBuffer = static_cast<char*>(malloc(kStdioBufferBytes));
    if (mBuffer && setvbuf(mFile, mBuffer, _IOFBF, kStdioBufferBytes) != 0) {
        free(mBuffer);
        mBuffer = nullptr;
    }
}

bool FilePointerDataFile::CloseFile() {
    const bool closed = fclose(mFile) == 0;
    if (!closed) lastError = errno;
    // The FILE is gone after fclose whatever it returned, and its buffer with it.
    mFile = nullptr;
    mLastOp = LastOp::kNone;
    free(mBuffer);
    mBuffer = nullptr;
    return closed;
}

bool FilePointerDataFile::OpenPath(const char* path, const char* mode) {
    // "e": the descriptor is close-on-exec from the open on, so no program started later
    // inherits the file or its lock.
    char modeText[8];
    std::snprintf(modeText, sizeof modeText, "%se", mode);
    Attach(fopen64(path, modeText), true);
    return mFile && LockIfWritable(mode);
}

bool FilePointerDataFile::Create(const string& path) {
    Forget();
    const string utf8 = path.GetUTF8String();
    if (IsDirectory(utf8.CString())) {
        lastError = EISDIR;
        return false;
    }
    // Deliberate: "w+" truncates before the lock is tried, so creating over a file that
    // another open holds locked empties it and then fails.
    return OpenPath(utf8.CString(), "w+");
}

bool FilePointerDataFile::Open(const string& path, int mode) {
    Forget();
    const string utf8 = path.GetUTF8String();
    if (IsDirectory(utf8.CString())) {
        lastError = EISDIR;
        return false;
    }
    const char* how = nullptr;
    if (mode == kDataFileReadOnly) how = "r";
    if (mode == kDataFileReadWrite) how = "r+";
    if (!how) {
        lastError = EINVAL;
        return false;
    }
    return OpenPath(utf8.CString(), how);
}

bool FilePointerDataFile::CreateTempFile(const string& name) {
    Forget();
    if (name.IsEmpty()) {
        Attach(tmpfile64(), true);
        if (!mFile) return false;
        // tmpfile has no close-on-exec mode; the library starts no thread, so nothing can
        // fork between the open and this call.
        const int fd = fileno(mFile);
        fcntl(fd, F_SETFD, fcntl(fd, F_GETFD) | FD_CLOEXEC);
        return true;
    }
    // Deliberate: always under "/tmp", not $TMPDIR; the name may carry subfolders.
    const string path = string("/tmp/") + name.GetUTF8String();
    return OpenPath(path.CString(), "w+");
}

bool FilePointerDataFile::OpenFromHandleHelper(unsigned long handle, unsigned long kind) {
    Forget();
    if (kind == kFileHandleStdio) {
        // Adopted as it is: it may have been used already, so its buffering stays.
        if (!handle) {
            lastError = EBADF;
            return false;
        }
        // The handle word is the caller's FILE*, so the cast is the interface.
        Attach(reinterpret_cast<FILE*>(handle), false);  // NOLINT(performance-no-int-to-ptr)
        return true;
    }
    if (kind != kFileHandleDescriptor) {
        lastError = EINVAL;
        return false;
    }
    const int fd = static_cast<int>(handle);
    const int flags = fcntl(fd, F_GETFL);
    if (flags == -1) {
        lastError = errno;
        return false;
    }
    const int access = flags & O_ACCMODE;
    const char* how = access == O_WRONLY ? "w" : access == O_RDWR ? "r+" : "r";
    Attach(fdopen(fd, how), true);
    return mFile != nullptr;
}

// ----- Reading and writing -----

void FilePointerDataFile::SwitchTo(LastOp op) {
    // stdio requires a positioning call between output and input on the same stream.
    if (mLastOp != LastOp::kNone && mLastOp != op) fseeko64(mFile, 0, SEEK_CUR);
    mLastOp = op;
}

bool FilePointerDataFile::ReadData(void* buffer, unsigned int count, int* actual) {
    if (actual) *actual = 0;
    if (count == 0) return true;
    if (!mFile) {
        lastError = EBADF;
        return false;
    }
    SwitchTo(LastOp::kRead);
    const size_t got = fread(buffer, 1, count, mFile);
    if (actual) *actual = static_cast<int>(got);
    if (got > 0) return true;
    if (ferror(mFile)) lastError = errno;
    // Neither the end nor an error stays latched: the file may grow, the error may pass.
    clearerr(mFile);
    return false;
}

bool FilePointerDataFile::WriteData(const void* buffer, unsigned int count) {
    if (!mFile) {
        lastError = EBADF;
        return false;
    }
    if (count == 0) return true;
    SwitchTo(LastOp::kWrite);
    const size_t written = fwrite(buffer, 1, count, mFile);
    if (written == count) return true;
    if (ferror(mFile)) {
        lastError = errno;
        clearerr(mFile);
    }
    return false;
}

// ----- Position and length -----

bool FilePointerDataFile::SeekFromStart(unsigned long long position) {
    if (!mFile) {
        lastError = EBADF;
        return false;
    }
    if (position > kMaxOffset) {
        lastError = EINVAL;
        return false;
    }
    mLastOp = LastOp::kNone;
    if (fseeko64(mFile, static_cast<off64_t>(position), SEEK_SET) != 0) {
        lastError = errno;
        return false;
    }
    return true;
}

unsigned long long FilePointerDataFile::GetPosition() {
    if (!mFile) return 0;
    const off64_t at = ftello64(mFile);
    if (at < 0) {
        lastError = errno;
        return 0;
    }
    return static_cast<unsigned long long>(at);
}

unsigned long long FilePointerDataFile::GetLength() {
    if (!mFile) return ~0ULL;
    // A regular file's size is what seeking to its end would report once stdio's pending
    // output is out; fstat gets it without throwing away the read buffer, which matters to
    // IsEOF loops. Anything else is measured by seeking.
    if (mLastOp == LastOp::kWrite && fflush(mFile) != 0) {
        lastError = errno;
        return ~0ULL;
    }
    struct stat64 info;
    if (fstat64(fileno(mFile), &info) == 0 && S_ISREG(info.st_mode)) {
        return static_cast<unsigned long long>(info.st_size);
    }
    const off64_t here = ftello64(mFile);
    mLastOp = LastOp::kNone;
    if (here < 0 || fseeko64(mFile, 0, SEEK_END) != 0) {
        lastError = errno;
        return ~0ULL;
    }
    const off64_t end = ftello64(mFile);
    if (fseeko64(mFile, here, SEEK_SET) != 0 || end < 0) {
        lastError = errno;
        return ~0ULL;
    }
    return static_cast<unsigned long long>(end);
}

bool FilePointerDataFile::SetLength(unsigned long long length) {
    if (!mFile) {
        lastError = EBADF;
        return false;
    }
    if (length > kMaxOffset) {
        lastError = EINVAL;
        return false;
    }
    // Seeking to where we are pushes out pending writes (which would otherwise land past
    // a shortened end) and drops read-ahead of bytes that are about to go.
    const off64_t here = ftello64(mFile);
    mLastOp = LastOp::kNone;
    if (here < 0 || fseeko64(mFile, here, SEEK_SET) != 0) {
        lastError = errno;
        return false;
    }
    if (ftruncate64(fileno(mFile), static_cast<off64_t>(length)) != 0) {
        lastError = errno;
        return false;
    }
    return true;
}

// ----- Flushing and closing -----

void FilePointerDataFile::FlushToDisk() {
    if (!mFile) return;
    if (fflush(mFile) != 0) lastError = errno;
}

void FilePointerDataFile::TemporaryClose() {
    if (!mFile) return;
    // Unlike Close, no FlushToDisk first (fclose flushes anyway). The FILE* is
    // dropped too: keeping it would only invite a use after free and a second fclose.
    CloseFile();
}

bool FilePointerDataFile::Close() {
    if (!mFile) return false;
    FlushToDisk();
    return CloseFile();
}

unsigned long FilePointerDataFile::GetFileHandle(unsigned long kind) {
    if (kind == kFileHandleStdio) return reinterpret_cast<unsigned long>(mFile);
    if (kind == kFileHandleDescriptor && mFile) {
        return static_cast<unsigned long>(static_cast<long>(fileno(mFile)));
    }
    return kNoFileHandle;
}
