// HostProperties.cpp - the property services: "ZYNEGetPropValue<type>" and
// "ZYNESetPropValue<type>" on variants and on objects of registered classes.
//
// A property is found by name (any case) in the object's class, then up its superclass
// chain, through the class's property records; its type word decides how its value is
// held: "Integer", "Int32", "UInt32" and "Color" as a word, "Int64" and "UInt64" as 64
// bits, "Double", "Single", "Boolean" (one byte), "String", "Ptr" (a raw pointer), and
// anything else as an object. A direct field is read or written in the declaring
// class's data and must lie inside it; otherwise the getter is called as (object, param)
// and the setter as (object, param, value).
//
// Values convert between integers, reals and booleans (true is 1, reals truncate); a
// string or object is only read or written as one. A variant's value properties
// ("IntegerValue", ...) are read with the variant's own conversions (HostVariants.cpp).
// Every service answers 1 when it read or wrote the value and 0 otherwise; a string or
// object read carries a reference for the caller, one written is borrowed.
#include <cmath>

#include "HostValues.h"

namespace zyne::host {

namespace {

using detail::PropertyValue;
using Kind = PropertyValue::Kind;

constexpr int kMaxChain = 1000;

// How a property holds its value.
enum class Native { kWord, kWide, kReal, kSingle, kBoolean, kString, kObject, kPointer };

Native NativeOf(const char* type) {
    const std::string_view word = type != nullptr ? type : "";
    using detail::SameName;
    if (SameName(word, "Integer") || SameName(word, "Int32") || SameName(word, "UInt32") ||
        SameName(word, "Color"))
        return Native::kWord;
    if (SameName(word, "Int64") || SameName(word, "UInt64")) return Native::kWide;
    if (SameName(word, "Double")) return Native::kReal;
    if (SameName(word, "Single")) return Native::kSingle;
    if (SameName(word, "Boolean")) return Native::kBoolean;
    if (SameName(word, "String")) return Native::kString;
    if (SameName(word, "Ptr")) return Native::kPointer;
    return Native::kObject;
}

Kind KindOf(Native native) {
    switch (native) {
        case Native::kWord:
        case Native::kWide:
            return Kind::kInteger;
        case Native::kReal:
        case Native::kSingle:
            return Kind::kReal;
        case Native::kBoolean:
            return Kind::kBoolean;
        case Native::kString:
            return Kind::kString;
        case Native::kObject:
        case Native::kPointer:
            return Kind::kObject;
    }
    return Kind::kObject;
}

size_t SizeOf(Native native) {
    switch (native) {
        case Native::kWord:
            return sizeof(long);
        case Native::kWide:
            return sizeof(long long);
        case Native::kReal:
            return sizeof(double);
        case Native::kSingle:
            return sizeof(float);
        case Native::kBoolean:
            return 1;
        case Native::kString:
            return sizeof(ZYNEstring);
        case Native::kObject:
        case Native::kPointer:
            return sizeof(void*);
    }
    return sizeof(void*);
}

// Whether a value of kind `from` can be given as kind `to`.
bool Converts(Kind from, Kind to) {
    const auto numeric = [](Kind k) {
        return k == Kind::kInteger || k == Kind::kReal || k == Kind::kBoolean;
    };
    return from == to || (numeric(from) && numeric(to));
}

// `value` as kind `to`; Converts(value.kind, to) must hold. A real too large for an
// integer gives nothing.
std::optional<PropertyValue> Convert(const PropertyValue& value, Kind to) {
    if (value.kind == to) return value;
    PropertyValue result;
    result.kind = to;
    const double real = value.kind == Kind::kReal      ? value.real
                        : value.kind == Kind::kInteger ? static_cast<double>(value.integer)
                                                       : (value.boolean ? 1.0 : 0.0);
    switch (to) {
        case Kind::kInteger:
            if (value.kind == Kind::kBoolean) {
                result.integer = value.boolean ? 1 : 0;
            } else {
                if (!std::isfinite(real) || std::fabs(real) >= 9.2e18) return std::nullopt;
                result.integer = static_cast<long long>(real);
            }
            return result;
        case Kind::kReal:
            result.real = real;
            return result;
        case Kind::kBoolean:
            result.boolean = value.kind == Kind::kInteger ? value.integer != 0 : real != 0;
            return result;
        case Kind::kString:
        case Kind::kObject:
            break;
    }
    return std::nullopt;
}

struct Found {
    const ZYNEproperty* property = nullptr;
    char* data = nullptr;  // the declaring class's data in the object
    long dataSize = 0;
};

Found FindProperty(detail::HostState& state, ZYNEobject object, const char* name) {
    const ClassInfo* info = state.ClassInfoOf(object);
    if (info == nullptr || name == nullptr) return {};
    int depth = 0;
    for (const ClassInfo* c = info; c != nullptr && depth < kMaxChain; c = c->superclass, ++depth) {
        const ZYNEclassDefinition* record = c->record;
        if (record == nullptr || record->properties == nullptr) continue;
        for (long i = 0; i < record->propertyCount; ++i) {
            const ZYNEproperty& p = record->properties[i];
            if (p.name != nullptr && detail::SameName(p.name, name))
                return {&p, reinterpret_cast<char*>(object) + record->dataOffset, record->dataSize};
        }
    }
    return {};
}

// The field of a direct-field property; null when it lies outside the class's data.
char* FieldOf(const Found& found, Native native) {
    const long param = found.property->param;
    if (param < 0 || found.dataSize < 0 ||
        static_cast<unsigned long>(param) + SizeOf(native) >
            static_cast<unsigned long>(found.dataSize))
        return nullptr;
    return found.data + param;
}

template <class T>
T Load(const char* field) {
    T value;
    std::memcpy(&value, field, sizeof value);
    return value;
}

template <class T>
void StoreAt(char* field, T value) {
    std::memcpy(field, &value, sizeof value);
}

template <class R, class... A>
R CallRoutine(void* routine, A... args) {
    return reinterpret_cast<R (*)(A...)>(routine)(args...);
}

// Reads the property as kind `want`; nothing when there is no such property, no getter,
// no conversion, or a field out of bounds.
std::optional<PropertyValue> Read(detail::HostState& state, ZYNEobject object, const char* name,
                                  Kind want) {
    if (state.ClassInfoOf(object) == &detail::VariantClass()) {
        const std::string_view property = name != nullptr ? name : "";
        const Kind own = detail::SameName(property, "DoubleValue")    ? Kind::kReal
                         : detail::SameName(property, "BooleanValue") ? Kind::kBoolean
                         : detail::SameName(property, "StringValue")  ? Kind::kString
                                                                      : Kind::kInteger;
        if (!Converts(own, want)) return std::nullopt;
        const std::optional<PropertyValue> value =
            detail::ReadVariantValue(state, object, property);
        return value ? Convert(*value, want) : std::nullopt;
    }

    const Found found = FindProperty(state, object, name);
    if (found.property == nullptr || found.property->getter == nullptr) return std::nullopt;
    const Native native = NativeOf(found.property->type);
    if (!Converts(KindOf(native), want)) return std::nullopt;

    PropertyValue value;
    value.kind = KindOf(native);
    void* getter = found.property->getter;
    const long param = found.property->param;
    if (getter == ZYNE_DIRECT_FIELD) {
        const char* field = FieldOf(found, native);
        if (field == nullptr) return std::nullopt;
        switch (native) {
            case Native::kWord:
                value.integer = Load<long>(field);
                break;
            case Native::kWide:
                value.integer = Load<long long>(field);
                break;
            case Native::kReal:
                value.real = Load<double>(field);
                break;
            case Native::kSingle:
                value.real = Load<float>(field);
                break;
            case Native::kBoolean:
                value.boolean = *field != 0;
                break;
            case Native::kString:
                // The field keeps its reference; the caller gets one of its own.
                value.string = Load<ZYNEstring>(field);
                state.LockString(value.string, "ZYNEGetPropValueString");
                break;
            case Native::kObject:
                value.object = Load<void*>(field);
                state.LockObject(static_cast<ZYNEobject>(value.object), "ZYNEGetPropValueObject");
                break;
            case Native::kPointer:
                value.object = Load<void*>(field);
                break;
        }
    } else {
        switch (native) {
            case Native::kWord:
                value.integer = CallRoutine<long>(getter, object, param);
                break;
            case Native::kWide:
                value.integer = CallRoutine<long long>(getter, object, param);
                break;
            case Native::kReal:
                value.real = CallRoutine<double>(getter, object, param);
                break;
            case Native::kSingle:
                value.real = CallRoutine<float>(getter, object, param);
                break;
            case Native::kBoolean:
                value.boolean = CallRoutine<unsigned char>(getter, object, param) != 0;
                break;
            // A getter's string or object carries the caller's reference already.
            case Native::kString:
                value.string = CallRoutine<ZYNEstring>(getter, object, param);
                break;
            case Native::kObject:
            case Native::kPointer:
                value.object = CallRoutine<void*>(getter, object, param);
                break;
        }
    }
    return Convert(value, want);
}

// Writes `value` into the property; false when there is no such property, it is
// read-only, the value does not convert or a field is out of bounds.
bool Write(detail::HostState& state, ZYNEobject object, const char* name,
           const PropertyValue& value) {
    const Found found = FindProperty(state, object, name);
    if (found.property == nullptr || found.property->setter == nullptr) return false;
    const Native native = NativeOf(found.property->type);
    if (!Converts(value.kind, KindOf(native))) return false;
    const std::optional<PropertyValue> converted = Convert(value, KindOf(native));
    if (!converted) return false;
    const PropertyValue& v = *converted;

    void* setter = found.property->setter;
    const long param = found.property->param;
    if (setter == ZYNE_DIRECT_FIELD) {
        char* field = FieldOf(found, native);
        if (field == nullptr) return false;
        switch (native) {
            case Native::kWord:
                StoreAt<long>(field, static_cast<long>(v.integer));
                break;
            case Native::kWide:
                StoreAt<long long>(field, v.integer);
                break;
            case Native::kReal:
                StoreAt<double>(field, v.real);
                break;
            case Native::kSingle:
                StoreAt<float>(field, static_cast<float>(v.real));
                break;
            case Native::kBoolean:
                *field = v.boolean ? 1 : 0;
                break;
            case Native::kString: {
                // The field takes a reference of its own and gives up the old one.
                state.LockString(v.string, "ZYNESetPropValueString");
                const ZYNEstring old = Load<ZYNEstring>(field);
                StoreAt<ZYNEstring>(field, v.string);
                state.UnlockString(old, "ZYNESetPropValueString");
                break;
            }
            case Native::kObject: {
                state.LockObject(static_cast<ZYNEobject>(v.object), "ZYNESetPropValueObject");
                const auto old = Load<ZYNEobject>(field);
                StoreAt<void*>(field, v.object);
                state.UnlockObject(old, "ZYNESetPropValueObject");
                break;
            }
            case Native::kPointer:
                StoreAt<void*>(field, v.object);
                break;
        }
        return true;
    }
    switch (native) {
        case Native::kWord:
            CallRoutine<void>(setter, object, param, static_cast<long>(v.integer));
            break;
        case Native::kWide:
            CallRoutine<void>(setter, object, param, v.integer);
            break;
        case Native::kReal:
            CallRoutine<void>(setter, object, param, v.real);
            break;
        case Native::kSingle:
            CallRoutine<void>(setter, object, param, static_cast<float>(v.real));
            break;
        case Native::kBoolean:
            CallRoutine<void>(setter, object, param, static_cast<unsigned char>(v.boolean ? 1 : 0));
            break;
        case Native::kString:
            CallRoutine<void>(setter, object, param, v.string);
            break;
        case Native::kObject:
        case Native::kPointer:
            CallRoutine<void>(setter, object, param, v.object);
            break;
    }
    return true;
}

// A service name as a template argument.
template <size_t N>
struct ServiceName {
    char text[N];
    constexpr ServiceName(const char (&name)[N]) {
        for (size_t i = 0; i < N; ++i) text[i] = name[i];
    }
};

// The value class a service's value type belongs to.
template <class T>
constexpr Kind kKindOf = std::is_same_v<T, ZYNEstring>      ? Kind::kString
                         : std::is_pointer_v<T>             ? Kind::kObject
                         : std::is_floating_point_v<T>      ? Kind::kReal
                         : std::is_same_v<T, unsigned char> ? Kind::kBoolean
                                                            : Kind::kInteger;

template <ServiceName Name, class T>
unsigned char GetPropValue(ZYNEobject object, const char* name, T* out) {
    detail::HostState& state = detail::CurrentState();
    state.Called(Name.text, object, name);
    constexpr Kind want = kKindOf<T>;
    const std::optional<PropertyValue> value = Read(state, object, name, want);
    if (!value) return 0;
    if (out == nullptr) {
        if (want == Kind::kString) state.UnlockString(value->string, Name.text);
        return 1;
    }
    if constexpr (want == Kind::kString) {
        *out = value->string;
    } else if constexpr (want == Kind::kObject) {
        *out = static_cast<T>(value->object);
    } else if constexpr (want == Kind::kReal) {
        *out = static_cast<T>(value->real);
    } else if constexpr (want == Kind::kBoolean) {
        *out = value->boolean ? 1 : 0;
    } else {
        *out = static_cast<T>(value->integer);
    }
    return 1;
}

// `want` is given apart from CT: the boolean setter receives its byte widened to a word.
template <ServiceName Name, class CT, Kind want>
unsigned char SetPropValue(ZYNEobject object, const char* name, CT value) {
    detail::HostState& state = detail::CurrentState();
    state.Called(Name.text, object, name, value);
    PropertyValue given;
    given.kind = want;
    if constexpr (want == Kind::kString) {
        given.string = value;
    } else if constexpr (want == Kind::kObject) {
        given.object = value;
    } else if constexpr (want == Kind::kReal) {
        given.real = static_cast<double>(value);
    } else if constexpr (want == Kind::kBoolean) {
        given.boolean = value != 0;
    } else {
        given.integer = static_cast<long long>(value);
    }
    return Write(state, object, name, given) ? 1 : 0;
}

template <ServiceName Name, class T>
detail::ServiceRow Getter() {
    return {Name.text, reinterpret_cast<void*>(&GetPropValue<Name, T>)};
}

template <ServiceName Name, class CT, Kind want = kKindOf<CT>>
detail::ServiceRow Setter() {
    return {Name.text, reinterpret_cast<void*>(&SetPropValue<Name, CT, want>)};
}

// Deliberate: the 8-bit getter is "...Bool" and its setter "...Boolean"; narrow setter
// values arrive widened to a word.
const detail::ServiceRow kPropertyServices[] = {
    Getter<"ZYNEGetPropValueInt", long>(),
    Getter<"ZYNEGetPropValueUInt32", unsigned long>(),
    Getter<"ZYNEGetPropValueInt16", short>(),
    Getter<"ZYNEGetPropValueUInt16", unsigned short>(),
    Getter<"ZYNEGetPropValueInt8", char>(),
    Getter<"ZYNEGetPropValueInt64", long long>(),
    Getter<"ZYNEGetPropValueUInt64", unsigned long long>(),
    Getter<"ZYNEGetPropValueBool", unsigned char>(),
    Getter<"ZYNEGetPropValueDouble", double>(),
    Getter<"ZYNEGetPropValueSingle", float>(),
    Getter<"ZYNEGetPropValueString", ZYNEstring>(),
    Getter<"ZYNEGetPropValueObject", ZYNEobject>(),
    Getter<"ZYNEGetPropValuePtr", void*>(),
    Setter<"ZYNESetPropValueInt", long>(),
    Setter<"ZYNESetPropValueUInt32", unsigned long>(),
    Setter<"ZYNESetPropValueInt16", long>(),
    Setter<"ZYNESetPropValueUInt16", unsigned long>(),
    Setter<"ZYNESetPropValueInt8", long>(),
    Setter<"ZYNESetPropValueInt64", long long>(),
    Setter<"ZYNESetPropValueUInt64", unsigned long long>(),
    Setter<"ZYNESetPropValueBoolean", unsigned long, Kind::kBoolean>(),
    Setter<"ZYNESetPropValueDouble", double>(),
    Setter<"ZYNESetPropValueSingle", float>(),
    Setter<"ZYNESetPropValueString", ZYNEstring>(),
    Setter<"ZYNESetPropValueObject", ZYNEobject>(),
    Setter<"ZYNESetPropValuePtr", void*>(),
};

}  // namespace

std::span<const detail::ServiceRow> detail::PropertyServices() {
    return kPropertyServices;
}

}  // namespace zyne::host
