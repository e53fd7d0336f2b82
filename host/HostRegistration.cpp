// HostRegistration.cpp - the registration services and finding what was registered.
//
// Every record handed over is kept, in order, as a pointer: records belong to the
// plug-in and must outlive the host's use of them. Class and control registration
// write the instance-data offset into the record. The finders behind Call, Get and Set
// read method and property lists in the form the plug-in handed over (three-word
// methods for records below version 7 and for hosts older than 5.9; shared lists only
// in version 9 records) and never read past a record's version.
//
// Not here: events, constants and interface conformance are kept but not interpreted.
#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "HostState.h"

namespace zyne::host {

namespace {

// A bound on superclass walks; chains only point at earlier classes, so any real chain
// is far shorter.
constexpr int kMaxChain = 1000;

// Counts come from the plug-in's records; a negative one means an empty list.
long ListCount(long count) {
    return count > 0 ? count : 0;
}

std::string NameOf(const char* name) {
    return name != nullptr ? name : "";
}

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.remove_suffix(1);
    return text;
}

// "Open( f as FolderItem ) as Boolean" -> "Open"; a declaration without a parameter list
// ("Count as Integer") ends its name at the first space.
std::string_view DeclaredName(std::string_view declaration) {
    declaration = Trimmed(declaration);
    size_t end = declaration.find('(');
    if (end == std::string_view::npos) end = declaration.find_first_of(" \t");
    return Trimmed(declaration.substr(0, end));
}

// Name and parameter list, lowercased, without spaces: "open(fasfolderitem)". Nested
// parentheses (array parameters) are kept whole; the result type is dropped.
std::string Signature(std::string_view declaration) {
    std::string result;
    int depth = 0;
    for (char c : declaration) {
        if (std::isspace(static_cast<unsigned char>(c))) continue;
        result += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        if (c == '(') ++depth;
        if (c == ')' && --depth == 0) break;
    }
    return result;
}

bool Matches(const char* declaration, std::string_view query) {
    if (declaration == nullptr) return false;
    if (query.find('(') != std::string_view::npos)
        return Signature(declaration) == Signature(query);
    return detail::SameName(DeclaredName(declaration), Trimmed(query));
}

// The routine of the first method in `list` matching `query`; false when none matches.
bool FindIn(const void* list, long count, bool threeWord, std::string_view query, void** routine) {
    if (list == nullptr) return false;
    for (long i = 0; i < ListCount(count); ++i) {
        const char* declaration;
        void* function;
        if (threeWord) {
            const auto& method = static_cast<const ZYNEmethodDefinitionV6*>(list)[i];
            declaration = method.declaration;
            function = method.function;
        } else {
            const auto& method = static_cast<const ZYNEmethodDefinition*>(list)[i];
            declaration = method.declaration;
            function = method.function;
        }
        if (Matches(declaration, query)) {
            *routine = function;
            return true;
        }
    }
    return false;
}

std::runtime_error NoRoutine(std::string_view what, std::string_view name) {
    return std::runtime_error(std::string(what) + " " + std::string(name) + " has no routine");
}

// --- Services ---------------------------------------------------------------------------

ClassInfo DescribeClass(detail::HostState& state, ZYNEclassDefinition* record) {
    ClassInfo info;
    info.name = NameOf(record->name);
    info.record = record;
    info.threeWordMethods = record->version < 7 || state.HostTakesThreeWordMethods();
    return info;
}

void RegisterClass(ZYNEclassDefinition* record) {
    detail::HostState& state = detail::CurrentState();
    state.Called("PluginRegisterClass", record);
    if (record == nullptr) return state.Fault("PluginRegisterClass with a null record");
    ClassInfo info = DescribeClass(state, record);
    info.superclass = record->superName != nullptr ? state.FindClass(record->superName) : nullptr;
    long dataSize = record->dataSize;
    if (dataSize < 0) {
        state.Fault("class " + info.name + " has a negative data size");
        dataSize = 0;
    }
    // The plug-in's data follows the header and all of its superclasses' data.
    record->dataOffset = info.superclass != nullptr ? info.superclass->instanceSize
                                                    : ReferenceHost::kObjectHeaderSize;
    info.instanceSize = record->dataOffset + dataSize;
    state.classes.push_back(record);
    state.registrationOrder.push_back("class " + info.name);
    state.classInfos.push_back(std::move(info));
}

void RegisterClassExtension(ZYNEclassDefinition* record) {
    detail::HostState& state = detail::CurrentState();
    state.Called("PluginRegisterClassExtension", record);
    if (record == nullptr) return state.Fault("PluginRegisterClassExtension with a null record");
    state.classExtensions.push_back(record);
    state.registrationOrder.push_back("class extension " + NameOf(record->name));
    state.extensionInfos.push_back(DescribeClass(state, record));
}

void RegisterControl(ZYNEcontrol* record) {
    detail::HostState& state = detail::CurrentState();
    state.Called("PluginRegisterControl", record);
    if (record == nullptr) return state.Fault("PluginRegisterControl with a null record");
    if (record->dataSize < 0)
        state.Fault("control " + NameOf(record->name) + " has a negative data size");
    record->dataOffset = ReferenceHost::kObjectHeaderSize;
    state.controls.push_back(record);
    state.registrationOrder.push_back("control " + NameOf(record->name));
}

// The registrations that only keep their record.
template <class Record, auto List>
void Keep(Record* record, const char* service, const char* kind) {
    detail::HostState& state = detail::CurrentState();
    state.Called(service, record);
    if (record == nullptr) return state.Fault(std::string(service) + " with a null record");
    (state.*List).push_back(record);
    if constexpr (std::is_same_v<Record, ZYNEmethodDefinition>) {
        state.registrationOrder.push_back(std::string(kind) + " " + NameOf(record->declaration));
    } else {
        state.registrationOrder.push_back(std::string(kind) + " " + NameOf(record->name));
    }
}

void RegisterInterface(ZYNEinterfaceDefinition* record) {
    Keep<ZYNEinterfaceDefinition, &detail::HostState::interfaces>(record, "PluginRegisterInterface",
                                                                  "interface");
}
void RegisterModule(ZYNEmoduleDefinition* record) {
    Keep<ZYNEmoduleDefinition, &detail::HostState::modules>(record, "PluginRegisterModule",
                                                            "module");
}
void RegisterMethod(ZYNEmethodDefinition* record) {
    Keep<ZYNEmethodDefinition, &detail::HostState::methods>(record, "PluginRegisterMethod",
                                                            "method");
}
void RegisterStructure(ZYNEstructure* record) {
    Keep<ZYNEstructure, &detail::HostState::structures>(record, "PluginRegisterStructure",
                                                        "structure");
}
void RegisterEnum(ZYNEenum* record) {
    Keep<ZYNEenum, &detail::HostState::enums>(record, "PluginRegisterEnum", "enum");
}

const detail::ServiceRow kRegistrationServices[] = {
    {"PluginRegisterClass", reinterpret_cast<void*>(&RegisterClass)},
    {"PluginRegisterClassExtension", reinterpret_cast<void*>(&RegisterClassExtension)},
    {"PluginRegisterControl", reinterpret_cast<void*>(&RegisterControl)},
    {"PluginRegisterInterface", reinterpret_cast<void*>(&RegisterInterface)},
    {"PluginRegisterModule", reinterpret_cast<void*>(&RegisterModule)},
    {"PluginRegisterMethod", reinterpret_cast<void*>(&RegisterMethod)},
    {"PluginRegisterStructure", reinterpret_cast<void*>(&RegisterStructure)},
    {"PluginRegisterEnum", reinterpret_cast<void*>(&RegisterEnum)},
};

}  // namespace

