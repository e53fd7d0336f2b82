// Render.cpp - a report as a readable tree or as one line per item.
//
// Both read only the JSON report, so a report made in a child renders the same as one made
// in process. The tree is for people: one definition after another, members indented under
// their class. The lines are for grep and diff: every item on its own line, its path first
// ("Family/Class.Method(params) as Type"), in the order the plug-in registered them.
// Not here: the JSON output (main.cpp prints the reports as they are).
#include <string>

#include "Inspect.h"

namespace inspect {

namespace {

std::string S(const Json& j, const char* key) {
    const auto it = j.find(key);
    return it != j.end() && it->is_string() ? it->get<std::string>() : std::string();
}
bool B(const Json& j, const char* key) {
    const auto it = j.find(key);
    return it != j.end() && it->is_boolean() && it->get<bool>();
}
long L(const Json& j, const char* key) {
    const auto it = j.find(key);
    return it != j.end() && it->is_number_integer() ? it->get<long>() : 0;
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

// "Name(params) as Type": a method as its declaration reads, without scope words.
std::string Signature(const Json& m) {
    std::string text = S(m, "name") + "(" + S(m, "parameters") + ")";
    if (const std::string type = S(m, "return_type"); !type.empty()) text += " as " + type;
    return text;
}
std::string PropertySignature(const Json& p) {
    return S(p, "name") + " as " + S(p, "type");
}
std::string ConstantSignature(const Json& c) {
    return S(c, "name") + " = " + S(c, "value");
}

// Tags in brackets after an item: shared, scope, runtime-only and the like.
std::string Tags(std::initializer_list<std::string> tags) {
    std::string out;
    for (const std::string& tag : tags) {
        if (tag.empty()) continue;
        out += (out.empty() ? " [" : ", ") + tag;
    }
    return out.empty() ? out : out + "]";
}
// The compatibility text, unless it is the usual "TargetHasGUI" (no flags set).
std::string Compatibility(const Json& item) {
    const std::string text = S(item, "compatibility");
    return text.empty() || text == "TargetHasGUI" ? std::string() : "compatibility " + text;
}
std::string MethodTags(const Json& m) {
    return Tags({B(m, "shared") ? "shared" : "", S(m, "scope"),
                 B(m, "has_setter") ? "assignable" : "", Compatibility(m)});
}
std::string PropertyTags(const Json& p) {
    return Tags({B(p, "shared") ? "shared" : "", S(p, "scope"),
                 B(p, "runtime_only") ? "runtime-only" : "",
                 S(p, "group").empty() ? "" : "group " + S(p, "group"), Compatibility(p)});
}
std::string Fields(const Json& owner) {
    std::string out;
    for (const Json& f : A(owner, "fields"))
        out += (out.empty() ? "" : "; ") + (f.is_string() ? f.get<std::string>() : "nil");
    return "{ " + out + (out.empty() ? "}" : " }");
}
// " as Type" for an enumeration with a type; "" without.
std::string TypeSuffix(const Json& e) {
    const std::string type = S(e, "type");
    return type.empty() ? type : " as " + type;
}
std::string IconText(const Json& icon) {
    if (!icon.is_object()) return "none";
    std::string text = std::to_string(L(icon, "width")) + "x" + std::to_string(L(icon, "height"));
    if (const std::string file = S(icon, "file"); !file.empty()) text += " -> " + file;
    if (const std::string error = S(icon, "error"); !error.empty()) text += " (" + error + ")";
    return text;
}

// --- The tree ---------------------------------------------------------------------------

class Tree {
public:
    void Line(int depth, const std::string& text) {
        out_.append(static_cast<size_t>(depth) * 2, ' ');
        out_ += Printable(text);
        out_ += '\n';
    }
    void Members(int d, const Json& c) {
        for (const Json& e : A(c, "events"))
            if (e.is_object()) Line(d, "event " + Signature(e));
        for (const Json& e : A(c, "event_handlers"))
            if (e.is_object()) Line(d, "handles " + Signature(e));
        for (const Json& m : A(c, "methods"))
            if (m.is_object()) Line(d, "method " + Signature(m) + MethodTags(m));
        for (const Json& p : A(c, "properties"))
            if (p.is_object()) Property(d, p);
        for (const Json& k : A(c, "constants"))
            if (k.is_object()) Line(d, "constant " + ConstantSignature(k) + Tags({S(k, "scope")}));
    }
    void Property(int d, const Json& p) {
        Line(d, "property " + PropertySignature(p) + PropertyTags(p));
        std::string values;
        for (const Json& v : A(p, "enums"))
            values += (values.empty() ? "" : ", ") + (v.is_string() ? v.get<std::string>() : "nil");
        if (!values.empty()) Line(d + 1, "values: " + values);
    }
    void Class(int d, const Json& c, const char* kind) {
        std::string head = std::string(kind) + " " + S(c, "name");
        if (const std::string super = S(c, "superclass"); !super.empty())
            head += " inherits " + super;
        Line(d, head);
        Line(d + 1, "data " + std::to_string(L(c, "data_size")) + " bytes at offset " +
                        std::to_string(L(c, "data_offset")) +
                        (B(c, "has_initializer") ? ", initializer" : "") +
                        (B(c, "has_finalizer") ? ", finalizer" : ""));
        if (const std::string f = Compatibility(c); !f.empty()) Line(d + 1, f);
        if (const std::string i = S(c, "interfaces"); !i.empty()) Line(d + 1, "implements " + i);
        Members(d + 1, c);
    }
    void Control(int d, const Json& c) {
        Line(d, "control " + S(c, "name"));
        Line(d + 1, "data " + std::to_string(L(c, "data_size")) + " bytes at offset " +
                        std::to_string(L(c, "data_offset")) + ", default size " +
                        std::to_string(L(c, "default_width")) + "x" +
                        std::to_string(L(c, "default_height")) + ", flags " +
                        std::to_string(L(c, "flags")));
        if (const std::string f = Compatibility(c); !f.empty()) Line(d + 1, f);
        Line(d + 1, "icon " + IconText(c.value("icon", Json())) + ", mask " +
                        IconText(c.value("icon_mask", Json())));
        Members(d + 1, c);
    }
    void Module(int d, const Json& m) {
        Line(d, "module " + S(m, "name"));
        for (const Json& x : A(m, "methods"))
            if (x.is_object()) Line(d + 1, "method " + Signature(x) + MethodTags(x));
        for (const Json& x : A(m, "properties"))
            if (x.is_object()) Property(d + 1, x);
        for (const Json& x : A(m, "constants"))
            if (x.is_object())
                Line(d + 1, "constant " + ConstantSignature(x) + Tags({S(x, "scope")}));
        for (const Json& x : A(m, "structures"))
            if (x.is_object()) Line(d + 1, "structure " + S(x, "name") + " " + Fields(x));
        for (const Json& x : A(m, "enums"))
            if (x.is_object())
                Line(d + 1, "enum " + S(x, "name") + TypeSuffix(x) + " " + Fields(x));
    }
    void Definition(const Json& d) {
        Line(1, "definition " + std::to_string(L(d, "index")) + ": ID \"" + S(d, "id") + "\"");
        std::string targets;
        for (const auto& [key, value] : O(d, "targets").items())
            if (value.is_boolean() && value.get<bool>())
                targets += (targets.empty() ? "" : " ") + key;
        Line(2, "targets: " + (targets.empty() ? std::string("none") : targets));
        for (const auto& [target, name] : O(d, "library_names").items())
            Line(2, "library " + target + ": " + (name.is_string() ? name.get<std::string>() : ""));
        const Json lib = d.value("linux_library", Json());
        if (lib.is_object()) {
            const Json elf = O(lib, "elf");
            std::string text = "linux library: " + std::to_string(L(lib, "size")) + " bytes";
            if (B(elf, "valid"))
                text += ", ELF " + std::to_string(L(elf, "class")) + "-bit " +
                        S(elf, "machine_name") + ", " + std::to_string(A(elf, "exports").size()) +
                        " exported symbols";
            else
                text += ", " + S(elf, "problem");
            Line(2, text);
        }
        for (const Json& c : A(d, "classes"))
            if (c.is_object()) Class(2, c, "class");
        for (const Json& c : A(d, "class_extensions"))
            if (c.is_object()) Class(2, c, "class extension");
        for (const Json& c : A(d, "controls"))
            if (c.is_object()) Control(2, c);
        for (const Json& m : A(d, "methods"))
            if (m.is_object()) Line(2, "method " + Signature(m) + MethodTags(m));
        for (const Json& m : A(d, "modules"))
            if (m.is_object()) Module(2, m);
        for (const Json& i : A(d, "interfaces")) {
            if (!i.is_object()) continue;
            Line(2, "interface " + S(i, "name"));
            for (const Json& m : A(i, "methods"))
                if (m.is_object()) Line(3, "method " + Signature(m));
        }
        for (const Json& s : A(d, "structures"))
            if (s.is_object())
                Line(2, "structure " + S(s, "name") + " " + Fields(s) + Tags({S(s, "scope")}));
        for (const Json& e : A(d, "enums"))
            if (e.is_object())
                Line(2, "enum " + S(e, "name") + TypeSuffix(e) + " " + Fields(e) +
                            Tags({S(e, "scope")}));
        if (const long n = L(d, "database_engine_count"); n > 0)
            Line(2, "database engines: " + std::to_string(n));
        if (const long n = L(d, "database_connection_count"); n > 0)
            Line(2, "database connections: " + std::to_string(n));
        for (const Json& s : A(d, "data_source_interfaces"))
            if (s.is_object()) Line(2, "data source interface \"" + S(s, "name") + "\"");
        for (const Json& s : A(d, "data_sources")) {
            if (!s.is_object()) continue;
            Line(2, "data source \"" + S(s, "name") + "\"");
            const Json engine = s.value("engine", Json());
            if (!engine.is_object()) {
                Line(3, "engine: not known until connected");
                continue;
            }
            std::string caps;
            for (const auto& [key, value] : O(engine, "capabilities").items())
                if (value.is_boolean() && value.get<bool>())
                    caps += (caps.empty() ? "" : " ") + key;
            Line(3, "engine: options " + std::to_string(L(engine, "options")) + ", can " +
                        (caps.empty() ? std::string("nothing") : caps));
        }
    }
    std::string Report(const Json& r) {
        std::string head = S(r, "file") + ": " + S(r, "status");
        if (const std::string error = S(r, "error"); !error.empty()) head += " (" + error + ")";
        Line(0, head);
        if (r.contains("plugin_name")) {
            Line(1, "plug-in " +
                        (r["plugin_name"].is_string() ? "\"" + S(r, "plugin_name") + "\"" : "nil") +
                        ", help " + (B(r, "has_help") ? "yes" : "no") + ", " +
                        std::to_string(A(r, "definitions").size()) +
                        (A(r, "definitions").size() == 1 ? " definition" : " definitions"));
        }
        if (const std::string error = S(r, "container_error"); !error.empty())
            Line(1, "container: " + error);
        std::string dependencies;
        for (const Json& dep : A(r, "dependencies"))
            dependencies += (dependencies.empty() ? "" : ", ") +
                            (dep.is_string() ? dep.get<std::string>() : "nil");
        if (!dependencies.empty()) Line(1, "depends on " + dependencies);
        for (const Json& d : A(r, "definitions"))
            if (d.is_object()) Definition(d);
        for (const Json& f : A(r, "host_faults"))
            if (f.is_string()) Line(1, "host fault: " + f.get<std::string>());
        return out_;
    }

private:
    std::string out_;
};

// --- The lines --------------------------------------------------------------------------

class Lines {
public:
    explicit Lines(std::string family) : family_(std::move(family)) {}
    void Add(const std::string& text) { out_ += Printable(family_ + "/" + text) + "\n"; }
    void Members(const std::string& owner, const Json& c) {
        for (const Json& e : A(c, "events"))
            if (e.is_object()) Add(owner + "." + Signature(e) + " [event]");
        for (const Json& e : A(c, "event_handlers"))
            if (e.is_object()) Add(owner + "." + Signature(e) + " [handler]");
        for (const Json& m : A(c, "methods"))
            if (m.is_object()) Add(owner + "." + Signature(m) + MethodTags(m));
        for (const Json& p : A(c, "properties"))
            if (p.is_object()) Add(owner + "." + PropertySignature(p) + PropertyTags(p));
        for (const Json& k : A(c, "constants"))
            if (k.is_object()) Add(owner + "." + ConstantSignature(k) + " [constant]");
    }
    std::string Report(const Json& r) {
        for (const Json& d : A(r, "definitions")) {
            if (!d.is_object()) continue;
            for (const Json& c : A(d, "classes")) {
                if (!c.is_object()) continue;
                const std::string super = S(c, "superclass");
                Add(S(c, "name") + " [class" + (super.empty() ? "" : ", inherits " + super) + "]");
                Members(S(c, "name"), c);
            }
            for (const Json& c : A(d, "class_extensions")) {
                if (!c.is_object()) continue;
                Add(S(c, "name") + " [class extension]");
                Members(S(c, "name"), c);
            }
            for (const Json& c : A(d, "controls")) {
                if (!c.is_object()) continue;
                Add(S(c, "name") + " [control]");
                Members(S(c, "name"), c);
            }
            for (const Json& m : A(d, "methods"))
                if (m.is_object()) Add(Signature(m) + MethodTags(m));
            for (const Json& m : A(d, "modules")) {
                if (!m.is_object()) continue;
                const std::string name = S(m, "name");
                Add(name + " [module]");
                for (const Json& x : A(m, "methods"))
                    if (x.is_object()) Add(name + "." + Signature(x) + MethodTags(x));
                for (const Json& x : A(m, "properties"))
                    if (x.is_object()) Add(name + "." + PropertySignature(x) + PropertyTags(x));
                for (const Json& x : A(m, "constants"))
                    if (x.is_object()) Add(name + "." + ConstantSignature(x) + " [constant]");
                for (const Json& x : A(m, "structures"))
                    if (x.is_object())
                        Add(name + "." + S(x, "name") + " " + Fields(x) + " [structure]");
                for (const Json& x : A(m, "enums"))
                    if (x.is_object())
                        Add(name + "." + S(x, "name") + TypeSuffix(x) + " " + Fields(x) +
                            " [enum]");
            }
            for (const Json& i : A(d, "interfaces")) {
                if (!i.is_object()) continue;
                Add(S(i, "name") + " [interface]");
                for (const Json& m : A(i, "methods"))
                    if (m.is_object()) Add(S(i, "name") + "." + Signature(m));
            }
            for (const Json& s : A(d, "structures"))
                if (s.is_object()) Add(S(s, "name") + " " + Fields(s) + " [structure]");
            for (const Json& e : A(d, "enums"))
                if (e.is_object()) Add(S(e, "name") + TypeSuffix(e) + " " + Fields(e) + " [enum]");
            for (const Json& s : A(d, "data_source_interfaces"))
                if (s.is_object()) Add(S(s, "name") + " [data source interface]");
            for (const Json& s : A(d, "data_sources"))
                if (s.is_object()) Add(S(s, "name") + " [data source]");
        }
        return out_;
    }

private:
    std::string family_;
    std::string out_;
};

}  // namespace

std::string Printable(const std::string& text) {
    std::string out = text;
    for (char& c : out)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
    return out;
}

std::string Family(const Json& report) {
    if (const std::string name = S(report, "plugin_name"); !name.empty()) return name;
    const std::string file = S(report, "file");
    const size_t slash = file.rfind('/');
    return slash == std::string::npos ? file : file.substr(slash + 1);
}

std::string RenderText(const Json& report) {
    return Tree().Report(report);
}

std::string RenderLines(const Json& report) {
    return Lines(Family(report)).Report(report);
}

}  // namespace inspect
