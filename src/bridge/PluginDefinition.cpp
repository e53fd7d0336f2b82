// PluginDefinition.cpp - the plug-in record's lifetime and accessors, the container walks
// behind its library and icon accessors, the class data size lookup, and the host class
// "PluginDefinition" that shows a record to the host.
//
// Container walks open the container afresh on every call and close it before returning;
// every item fetched on the way is destroyed. Nothing read from a container is trusted:
// files are read only when their whole length fits a host string, bitmaps go through the
// bounded decoder.
//
// The host class is described by the static tables below, one row per property, method
// or constant; the thunks only check their arguments, recover the record from the
// instance data and make one call.
#include "bridge/PluginDefinition.h"

#include <dlfcn.h>

#include <cassert>
#include <cstdio>
#include <cstdlib>

#include "bridge/BmpDecoder.h"
#include "bridge/ClassTables.h"
#include "bridge/Container.h"
#include "bridge/GuestResolver.h"
#include "core/string.h"
#include "files/FolderItemImp.h"
#include "items/DatabaseClasses.h"
#include "items/PluginItems.h"
#include "streams/DataFile.h"
#include "streams/RandomAccessMechanism.h"

using zyne::bridge::CountOf;
using zyne::bridge::ReadOnlyProperty;
using zyne::bridge::Routine;

