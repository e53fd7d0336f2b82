// Checks.cpp - --check: what would go wrong when a host loads these plug-ins at design time.
//
// Each check reads the JSON reports only and yields findings with a stable kebab-case id,
// a severity and a one-line hint; ids never change meaning, so builds can --exclude them.
// Checks across definitions (duplicate class names, superclasses defined elsewhere) look at
// every report of the run, as a host that loads all of them would.
// Not here: reading plug-ins (Walker.cpp), the exit status (main.cpp).
#include <algorithm>
#include <cctype>
#include <map>
#include <string>

#include "Inspect.h"

namespace inspect {

namespace {

// The most instance data a design-time instance of a class holds.
constexpr long kMaxDesignTimeData = 4096;

// Classes the host itself defines (those the plug-in interface names), which plug-in
// classes may name as a superclass.
constexpr const char* kHostClasses[] = {
    "Object", "Control", "Window", "FolderItem", "Picture", "Graphics",
    "MemoryBlock", "Collection", "Database", "Variant",
};

// Property types a design-time instance converts.
constexpr const char* kDesignTimeTypes[] = {"integer", "double", "boolean", "string", "color"};

const std::vector<std::string> kIds = {
    "load-failed",
    "damaged-container",
    "host-fault",
    "unbalanced-parentheses",
    "method-without-name",
    "duplicate-name",
    "unsupported-property-type",
    "class-data-too-large",
    "unknown-superclass",
    "duplicate-class",
    "control-without-icon",
    "control-without-icon-mask",
    "target-without-library",
    "library-wrong-machine",
    "library-extra-exports",
    "library-missing-entry-point",
};

std::string Lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}
std::string NoSpaces(const std::string& s) {
    std::string out;
    for (const char c : s)
        if (!std::isspace(static_cast<unsigned char>(c))) out += c;
    return out;
}
std::string S(const Json& j, const char* key) {
    const auto it = j.find(key);
    return it != j.end() && it->is_string() ? it->get<std::string>() : std::string();
}
const Json& O(const Json& j, const char* key) {
    static const Json empty = Json::object();
    const auto it = j.find(key);
    return it != j.end() && it->is_object() ? *it : empty;
}
const Json& A(const Json& j, const char* key) {
    static const Json empty = Json::array();
    const auto it = j.find(key);
    return it != j.end() && it->is_array() ? *it : empty;
}
// Whether the parentheses of a declaration open and close in order.
bool Balanced(const std::string& text) {
    long depth = 0;
    for (const char c : text) {
        if (c == '(') ++depth;
        if (c == ')' && --depth < 0) return false;
    }
    return depth == 0;
}

class Checker {
public:
    Checker(const std::set<std::string>& excluded) : excluded_(excluded) {}

    void Add(const std::string& file, const char* check, const char* severity,
             const std::string& path, const std::string& message, const std::string& hint) {
        if (excluded_.count(check) != 0) return;
        findings_.push_back(Finding{file, check, severity, path, message, hint});
    }

    // Declarations of a list of methods (or events) of one owner.
    void Methods(const std::string& file, const std::string& owner, const Json& list,
                 const char* what, bool duplicates) {
        std::map<std::string, int> seen;
        for (const Json& m : list) {
            if (!m.is_object()) continue;
            const std::string name = S(m, "name");
            const std::string declaration = S(m, "declaration");
            const std::string path = owner + "." + (name.empty() ? "?" : name);
            if (!Balanced(declaration)) {
                Add(file, "unbalanced-parentheses", "error", path,
                    std::string(what) + " declaration \"" + declaration +
                        "\" does not balance its parentheses",
                    "close every '(' the declaration opens, and open before closing");
            }
            if (NoSpaces(name).empty()) {
                Add(file, "method-without-name", "error", path,
                    std::string(what) + " declaration \"" + declaration + "\" has no name",
                    "start the declaration with the " + std::string(what) + "'s name");
            }
            if (!duplicates || name.empty()) continue;
            const std::string key =
                Lower(NoSpaces(name)) + "(" + Lower(NoSpaces(S(m, "parameters"))) + ")";
            if (seen[key]++ == 1) {
                Add(file, "duplicate-name", "error", path,
                    std::string(what) + " " + name + "(" + S(m, "parameters") +
                        ") is declared more than once",
                    "remove the copy or change its parameters");
            }
        }
    }
    void Named(const std::string& file, const std::string& owner, const Json& list,
               const char* what) {
        std::map<std::string, int> seen;
        for (const Json& p : list) {
            if (!p.is_object()) continue;
            const std::string name = S(p, "name");
            if (!name.empty() && seen[Lower(name)]++ == 1) {
                Add(file, "duplicate-name", "error", owner + "." + name,
                    std::string(what) + " " + name + " is declared more than once",
                    "rename or remove one of them");
            }
        }
    }
    void PropertyTypes(const std::string& file, const std::string& owner, const Json& list) {
        for (const Json& p : list) {
            if (!p.is_object() || (p.contains("shared") && p["shared"] == true)) continue;
            const std::string type = S(p, "type");
            const std::string lower = Lower(NoSpaces(type));
            if (std::any_of(std::begin(kDesignTimeTypes), std::end(kDesignTimeTypes),
                            [&](const char* t) { return lower == t; }))
                continue;
            Add(file, "unsupported-property-type", "warning", owner + "." + S(p, "name"),
                "property type \"" + type + "\" cannot be read or set on a design-time instance",
                "use Integer, Double, Boolean, String or Color for properties edited at design "
                "time");
        }
    }
    // What classes and controls share. Class extensions add to a host class, whose
    // properties no design-time instance of the plug-in holds: no type check for them.
    void Members(const std::string& file, const std::string& owner, const Json& c,
                 bool designTime = true) {
        Methods(file, owner, A(c, "methods"), "method", true);
        Methods(file, owner, A(c, "events"), "event", true);
        Methods(file, owner, A(c, "event_handlers"), "event handler", false);
        Named(file, owner, A(c, "properties"), "property");
        Named(file, owner, A(c, "constants"), "constant");
        if (designTime) PropertyTypes(file, owner, A(c, "properties"));
    }

