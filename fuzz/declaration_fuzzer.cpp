// declaration_fuzzer.cpp - every scan of the declarations plug-ins register.
//
// The input, cut at its first NUL, is the declaration; the bytes after that NUL (again up
// to a NUL) are a property's type. Scanned as a method, a constant and a property (through
// the item records, which build host strings), and by the span, framework-string and
// parameter-type routines. A minimal host answers the string services and counts live
// strings, so a leaked or doubly released string is caught. Checks: every span lies inside
// the text, and every string equals the bytes its span names.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/string.h"
#include "encodings/Encodings.h"
#include "hostapi/ZYNEPlugin.h"
#include "items/DeclarationParser.h"
#include "items/PluginItemData.h"

namespace {

// ----- A minimal host: strings only --------------------------------------------------------

long gLiveStrings = 0;

ZYNEstring BuildString(const char* text, int length) {
    if (length < 0) abort();
    auto* record = static_cast<ZYNEstringStruct*>(calloc(1, sizeof(ZYNEstringStruct)));
    auto* storage = static_cast<unsigned char*>(malloc(static_cast<size_t>(length) + 2));
    storage[0] = static_cast<unsigned char>(length > 255 ? 255 : length);
    if (length > 0) memcpy(storage + 1, text, static_cast<size_t>(length));
    storage[length + 1] = 0;
    record->storage = storage;
    record->length = length;
    record->hostWord0 = 1;  // references
    ++gLiveStrings;
    return record;
}

void SetStringEncoding(ZYNEstring string, unsigned long encoding) {
    if (string == nullptr || string->hostWord0 == 0) abort();
    string->hostWord1 = encoding;
}

void UnlockString(ZYNEstring string) {
    if (string == nullptr || string->hostWord0 == 0) abort();  // released twice
    if (--string->hostWord0 > 0) return;
    free(const_cast<unsigned char*>(string->storage));
    free(string);
    --gLiveStrings;
}

void* Resolve(const char* name) {
    if (strcmp(name, "ZYNEBuildString") == 0) return reinterpret_cast<void*>(&BuildString);
    if (strcmp(name, "ZYNESetStringEncoding") == 0) {
        return reinterpret_cast<void*>(&SetStringEncoding);
    }
    if (strcmp(name, "ZYNEUnlockString") == 0) return reinterpret_cast<void*>(&UnlockString);
    return nullptr;
}

// ----- Checks ------------------------------------------------------------------------------

void CheckSpan(long length, DeclarationSpan span) {
    if (!span.present && (span.start != 0 || span.length != 0)) abort();
    if (span.start < 0 || span.length < 0 || span.start + span.length > length) abort();
}

void CheckString(const string& s, const char* text, DeclarationSpan span) {
    const long expected = span.present ? span.length : 0;
    if (static_cast<long>(s.Length()) != expected) abort();
    if (expected > 0 && memcmp(s.CString(), text + span.start, static_cast<size_t>(expected)) != 0)
        abort();
}

void CheckHost(ZYNEstring s, const char* text, DeclarationSpan span) {
    if (!span.present) {
        if (s != nullptr) abort();
        return;
    }
    if (s == nullptr || s->length != span.length || s->hostWord1 != kEncodingUTF8) abort();
    if (span.length > 0 &&
        memcmp(s->storage + 1, text + span.start, static_cast<size_t>(span.length)) != 0)
        abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 1 << 16) return 0;
    gResolver = &Resolve;
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string declaration = input.substr(0, input.find('\0'));
    const size_t typeStart = declaration.size() < input.size() ? declaration.size() + 1 : input.size();
    const std::string type = input.substr(typeStart, input.find('\0', typeStart) - typeStart);
    const char* text = declaration.c_str();
    const long length = static_cast<long>(declaration.size());

    const DeclarationSpan name = DeclarationParser::FindName(text);
    const DeclarationSpan parameters = DeclarationParser::FindParameters(text);
    const DeclarationSpan returnType = DeclarationParser::FindReturnType(text);
    if (!name.present || name.start != 0) abort();
    CheckSpan(length, name);
    CheckSpan(length, parameters);
    CheckSpan(length, returnType);
    CheckString(DeclarationParser::Name(text), text, name);
    CheckString(DeclarationParser::Parameters(text), text, parameters);
    CheckString(DeclarationParser::ReturnType(text), text, returnType);

    ParameterTypeList types;
    DeclarationParser::GetParameterTypes(text, types);
    for (long i = 0; i < types.Count(); ++i) {
        const string t = types[i];
        if (t.Length() > static_cast<uint32_t>(length) + 3) abort();  // at most "(n)" more
    }
    if (!types[types.Count()].IsEmpty() || !types[-1].IsEmpty()) abort();

    const ZYNEstring hostName = DeclarationParser::GetName(text);
    const ZYNEstring hostParameters = DeclarationParser::GetParameters(text);
    const ZYNEstring hostReturn = DeclarationParser::GetReturnType(text);
    CheckHost(hostName, text, name);
    CheckHost(hostParameters, text, parameters);
    CheckHost(hostReturn, text, returnType);
    for (ZYNEstring s : {hostName, hostParameters, hostReturn}) {
        if (s != nullptr) UnlockString(s);
    }

    // Through the item records, as the bridge registers a class's items.
    PluginMethodData method;
    method.ParseDeclaration(text);
    method.ParseDeclaration(text);  // again: the first strings are released
    method.Clear();

    ZYNEconstant record{.declaration = text, .reserved = nullptr, .flags = size};
    PluginConstantData constant;
    constant.ParseDeclaration(&record);
    if (constant.value == nullptr || constant.value->length > length) abort();
    constant.Clear();

    PluginPropertyData property;
    property.SetDeclaration(text, type.empty() ? nullptr : type.c_str(), 0);
    property.SetDeclaration(text, type.c_str(), 1);
    property.Clear();

    (void)ItemFlagsToScopeString(static_cast<long>(size));
    for (char c : declaration) (void)is_space(c);

    if (gLiveStrings != 0) abort();  // a host string leaked
    return 0;
}