namespace {

// The ASCII encoding tag, for names whose storage carries none.
constexpr unsigned long kASCIITag = 0x0600;
// The alias flag every container lookup passes.
constexpr long kResolveAliases = 64;
// Bytes of host header at the start of every host object: six machine words.
constexpr long kHostObjectHeaderSize = 6 * static_cast<long>(sizeof(void*));
// A plug-in class chain is followed this far at most; only a loop makes one longer.
constexpr int kMaxClassChain = 64;
// The biggest icon file read: a bitmap of the most pixels the decoder takes, with room
// for headers and a palette. Larger files are not read into memory at all.
constexpr unsigned long long kMaxIconFileBytes =
    static_cast<unsigned long long>(kBmpMaxPixels) * 4 + 64 * 1024;

template <class T>
T* PointerAt(const SimpleVector<T*>& vector, unsigned long index) {
    if (index >= static_cast<unsigned long>(vector.Count())) return nullptr;
    return vector[static_cast<long>(index)];
}

PluginDefinitionPair* PairAt(SimpleVector<PluginDefinitionPair>& vector, unsigned long index) {
    if (index >= static_cast<unsigned long>(vector.Count())) return nullptr;
    return &vector[static_cast<long>(index)];
}

ZYNEstring HostStringOf(const string& text) {
    return ZYNEBuildString(text.CString(), static_cast<int>(text.Length()));
}

// A name as a host string of its bytes, tagged with its own encoding.
ZYNEstring HostNameOf(const string& name) {
    const unsigned long encoding = name.GetStorage() != nullptr ? name.Encoding() : kASCIITag;
    return ZYNEBuildString(name.CString(), static_cast<int>(name.Length()), encoding);
}

// The whole of `file` in a malloc'ed block (the caller frees it; never nil on success,
// even for an empty file) with its length. False when the file cannot be opened or read
// whole, or is longer than `limit` bytes.
bool ReadWholeFile(FolderItemImp* file, unsigned long long limit, char** bytes,
                   unsigned int* length) {
    RandomAccessMechanism* stream = file->OpenFile(1, 0);
    if (stream == nullptr) return false;
    bool done = false;
    const unsigned long long size = stream->GetLength();
    if (size <= limit) {
        const auto count = static_cast<unsigned int>(size);
        char* block = static_cast<char*>(std::malloc(count > 0 ? count : 1));
        int actual = 0;
        if (block != nullptr && (count == 0 || (stream->ReadData(block, count, &actual) &&
                                                actual == static_cast<int>(count)))) {
            *bytes = block;
            *length = count;
            done = true;
        } else {
            std::free(block);
        }
    }
    delete stream;
    return done;
}

// A file's bytes as a new host string, or nil. A host string's length is an int, so
// anything longer cannot be handed over.
ZYNEstring HostStringOfFile(FolderItemImp* file) {
    char* bytes = nullptr;
    unsigned int length = 0;
    if (!ReadWholeFile(file, 0x7FFFFFFEULL, &bytes, &length)) return nullptr;
    ZYNEstring result = ZYNEBuildString(bytes, static_cast<int>(length));
    std::free(bytes);
    return result;
}

// The folder in "Build Resources" that holds a target's libraries, or nil above 6.
const char* TargetFolderName(long target) {
    switch (target) {
        case kMacClassic:
            return "Mac Classic";
        case kWindows:
            return "Windows";
        case kMacCarbon:
            return "Mac Carbon";
        case kMachO:
            return "Mac Carbon Mach-O";
        case kLinuxX86:
            // Kept on purpose: a lower-case x, unlike the "Linux X86" the loader reads.
            // The directory layer compares names without regard to case, so both find it.
            return "Linux x86";
        case kMacCocoa:
            return "Mac Cocoa";
        case kMachOUniversal:
            return "Mac Carbon Mach-O Universal";
        default:
            return nullptr;
    }
}

// Walks the container's top-level folders in index order. For each that is a folder with
// a "Build Resources" folder holding the target's folder, the child at `index` of that
// folder (if any) is handed to `answer`; the first non-nil answer ends the walk. Nil when
// the container cannot be opened or no family answers. The search deliberately does not
// stay in the record's own family: the first family with a library at that index wins.
template <class Answer>
ZYNEstring SearchFamilies(FolderItemImp* containerFile, long target, uint32_t index,
                          Answer answer) {
    const char* folderName = TargetFolderName(target);
    if (folderName == nullptr) return nullptr;
    FolderItemImp* root = OpenContainerRoot(containerFile);
    if (root == nullptr) return nullptr;
    ZYNEstring result = nullptr;
    const long count = root->GetChildCount();
    for (long i = 0; i < count && result == nullptr; ++i) {
        FolderItemImp* family = root->GetChildByIndex(i, kResolveAliases);
        if (family == nullptr) continue;
        if (family->IsDirectory()) {
            FolderItemImp* build =
                family->GetChildByName(string("Build Resources"), kResolveAliases);
            if (build != nullptr && build->IsDirectory()) {
                FolderItemImp* folder = build->GetChildByName(string(folderName), kResolveAliases);
                if (folder != nullptr && folder->IsDirectory()) {
                    FolderItemImp* library =
                        folder->GetChildByIndex(static_cast<long>(index), kResolveAliases);
                    if (library != nullptr) result = answer(library);
                    delete library;
                }
                delete folder;
            }
            delete build;
        }
        delete family;
    }
    CloseContainerRoot(root);
    return result;
}

// The bitmap `name` in `folder` as a new host picture, or nil.
ZYNEobject PictureFromFile(FolderItemImp* folder, const string& name) {
    FolderItemImp* file = folder->GetChildByName(name, kResolveAliases);
    if (file == nullptr) return nullptr;
    ZYNEobject picture = nullptr;
    char* bytes = nullptr;
    unsigned int length = 0;
    if (file->Exists() && !file->IsDirectory() &&
        ReadWholeFile(file, kMaxIconFileBytes, &bytes, &length)) {
        BmpImage image;
        if (DecodeBmp(reinterpret_cast<const unsigned char*>(bytes), length, &image)) {
            picture = ZYNEBuildPictureFromBuffer(image.width, image.height, kPixelTypeRGBA8,
                                                 image.pixels, image.width * 4);
            FreeBmpImage(&image);
        }
        std::free(bytes);
    }
    delete file;
    return picture;
}

// GetClassDataSize with the depth of the chain walked so far.
long ClassDataSize(const char* name, int depth) {
    if (name == nullptr || name[0] == '\0') return 0;
    const string key(name);
    PluginDefinition* owner = nullptr;
    if (ClassOwnerMap().GetEntry(key, owner)) {
        if (owner == nullptr) return 0;
        for (long i = 0; i < owner->classes.Count(); ++i) {
            const ZYNEclassDefinition* record = owner->classes[i];
            if (record == nullptr || record->name == nullptr) continue;
            if (string(record->name).Compare(key) != 0) continue;
            if (depth + 1 >= kMaxClassChain) return record->dataSize;
            return record->dataSize + ClassDataSize(record->superName, depth + 1);
        }
        return 0;
    }
    // A host class. Host objects begin with a pointer to the host's record of their class,
    // and that record begins with the instance size in bytes, header included, as one
    // machine word; the host's own data is what lies between the header and that size.
    ZYNEobject instance = ZYNEnewInstance(name);
    if (instance == nullptr) return 0;
    const auto* classRecord = *reinterpret_cast<const long* const*>(instance);
    const long size = classRecord != nullptr ? *classRecord - kHostObjectHeaderSize : 0;
    ZYNEUnlockObject(instance);
    return size;
}

}  // namespace