std::span<const detail::ServiceRow> detail::RegistrationServices() {
    return kRegistrationServices;
}

const ClassInfo* detail::HostState::FindClass(std::string_view name) const {
    for (auto info = classInfos.rbegin(); info != classInfos.rend(); ++info) {
        if (SameName(info->name, name)) return &*info;
    }
    return nullptr;
}

// --- Accessors ----------------------------------------------------------------------------

const std::vector<ZYNEclassDefinition*>& ReferenceHost::Classes() const {
    return state_->classes;
}
const std::vector<ZYNEclassDefinition*>& ReferenceHost::ClassExtensions() const {
    return state_->classExtensions;
}
const std::vector<ZYNEcontrol*>& ReferenceHost::Controls() const {
    return state_->controls;
}
const std::vector<ZYNEinterfaceDefinition*>& ReferenceHost::Interfaces() const {
    return state_->interfaces;
}
const std::vector<ZYNEmoduleDefinition*>& ReferenceHost::Modules() const {
    return state_->modules;
}
const std::vector<ZYNEmethodDefinition*>& ReferenceHost::Methods() const {
    return state_->methods;
}
const std::vector<ZYNEstructure*>& ReferenceHost::Structures() const {
    return state_->structures;
}
const std::vector<ZYNEenum*>& ReferenceHost::Enums() const {
    return state_->enums;
}
const std::vector<std::string>& ReferenceHost::RegistrationOrder() const {
    return state_->registrationOrder;
}
const ClassInfo* ReferenceHost::FindClass(std::string_view name) const {
    return state_->FindClass(name);
}

// --- Finding methods and properties --------------------------------------------------------

