// PluginDataItems.cpp - the data item classes: PluginMethod, PluginProperty,
// PluginConstant, PluginEnum and PluginStructure.
//
// Each object's instance data is one of the records of PluginItemData.h; most properties
// are plain fields the host reads there itself, the rest are small routines below.
#include <cstddef>
#include <new>
#include <type_traits>

#include "bridge/ClassTables.h"
#include "items/DeclarationParser.h"
#include "items/PluginItemData.h"
#include "items/PluginItems.h"

using zyne::bridge::CountOf;
using zyne::bridge::MethodRow;
using zyne::bridge::PlainClass;
using zyne::bridge::ReadOnlyField;
using zyne::bridge::ReadOnlyProperty;
using zyne::bridge::Routine;

static_assert(std::is_standard_layout_v<PluginMethodData>, "the host reads fields by offset");
static_assert(std::is_standard_layout_v<PluginPropertyData>, "the host reads fields by offset");
static_assert(std::is_standard_layout_v<PluginConstantData>, "the host reads fields by offset");
static_assert(std::is_standard_layout_v<PluginEnumData>, "the host reads fields by offset");
static_assert(std::is_standard_layout_v<PluginStructureData>, "the host reads fields by offset");

ZYNEstring CompatibilityFlagsString(unsigned long flags) {
    // Tested in this order: a word with both bits shows "not TargetHasGUI".
    if ((flags & 8) != 0) return NewUTF8HostString("not TargetHasGUI");
    if ((flags & 4) != 0) return NewUTF8HostString("true");
    return NewUTF8HostString("TargetHasGUI");
}

ZYNEstring ScopeString(unsigned long flags) {
    return NewUTF8HostString(ItemFlagsToScopeString(static_cast<long>(flags)));
}

