// Walker.cpp - one plug-in file through the bridge, read back as host code reads it.
//
// A fresh reference host loads the bridge, makes a PluginBridge, hands "LoadPlugin" a host
// FolderItem and then walks every PluginDefinition with the host-visible classes only:
// properties and methods by name, objects released as the host releases them. Strings a
// property routine returns belong to the caller and are released; strings kept as direct
// fields of an item belong to the item and are only read. Nothing here looks inside the
// bridge. Whatever the bridge prints while loading goes to standard error, so that standard
// output carries only the tool's report.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include "Inspect.h"
#include "ReferenceHost.h"

namespace inspect {

namespace {

using zyne::host::ReferenceHost;

// The PlatformTargets values GetLibrary and GetLibraryName take, with the names the
// report uses for them.
struct Target {
    long value;
    const char* name;
};
constexpr Target kTargets[] = {
    {0, "MacClassic"}, {1, "Windows"},  {2, "MacCarbon"},      {3, "MachO"},
    {4, "LinuxX86"},   {5, "MacCocoa"}, {6, "MachOUniversal"},
};
constexpr long kLinuxX86 = 4;

// The target flags of a definition, report name first.
constexpr std::pair<const char*, const char*> kTargetFlags[] = {
    {"linux", "IsTargetLinux"},
    {"win32", "IsTargetWin32"},
    {"carbon", "IsTargetCarbon"},
    {"cocoa", "IsTargetCocoa"},
    {"classic", "IsTargetClassic"},
    {"macho", "IsTargetMachO"},
    {"macho_universal", "IsTargetMachOUniversal"},
};

// Bounds for walks over counts a damaged or hostile guest could make absurd.
constexpr long kMaxItems = 100000;

// Up to `limit` bytes of a file; empty when it cannot be read.
std::string ReadFile(const std::string& path, size_t limit) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return {};
    std::string bytes;
    char buffer[65536];
    while (bytes.size() < limit && in) {
        in.read(buffer,
                static_cast<std::streamsize>(std::min(sizeof buffer, limit - bytes.size())));
        bytes.append(buffer, static_cast<size_t>(in.gcount()));
    }
    return bytes;
}

// A file name for a control's icon: the control's name with anything that is not a
// letter, digit, '-', '_' or '.' replaced, never empty or a dot name.
std::string SafeFileName(const std::string& name) {
    std::string out;
    for (const char c : name) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
        out += plain ? c : '_';
    }
    if (out.empty() || out == "." || out == "..") out = "_" + out;
    return out;
}

// Whether the file starts as an ELF object does.
bool IsElfFile(const std::string& path) {
    return ReadFile(path, 4) == "\x7f" "ELF";
}

