// GuestResolver.cpp - the resolver handed to guests: the intercept table, the registration
// captures, faux class references, design-time instance creation and the property and
// method services for design-time instances.
//
// Captures keep the guest's own pointers: records live in the guest library, which the
// definition keeps loaded. The two class maps only grow; a class registered again (by this
// guest or another) replaces the earlier entry's value. The property family and the
// method lookup recognise design-time instances with the host's "RuntimeObjectIsa", bound
// once per family on first use.
// Not here: loading (PluginLoader.cpp), what instances are (items/PluginClassInstance.h).
#include "bridge/GuestResolver.h"

#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "bridge/BridgeGlobals.h"
#include "bridge/ClassTables.h"
#include "bridge/PluginBridge.h"
#include "bridge/PluginDefinition.h"
#include "core/KeptMemory.h"
#include "hostapi/RecordReaders.h"
#include "items/ControlInstanceServices.h"
#include "items/DatabaseDelegate.h"
#include "items/DeclarationParser.h"
#include "items/PluginClassInstance.h"

using zyne::bridge::Routine;

namespace {

// ----- The class maps -------------------------------------------------------------------

// Made at library load; chains are allocated by the first entry.
StringMap<PluginDefinition*> gClassOwners(256);
StringMap<char*> gClassReferences(256);

constexpr char kFauxPrefix[] = "fauxcref";
constexpr size_t kFauxPrefixLength = sizeof kFauxPrefix - 1;

// Whether two texts of guest records name the same thing: the framework string's
// comparison, without regard to case. A null text matches nothing.
bool SameText(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) return false;
    return string(a).Compare(string(b)) == 0;
}

// ----- Registration captures ------------------------------------------------------------

// Appends `record` to the current definition's `List`: the list's new count, or 0 when no
// load is in progress (nothing recorded). A null record is refused the same way, so that
// every captured item is a record the item classes can read.
template <class Record, SimpleVector<Record*> PluginDefinition::*List>
long CaptureRecord(Record* record) {
    PluginDefinition* current = GetCurrentPluginDefinition();
    if (current == nullptr || record == nullptr) return 0;
    SimpleVector<Record*>& list = current->*List;
    if (!list.Append(record)) return 0;
    return list.Count();
}

// "RegisterDataSourceInterface" and "RegisterDataSource": (name, routine) as one pair.
template <SimpleVector<PluginDefinitionPair> PluginDefinition::*List>
long CapturePair(const char* name, void* routine) {
    // Kept on purpose: the pair is made before the current definition is looked at, so a
    // registration outside a load makes a pair and drops it.
    const PluginDefinitionPair pair{reinterpret_cast<unsigned long>(name),
                                    reinterpret_cast<unsigned long>(routine)};
    PluginDefinition* current = GetCurrentPluginDefinition();
    if (current == nullptr) return 0;
    SimpleVector<PluginDefinitionPair>& list = current->*List;
    if (!list.Append(pair)) return 0;
    return list.Count();
}

// "PluginRegisterClass": the class also becomes known by name, to its owner and with its
// faux reference, so that guests can ask for it and instantiate it by name.
long CaptureClass(ZYNEclassDefinition* record) {
    PluginDefinition* current = GetCurrentPluginDefinition();
    if (current == nullptr || record == nullptr) return 0;
    if (record->name != nullptr) {
        const string name(record->name);
        gClassOwners.AddEntry(name, current);
        // name length + 9 bytes: the prefix, the name and its zero. Never freed: guests
        // keep the pointer as their class reference for as long as they like.
        const size_t length = std::strlen(record->name);
        auto* reference = static_cast<char*>(std::malloc(kFauxPrefixLength + length + 1));
        if (reference != nullptr) {
            std::memcpy(reference, kFauxPrefix, kFauxPrefixLength);
            std::memcpy(reference + kFauxPrefixLength, record->name, length + 1);
            KeepForProcessLifetime(reference);
            gClassReferences.AddEntry(name, reference);
        }
    }
    return CaptureRecord<ZYNEclassDefinition, &PluginDefinition::classes>(record);
}

// ----- Class references and instances ---------------------------------------------------

// "pluginObjectType".
ZYNEclassRef ClassReference(const char* className) {
    if (className == nullptr) return ZYNEGetClassRef(className);
    // Every class asked for during a load is a dependency, guest classes included.
    if (PluginBridge* bridge = GetCurrentPluginBridge()) {
        ZYNEstring dependency =
            ZYNEBuildString(className, static_cast<int>(std::strlen(className)));
        if (dependency != nullptr && !bridge->dependencies.Append(dependency))
            ZYNEUnlockString(dependency);
    }
    char* reference = nullptr;
    if (gClassReferences.GetEntry(string(className), reference) && reference != nullptr)
        return reinterpret_cast<ZYNEclassRef>(reference);
    return ZYNEGetClassRef(className);
}