// ----- The record -------------------------------------------------------------------------

PluginDefinition::~PluginDefinition() {
    assert(refCount == 0 && "a plug-in record is destroyed with references left");
    // The twelve vectors free their storage as members, after this body; nothing reads
    // them here, so the order is not observable.
    // Class-owner entries outlive their record (the map only grows); they stop naming this
    // record here, so a later lookup of one of its classes finds no owner instead of
    // following the entry into freed memory and an unloaded library.
    StringMap<PluginDefinition*>& owners = ClassOwnerMap();
    for (auto* entry = owners.FirstEntry(); entry != nullptr; entry = entry->nextInOrder) {
        if (entry->value == this) owners.AddEntry(entry->key, nullptr);
    }
    if (libraryHandle != nullptr) dlclose(libraryHandle);
    // The extracted file is removed while its lock is still held, so the name cannot lead
    // to another process's file by then; the lock goes when the stream closes its
    // descriptor, never by an unlock that a forked child sharing it could undo.
    if (libraryFile != nullptr) {
        if (deleteLibraryOnClose) libraryFile->DeleteFile();
        delete libraryFile;
    }
    delete lockStream;
    delete containerFile;
    std::free(extraBuffer);
}

void PluginDefinition::Release(PluginDefinition* record) {
    if (record == nullptr) return;
    assert(record->refCount > 0 && "a released plug-in record has a reference");
    if (--record->refCount == 0) delete record;
}

// The item getters: each answers the pointer stored at `index` of its vector.
#define ITEM_GETTER(Type, Getter, vector) \
    Type* PluginDefinition::Getter(unsigned long index) const { return PointerAt(vector, index); }
ITEM_GETTER(ZYNEclassDefinition, GetClass, classes)
ITEM_GETTER(ZYNEcontrol, GetControl, controls)
ITEM_GETTER(ZYNEinterfaceDefinition, GetInterface, interfaces)
ITEM_GETTER(ZYNEmethodDefinition, GetMethod, methods)
ITEM_GETTER(ZYNEstructure, GetStructure, structures)
ITEM_GETTER(ZYNEenum, GetEnum, enums)
ITEM_GETTER(ZYNEmoduleDefinition, GetModule, modules)
ITEM_GETTER(ZYNEclassDefinition, GetClassExtension, classExtensions)
ITEM_GETTER(ZYNEdbEngineDefinition, GetDatabaseEngine, databaseEngines)
ITEM_GETTER(ZYNEDatabaseConnectionDefinition, GetDatabaseConnection, databaseConnections)
#undef ITEM_GETTER

PluginDefinitionPair* PluginDefinition::GetDataSourceInterface(unsigned long index) {
    return PairAt(dataSourceInterfaces, index);
}
PluginDefinitionPair* PluginDefinition::GetDataSource(unsigned long index) {
    return PairAt(dataSources, index);
}

ZYNEstring PluginDefinition::GetLibrary(long target) {
    bool carried = false;
    switch (target) {
        case kMacClassic:
            carried = isClassic;
            break;
        case kWindows:
            carried = isWin32;
            break;
        case kMacCarbon:
            carried = isCarbon;
            break;
        case kMachO:
            carried = isMachO;
            break;
        case kLinuxX86:
            carried = isLinux;
            break;
        case kMacCocoa:
            carried = isCocoa;
            break;
        case kMachOUniversal:
            carried = isMachOUniversal;
            break;
        default:
            return nullptr;  // also every target above 6
    }
    if (!carried) return nullptr;
    switch (sourceKind) {
        case kSourceNativeLibrary:
            return GetLibraryFromNative();
        case kSourceResource:
            return GetLibraryFromResource(target);
        case kSourceContainer:
            return GetLibraryFromZQX(target);
        default:
            return nullptr;
    }
}