namespace {

// The instance data of class `Class` is one `Data`, built by the constructor and
// released by the destructor.
template <class Data, ZYNEclassDefinition& Class>
struct DataItem {
    static Data* Of(ZYNEobject self) {
        if (self == nullptr) return nullptr;
        return static_cast<Data*>(ZYNEGetClassData(self, &Class));
    }
    static void Construct(ZYNEobject self) {
        if (self == nullptr) return;
        if (void* data = ZYNEGetClassData(self, &Class)) new (data) Data();
    }
    static void Destruct(ZYNEobject self) {
        if (Data* data = Of(self)) {
            data->Clear();
            data->~Data();
        }
    }
    // A new object of the class and its data; both nil when the host makes none.
    static Data* New(ZYNEobject& object) {
        object = ZYNEnewInstance(Class.name);
        Data* data = Of(object);
        if (data == nullptr && object != nullptr) {
            ZYNEUnlockObject(object);
            object = nullptr;
        }
        return data;
    }
    static ZYNEstring ScopeGetter(ZYNEobject self, long) {
        const Data* data = Of(self);
        return data != nullptr ? ScopeString(static_cast<unsigned long>(data->flags)) : nullptr;
    }
    static ZYNEstring CompatibilityGetter(ZYNEobject self, long) {
        const Data* data = Of(self);
        return data != nullptr ? CompatibilityFlagsString(static_cast<unsigned long>(data->flags))
                               : nullptr;
    }
};

// The string at `index` of `list`, locked once more for the caller; nil out of range.
ZYNEstring LockedAt(const HostStringList& list, long index) {
    ZYNEstring string = list.At(index);
    if (string != nullptr) ZYNELockString(string);
    return string;
}

// ----- PluginMethod -----------------------------------------------------------------------------

using MethodItem = DataItem<PluginMethodData, PluginMethodClassDefinition>;

ZYNEproperty PluginMethodProperties[] = {
    ReadOnlyField("Name", "String", offsetof(PluginMethodData, name)),
    ReadOnlyField("Parameters", "String", offsetof(PluginMethodData, parameters)),
    ReadOnlyField("ReturnType", "String", offsetof(PluginMethodData, returnType)),
    ReadOnlyField("Declaration", "String", offsetof(PluginMethodData, declaration)),
    ReadOnlyField("Getter", "Integer", offsetof(PluginMethodData, getter)),
    ReadOnlyField("Setter", "Integer", offsetof(PluginMethodData, setter)),
    ReadOnlyProperty("CompatibilityFlags", "String", Routine(&MethodItem::CompatibilityGetter)),
    ReadOnlyField("IsShared", "Boolean", offsetof(PluginMethodData, isShared)),
    ReadOnlyProperty("Scope", "String", Routine(&MethodItem::ScopeGetter)),
};

// ----- PluginProperty ---------------------------------------------------------------------------

using PropertyItem = DataItem<PluginPropertyData, PluginPropertyClassDefinition>;

bool IsRuntimeOnlyGetter(ZYNEobject self, long) {
    const PluginPropertyData* data = PropertyItem::Of(self);
    return data != nullptr && (data->flags & 2) != 0;
}

ZYNEstring PropertyGetEnum(ZYNEobject self, long index) {
    const PluginPropertyData* data = PropertyItem::Of(self);
    return data != nullptr ? LockedAt(data->enums, index) : nullptr;
}

ZYNEproperty PluginPropertyProperties[] = {
    ReadOnlyField("EnumCount", "Integer", offsetof(PluginPropertyData, enumCount)),
    ReadOnlyField("Group", "String", offsetof(PluginPropertyData, group)),
    ReadOnlyField("Name", "String", offsetof(PluginPropertyData, name)),
    ReadOnlyField("ReturnType", "String", offsetof(PluginPropertyData, type)),
    ReadOnlyField("ParameterValue", "Integer", offsetof(PluginPropertyData, parameterValue)),
    ReadOnlyField("Getter", "Integer", offsetof(PluginPropertyData, getter)),
    ReadOnlyField("Setter", "Integer", offsetof(PluginPropertyData, setter)),
    ReadOnlyProperty("IsRuntimeOnly", "Boolean", Routine(&IsRuntimeOnlyGetter)),
    ReadOnlyProperty("CompatibilityFlags", "String", Routine(&PropertyItem::CompatibilityGetter)),
    ReadOnlyField("IsShared", "Boolean", offsetof(PluginPropertyData, isShared)),
    ReadOnlyProperty("Scope", "String", Routine(&PropertyItem::ScopeGetter)),
};

ZYNEmethodDefinition PluginPropertyMethods[] = {
    MethodRow(Routine(&PropertyGetEnum), "GetEnum( index As Integer ) As String"),
};

// ----- PluginConstant ---------------------------------------------------------------------------

using ConstantItem = DataItem<PluginConstantData, PluginConstantClassDefinition>;

ZYNEproperty PluginConstantProperties[] = {
    ReadOnlyField("Name", "String", offsetof(PluginConstantData, name)),
    ReadOnlyField("Declaration", "String", offsetof(PluginConstantData, declaration)),
    ReadOnlyField("Value", "String", offsetof(PluginConstantData, value)),
    ReadOnlyProperty("Scope", "String", Routine(&ConstantItem::ScopeGetter)),
};

// ----- PluginEnum, PluginStructure --------------------------------------------------------------

using EnumItem = DataItem<PluginEnumData, PluginEnumClassDefinition>;
using StructureItem = DataItem<PluginStructureData, PluginStructureClassDefinition>;

ZYNEstring EnumGetField(ZYNEobject self, long index) {
    const PluginEnumData* data = EnumItem::Of(self);
    return data != nullptr ? LockedAt(data->fields, index) : nullptr;
}

ZYNEstring StructureGetField(ZYNEobject self, long index) {
    const PluginStructureData* data = StructureItem::Of(self);
    return data != nullptr ? LockedAt(data->fields, index) : nullptr;
}

ZYNEproperty PluginEnumProperties[] = {
    ReadOnlyField("Name", "String", offsetof(PluginEnumData, name)),
    ReadOnlyField("Type", "String", offsetof(PluginEnumData, type)),
    ReadOnlyField("FieldCount", "Integer", offsetof(PluginEnumData, fieldCount)),
    ReadOnlyProperty("Scope", "String", Routine(&EnumItem::ScopeGetter)),
};

ZYNEmethodDefinition PluginEnumMethods[] = {
    MethodRow(Routine(&EnumGetField), "GetField( index as Integer ) as String"),
};

ZYNEproperty PluginStructureProperties[] = {
    ReadOnlyField("Name", "String", offsetof(PluginStructureData, name)),
    ReadOnlyField("FieldCount", "Integer", offsetof(PluginStructureData, fieldCount)),
    ReadOnlyProperty("Scope", "String", Routine(&StructureItem::ScopeGetter)),
};

ZYNEmethodDefinition PluginStructureMethods[] = {
    MethodRow(Routine(&StructureGetField), "GetField( index as Integer ) as String"),
};

}  // namespace

