// FolderItemImp.h - the framework's abstract file-system item.
//
// One FolderItemImp names one file or folder, whether or not it exists, and answers
// questions about it through a long virtual interface. Every operation has a harmless
// default here, so a concrete item (FolderItemImpUnix for POSIX paths, the virtual volume's
// item for paths inside a volume) overrides only what its medium supports. The slot order
// below is fixed: items are shared with code built against this table.
// Defaults that do real work for every item: GetURL (from names and parents), DeleteFolder
// (recursive), CopyFileTo (a stream copy), MoveFileTo (copy, then delete) and the trial
// open of IsCurrentlyWriteable.
// Not here: anything POSIX-specific (files/FolderItemImpUnix.h), byte streams
// (streams/RandomAccessMechanism.h).
#ifndef ZYNE_FILES_FOLDER_ITEM_IMP_H
#define ZYNE_FILES_FOLDER_ITEM_IMP_H

#include <cstdint>

#include "core/string.h"

class RandomAccessMechanism;

/// What a save-info string records (see FolderItemImpUnix.h for the byte layout).
enum eSaveInfoMode {
    kSaveInfoBoth = 0,      // the absolute path and the path relative to a base item
    kSaveInfoRelative = 1,  // the relative path only
    kSaveInfoAbsolute = 2,  // the absolute path only; forced when there is no base item
};

/// The format codes GetPictureFormat answers.
inline constexpr long kPictureFormatNone = 0;
inline constexpr long kPictureFormatPNG = 150;
inline constexpr long kPictureFormatJPEG = 151;
inline constexpr long kPictureFormatPICT = 200;
inline constexpr long kPictureFormatBMP = 350;
inline constexpr long kPictureFormatXPM = 400;
inline constexpr long kPictureFormatXBM = 401;
inline constexpr long kPictureFormatGIF = 402;
inline constexpr long kPictureFormatTIFF = 403;

/// The unknown four-character code "????".
inline constexpr long kUnknownFourCharCode = 0x3F3F3F3F;

class FolderItemImp {
public:
    FolderItemImp() = default;

    // ----- Virtual slots, in this order. Items returned by any of them are new heap
    // objects that the caller owns and deletes; streams likewise. -----

