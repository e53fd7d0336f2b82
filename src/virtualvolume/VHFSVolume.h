// VHFSVolume.h - the directory layer of a virtual volume: named files and directories.
//
// Every item, file or directory, is one block-layer file (VFSVolume.h) that starts with a
// 256-byte item header; a directory's content is the list of its children's ids. Every
// operation opens and closes its block-layer files within the call, except OpenFile, whose
// VFile keeps its file open until closed.
// Not here: paths, uniqueness of names (a directory may hold several children of one
// name), folder-item semantics (the virtual folder items build those on this layer).
//
// Item header, at file position 0 of every item. Values are big-endian in a version 3
// volume and little-endian in older ones; doubles are IEEE 754 binary64.
//
//   POSITION   SIZE    FIELD             MEANING
//   0          8       length            double: content bytes after the header
//   8          4       type              four-character code; "fold" = directory
//   12         4       parentID          containing directory; 0 = none (the root)
//   16         8       creationDate      double: seconds on the date scale (DateScale.h)
//   24         8       modificationDate  double: the same
//   32         224     name              UTF-8, at most 223 bytes, NUL-padded
//   256        length  content           a file's bytes, or a directory's list:
//
//   256        4       count n           children; a count above length / 4 reads as 0
//   260 + 4i   4       child i           block-layer id of child i, for i < n
#ifndef ZYNE_VIRTUALVOLUME_VHFS_VOLUME_H
#define ZYNE_VIRTUALVOLUME_VHFS_VOLUME_H

#include <cassert>
#include <cstdint>

#include "core/string.h"
#include "streams/RandomAccessMechanism.h"
#include "virtualvolume/VFSVolume.h"
#include "virtualvolume/VFile.h"

/// A four-character type code; 0 = no item.
using VFileType = uint32_t;

inline constexpr VFileType kDirectoryFileType = 0x666F6C64;  // "fold"
inline constexpr VFileType kTempFileType = 0x74656D70;       // "temp": a directory being made
inline constexpr VFileType kUnknownFileType = 0x3F3F3F3F;    // "????"
inline constexpr uint32_t kRootDirectoryIDnum = 2;
inline constexpr uint32_t kItemHeaderSize = 256;
inline constexpr double kItemLengthPosition = 0.0;
inline constexpr double kItemTypePosition = 8.0;
inline constexpr double kItemParentPosition = 12.0;
inline constexpr double kItemCreationPosition = 16.0;
inline constexpr double kItemModificationPosition = 24.0;
inline constexpr double kItemNamePosition = 32.0;
inline constexpr uint32_t kItemNameFieldSize = 224;
inline constexpr uint32_t kItemNameMaxBytes = 223;
inline constexpr double kDirectoryCountPosition = 256.0;
/// The root's name field: "/" and 223 zero bytes.
extern const unsigned char kRootDirName[kItemNameFieldSize];

/// Names one item. Empty (id 0, type 0) when not found.
struct VFileRef {
    uint32_t id = 0;     // block-layer file id; 0 = none
    string name;         // tagged UTF-8 once loaded
    VFileType type = 0;  // 0 = not found or not loaded
};

/// An item's dates and length (and a ref the caller fills in).
struct VFileInfo {
    VFileRef ref;
    double creationDate = 0.0;
    double modificationDate = 0.0;
    double length = 0.0;
};

/// A growable list of refs, owning its copies.
class VFileRefList {
public:
    VFileRefList() = default;
    ~VFileRefList();
    VFileRefList(const VFileRefList&) = delete;
    VFileRefList& operator=(const VFileRefList&) = delete;

    long Count() const { return mCount; }
    /// The ref at `index`, which must be in 0 .. Count() - 1.
    const VFileRef& operator[](long index) const {
        assert(index >= 0 && index < mCount && "VFileRefList index out of range");
        return mItems[index];
    }
    /// Appends a copy; false (unchanged) when memory ran out.
    bool Append(const VFileRef& ref);
    /// Empties the list.
    void Clear();

private:
    VFileRef* mItems = nullptr;  // mCount constructed refs in mCapacity slots
    long mCount = 0;
    long mCapacity = 0;
};

