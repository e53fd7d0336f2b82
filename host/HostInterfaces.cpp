// HostInterfaces.cpp - the host's own classes and interface routines: "GetInterfaceRoutine",
// the plain "Window" class, and classes that tests define as host code would.
//
// A host class is a ClassInfo in the same list as the registered ones, so creation by
// name, "ZYNELoadObjectMethod", "RuntimeObjectIsa" and the Call() helpers treat it like
// any other class; it is never a registration (no log line, not in Classes()). Plug-in
// classes registered later under the same name hide it.
//
// "GetInterfaceRoutine(object, interface, routine)" answers the method named `routine` of
// the first class in the object's superclass chain that lists `interface` among its
// interfaces (the record's comma-separated interface names). When the interface itself
// was registered, `routine` must also be one of its declarations. Null otherwise.
#include <cctype>
#include <deque>
#include <string>

#include "HostState.h"

namespace zyne::host {

namespace {

constexpr int kMaxChain = 1000;

// A window with no behaviour: what a dialog delegate hands back as its dialog.
ZYNEclassDefinition gWindowClass = detail::HostClassRecord("Window", 0);

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.remove_suffix(1);
    return text;
}

// The method name of a declaration: the text before '(' (or all of it), trimmed.
std::string_view MethodName(const char* declaration) {
    if (declaration == nullptr) return {};
    std::string_view text(declaration);
    return Trimmed(text.substr(0, text.find('(')));
}

bool ListsInterface(const char* interfaces, std::string_view wanted) {
    if (interfaces == nullptr) return false;
    std::string_view rest(interfaces);
    while (true) {
        const size_t comma = rest.find(',');
        if (detail::SameName(Trimmed(rest.substr(0, comma)), wanted)) return true;
        if (comma == std::string_view::npos) return false;
        rest.remove_prefix(comma + 1);
    }
}

// The routine of the method `name` in a method list of either form; null when none.
void* RoutineNamed(const ClassInfo& info, std::string_view name) {
    const ZYNEclassDefinition* record = info.record;
    if (record->methods == nullptr) return nullptr;
    for (long i = 0; i < record->methodCount; ++i) {
        const char* declaration;
        void* function;
        if (info.threeWordMethods) {
            const auto* earlier = reinterpret_cast<const ZYNEmethodDefinitionV6*>(record->methods);
            declaration = earlier[i].declaration;
            function = earlier[i].function;
        } else {
            declaration = record->methods[i].declaration;
            function = record->methods[i].function;
        }
        if (detail::SameName(MethodName(declaration), name)) return function;
    }
    return nullptr;
}

// Whether the registered interface `name` declares `routine`; true when no interface of
// that name was registered (the host takes the class at its word).
bool InterfaceAllows(const detail::HostState& state, std::string_view name,
                     std::string_view routine) {
    for (const ZYNEinterfaceDefinition* interface : state.interfaces) {
        if (interface == nullptr || interface->name == nullptr ||
            !detail::SameName(interface->name, name))
            continue;
        for (long i = 0; i < interface->methodCount && interface->methods != nullptr; ++i) {
            if (detail::SameName(MethodName(interface->methods[i].declaration), routine))
                return true;
        }
        return false;
    }
    return true;
}

void* GetInterfaceRoutine(ZYNEobject object, const char* interfaceName, const char* routineName) {
    detail::HostState& state = detail::CurrentState();
    state.Called("GetInterfaceRoutine", object, interfaceName, routineName);
    if (object == nullptr || interfaceName == nullptr || routineName == nullptr) return nullptr;
    const ClassInfo* info = state.ClassInfoOf(object);
    if (info == nullptr) {
        state.Fault("GetInterfaceRoutine on an object the host does not hold");
        return nullptr;
    }
    if (!InterfaceAllows(state, interfaceName, routineName)) return nullptr;
    int depth = 0;
    for (const ClassInfo* c = info; c != nullptr && depth < kMaxChain; c = c->superclass, ++depth) {
        if (ListsInterface(c->record->interfaces, interfaceName)) return RoutineNamed(*c, routineName);
    }
    return nullptr;
}

const detail::ServiceRow kInterfaceServices[] = {
    {"GetInterfaceRoutine", reinterpret_cast<void*>(&GetInterfaceRoutine)},
};

// A class DefineClass made: the record and everything it points at.
struct DefinedClass {
    std::string name;
    std::string interfaces;
    std::deque<std::string> declarations;  // a deque: the records point into it
    std::vector<ZYNEmethodDefinition> methods;
    ZYNEclassDefinition record{};
};

}  // namespace

std::span<const detail::ServiceRow> detail::InterfaceServices() {
    return kInterfaceServices;
}

const ClassInfo* detail::HostState::AddHostClass(ZYNEclassDefinition* record) {
    if (record == nullptr || record->name == nullptr) return nullptr;
    ClassInfo info;
    info.name = record->name;
    info.record = record;
    info.superclass = record->superName != nullptr ? FindClass(record->superName) : nullptr;
    record->dataOffset = info.superclass != nullptr ? info.superclass->instanceSize
                                                    : ReferenceHost::kObjectHeaderSize;
    info.instanceSize = record->dataOffset + (record->dataSize > 0 ? record->dataSize : 0);
    classInfos.push_back(std::move(info));
    return &classInfos.back();
}

const ClassInfo* detail::HostState::HostClassOf(const ZYNEclassDefinition* record) const {
    for (const ClassInfo& info : classInfos) {
        if (info.record == record) return &info;
    }
    return nullptr;
}

void detail::AddBuiltInClasses(HostState& state) {
    for (ZYNEclassDefinition* record : {&CollectionClassRecord(), &MemoryBlockClassRecord(),
                                        &ArrayClassRecord(), &DatabaseClassRecord(), &gWindowClass})
        state.AddHostClass(record);
}

const ClassInfo* ReferenceHost::DefineClass(const std::string& name,
                                            const std::vector<std::pair<std::string, void*>>& methods,
                                            const std::vector<std::string>& interfaces,
                                            long dataSize) {
    if (name.empty()) return nullptr;
    auto defined = std::make_shared<DefinedClass>();
    defined->name = name;
    for (const std::string& interface : interfaces)
        defined->interfaces += (defined->interfaces.empty() ? "" : ",") + interface;
    for (const auto& [declaration, routine] : methods) {
        defined->declarations.push_back(declaration);
        defined->methods.push_back({routine, nullptr, defined->declarations.back().c_str(), 0});
    }
    defined->record = detail::HostClassRecord(defined->name.c_str(), dataSize, nullptr,
                                              defined->methods.empty() ? nullptr : defined->methods.data(),
                                              static_cast<long>(defined->methods.size()));
    defined->record.interfaces = defined->interfaces.empty() ? nullptr : defined->interfaces.c_str();
    state_->definedClasses.push_back(defined);
    return state_->AddHostClass(&defined->record);
}

std::string ReferenceHost::ClassNameOf(ZYNEobject object) const {
    const ClassInfo* info = state_->ClassInfoOf(object);
    return info != nullptr ? info->name : std::string();
}

ZYNEobject ReferenceHost::NewWindow() {
    return state_->NewObject(state_->HostClassOf(&gWindowClass));
}

}  // namespace zyne::host
