// PluginItemData.cpp - filling the item data records from a guest's records.
#include "items/PluginItemData.h"

#include <cstdlib>
#include <cstring>

#include "encodings/Encodings.h"
#include "items/DeclarationParser.h"

namespace {

// Unlocks `string` and leaves the slot absent.
void Release(ZYNEstring& string) {
    if (string != nullptr) ZYNEUnlockString(string);
    string = nullptr;
}

// Replaces `slot` with a new string of `text` (absent for a null text).
void Replace(ZYNEstring& slot, const char* text) {
    Release(slot);
    slot = NewUTF8HostString(text);
}

}  // namespace

ZYNEstring NewUTF8HostString(const char* text) {
    if (text == nullptr) return nullptr;
    ZYNEstring string = ZYNEBuildString(text, static_cast<int>(strlen(text)));
    if (string != nullptr) ZYNESetStringEncoding(string, kEncodingUTF8);
    return string;
}

// ----- HostStringList ---------------------------------------------------------------------------

ZYNEstring HostStringList::At(long index) const {
    if (index < 0 || index >= mCount) return nullptr;
    return mStrings[index];
}

void HostStringList::Assign(const char* const* texts, long count) {
    Clear();
    if (texts == nullptr || count < 1) return;
    auto* strings = static_cast<ZYNEstring*>(calloc(static_cast<size_t>(count), sizeof(ZYNEstring)));
    if (strings == nullptr) return;
    for (long i = 0; i < count; ++i) strings[i] = NewUTF8HostString(texts[i] ? texts[i] : "");
    mStrings = strings;
    mCount = count;
}

void HostStringList::Clear() {
    for (long i = 0; i < mCount; ++i) Release(mStrings[i]);
    free(mStrings);
    mStrings = nullptr;
    mCount = 0;
}

// ----- PluginMethodData -------------------------------------------------------------------------

void PluginMethodData::ParseDeclaration(const char* text) {
    Release(name);
    Release(parameters);
    Release(returnType);
    Release(declaration);
    if (text == nullptr) return;
    name = DeclarationParser::GetName(text);
    parameters = DeclarationParser::GetParameters(text);
    returnType = DeclarationParser::GetReturnType(text);
    declaration = NewUTF8HostString(text);
}

void PluginMethodData::SetGetterSetter(void* getterRoutine, void* setterRoutine) {
    getter = reinterpret_cast<long>(getterRoutine);
    setter = reinterpret_cast<long>(setterRoutine);
}

void PluginMethodData::Clear() {
    Release(name);
    Release(parameters);
    Release(returnType);
    Release(declaration);
}

// ----- PluginPropertyData -----------------------------------------------------------------------

void PluginPropertyData::SetDeclaration(const char* nameText, const char* typeText, long param) {
    Replace(name, nameText);
    Replace(type, typeText);
    parameterValue = param;
}

void PluginPropertyData::SetGetterSetter(void* getterRoutine, void* setterRoutine) {
    getter = reinterpret_cast<long>(getterRoutine);
    setter = reinterpret_cast<long>(setterRoutine);
}

void PluginPropertyData::SetGroup(const char* groupText) { Replace(group, groupText); }

void PluginPropertyData::SetEnums(const char* const* entries, long count) {
    enums.Assign(entries, count);
    enumCount = enums.Count();
}

void PluginPropertyData::SetFromRecord(const ZYNEproperty& record, bool shared) {
    SetDeclaration(record.name, record.type, record.param);
    SetGetterSetter(record.getter, record.setter);
    SetGroup(record.group);
    SetEnums(record.enumEntries, record.enumCount);
    SetFlags(record.flags);
    isShared = shared;
}

void PluginPropertyData::Clear() {
    enums.Clear();
    enumCount = 0;
    Release(group);
    Release(name);
    Release(type);
}

// ----- PluginConstantData -----------------------------------------------------------------------

void PluginConstantData::ParseDeclaration(const ZYNEconstant* record) {
    if (record == nullptr) return;
    flags = static_cast<long>(record->flags);
    Clear();
    const char* text = record->declaration;
    if (text == nullptr) return;
    name = DeclarationParser::GetName(text);
    declaration = NewUTF8HostString(text);
    const char* equals = strchr(text, '=');
    const char* valueText = equals != nullptr ? equals + 1 : "";
    while (is_space(*valueText)) ++valueText;
    value = NewUTF8HostString(valueText);
}

void PluginConstantData::Clear() {
    Release(name);
    Release(declaration);
    Release(value);
}

// ----- PluginEnumData, PluginStructureData -------------------------------------------------------

void PluginEnumData::ParseDeclaration(const ZYNEenum* record) {
    Clear();
    if (record == nullptr) return;
    name = NewUTF8HostString(record->name);
    type = NewUTF8HostString(record->type);
    flags = static_cast<long>(record->flags);
    fields.Assign(record->fields, record->fieldCount);
    fieldCount = fields.Count();
}

void PluginEnumData::Clear() {
    Release(name);
    Release(type);
    fields.Clear();
    fieldCount = 0;
}

void PluginStructureData::ParseDeclaration(const ZYNEstructure* record) {
    Clear();
    if (record == nullptr) return;
    name = NewUTF8HostString(record->name);
    flags = static_cast<long>(record->flags);
    fields.Assign(record->fields, record->fieldCount);
    fieldCount = fields.Count();
}

void PluginStructureData::Clear() {
    Release(name);
    fields.Clear();
    fieldCount = 0;
}
