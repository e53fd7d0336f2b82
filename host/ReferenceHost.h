// ReferenceHost.h - a small, real host that loads the bridge and answers its services.
//
// The host loads the bridge with dlopen, calls its ZYNEPluginMain with a resolver of
// its own, answers services by name, logs every lookup and every call of a built-in
// service, keeps the records the plug-in registers and lays out strings and objects
// the way the plug-in interface expects. Tests and tools use it to run the bridge
// exactly as the host application would, across the exported interface only.
//
// It is not the host application: no windows, no event loop, no compiler, no thread
// safety (every call comes from the one thread that made the host). One host lives
// per process at a time, because the resolver handed to the plug-in is a plain C
// function that reaches the host through ReferenceHost::Current().
#ifndef ZYNE_HOST_REFERENCE_HOST_H
#define ZYNE_HOST_REFERENCE_HOST_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "hostapi/ZYNEPlugin.h"

#ifndef ZYNE_BRIDGE_PATH
#define ZYNE_BRIDGE_PATH "libzynebridge.so"
#endif

namespace zyne::host {

namespace detail {
struct HostState;
/// The live host's state, for the built-in services; the process aborts without one.
HostState& CurrentState();
}  // namespace detail

/// How a host is set up before it loads the bridge.
struct HostOptions {
    /// The bridge library to load; by default the one this build produced.
    std::string bridgePath = ZYNE_BRIDGE_PATH;
    /// What the "ZYNEGetZQVersion" service answers; nullopt: the host has no such service.
    std::optional<double> version = 2023.0;
};

/// What the host keeps per registered class. Owned by the host and unchanged until the
/// host is destroyed; a ZYNEclassRef handed to the plug-in points at one of these.
/// The instance size comes first: a plug-in finds it as the first word of the class an
/// object's first word points at.
struct ClassInfo {
    long instanceSize = 0;                  ///< header + superclass data + own data, in bytes
    std::string name;                       ///< as registered
    ZYNEclassDefinition* record = nullptr;  ///< the plug-in's record, owned by the plug-in
    const ClassInfo* superclass = nullptr;  ///< null: no superName, or none registered by then
    bool threeWordMethods = false;          ///< `record->methods` holds the three-word form
};

/// A host picture as "ZYNEBuildPictureFromBuffer" kept it.
struct HostPicture {
    long width = 0;
    long height = 0;
    std::vector<unsigned char> rgba;  ///< width * height * 4 bytes: R, G, B, A; top row first
};

/// The reference host. Not copyable; one per process at a time.
class ReferenceHost {
public:
    /// Bytes of host header at the start of every object: six machine words. Word 0
    /// points at the object's ClassInfo, word 1 is the reference count.
    static constexpr long kObjectHeaderSize = 6 * static_cast<long>(sizeof(void*));
    /// The encoding tag of a string built without one.
    static constexpr unsigned long kUnknownEncoding = 0xFFFF;

    /// Sets up the built-in services; loads nothing yet. Aborts the process if another
    /// host is alive (a programming error: the resolver could not tell them apart).
    explicit ReferenceHost(HostOptions options = {});
    /// Unloads the bridge (while this host still answers the services its static
    /// destructors may call), then frees the host's own bookkeeping; the next host in the
    /// process starts with a freshly initialised bridge. Strings and objects still alive
    /// are left as they are (not destroyed, not freed), so a leak checker reports what
    /// the plug-in never released.
    ~ReferenceHost();
    ReferenceHost(const ReferenceHost&) = delete;
    ReferenceHost& operator=(const ReferenceHost&) = delete;

    /// The live host, or null.
    static ReferenceHost* Current();
    /// The resolver the host hands to plug-ins. Without a live host it answers null.
    static ZYNEResolver Resolver();

    // --- Loading ------------------------------------------------------------------------

    /// Loads the bridge (RTLD_LAZY | RTLD_LOCAL) and calls its ZYNEPluginMain with the
    /// resolver. False when the file cannot be loaded, has no ZYNEPluginMain or a bridge
    /// is already loaded; Error() then names the file and says why.
    bool Load();
    /// Why the last Load() failed; empty after a success.
    const std::string& Error() const;
    /// The bridge's dlopen handle; null before a successful Load().
    void* Handle() const;
    /// dlsym on the bridge, cast to F; null when not loaded or no such symbol.
    template <class F>
    F Symbol(const char* name) const {
        return reinterpret_cast<F>(RawSymbol(name));
    }

    // --- Services -----------------------------------------------------------------------

