// FolderItemImpUnix.h - the folder item for a POSIX path, its factories and save-info strings.
//
// The item holds an absolute path in UTF-8; a path that names an existing folder (not a
// link to one) ends with "/". Queries go to stat/lstat/access, changes to the matching
// POSIX calls, and copying, moving, launching and "chmod +x" to the shell through
// UnixHelper::EscapeString and system(). Failures return false, 0, null or empty text and
// leave errno in the item's last error.
// Not here: locking, watching, or any cache of what the disk says: every question asks the
// file system again. Paths are not canonicalised beyond making them absolute; links are
// followed only by ResolveAlias.
//
// Save-info strings: raw bytes that locate an item absolutely, relative to a base item, or
// both. The magic and the record lengths are big-endian; the record tags are written low
// byte first and read from their first byte alone.
// Deliberate: this mixed byte order is the saved format; never "fix" either half.
//
//   OFFSET  SIZE  FIELD    MEANING
//   0       4     magic    0x00F1D173, big-endian: bytes 00 F1 D1 73
//   4       1     version  1
//   5       1     mode     eSaveInfoMode: 0 both, 1 relative, 2 absolute
//   6       ...   records  until a record of tag 0 or the end of the text
//
//   Record:
//   +0      2     tag      little-endian on writing (tag 1 = bytes 01 00); readers take
//                          the first byte alone
//   +2      4     length   big-endian count of data bytes
//   +6      n     data     the record's bytes
//
//   Tags: 0 end (length 0); 1 absolute path; 2 path relative to the base item's folder
//   ("../" per level above the common folder); 3 and 4 one-byte flags, written as 1 and 0
//   and skipped by readers, as is every other unknown tag. Mode 2 writes record 1, mode 1
//   record 2, mode 0 records 1 then 2. A record whose length runs past the end of the
//   text makes the whole string unusable.
#ifndef ZYNE_FILES_FOLDER_ITEM_IMP_UNIX_H
#define ZYNE_FILES_FOLDER_ITEM_IMP_UNIX_H

#include <cstdint>

#include "core/string.h"
#include "files/FolderItemImp.h"

/// The first four bytes of every save-info string, read big-endian.
inline constexpr uint32_t kSaveInfoMagic = 0x00F1D173;
/// The version byte written at offset 4.
inline constexpr unsigned char kSaveInfoVersion = 1;

/// Save-info record tags.
inline constexpr unsigned short kSaveInfoTagEnd = 0;
inline constexpr unsigned short kSaveInfoTagAbsolutePath = 1;
inline constexpr unsigned short kSaveInfoTagRelativePath = 2;
inline constexpr unsigned short kSaveInfoTagFlagOn = 3;
inline constexpr unsigned short kSaveInfoTagFlagOff = 4;

/// Special folder codes for GetSpecialFolder; any other code gives null.
inline constexpr unsigned long kSpecialFolderTemporary = 1001;       // "/tmp"
inline constexpr unsigned long kSpecialFolderHome = 1003;            // $HOME
inline constexpr unsigned long kSpecialFolderPreferences = 1006;     // $HOME
inline constexpr unsigned long kSpecialFolderDesktop = 1009;         // $HOME/Desktop
inline constexpr unsigned long kSpecialFolderEtc = 1034;             // "/etc"
inline constexpr unsigned long kSpecialFolderBin = 1035;             // "/bin"
inline constexpr unsigned long kSpecialFolderUserBin = 1036;         // "/usr/bin"
inline constexpr unsigned long kSpecialFolderSbin = 1037;            // "/sbin"
inline constexpr unsigned long kSpecialFolderUserSbin = 1038;        // "/usr/sbin"
inline constexpr unsigned long kSpecialFolderVar = 1039;             // "/var"
inline constexpr unsigned long kSpecialFolderVarLog = 1040;          // "/var/log"
inline constexpr unsigned long kSpecialFolderUserHome = 1041;        // $HOME
inline constexpr unsigned long kSpecialFolderHomes = 1042;           // "/home"
inline constexpr unsigned long kSpecialFolderMount = 1043;           // "/mnt"
inline constexpr unsigned long kSpecialFolderLib = 1044;             // "/lib"
inline constexpr unsigned long kSpecialFolderUserLib = 1045;         // "/usr/lib"
inline constexpr unsigned long kSpecialFolderCurrentWorking = 1047;  // getcwd