// "PluginNewInstance": a design-time instance of a guest class, else the host's instance.
ZYNEobject NewInstanceByName(const char* className) {
    PluginDefinition* owner = nullptr;
    if (className != nullptr && gClassOwners.GetEntry(string(className), owner) &&
        owner != nullptr) {
        for (long i = 0; i < owner->classes.Count(); ++i) {
            ZYNEclassDefinition* record = owner->classes[i];
            if (record != nullptr && SameText(record->name, className))
                return PluginClassInstanceCreateFromDefinition(record);
        }
    }
    return ZYNEnewInstance(className);
}

// "CreateInstance": a faux reference names a guest class; anything else is the host's.
ZYNEobject NewInstanceByReference(ZYNEclassRef classRef) {
    const auto* text = reinterpret_cast<const char*>(classRef);
    // strncmp stops at the first difference, so a host's reference is read no further.
    if (text != nullptr && std::strncmp(text, kFauxPrefix, kFauxPrefixLength) == 0)
        return NewInstanceByName(text + kFauxPrefixLength);
    return ZYNEnewInstance(classRef);
}

// ----- Recognising design-time instances ------------------------------------------------

using ObjectIsaRoutine = unsigned char (*)(ZYNEobject object, ZYNEclassRef classRef);

// One cached "RuntimeObjectIsa" per family. A host without the service is asked again on
// the next call, as the bound forwarders do, so a service that appears later is found.
ObjectIsaRoutine gPropertyObjectIsa = nullptr;
ObjectIsaRoutine gMethodObjectIsa = nullptr;

// Whether `object` is a "PluginClassInstance". False, so that the caller forwards to the
// host, when the host has no "RuntimeObjectIsa" or no reference for the class.
bool IsDesignTimeInstance(ObjectIsaRoutine& cache, ZYNEobject object) {
    if (object == nullptr || gResolver == nullptr) return false;
    if (cache == nullptr)
        cache = reinterpret_cast<ObjectIsaRoutine>(
            BridgeResolve("RuntimeObjectIsa", gResolver, nullptr));
    if (cache == nullptr) return false;
    ZYNEclassRef instanceClass = ZYNEGetClassRef("PluginClassInstance");
    return instanceClass != nullptr && cache(object, instanceClass) != 0;
}

// The property records of a design-time instance's guest class, and their count (0 for an
// instance not yet given a class).
struct PropertyList {
    const ZYNEproperty* properties = nullptr;
    long count = 0;
};

PropertyList PropertiesOf(ZYNEobject instance) {
    const ZYNEclassDefinition* guestClass = PluginClassInstanceGuestClass(instance);
    if (guestClass == nullptr || guestClass->properties == nullptr ||
        guestClass->propertyCount <= 0)
        return {};
    return {guestClass->properties, guestClass->propertyCount};
}

// The plain field of T at byte `offset` of the instance's guest data; null when the
// offset (the guest's record says it) does not leave room for a T inside the area.
template <class T>
unsigned char* FieldOf(ZYNEobject instance, long offset) {
    auto* data = static_cast<unsigned char*>(PluginClassInstanceGuestData(instance));
    if (data == nullptr || offset < 0 ||
        static_cast<unsigned long>(offset) > kPluginClassInstanceGuestDataSize - sizeof(T))
        return nullptr;
    return data + offset;
}

// Host values that carry a reference: a field holds one, a read hands one to the caller.
inline void Retain(ZYNEstring value) {
    ZYNELockString(value);
}
inline void Retain(ZYNEobject value) {
    ZYNELockObject(value);
}
inline void Release(ZYNEstring value) {
    ZYNEUnlockString(value);
}
inline void Release(ZYNEobject value) {
    ZYNEUnlockObject(value);
}
template <class T>
constexpr bool kCounted = std::is_same_v<T, ZYNEstring> || std::is_same_v<T, ZYNEobject>;

// ----- The property family ---------------------------------------------------------------

// One member of the family: the native type T the guest's records hold, the type text
// its records must carry (null: any), and the value property read from a design-time
// control's value object (null: the member has no control case).
struct Member {
    const char* typeText;
    const char* controlValue;
};
constexpr Member kInteger{"integer", "IntegerValue"};
constexpr Member kDouble{"double", "DoubleValue"};
constexpr Member kBoolean{"boolean", "BooleanValue"};
constexpr Member kString{"string", "StringValue"};
constexpr Member kObject{nullptr, nullptr};

