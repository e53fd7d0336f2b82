// HostState.h - the reference host's private state and its service tables.
//
// Each family of built-in services (core, registration, strings, objects, ...) lives in
// its own host/*.cpp file and lists its services in one table of {name, function} rows;
// ReferenceHost installs every table in one place. Adding a later family means one new
// file with its table and one line in ReferenceHost.cpp. Services reach the live host
// through CurrentState() and log their calls with Called().
//
// Internal to host/; tests use ReferenceHost.h.
#ifndef ZYNE_HOST_HOST_STATE_H
#define ZYNE_HOST_HOST_STATE_H

#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "ReferenceHost.h"

namespace zyne::host::detail {

/// One built-in service: the host name the plug-in asks for and the function answering it.
struct ServiceRow {
    const char* name;
    void* function;
};

/// The tables of built-in services, one per family.
std::span<const ServiceRow> CoreServices();          // ReferenceHost.cpp
std::span<const ServiceRow> RegistrationServices();  // HostRegistration.cpp
std::span<const ServiceRow> StringServices();        // HostStrings.cpp
std::span<const ServiceRow> ObjectServices();        // HostObjects.cpp
std::span<const ServiceRow> ClassRefServices();      // HostClassRefs.cpp
std::span<const ServiceRow> FolderItemServices();    // HostFolderItems.cpp
std::span<const ServiceRow> VariantServices();       // HostVariants.cpp
std::span<const ServiceRow> PropertyServices();      // HostProperties.cpp
std::span<const ServiceRow> PictureServices();       // HostPictures.cpp
std::span<const ServiceRow> MemoryBlockServices();   // HostMemoryBlocks.cpp
std::span<const ServiceRow> ArrayServices();         // HostArrays.cpp
std::span<const ServiceRow> InterfaceServices();     // HostInterfaces.cpp
std::span<const ServiceRow> DatabaseServices();      // HostDatabases.cpp
std::span<const ServiceRow> GtkWindowServices();     // HostGtkWindows.cpp

/// Makes the host's own classes ("Collection", "MemoryBlock", "Window", "Database")
/// known by name to a fresh host (HostInterfaces.cpp).
void AddBuiltInClasses(HostState& state);
/// The records of the host's own classes, one per family file.
ZYNEclassDefinition& CollectionClassRecord();   // HostCollections.cpp
ZYNEclassDefinition& MemoryBlockClassRecord();  // HostMemoryBlocks.cpp
ZYNEclassDefinition& ArrayClassRecord();        // HostArrays.cpp
ZYNEclassDefinition& DatabaseClassRecord();     // HostDatabases.cpp

/// A record for one of the host's own classes: no superclass, no properties, the data
/// size, destructor and methods given; registered with HostState::AddHostClass.
constexpr ZYNEclassDefinition HostClassRecord(const char* name, long dataSize,
                                              void (*destructor)(ZYNEobject) = nullptr,
                                              ZYNEmethodDefinition* methods = nullptr,
                                              long methodCount = 0) {
    ZYNEclassDefinition record{};
    record.version = 9;
    record.name = name;
    record.dataSize = dataSize;
    record.destructor = destructor;
    record.methods = methods;
    record.methodCount = methodCount;
    return record;
}

/// Case-insensitive (ASCII) equality of names, as the host's language compares them.
bool SameName(std::string_view a, std::string_view b);

/// A log argument already in its log form.
struct Verbatim {
    std::string text;
};

/// A host string in its log form: its text quoted, or `ptr` for one the host has freed
/// (its bytes are gone).
std::string DescribeString(ZYNEstring string);

/// A log argument: integers in decimal, texts and live host strings double-quoted, records by
/// their name (methods by their declaration), null as `null`, other pointers as `ptr`,
/// floating point with %g.
template <class T>
std::string Describe(const T& value) {
    auto quoted = [](std::string_view text) { return "\"" + std::string(text) + "\""; };
    if constexpr (std::is_same_v<T, Verbatim>) {
        return value.text;
    } else if constexpr (std::is_same_v<T, bool>) {
        return value ? "1" : "0";
    } else if constexpr (std::is_integral_v<T>) {
        return std::to_string(value);
    } else if constexpr (std::is_floating_point_v<T>) {
        char text[32];
        std::snprintf(text, sizeof text, "%g", static_cast<double>(value));
        return text;
    } else if constexpr (std::is_convertible_v<T, std::string_view> && !std::is_pointer_v<T>) {
        return quoted(value);
    } else if constexpr (std::is_pointer_v<T>) {
        using Pointee = std::remove_cv_t<std::remove_pointer_t<T>>;
        if (value == nullptr) return "null";
        if constexpr (std::is_same_v<Pointee, char>) {
            return quoted(value);
        } else if constexpr (std::is_same_v<Pointee, ZYNEstringStruct>) {
            return DescribeString(value);
        } else if constexpr (std::is_same_v<Pointee, ZYNEmethodDefinition>) {
            return value->declaration != nullptr ? quoted(value->declaration) : "null";
        } else if constexpr (requires {
                                 { value->name } -> std::convertible_to<const char*>;
                             }) {
            return value->name != nullptr ? quoted(value->name) : "null";
        } else {
            return "ptr";
        }
    } else {
        static_assert(std::is_pointer_v<T>, "no log form for this argument type");
    }
}

/// Everything a host keeps. Owned by ReferenceHost; one alive per process.
struct HostState {
    HostOptions options;
    void* bridge = nullptr;  // dlopen handle, null until loaded
    std::string error;       // why the last Load() failed
    std::map<std::string, void*, std::less<>> services;
    std::vector<std::string> log;
    std::vector<std::string> faults;

