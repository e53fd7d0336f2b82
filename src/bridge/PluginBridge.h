// PluginBridge.h - the object behind the host class "PluginBridge", through which host
// code loads guest plug-ins, and the sweep of the temporary data folder.
//
// One PluginBridge lives in the instance data of each host "PluginBridge" object. It holds
// one reference on every PluginDefinition record it loaded, the host strings naming the
// classes guests asked for while loading, and the last plug-in's name and help flag.
// Not here (yet): loading itself; LoadPlugin answers false until the loader exists.
#ifndef ZYNE_BRIDGE_PLUGIN_BRIDGE_H
#define ZYNE_BRIDGE_PLUGIN_BRIDGE_H

#include "core/SimpleVector.h"
#include "core/StringMap.h"
#include "core/string.h"
#include "hostapi/ZYNEPlugin.h"

class FolderItemImp;
class PluginDefinition;

class PluginBridge {
public:
    /// An empty bridge shown by the host object `owner` (not owned).
    explicit PluginBridge(ZYNEobject owner);
    /// Releases every definition (the last reference destroys a record), unlocks the
    /// dependency strings, then sweeps the temporary data folder when it exists and may
    /// be cleaned, forgetting the folder item when the folder is gone.
    ~PluginBridge();
    PluginBridge(const PluginBridge&) = delete;
    PluginBridge& operator=(const PluginBridge&) = delete;

    /// Number of loaded definitions.
    long Count() const { return definitions.Count(); }
    bool HasHelp() const { return hasHelp; }
    /// A new host string of the plug-in's name tagged UTF-8 (the caller owns it); nil
    /// when no name is set.
    ZYNEstring PluginName() const;
    long DependencyCount() const { return dependencies.Count(); }

    /// A new host "PluginDefinition" object sharing the record at `index` (which gains a
    /// reference); nil when index is not in 0 .. Count() - 1.
    ZYNEobject GetPluginDefinition(long index);
    /// Loads the plug-in file at `location`. The loader does not exist yet: always false.
    bool LoadPlugin(ZYNEobject location);
    /// The dependency string at `index`, locked once more for the caller. The index is not
    /// bounded: reading at or past DependencyCount() first grows the list to index + 1,
    /// and the slots so added read nil. Nil for a negative index.
    ZYNEstring GetDependency(long index);

    ZYNEobject owner;                               // the host object; not owned
    bool hasHelp = false;                           // set by the loader
    string pluginName;                              // set by the loader
    SimpleVector<ZYNEstring> dependencies;          // locked host strings
    SimpleVector<PluginDefinition*> definitions;    // one reference each, in load order
    StringMap<ZYNEclassDefinition*> classMap{256};  // kept, empty: nothing fills or reads it
};

/// Sweeps `item`: a folder has its children swept and is deleted when empty; a file is
/// deleted unless another holder keeps it locked (or it cannot be opened for writing).
/// Children are always fetched at index 0, so a surviving child hides those behind it
/// until the next sweep. `item` stays owned by the caller.
void SweepFolderItem(FolderItemImp* item);

/// The host-visible class "PluginBridge"; instance data is one PluginBridge*. Exported
/// with the interface.
extern ZYNE_API ZYNEclassDefinition PluginBridgeClassDefinition;

#endif  // ZYNE_BRIDGE_PLUGIN_BRIDGE_H