    /// Adds or replaces the service `name`; later lookups answer `function`.
    void Provide(std::string name, void* function);
    /// Removes the service `name`; later lookups answer null.
    void Withdraw(const std::string& name);
    /// Whether a lookup of `name` would find a service.
    bool Offers(std::string_view name) const;
    /// Looks `name` up exactly as the plug-in's resolver does, logging the lookup.
    void* Lookup(const char* name);
    /// Lookup(name) cast to the service's function type F.
    template <class F>
    F Service(const char* name) {
        return reinterpret_cast<F>(Lookup(name));
    }
    /// Changes what "ZYNEGetZQVersion" answers; nullopt withdraws the service.
    void SetVersion(std::optional<double> version);
    /// The current HostOptions::version.
    std::optional<double> Version() const;

    // --- Log ----------------------------------------------------------------------------

    /// Every lookup ("resolve NAME -> found" / "... -> missing") and every call of a
    /// built-in service ("ZYNEBuildString(\"abc\", 3)"), oldest first. Host-side helpers
    /// below (NewString, Unlock, Call, ...) do not log.
    const std::vector<std::string>& Log() const;
    void ClearLog();
    /// Appends a line, for services that tests provide.
    void Record(std::string line);
    /// Whether `name` was looked up (found or not) since the log was last cleared.
    bool Resolved(std::string_view name) const;
    /// How many log lines equal `line` exactly.
    size_t Count(std::string_view line) const;
    /// Misuse the host noticed in the plug-in's calls (a dead string unlocked, a class
    /// ref the host never gave out, a null record registered, ...). Empty when all went
    /// well; never cleared.
    const std::vector<std::string>& Faults() const;

    // --- Registration -------------------------------------------------------------------

    /// The version passed to "RegisterPluginVersion"; 0 before.
    long PluginVersion() const;
    /// The records handed to each registration service, in order; owned by the plug-in.
    const std::vector<ZYNEclassDefinition*>& Classes() const;
    const std::vector<ZYNEclassDefinition*>& ClassExtensions() const;
    const std::vector<ZYNEcontrol*>& Controls() const;
    const std::vector<ZYNEinterfaceDefinition*>& Interfaces() const;
    const std::vector<ZYNEmoduleDefinition*>& Modules() const;
    const std::vector<ZYNEmethodDefinition*>& Methods() const;
    const std::vector<ZYNEstructure*>& Structures() const;
    const std::vector<ZYNEenum*>& Enums() const;
    /// Every registration in order: "class NAME", "class extension NAME", "control NAME",
    /// "interface NAME", "module NAME", "method DECLARATION", "structure NAME", "enum NAME".
    const std::vector<std::string>& RegistrationOrder() const;
    /// The class registered last under `name` (case-insensitive); null when none.
    const ClassInfo* FindClass(std::string_view name) const;

    // --- Strings (host helpers, not logged) -------------------------------------------

    /// A new host string holding `text`, count 1; the caller owns that count.
    ZYNEstring NewString(std::string_view text, unsigned long encoding = kUnknownEncoding);
    /// The bytes of a host string; "" for null.
    static std::string Text(ZYNEstring string);
    /// The string's reference count; 0 for null or a string the host has freed.
    long RefCount(ZYNEstring string) const;
    /// As the lock and unlock services; null is harmless, the last unlock frees.
    void Lock(ZYNEstring string);
    void Unlock(ZYNEstring string);
    /// How many strings are alive (leak checks).
    size_t LiveStrings() const;

    // --- Objects (host helpers, not logged) -------------------------------------------

    /// A new instance of the class, count 1, constructors run base first; the caller owns
    /// that count. Null when no class of that name is registered.
    ZYNEobject NewInstance(const char* className);
    /// The object's reference count; 0 for null or an object the host has freed.
    long RefCount(ZYNEobject object) const;
    /// As the lock and unlock services; null is harmless; the last unlock runs the
    /// destructors derived first and frees the object.
    void Lock(ZYNEobject object);
    void Unlock(ZYNEobject object);
    /// How many objects are alive (leak checks).
    size_t LiveObjects() const;
    /// The record of the object's class; null for null or a dead object.
    const ZYNEclassDefinition* ClassOf(ZYNEobject object) const;
    /// The bytes allocated per instance of the class; -1 when no such class.
    long InstanceSize(const char* className) const;

    // --- Folder items (host helpers, not logged) --------------------------------------

    /// A new host FolderItem object naming `path` (which need not exist), count 1; the
    /// caller owns that count. What "FolderItemFromPath" makes and "ZYNEpathFromFolderItem"
    /// reads.
    ZYNEobject NewFolderItem(const std::string& path);
    /// The path a host FolderItem names; "" for null or any other object.
    std::string FolderItemPath(ZYNEobject item) const;

    // --- Variants (host helpers, not logged) -------------------------------------------

