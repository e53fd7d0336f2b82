// PluginDefinition.h - the record of one guest plug-in and its host-visible class.
//
// A PluginDefinition collects what one guest library registered (filled by the guest
// resolver's registration capture), the targets its plug-in file carries a library
// for and where that library came from (filled by the loader). It is shared and
// reference-counted: one reference for the bridge's list, one per host object that
// shows it. The record never owns the items its vectors point to: they live in the
// guest library, which the record keeps loaded until it is destroyed.
// Libraries of other targets and palette icons are read from the container on every
// call (nothing is cached); the Linux library is served from its extracted file.
#ifndef ZYNE_BRIDGE_PLUGIN_DEFINITION_H
#define ZYNE_BRIDGE_PLUGIN_DEFINITION_H

#include <cstdint>

#include "core/SimpleVector.h"
#include "core/string.h"
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
    /// Clears this record from the class-owner map's values (the keys stay), closes the
    /// library (dlclose), releases and closes the lock stream, removes the extracted file
    /// when deleteLibraryOnClose is set, destroys both items and frees extraBuffer.
    /// Asserts that no reference is left.
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

    /// The library's bytes for `target` as a new host string (the caller owns it), or nil
    /// when the target is above 6, its flag is not set or the bytes cannot be read. By
    /// source: a bare library's own file; a container's library for the target (the Linux
    /// one from its extracted file); nil for a resource.
    ZYNEstring GetLibrary(long target);
    /// The library's file name for `target` as a new host string, or nil; as GetLibrary,
    /// except that kMachOUniversal tests isMachO, not isMachOUniversal.
    ZYNEstring GetLibraryName(long target);

    /// The bytes of the child at linuxIndex of the target's folder in "Build Resources" of
    /// the first top-level folder of the container that has one (not necessarily this
    /// plug-in's own family), as a new host string; nil when none. kLinuxX86 answers
    /// GetLibraryFromNative() instead: the extracted file, not the container's copy.
    ZYNEstring GetLibraryFromZQX(long target);
    /// The name of that same child, for every target including kLinuxX86; nil when none.
    ZYNEstring GetLibraryNameFromZQX(long target);
    /// libraryFile's bytes as a new host string; nil when there is no file or it cannot be
    /// read whole.
    ZYNEstring GetLibraryFromNative();
    /// libraryFile's name as a new host string tagged with the name's encoding (ASCII when
    /// the name is empty); nil without a file.
    ZYNEstring GetLibraryNameFromNative();
    /// Records from resources are never made on this platform: always nil.
    ZYNEstring GetLibraryFromResource(long target);
    ZYNEstring GetLibraryNameFromResource(long target);

    /// The palette icon (or, with `mask`, its mask) of `control` as a new host picture
    /// owned by the caller, or nil. Only container records have icons: in "IDE Resources/
    /// Controls Palette" of the first top-level folder that has one, the file
    /// "<toolbarPicture>-small.bmp" ("-smallmask.bmp"), else "<toolbarPicture>.bmp"
    /// ("mask.bmp"). Nil for other records, a nil control, or when no family has the icon.
    ZYNEobject GetControlIcon(ZYNEcontrol* control, bool mask);
    /// The bitmap `fileName` in `folder` (not owned), decoded and handed to the host's
    /// "ZYNEBuildPictureFromBuffer" in the kPixelTypeRGBA8 layout: a new host picture owned
    /// by the caller, or nil when the file is missing, unreadable or not a bitmap the
    /// decoder accepts. A file of that name in the folder's "Linux x86" child is preferred
    /// over the folder's own, so a palette can override an icon for this platform; when
    /// the preferred one gives no picture the folder's own is tried.
    static ZYNEobject GetControlIconHelper(FolderItemImp* folder, string fileName);

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
};

/// The instance data size, in bytes, that instances of the class `name` carry before a
/// subclass's own data. A class some guest registered (it is in ClassOwnerMap()): its
/// declared dataSize plus that of its superclass, recursively (the whole plug-in chain;
/// a chain longer than 64 classes, which only a loop makes, stops adding there). Any
/// other class is the host's: an instance is made with ZYNEnewInstance, and the instance
/// size the host records for its class less the six-word object header is the answer.
/// 0 for a nil or empty name, a registered name its owner has no class for, or a host
/// class the host cannot instantiate.
long GetClassDataSize(const char* name);

/// The host-visible class "PluginDefinition": instance data is one PluginDefinition*,
/// holding one reference (nil after the constructor). Exported with the interface.
extern ZYNE_API ZYNEclassDefinition PluginDefinitionClassDefinition;

/// A new host "PluginDefinition" object showing `record`, which gains one reference; the
/// caller owns the object's one count. Nil (and no reference added) when the host makes
/// no object.
ZYNEobject NewPluginDefinitionObject(PluginDefinition* record);

#endif  // ZYNE_BRIDGE_PLUGIN_DEFINITION_H
