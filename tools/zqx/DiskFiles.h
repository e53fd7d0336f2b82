// DiskFiles.h - the files zqx works on: temporary outputs, copies, mappings, spooled input.
//
// Containers are read and written on disk, never held in memory: a new or changed
// container is built in a temporary file beside its destination and renamed into place
// only when it is complete and on disk, so the user's file is either the old one or the
// new one, never half of either; a stop by a signal removes the temporary file. Standard
// input is spooled to an unnamed temporary file (in $TMPDIR, else /tmp) so that it can be
// read at random.
// Not here: anything about the container format (Archive.h, ContainerCheck.h).
#ifndef ZYNE_TOOLS_ZQX_DISK_FILES_H
#define ZYNE_TOOLS_ZQX_DISK_FILES_H

#include <signal.h>
#include <sys/types.h>

#include <cstddef>
#include <string>

namespace zqx {

/// Bytes moved per read or write when copying contents.
inline constexpr size_t kCopyChunk = size_t{1} << 20;

/// "standard input" / "standard output" for "-", else the path itself.
std::string Shown(const std::string& path, bool output = false);

/// Writes all of `size` bytes to `fd`, retrying after signals. False with errno set.
bool WriteAll(int fd, const void* bytes, size_t size);

/// Copies everything from `from` (at its position) to the end of `to`: kernel copies
/// where the file systems allow, read and write otherwise. False with errno set.
bool CopyDescriptor(int from, int to);

/// A descriptor of an unnamed read-write file in $TMPDIR (else /tmp); -1 with errno set.
int UnnamedTemporaryFile();

/// Copies everything from `from` (a pipe, say, which can't be read at random) to an
/// unnamed temporary file. Its descriptor, positioned at 0, owned by the caller; -1 with a
/// message naming `shown` in *error.
int SpoolDescriptor(int from, const std::string& shown, std::string* error);
/// SpoolDescriptor for standard input.
int SpoolStandardInput(std::string* error);

/// Temporary files that a stop by SIGINT, SIGTERM or SIGHUP removes before the tool dies of
/// the signal, so that no half-written file is left behind. One slot per kind of file: the
/// container being written, and the member being extracted. `name` is taken relative to the
/// folder open as `dirFd` (AT_FDCWD: the working folder), which must stay open until Forget.
enum class PendingSlot { kContainer = 0, kMember = 1 };
void RemoveOnSignal(PendingSlot slot, int dirFd, const std::string& name);
/// The file in `slot` is renamed into place or removed: a signal leaves it alone.
void ForgetOnSignal(PendingSlot slot);
/// Holds the stopping signals back while it lives: made before a temporary file is created
/// and gone once RemoveOnSignal has it, so that no stop falls between the two.
class StoppingSignalsHeld {
public:
    StoppingSignalsHeld();
    ~StoppingSignalsHeld();
    StoppingSignalsHeld(const StoppingSignalsHeld&) = delete;
    StoppingSignalsHeld& operator=(const StoppingSignalsHeld&) = delete;

private:
    sigset_t mSaved;
};

/// The file a command writes: a temporary file beside `target` (an unnamed one for "-",
/// standard output) that Commit puts in place. Dropped (removed) unless committed.
class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Makes the temporary file. `mode` is the permission the result gets (the umask is
    /// applied by the caller). False with a message naming `target` in *error.
    bool Begin(const std::string& target, mode_t mode, std::string* error);
    /// Our descriptor of the temporary file (read-write); -1 before Begin.
    int Descriptor() const { return mFd; }
    /// Identity of the temporary file, so that walks over source folders can skip it.
    dev_t Device() const { return mDev; }
    ino_t Inode() const { return mIno; }
    /// Flushes the file to disk and renames it over the target, or copies it to standard
    /// output for "-". False with a message in *error; the temporary file is then gone.
    bool Commit(std::string* error);
    /// Removes the temporary file (nothing once committed).
    void Drop();

private:
    std::string mTarget;
    std::string mTemp;  // path of the temporary file; empty when unnamed or none
    int mFd = -1;       // owned
    mode_t mMode = 0644;
    dev_t mDev = 0;
    ino_t mIno = 0;
};

/// A whole file mapped read-only (empty files map to no bytes). Unmapped on destruction.
class MappedFile {
public:
    MappedFile() = default;
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    /// Maps the open file `fd` (not kept). False with errno set.
    bool Map(int fd);
    const unsigned char* Bytes() const { return mBytes; }
    size_t Size() const { return mSize; }

private:
    unsigned char* mBytes = nullptr;
    size_t mSize = 0;
};

}  // namespace zqx

#endif  // ZYNE_TOOLS_ZQX_DISK_FILES_H
