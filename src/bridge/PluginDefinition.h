// PluginDefinition.h - the record of one guest plug-in and its host-visible class.
//
// A PluginDefinition collects what one guest library registered (filled by the guest
// resolver's registration capture), the targets its plug-in file carries a library
// for and where that library came from (filled by the loader). It is shared and
// reference-counted: one reference for the bridge's list, one per host object that
// shows it. The record never owns the items its vectors point to: they live in the
// guest library, which the record keeps loaded until it is destroyed.
// Not here: the container walks behind GetLibrary/GetLibraryName for non-Linux
// targets, control icons and the class data size lookup (they come with the loader).
#ifndef ZYNE_BRIDGE_PLUGIN_DEFINITION_H
#define ZYNE_BRIDGE_PLUGIN_DEFINITION_H

#include <cstdint>

#include "core/SimpleVector.h"
#include "hostapi/ZYNEPlugin.h"

class FolderItemImp;
class RandomAccessMechanism;

/// The targets a plug-in file may carry a library for; published to the host as the
/// PluginDefinition constants of the same names.
enum PlatformTargets : long {
    kMacClassic = 0,
    kWindows = 1,
    kMacCarbon = 2,
    kMachO = 3,
    kLinuxX86 = 4,
    kMacCocoa = 5,
    kMachOUniversal = 6,
};

/// Where a record's library came from (PluginDefinition::sourceKind).
inline constexpr int32_t kSourceNativeLibrary = 0;
inline constexpr int32_t kSourceResource = 1;  // nothing produces it; accessors answer nil
inline constexpr int32_t kSourceContainer = 2;

/// The two values captured for a data source or data-source interface registration.
struct PluginDefinitionPair {
    unsigned long first;
    unsigned long second;
};

class PluginDefinition {
public:
    /// Every vector empty, every flag false, one reference, no library, linuxIndex 0.
    PluginDefinition() = default;
    /// Closes the library (dlclose), releases and closes the lock stream, removes the
    /// extracted file when deleteLibraryOnClose is set, destroys both items and frees
    /// extraBuffer. Asserts that no reference is left.
    ~PluginDefinition();
    PluginDefinition(const PluginDefinition&) = delete;
    PluginDefinition& operator=(const PluginDefinition&) = delete;

    /// One more reference.
    void AddReference() { ++refCount; }
    /// Drops one reference; the last one deletes the record. Null is harmless.
    static void Release(PluginDefinition* record);

    // ----- Item accessors: the stored pointer at `index`, or nil when index is not below
    // the matching count. The record does not own what they point to. -----
    ZYNEclassDefinition* GetClass(unsigned long index) const;
    ZYNEcontrol* GetControl(unsigned long index) const;
    ZYNEinterfaceDefinition* GetInterface(unsigned long index) const;
    ZYNEmethodDefinition* GetMethod(unsigned long index) const;
    ZYNEstructure* GetStructure(unsigned long index) const;
    ZYNEenum* GetEnum(unsigned long index) const;
    ZYNEmoduleDefinition* GetModule(unsigned long index) const;
    ZYNEclassDefinition* GetClassExtension(unsigned long index) const;
    ZYNEdbEngineDefinition* GetDatabaseEngine(unsigned long index) const;
    /// A pointer to the stored pair, valid until the vector grows; nil out of range.
    PluginDefinitionPair* GetDataSourceInterface(unsigned long index);
    PluginDefinitionPair* GetDataSource(unsigned long index);
    ZYNEDatabaseConnectionDefinition* GetDatabaseConnection(unsigned long index) const;

    /// The library's bytes for `target` as a new host string (the caller owns it), or nil.
    /// Served today: a bare library, and the Linux library of a container (from its
    /// extracted file). Other container targets answer nil until the container walk exists.
    ZYNEstring GetLibrary(long target);
    /// The library's file name for `target` as a new host string, or nil. Served today: a
    /// bare library. Container records answer nil until the container walk exists.
    ZYNEstring GetLibraryName(long target);
    /// "plugin:<container name>:<linuxIndex>", "plugin:<library name>:<nativeIndex>" or
    /// "plugin:<nativeIndex>", as a new host string owned by the caller.
    ZYNEstring UniqueID() const;

    // ----- Fields, in the record's order -----
    SimpleVector<ZYNEclassDefinition*> classes;
    SimpleVector<ZYNEcontrol*> controls;
    SimpleVector<ZYNEinterfaceDefinition*> interfaces;
    SimpleVector<ZYNEmethodDefinition*> methods;
    SimpleVector<ZYNEstructure*> structures;
    SimpleVector<ZYNEenum*> enums;
    SimpleVector<ZYNEmoduleDefinition*> modules;
    SimpleVector<ZYNEclassDefinition*> classExtensions;
    SimpleVector<ZYNEdbEngineDefinition*> databaseEngines;
    SimpleVector<PluginDefinitionPair> dataSourceInterfaces;
    SimpleVector<PluginDefinitionPair> dataSources;
    SimpleVector<ZYNEDatabaseConnectionDefinition*> databaseConnections;
    uint32_t refCount = 1;  // the bridge's list and each host object; 0 only while dying
    bool isCarbon = false;  // target flags: the plug-in file carries a library for ...
    bool isClassic = false;
    bool isLinux = false;
    bool isMachO = false;
    bool isMachOUniversal = false;
    bool isWin32 = false;
    bool isCocoa = false;
    int32_t sourceKind = kSourceNativeLibrary;    // set by whoever makes the record
    RandomAccessMechanism* lockStream = nullptr;  // owned; holds flock on the extracted file
    void* libraryHandle = nullptr;                // dlopen handle; closed by the destructor
    FolderItemImp* libraryFile = nullptr;         // owned; the loaded library file
    FolderItemImp* containerFile = nullptr;       // owned; the container on disk
    bool deleteLibraryOnClose = false;            // libraryFile is a temporary extraction
    uint32_t nativeIndex = 0;                     // UniqueID of records without a container
    void* extraBuffer = nullptr;                  // malloc'ed; freed by the destructor
    uint32_t linuxIndex = 0;                      // index within each target folder

private:
    ZYNEstring GetLibraryFromNative();
    ZYNEstring GetLibraryNameFromNative();
};

/// The host-visible class "PluginDefinition": instance data is one PluginDefinition*,
/// holding one reference (nil after the constructor). Exported with the interface.
extern ZYNE_API ZYNEclassDefinition PluginDefinitionClassDefinition;

/// A new host "PluginDefinition" object showing `record`, which gains one reference; the
/// caller owns the object's one count. Nil (and no reference added) when the host makes
/// no object.
ZYNEobject NewPluginDefinitionObject(PluginDefinition* record);

#endif  // ZYNE_BRIDGE_PLUGIN_DEFINITION_H
