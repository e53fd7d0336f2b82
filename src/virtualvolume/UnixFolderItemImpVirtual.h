// UnixFolderItemImpVirtual.h - the folder item for an item inside a virtual volume.
//
// Lets code written against FolderItemImp (the plug-in loader walks a container's folders by
// name and copies files out of it) work on the contents of a VHFSVolume as on a disk folder.
// Only the root item holds its own ref ("resolved"); every other item holds the ref of the
// directory that contains it plus its name, and looks the name up among that directory's
// children each time it is asked, so it may name a child that does not exist yet.
// Listings are kept: a directory's children, once read, are shared by the item and the
// children it hands out, and read again only after the volume changed (its block layer's
// change count moved), so walking a folder of N children reads it once, not N times.
// Not here: open files (every operation resolves, calls the volume and releases what it
// opened), permissions, owners, visibility and the rest, which keep the base defaults.
// The volume is not owned and must outlive its items.
#ifndef ZYNE_VIRTUALVOLUME_UNIX_FOLDER_ITEM_IMP_VIRTUAL_H
#define ZYNE_VIRTUALVOLUME_UNIX_FOLDER_ITEM_IMP_VIRTUAL_H

#include <cstdint>

#include "core/string.h"
#include "files/FolderItemImp.h"
#include "virtualvolume/VHFSVolume.h"

/// The creator code a directory reports in its type string ("MACS").
inline constexpr uint32_t kDirectoryCreatorCode = 0x4D414353;
/// The type code the root reports in its type string ("disk").
inline constexpr uint32_t kRootTypeCode = 0x6469736B;

/// A directory's children as last read, shared by the items that use it (defined in the
/// .cpp).
struct VirtualFolderListing;

class UnixFolderItemImpVirtual : public FolderItemImp {
public:
    /// An item of `volume` (not owned; null makes every operation fail or answer empty).
    /// Only the root's ref (id kRootDirectoryIDnum) makes a usable item: it is copied with
    /// its name and the item is resolved. Any other ref gives an empty item that names
    /// nothing; children and parents come from navigation.
    UnixFolderItemImpVirtual(VHFSVolume* volume, const VFileRef& ref);
    ~UnixFolderItemImpVirtual() override;

    UnixFolderItemImpVirtual(const UnixFolderItemImpVirtual&) = delete;

    // ----- Overrides, in slot order (see FolderItemImp.h for the contracts) -----