// The getter of member M, with the host callback's signature.
template <class T, const Member& M>
unsigned char GetProperty(ZYNEobject object, const char* name, T* result) {
    if (result == nullptr) return 0;
    if constexpr (M.controlValue != nullptr) {
        if (IsDesignTimeControlInstance(object)) {
            ZYNEobject value = DesignControlPropertyValue(object, name);
            if (value == nullptr) return 0;
            *result = T();
            const int read = ZYNEGetPropValue(value, M.controlValue, result);
            ZYNEUnlockObject(value);
            return read != 0;
        }
    }
    if (name == nullptr || !IsDesignTimeInstance(gPropertyObjectIsa, object))
        return ZYNEGetPropValue(object, name, result) != 0;
    const PropertyList list = PropertiesOf(object);
    for (long i = 0; i < list.count; ++i) {
        const ZYNEproperty& property = list.properties[i];
        if (!SameText(property.name, name)) continue;
        // A name match of another type is not this member's: look further.
        if (M.typeText != nullptr && !SameText(property.type, M.typeText)) continue;
        if (property.getter == ZYNE_DIRECT_FIELD) {
            const unsigned char* field = FieldOf<T>(object, property.param);
            if (field == nullptr) return 0;
            std::memcpy(result, field, sizeof(T));
            if constexpr (kCounted<T>) Retain(*result);  // the caller's reference
            return 1;
        }
        if (property.getter == nullptr) return 0;
        using Getter = T (*)(ZYNEobject object, long param);
        *result = reinterpret_cast<Getter>(property.getter)(object, property.param);
        return 1;
    }
    return ZYNEGetPropValue(object, name, result) != 0;
}

// A variant holding a setter's value, for a design-time control's property-value setter.
ZYNEobject VariantOf(long value) {
    return ZYNENewVariantInteger(value);
}
ZYNEobject VariantOf(double value) {
    return ZYNENewVariantDouble(value);
}
ZYNEobject VariantOf(unsigned char value) {
    return ZYNENewVariantBoolean(value);
}
ZYNEobject VariantOf(ZYNEstring value) {
    return ZYNENewVariantString(value);
}

// The setter of member M, with the host callback's signature: the value arrives widened to
// Wire and is stored as T.
template <class T, class Wire, const Member& M>
unsigned char SetProperty(ZYNEobject object, const char* name, Wire wire) {
    const T value = static_cast<T>(wire);
    if constexpr (M.controlValue != nullptr) {
        if (IsDesignTimeControlInstance(object)) {
            ZYNEobject variant = VariantOf(value);
            const bool taken = DesignControlSetPropertyValue(object, name, variant);
            ZYNEUnlockObject(variant);
            return taken;
        }
    }
    if (name == nullptr || !IsDesignTimeInstance(gPropertyObjectIsa, object))
        return ZYNESetPropValue(object, name, value) != 0;
    const PropertyList list = PropertiesOf(object);
    for (long i = 0; i < list.count; ++i) {
        const ZYNEproperty& property = list.properties[i];
        if (!SameText(property.name, name)) continue;
        if (M.typeText != nullptr && !SameText(property.type, M.typeText)) continue;
        if (property.setter == ZYNE_DIRECT_FIELD) {
            unsigned char* field = FieldOf<T>(object, property.param);
            if (field == nullptr) return 0;
            if constexpr (kCounted<T>) {
                // The field holds its own reference: take one on the new value first, so
                // that storing the value already there cannot free it.
                T previous;
                std::memcpy(&previous, field, sizeof(T));
                Retain(value);
                Release(previous);
            }
            std::memcpy(field, &value, sizeof(T));
            return 1;
        }
        if (property.setter == nullptr) return 0;
        using Setter = void (*)(ZYNEobject object, long param, T value);
        reinterpret_cast<Setter>(property.setter)(object, property.param, value);
        return 1;
    }
    // Kept on purpose: a design-time instance without such a property answers false here;
    // the host never sees the request.
    return 0;
}

// ----- "ZYNELoadObjectMethod" ------------------------------------------------------------

// Whether the parameter types of two declarations agree (see GuestResolver.h).
bool SameParameterTypes(const ParameterTypeList& a, const ParameterTypeList& b) {
    if (a.Count() != b.Count()) return false;
    for (long i = 0; i < a.Count(); ++i) {
        if (a[i].Compare(b[i]) != 0) return false;
    }
    return true;
}