ZYNEstring PluginDefinition::GetLibraryName(long target) {
    bool carried = false;
    switch (target) {
        case kMacClassic:
            carried = isClassic;
            break;
        case kWindows:
            carried = isWin32;
            break;
        case kMacCarbon:
            carried = isCarbon;
            break;
        // Deliberate: both Mach-O targets test isMachO here; GetLibrary tests
        // isMachOUniversal for kMachOUniversal.
        case kMachO:
        case kMachOUniversal:
            carried = isMachO;
            break;
        case kLinuxX86:
            carried = isLinux;
            break;
        case kMacCocoa:
            carried = isCocoa;
            break;
        default:
            return nullptr;
    }
    if (!carried) return nullptr;
    switch (sourceKind) {
        case kSourceNativeLibrary:
            return GetLibraryNameFromNative();
        case kSourceResource:
            return GetLibraryNameFromResource(target);
        case kSourceContainer:
            return GetLibraryNameFromZQX(target);
        default:
            return nullptr;
    }
}

ZYNEstring PluginDefinition::GetLibraryFromZQX(long target) {
    // The Linux library is served from its extracted file, not read from the container
    // again.
    if (target == kLinuxX86) return GetLibraryFromNative();
    return SearchFamilies(containerFile, target, linuxIndex, HostStringOfFile);
}

ZYNEstring PluginDefinition::GetLibraryNameFromZQX(long target) {
    // No shortcut for kLinuxX86 here: its name is looked up in the container as well.
    return SearchFamilies(containerFile, target, linuxIndex,
                          [](FolderItemImp* library) { return HostNameOf(library->GetName()); });
}

ZYNEstring PluginDefinition::GetLibraryFromResource(long) {
    return nullptr;
}

ZYNEstring PluginDefinition::GetLibraryNameFromResource(long) {
    return nullptr;
}

ZYNEstring PluginDefinition::GetLibraryFromNative() {
    return libraryFile != nullptr ? HostStringOfFile(libraryFile) : nullptr;
}

ZYNEstring PluginDefinition::GetLibraryNameFromNative() {
    return libraryFile != nullptr ? HostNameOf(libraryFile->GetName()) : nullptr;
}

ZYNEobject PluginDefinition::GetControlIcon(ZYNEcontrol* control, bool mask) {
    if (sourceKind != kSourceContainer || containerFile == nullptr || control == nullptr)
        return nullptr;
    FolderItemImp* root = OpenContainerRoot(containerFile);
    if (root == nullptr) return nullptr;
    char number[24];
    std::snprintf(number, sizeof number, "%ld", static_cast<long>(control->toolbarPicture));
    const string smallName = string(number) + string(mask ? "-smallmask.bmp" : "-small.bmp");
    const string largeName = string(number) + string(mask ? "mask.bmp" : ".bmp");

    ZYNEobject picture = nullptr;
    const long count = root->GetChildCount();
    for (long i = 0; i < count && picture == nullptr; ++i) {
        FolderItemImp* family = root->GetChildByIndex(i, kResolveAliases);
        if (family == nullptr) continue;
        if (family->IsDirectory()) {
            FolderItemImp* ide = family->GetChildByName(string("IDE Resources"), kResolveAliases);
            if (ide != nullptr && ide->IsDirectory()) {
                FolderItemImp* palette =
                    ide->GetChildByName(string("Controls Palette"), kResolveAliases);
                if (palette != nullptr && palette->IsDirectory()) {
                    picture = GetControlIconHelper(palette, smallName);
                    if (picture == nullptr) picture = GetControlIconHelper(palette, largeName);
                }
                delete palette;
            }
            delete ide;
        }
        delete family;
    }
    CloseContainerRoot(root);
    return picture;
}

ZYNEobject PluginDefinition::GetControlIconHelper(FolderItemImp* folder, string fileName) {
    if (folder == nullptr) return nullptr;
    ZYNEobject picture = nullptr;
    FolderItemImp* platform = folder->GetChildByName(string("Linux x86"), kResolveAliases);
    if (platform != nullptr && platform->IsDirectory())
        picture = PictureFromFile(platform, fileName);
    delete platform;
    if (picture == nullptr) picture = PictureFromFile(folder, fileName);
    return picture;
}

