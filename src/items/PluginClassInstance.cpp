// PluginClassInstance.cpp - design-time instances of guest classes and their "Prop" method.
//
// A PluginClassInstance object holds the guest's class record and a fixed area that
// stands in for the guest's own instance data; the guest's getters, setters and
// constructor see that area. Prop converts between host variants and the guest's
// native values by the property's type word: integer, double, boolean, string, color.
// Not here: the guest's destructor (a design-time instance never runs it), shared
// properties, and instances of controls.
#include "items/PluginClassInstance.h"

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "bridge/ClassTables.h"
#include "core/ByteRoutines.h"
#include "core/string.h"

using zyne::bridge::CountOf;
using zyne::bridge::Routine;

namespace {

// The instance data: the guest's record, then its data area.
struct InstanceData {
    ZYNEclassDefinition* guestClass;
    unsigned char guestData[kPluginClassInstanceGuestDataSize];
};
static_assert(offsetof(InstanceData, guestData) == sizeof(void*),
              "the guest's data starts one word into the instance data");
static_assert(sizeof(InstanceData) == sizeof(void*) + kPluginClassInstanceGuestDataSize,
              "no padding after the guest's data");

InstanceData* DataOf(ZYNEobject instance) {
    if (instance == nullptr) return nullptr;
    return static_cast<InstanceData*>(
        ZYNEGetClassData(instance, &PluginClassInstanceClassDefinition));
}

// The property type words Prop understands, in the order they are tested.
enum class ValueKind { kUnknown, kInteger, kDouble, kBoolean, kString, kColor };

ValueKind KindOf(const char* type) {
    if (type == nullptr) return ValueKind::kUnknown;
    if (ustrcmpi(type, "integer") == 0) return ValueKind::kInteger;
    if (ustrcmpi(type, "double") == 0) return ValueKind::kDouble;
    if (ustrcmpi(type, "boolean") == 0) return ValueKind::kBoolean;
    if (ustrcmpi(type, "string") == 0) return ValueKind::kString;
    if (ustrcmpi(type, "color") == 0) return ValueKind::kColor;
    return ValueKind::kUnknown;
}

size_t FieldSize(ValueKind kind) {
    switch (kind) {
        case ValueKind::kDouble:
            return sizeof(double);
        case ValueKind::kBoolean:
            return 1;
        case ValueKind::kString:
            return sizeof(ZYNEstring);
        default:
            return sizeof(long);
    }
}

// The field of a direct-field property inside the guest's data; null when it does not
// fit there (the offset comes from the guest's record).
unsigned char* FieldAt(const GuestProperties& target, long param, ValueKind kind) {
    if (param < 0 || static_cast<unsigned long>(param) + FieldSize(kind) > target.dataSize)
        return nullptr;
    return target.data + param;
}

bool NameMatches(const ZYNEproperty& property, const char* name, unsigned long length) {
    if (property.name == nullptr) return false;
    return ustrcmpi(property.name, static_cast<unsigned>(strlen(property.name)), name,
                    static_cast<unsigned>(length)) == 0;
}

template <class T>
T ReadField(const unsigned char* field) {
    T value;
    memcpy(&value, field, sizeof value);
    return value;
}

template <class T>
void WriteField(unsigned char* field, T value) {
    memcpy(field, &value, sizeof value);
}

// Readies the guest's record for a call into one of its routines.
void Bind(const GuestProperties& target) {
    if (target.dataOffset != nullptr) *target.dataOffset = target.dataOffsetValue;
}

template <class T>
T CallGetter(const GuestProperties& target, const ZYNEproperty& property) {
    Bind(target);
    return reinterpret_cast<T (*)(void*, long)>(property.getter)(target.routineArgument,
                                                                 property.param);
}

// Reads one property into a new variant; nil when it cannot be read.
ZYNEobject ReadProperty(const GuestProperties& target, const ZYNEproperty& property) {
    if (property.getter == nullptr) return nullptr;
    const ValueKind kind = KindOf(property.type);
    if (kind == ValueKind::kUnknown) return nullptr;

    if (property.getter == ZYNE_DIRECT_FIELD) {
        const unsigned char* field = FieldAt(target, property.param, kind);
        if (field == nullptr) return nullptr;
        switch (kind) {
            case ValueKind::kInteger:
                return ZYNENewVariantInteger(ReadField<long>(field));
            case ValueKind::kDouble:
                return ZYNENewVariantDouble(ReadField<double>(field));
            case ValueKind::kBoolean:
                return ZYNENewVariantBoolean(*field);
            // The field keeps its own reference; the variant takes one of its own.
            case ValueKind::kString:
                return ZYNENewVariantString(ReadField<ZYNEstring>(field));
            case ValueKind::kColor:
                return ZYNENewVariantColor(ReadField<long>(field));
            case ValueKind::kUnknown:
                break;
        }
        return nullptr;
    }

    switch (kind) {
        case ValueKind::kInteger:
            return ZYNENewVariantInteger(CallGetter<long>(target, property));
        case ValueKind::kDouble:
            return ZYNENewVariantDouble(CallGetter<double>(target, property));
        case ValueKind::kBoolean:
            return ZYNENewVariantBoolean(CallGetter<unsigned char>(target, property));
        case ValueKind::kString: {
            // A getter hands over a reference of its own, given up once wrapped.
            ZYNEstring text = CallGetter<ZYNEstring>(target, property);
            ZYNEobject variant = ZYNENewVariantString(text);
            ZYNEUnlockString(text);
            return variant;
        }
        case ValueKind::kColor:
            return ZYNENewVariantColor(CallGetter<long>(target, property));
        case ValueKind::kUnknown:
            break;
    }
    return nullptr;
}

// What one assignment did: stored the value, left the property alone (a type Prop does
// not know, or a field outside the data), or stopped the walk (no setter, or the variant
// cannot give the value).
enum class Assigned { kStored, kSkipped, kStop };

template <class T>
Assigned Store(const GuestProperties& target, const ZYNEproperty& property, ValueKind kind,
               T value) {
    if (property.setter == ZYNE_DIRECT_FIELD) {
        unsigned char* field = FieldAt(target, property.param, kind);
        if (field == nullptr) return Assigned::kSkipped;
        WriteField<T>(field, value);
        return Assigned::kStored;
    }
    Bind(target);
    reinterpret_cast<void (*)(void*, long, T)>(property.setter)(target.routineArgument,
                                                                property.param, value);
    return Assigned::kStored;
}

Assigned AssignProperty(const GuestProperties& target, const ZYNEproperty& property,
                        ZYNEobject value) {
    if (property.setter == nullptr) return Assigned::kStop;
    const ValueKind kind = KindOf(property.type);
    switch (kind) {
        case ValueKind::kInteger:
        case ValueKind::kColor: {
            long number = 0;
            if (!ZYNEGetPropValue(value, "IntegerValue", &number)) return Assigned::kStop;
            return Store<long>(target, property, kind, number);
        }
        case ValueKind::kDouble: {
            double number = 0;
            if (!ZYNEGetPropValue(value, "DoubleValue", &number)) return Assigned::kStop;
            return Store<double>(target, property, kind, number);
        }
        case ValueKind::kBoolean: {
            unsigned char flag = 0;
            if (!ZYNEGetPropValue(value, "BooleanValue", &flag)) return Assigned::kStop;
            if (target.booleansAsBit) flag = flag != 0 ? 1 : 0;
            return Store<unsigned char>(target, property, kind, flag);
        }
        case ValueKind::kString: {
            ZYNEstring text = nullptr;
            if (!ZYNEGetPropValue(value, "StringValue", &text)) return Assigned::kStop;
            if (property.setter != ZYNE_DIRECT_FIELD) {
                Store<ZYNEstring>(target, property, kind, text);
                ZYNEUnlockString(text);
                return Assigned::kStored;
            }
            // The field takes over the reference just read; the one it held goes.
            unsigned char* field = FieldAt(target, property.param, kind);
            if (field == nullptr) {
                ZYNEUnlockString(text);
                return Assigned::kSkipped;
            }
            ZYNEUnlockString(ReadField<ZYNEstring>(field));
            WriteField<ZYNEstring>(field, text);
            return Assigned::kStored;
        }
        case ValueKind::kUnknown:
            break;
    }
    return Assigned::kSkipped;
}

// The properties of a live instance with a guest record; a list of none otherwise.
GuestProperties PropertiesOf(ZYNEobject self) {
    InstanceData* data = DataOf(self);
    if (data == nullptr || data->guestClass == nullptr) return {};
    const ZYNEclassDefinition* guest = data->guestClass;
    // The guest's routines are handed its data area, not the host object.
    return {.list = guest->properties,
            .count = guest->propertyCount,
            .data = data->guestData,
            .dataSize = sizeof data->guestData,
            .routineArgument = data->guestData};
}

// ----- The host class "PluginClassInstance" -----------------------------------------------

ZYNEobject PropGetter(ZYNEobject self, ZYNEstring propertyName) {
    unsigned long length = 0;
    const char* name = ZYNEGetStringContents(propertyName, &length);
    return GuestPropertyRead(PropertiesOf(self), name, length);
}

void PropSetter(ZYNEobject self, ZYNEstring propertyName, ZYNEobject value) {
    unsigned long length = 0;
    const char* name = ZYNEGetStringContents(propertyName, &length);
    GuestPropertyAssign(PropertiesOf(self), name, length, value);
}

ZYNEmethodDefinition PluginClassInstanceMethods[] = {
    {Routine(&PropGetter), Routine(&PropSetter), "Prop( propertyName as string ) as Variant", 0},
};

}  // namespace