    // The Linux library of a definition (or a bare library file) against the bridge.
    void Library(const std::string& file, const std::string& path, const Json& elf,
                 const Json& bridgeElf) {
        if (elf.value("valid", false) != true) {
            Add(file, "library-wrong-machine", "error", path,
                "the Linux library is not a usable ELF file (" + S(elf, "problem") + ")",
                "put a Linux shared library built for the host's machine in \"Linux X86\"");
            return;
        }
        if (bridgeElf.value("valid", false) == true &&
            (elf.value("class", 0) != bridgeElf.value("class", 0) ||
             elf.value("machine", 0) != bridgeElf.value("machine", 0))) {
            Add(file, "library-wrong-machine", "error", path,
                "the Linux library is ELF " + std::to_string(elf.value("class", 0)) + "-bit " +
                    S(elf, "machine_name") + ", the bridge is " +
                    std::to_string(bridgeElf.value("class", 0)) + "-bit " +
                    S(bridgeElf, "machine_name"),
                "build the library for the host's machine (-m32 for a 32-bit host)");
            return;
        }
        if (!elf.contains("exports")) return;
        std::vector<std::string> extra;
        bool hasMain = false;
        for (const Json& e : elf["exports"]) {
            const std::string name = e.is_string() ? e.get<std::string>() : "";
            if (name == "ZYNEPluginMain")
                hasMain = true;
            else
                extra.push_back(name);
        }
        if (!hasMain) {
            Add(file, "library-missing-entry-point", "error", path,
                "the Linux library does not export ZYNEPluginMain",
                "export ZYNEPluginMain with C linkage and default visibility");
        }
        if (!extra.empty()) {
            std::string names;
            for (size_t i = 0; i < extra.size() && i < 5; ++i) names += (i ? ", " : "") + extra[i];
            if (extra.size() > 5) names += ", ...";
            Add(file, "library-extra-exports", "warning", path,
                "the Linux library exports " + std::to_string(extra.size()) +
                    " symbols besides its entry point (" + names + ")",
                "build with hidden visibility (zyne_add_guest) so only ZYNEPluginMain is exported");
        }
    }

