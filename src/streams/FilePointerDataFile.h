// FilePointerDataFile.h - the DataFile over a C stdio FILE with 64-bit offsets.
//
// Opens with fopen64/tmpfile64/fdopen, positions with fseeko64/ftello64 and resizes with
// ftruncate64 on the descriptor, so files past 4 GiB work on 32-bit x86 too. Opens whose
// mode string contains 'w' or '+' take flock(LOCK_EX | LOCK_NB) and fail at once when the
// lock is held elsewhere. Every failing call leaves its errno in lastError.
// Files it opens itself get a 64 KiB stdio buffer (an adopted FILE* keeps its own) and a
// close-on-exec descriptor; an adopted handle keeps the flags its owner gave it.
// stdio's rule that reads and writes must be separated by a seek or flush is honoured
// internally, so callers may mix them freely.
// Not here: scrambling, buffering of its own beyond stdio's, reopening.
#ifndef ZYNE_STREAMS_FILE_POINTER_DATA_FILE_H
#define ZYNE_STREAMS_FILE_POINTER_DATA_FILE_H

#include <cstdio>

#include "streams/DataFile.h"

class FilePointerDataFile : public DataFile {
public:
    /// Not open: every operation fails until Create, Open, CreateTempFile or
    /// OpenFromHandleHelper succeeds.
    FilePointerDataFile() = default;
    /// Closes the file (and so releases its lock).
    ~FilePointerDataFile() override;

    /// No bytes and true for count 0. Otherwise fread: true when at least one byte was read
    /// (`actual` says how many); false with 0 bytes at the end of the file; false with
    /// errno in lastError on a stream error, or when not open.
    bool ReadData(void* buffer, unsigned int count, int* actual) override;
    /// fwrite: true when all count bytes were written; errno in lastError on a stream error.
    bool WriteData(const void* buffer, unsigned int count) override;
    /// FlushToDisk, then fclose; forgets the FILE*. True when fclose succeeded; false when
    /// not open.
    bool Close() override;
    /// fseeko64 from the start; false (errno in lastError) on failure or when not open.
    bool SeekFromStart(unsigned long long position) override;
    /// The end-of-file offset (pending writes included): fstat for a regular file, else a
    /// seek to the end and back. All bits set (-1) when that fails or when not open.
    unsigned long long GetLength() override;
    /// ftruncate64 on the descriptor (after flushing stdio's buffer, which would otherwise
    /// land past a shortened end). The position is not moved. False with errno on failure.
    bool SetLength(unsigned long long length) override;
    /// ftello64; 0 on a stream error or when not open.
    unsigned long long GetPosition() override;
    /// fflush; errno in lastError on failure.
    void FlushToDisk() override;
    /// Kind 2: the FILE* (0 when not open); kind 3: its descriptor (kNoFileHandle when not
    /// open); kNoFileHandle for other kinds. The handle stays owned by this object.
    unsigned long GetFileHandle(unsigned long kind) override;

    bool OpenFromHandleHelper(unsigned long handle, unsigned long kind) override;
    bool CreateTempFile(const string& name) override;
    /// fclose; errno in lastError on failure. The file is then closed for good: every
    /// operation fails and Close returns false.
    void TemporaryClose() override;

    /// Creates or truncates `path` ("w+") and locks it. Fails with 21 for a directory.
    /// Closes any file this object had open first.
    virtual bool Create(const string& path);
    /// Opens `path` with mode 1 ("r") or 3 ("r+", locked); other modes fail with EINVAL, a
    /// directory with 21. Closes any file this object had open first.
    virtual bool Open(const string& path, int mode);

    /// True while a file is open.
    bool IsOpen() const { return mFile != nullptr; }

private:
    // What the FILE did last: stdio needs a seek or flush between a write and a read.
    enum class LastOp : unsigned char { kNone, kRead, kWrite };

    void Attach(FILE* file, bool giveBuffer);
    bool CloseFile();
    bool OpenPath(const char* path, const char* mode);
    bool LockIfWritable(const char* mode);
    void Forget();
    void SwitchTo(LastOp op);

    FILE* mFile = nullptr;           // the open file; null when closed
    char* mBuffer = nullptr;         // malloc'd stdio buffer of mFile, freed after fclose
    LastOp mLastOp = LastOp::kNone;  // reset by every seek and flush
};

#endif  // ZYNE_STREAMS_FILE_POINTER_DATA_FILE_H