ZYNEclassDefinition PluginMethodClassDefinition =
    PlainClass("PluginMethod", sizeof(PluginMethodData), &MethodItem::Construct,
               &MethodItem::Destruct, PluginMethodProperties, CountOf(PluginMethodProperties),
               nullptr, 0);
ZYNEclassDefinition PluginPropertyClassDefinition =
    PlainClass("PluginProperty", sizeof(PluginPropertyData), &PropertyItem::Construct,
               &PropertyItem::Destruct, PluginPropertyProperties,
               CountOf(PluginPropertyProperties), PluginPropertyMethods,
               CountOf(PluginPropertyMethods));
ZYNEclassDefinition PluginConstantClassDefinition =
    PlainClass("PluginConstant", sizeof(PluginConstantData), &ConstantItem::Construct,
               &ConstantItem::Destruct, PluginConstantProperties,
               CountOf(PluginConstantProperties), nullptr, 0);
ZYNEclassDefinition PluginEnumClassDefinition =
    PlainClass("PluginEnum", sizeof(PluginEnumData), &EnumItem::Construct, &EnumItem::Destruct,
               PluginEnumProperties, CountOf(PluginEnumProperties), PluginEnumMethods,
               CountOf(PluginEnumMethods));
ZYNEclassDefinition PluginStructureClassDefinition =
    PlainClass("PluginStructure", sizeof(PluginStructureData), &StructureItem::Construct,
               &StructureItem::Destruct, PluginStructureProperties,
               CountOf(PluginStructureProperties), PluginStructureMethods,
               CountOf(PluginStructureMethods));

// ----- Factories -----------------------------------------------------------------------------------

ZYNEobject NewPluginMethodObject(const ZYNEmethodDefinition* record, bool earlierForm, bool shared) {
    if (record == nullptr) return nullptr;
    ZYNEobject object = nullptr;
    PluginMethodData* data = MethodItem::New(object);
    if (data == nullptr) return nullptr;
    data->ParseDeclaration(record->declaration);
    data->SetGetterSetter(record->function, record->setter);
    if (!earlierForm) data->flags = static_cast<long>(record->flags);  // three-word records have none
    data->isShared = shared;
    return object;
}

ZYNEobject NewPluginMethodObject(const char* declaration) {
    ZYNEobject object = nullptr;
    PluginMethodData* data = MethodItem::New(object);
    if (data != nullptr) data->ParseDeclaration(declaration);
    return object;
}

ZYNEobject NewPluginPropertyObject(const ZYNEproperty* record, bool shared) {
    if (record == nullptr) return nullptr;
    ZYNEobject object = nullptr;
    PluginPropertyData* data = PropertyItem::New(object);
    if (data != nullptr) data->SetFromRecord(*record, shared);
    return object;
}

ZYNEobject NewPluginConstantObject(const ZYNEconstant* record) {
    if (record == nullptr) return nullptr;
    ZYNEobject object = nullptr;
    PluginConstantData* data = ConstantItem::New(object);
    if (data != nullptr) data->ParseDeclaration(record);
    return object;
}

ZYNEobject NewPluginEnumObject(const ZYNEenum* record) {
    if (record == nullptr) return nullptr;
    ZYNEobject object = nullptr;
    PluginEnumData* data = EnumItem::New(object);
    if (data != nullptr) data->ParseDeclaration(record);
    return object;
}

ZYNEobject NewPluginStructureObject(const ZYNEstructure* record) {
    if (record == nullptr) return nullptr;
    ZYNEobject object = nullptr;
    PluginStructureData* data = StructureItem::New(object);
    if (data != nullptr) data->ParseDeclaration(record);
    return object;
}
