// PluginLoader.cpp - loading a plug-in file: bare libraries, containers, extraction.
//
// LoadPlugin tells a bare shared library (the ELF magic) from a container (a name ending
// in ".zqx"), walks a container's family folders and their per-target folders, makes one
// PluginDefinition per library index and runs each Linux library's ZYNEPluginMain with the
// guest resolver, so that its registrations land in that record.
//
// A Linux library is copied out of the container into the temporary data folder
// (".tmpZQData" in the home folder, else "/tmp") under the first free name "<n><name>",
// n from 0 to 99. The copy is published already locked: made as an unnamed file, locked
// with flock, written, and only then linked under its name (where the file system cannot
// make unnamed files: created exclusively, never through a link, and locked before a byte
// is written). It stays locked for the life of its record, so other processes' sweeps and
// duplicate checks always see the lock. The data folder is opened once per extraction and
// checked on its descriptor (no link, our own), and every name is made relative to that
// descriptor. Every descriptor opened here is close-on-exec, so a child the host or a
// guest starts never inherits (and so never prolongs) a lock.
// Not here: the sweep of the temporary data folder (PluginBridge.cpp), the resolver
// (GuestResolver.cpp), the record's teardown (PluginDefinition.cpp).
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bridge/BridgeGlobals.h"
#include "bridge/Container.h"
#include "bridge/GuestResolver.h"
#include "bridge/PluginBridge.h"
#include "bridge/PluginDefinition.h"
#include "core/StringUtilities.h"
#include "files/FolderItemImpUnix.h"
#include "streams/DataFile.h"
#include "streams/RandomAccessMechanism.h"