// The routine of the guest class's first method matching `declaration`, or null.
void* FindGuestMethod(const ZYNEclassDefinition* guestClass, const char* declaration) {
    if (guestClass == nullptr || declaration == nullptr) return nullptr;
    while (*declaration == ' ' || *declaration == '\t') ++declaration;
    const string wantedName = DeclarationParser::Name(declaration);
    if (wantedName.IsEmpty()) return nullptr;
    ParameterTypeList wantedTypes;
    DeclarationParser::GetParameterTypes(declaration, wantedTypes);
    ParameterTypeList types;
    const bool earlierForm = UsesEarlierMethodForm(guestClass->version);
    for (long i = 0; i < guestClass->methodCount; ++i) {
        const ZYNEmethodDefinition* method =
            GetMethodInList(guestClass->methods, guestClass->methodCount, i, earlierForm);
        if (method == nullptr || method->declaration == nullptr) continue;
        const char* candidate = method->declaration;
        while (*candidate == ' ' || *candidate == '\t') ++candidate;
        if (DeclarationParser::Name(candidate).Compare(wantedName) != 0) continue;
        DeclarationParser::GetParameterTypes(candidate, types);
        if (SameParameterTypes(types, wantedTypes)) return method->function;
    }
    return nullptr;
}

void* LoadObjectMethod(ZYNEobject object, const char* declaration) {
    if (IsDesignTimeInstance(gMethodObjectIsa, object)) {
        if (void* routine = FindGuestMethod(PluginClassInstanceGuestClass(object), declaration))
            return routine;
    }
    return ZYNELoadObjectMethod(object, declaration);
}

// ----- Small answers ---------------------------------------------------------------------

// "RegisterPluginVersion": a guest's announced version changes nothing.
void IgnorePluginVersion(long) {}

// "ZYNEInDebugMode": design time counts as debugging.
unsigned char InDebugMode() {
    return 1;
}

// "ZYNEinRuntime": guests at design time never run inside a built program.
unsigned char InRuntime() {
    return 0;
}

// "PluginDefaultControlFontSize", with the host callback's word result.
long DefaultControlFontSize() {
    return GetDefaultFontSize();
}

// ----- The intercept table ---------------------------------------------------------------

struct InterceptRow {
    const char* name;
    void* answer;  // nil on purpose for three names
};

using PD = PluginDefinition;

