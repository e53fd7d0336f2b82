// PluginBridge.cpp - the PluginBridge object, its destructor's sweep of the temporary data
// folder, and the host class "PluginBridge" described by static tables.
#include "bridge/PluginBridge.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <new>

#include "bridge/ClassTables.h"
#include "bridge/BridgeGlobals.h"
#include "bridge/PluginDefinition.h"
#include "files/FolderItemImp.h"
#include "streams/DataFile.h"
#include "streams/RandomAccessMechanism.h"

using zyne::bridge::CountOf;
using zyne::bridge::ReadOnlyProperty;
using zyne::bridge::Routine;

namespace {

constexpr unsigned long kUTF8Tag = 0x08000100;
// A bound on how deep the sweep descends; the folder is the bridge's own and shallow.
constexpr int kMaxSweepDepth = 64;

// Removes `file` when no other holder keeps it locked. The lock taken here is held until
// after the removal, and the name must still lead to the locked file, so a file that
// another process published under the same name meanwhile is never removed. A file that
// cannot be opened for reading and writing (a write lock held elsewhere refuses the open)
// counts as in use. The lock goes with the descriptor, never by an unlock.
void RemoveIfFree(FolderItemImp* file) {
    RandomAccessMechanism* stream = file->OpenFile(1, 1);
    if (stream == nullptr) return;
    const auto fd =
        static_cast<int>(static_cast<long>(stream->GetFileHandle(kFileHandleDescriptor)));
    const string path = file->GetAbsolutePath().GetUTF8String();
    struct stat byDescriptor;
    struct stat byName;
    if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0 && fstat(fd, &byDescriptor) == 0 &&
        lstat(path.CString(), &byName) == 0 && byDescriptor.st_dev == byName.st_dev &&
        byDescriptor.st_ino == byName.st_ino) {
        file->DeleteFile();
    }
    delete stream;
}

void Sweep(FolderItemImp* item, int depth) {
    // A symbolic link is removed as a link: the folder is writable by everyone, and
    // following a link planted there would sweep (and delete) files anywhere else.
    if (item->IsAlias()) {
        item->DeleteFile();
        return;
    }
    if (item->IsDirectory()) {
        if (depth < kMaxSweepDepth) {
            const long count = item->GetChildCount();
            for (long i = 0; i < count; ++i) {
                // Deliberate: always index 0, never i. A swept child is gone, so index 0
                // moves on; a surviving (locked) child is met again and hides the rest.
                // Children are taken as they are, links unresolved (see above).
                FolderItemImp* child = item->GetChildByIndex(0, 0);
                if (child == nullptr) continue;
                Sweep(child, depth + 1);
                delete child;
            }
        }
        item->DeleteFile();  // removes the folder only when it is empty
        return;
    }
    RemoveIfFree(item);
}

}  // namespace

void SweepFolderItem(FolderItemImp* item) {
    if (item != nullptr) Sweep(item, 0);
}

// ----- The bridge object ------------------------------------------------------------------

PluginBridge::PluginBridge(ZYNEobject ownerObject) : owner(ownerObject) {}

PluginBridge::~PluginBridge() {
    for (long i = 0; i < definitions.Count(); ++i) PluginDefinition::Release(definitions[i]);
    for (long i = 0; i < dependencies.Count(); ++i) ZYNEUnlockString(dependencies[i]);
    FolderItemImp*& folder = TemporaryDataFolder();
    if (TemporaryDataFolderCleanUp() && folder != nullptr) {
        SweepFolderItem(folder);
        // A folder that is gone is made anew by the next load; one that stays (a file in
        // it is in use) is kept for the next sweep.
        if (!folder->Exists()) {
            delete folder;
            folder = nullptr;
        }
    }
    // classMap, both vectors and pluginName go with the members.
}

ZYNEstring PluginBridge::PluginName() const {
    if (pluginName.IsEmpty()) return nullptr;
    ZYNEstring name = ZYNEBuildString(pluginName.CString(), static_cast<int>(pluginName.Length()));
    ZYNESetStringEncoding(name, kUTF8Tag);
    return name;
}

ZYNEobject PluginBridge::GetPluginDefinition(long index) {
    if (index < 0 || index >= definitions.Count()) return nullptr;
    return NewPluginDefinitionObject(definitions[index]);
}

// PluginBridge::LoadPlugin and the rest of the loader are in PluginLoader.cpp.