class VHFSVolume {
public:
    /// A new volume over `stream` with an empty root directory (id 2). Null when the block
    /// layer gives no volume (a null stream); otherwise check IsValid(). The caller owns
    /// the result; the stream belongs to it when ownsStream is non-zero.
    static VHFSVolume* Create(RandomAccessMechanism* stream, unsigned char ownsStream);
    /// Opens the volume in `stream` (see VFSVolume's constructor); check IsValid().
    VHFSVolume(RandomAccessMechanism* stream, unsigned char ownsStream);
    /// Destroys the block layer, which saves its map and closes (and when owned destroys)
    /// the stream. Every VFile must be closed first.
    ~VHFSVolume();

    VHFSVolume(const VHFSVolume&) = delete;
    VHFSVolume& operator=(const VHFSVolume&) = delete;

    bool IsValid() const { return mVolume && mVolume->IsValid(); }
    /// The block layer, still owned by this volume; null only when memory ran out.
    VFSVolume* GetBlockVolume() const { return mVolume; }

    /// The root directory, loaded; an empty ref on an invalid volume.
    VFileRef GetRoot();
    /// The item's directory, loaded; an empty ref when it can't be read.
    VFileRef GetParent(const VFileRef& item);
    /// Empties `out`, then lists the children of `dir` in stored order, loaded. False
    /// unless `dir` is a directory (by its ref and its header) and its list is readable.
    bool GetChildren(const VFileRef& dir, VFileRefList& out);

    /// A new empty file of `type` named `name` (its first 223 UTF-8 bytes) in `parent`,
    /// listed last. An empty ref when the volume is invalid, `parent` is not a directory,
    /// the name is empty, or `type` is 0 or "fold".
    VFileRef CreateFile(const VFileRef& parent, const string& name, VFileType type);
    /// A new empty directory; an empty ref on failure (as CreateFile).
    VFileRef CreateDirectory(const VFileRef& parent, const string& name);
    /// Deletes a file or an empty directory (never the root) and unlinks it from its
    /// parent. Deliberate: true, with nothing changed, when the item is open.
    bool DeleteFile(const VFileRef& item);
    /// Moves `item` into `newParent` (last in its list). False when invalid, when
    /// `newParent` is not a directory, or when it is the item or lies inside it; steps done
    /// before a failure stay done.
    bool MoveFile(VFileRef& item, VFileRef& newParent);
    /// Renames `item` (its first 223 UTF-8 bytes, also in the ref). False on failure.
    bool SetFileName(VFileRef& item, const string& name);
    /// Changes a file's type (also in the ref). A directory can't become a file nor a
    /// file a directory: "fold" and 0 are refused on both sides.
    bool SetFileType(VFileRef& item, VFileType type);

    /// Appends `item`'s id to `dir`'s list. False unless every step succeeded.
    bool LinkFile(const VFileRef& item, const VFileRef& dir);
    /// Removes `item`'s id from `dir`'s list; the last child moves into the hole.
    /// Deliberate: the count drops even when `item` is not listed. False for an empty list.
    bool UnlinkFile(const VFileRef& item, const VFileRef& dir);

    /// Length and dates of `ref`. Deliberate: the ref part stays empty; callers fill it.
    /// All zero when the item can't be opened.
    VFileInfo GetFileInfo(const VFileRef& ref);
    /// Writes length, creation and modification dates of `info.ref`, stopping at the first
    /// failure. False when invalid or the ref's type is 0.
    bool SetFileInfo(const VFileInfo& info);
    /// Reads type and name into `ref`; nothing changes when the item can't be opened.
    void LoadFileInfo(VFileRef* ref);

    /// A stream over a file's content, owned by the caller (who closes or deletes it
    /// before this volume). Null for a directory, type 0, an invalid volume or an item that
    /// can't be opened.
    VFile* OpenFile(const VFileRef& ref);
    /// The block layer's FlushToDisk when valid.
    void FlushToDisk();

private:
    VHFSVolume() = default;
    bool ReadParentID(uint32_t id, uint32_t* parent);
    /// Whether `dir`'s list holds `id` (in *listed); false when the list can't be read.
    bool IsListed(uint32_t id, const VFileRef& dir, bool* listed);
    /// CreateFile, and for `directory` CreateDirectory (type "temp"): the item is complete,
    /// a directory already "fold", before it is linked into `parent`.
    VFileRef CreateItem(const VFileRef& parent, const string& name, VFileType type,
                        bool directory);

    VFSVolume* mVolume = nullptr;  // owned
};

#endif  // ZYNE_VIRTUALVOLUME_VHFS_VOLUME_H