    // Registration.
    long pluginVersion = 0;
    std::vector<ZYNEclassDefinition*> classes;
    std::vector<ZYNEclassDefinition*> classExtensions;
    std::vector<ZYNEcontrol*> controls;
    std::vector<ZYNEinterfaceDefinition*> interfaces;
    std::vector<ZYNEmoduleDefinition*> modules;
    std::vector<ZYNEmethodDefinition*> methods;
    std::vector<ZYNEstructure*> structures;
    std::vector<ZYNEenum*> enums;
    std::vector<std::string> registrationOrder;
    std::deque<ClassInfo> classInfos;      // a deque: ClassInfo addresses are handed out
    std::deque<ClassInfo> extensionInfos;  // per class extension; no superclass, no size

    // Strings and objects alive; the host frees each at its last unlock.
    std::unordered_set<ZYNEstring> liveStrings;
    std::unordered_set<ZYNEobject> liveObjects;

    /// Logs a call of a built-in service: NAME(arg, arg, ...).
    template <class... A>
    void Called(std::string_view service, const A&... args) {
        std::string line(service);
        line += '(';
        const std::vector<std::string> arguments{Describe(args)...};
        for (size_t i = 0; i < arguments.size(); ++i) line += (i > 0 ? ", " : "") + arguments[i];
        line += ')';
        log.push_back(std::move(line));
    }
    /// Notes misuse by the plug-in; also logged, prefixed "fault: ".
    void Fault(std::string what);

    /// Whether the plug-in will have handed over method lists in the three-word form: the
    /// glue converts them when "ZYNEGetZQVersion" answers below 5.9 or is missing.
    bool HostTakesThreeWordMethods() const;
    // What "ZYNEGetZQVersion" last answered, if it was ever asked.
    std::optional<double> lastVersionAnswer;

    // Strings (HostStrings.cpp).
    ZYNEstring NewString(const char* text, long length, unsigned long encoding);
    void LockString(ZYNEstring string, const char* service);
    void UnlockString(ZYNEstring string, const char* service);

    // Objects (HostObjects.cpp). A null class makes no object.
    ZYNEobject NewObject(const ClassInfo* info);
    void LockObject(ZYNEobject object, const char* service);
    void UnlockObject(ZYNEobject object, const char* service);
    /// The object's class, or null when it is not a live object.
    const ClassInfo* ClassInfoOf(ZYNEobject object) const;
    /// Whether `info` is one of this host's ClassInfo records.
    bool OwnsClassInfo(const void* info) const;
    /// The class registered last under `name`; null when none.
    const ClassInfo* FindClass(std::string_view name) const;

    // The host's own classes (HostInterfaces.cpp). They join classInfos, so creation by
    // name, method lookup and Call() find them, but never the registration lists or log.
    /// Adds `record` (owned elsewhere, alive as long as the host) as a host class: its data
    /// follows the header; a superName names an earlier class. Null when the record is.
    const ClassInfo* AddHostClass(ZYNEclassDefinition* record);
    /// The ClassInfo AddHostClass made for `record`; null when none.
    const ClassInfo* HostClassOf(const ZYNEclassDefinition* record) const;
    /// What DefineClass made and the host keeps alive (records, names, method tables).
    std::vector<std::shared_ptr<void>> definedClasses;
    /// The GTK windows behind host Window objects (HostGtkWindows.cpp); each destroys its
    /// widgets when dropped.
    std::map<ZYNEobject, std::shared_ptr<void>> gtkWindows;
};

}  // namespace zyne::host::detail

#endif  // ZYNE_HOST_HOST_STATE_H