namespace {

// GetChildByIndex/GetChildByName's alias flag, as every container lookup passes it.
constexpr long kResolveAliases = 64;
// dlopen's flag 1: lazy binding, symbols kept local to the library.
constexpr int kLazyLocal = RTLD_LAZY;
static_assert(RTLD_LAZY == 1, "the loader opens libraries with flag 1");
// Permission bits: read, write and search for everyone on the folder; read and write for
// everyone on an extracted library.
constexpr long kFolderPermissions = 0x1FF;
constexpr mode_t kLibraryPermissions = 0x1B6;
// Names "0<name>" .. "99<name>" are tried.
constexpr unsigned long kMaxTemporaryNames = 100;
// Times the data folder is made, or an extraction tried, when another process's sweep
// removes the folder under it. Each new attempt follows a removal, that is progress made
// by another process; with a few loaders at once a handful of attempts in a row is common.
constexpr int kFolderAttempts = 64;
// A library larger than this is not read into memory; no plug-in comes near it.
constexpr unsigned long long kMaxLibraryBytes = 1ULL << 30;

using PluginMainProc = void (*)(ZYNEResolver resolver);

// The target folders of "Build Resources", in the order they are looked up.
constexpr const char* kMacClassicFolder = "Mac Classic";
constexpr const char* kMacCarbonFolder = "Mac Carbon";
constexpr const char* kMachOFolder = "Mac Carbon Mach-O";
constexpr const char* kMachOUniversalFolder = "Mac Carbon Mach-O Universal";
constexpr const char* kWindowsFolder = "Windows";
constexpr const char* kLinuxFolder = "Linux X86";
constexpr const char* kMacCocoaFolder = "Mac Cocoa";

// `item` open for reading only (close-on-exec, as the stream layer opens every file);
// nil when it cannot be opened.
RandomAccessMechanism* OpenForReading(FolderItemImp* item) {
    return item->OpenFile(1, 0);
}

// The child `name` of `folder` when it exists; nil otherwise. Owned by the caller.
FolderItemImp* ExistingChild(FolderItemImp* folder, const char* name) {
    if (folder == nullptr) return nullptr;
    FolderItemImp* child = folder->GetChildByName(string(name), kResolveAliases);
    if (child != nullptr && !child->Exists()) {
        delete child;
        child = nullptr;
    }
    return child;
}

// Reads the whole of `stream` into a new malloc'ed block; nil when it is empty, too
// large, or cannot be read. *length receives the byte count.
void* ReadWhole(RandomAccessMechanism* stream, unsigned long long* length) {
    *length = 0;
    const unsigned long long size = stream->GetLength();
    if (size == 0 || size > kMaxLibraryBytes) return nullptr;
    auto* bytes = static_cast<char*>(std::malloc(static_cast<size_t>(size)));
    if (bytes == nullptr) return nullptr;
    unsigned long long done = 0;
    while (done < size) {
        const unsigned long long left = size - done;
        const unsigned int chunk = left > 0x10000000ULL ? 0x10000000U : static_cast<unsigned>(left);
        int actual = 0;
        if (!stream->ReadData(bytes + done, chunk, &actual) || actual <= 0) break;
        done += static_cast<unsigned long long>(actual);
    }
    if (done != size) {
        std::free(bytes);
        return nullptr;
    }
    *length = size;
    return bytes;
}

// Record i of `defs`, made (with a clone of the container, source kind 2 and index i)
// when the slot is empty. Slots below i that no child filled stay nil. Nil when memory ran out.
PluginDefinition* RecordAt(SimpleVector<PluginDefinition*>& defs, long index,
                           FolderItemImp* containerFile) {
    PluginDefinition** slot = defs.GrowingAt(index);
    if (slot == nullptr) return nullptr;
    if (*slot == nullptr) {
        auto* record = new PluginDefinition;
        record->containerFile = containerFile->Clone();
        record->sourceKind = kSourceContainer;
        // The record's libraries sit at this index in every target folder; a record with
        // no Linux library still finds its own Windows or Mac file by it.
        record->linuxIndex = static_cast<uint32_t>(index);
        *slot = record;
    }
    return *slot;
}

// Sets one target flag on the record of every library in `targetFolder` (destroyed here;
// nil is harmless).
void MarkTarget(FolderItemImp* targetFolder, FolderItemImp* containerFile,
                SimpleVector<PluginDefinition*>& defs, bool PluginDefinition::*flag) {
    if (targetFolder == nullptr) return;
    const long count = targetFolder->GetChildCount();
    for (long i = 0; i < count; ++i) {
        FolderItemImp* child = targetFolder->GetChildByIndex(i, kResolveAliases);
        if (child == nullptr) continue;
        if (PluginDefinition* record = RecordAt(defs, i, containerFile)) record->*flag = true;
        delete child;
    }
    delete targetFolder;
}

// Whether the descriptor and the entry `entry` of the folder `dir` name one file (the
// entry itself, never a link's target): false once someone removed or replaced the entry.
bool StillNamedBy(int fd, int dir, const char* entry) {
    struct stat byDescriptor;
    struct stat byName;
    return fstat(fd, &byDescriptor) == 0 &&
           fstatat(dir, entry, &byName, AT_SYMLINK_NOFOLLOW) == 0 &&
           byDescriptor.st_dev == byName.st_dev && byDescriptor.st_ino == byName.st_ino;
}

bool WriteAll(int fd, const void* bytes, unsigned long long length) {
    const char* next = static_cast<const char*>(bytes);
    while (length > 0) {
        const size_t chunk = length > 0x40000000ULL ? 0x40000000U : static_cast<size_t>(length);
        const ssize_t written = write(fd, next, chunk);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        next += written;
        length -= static_cast<unsigned long long>(written);
    }
    return true;
}

// The descriptor of the folder at `path`, opened without following a link in its last
// component and checked on the open descriptor, so the folder cannot be swapped between
// the check and its use. -1 when it is no folder, is a link, or (with `mustBeOurs`)
// belongs to another user.
int OpenCheckedFolder(const char* path, bool mustBeOurs) {
    const int dir = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (dir < 0) return -1;
    struct stat info;
    if (fstat(dir, &info) != 0 || !S_ISDIR(info.st_mode) ||
        (mustBeOurs && info.st_uid != geteuid())) {
        close(dir);
        errno = EPERM;
        return -1;
    }
    return dir;
}

// The temporary data folder item, chosen on first use: ".tmpZQData" in the home folder
// when it exists or can be made there, else "/tmp" (never swept).
FolderItemImp* ChooseTemporaryDataFolder() {
    FolderItemImpUnix root{string("/")};
    if (FolderItemImp* home = root.GetSpecialFolder(kSpecialFolderUserHome)) {
        FolderItemImp* data = home->GetChildByName(string(".tmpZQData"), 0);
        delete home;
        if (data != nullptr) {
            const string pathText = data->GetAbsolutePath().GetUTF8String();
            // A folder another process made since is as good as our own, and one that
            // another process's sweep removed again is made once more; mkdir never follows
            // a link in the last component.
            struct stat info;
            bool found = false;
            for (int attempt = 0; attempt < kFolderAttempts && !found; ++attempt) {
                (void)mkdir(pathText.CString(), static_cast<mode_t>(kFolderPermissions));
                found = lstat(pathText.CString(), &info) == 0;
                if (!found && errno != ENOENT) break;
            }
            // A link is kept for now and refused when opened (below).
            if (found && (S_ISDIR(info.st_mode) || S_ISLNK(info.st_mode))) return data;
            delete data;
            // Only a folder that cannot exist here falls back to "/tmp".
        }
    }
    // Deliberate: "/tmp" is shared with everything else on the machine, so a bridge
    // never sweeps it.
    TemporaryDataFolderCleanUp() = false;
    return new FolderItemImpUnix(string("/tmp"));
}

// The temporary data folder and an open descriptor on it, which the caller closes; the
// folder item stays the process's. ".tmpZQData" is made anew when a sweep removed it
// since, and gets read, write and search permissions for everyone. -1 when it is a
// symbolic link or belongs to another user; the item is then forgotten.
int OpenTemporaryDataFolder(FolderItemImp** folderOut) {
    *folderOut = nullptr;
    FolderItemImp*& folder = TemporaryDataFolder();
    if (folder == nullptr) folder = ChooseTemporaryDataFolder();
    if (folder == nullptr) return -1;
    const string pathText = folder->GetAbsolutePath().GetUTF8String();
    const bool ours = TemporaryDataFolderCleanUp();  // "/tmp" belongs to the system
    int dir = -1;
    for (int attempt = 0; attempt < kFolderAttempts && dir < 0; ++attempt) {
        if (ours) (void)mkdir(pathText.CString(), static_cast<mode_t>(kFolderPermissions));
        dir = OpenCheckedFolder(pathText.CString(), ours);
        if (dir < 0 && errno != ENOENT) break;  // only a folder swept away meanwhile
    }
    if (dir < 0) {
        // Forgotten, so that no bridge sweeps through a link or in someone else's folder.
        if (ours) {
            delete folder;
            folder = nullptr;
        }
        return -1;
    }
    struct stat opened;
    if (ours && fstat(dir, &opened) == 0) {
        // On the descriptor, not the name: the folder that was checked is the one opened up.
        fchmod(dir, (opened.st_mode & 07777) | static_cast<mode_t>(kFolderPermissions));
    }
    *folderOut = folder;
    return dir;
}

// Whether the folder open as `dir` has been removed (by a sweep) since it was opened.
bool FolderRemoved(int dir) {
    struct stat info;
    return fstat(dir, &info) == 0 && info.st_nlink == 0;
}

// Whether a library name taken from a container may name a file in the data folder.
bool IsSafeLibraryName(const string& name) {
    const char* text = name.CString();
    if (name.IsEmpty() || std::strlen(text) != name.Length()) return false;  // empty or NUL
    if (std::memchr(text, '/', name.Length()) != nullptr) return false;
    return std::strcmp(text, ".") != 0 && std::strcmp(text, "..") != 0;
}

// Set by an environment switch so that tests can run the path taken on file systems
// without unnamed temporary files.
bool UnnamedFilesDisabled() {
    const char* value = std::getenv("ZYNE_LOADER_NO_TMPFILE");
    return value != nullptr && value[0] == '1';
}

// How an attempt to publish an extracted library under one name ended. kRefused: a
// message said why, and the load ends there even if the folder goes away meanwhile.
enum class Publish { kDone, kNameTaken, kSwept, kUnsupported, kFailed, kRefused };

// Publishes the bytes as `entry` of `dir`, already locked: the file is made unnamed
// (O_TMPFILE), locked, filled and only then linked into place, so no other process ever
// sees the name on a file that is unlocked or half written. *fd receives the locked
// descriptor on kDone. kUnsupported when the file system cannot make unnamed files.
Publish PublishUnnamed(int dir, const char* entry, const void* bytes, unsigned long long length,
                       int* fd) {
    if (UnnamedFilesDisabled()) return Publish::kUnsupported;
    const int made = openat(dir, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, kLibraryPermissions);
    if (made < 0) {
        return errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL ? Publish::kUnsupported
                                                                         : Publish::kFailed;
    }
    // Read and write for everyone whatever the umask, so any user's sweep can clean up.
    if (flock(made, LOCK_EX | LOCK_NB) != 0 || fchmod(made, kLibraryPermissions) != 0 ||
        !WriteAll(made, bytes, length)) {
        close(made);
        return Publish::kFailed;
    }
    char self[32];
    std::snprintf(self, sizeof self, "/proc/self/fd/%d", made);
    int linked = linkat(AT_FDCWD, self, dir, entry, AT_SYMLINK_FOLLOW);
    if (linked != 0 && errno == ENOENT) {
        // No /proc: the direct way, which needs the privilege to reach files by descriptor.
        linked = linkat(made, "", dir, entry, AT_EMPTY_PATH);
    }
    if (linked != 0) {
        const int error = errno;
        close(made);
        if (error == EEXIST) return Publish::kNameTaken;
        if (FolderRemoved(dir)) return Publish::kFailed;  // swept away: tried again anew
        return error == ENOENT || error == EPERM ? Publish::kUnsupported : Publish::kFailed;
    }
    *fd = made;
    return Publish::kDone;
}

// The same for file systems without unnamed files: the name is created exclusively, never
// through a link, and locked before a byte is written.
Publish PublishNamed(int dir, const char* entry, const void* bytes, unsigned long long length,
                     int* fd) {
    const int made =
        openat(dir, entry, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kLibraryPermissions);
    if (made < 0) return errno == EEXIST ? Publish::kNameTaken : Publish::kFailed;
    if (flock(made, LOCK_EX | LOCK_NB) != 0) {
        std::printf("NOT GOOD: File already locked?\n");
        std::fflush(stdout);
        close(made);
        return Publish::kRefused;
    }
    // A sweep in another process may have taken the empty file for a leftover between
    // the create and the lock; the name then no longer leads to it, and another is tried.
    if (!StillNamedBy(made, dir, entry)) {
        close(made);
        return Publish::kSwept;
    }
    if (fchmod(made, kLibraryPermissions) != 0 || !WriteAll(made, bytes, length)) {
        // Never leave a truncated library behind for a later dlopen; removed while still
        // locked, so the name cannot lead to anyone else's file by then.
        unlinkat(dir, entry, 0);
        close(made);
        return Publish::kFailed;
    }
    *fd = made;
    return Publish::kDone;
}

// Whether another open file holds the lock of `entry` (a plug-in some process has loaded).
bool HeldByAnother(int dir, const char* entry) {
    const int probe = openat(dir, entry, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (probe < 0) return false;
    const bool held = flock(probe, LOCK_EX | LOCK_NB) != 0;
    close(probe);  // a lock it got goes with the descriptor
    return held;
}

// The container's absolute path for the duplicate message.
string SourceDescription(const PluginDefinition* record) {
    if (record == nullptr || record->containerFile == nullptr) return string("Unknown source");
    return record->containerFile->GetAbsolutePath();
}

}  // namespace

// ----- Telling files apart ---------------------------------------------------------------

bool PluginBridge::IsNativeSharedLibraryFile(FolderItemImp* item) {
    if (item == nullptr) return false;
    RandomAccessMechanism* stream = OpenForReading(item);
    if (stream == nullptr) return false;
    unsigned char magic[4] = {0, 0, 0, 0};
    int actual = 0;
    const bool read = stream->ReadData(magic, sizeof magic, &actual) && actual == 4;
    delete stream;
    return read && magic[0] == 0x7F && magic[1] == 'E' && magic[2] == 'L' && magic[3] == 'F';
}

bool PluginBridge::IsZQXFile(FolderItemImp* item) {
    if (item == nullptr) return false;
    return right(item->GetName(), 4).Compare(string(".zqx")) == 0;
}

bool PluginBridge::IsCodeResource(FolderItemImp* item) {
    return IsNativeSharedLibraryFile(item) || IsZQXFile(item);
}

// ----- LoadPlugin ------------------------------------------------------------------------

bool PluginBridge::LoadPlugin(ZYNEobject location) {
    SetCurrentPluginDefinition(nullptr);
    SetCurrentPluginBridge(nullptr);
    if (location == nullptr) return false;

    ZYNEstring hostPath = ZYNEpathFromFolderItem(location);
    if (hostPath == nullptr) return false;
    const string path(ZYNECString(hostPath));  // tagged ASCII, as the host's paths are taken
    ZYNEUnlockString(hostPath);
    if (path.IsEmpty()) return false;
    FolderItemImp* item = new FolderItemImpUnix(path);

    bool result = false;
    // Deliberate: a file that starts with the ELF magic but does not load as a library
    // is tried as a container as well when its name says so.
    if (IsNativeSharedLibraryFile(item) && LoadNativeSharedLibrary(item)) {
        result = true;
    } else if (IsZQXFile(item)) {
        if (FolderItemImp* root = OpenContainerRoot(item)) {
            const long count = root->GetChildCount();
            for (long i = 0; i < count; ++i) {
                FolderItemImp* child = root->GetChildByIndex(i, kResolveAliases);
                if (child == nullptr) continue;
                // Deliberate: the last family folder's answer wins; a plain file at the
                // top level leaves the answer as it was.
                if (child->IsDirectory()) result = LoadPluginFromVirtualVolume(child, item);
                delete child;
            }
            CloseContainerRoot(root);
        }
    }
    delete item;
    SetCurrentPluginDefinition(nullptr);
    SetCurrentPluginBridge(nullptr);
    return result;
}

// ----- A bare library --------------------------------------------------------------------

bool PluginBridge::LoadNativeSharedLibrary(FolderItemImp* item) {
    PluginDefinition* record = GetCurrentPluginDefinition();
    const bool isNew = record == nullptr;
    if (isNew) {
        record = new PluginDefinition;
        record->sourceKind = kSourceNativeLibrary;
    }
    delete record->libraryFile;
    record->libraryFile = item->Clone();

    void* handle = dlopen(item->GetAbsolutePath().GetUTF8String().CString(), kLazyLocal);
    if (handle == nullptr) {
        if (isNew) PluginDefinition::Release(record);
        return false;
    }
    // The record owns the handle: its destructor closes it, also when it is dropped below.
    if (record->libraryHandle != nullptr && record->libraryHandle != handle) {
        dlclose(record->libraryHandle);
    }
    record->libraryHandle = handle;
    auto main = reinterpret_cast<PluginMainProc>(dlsym(handle, "ZYNEPluginMain"));
    if (main == nullptr) {
        if (isNew) PluginDefinition::Release(record);
        return false;
    }

    if (!isNew) {
        // Loading into a record some other load made current: that load clears it.
        record->isLinux = true;
        main(&GuestResolver);
        return true;
    }
    if (!definitions.Append(record)) {
        PluginDefinition::Release(record);
        return false;
    }
    SetCurrentPluginDefinition(record);
    SetCurrentPluginBridge(this);
    record->isLinux = true;
    main(&GuestResolver);
    SetCurrentPluginDefinition(nullptr);
    SetCurrentPluginBridge(nullptr);
    return true;
}

// ----- A container's family folder -------------------------------------------------------

bool PluginBridge::LoadPluginFromVirtualVolume(FolderItemImp* folder,
                                               FolderItemImp* containerFile) {
    pluginName = folder->GetName();

    // Help: "IDE Resources/Help/index.html". Deliberate: never set back to false.
    if (FolderItemImp* ide = ExistingChild(folder, "IDE Resources")) {
        if (FolderItemImp* help = ExistingChild(ide, "Help")) {
            if (FolderItemImp* index = ExistingChild(help, "index.html")) {
                hasHelp = true;
                delete index;
            }
            delete help;
        }
        delete ide;
    }

    FolderItemImp* build = ExistingChild(folder, "Build Resources");
    if (build == nullptr) return false;
    if (!build->IsDirectory()) {
        delete build;
        return false;
    }

    FolderItemImp* classic = ExistingChild(build, kMacClassicFolder);
    FolderItemImp* carbon = ExistingChild(build, kMacCarbonFolder);
    FolderItemImp* machO = ExistingChild(build, kMachOFolder);
    FolderItemImp* universal = ExistingChild(build, kMachOUniversalFolder);
    FolderItemImp* windows = ExistingChild(build, kWindowsFolder);
    FolderItemImp* linuxFolder = ExistingChild(build, kLinuxFolder);
    FolderItemImp* cocoa = ExistingChild(build, kMacCocoaFolder);
    SimpleVector<PluginDefinition*> defs;

    // The i-th library of every target folder belongs to the i-th record.
    MarkTarget(classic, containerFile, defs, &PluginDefinition::isClassic);
    bool loaded = LoadMacCarbonPluginFromVVFolder(carbon, containerFile, defs, kMacCarbon, false);
    loaded = LoadMacCarbonPluginFromVVFolder(machO, containerFile, defs, kMachO, loaded);
    loaded =
        LoadMacCarbonPluginFromVVFolder(universal, containerFile, defs, kMachOUniversal, loaded);
    MarkTarget(cocoa, containerFile, defs, &PluginDefinition::isCocoa);
    MarkTarget(windows, containerFile, defs, &PluginDefinition::isWin32);

    // Only the Linux libraries are loaded; the answer says whether any of them was.
    bool result = false;
    if (linuxFolder != nullptr) {
        const long count = linuxFolder->GetChildCount();
        for (long i = 0; i < count; ++i) {
            FolderItemImp* child = linuxFolder->GetChildByIndex(i, kResolveAliases);
            if (child == nullptr) continue;
            PluginDefinition* record = RecordAt(defs, i, containerFile);
            if (record == nullptr) {
                delete child;
                continue;
            }
            record->isLinux = true;
            RandomAccessMechanism* stream = OpenForReading(child);
            unsigned long long length = 0;
            void* bytes = stream != nullptr ? ReadWhole(stream, &length) : nullptr;

            SetCurrentPluginDefinition(record);
            SetCurrentPluginBridge(this);
            record->deleteLibraryOnClose = true;
            record->linuxIndex = static_cast<uint32_t>(i);
            if (bytes != nullptr && LoadLinuxPlugin(child->GetName(), bytes, length)) {
                result = true;
            } else {
                record->isLinux = false;
            }
            SetCurrentPluginDefinition(nullptr);
            SetCurrentPluginBridge(nullptr);
            std::free(bytes);
            delete stream;
            delete child;
        }
        delete linuxFolder;
    }

    // Every record goes to the bridge, loaded or not, each with the reference it was made
    // with. Slots no child filled stay out.
    for (long i = 0; i < defs.Count(); ++i) {
        if (defs[i] == nullptr) continue;
        if (!definitions.Append(defs[i])) PluginDefinition::Release(defs[i]);
    }
    delete build;
    (void)loaded;  // the Mac targets only record support; nothing of theirs is loaded
    return definitions.Count() > 0 && result;
}

bool PluginBridge::LoadMacCarbonPluginFromVVFolder(FolderItemImp* targetFolder,
                                                   FolderItemImp* containerFile,
                                                   SimpleVector<PluginDefinition*>& defs,
                                                   long target, bool result) {
    if (targetFolder == nullptr) return result;
    const long count = targetFolder->GetChildCount();
    for (long i = 0; i < count; ++i) {
        FolderItemImp* child = targetFolder->GetChildByIndex(i, kResolveAliases);
        if (child == nullptr) continue;
        if (PluginDefinition* record = RecordAt(defs, i, containerFile)) {
            if (target == kMachO) record->isMachO = true;
            if (target == kMachOUniversal) record->isMachOUniversal = true;
            if (target == kMacCarbon) record->isCarbon = true;
        }
        delete child;
    }
    delete targetFolder;
    return result;
}

// ----- Extracting and loading a Linux library --------------------------------------------

namespace {

// The last component of `path` when `path` names a direct child of `folderPath`; nil when
// it would lie anywhere else. The answer points into `path`.
const char* EntryIn(const string& folderPath, const string& path) {
    const char* folderText = folderPath.CString();
    size_t folderLength = folderPath.Length();
    while (folderLength > 0 && folderText[folderLength - 1] == '/') --folderLength;
    const char* pathText = path.CString();
    if (path.Length() <= folderLength + 1 ||
        std::strncmp(pathText, folderText, folderLength) != 0 || pathText[folderLength] != '/') {
        return nullptr;
    }
    const char* entry = pathText + folderLength + 1;
    return std::strchr(entry, '/') == nullptr ? entry : nullptr;
}

// Extracts `bytes` into the data folder (`folder`, open as `dir`) under the first free
// name "<n><name>" and answers the file's locked descriptor, its item in *published (owned
// by the caller); -1 and nil when it cannot, after printing why where a message is due
// (*refused is then set: the answer is final).
// A name that exists in any form (a link counts, even a dangling one) is passed over, and
// one is never reused or removed here: only a sweep removes leftovers.
int ExtractLibrary(FolderItemImp* folder, int dir, const string& name, const void* bytes,
                   unsigned long long length, const PluginDefinition* record,
                   FolderItemImp** published, bool* refused) {
    *published = nullptr;
    *refused = false;
    const string folderPath = folder->GetAbsolutePath().GetUTF8String();
    bool unnamed = true;
    for (unsigned long n = 0; n < kMaxTemporaryNames; ++n) {
        FolderItemImp* candidate = folder->GetChildByName(ultoa(static_cast<long>(n)) + name, 0);
        if (candidate == nullptr) return -1;
        const string pathText = candidate->GetAbsolutePath().GetUTF8String();
        const char* entry = EntryIn(folderPath, pathText);
        struct stat existing;
        if (entry == nullptr || fstatat(dir, entry, &existing, AT_SYMLINK_NOFOLLOW) == 0 ||
            errno != ENOENT) {
            delete candidate;
            if (entry == nullptr) return -1;
            continue;
        }
        int fd = -1;
        Publish outcome =
            unnamed ? PublishUnnamed(dir, entry, bytes, length, &fd) : Publish::kUnsupported;
        if (outcome == Publish::kUnsupported) {
            unnamed = false;
            outcome = PublishNamed(dir, entry, bytes, length, &fd);
        }
        if (outcome == Publish::kDone) {
            *published = candidate;
            return fd;
        }
        if (outcome == Publish::kNameTaken && HeldByAnother(dir, entry)) {
            // It appeared since the test above and is locked: another process has loaded
            // this very plug-in at the same moment.
            std::printf("Duplicate plug-in found %s from %s\n", pathText.CString(),
                        SourceDescription(record).CString());
            std::fflush(stdout);
            outcome = Publish::kRefused;
        }
        delete candidate;
        if (outcome == Publish::kRefused) *refused = true;
        if (outcome != Publish::kNameTaken && outcome != Publish::kSwept) return -1;
    }
    // Deliberate: a hundred leftovers stop every load of this library until a sweep.
    std::printf("Could not generate a unique filename for plugin %s, time to clean %s\n",
                name.CString(), folder->GetAbsolutePath().CString());
    std::fflush(stdout);
    *refused = true;
    return -1;
}

}  // namespace

bool PluginBridge::LoadLinuxPlugin(const string& name, const void* bytes,
                                   unsigned long long length) {
    PluginDefinition* record = GetCurrentPluginDefinition();
    if (record == nullptr) return false;
    // A container is untrusted: a name that could leave the folder is refused.
    if (!IsSafeLibraryName(name)) return false;
    // A sweep in another process removes the folder once it is empty, also between our
    // opening it and our file landing in it; the folder is then made anew.
    FolderItemImp* candidate = nullptr;
    int fd = -1;
    for (int attempt = 0; attempt < kFolderAttempts && fd < 0; ++attempt) {
        FolderItemImp* folder = nullptr;
        const int dir = OpenTemporaryDataFolder(&folder);
        if (dir < 0) return false;
        bool refused = false;
        fd = ExtractLibrary(folder, dir, name, bytes, length, record, &candidate, &refused);
        const bool removed = fd < 0 && !refused && FolderRemoved(dir);
        close(dir);
        if (!removed) break;
    }
    if (fd < 0) return false;

    // The record keeps the descriptor, and so the lock, for its life; the lock goes when
    // the descriptor is closed, never by an unlock that a forked child could share.
    long error = 0;
    DataFile* lock =
        DataFile::OpenFromHandle(static_cast<unsigned long>(fd), kFileHandleDescriptor, &error);
    if (lock == nullptr) {
        candidate->DeleteFile();  // still locked here, so the name still leads to our file
        close(fd);
        delete candidate;
        return false;
    }
    delete record->lockStream;
    record->lockStream = lock;

    const string pathText = candidate->GetAbsolutePath().GetUTF8String();
    void* handle = dlopen(pathText.CString(), kLazyLocal);
    delete record->libraryFile;
    record->libraryFile = candidate->Clone();
    if (record->libraryHandle != nullptr && record->libraryHandle != handle) {
        dlclose(record->libraryHandle);
    }
    record->libraryHandle = handle;
    delete candidate;

    // A library that does not load keeps its record; the record's teardown closes the
    // handle and removes the file.
    if (handle == nullptr) return false;
    auto main = reinterpret_cast<PluginMainProc>(dlsym(handle, "ZYNEPluginMain"));
    if (main == nullptr) return false;
    main(&GuestResolver);
    return true;
}