ZYNEstring PluginDefinition::UniqueID() const {
    char number[16];
    string text("plugin:");
    if (containerFile != nullptr) {
        std::snprintf(number, sizeof number, "%lu", static_cast<unsigned long>(linuxIndex));
        text += containerFile->GetName();
        text += ":";
    } else if (libraryFile != nullptr) {
        std::snprintf(number, sizeof number, "%lu", static_cast<unsigned long>(nativeIndex));
        text += libraryFile->GetName();
        text += ":";
    } else {
        std::snprintf(number, sizeof number, "%lu", static_cast<unsigned long>(nativeIndex));
    }
    text += number;
    return HostStringOf(text);
}

// ----- The host class "PluginDefinition" ---------------------------------------------------

namespace {

PluginDefinition* RecordOf(ZYNEobject self) {
    if (self == nullptr) return nullptr;
    auto* slot =
        static_cast<PluginDefinition**>(ZYNEGetClassData(self, &PluginDefinitionClassDefinition));
    return slot != nullptr ? *slot : nullptr;
}

void Construct(ZYNEobject self) {
    auto* slot =
        static_cast<PluginDefinition**>(ZYNEGetClassData(self, &PluginDefinitionClassDefinition));
    if (slot != nullptr) *slot = nullptr;
}

void Destruct(ZYNEobject self) {
    auto* slot =
        static_cast<PluginDefinition**>(ZYNEGetClassData(self, &PluginDefinitionClassDefinition));
    if (slot == nullptr) return;
    PluginDefinition::Release(*slot);
    *slot = nullptr;
}

// The twelve counts share one getter; the property's parameter selects the vector.
long CountGetter(ZYNEobject self, long param) {
    const PluginDefinition* record = RecordOf(self);
    if (record == nullptr) return 0;
    switch (param) {
        case 0:
            return record->classes.Count();
        case 1:
            return record->controls.Count();
        case 2:
            return record->interfaces.Count();
        case 3:
            return record->methods.Count();
        case 4:
            return record->modules.Count();
        case 5:
            return record->classExtensions.Count();
        case 6:
            return record->databaseEngines.Count();
        case 7:
            return record->dataSourceInterfaces.Count();
        case 8:
            return record->dataSources.Count();
        case 9:
            return record->enums.Count();
        case 10:
            return record->structures.Count();
        case 11:
            return record->databaseConnections.Count();
        default:
            return 0;
    }
}

// Deliberate: the flag parameters are not the PlatformTargets values; Carbon is 0,
// Classic 1, Linux 2, Mach-O 3, Windows 4, Cocoa 5, Mach-O Universal 6.
bool FlagGetter(ZYNEobject self, long param) {
    const PluginDefinition* record = RecordOf(self);
    if (record == nullptr) return false;
    switch (param) {
        case 0:
            return record->isCarbon;
        case 1:
            return record->isClassic;
        case 2:
            return record->isLinux;
        case 3:
            return record->isMachO;
        case 4:
            return record->isWin32;
        case 5:
            return record->isCocoa;
        case 6:
            return record->isMachOUniversal;
        default:
            return false;
    }
}

ZYNEstring IDGetter(ZYNEobject self, long) {
    const PluginDefinition* record = RecordOf(self);
    return record != nullptr ? record->UniqueID() : nullptr;
}

// The item getters: a new item object for the captured item at `index`, nil past the
// count. Views of guest records hold a reference on this record for their life.
ZYNEobject GetClassMethod(ZYNEobject self, long index) {
    PluginDefinition* record = RecordOf(self);
    return record != nullptr ? NewPluginClassObject(record->GetClass(index), record) : nullptr;
}

ZYNEobject GetClassExtensionMethod(ZYNEobject self, long index) {
    PluginDefinition* record = RecordOf(self);
    return record != nullptr ? NewPluginClassObject(record->GetClassExtension(index), record)
                             : nullptr;
}

// The icon, then its mask, fetched in that order; the control object keeps both.
ZYNEobject GetControlMethod(ZYNEobject self, long index) {
    PluginDefinition* record = RecordOf(self);
    ZYNEcontrol* control = record != nullptr ? record->GetControl(index) : nullptr;
    if (control == nullptr) return nullptr;
    ZYNEobject icon = record->GetControlIcon(control, false);
    ZYNEobject mask = record->GetControlIcon(control, true);
    return NewPluginControlObject(control, icon, mask, record);
}

ZYNEobject GetInterfaceMethod(ZYNEobject self, long index) {
    PluginDefinition* record = RecordOf(self);
    return record != nullptr ? NewPluginInterfaceObject(record->GetInterface(index), record)
                             : nullptr;
}

ZYNEobject GetModuleMethod(ZYNEobject self, long index) {
    PluginDefinition* record = RecordOf(self);
    return record != nullptr ? NewPluginModuleObject(record->GetModule(index), record) : nullptr;
}

// A global method shows its declaration and its two routines; its flags are not read.
ZYNEobject GetMethodMethod(ZYNEobject self, long index) {
    PluginDefinition* record = RecordOf(self);
    return record != nullptr ? NewPluginMethodObject(record->GetMethod(index), true, false)
                             : nullptr;
}

ZYNEobject GetStructureMethod(ZYNEobject self, long index) {
    PluginDefinition* record = RecordOf(self);
    return record != nullptr ? NewPluginStructureObject(record->GetStructure(index)) : nullptr;
}

ZYNEobject GetEnumMethod(ZYNEobject self, long index) {
    PluginDefinition* record = RecordOf(self);
    return record != nullptr ? NewPluginEnumObject(record->GetEnum(index)) : nullptr;
}

ZYNEobject GetDataSourceInterfaceMethod(ZYNEobject self, long index) {
    PluginDefinition* record = RecordOf(self);
    const PluginDefinitionPair* pair =
        record != nullptr ? record->GetDataSourceInterface(index) : nullptr;
    return pair != nullptr ? NewPluginDataSourceInterfaceObject(pair->first, pair->second)
                           : nullptr;
}

ZYNEobject GetDataSourceMethod(ZYNEobject self, long index) {
    PluginDefinition* record = RecordOf(self);
    const PluginDefinitionPair* pair = record != nullptr ? record->GetDataSource(index) : nullptr;
    return pair != nullptr ? NewPluginDataSourceObject(pair->first, pair->second) : nullptr;
}

ZYNEstring GetLibraryMethod(ZYNEobject self, long whichTarget) {
    PluginDefinition* record = RecordOf(self);
    return record != nullptr ? record->GetLibrary(whichTarget) : nullptr;
}

ZYNEstring GetLibraryNameMethod(ZYNEobject self, long whichTarget) {
    PluginDefinition* record = RecordOf(self);
    return record != nullptr ? record->GetLibraryName(whichTarget) : nullptr;
}

// The captured pointer itself: no object is made for a database connection.
void* GetDatabaseConnectionMethod(ZYNEobject self, long index) {
    const PluginDefinition* record = RecordOf(self);
    if (record == nullptr || index < 0) return nullptr;
    return record->GetDatabaseConnection(static_cast<unsigned long>(index));
}


#define COUNT_PROPERTY(Name, Param)                                                                \
    {                                                                                              \
        .group = "", .name = Name, .type = "Integer", .flags = 0, .getter = Routine(&CountGetter), \
        .setter = nullptr, .param = Param, .editor = nullptr, .enumCount = 0,                      \
        .enumEntries = nullptr                                                                     \
    }
#define FLAG_PROPERTY(Name, Param)                                                                \
    {                                                                                             \
        .group = "", .name = Name, .type = "Boolean", .flags = 0, .getter = Routine(&FlagGetter), \
        .setter = nullptr, .param = Param, .editor = nullptr, .enumCount = 0,                     \
        .enumEntries = nullptr                                                                    \
    }

ZYNEproperty PluginDefinitionProperties[] = {
    COUNT_PROPERTY("ClassCount", 0),
    COUNT_PROPERTY("ControlCount", 1),
    COUNT_PROPERTY("InterfaceCount", 2),
    COUNT_PROPERTY("MethodCount", 3),
    COUNT_PROPERTY("StructureCount", 10),
    COUNT_PROPERTY("EnumCount", 9),
    COUNT_PROPERTY("ModuleCount", 4),
    COUNT_PROPERTY("ClassExtensionCount", 5),
    COUNT_PROPERTY("DatabaseConnectionCount", 11),
    COUNT_PROPERTY("DatabaseEngineCount", 6),
    COUNT_PROPERTY("DataSourceInterfaceCount", 7),
    COUNT_PROPERTY("DataSourceCount", 8),
    FLAG_PROPERTY("IsTargetWin32", 4),
    FLAG_PROPERTY("IsTargetClassic", 1),
    FLAG_PROPERTY("IsTargetCarbon", 0),
    FLAG_PROPERTY("IsTargetCocoa", 5),
    FLAG_PROPERTY("IsTargetLinux", 2),
    FLAG_PROPERTY("IsTargetMachO", 3),
    FLAG_PROPERTY("IsTargetMachOUniversal", 6),
    {.group = "",
     .name = "ID",
     .type = "String",
     .flags = 0,
     .getter = Routine(&IDGetter),
     .setter = nullptr,
     .param = 0,
     .editor = nullptr,
     .enumCount = 0,
     .enumEntries = nullptr},
};

#undef COUNT_PROPERTY
#undef FLAG_PROPERTY

ZYNEmethodDefinition PluginDefinitionMethods[] = {
    {Routine(&GetClassMethod), nullptr, "GetClass( index as integer ) as PluginClass", 0},
    {Routine(&GetControlMethod), nullptr, "GetControl( index as integer ) as PluginControl", 0},
    {Routine(&GetInterfaceMethod), nullptr, "GetInterface( index as integer ) as PluginInterface", 0},
    {Routine(&GetMethodMethod), nullptr, "GetMethod( index as integer ) as PluginMethod", 0},
    {Routine(&GetStructureMethod), nullptr, "GetStructure( index as integer ) as PluginStructure", 0},
    {Routine(&GetEnumMethod), nullptr, "GetEnum( index as integer ) as PluginEnum", 0},
    {Routine(&GetModuleMethod), nullptr, "GetModule( index as integer ) as PluginModule", 0},
    {Routine(&GetClassExtensionMethod), nullptr, "GetClassExtension( index As Integer ) As PluginClass", 0},
    {Routine(&GetDataSourceInterfaceMethod), nullptr,
     "GetDataSourceInterface( index As Integer) as PluginDataSourceInterface", 0},
    {Routine(&GetDataSourceMethod), nullptr, "GetDataSource( index As Integer) as PluginDataSource", 0},
    {Routine(&GetLibraryMethod), nullptr, "GetLibrary( whichTarget as integer ) as string", 0},
    {Routine(&GetLibraryNameMethod), nullptr, "GetLibraryName( whichTarget as integer ) as string",
     0},
    {Routine(&GetDatabaseConnectionMethod), nullptr,
     "GetDatabaseConnection( index As Integer ) as Ptr", 0},
};

ZYNEconstant PluginDefinitionConstants[] = {
    {"kMacClassic = 0", nullptr, 0},     {"kWindows = 1", nullptr, 0},
    {"kMacCarbon = 2", nullptr, 0},      {"kMachO = 3", nullptr, 0},
    {"kLinuxX86 = 4", nullptr, 0},       {"kMacCocoa = 5", nullptr, 0},
    {"kMachOUniversal = 6", nullptr, 0},
};

}  // namespace

