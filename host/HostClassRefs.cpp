// HostClassRefs.cpp - what the host answers about an object's class: "RuntimeObjectIsa" and
// "ZYNELoadObjectMethod".
//
// A class reference is the address of the host's ClassInfo for a registered class, as
// "pluginObjectType" hands it out (HostObjects.cpp, with creation by name and by
// reference). "RuntimeObjectIsa" follows the object's superclass chain looking for that
// class; "ZYNELoadObjectMethod" finds an instance method by declaration: its name and
// parameter types must match (case-insensitively, parameter names ignored), searched in
// the object's class, the class extensions of it, then up the superclass chain.
//
// Not here: interfaces (an object "is a" class only), shared methods (they take no object).
#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>
#include <vector>

#include "HostState.h"

namespace zyne::host {

namespace {

// A bound on superclass walks: chains only point at earlier classes, so any real chain
// is far shorter.
constexpr int kMaxChain = 1000;

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.remove_suffix(1);
    return text;
}

std::string Lowered(std::string_view text) {
    std::string result;
    for (char c : text) {
        if (!std::isspace(static_cast<unsigned char>(c)))
            result += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return result;
}

bool StartsWithWord(std::string_view text, std::string_view word) {
    return text.size() > word.size() && detail::SameName(text.substr(0, word.size()), word) &&
           std::isspace(static_cast<unsigned char>(text[word.size()]));
}

// What a declaration's call must match: its name and its parameter types, lowercased and
// without spaces. "Add( value as Variant, ByRef key() as String = \"\" )" gives the name
// "add" and the types "variant", "string()".
struct Signature {
    std::string name;
    std::vector<std::string> types;
    bool operator==(const Signature&) const = default;
};

std::string ParameterType(std::string_view parameter) {
    parameter = Trimmed(parameter);
    for (std::string_view modifier : {"byref", "byval", "assigns", "paramarray", "optional"}) {
        if (StartsWithWord(parameter, modifier))
            parameter = Trimmed(parameter.substr(modifier.size()));
    }
    const size_t equals = parameter.find('=');
    if (equals != std::string_view::npos) parameter = Trimmed(parameter.substr(0, equals));
    // The type follows the last " as "; a name ending in "()" makes it an array.
    std::string lowered(parameter);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const size_t as = lowered.rfind(" as ");
    if (as == std::string::npos) return Lowered(parameter);  // a type alone
    std::string type = Lowered(parameter.substr(as + 4));
    if (Trimmed(parameter.substr(0, as)).ends_with("()")) type += "()";
    return type;
}

Signature SignatureOf(std::string_view declaration) {
    declaration = Trimmed(declaration);
    Signature signature;
    const size_t open = declaration.find('(');
    if (open == std::string_view::npos) {
        const size_t end = declaration.find_first_of(" \t");
        signature.name = Lowered(declaration.substr(0, end));
        return signature;
    }
    signature.name = Lowered(declaration.substr(0, open));
    // The parameter list runs to the matching ')'; commas inside nested parentheses
    // (array parameters) do not split it.
    int depth = 0;
    size_t start = open + 1;
    for (size_t i = open + 1; i < declaration.size(); ++i) {
        const char c = declaration[i];
        if (c == '(') ++depth;
        if (c == ')' && depth-- == 0) {
            const std::string_view last = Trimmed(declaration.substr(start, i - start));
            if (!last.empty() || !signature.types.empty())
                signature.types.push_back(ParameterType(last));
            break;
        }
        if (c == ',' && depth == 0) {
            signature.types.push_back(ParameterType(declaration.substr(start, i - start)));
            start = i + 1;
        }
    }
    return signature;
}

// The routine of the first method of `list` whose signature is `wanted`, in either form.
bool FindIn(const void* list, long count, bool threeWord, const Signature& wanted, void** routine) {
    if (list == nullptr) return false;
    for (long i = 0; i < count; ++i) {
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
        if (declaration != nullptr && SignatureOf(declaration) == wanted) {
            *routine = function;
            return true;
        }
    }
    return false;
}

unsigned char ObjectIsa(ZYNEobject object, ZYNEclassRef classRef) {
    detail::HostState& state = detail::CurrentState();
    state.Called("RuntimeObjectIsa", object, classRef);
    if (object == nullptr || classRef == nullptr) return 0;
    if (!state.OwnsClassInfo(classRef)) {
        state.Fault("RuntimeObjectIsa with a class ref the host never gave out");
        return 0;
    }
    const ClassInfo* info = state.ClassInfoOf(object);
    if (info == nullptr) {
        state.Fault("RuntimeObjectIsa on an object the host does not hold");
        return 0;
    }
    int depth = 0;
    for (const ClassInfo* c = info; c != nullptr && depth < kMaxChain; c = c->superclass, ++depth) {
        if (c == reinterpret_cast<const ClassInfo*>(classRef)) return 1;
    }
    return 0;
}

void* LoadObjectMethod(ZYNEobject object, const char* declaration) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNELoadObjectMethod", object, declaration);
    if (object == nullptr || declaration == nullptr) return nullptr;
    const ClassInfo* info = state.ClassInfoOf(object);
    if (info == nullptr) {
        state.Fault("ZYNELoadObjectMethod on an object the host does not hold");
        return nullptr;
    }
    const Signature wanted = SignatureOf(declaration);
    int depth = 0;
    for (const ClassInfo* c = info; c != nullptr && depth < kMaxChain; c = c->superclass, ++depth) {
        void* routine = nullptr;
        if (FindIn(c->record->methods, c->record->methodCount, c->threeWordMethods, wanted,
                   &routine))
            return routine;
        for (const ClassInfo& extension : state.extensionInfos) {
            if (!detail::SameName(extension.name, c->name)) continue;
            const ZYNEclassDefinition* added = extension.record;
            if (FindIn(added->methods, added->methodCount, extension.threeWordMethods, wanted,
                       &routine))
                return routine;
        }
    }
    return nullptr;
}

const detail::ServiceRow kClassRefServices[] = {
    {"RuntimeObjectIsa", reinterpret_cast<void*>(&ObjectIsa)},
    {"ZYNELoadObjectMethod", reinterpret_cast<void*>(&LoadObjectMethod)},
};

}  // namespace

std::span<const detail::ServiceRow> detail::ClassRefServices() {
    return kClassRefServices;
}

}  // namespace zyne::host
