// PluginLoader.cpp - loading a plug-in file: bare libraries, containers, extraction.
//
// LoadPlugin tells a bare shared library (the ELF magic) from a container (a name ending
// in ".zqx"), walks a container's family folders and their per-target folders, makes one
// PluginDefinition per library index and runs each Linux library's ZYNEPluginMain with the
// guest resolver, so that its registrations land in that record.
//
// A Linux library is copied out of the container into the temporary data folder
// (".tmpZQData" in the home folder, else "/tmp") under the first free name "<n><name>",
// n from 0 to 99. The copy is created exclusively and locked with flock before a byte is
// written, and stays locked for the life of its record: other processes' sweeps and
// duplicate checks see the lock and leave it alone. Every descriptor opened here is
// close-on-exec, so a child the host or a guest starts never inherits (and so never
// prolongs) a lock.
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

// The descriptor behind a disk stream; -1 for any other stream.
int DescriptorOf(RandomAccessMechanism* stream) {
    return static_cast<int>(static_cast<long>(stream->GetFileHandle(kFileHandleDescriptor)));
}

// Marks a disk stream's descriptor close-on-exec. The stream layer opens with stdio,
// which does not; one thread, so nothing can fork between the open and this call.
void KeepFromChildren(RandomAccessMechanism* stream) {
    const int fd = DescriptorOf(stream);
    if (fd >= 0) fcntl(fd, F_SETFD, fcntl(fd, F_GETFD) | FD_CLOEXEC);
}

// `item` open for reading only, close-on-exec; nil when it cannot be opened.
RandomAccessMechanism* OpenForReading(FolderItemImp* item) {
    RandomAccessMechanism* stream = item->OpenFile(1, 0);
    if (stream != nullptr) KeepFromChildren(stream);
    return stream;
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

// Whether the descriptor and the path name one file: false once someone removed (or
// replaced) the file between our exclusive create and our lock.
bool StillNamedBy(int fd, const char* path) {
    struct stat byDescriptor;
    struct stat byPath;
    return fstat(fd, &byDescriptor) == 0 && stat(path, &byPath) == 0 &&
           byDescriptor.st_dev == byPath.st_dev && byDescriptor.st_ino == byPath.st_ino;
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

// The temporary data folder, made on first use: ".tmpZQData" in the home folder with
// permissions for everyone, or "/tmp" (never swept) when there is no home folder or the
// folder cannot be made there. Nil only when memory ran out.
FolderItemImp* TemporaryDataFolderForLoading() {
    FolderItemImp*& folder = TemporaryDataFolder();
    if (folder != nullptr) return folder;
    FolderItemImpUnix root{string("/")};
    if (FolderItemImp* home = root.GetSpecialFolder(kSpecialFolderUserHome)) {
        FolderItemImp* data = home->GetChildByName(string(".tmpZQData"), 0);
        delete home;
        // A folder another process made between the test and our mkdir is as good as
        // our own; only a folder that cannot exist here falls back to "/tmp".
        if (data != nullptr && !data->Exists() && !data->CreateFolder() && !data->IsDirectory()) {
            delete data;
            data = nullptr;
        }
        if (data != nullptr) {
            data->SetPermissions(data->GetPermissions() | kFolderPermissions);
            folder = data;
            return folder;
        }
    }
    // Deliberate: "/tmp" is shared with everything else on the machine, so a bridge
    // never sweeps it.
    TemporaryDataFolderCleanUp() = false;
    folder = new FolderItemImpUnix(string("/tmp"));
    return folder;
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

bool PluginBridge::LoadLinuxPlugin(const string& name, const void* bytes,
                                   unsigned long long length) {
    PluginDefinition* record = GetCurrentPluginDefinition();
    if (record == nullptr) return false;
    // A container is untrusted: a name that could leave the folder is refused.
    if (name.IsEmpty() || std::memchr(name.CString(), '/', name.Length()) != nullptr ||
        std::strlen(name.CString()) != name.Length()) {
        return false;
    }
    FolderItemImp* folder = TemporaryDataFolderForLoading();
    if (folder == nullptr) return false;

    // The first name "<n><name>" that does not exist.
    FolderItemImp* candidate = nullptr;
    for (unsigned long n = 0; n < kMaxTemporaryNames; ++n) {
        candidate = folder->GetChildByName(ultoa(static_cast<long>(n)) + name, 0);
        if (candidate == nullptr) return false;
        if (!candidate->Exists()) break;
        delete candidate;
        candidate = nullptr;
    }
    if (candidate == nullptr) {
        // Deliberate: a hundred leftovers stop every load of this library until a sweep.
        std::printf("Could not generate a unique filename for plugin %s, time to clean %s\n",
                    name.CString(), folder->GetAbsolutePath().CString());
        std::fflush(stdout);
        return false;
    }
    const string pathText = candidate->GetAbsolutePath().GetUTF8String();
    const char* path = pathText.CString();

    // Created exclusively, so two processes can never write into one file; a file that
    // appeared since the test above is someone's plug-in while it is locked, else a
    // leftover that is removed.
    int fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kLibraryPermissions);
    if (fd < 0 && errno == EEXIST) {
        const int probe = open(path, O_RDWR | O_CLOEXEC);
        if (probe < 0) {
            delete candidate;
            return false;
        }
        if (flock(probe, LOCK_EX | LOCK_NB) != 0) {
            close(probe);
            std::printf("Duplicate plug-in found %s from %s\n", path,
                        SourceDescription(record).CString());
            std::fflush(stdout);
            delete candidate;
            return false;
        }
        flock(probe, LOCK_UN);
        close(probe);
        candidate->DeleteFile();
        fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kLibraryPermissions);
    }
    if (fd < 0) {
        delete candidate;
        return false;
    }
    // Locked before a byte is written and never unlocked until the record dies: no
    // moment exists in which another process could take the file for a leftover.
    if (flock(fd, LOCK_EX | LOCK_NB) != 0 || !StillNamedBy(fd, path)) {
        std::printf("NOT GOOD: File already locked?\n");
        std::fflush(stdout);
        close(fd);
        delete candidate;
        return false;
    }
    if (!WriteAll(fd, bytes, length)) {
        // Never leave a truncated library behind for a later dlopen.
        candidate->DeleteFile();
        close(fd);
        delete candidate;
        return false;
    }
    // Read and write for everyone whatever the umask, so any user's sweep can clean up.
    candidate->SetPermissions(kLibraryPermissions);
    long error = 0;
    DataFile* lock =
        DataFile::OpenFromHandle(static_cast<unsigned long>(fd), kFileHandleDescriptor, &error);
    if (lock == nullptr) {
        candidate->DeleteFile();
        close(fd);
        delete candidate;
        return false;
    }
    if (record->lockStream != nullptr) {
        const int old = DescriptorOf(record->lockStream);
        if (old >= 0) flock(old, LOCK_UN);
        delete record->lockStream;
    }
    record->lockStream = lock;

    void* handle = dlopen(path, kLazyLocal);
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
