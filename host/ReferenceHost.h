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
struct ClassInfo {
    std::string name;                       ///< as registered
    ZYNEclassDefinition* record = nullptr;  ///< the plug-in's record, owned by the plug-in
    const ClassInfo* superclass = nullptr;  ///< null: no superName, or none registered by then
    long instanceSize = 0;                  ///< header + superclass data + own data, in bytes
    bool threeWordMethods = false;          ///< `record->methods` holds the three-word form
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