ZYNE_API ZYNEclassDefinition PluginDefinitionClassDefinition = {
    .version = ZYNE_RECORD_VERSION,
    .name = "PluginDefinition",
    .superName = nullptr,
    .dataSize = sizeof(PluginDefinition*),
    .dataOffset = 0,
    .constructor = &Construct,
    .destructor = &Destruct,
    .properties = PluginDefinitionProperties,
    .propertyCount = CountOf(PluginDefinitionProperties),
    .methods = PluginDefinitionMethods,
    .methodCount = CountOf(PluginDefinitionMethods),
    .events = nullptr,
    .eventCount = 0,
    .eventInstances = nullptr,
    .eventInstanceCount = 0,
    .interfaces = nullptr,
    .reserved16 = nullptr,
    .reserved17 = nullptr,
    .constants = PluginDefinitionConstants,
    .constantCount = CountOf(PluginDefinitionConstants),
    .flags = 0,
    .sharedProperties = nullptr,
    .sharedPropertyCount = 0,
    .sharedMethods = nullptr,
    .sharedMethodCount = 0,
};

long GetClassDataSize(const char* name) {
    return ClassDataSize(name, 0);
}

ZYNEobject NewPluginDefinitionObject(PluginDefinition* record) {
    if (record == nullptr) return nullptr;
    ZYNEobject object = ZYNEnewInstance("PluginDefinition");
    auto* slot =
        static_cast<PluginDefinition**>(ZYNEGetClassData(object, &PluginDefinitionClassDefinition));
    if (slot == nullptr) return nullptr;
    record->AddReference();
    *slot = record;
    return object;
}
