// ResolverProbe.cpp - test-only library exposing the guest resolver, which the bridge does
// not export, with a load in progress the test starts and ends itself.
//
// Built from the bridge's static objects, so each dlopen of it is a whole bridge with its
// own process-wide values; ResolverTest loads it afresh for every test and unloads it
// afterwards, so that the intercept table, the class maps and the cached host services
// start empty each time.
#include "bridge/BridgeGlobals.h"
#include "bridge/GuestResolver.h"
#include "bridge/PluginBridge.h"
#include "bridge/PluginDefinition.h"
#include "items/DatabaseDelegate.h"
#include "items/PluginClassInstance.h"

#include <vector>

#define PROBE_API __attribute__((visibility("default")))

namespace {

// The record and bridge of the test's latest load; kept after EndLoad for inspection.
PluginDefinition* gRecord = nullptr;
PluginBridge* gBridge = nullptr;
// Every bridge made here, each holding its record; destroyed by FreeAll.
std::vector<PluginBridge*> gBridges;

}  // namespace

extern "C" {

/// The bridge's own entry point: keeps `resolver` as the host's and registers the classes.
PROBE_API void ResolverProbeMain(ZYNEResolver resolver) {
    ZYNEPluginMain(resolver);
}

PROBE_API void* ResolverProbeResolve(const char* name, ZYNEResolver host, bool* intercepted) {
    return BridgeResolve(name, host, intercepted);
}

PROBE_API void* ResolverProbeGuestResolver() {
    return reinterpret_cast<void*>(&GuestResolver);
}

/// Starts a load: a new record and bridge become current (earlier ones are kept until
/// FreeAll). Returns the record.
PROBE_API void* ResolverProbeBeginLoad() {
    gRecord = new PluginDefinition;
    gBridge = new PluginBridge(nullptr);
    gBridges.push_back(gBridge);
    gBridge->definitions.Append(gRecord);
    SetCurrentPluginDefinition(gRecord);
    SetCurrentPluginBridge(gBridge);
    return gRecord;
}

PROBE_API void ResolverProbeEndLoad() {
    SetCurrentPluginDefinition(nullptr);
    SetCurrentPluginBridge(nullptr);
}

/// Entries of the record's list `which`, in record order (classes 0 ... connections 11).
PROBE_API long ResolverProbeCount(const void* opaque, int which) {
    const auto* r = static_cast<const PluginDefinition*>(opaque);
    // clang-format off
    switch (which) {
        case 0: return r->classes.Count();
        case 1: return r->controls.Count();
        case 2: return r->interfaces.Count();
        case 3: return r->methods.Count();
        case 4: return r->structures.Count();
        case 5: return r->enums.Count();
        case 6: return r->modules.Count();
        case 7: return r->classExtensions.Count();
        case 8: return r->databaseEngines.Count();
        case 9: return r->dataSourceInterfaces.Count();
        case 10: return r->dataSources.Count();
        case 11: return r->databaseConnections.Count();
        default: return -1;
    }
    // clang-format on
}

/// The item at `index` of list `which` (for the pair lists: the pair's two words).
PROBE_API void ResolverProbeItem(void* opaque, int which, long index, void** first, void** second) {
    auto* r = static_cast<PluginDefinition*>(opaque);
    *first = *second = nullptr;
    if (which == 9 || which == 10) {
        if (PluginDefinitionPair* pair =
                which == 9 ? r->GetDataSourceInterface(index) : r->GetDataSource(index)) {
            *first = reinterpret_cast<void*>(pair->first);
            *second = reinterpret_cast<void*>(pair->second);
        }
        return;
    }
    // clang-format off
    switch (which) {
        case 0: *first = r->GetClass(index); break;
        case 1: *first = r->GetControl(index); break;
        case 2: *first = r->GetInterface(index); break;
        case 3: *first = r->GetMethod(index); break;
        case 4: *first = r->GetStructure(index); break;
        case 5: *first = r->GetEnum(index); break;
        case 6: *first = r->GetModule(index); break;
        case 7: *first = r->GetClassExtension(index); break;
        case 8: *first = r->GetDatabaseEngine(index); break;
        case 11: *first = r->GetDatabaseConnection(index); break;
        default: break;
    }
    // clang-format on
}

/// The record that registered class `name`, or null.
PROBE_API void* ResolverProbeOwner(const char* name) {
    PluginDefinition* owner = nullptr;
    return ClassOwnerMap().GetEntry(string(name), owner) ? owner : nullptr;
}

PROBE_API void ResolverProbeForgetOwner(const void* record) {
    ForgetClassOwner(static_cast<const PluginDefinition*>(record));
}

PROBE_API long ResolverProbeDependencyCount() {
    return gBridge != nullptr ? gBridge->DependencyCount() : -1;
}

/// The dependency at `index`, borrowed (the bridge keeps its reference).
PROBE_API ZYNEstring ResolverProbeDependency(long index) {
    if (gBridge == nullptr || index < 0 || index >= gBridge->DependencyCount()) return nullptr;
    return gBridge->dependencies[index];
}

PROBE_API void* ResolverProbeLastEngine() {
    return LastEngineDefinition();
}

PROBE_API void* ResolverProbeGuestClass(ZYNEobject instance) {
    return PluginClassInstanceGuestClass(instance);
}

PROBE_API void* ResolverProbeGuestData(ZYNEobject instance) {
    return PluginClassInstanceGuestData(instance);
}

/// Ends any load, uninstalls the delegate and destroys every bridge made here, each
/// releasing its record. Call before unloading the probe: the host's strings and objects
/// the bridges hold are released while the host still answers.
PROBE_API void ResolverProbeFreeAll() {
    ResolverProbeEndLoad();
    UninstallDialogDelegate();
    for (PluginBridge* bridge : gBridges) delete bridge;
    gBridges.clear();
    gBridge = nullptr;
    gRecord = nullptr;
}

}  // extern "C"
