// PluginDefinition.cpp - the plug-in record's lifetime and accessors, and the host class
// "PluginDefinition" that shows a record to the host.
//
// The host class is described by the static tables below, one row per property, method
// or constant; the thunks only check their arguments, recover the record from the
// instance data and make one call.
#include "bridge/PluginDefinition.h"

#include <dlfcn.h>
#include <sys/file.h>

#include <cassert>
#include <cstdio>
#include <cstdlib>

#include "bridge/ClassTables.h"
#include "core/string.h"
#include "files/FolderItemImp.h"
#include "streams/DataFile.h"
#include "streams/RandomAccessMechanism.h"

using zyne::bridge::CountOf;
using zyne::bridge::ReadOnlyProperty;
using zyne::bridge::Routine;

namespace {

// The ASCII encoding tag, for names whose storage carries none.
constexpr unsigned long kASCIITag = 0x0600;

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

}  // namespace

// ----- The record -------------------------------------------------------------------------

PluginDefinition::~PluginDefinition() {
    assert(refCount == 0 && "a plug-in record is destroyed with references left");
    // The twelve vectors free their storage as members, after this body; nothing reads
    // them here, so the order is not observable.
    if (libraryHandle != nullptr) dlclose(libraryHandle);
    if (lockStream != nullptr) {
        const auto fd = static_cast<long>(lockStream->GetFileHandle(kFileHandleDescriptor));
        if (fd >= 0) flock(static_cast<int>(fd), LOCK_UN);
        delete lockStream;
    }
    if (libraryFile != nullptr) {
        if (deleteLibraryOnClose) libraryFile->DeleteFile();
        delete libraryFile;
    }
    delete containerFile;
    std::free(extraBuffer);
}

void PluginDefinition::Release(PluginDefinition* record) {
    if (record == nullptr) return;
    assert(record->refCount > 0 && "a released plug-in record has a reference");
    if (--record->refCount == 0) delete record;
}

ZYNEclassDefinition* PluginDefinition::GetClass(unsigned long index) const {
    return PointerAt(classes, index);
}
ZYNEcontrol* PluginDefinition::GetControl(unsigned long index) const {
    return PointerAt(controls, index);
}
ZYNEinterfaceDefinition* PluginDefinition::GetInterface(unsigned long index) const {
    return PointerAt(interfaces, index);
}
ZYNEmethodDefinition* PluginDefinition::GetMethod(unsigned long index) const {
    return PointerAt(methods, index);
}
ZYNEstructure* PluginDefinition::GetStructure(unsigned long index) const {
    return PointerAt(structures, index);
}
ZYNEenum* PluginDefinition::GetEnum(unsigned long index) const {
    return PointerAt(enums, index);
}
ZYNEmoduleDefinition* PluginDefinition::GetModule(unsigned long index) const {
    return PointerAt(modules, index);
}
ZYNEclassDefinition* PluginDefinition::GetClassExtension(unsigned long index) const {
    return PointerAt(classExtensions, index);
}
ZYNEdbEngineDefinition* PluginDefinition::GetDatabaseEngine(unsigned long index) const {
    return PointerAt(databaseEngines, index);
}
PluginDefinitionPair* PluginDefinition::GetDataSourceInterface(unsigned long index) {
    return PairAt(dataSourceInterfaces, index);
}
PluginDefinitionPair* PluginDefinition::GetDataSource(unsigned long index) {
    return PairAt(dataSources, index);
}
ZYNEDatabaseConnectionDefinition* PluginDefinition::GetDatabaseConnection(
    unsigned long index) const {
    return PointerAt(databaseConnections, index);
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
    if (sourceKind == kSourceNativeLibrary) return GetLibraryFromNative();
    // The Linux library of a container is served from its extracted file, not read
    // from the container again.
    if (sourceKind == kSourceContainer && target == kLinuxX86) return GetLibraryFromNative();
    // Other container targets need the container walk, which comes with the loader.
    return nullptr;
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
    if (sourceKind == kSourceNativeLibrary) return GetLibraryNameFromNative();
    // Container records: the name walk comes with the loader.
    return nullptr;
}

ZYNEstring PluginDefinition::GetLibraryFromNative() {
    if (libraryFile == nullptr) return nullptr;
    RandomAccessMechanism* stream = libraryFile->OpenFile(1, 0);
    if (stream == nullptr) return nullptr;
    ZYNEstring result = nullptr;
    const unsigned long long length = stream->GetLength();
    // A host string's length is an int; anything longer cannot be handed over.
    if (length < 0x7FFFFFFFULL) {
        const auto size = static_cast<unsigned int>(length);
        char* bytes = static_cast<char*>(std::malloc(size > 0 ? size : 1));
        int actual = 0;
        if (bytes != nullptr && (size == 0 || (stream->ReadData(bytes, size, &actual) &&
                                               actual == static_cast<int>(size)))) {
            result = ZYNEBuildString(bytes, static_cast<int>(size));
        }
        std::free(bytes);
    }
    delete stream;
    return result;
}

ZYNEstring PluginDefinition::GetLibraryNameFromNative() {
    if (libraryFile == nullptr) return nullptr;
    const string name = libraryFile->GetName();
    const unsigned long encoding = name.GetStorage() != nullptr ? name.Encoding() : kASCIITag;
    return ZYNEBuildString(name.CString(), static_cast<int>(name.Length()), encoding);
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

// The item getters: the item classes that show captured items do not exist yet, so
// every one answers nil for now, whatever the index.
ZYNEobject NoItemYet(ZYNEobject, long) {
    return nullptr;
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
    {Routine(&NoItemYet), nullptr, "GetClass( index as integer ) as PluginClass", 0},
    {Routine(&NoItemYet), nullptr, "GetControl( index as integer ) as PluginControl", 0},
    {Routine(&NoItemYet), nullptr, "GetInterface( index as integer ) as PluginInterface", 0},
    {Routine(&NoItemYet), nullptr, "GetMethod( index as integer ) as PluginMethod", 0},
    {Routine(&NoItemYet), nullptr, "GetStructure( index as integer ) as PluginStructure", 0},
    {Routine(&NoItemYet), nullptr, "GetEnum( index as integer ) as PluginEnum", 0},
    {Routine(&NoItemYet), nullptr, "GetModule( index as integer ) as PluginModule", 0},
    {Routine(&NoItemYet), nullptr, "GetClassExtension( index As Integer ) As PluginClass", 0},
    {Routine(&NoItemYet), nullptr,
     "GetDataSourceInterface( index As Integer) as PluginDataSourceInterface", 0},
    {Routine(&NoItemYet), nullptr, "GetDataSource( index As Integer) as PluginDataSource", 0},
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