    /// Copies volume, ref, name and resolved state (and shares the listings) when `other`
    /// is a virtual item too; nothing otherwise.
    FolderItemImp& operator=(const FolderItemImp& other) override;
    UnixFolderItemImpVirtual& operator=(const UnixFolderItemImpVirtual& other);
    /// A new item with the same volume, ref, name and state; owned by the caller. Null only
    /// when memory ran out.
    FolderItemImp* Clone() override;
    /// The item is found in the volume.
    bool Exists() override;
    /// The item is found and is a directory.
    bool IsDirectory() override;
    /// Always true.
    bool IsVirtual() const override;
    /// The item's own name ("/" for the root); the stored name once SetName succeeded.
    string GetName() override;
    /// Renames the item in the volume (its first 223 UTF-8 bytes) and takes the stored name.
    /// False when the item does not exist or the volume refuses.
    bool SetName(string name) override;
    /// The names from the root down joined with "/". The root is named "/", so the root
    /// itself gives "/" and an item X in it "//X".
    string GetAbsolutePath() override;
    /// Nine ASCII bytes, creator "/" type, each code copied in the host's memory order
    /// (reversed letters on a little-endian host); empty when the item does not exist.
    string GetTypeString() override;
    /// The stored type ("fold" for a directory); '????' when the item does not exist.
    long GetFourCharType() override;
    /// Retypes an existing file; false for a directory, a missing item, 0 or "fold".
    bool SetFourCharType(long type) override;
    /// The stored date; 0.0 when the item does not exist.
    double GetCreationDate() override;
    /// Always false and nothing changes (see the .cpp).
    bool SetCreationDate(double date) override;
    /// The stored date; 0.0 when the item does not exist.
    double GetModificationDate() override;
    /// Always false and nothing changes (see the .cpp).
    bool SetModificationDate(double date) override;
    /// 0 for a missing item, 2 for the root, else the id of the containing directory.
    long GetDirID() override;
    /// The stored content length (for a directory 4 x children + 4); 0 when missing.
    unsigned long long GetLength() override;
    /// Always false and nothing changes (see the .cpp).
    bool SetLength(unsigned long long length) override;
    /// A read-write stream over an existing file, big-endian with doubles swapped, owned by
    /// the caller, who closes or deletes it before the volume. Null for a directory or a
    /// missing item. The flags are not used.
    RandomAccessMechanism* OpenFile(unsigned char read, unsigned char write) override;
    /// The containing directory, owned by the caller; the root item for a child of the
    /// root; null for the root itself, without a volume, or for an empty item.
    FolderItemImp* GetParent() override;
    /// The number of children of a directory; 0 for anything else or on failure.
    long GetChildCount() override;
    /// The index-th child (0-based, stored order, counting children that can't be read),
    /// owned by the caller; null when this is not a directory or the index is outside
    /// 0 .. count - 1. `resolve` is not used.
    FolderItemImp* GetChildByIndex(long index, long resolve) override;
    /// The child named `name` in this directory, existing or not, owned by the caller; null
    /// when this is not a directory. `resolve` is not used.
    FolderItemImp* GetChildByName(string name, long resolve) override;
    /// Makes the missing item a directory; false when it exists or the volume refuses.
    bool CreateFolder() override;
    /// Makes the missing item an empty file of type "????" and returns it open, owned by the
    /// caller, in the stream defaults (little-endian). Null when the item exists or on
    /// failure. The argument is not used.
    RandomAccessMechanism* CreateFile(string type) override;
    /// Deletes an existing file or empty directory (never the root); false otherwise.
    bool DeleteFile() override;
    /// Inside one volume: relinks (and for a non-directory destination renames) the item;
    /// true whatever the volume said. Elsewhere: copy, then delete this item; the delete's
    /// result. True at once when `destination` is this item or names the same one, and,
    /// inside one volume, when this item does not exist (the destination is kept).
    bool MoveFileTo(FolderItemImp* destination) override;

    // ----- Non-virtual -----

    /// The volume the item lives in; not owned by the item.
    VHFSVolume* GetVolume() const { return mVolume; }
    /// The item's current ref: its own when resolved, else the first child of the
    /// containing directory whose name compares equal (without regard to case) to the
    /// item's name. Empty (id 0, type 0) when there is none or the listing fails.
    VFileRef FileRef();

private:
    UnixFolderItemImpVirtual(VHFSVolume* volume, const VFileRef& ref, const string& name,
                             uint8_t resolved);
    /// The listing of `dir` in `*slot`, read again when stale; null when memory ran out.
    VirtualFolderListing* Listing(VirtualFolderListing** slot, const VFileRef& dir);
    void ShareListings(const UnixFolderItemImpVirtual& other);
    void DropListings();

    VHFSVolume* mVolume;    // not owned; null = every operation fails
    string mName;           // the item's own name
    VFileRef mRef;          // resolved: the item's own ref; else its containing directory's
    uint8_t mResolved = 0;  // 1 only for the root (and the root made by GetParent)

    // Caches; they change no result. Both listings are shared (counted references).
    VirtualFolderListing* mInside = nullptr;  // children of mRef when unresolved
    VirtualFolderListing* mOwn = nullptr;     // children of this item when a directory
    long mHint = -1;  // this item's index in mInside when made by GetChildByIndex; -1 none
};

#endif  // ZYNE_VIRTUALVOLUME_UNIX_FOLDER_ITEM_IMP_VIRTUAL_H
