// Archive.h - a container on disk opened as a volume: reading, editing, creating; paths and a
// bounded tree walk.
//
// The volume works on the container file itself through the library's disk stream, so
// memory use does not grow with the container. Reading opens the file read-only (standard
// input is spooled to a temporary file first). Editing and creating work on a temporary
// file beside the destination (DiskFiles.h) that Commit renames into place; an archive
// destroyed without Commit leaves the destination as it was. Walks guard against damaged
// directories: each item is visited once, depth and counts are bounded, and members whose
// names are unsafe to use on disk are flagged.
// Not here: the raw structural check (ContainerCheck.h), any command's output.
#ifndef ZYNE_TOOLS_ZQX_ARCHIVE_H
#define ZYNE_TOOLS_ZQX_ARCHIVE_H

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "DiskFiles.h"
#include "virtualvolume/VHFSVolume.h"

class DataFile;

namespace zqx {

/// The framework's text, tagged UTF-8, from bytes; and back.
string Utf8(const std::string& s);
std::string Std(const string& s);

/// Why a member name can't be used as a file name on disk; empty when it can.
std::string UnsafeNameReason(const std::string& rawField);
/// Control characters shown as '?', so that a hostile name can't rewrite the terminal.
std::string Printable(const std::string& s);

/// One item found by a walk.
struct Member {
    VFileRef ref;
    std::string path;    // names joined with "/", from the walk's start
    std::string name;    // the stored name (up to its first NUL)
    std::string unsafe;  // why the name is unsafe on disk; empty when it is fine
    int depth = 0;       // 0 for the walk's start
    bool isFolder = false;
    double length = 0;
    double created = 0;
    double modified = 0;
};

class Archive {
public:
    Archive();
    /// Closes the volume; a file being written and not committed is removed.
    ~Archive();
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    /// Opens `path` ("-" = standard input) for reading. False with a message naming what is
    /// wrong (unreadable, not a container, no root folder).
    bool Open(const std::string& path, std::string* error);
    /// Opens the regular file `path` for changing. It is locked against other zqx edits,
    /// refused when damaged (what 'zqx check' reports) and copied beside itself; the
    /// volume works on the copy. False with a message; `path` is never changed here.
    bool OpenForEdit(const std::string& path, std::string* error);
    /// A new, empty container in a temporary file beside `path` ("-" = standard output).
    /// False with a message.
    bool Create(const std::string& path, std::string* error);
    /// After OpenForEdit or Create: closes the volume (its block map saved), puts the file
    /// on disk and renames it over the destination (copies it out for "-"). False with a
    /// message when any write failed; the destination then stays as it was.
    bool Commit(std::string* error);
    /// The temporary file being written (dev, inode), so walks over sources can skip it;
    /// false when nothing is being written.
    bool Output(dev_t* dev, ino_t* ino) const;

    /// Sizes the blocks the next chain extensions get: `bytes` of data (header and trailer
    /// come on top), at least the usual 1024-byte block. 0 restores the usual size.
    void SetExtensionData(double bytes);

    VHFSVolume& Volume() { return *mVolume; }
    VFileRef Root() { return mVolume->GetRoot(); }

    /// The stored name field of an item, all 224 bytes (for NUL checks).
    std::string RawName(uint32_t id);
    /// Length and dates of an item.
    VFileInfo Info(const VFileRef& ref) { return mVolume->GetFileInfo(ref); }
    /// Sets both dates of an item, keeping its length.
    bool SetDates(const VFileRef& ref, double created, double modified);

    /// Resolves "a/b/c" from the root (empty or "/" = the root). False with a message.
    bool Resolve(const std::string& path, VFileRef* out, std::string* error);
    /// The child of `dir` named `name`; an empty ref when none.
    VFileRef Child(const VFileRef& dir, const std::string& name);

    /// Visits `start` and everything below it, depth first in stored order. `start` is
    /// reported with `startPath`. Items met a second time (a damaged directory listing an
    /// item twice or an ancestor) are not entered again; they are reported to `problem`.
    /// `visit` returns false to skip a folder's contents. Returns false when any listing
    /// could not be read.
    bool Walk(const VFileRef& start, const std::string& startPath,
              const std::function<bool(const Member&)>& visit,
              const std::function<void(const std::string&)>& problem);

private:
    bool Attach(int fd, const std::string& shown, std::string* error);
    bool Close(std::string* error);

    DataFile* mFile = nullptr;      // owned; the volume's stream
    VHFSVolume* mVolume = nullptr;  // owned
    OutputFile mOutput;             // the file being written, if any
    std::string mShown;             // its destination, for messages
    int mLockFd = -1;               // the container being edited, locked; owned
};

/// POSIX seconds (since 1970-01-01 UTC) as a date-scale value (seconds since 1904).
double PosixToDateScale(double posixSeconds);
/// "YYYY-MM-DDTHH:MM:SSZ" for a date-scale value ("-" when not a finite date).
std::string FormatDate(double dateScale);
/// A four-character type code as text, non-printing bytes as '.'.
std::string TypeText(uint32_t type);

}  // namespace zqx

#endif  // ZYNE_TOOLS_ZQX_ARCHIVE_H