ZYNEclassDefinition PluginClassInstanceClassDefinition = {
    .version = ZYNE_RECORD_VERSION,
    .name = "PluginClassInstance",
    .superName = nullptr,
    .dataSize = sizeof(InstanceData),  // 4100 bytes on i386: one word and the guest's 4K
    .dataOffset = 0,
    .constructor = nullptr,
    .destructor = nullptr,
    .properties = nullptr,
    .propertyCount = 0,
    .methods = PluginClassInstanceMethods,
    .methodCount = CountOf(PluginClassInstanceMethods),
    .events = nullptr,
    .eventCount = 0,
    .eventInstances = nullptr,
    .eventInstanceCount = 0,
    .interfaces = nullptr,
    .reserved16 = nullptr,
    .reserved17 = nullptr,
    .constants = nullptr,
    .constantCount = 0,
    .flags = 0,
    .sharedProperties = nullptr,
    .sharedPropertyCount = 0,
    .sharedMethods = nullptr,
    .sharedMethodCount = 0,
};

ZYNEobject PluginClassInstanceCreateFromDefinition(ZYNEclassDefinition* record) {
    if (record == nullptr) return nullptr;
    // The guest's own ZYNEGetClassData(instance, record) must land on the guest area.
    record->dataOffset =
        PluginClassInstanceClassDefinition.dataOffset + static_cast<long>(sizeof(void*));
    if (record->dataSize > kPluginClassInstanceGuestDataSize) {
        string message("Couldn't create instance of ");
        message += record->name != nullptr ? record->name : "";
        // Kept on purpose: no blank before "because", no line end, and the message is
        // the format string itself.
        message += "because the instance data is more than 4K.";
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        fprintf(stderr, message.CString());
#pragma GCC diagnostic pop
        fflush(stderr);
        return nullptr;  // the data offset written above stays
    }
    ZYNEobject instance = ZYNEnewInstance("PluginClassInstance");
    InstanceData* data = DataOf(instance);
    if (data == nullptr) return nullptr;
    data->guestClass = record;
    if (record->constructor != nullptr) record->constructor(instance);
    return instance;
}