    /// Slots 0, 1. Nothing to release here.
    virtual ~FolderItemImp();
    /// Slot 2. Nothing here; implementations copy their own state and the last error.
    virtual FolderItemImp& operator=(const FolderItemImp& other);
    /// Slot 3. A new item naming the same thing. Never null unless memory ran out.
    virtual FolderItemImp* Clone();
    /// Slot 4. False here.
    virtual bool Exists();
    /// Slot 5. True for a symbolic link (or other alias). False here.
    virtual bool IsAlias();
    /// Slot 6. True for a folder (a link to a folder is not one). False here.
    virtual bool IsDirectory();
    /// Slot 7. True for items inside a virtual volume. False here.
    virtual bool IsVirtual() const;
    /// Slot 8. False here.
    virtual bool IsTrashFolder();
    /// Slot 9. The item's own name, without any slash; empty here.
    virtual string GetName();
    /// Slot 10. Renames the item in place; false on failure (error in GetLastError) and here.
    virtual bool SetName(string name);
    /// Slot 11. GetName() here.
    virtual string GetAbsolutePath();
    /// Slot 12. GetName() here.
    virtual string GetDisplayName();
    /// Slot 13. SetName(name) here.
    virtual bool SetDisplayName(string name);
    /// Slot 14. True here.
    virtual bool GetExtensionVisible();
    /// Slot 15. False (not supported) here.
    virtual bool SetExtensionVisible(unsigned char visible);
    /// Slot 16. The permission bits (mode AND 0xFFF); 0 here and on failure.
    virtual long GetPermissions();
    /// Slot 17. False here.
    virtual bool SetPermissions(long permissions);
    /// Slot 18. False here.
    virtual bool SetOwner(string owner);
    /// Slot 19. The owning user's name; empty here and on failure.
    virtual string GetOwner();
    /// Slot 20. False here.
    virtual bool SetGroup(string group);
    /// Slot 21. The owning group's name; empty here and on failure.
    virtual string GetGroup();
    /// Slot 22. True here.
    virtual bool GetVisible();
    /// Slot 23. False here.
    virtual bool SetVisible(unsigned char visible);
    /// Slot 24. False here.
    virtual bool GetLocked();
    /// Slot 25. False here.
    virtual bool SetLocked(unsigned char locked);
    /// Slot 26. Empty text tagged ASCII here.
    virtual string GetTypeString();
    /// Slot 27. A save-info string locating this item (absolutely, relative to `base`, or
    /// both); empty here and on failure.
    virtual string GetSaveInfo(FolderItemImp* base, eSaveInfoMode mode);
    /// Slot 28. The path as a shell word; GetAbsolutePath() here.
    virtual string GetShellPath();
    /// Slot 29. "file://" and the percent-encoded names of the item and its parents, joined
    /// from the root down with "/"; a trailing "/" for a folder. Tagged ASCII.
    virtual string GetURL();
    /// Slot 30. '????' here.
    virtual long GetFourCharType();
    /// Slot 31. False here.
    virtual bool SetFourCharType(long type);
    /// Slot 32. '????' here.
    virtual long GetFourCharCreator();
    /// Slot 33. False here.
    virtual bool SetFourCharCreator(long creator);
    /// Slot 34. On the date scale (core/DateScale.h); 0 here and on failure.
    virtual double GetCreationDate();
    /// Slot 35. False here.
    virtual bool SetCreationDate(double date);
    /// Slot 36. On the date scale; 0 here and on failure.
    virtual double GetModificationDate();
    /// Slot 37. False here.
    virtual bool SetModificationDate(double date);
    /// Slot 38. 0 here.
    virtual long GetVRefNum();
    /// Slot 39. 0 here.
    virtual long GetDirID();
    /// Slot 40. -1 here.
    virtual long GetSelectedFilterIndex();
    /// Slot 41. False here.
    virtual bool SetSelectedFilterIndex(long index);
    /// Slot 42. True here.
    virtual bool IsCurrentlyReadable();
    /// Slot 43. For an existing item that is not a folder: whether OpenFile(1, 1) succeeds;
    /// the modification date read before the trial is written back after a successful one.
    /// False for folders and missing items.
    virtual bool IsCurrentlyWriteable();
    /// Slot 44. Length in bytes; 0 here and on failure.
    virtual unsigned long long GetLength();
    /// Slot 45. False here.
    virtual bool SetLength(unsigned long long length);
    /// Slot 46. 0 here.
    virtual unsigned long long GetResourceForkLength();
    /// Slot 47. A stream on the item's bytes, owned by the caller; null here and on failure.
    virtual RandomAccessMechanism* OpenFile(unsigned char read, unsigned char write);
    /// Slot 48. -1 (no resource fork) here.
    virtual long OpenResourceFork();
    /// Slot 49. The containing folder, owned by the caller; null here and for the root.
    virtual FolderItemImp* GetParent();
    /// Slot 50. One of the well-known folders by code, owned by the caller; null here.
    virtual FolderItemImp* GetSpecialFolder(unsigned long code);
    /// Slot 51. The number of children of a folder; 0 here and on failure.
    virtual long GetChildCount();
    /// Slot 52. The 0-based index-th child, owned by the caller; null here and when out of
    /// range. A non-zero `resolve` passes the child through ResolveAlias(resolve).
    virtual FolderItemImp* GetChildByIndex(long index, long resolve);
    /// Slot 53. The child of that name (existing or not), owned by the caller; null here.
    /// A non-zero `resolve` passes the child through ResolveAlias(resolve).
    virtual FolderItemImp* GetChildByName(string name, long resolve);
    /// Slot 54. Follows an alias. Returns this item (never a new one); here unchanged.
    virtual FolderItemImp* ResolveAlias(long flags);
    /// Slot 55. Nothing here.
    virtual void ShowOnDisk();
    /// Slot 56. Nothing here.
    virtual void MakeFileExecutable();
    /// Slot 57. False here.
    virtual bool CreateFolder();
    /// Slot 58. Creates (or truncates) the file and returns it open for reading and writing,
    /// owned by the caller; null here and on failure.
    virtual RandomAccessMechanism* CreateFile(string type);
    /// Slot 59. Deletes a file or an empty folder; false here and on failure.
    virtual bool DeleteFile();
    /// Slot 60. Deletes a folder and everything in it, children first. False when this is
    /// not a folder (nothing is deleted) or when anything could not be deleted; the first
    /// failing child stops the walk and its error becomes this item's.
    virtual bool DeleteFolder();
    /// Slot 61. Copies this file's bytes into `destination` (created or truncated). True at
    /// once when `destination` is this item; false on failure.
    virtual bool CopyFileTo(FolderItemImp* destination);
    /// Slot 62. CopyFileTo, then DeleteFile when the copy succeeded; the result is the
    /// copy's AND the delete's. Moving an item onto itself is true and deletes nothing.
    virtual bool MoveFileTo(FolderItemImp* destination);
    /// Slot 63. Runs the item as a program; false here.
    virtual bool Launch(string arguments, unsigned char activate);
    /// Slot 64. False here.
    virtual bool MoveToTrash();

    // ----- Non-virtual -----

    /// The platform error number of the last failed operation (0 when the last operation
    /// that could fail did not).
    int32_t GetLastError() const { return lastError; }

    /// The item for a POSIX path (relative paths are taken from the working directory);
    /// owned by the caller. `flags` is accepted for its callers and not used.
    static FolderItemImp* ConstructFromShellPath(string path, unsigned char flags);
    /// The item for a "file://" URL, or null when the URL is not one; owned by the caller.
    /// `flags` is accepted for its callers and not used.
    static FolderItemImp* ConstructFromURL(string url, unsigned char flags);
    /// The item a save-info string locates (relative records resolved against `base`, which
    /// may be null), or null when the text is not a usable save-info string.
    static FolderItemImp* ConstructFromSaveInfoString(string text, FolderItemImp* base);
    /// True exactly when `text` begins with the save-info magic bytes 00 F1 D1 73.
    static bool IsSaveInfoString(string text);
    /// The path a "file://" URL names, each "/" replaced by `separator`, percent escapes
    /// decoded, tagged UTF-8; empty when the text does not start with "file:///" (the
    /// scheme compared without regard to case).
    static string DecodeURL(string url, char separator);

protected:
    FolderItemImp(const FolderItemImp&) = default;

    // DeleteFolder for a folder `depth` levels below the one asked; refuses with ELOOP
    // past kMaxFolderDepth, so a folder that lists itself cannot exhaust the stack.
    bool DeleteFolderBelow(int depth);
    static constexpr int kMaxFolderDepth = 256;

    int32_t lastError = 0;  // errno of the last failed operation; reset to 0 by each that can fail
};

#endif  // ZYNE_FILES_FOLDER_ITEM_IMP_H