    /// A new host variant holding the value, count 1; the caller owns that count. What the
    /// "...ToVariant" services make.
    ZYNEobject NewVariantInteger(long value);
    ZYNEobject NewVariantDouble(double value);
    ZYNEobject NewVariantBoolean(bool value);
    ZYNEobject NewVariantColor(long value);
    ZYNEobject NewVariantString(std::string_view text);
    /// "Integer", "Double", "Boolean", "Color" or "String"; "" for anything but a live variant.
    std::string VariantType(ZYNEobject object) const;
    /// The variant's "IntegerValue", "DoubleValue", "BooleanValue" or "StringValue" with the
    /// host's conversions; nullopt when `variant` is none or its value does not convert.
    std::optional<long> VariantInteger(ZYNEobject variant);
    std::optional<double> VariantDouble(ZYNEobject variant);
    std::optional<bool> VariantBoolean(ZYNEobject variant);
    std::optional<std::string> VariantString(ZYNEobject variant);

    // --- Pictures (host helpers, not logged) -------------------------------------------

    /// The size and pixels of a live host picture; nullopt for null or any other object.
    std::optional<HostPicture> PictureOf(ZYNEobject picture) const;

    // --- Host classes, collections, memory blocks, arrays, databases (not logged) -----

    /// Defines a class of the host's own (as host code would declare one): findable by
    /// name for creation, "ZYNELoadObjectMethod", Call() and "GetInterfaceRoutine", but
    /// not a registration. Methods are (declaration, routine) pairs, each routine taking
    /// the object first; `interfaces` names the interfaces the class implements. A later
    /// class of the same name hides earlier ones. Null when `name` is empty.
    const ClassInfo* DefineClass(const std::string& name,
                                 const std::vector<std::pair<std::string, void*>>& methods,
                                 const std::vector<std::string>& interfaces = {},
                                 long dataSize = 0);
    /// The name of a live object's class; "" for null or a dead object.
    std::string ClassNameOf(ZYNEobject object) const;

    /// One item of a host Collection, each side in its log form: a string's text quoted,
    /// a variant as variant("text"), another object as `object`, null as `null`.
    struct CollectionItem {
        std::string value;
        std::string key;
        bool operator==(const CollectionItem&) const = default;
    };
    /// A new, empty host Collection, count 1; the caller owns that count.
    ZYNEobject NewCollection();
    /// The items of a live Collection in the order added; nullopt for anything else.
    std::optional<std::vector<CollectionItem>> CollectionItems(ZYNEobject collection) const;

    /// A new host MemoryBlock holding a copy of `bytes`, count 1; the caller owns it.
    ZYNEobject NewMemoryBlock(std::string_view bytes);
    /// The bytes of a live MemoryBlock of known size; nullopt for anything else.
    std::optional<std::string> MemoryBlockBytes(ZYNEobject block) const;

    /// The element kinds "RuntimeArrayCreateSingleDimBoundedArray" takes, one per value
    /// type of the array element routines.
    enum ArrayKind : long {
        kArrayInt64 = 1, kArrayInt32, kArrayInt16, kArrayInt8,
        kArrayUInt64, kArrayUInt32, kArrayUInt16, kArrayUInt8,
        kArraySingle, kArrayDouble, kArrayString, kArrayObject,
    };
    /// A new host array (an object, count 1, the caller's) of the integers or texts given.
    ZYNEobject NewIntegerArray(const std::vector<long long>& values, ArrayKind kind = kArrayInt32);
    ZYNEobject NewStringArray(const std::vector<std::string>& texts);
    /// The elements of a live integer (any width) or string array; nullopt otherwise.
    std::optional<std::vector<long long>> ArrayIntegers(ZYNEobject array) const;
    std::optional<std::vector<std::string>> ArrayStrings(ZYNEobject array) const;

    /// A new host Database wrapping a guest's database pointer and engine, count 1.
    ZYNEobject NewDatabase(void* guestDatabase, void* engine = nullptr);
    /// The guest pointer and engine of a live Database; null for anything else.
    void* DatabaseGuestPointer(ZYNEobject database) const;
    void* DatabaseEngine(ZYNEobject database) const;
    /// A new host Window (a plain object of class "Window"), count 1.
    ZYNEobject NewWindow();

    // --- Windows on screen and graphics (host helpers, not logged) ---------------------