ZYNEclassDefinition* PluginClassInstanceGuestClass(ZYNEobject instance) {
    InstanceData* data = DataOf(instance);
    return data != nullptr ? data->guestClass : nullptr;
}

void* PluginClassInstanceGuestData(ZYNEobject instance) {
    InstanceData* data = DataOf(instance);
    return data != nullptr ? data->guestData : nullptr;
}

ZYNEobject GuestPropertyRead(const GuestProperties& target, const char* name,
                             unsigned long length) {
    if (target.list == nullptr) return nullptr;
    for (long i = 0; i < target.count; ++i) {
        const ZYNEproperty& property = target.list[i];
        if (NameMatches(property, name, length)) return ReadProperty(target, property);
    }
    return nullptr;
}

bool GuestPropertyAssign(const GuestProperties& target, const char* name, unsigned long length,
                         ZYNEobject value) {
    if (target.list == nullptr) return false;
    bool stored = false;
    // Deliberate: every property of the name is assigned, not only the first.
    for (long i = 0; i < target.count; ++i) {
        const ZYNEproperty& property = target.list[i];
        if (!NameMatches(property, name, length)) continue;
        const Assigned result = AssignProperty(target, property, value);
        if (result == Assigned::kStop) break;
        if (result == Assigned::kStored) stored = true;
    }
    return stored;
}