// Filled in this order, once; never changed afterwards.
const StringMap<void*>& InterceptTable() {
    static const struct Table {
        StringMap<void*> map{256};
        Table() {
            const InterceptRow rows[] = {
                {"RegisterPluginVersion", Routine(&IgnorePluginVersion)},
                {"PluginRegisterControl", Routine(&CaptureRecord<ZYNEcontrol, &PD::controls>)},
                {"PluginRegisterMethod",
                 Routine(&CaptureRecord<ZYNEmethodDefinition, &PD::methods>)},
                {"PluginRegisterModule",
                 Routine(&CaptureRecord<ZYNEmoduleDefinition, &PD::modules>)},
                {"PluginRegisterClass", Routine(&CaptureClass)},
                {"PluginRegisterInterface",
                 Routine(&CaptureRecord<ZYNEinterfaceDefinition, &PD::interfaces>)},
                {"PluginRegisterClassExtension",
                 Routine(&CaptureRecord<ZYNEclassDefinition, &PD::classExtensions>)},
                {"ResolverPPC", Routine(&GuestResolver)},
                {"GetControlBounds", Routine(&DesignControlGetBounds)},
                {"ctlPosGetter", Routine(&DesignControlGetPosition)},
                {"ctlPosSetter", Routine(&DesignControlSetPosition)},
                {"ZYNEInDebugMode", Routine(&InDebugMode)},
                {"ZYNEinRuntime", Routine(&InRuntime)},
                {"ZYNEGetProjectFolder", Routine(&GetProjectFolder)},
                {"GetControlVisible", Routine(&DesignControlGetVisible)},
                {"ZYNEGetControlEnabled", Routine(&DesignControlGetEnabled)},
                {"ZYNEGetControlHandle", Routine(&DesignControlGetHandle)},
                {"GetControlHWND", Routine(&DesignControlGetHandle)},
                {"getControlWindow", Routine(&DesignControlGetWindow)},
                // Kept on purpose: no background drawing at design time.
                {"ZYNESetSpecialBackground", nullptr},
                {"controlEnabledSetter", Routine(&DesignControlSetEnabled)},
                {"SetControlVisible", Routine(&DesignControlSetVisible)},
                {"RegisterDataSourceInterface", Routine(&CapturePair<&PD::dataSourceInterfaces>)},
                {"PluginRegisterDBEngine",
                 Routine(&CaptureRecord<ZYNEdbEngineDefinition, &PD::databaseEngines>)},
                {"RegisterDatabaseConnection",
                 Routine(
                     &CaptureRecord<ZYNEDatabaseConnectionDefinition, &PD::databaseConnections>)},
                {"ZYNEDBConnectionDialogAddField", Routine(&PseudoDBConnectionDialogAddField)},
                {"ZYNEDBConnectionDialogCreate", Routine(&PseudoDBConnectionDialogCreate)},
                {"ZYNEDBConnectionDialogShow", Routine(&PseudoDBConnectionDialogShow)},
                {"ZYNEDBConnectionDialogDelete", Routine(&PseudoDBConnectionDialogDelete)},
                {"RegisterDataSource", Routine(&CapturePair<&PD::dataSources>)},
                {"DesignAddDataSource", Routine(&PseudoDesignAddDataSource)},
                {"ZYNEdbDatabaseFromDBDatabase", Routine(&PseudoGetdbDatabaseFromDBDatabase)},
                {"PluginNewInstance", Routine(&NewInstanceByName)},
                {"CreateInstance", Routine(&NewInstanceByReference)},
                {"pluginObjectType", Routine(&ClassReference)},
                {"ZYNEGetPropValueInt", Routine(&GetProperty<long, kInteger>)},
                {"ZYNEGetPropValueDouble", Routine(&GetProperty<double, kDouble>)},
                {"ZYNEGetPropValueBool", Routine(&GetProperty<unsigned char, kBoolean>)},
                {"ZYNEGetPropValueString", Routine(&GetProperty<ZYNEstring, kString>)},
                {"ZYNEGetPropValueObject", Routine(&GetProperty<ZYNEobject, kObject>)},
                {"ZYNESetPropValueInt", Routine(&SetProperty<long, long, kInteger>)},
                {"ZYNESetPropValueDouble", Routine(&SetProperty<double, double, kDouble>)},
                {"ZYNESetPropValueBoolean",
                 Routine(&SetProperty<unsigned char, unsigned long, kBoolean>)},
                {"ZYNESetPropValueString", Routine(&SetProperty<ZYNEstring, ZYNEstring, kString>)},
                {"ZYNESetPropValueObject", Routine(&SetProperty<ZYNEobject, ZYNEobject, kObject>)},
                {"ZYNELoadObjectMethod", Routine(&LoadObjectMethod)},
                // Kept on purpose: guests get no graphics and no invalidation at design time.
                {"ZYNEGetControlGraphics", nullptr},
                {"ZYNEInvalidateControl", nullptr},
                {"PluginDefaultControlFont", Routine(&GetDefaultFont)},
                {"PluginDefaultControlFontSize", Routine(&DefaultControlFontSize)},
                {"PluginRegisterStructure",
                 Routine(&CaptureRecord<ZYNEstructure, &PD::structures>)},
                {"PluginRegisterEnum", Routine(&CaptureRecord<ZYNEenum, &PD::enums>)},
            };
            static_assert(sizeof rows / sizeof rows[0] == 52, "the table answers 52 names");
            for (const InterceptRow& row : rows) map.AddEntry(string(row.name), row.answer);
        }
    } table;
    return table.map;
}

}  // namespace

void* BridgeResolve(const char* name, ZYNEResolver hostResolver, bool* intercepted) {
    void* answer = nullptr;
    if (InterceptTable().GetEntry(string(name), answer)) {
        if (intercepted != nullptr) *intercepted = true;
        return answer;
    }
    if (intercepted != nullptr) *intercepted = false;
    return hostResolver != nullptr ? hostResolver(name) : nullptr;
}

void* GuestResolver(const char* name) {
    return BridgeResolve(name, gResolver, nullptr);
}

StringMap<PluginDefinition*>& ClassOwnerMap() {
    return gClassOwners;
}

StringMap<char*>& ClassReferenceMap() {
    return gClassReferences;
}

void ForgetClassOwner(const PluginDefinition* record) {
    if (record == nullptr) return;
    // Replacing a value keeps the entry and its place; the map never shrinks.
    for (auto* entry = gClassOwners.FirstEntry(); entry != nullptr; entry = entry->nextInOrder) {
        if (entry->value == record) gClassOwners.AddEntry(entry->key, nullptr);
    }
}
