// Archive.h - a container held in memory: loading, saving, paths and a bounded tree walk.
//
// The whole container is read into a memory stream and opened as a VHFSVolume over it, so
// that reading never touches the file on disk (the volume saves its block map on close) and
// edits reach the disk only through Save, which writes a temporary file and renames it into
// place. Walks guard against damaged directories: each item is visited once, depth and
// counts are bounded, and members whose names are unsafe to use on disk are flagged.
// Not here: the raw structural check (ContainerCheck.h), any command's output.
#ifndef ZYNE_TOOLS_ZQX_ARCHIVE_H
#define ZYNE_TOOLS_ZQX_ARCHIVE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "virtualvolume/VHFSVolume.h"

class FileHandle;

namespace zqx {

/// Reads a whole file, or standard input for "-". False with a message in *error.
bool ReadWholeFile(const std::string& path, std::vector<unsigned char>* bytes, std::string* error);
/// Writes bytes to `path` through a temporary file in the same folder renamed into place,
/// or to standard output for "-". False with a message in *error.
bool WriteWholeFile(const std::string& path, const unsigned char* bytes, size_t size,
                    std::string* error);

/// The framework's text, tagged UTF-8, from bytes; and back.
string Utf8(const std::string& s);
std::string Std(const string& s);

/// Why a member name can't be used as a file name on disk; empty when it can.
std::string UnsafeNameReason(const std::string& rawField);

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
    ~Archive();
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    /// A new, empty container in memory. False when the volume could not be made.
    bool CreateEmpty();
    /// Reads `path` ("-" = standard input) and opens it. False with a message naming
    /// what is wrong (unreadable, not a container, no root folder).
    bool Open(const std::string& path, std::string* error);
    /// Flushes the volume and writes the bytes to `path` ("-" = standard output).
    bool Save(const std::string& path, std::string* error);
    /// The bytes of the container as they stand (the block map is saved first).
    std::vector<unsigned char> Bytes();

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
    FileHandle* mStream = nullptr;  // owned by mVolume once it is made
    VHFSVolume* mVolume = nullptr;  // owned
};

/// POSIX seconds (since 1970-01-01 UTC) as a date-scale value (seconds since 1904).
double PosixToDateScale(double posixSeconds);
/// "YYYY-MM-DDTHH:MM:SSZ" for a date-scale value ("-" when not a finite date).
std::string FormatDate(double dateScale);
/// A four-character type code as text, non-printing bytes as '.'.
std::string TypeText(uint32_t type);

}  // namespace zqx

#endif  // ZYNE_TOOLS_ZQX_ARCHIVE_H
