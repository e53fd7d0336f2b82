// DataFile.h - the stream for a file on disk, its factories, and DataFileCleaner.
//
// DataFile is the abstract disk-file stream; FilePointerDataFile (over 64-bit C stdio) is
// its one implementation, and the static factories here always make one. Files opened for
// writing hold an exclusive, non-blocking advisory lock (flock) for as long as they are
// open, so a second writable open of the same file, from this process or another, fails
// at once instead of waiting. Failures leave the errno value in lastError (21, EISDIR,
// when a path names a directory).
// Not here: scrambling (disk files store bytes as given), paths relative to anything but
// the working directory, reopening after TemporaryClose.
#ifndef ZYNE_STREAMS_DATA_FILE_H
#define ZYNE_STREAMS_DATA_FILE_H

#include "core/string.h"
#include "streams/RandomAccessMechanism.h"

/// OpenFromPath modes.
inline constexpr int kDataFileReadOnly = 1;   // "r": no lock
inline constexpr int kDataFileReadWrite = 3;  // "r+": locked

/// OpenFromHandle / GetFileHandle kinds.
inline constexpr unsigned long kFileHandleStdio = 2;       // a C stdio FILE*
inline constexpr unsigned long kFileHandleDescriptor = 3;  // a POSIX file descriptor

class DataFile : public RandomAccessMechanism {
public:
    // ----- Factories: each makes a FilePointerDataFile. On failure each stores the
    // lastError value (an errno value) in *error when error is not null, destroys the
    // half-made object and returns null. A returned file belongs to the caller, who deletes
    // it (deleting closes it). -----

    /// Creates or truncates the file at `path` ("w+") for reading and writing, and locks
    /// it. Fails with 21 when `path` is a directory, or with the lock's errno
    /// (EWOULDBLOCK) when another open holds the lock; the file has been truncated by then.
    static DataFile* CreateFromPath(const string& path, long* error);
    /// Opens the existing file at `path`: mode 1 (kDataFileReadOnly) for reading, mode 3
    /// (kDataFileReadWrite) for reading and writing, which locks it. Any other mode fails
    /// (EINVAL); a directory fails with 21; a lock held elsewhere fails with EWOULDBLOCK.
    static DataFile* OpenFromPath(const string& path, int mode, long* error);
    /// Wraps an open handle: kind 2 a FILE* (adopted: closing the DataFile closes it), kind
    /// 3 a file descriptor (fdopen'd in the mode its access mode allows; closing the
    /// DataFile closes the descriptor). Not locked. Any other kind fails (EINVAL).
    static DataFile* OpenFromHandle(unsigned long handle, unsigned long kind, long* error);
    /// An anonymous read-write file (tmpfile64) that disappears when closed.
    static DataFile* CreateTemporaryFile(long* error);

    /// The subclass closes its file.
    ~DataFile() override;

    // ----- The twelve stream slots; DataFile's own defaults do nothing useful: -----

    /// False.
    bool ReadData(void* buffer, unsigned int count, int* actual) override;
    /// False.
    bool WriteData(const void* buffer, unsigned int count) override;
    /// False.
    bool Close() override;
    /// GetPosition() >= GetLength(), through the virtual slots.
    bool IsEOF() override;
    /// False.
    bool SeekFromStart(unsigned long long position) override;
    /// All bits set (-1).
    unsigned long long GetLength() override;
    /// False.
    bool SetLength(unsigned long long length) override;
    /// All bits set (-1).
    unsigned long long GetPosition() override;
    /// Nothing.
    void FlushToDisk() override;
    /// kNoFileHandle (-1).
    unsigned long GetFileHandle(unsigned long kind) override;

    // ----- Slots DataFile adds, in this order -----

    /// Adopts an open handle of kind 2 (FILE*) or 3 (descriptor); false for other kinds.
    virtual bool OpenFromHandleHelper(unsigned long handle, unsigned long kind) = 0;
    /// Creates a temporary file: an empty name gives an anonymous file, any other name the
    /// file "/tmp/<name>" (truncated, read-write, locked). False on failure.
    virtual bool CreateTempFile(const string& name) = 0;
    /// Closes the underlying file without the usual flush-and-forget of Close. The file
    /// stays closed (TemporaryReopen does not bring it back). Nothing by default.
    virtual void TemporaryClose();
    /// Does nothing: a file closed with TemporaryClose stays closed.
    virtual void TemporaryReopen();
    /// Nothing by default.
    virtual void FlushBuffer();

protected:
    DataFile() = default;
};

/// Closes a DataFile when it goes out of scope. It does not delete the object, which stays
/// with its owner; a null file is ignored.
class DataFileCleaner {
public:
    explicit DataFileCleaner(DataFile* file) : mFile(file) {}
    ~DataFileCleaner();

    DataFileCleaner(const DataFileCleaner&) = delete;
    DataFileCleaner& operator=(const DataFileCleaner&) = delete;

private:
    DataFile* mFile;  // not owned; closed, not deleted, by the destructor
};

#endif  // ZYNE_STREAMS_DATA_FILE_H