ZYNEstring PluginBridge::GetDependency(long index) {
    // Deliberate: the index is not bounded; reading past the end grows the list to
    // index + 1 (the added slots read nil), and DependencyCount shows it.
    ZYNEstring* slot = dependencies.GrowingAt(index);
    if (slot == nullptr) return nullptr;
    ZYNELockString(*slot);
    return *slot;
}

// ----- The host class "PluginBridge" --------------------------------------------------------

namespace {

PluginBridge** SlotOf(ZYNEobject self) {
    if (self == nullptr) return nullptr;
    return static_cast<PluginBridge**>(ZYNEGetClassData(self, &PluginBridgeClassDefinition));
}

PluginBridge* BridgeOf(ZYNEobject self) {
    PluginBridge** slot = SlotOf(self);
    return slot != nullptr ? *slot : nullptr;
}

void Construct(ZYNEobject self) {
    PluginBridge** slot = SlotOf(self);
    if (slot != nullptr) *slot = new (std::nothrow) PluginBridge(self);
}

void Destruct(ZYNEobject self) {
    PluginBridge** slot = SlotOf(self);
    if (slot == nullptr) return;
    delete *slot;
    *slot = nullptr;
}

long CountGetter(ZYNEobject self, long) {
    const PluginBridge* bridge = BridgeOf(self);
    return bridge != nullptr ? bridge->Count() : 0;
}

bool HasHelpGetter(ZYNEobject self, long) {
    const PluginBridge* bridge = BridgeOf(self);
    return bridge != nullptr && bridge->HasHelp();
}

ZYNEstring PluginNameGetter(ZYNEobject self, long) {
    const PluginBridge* bridge = BridgeOf(self);
    return bridge != nullptr ? bridge->PluginName() : nullptr;
}

long DependencyCountGetter(ZYNEobject self, long) {
    const PluginBridge* bridge = BridgeOf(self);
    return bridge != nullptr ? bridge->DependencyCount() : 0;
}

ZYNEobject GetPluginDefinitionMethod(ZYNEobject self, long index) {
    PluginBridge* bridge = BridgeOf(self);
    return bridge != nullptr ? bridge->GetPluginDefinition(index) : nullptr;
}

bool LoadPluginMethod(ZYNEobject self, ZYNEobject location) {
    PluginBridge* bridge = BridgeOf(self);
    return bridge != nullptr && bridge->LoadPlugin(location);
}

ZYNEstring GetDependencyMethod(ZYNEobject self, long index) {
    PluginBridge* bridge = BridgeOf(self);
    return bridge != nullptr ? bridge->GetDependency(index) : nullptr;
}


ZYNEproperty PluginBridgeProperties[] = {
    ReadOnlyProperty("Count", "Integer", Routine(&CountGetter)),
    ReadOnlyProperty("HasHelp", "Boolean", Routine(&HasHelpGetter)),
    ReadOnlyProperty("PluginName", "String", Routine(&PluginNameGetter)),
    ReadOnlyProperty("DependencyCount", "Integer", Routine(&DependencyCountGetter)),
};

ZYNEmethodDefinition PluginBridgeMethods[] = {
    {Routine(&GetPluginDefinitionMethod), nullptr,
     "GetPluginDefinition( index as integer ) as PluginDefinition", 0},
    {Routine(&LoadPluginMethod), nullptr, "LoadPlugin( location as FolderItem ) as Boolean", 0},
    {Routine(&GetDependencyMethod), nullptr, "GetDependency( index as Integer ) as String", 0},
};

}  // namespace

ZYNE_API ZYNEclassDefinition PluginBridgeClassDefinition = {
    .version = ZYNE_RECORD_VERSION,
    .name = "PluginBridge",
    .superName = nullptr,
    .dataSize = sizeof(PluginBridge*),
    .dataOffset = 0,
    .constructor = &Construct,
    .destructor = &Destruct,
    .properties = PluginBridgeProperties,
    .propertyCount = CountOf(PluginBridgeProperties),
    .methods = PluginBridgeMethods,
    .methodCount = CountOf(PluginBridgeMethods),
    .events = nullptr,
    .eventCount = 0,
    .eventInstances = nullptr,
    .eventInstanceCount = 0,
    .interfaces = nullptr,
    .reserved16 = nullptr,
    .reserved17 = nullptr,
    .constants = nullptr,
    .constantCount = 0,
    .flags = 0,
    .sharedProperties = nullptr,
    .sharedPropertyCount = 0,
    .sharedMethods = nullptr,
    .sharedMethodCount = 0,
};
