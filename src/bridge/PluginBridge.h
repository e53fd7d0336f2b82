// PluginBridge.h - the object behind the host class "PluginBridge", through which host
// code loads guest plug-ins, and the sweep of the temporary data folder.
//
// One PluginBridge lives in the instance data of each host "PluginBridge" object. It holds
// one reference on every PluginDefinition record it loaded, the host strings naming the
// classes guests asked for while loading, and the last plug-in's name and help flag.
// Loading itself (bare libraries and containers, extraction into the temporary data
// folder) is in PluginLoader.cpp.
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
    /// Loads the plug-in file at `location` (a host FolderItem): a file starting with the
    /// ELF magic as a bare library, else a file named "*.zqx" (any case) as a container.
    /// True when a library was loaded (for a container: the last top-level folder's
    /// answer). Records are appended to `definitions` even when false. The current
    /// definition and bridge are nil again when it returns.
    bool LoadPlugin(ZYNEobject location);
    /// The dependency string at `index`, locked once more for the caller. The index is not
    /// bounded: reading at or past DependencyCount() first grows the list to index + 1,
    /// and the slots so added read nil. Nil for a negative index.
    ZYNEstring GetDependency(long index);

    // ----- The loader (PluginLoader.cpp). Items passed in stay owned by the caller. -----

    /// Whether `item`'s first four bytes are 7F 'E' 'L' 'F'. False when it cannot be read
    /// or is shorter.
    static bool IsNativeSharedLibraryFile(FolderItemImp* item);
    /// Whether `item`'s name ends in ".zqx", compared without regard to case. The contents
    /// are not looked at.
    static bool IsZQXFile(FolderItemImp* item);
    /// Whether `item` is a file the loader can do something with: a bare library or a
    /// container.
    static bool IsCodeResource(FolderItemImp* item);
    /// Loads `item` in place as a bare library into the current definition, or into a new
    /// record appended to `definitions`. False (and no new record) when the library does
    /// not load or has no ZYNEPluginMain.
    bool LoadNativeSharedLibrary(FolderItemImp* item);
    /// Loads the family folder `folder` of the container `containerFile`: one record per
    /// library index, appended to `definitions` whether or not its library loads. True
    /// when a Linux library loaded and `definitions` is not empty.
    bool LoadPluginFromVirtualVolume(FolderItemImp* folder, FolderItemImp* containerFile);
    /// Marks the records for the libraries of one Mac target folder (`targetFolder`, which
    /// is destroyed; nil is harmless) in `defs`, making records as needed. Loads nothing
    /// and returns `result` unchanged.
    bool LoadMacCarbonPluginFromVVFolder(FolderItemImp* targetFolder,
                                         FolderItemImp* containerFile,
                                         SimpleVector<PluginDefinition*>& defs, long target,
                                         bool result);
    /// Extracts `length` bytes of the library `name` into the temporary data folder under a
    /// free name "<n><name>", locks the file for the current definition's lifetime, loads
    /// it and runs its ZYNEPluginMain with the guest resolver. False when any step fails;
    /// three of those failures print a line on standard output.
    bool LoadLinuxPlugin(const string& name, const void* bytes, unsigned long long length);

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
