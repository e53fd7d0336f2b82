// BridgeProbe.cpp - test-only record builders and the sweep, over the bridge's own code.
#include "BridgeProbe.h"

#include "bridge/GuestResolver.h"
#include "bridge/PluginBridge.h"
#include "bridge/PluginDefinition.h"
#include "files/FolderItemImpUnix.h"

#define PROBE_API __attribute__((visibility("default")))

extern "C" {

PROBE_API void* ProbeNewDefinition(unsigned flagBits) {
    auto* record = new PluginDefinition;
    bool* flags[] = {&record->isCarbon, &record->isClassic,        &record->isLinux,
                     &record->isMachO,  &record->isMachOUniversal, &record->isWin32,
                     &record->isCocoa};
    for (unsigned i = 0; i < 7; ++i) *flags[i] = (flagBits >> i) & 1U;
    return record;
}

PROBE_API void ProbeAppendItems(void* opaque, int which, long count, void* value) {
    auto* record = static_cast<PluginDefinition*>(opaque);
    for (long i = 0; i < count; ++i) {
        switch (which) {
            case 0:
                record->classes.Append(static_cast<ZYNEclassDefinition*>(value));
                break;
            case 1:
                record->controls.Append(static_cast<ZYNEcontrol*>(value));
                break;
            case 2:
                record->interfaces.Append(static_cast<ZYNEinterfaceDefinition*>(value));
                break;
            case 3:
                record->methods.Append(static_cast<ZYNEmethodDefinition*>(value));
                break;
            case 4:
                record->structures.Append(static_cast<ZYNEstructure*>(value));
                break;
            case 5:
                record->enums.Append(static_cast<ZYNEenum*>(value));
                break;
            case 6:
                record->modules.Append(static_cast<ZYNEmoduleDefinition*>(value));
                break;
            case 7:
                record->classExtensions.Append(static_cast<ZYNEclassDefinition*>(value));
                break;
            case 8:
                record->databaseEngines.Append(static_cast<ZYNEdbEngineDefinition*>(value));
                break;
            case 9:
                record->dataSourceInterfaces.Append({0, 0});
                break;
            case 10:
                record->dataSources.Append({0, 0});
                break;
            case 11:
                record->databaseConnections.Append(
                    static_cast<ZYNEDatabaseConnectionDefinition*>(value));
                break;
            default:
                break;
        }
    }
}

PROBE_API void ProbeSetLibraryFile(void* opaque, const char* path, int sourceKind,
                                   bool deleteOnClose) {
    auto* record = static_cast<PluginDefinition*>(opaque);
    record->libraryFile = new FolderItemImpUnix(string(path));
    record->sourceKind = sourceKind;
    record->deleteLibraryOnClose = deleteOnClose;
}

PROBE_API void ProbeSetContainerFile(void* opaque, const char* path, unsigned linuxIndex) {
    auto* record = static_cast<PluginDefinition*>(opaque);
    record->containerFile = new FolderItemImpUnix(string(path));
    record->sourceKind = kSourceContainer;
    record->linuxIndex = linuxIndex;
}

PROBE_API unsigned ProbeRefCount(const void* record) {
    return static_cast<const PluginDefinition*>(record)->refCount;
}

PROBE_API void ProbeAdoptDefinition(void* bridge, void* record) {
    static_cast<PluginBridge*>(bridge)->definitions.Append(static_cast<PluginDefinition*>(record));
}

PROBE_API void ProbeSweep(const char* path) {
    FolderItemImpUnix item{string(path)};
    SweepFolderItem(&item);
}

PROBE_API void ProbeUseResolver(void* resolver) {
    gResolver = reinterpret_cast<ZYNEResolver>(resolver);
}

PROBE_API void ProbeOwnClass(const char* name, void* record) {
    ClassOwnerMap().AddEntry(string(name), static_cast<PluginDefinition*>(record));
}

PROBE_API long ProbeClassDataSize(const char* name) {
    return GetClassDataSize(name);
}

PROBE_API void ProbeReleaseDefinition(void* record) {
    PluginDefinition::Release(static_cast<PluginDefinition*>(record));
}

PROBE_API void* ProbeControlIcon(void* record, void* control, bool mask) {
    return static_cast<PluginDefinition*>(record)->GetControlIcon(static_cast<ZYNEcontrol*>(control),
                                                                  mask);
}

}  // extern "C"