class FolderItemImpUnix : public FolderItemImp {
public:
    /// The item for `path`. A path not starting with "/" is taken from the working
    /// directory; the result is made UTF-8, and "/" is appended when it names a folder.
    /// When `parentMissing` is given it is set to true if the parent folder does not exist
    /// (and never set to false).
    explicit FolderItemImpUnix(string path, bool* parentMissing = nullptr);
    ~FolderItemImpUnix() override;

    FolderItemImpUnix(const FolderItemImpUnix&) = delete;

    // ----- Overrides, in slot order (see FolderItemImp.h for the contracts) -----

    /// Copies the last error, and the path when `other` is a POSIX item too.
    FolderItemImp& operator=(const FolderItemImp& other) override;
    FolderItemImpUnix& operator=(const FolderItemImpUnix& other);
    /// A new item with the same path and extra word; owned by the caller.
    FolderItemImp* Clone() override;
    /// access(path, F_OK).
    bool Exists() override;
    /// lstat says symbolic link.
    bool IsAlias() override;
    /// lstat says folder; a link to a folder is not one.
    bool IsDirectory() override;
    /// "/" for the root; otherwise the last component (a folder's without its "/").
    string GetName() override;
    /// Renames the item within its folder (rename when it exists) and takes the new path.
    bool SetName(string name) override;
    /// The path.
    string GetAbsolutePath() override;
    string GetDisplayName() override;
    bool SetDisplayName(string name) override;
    /// stat (links followed); mode AND 0xFFF, set-id and sticky bits included.
    long GetPermissions() override;
    bool SetPermissions(long permissions) override;
    /// getpwnam, then chown; ENOENT when there is no such user.
    bool SetOwner(string owner) override;
    string GetOwner() override;
    /// getgrnam, then chown; ENOENT when there is no such group.
    bool SetGroup(string group) override;
    string GetGroup() override;
    /// False exactly when the name's first byte is ".".
    bool GetVisible() override;
    /// Renames the item to add or remove the leading "."; true when already as asked.
    bool SetVisible(unsigned char visible) override;
    /// NOT IsCurrentlyWriteable().
    bool GetLocked() override;
    /// False: not supported.
    bool SetLocked(unsigned char locked) override;
    /// See the table above. Without a base item the mode is forced to 2 (absolute).
    string GetSaveInfo(FolderItemImp* base, eSaveInfoMode mode) override;
    /// The path with the seven shell-special characters escaped.
    string GetShellPath() override;
    /// Now on the date scale minus the age of st_ctime (the inode change time, which is
    /// what this item reports as its creation date); 0 on failure.
    double GetCreationDate() override;
    /// False: not supported.
    bool SetCreationDate(double date) override;
    /// Now on the date scale minus the age of st_mtime; 0 on failure.
    double GetModificationDate() override;
    /// utime with the access time kept. The date becomes POSIX seconds by subtracting the
    /// value of 1969-12-31 18:00:00, so the file lands six hours after `date`.
    bool SetModificationDate(double date) override;
    /// Always true; an unreadable item leaves EACCES (or the like) in the last error.
    bool IsCurrentlyReadable() override;
    /// access(path, W_OK); when that fails, the base class's trial open decides.
    bool IsCurrentlyWriteable() override;
    /// st_size from a 64-bit stat; 0 on failure.
    unsigned long long GetLength() override;
    /// 64-bit truncate.
    bool SetLength(unsigned long long length) override;
    /// A DataFile on the path: read-write (locked) when both flags are set, else read-only.
    RandomAccessMechanism* OpenFile(unsigned char read, unsigned char write) override;
    /// The containing folder; null for the root.
    FolderItemImp* GetParent() override;
    /// The folder for a kSpecialFolder... code; null for other codes, and for the home
    /// folders when HOME is unset.
    FolderItemImp* GetSpecialFolder(unsigned long code) override;
    /// Entries other than "." and ".."; names starting with a dot count.
    long GetChildCount() override;
    /// In the order readdir gives (no sorting); index compared unsigned.
    FolderItemImp* GetChildByIndex(long index, long resolve) override;
    /// The folder path followed by `name`; ".." gives the parent.
    FolderItemImp* GetChildByName(string name, long resolve) override;
    /// For a symbolic link: follows the chain of links (at most 40) with readlink, a
    /// relative target taken from the link's folder, and takes the final target's path.
    /// Returns this item. A broken step stops the walk at the link read last, with errno
    /// recorded; a chain too long stops with ELOOP.
    FolderItemImp* ResolveAlias(long flags) override;
    /// Runs "chmod +x " and the escaped path.
    void MakeFileExecutable() override;
    /// mkdir(path, 0777); the path then ends with "/" whether or not mkdir succeeded.
    bool CreateFolder() override;
    /// Drops a trailing "/", then creates or truncates the file (locked, read-write) and
    /// returns it open; the argument is not used.
    RandomAccessMechanism* CreateFile(string type) override;
    /// rmdir for a folder, remove otherwise (a link is removed, not its target).
    bool DeleteFile() override;
    /// Runs "cp " with both escaped paths; true at once when `destination` is this item.
    bool CopyFileTo(FolderItemImp* destination) override;
    /// Runs "mv -f " with both escaped paths. The item keeps its old path.
    bool MoveFileTo(FolderItemImp* destination) override;
    /// Runs the escaped path and the escaped `arguments` in the background ("... &"); true
    /// unless system() itself fails. `activate` is not used.
    bool Launch(string arguments, unsigned char activate) override;