ReferenceHost::MethodRef ReferenceHost::FindMethod(ZYNEobject self, std::string_view method) const {
    const ClassInfo* info = state_->ClassInfoOf(self);
    if (info == nullptr) {
        throw std::runtime_error("method " + std::string(method) +
                                 " called on a dead or null object");
    }
    int depth = 0;
    for (const ClassInfo* c = info; c != nullptr && depth < kMaxChain; c = c->superclass, ++depth) {
        const ZYNEclassDefinition* record = c->record;
        void* routine = nullptr;
        bool found =
            FindIn(record->methods, record->methodCount, c->threeWordMethods, method, &routine);
        bool shared = false;
        if (!found && record->version >= 9) {
            found = shared =
                FindIn(record->sharedMethods, record->sharedMethodCount, false, method, &routine);
        }
        for (const ClassInfo& extension : state_->extensionInfos) {
            if (found) break;
            if (!detail::SameName(extension.name, c->name)) continue;
            const ZYNEclassDefinition* added = extension.record;
            found = FindIn(added->methods, added->methodCount, extension.threeWordMethods, method,
                           &routine);
            if (!found && added->version >= 9) {
                found = shared =
                    FindIn(added->sharedMethods, added->sharedMethodCount, false, method, &routine);
            }
        }
        if (!found) continue;
        if (routine == nullptr) throw NoRoutine("method", method);
        return {routine, shared};
    }
    throw std::runtime_error("no method " + std::string(method) + " in class " + info->name +
                             " or its superclasses");
}

void* ReferenceHost::FindSharedMethod(std::string_view className, std::string_view method) const {
    const ClassInfo* info = state_->FindClass(className);
    if (info == nullptr) throw std::runtime_error("no class " + std::string(className));
    int depth = 0;
    for (const ClassInfo* c = info; c != nullptr && depth < kMaxChain; c = c->superclass, ++depth) {
        auto findShared = [&](const ZYNEclassDefinition* record, void** routine) {
            return record->version >= 9 &&
                   FindIn(record->sharedMethods, record->sharedMethodCount, false, method, routine);
        };
        void* routine = nullptr;
        bool found = findShared(c->record, &routine);
        for (const ClassInfo& extension : state_->extensionInfos) {
            if (found) break;
            if (detail::SameName(extension.name, c->name))
                found = findShared(extension.record, &routine);
        }
        if (!found) continue;
        if (routine == nullptr) throw NoRoutine("shared method", method);
        return routine;
    }
    throw std::runtime_error("no shared method " + std::string(method) + " in class " + info->name +
                             " or its superclasses");
}

void* ReferenceHost::FindGlobalMethod(std::string_view method) const {
    for (const ZYNEmethodDefinition* record : state_->methods) {
        void* routine = nullptr;
        if (!FindIn(record, 1, false, method, &routine)) continue;
        if (routine == nullptr) throw NoRoutine("global method", method);
        return routine;
    }
    throw std::runtime_error("no global method " + std::string(method));
}

ReferenceHost::PropertyRef ReferenceHost::FindProperty(ZYNEobject self, std::string_view property,
                                                       bool forWriting) const {
    const ClassInfo* info = state_->ClassInfoOf(self);
    if (info == nullptr) {
        throw std::runtime_error("property " + std::string(property) + " of a dead or null object");
    }
    int depth = 0;
    for (const ClassInfo* c = info; c != nullptr && depth < kMaxChain; c = c->superclass, ++depth) {
        const ZYNEclassDefinition* record = c->record;
        if (record->properties == nullptr) continue;
        for (long i = 0; i < ListCount(record->propertyCount); ++i) {
            const ZYNEproperty& p = record->properties[i];
            if (p.name == nullptr || !detail::SameName(p.name, property)) continue;
            void* routine = forWriting ? p.setter : p.getter;
            if (routine == nullptr) {
                throw std::runtime_error("property " + std::string(property) +
                                         (forWriting ? " is read-only" : " has no getter"));
            }
            return {routine == ZYNE_DIRECT_FIELD ? nullptr : routine, p.param,
                    reinterpret_cast<char*>(self) + record->dataOffset, record->dataSize};
        }
    }
    throw std::runtime_error("no property " + std::string(property) + " in class " + info->name +
                             " or its superclasses");
}

void* ReferenceHost::FieldAt(const PropertyRef& found, std::string_view property, size_t size) {
    // The field must lie inside the data of the class that declares it.
    if (found.param < 0 || found.dataSize < 0 ||
        static_cast<size_t>(found.param) + size > static_cast<size_t>(found.dataSize)) {
        throw std::runtime_error("field of property " + std::string(property) +
                                 " lies outside its class's data");
    }
    return found.data + found.param;
}

}  // namespace zyne::host