    void Report(const Json& r, const std::set<std::string>& allClasses,
                std::map<std::string, std::string>& classOwners) {
        const std::string file = S(r, "file");
        const std::string family = Family(r);
        const std::string status = S(r, "status");
        if (const std::string error = S(r, "container_error"); !error.empty()) {
            Add(file, "damaged-container", "error", family, error,
                "rebuild the container (zqx plugin) and verify it with 'zqx check'");
        }
        if (status != kStatusLoaded) {
            // Crashes, hangs and missing files are reported by the summary and exit status.
            if (status == kStatusNotLoaded && r.contains("file_elf")) {
                Library(file, family, r["file_elf"], O(O(r, "bridge"), "elf"));
            }
            if (status == kStatusNotLoaded) {
                Add(file, "load-failed", "error", family, "LoadPlugin answered false",
                    "make sure the file is a .zqx container or a shared library with "
                    "ZYNEPluginMain");
            }
            return;
        }
        for (const Json& f : A(r, "host_faults"))
            if (f.is_string())
                Add(file, "host-fault", "warning", family, f.get<std::string>(),
                    "the plug-in misused a host service while loading; fix the call named");
        const Json& bridgeElf = O(O(r, "bridge"), "elf");
        for (const Json& d : A(r, "definitions")) {
            if (!d.is_object()) continue;
            const std::string defPath = family + "#" + std::to_string(d.value("index", 0));
            if (const Json& lib = O(d, "linux_library"); lib.contains("elf"))
                Library(file, defPath, lib["elf"], bridgeElf);
            for (const Json& c : A(d, "classes")) {
                if (!c.is_object()) continue;
                const std::string name = S(c, "name");
                const std::string path = family + "/" + name;
                Members(file, path, c);
                if (const long size = c.value("data_size", 0L); size > kMaxDesignTimeData) {
                    Add(file, "class-data-too-large", "error", path,
                        "instance data of " + std::to_string(size) + " bytes is over the " +
                            std::to_string(kMaxDesignTimeData) +
                            "-byte limit of design-time instances",
                        "keep large buffers behind a pointer allocated in the constructor");
                }
                const std::string super = S(c, "superclass");
                if (!super.empty() && allClasses.count(Lower(super)) == 0 &&
                    std::none_of(std::begin(kHostClasses), std::end(kHostClasses),
                                 [&](const char* h) { return Lower(super) == Lower(h); })) {
                    Add(file, "unknown-superclass", "error", path,
                        "superclass " + super +
                            " is defined neither by the plug-in nor by the host",
                        "register the superclass first, or name a host class");
                }
                const std::string key = Lower(name);
                const std::string here = file + " " + defPath;
                auto [it, fresh] = classOwners.emplace(key, here);
                if (!fresh && !name.empty()) {
                    Add(file, "duplicate-class", "error", path,
                        "class " + name + " is also defined by " + it->second,
                        "give each class a unique name, for instance with a family prefix");
                }
            }
            for (const Json& c : A(d, "class_extensions"))
                if (c.is_object()) Members(file, family + "/" + S(c, "name"), c, false);
            for (const Json& c : A(d, "controls")) {
                if (!c.is_object()) continue;
                const std::string path = family + "/" + S(c, "name");
                Members(file, path, c);
                if (!c.value("icon", Json()).is_object()) {
                    Add(file, "control-without-icon", "warning", path,
                        "the control has no palette icon",
                        "add <picture id>.bmp to \"IDE Resources/Controls Palette\" (zqx plugin "
                        "--icons)");
                } else if (!c.value("icon_mask", Json()).is_object()) {
                    Add(file, "control-without-icon-mask", "note", path,
                        "the control's palette icon has no mask",
                        "add <picture id>mask.bmp beside the icon");
                }
            }
            Methods(file, family, A(d, "methods"), "method", true);
            for (const Json& m : A(d, "modules")) {
                if (!m.is_object()) continue;
                const std::string path = family + "/" + S(m, "name");
                Methods(file, path, A(m, "methods"), "method", true);
                Named(file, path, A(m, "properties"), "property");
                Named(file, path, A(m, "constants"), "constant");
            }
            for (const Json& i : A(d, "interfaces"))
                if (i.is_object())
                    Methods(file, family + "/" + S(i, "name"), A(i, "methods"), "method", true);
        }
        for (const Json& fam : A(O(r, "container"), "families")) {
            for (const Json& t : A(fam, "targets")) {
                if (t.value("files", 0L) != 0) continue;
                Add(file, "target-without-library", "warning",
                    S(fam, "name") + "/Build Resources/" + S(t, "name"),
                    "target folder \"" + S(t, "name") + "\" holds no library",
                    "remove the empty folder or put the target's library in it");
            }
        }
    }

    std::vector<Finding> Take() { return std::move(findings_); }

private:
    const std::set<std::string>& excluded_;
    std::vector<Finding> findings_;
};

}  // namespace

const std::vector<std::string>& CheckIds() {
    return kIds;
}

std::vector<Finding> RunChecks(const std::vector<Json>& reports,
                               const std::set<std::string>& excluded) {
    // Every class any loaded definition defines: a superclass may live in another file.
    std::set<std::string> allClasses;
    for (const Json& r : reports)
        for (const Json& d : A(r, "definitions"))
            for (const Json& c : A(d, "classes"))
                if (c.is_object()) allClasses.insert(Lower(S(c, "name")));
    Checker checker(excluded);
    std::map<std::string, std::string> classOwners;
    for (const Json& r : reports) checker.Report(r, allClasses, classOwners);
    return checker.Take();
}

std::string FormatFinding(const Finding& f) {
    return Printable(f.file + ": " + f.severity + ": " + f.check + ": " + f.path + ": " +
                     f.message + " (hint: " + f.hint + ")");
}

Json FindingJson(const Finding& f) {
    return Json{{"file", f.file}, {"check", f.check},     {"severity", f.severity},
                {"path", f.path}, {"message", f.message}, {"hint", f.hint}};
}

}  // namespace inspect