    /// Slot 65. The path of this item relative to `base`'s folder (the base itself when it
    /// is a folder, else its containing folder): "../" per level of that folder below the
    /// folders they share, then the rest of this item's path. Empty when both name the same
    /// folder, or when `base` is null (then with EINVAL).
    virtual string GetRelativePath(FolderItemImpUnix* base);

    // ----- Non-virtual -----

    /// The word copied by Clone; nothing here reads it.
    uint32_t GetExtraWord() const { return mExtraWord; }
    void SetExtraWord(uint32_t word) { mExtraWord = word; }

    /// Stores an error number in the last-error field as it is.
    void MapError(long error);

    /// The picture format the path's suffix names (case-insensitive; see kPictureFormat...),
    /// else kPictureFormatBMP when the file starts with "BM", else kPictureFormatNone.
    long GetPictureFormat();
    /// True when the suffix is ".wav", ".aif", ".aiff", ".aifc", ".au" or ".snd" (any case),
    /// or the file begins with a WAVE, AIFF/AIFC or ".snd" header.
    bool IsValidSoundFormat();

    /// Construction without the parent check; owned by the caller.
    static FolderItemImpUnix* ConstructFromShellPath(string path);
    /// The item DecodeURL(url, '/') names; null when that is empty. Owned by the caller.
    static FolderItemImpUnix* ConstructFromURL(string url);
    /// The item a save-info string locates; null when `text` is not a save-info string, is
    /// truncated inside a record, has an unknown mode or holds no usable path. Relative
    /// records are resolved against `base` (any kind of item; its absolute path is used);
    /// without a base every path record is taken as it stands. The item takes the chosen
    /// path exactly, without the constructor's normalisation. Owned by the caller.
    static FolderItemImpUnix* ConstructFromSaveInfoString(string text, FolderItemImp* base);
    /// `relative` resolved against `base`'s folder: "." steps are dropped and ".." steps
    /// climb. An absolute `relative` is returned as it is. Empty when `base` is null or a
    /// ".." step would climb above the root.
    static string RelativePathToAbsolutePath(string relative, FolderItemImpUnix* base);
    /// The folder of the running application, from the host's "ZYNEGetCommandLineForUnix"
    /// service (a C text whose first word, backslash escapes honoured, is the program),
    /// else from /proc/self/exe. Null when neither answers. Owned by the caller.
    static FolderItemImpUnix* GetAppFolderItem();

private:
    struct RawPath {};
    // The item takes `path` exactly as given (tagged UTF-8), without normalisation.
    FolderItemImpUnix(RawPath, string path);

    // Runs `verb` + escaped path + " " + escaped destination path; the cp / mv core.
    bool RunFileCommand(const char* verb, FolderItemImp* destination);

    string mPath;             // absolute, UTF-8; an existing folder's ends with "/"
    uint32_t mExtraWord = 0;  // zero on creation, copied by Clone, otherwise unused
};

#endif  // ZYNE_FILES_FOLDER_ITEM_IMP_UNIX_H