    /// Whether GTK 2 has a display: DISPLAY is set and gtk_init_check succeeded (tried once
    /// per process). Always false in a build without GTK (the i386 host).
    static bool DisplayAvailable();
    /// Backs the live object `window` (a Window) with a real GTK window of width x height
    /// holding a vertical box, shown; "ZYNEGetWindowHandle" answers its GtkWindow from then
    /// on. The widgets go with the host. False without a display, for a dead object, a
    /// window already backed or an empty size.
    bool ShowWindow(ZYNEobject window, long width, long height);
    /// The GtkWidget* of the GTK window behind `window`, and of its vertical box; null for
    /// a window without one.
    void* WindowWidget(ZYNEobject window) const;
    void* WindowBox(ZYNEobject window) const;
    /// A new host "Graphics" object, count 1 (the caller owns it), drawing on a white
    /// width x height canvas kept in memory and, with a display, on a GdkPixmap as well.
    /// Its "ForeColor" starts black. Null for an empty size.
    ZYNEobject NewGraphics(long width, long height);
    /// The canvas pixel at (x, y) as 0xRRGGBB; nullopt outside it or for another object.
    std::optional<unsigned long> CanvasPixel(ZYNEobject graphics, long x, long y) const;
    /// A screenshot of the graphics' pixmap, read back from the X server with
    /// gdk_pixbuf_get_from_drawable; nullopt without a pixmap (no display, no GTK).
    std::optional<HostPicture> Screenshot(ZYNEobject graphics) const;

    // --- Calling into registered classes (test helpers; they throw) -------------------

    /// Calls the method named `method` on `self`. The name is matched, case-insensitively,
    /// against the text before '(' of each declaration; a `method` containing '(' must
    /// match the whole parameter list instead (spaces ignored), to pick one overload.
    /// Searched: the object's class (its methods, then its shared methods, then class
    /// extensions of it), then up the superclass chain; the first match is called, with
    /// `self` first unless it is a shared method. Throws std::runtime_error naming the
    /// method when there is none or it has no routine.
    template <class R, class... A>
    R Call(ZYNEobject self, std::string_view method, A... args) {
        const MethodRef found = FindMethod(self, method);
        if (found.shared) return reinterpret_cast<R (*)(A...)>(found.function)(args...);
        return reinterpret_cast<R (*)(ZYNEobject, A...)>(found.function)(self, args...);
    }
    /// Calls a shared method of the class `className` or of a superclass. Throws as Call.
    template <class R, class... A>
    R CallShared(std::string_view className, std::string_view method, A... args) {
        return reinterpret_cast<R (*)(A...)>(FindSharedMethod(className, method))(args...);
    }
    /// Calls a global method registered with "PluginRegisterMethod". Throws as Call.
    template <class R, class... A>
    R CallGlobal(std::string_view method, A... args) {
        return reinterpret_cast<R (*)(A...)>(FindGlobalMethod(method))(args...);
    }

    /// Reads a property of `self` (case-insensitive name, searched up the superclass
    /// chain): a direct field is the T at the declaring class's instance data + param;
    /// otherwise the getter is called as T(self, param). Throws std::runtime_error naming
    /// the property when there is none, it has no getter, or the field lies outside the
    /// declaring class's data.
    template <class T>
    T Get(ZYNEobject self, std::string_view property) {
        static_assert(std::is_trivially_copyable_v<T>, "properties are plain values");
        const PropertyRef found = FindProperty(self, property, false);
        if (found.routine == nullptr) {
            T value;
            std::memcpy(&value, FieldAt(found, property, sizeof(T)), sizeof(T));
            return value;
        }
        return reinterpret_cast<T (*)(ZYNEobject, long)>(found.routine)(self, found.param);
    }
    /// Writes a property of `self`: a direct field is overwritten; otherwise the setter
    /// is called as setter(self, param, value). Throws as Get, or when it is read-only.
    template <class T>
    void Set(ZYNEobject self, std::string_view property, T value) {
        static_assert(std::is_trivially_copyable_v<T>, "properties are plain values");
        const PropertyRef found = FindProperty(self, property, true);
        if (found.routine == nullptr) {
            std::memcpy(FieldAt(found, property, sizeof(T)), &value, sizeof(T));
            return;
        }
        reinterpret_cast<void (*)(ZYNEobject, long, T)>(found.routine)(self, found.param, value);
    }

private:
    struct MethodRef {
        void* function;
        bool shared;  // called without self
    };
    struct PropertyRef {
        void* routine;  // null: a direct field
        long param;     // selector, or the field's offset
        char* data;     // the declaring class's instance data in the object
        long dataSize;  // its size
    };

    void* RawSymbol(const char* name) const;
    MethodRef FindMethod(ZYNEobject self, std::string_view method) const;
    void* FindSharedMethod(std::string_view className, std::string_view method) const;
    void* FindGlobalMethod(std::string_view method) const;
    PropertyRef FindProperty(ZYNEobject self, std::string_view property, bool forWriting) const;
    static void* FieldAt(const PropertyRef& found, std::string_view property, size_t size);

    friend detail::HostState& detail::CurrentState();
    std::unique_ptr<detail::HostState> state_;
};

}  // namespace zyne::host

#endif  // ZYNE_HOST_REFERENCE_HOST_H