// The ELF report of a library's bytes.
Json ElfOf(const std::string& bytes) {
    return ElfJson(ReadElf(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
}

class Walker {
public:
    Walker(ReferenceHost& host, const WalkOptions& options) : host_(host), options_(options) {}

    // --- Reading properties as the host does ---------------------------------------------

    // Whether the property is a direct field of the object's own class: its string then
    // belongs to the object.
    bool IsDirectField(ZYNEobject object, const char* property) const {
        const ZYNEclassDefinition* record = host_.ClassOf(object);
        if (record == nullptr || record->properties == nullptr) return false;
        for (long i = 0; i < record->propertyCount; ++i) {
            const ZYNEproperty& p = record->properties[i];
            if (p.name != nullptr && strcasecmp(p.name, property) == 0)
                return p.getter == ZYNE_DIRECT_FIELD;
        }
        return false;
    }
    // The text of a string handed to us, which is released; null for nil.
    Json Taken(ZYNEstring s) {
        if (s == nullptr) return nullptr;
        std::string text = ReferenceHost::Text(s);
        host_.Unlock(s);
        return text;
    }
    // A String property: its text, or null for nil.
    Json Str(ZYNEobject object, const char* property) {
        ZYNEstring s = host_.Get<ZYNEstring>(object, property);
        if (s != nullptr && IsDirectField(object, property)) return ReferenceHost::Text(s);
        return Taken(s);
    }
    long Int(ZYNEobject object, const char* property) { return host_.Get<long>(object, property); }
    bool Bool(ZYNEobject object, const char* property) { return host_.Get<bool>(object, property); }
    long Count(ZYNEobject object, const char* property) {
        const long n = Int(object, property);
        return n < 0 ? 0 : (n > kMaxItems ? kMaxItems : n);
    }
    // A method returning a new String: its text, or null.
    Json CallStr(ZYNEobject object, const char* method, long index) {
        return Taken(host_.Call<ZYNEstring>(object, method, index));
    }
    // The texts "Get<item>(i)" answers for each i below the "<item>Count" property.
    Json Strings(ZYNEobject owner, const std::string& item) {
        Json list = Json::array();
        const long n = Count(owner, (item + "Count").c_str());
        for (long i = 0; i < n; ++i) list.push_back(CallStr(owner, ("Get" + item).c_str(), i));
        return list;
    }
    // Calls `getter(index)` for each index below `count`, describing each object it hands
    // out with `describe`; nil results are reported as null.
    template <class F>
    Json Each(ZYNEobject owner, const char* getter, long count, F describe) {
        Json list = Json::array();
        for (long i = 0; i < count; ++i) {
            ZYNEobject item = host_.Call<ZYNEobject>(owner, getter, i);
            if (item == nullptr) {
                list.push_back(nullptr);
                continue;
            }
            list.push_back(describe(item));
            host_.Unlock(item);
        }
        return list;
    }
    // Each, over "Get<item>" and its count "<item>Count", with a describing member.
    Json Items(ZYNEobject owner, const std::string& item, Json (Walker::*describe)(ZYNEobject)) {
        return Each(owner, ("Get" + item).c_str(), Count(owner, (item + "Count").c_str()),
                    [this, describe](ZYNEobject x) { return (this->*describe)(x); });
    }

    // --- Items ------------------------------------------------------------------------------

    Json Method(ZYNEobject m) {
        Json j;
        j["name"] = Str(m, "Name");
        j["parameters"] = Str(m, "Parameters");
        j["return_type"] = Str(m, "ReturnType");
        j["declaration"] = Str(m, "Declaration");
        j["shared"] = Bool(m, "IsShared");
        j["scope"] = Str(m, "Scope");
        j["compatibility"] = Str(m, "CompatibilityFlags");
        j["has_function"] = Int(m, "Getter") != 0;
        j["has_setter"] = Int(m, "Setter") != 0;
        return j;
    }
    Json Property(ZYNEobject p) {
        Json j;
        j["name"] = Str(p, "Name");
        j["type"] = Str(p, "ReturnType");
        j["group"] = Str(p, "Group");
        j["parameter"] = Int(p, "ParameterValue");
        j["shared"] = Bool(p, "IsShared");
        j["runtime_only"] = Bool(p, "IsRuntimeOnly");
        j["scope"] = Str(p, "Scope");
        j["compatibility"] = Str(p, "CompatibilityFlags");
        j["has_getter"] = Int(p, "Getter") != 0;
        j["has_setter"] = Int(p, "Setter") != 0;
        j["enums"] = Strings(p, "Enum");
        return j;
    }
    Json Constant(ZYNEobject c) {
        Json j;
        j["name"] = Str(c, "Name");
        j["value"] = Str(c, "Value");
        j["declaration"] = Str(c, "Declaration");
        j["scope"] = Str(c, "Scope");
        return j;
    }
    Json Structure(ZYNEobject s) {
        Json j;
        j["name"] = Str(s, "Name");
        j["scope"] = Str(s, "Scope");
        j["fields"] = Strings(s, "Field");
        return j;
    }
    Json Enum(ZYNEobject e) {
        Json j;
        j["name"] = Str(e, "Name");
        j["type"] = Str(e, "Type");
        j["scope"] = Str(e, "Scope");
        j["fields"] = Strings(e, "Field");
        return j;
    }
    // What classes and controls share: events, methods, properties, constants.
    void Members(ZYNEobject c, Json& j) {
        j["events"] = Items(c, "NewEvent", &Walker::Method);
        j["event_handlers"] = Items(c, "Event", &Walker::Method);
        j["methods"] = Items(c, "Method", &Walker::Method);
        j["properties"] = Items(c, "Property", &Walker::Property);
        j["constants"] = Items(c, "Constant", &Walker::Constant);
    }
    Json Class(ZYNEobject c) {
        Json j;
        j["name"] = Str(c, "Name");
        j["superclass"] = Str(c, "Superclass");
        j["data_size"] = Int(c, "DataSize");
        j["data_offset"] = Int(c, "DataOffset");
        j["has_initializer"] = Bool(c, "HasInitializer");
        j["has_finalizer"] = Bool(c, "HasFinalizer");
        j["compatibility"] = Str(c, "CompatibilityFlags");
        j["interfaces"] = Str(c, "Interfaces");
        Members(c, j);
        return j;
    }
    // A picture the control hands out (locked for us): its size, written as PNG when asked.
    Json Icon(ZYNEobject control, const char* method, const std::string& controlName,
              const char* suffix) {
        ZYNEobject picture = host_.Call<ZYNEobject>(control, method);
        if (picture == nullptr) return nullptr;
        Json j;
        const std::optional<zyne::host::HostPicture> pixels = host_.PictureOf(picture);
        host_.Unlock(picture);
        if (!pixels) {
            j["error"] = "not a picture";
            return j;
        }
        j["width"] = pixels->width;
        j["height"] = pixels->height;
        if (!options_.iconsDir.empty()) {
            const std::string file =
                options_.iconsDir + "/" + SafeFileName(controlName) + suffix + ".png";
            std::string error;
            if (WritePng(file, pixels->width, pixels->height, pixels->rgba, &error))
                j["file"] = file;
            else
                j["error"] = error;
        }
        return j;
    }
    Json Control(ZYNEobject c) {
        Json j;
        j["name"] = Str(c, "Name");
        j["data_size"] = Int(c, "DataSize");
        j["data_offset"] = Int(c, "DataOffset");
        j["default_width"] = Int(c, "DefaultWidth");
        j["default_height"] = Int(c, "DefaultHeight");
        j["flags"] = Int(c, "Flags");
        j["compatibility"] = Str(c, "CompatibilityFlags");
        Members(c, j);
        const std::string name = j["name"].is_string() ? j["name"].get<std::string>() : "control";
        j["icon"] = Icon(c, "GetToolbarIcon", name, "");
        j["icon_mask"] = Icon(c, "GetToolbarIconMask", name, "-mask");
        return j;
    }
    Json Module(ZYNEobject m) {
        Json j;
        j["name"] = Str(m, "Name");
        j["methods"] = Items(m, "Method", &Walker::Method);
        j["properties"] = Items(m, "Property", &Walker::Property);
        j["constants"] = Items(m, "Constant", &Walker::Constant);
        j["structures"] = Items(m, "Structure", &Walker::Structure);
        j["enums"] = Items(m, "Enum", &Walker::Enum);
        return j;
    }
    Json Interface(ZYNEobject i) {
        Json j;
        j["name"] = Str(i, "Name");
        j["methods"] = Items(i, "Method", &Walker::Method);
        return j;
    }
    // The name a data source (interface) answers through its "Name()" method.
    Json SourceName(ZYNEobject source) { return Taken(host_.Call<ZYNEstring>(source, "Name")); }
    Json DataSourceInterface(ZYNEobject source) { return Json{{"name", SourceName(source)}}; }
    // An engine's capabilities, as the designer asks before offering a schema operation.
    Json Engine(ZYNEobject engine) {
        static constexpr std::pair<const char*, const char*> kCapabilities[] = {
            {"create_table", "HasCreateTableImplemented"},
            {"drop_table", "HasDropTableImplemented"},
            {"drop_column", "HasDropColumnImplemented"},
            {"alter_table_name", "HasAlterTableNameImplemented"},
            {"alter_column_name", "HasAlterColumnNameImplemented"},
            {"alter_column_type", "HasAlterColumnTypeImplemented"},
            {"alter_column_constraint", "HasAlterColumnConstraintImplemented"},
            {"add_column", "HasAddColumnImplemented"},
        };
        Json j;
        j["options"] = host_.Call<long>(engine, "GetOptions");
        Json caps;
        for (const auto& [key, method] : kCapabilities)
            caps[key] = host_.Call<bool>(engine, method);
        j["capabilities"] = caps;
        return j;
    }
    Json DataSource(ZYNEobject source) {
        Json j;
        j["name"] = SourceName(source);
        // The engine is known once the designer has connected; before that it is nil.
        ZYNEobject engine = host_.Call<ZYNEobject>(source, "GetDatabaseEngine");
        j["engine"] = engine != nullptr ? Engine(engine) : Json(nullptr);
        host_.Unlock(engine);
        return j;
    }

    // --- A definition -------------------------------------------------------------------

    void Library(ZYNEobject d, const std::string& pluginPath, Json& j) {
        Json names = Json::object();
        for (const Target& t : kTargets) {
            Json name = CallStr(d, "GetLibraryName", t.value);
            if (name.is_string() && !name.get<std::string>().empty()) names[t.name] = name;
        }
        j["library_names"] = names;
        ZYNEstring bytes = host_.Call<ZYNEstring>(d, "GetLibrary", kLinuxX86);
        std::string data = bytes != nullptr ? ReferenceHost::Text(bytes) : std::string();
        host_.Unlock(bytes);
        std::string source = "GetLibrary";
        if (data.empty()) {
            // A bare library: the plug-in file is the library.
            if (IsElfFile(pluginPath)) {
                data = ReadFile(pluginPath, 1u << 30);
                source = "file";
            }
        }
        if (data.empty()) {
            j["linux_library"] = nullptr;
            return;
        }
        Json lib;
        lib["source"] = source;
        lib["size"] = data.size();
        lib["elf"] = ElfOf(data);
        j["linux_library"] = lib;
    }

    Json Definition(ZYNEobject d, long index, const std::string& pluginPath) {
        Json j;
        j["index"] = index;
        j["id"] = Str(d, "ID");
        Json targets;
        for (const auto& [key, property] : kTargetFlags) targets[key] = Bool(d, property);
        j["targets"] = targets;
        Library(d, pluginPath, j);
        j["database_engine_count"] = Int(d, "DatabaseEngineCount");
        j["database_connection_count"] = Int(d, "DatabaseConnectionCount");
        j["classes"] = Items(d, "Class", &Walker::Class);
        j["class_extensions"] = Items(d, "ClassExtension", &Walker::Class);
        j["controls"] = Items(d, "Control", &Walker::Control);
        j["methods"] = Items(d, "Method", &Walker::Method);
        j["modules"] = Items(d, "Module", &Walker::Module);
        j["interfaces"] = Items(d, "Interface", &Walker::Interface);
        j["structures"] = Items(d, "Structure", &Walker::Structure);
        j["enums"] = Items(d, "Enum", &Walker::Enum);
        j["data_source_interfaces"] = Items(d, "DataSourceInterface", &Walker::DataSourceInterface);
        j["data_sources"] = Items(d, "DataSource", &Walker::DataSource);
        return j;
    }

    // Loads the file through a new PluginBridge and fills the report.
    void Plugin(const std::string& pluginPath, Json& report) {
        using FromPath = ZYNEobject (*)(const char*);
        const auto fromPath = host_.Service<FromPath>("FolderItemFromPath");
        ZYNEobject bridge = host_.NewInstance("PluginBridge");
        ZYNEobject location = fromPath != nullptr ? fromPath(pluginPath.c_str()) : nullptr;
        if (bridge == nullptr || location == nullptr) {
            report["status"] = kStatusFailed;
            report["error"] = bridge == nullptr ? "the bridge registered no PluginBridge class"
                                                : "the host has no FolderItemFromPath service";
            host_.Unlock(location);
            host_.Unlock(bridge);
            return;
        }
        const bool loaded = host_.Call<bool>(bridge, "LoadPlugin", location);
        host_.Unlock(location);
        report["status"] = loaded ? kStatusLoaded : kStatusNotLoaded;
        if (!loaded && IsElfFile(pluginPath)) {
            // A bare library the loader refused: say what it is, for the checks.
            report["file_elf"] = ElfOf(ReadFile(pluginPath, 1u << 30));
        }
        report["plugin_name"] = Str(bridge, "PluginName");
        report["has_help"] = Bool(bridge, "HasHelp");
        report["dependencies"] = Strings(bridge, "Dependency");
        report["definitions"] = Json::array();
        const long count = Count(bridge, "Count");
        for (long i = 0; i < count; ++i) {
            ZYNEobject definition = host_.Call<ZYNEobject>(bridge, "GetPluginDefinition", i);
            if (definition == nullptr) continue;
            try {
                report["definitions"].push_back(Definition(definition, i, pluginPath));
            } catch (...) {
                host_.Unlock(definition);
                throw;
            }
            host_.Unlock(definition);
        }
        host_.Unlock(bridge);
    }

private:
    ReferenceHost& host_;
    const WalkOptions& options_;
};

// Points standard output at standard error while it lives: the loader prints its few
// messages there, and the tool's standard output is the report.
class StdoutToStderr {
public:
    StdoutToStderr() {
        std::fflush(stdout);
        saved_ = dup(STDOUT_FILENO);
        if (saved_ >= 0) dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    ~StdoutToStderr() {
        std::fflush(stdout);
        if (saved_ >= 0) {
            dup2(saved_, STDOUT_FILENO);
            close(saved_);
        }
    }
    StdoutToStderr(const StdoutToStderr&) = delete;
    StdoutToStderr& operator=(const StdoutToStderr&) = delete;

private:
    int saved_ = -1;
};

}  // namespace

Json WalkPlugin(const std::string& pluginPath, const WalkOptions& options) {
    Json report;
    report["file"] = pluginPath;
    if (access(pluginPath.c_str(), R_OK) != 0) {
        report["status"] = kStatusCannotOpen;
        report["error"] = std::strerror(errno);
        return report;
    }
    // A folder passes the access check, and the loader would only answer false.
    struct stat st {};
    if (stat(pluginPath.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
        report["status"] = kStatusCannotOpen;
        report["error"] = "is a directory";
        return report;
    }
    AddContainerLayout(pluginPath, report);
    Json bridge;
    bridge["path"] = options.bridgePath;
    bridge["elf"] = ElfOf(ReadFile(options.bridgePath, 1u << 30));
    report["bridge"] = bridge;

    StdoutToStderr quiet;
    try {
        zyne::host::HostOptions hostOptions;
        hostOptions.bridgePath = options.bridgePath;
        ReferenceHost host(hostOptions);
        if (!host.Load()) {
            report["status"] = kStatusNoBridge;
            report["error"] = host.Error();
            return report;
        }
        Walker(host, options).Plugin(pluginPath, report);
        Json faults = Json::array();
        for (const std::string& fault : host.Faults()) faults.push_back(fault);
        report["host_faults"] = faults;
    } catch (const std::exception& e) {
        // The bridge lacks a class, method or property the host expected.
        report["status"] = kStatusFailed;
        report["error"] = e.what();
    }
    return report;
}

}  // namespace inspect
