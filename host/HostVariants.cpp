// HostVariants.cpp - the host's variants: objects holding one integer, double, boolean,
// colour or string, made by the "...ToVariant" services and read back with conversion.
//
// A variant is a host object of a class the host keeps to itself (never registered, so
// "PluginNewInstance" cannot make one). Its instance data:
//
//   OFFSET  SIZE     FIELD    MEANING
//   0       1 word   kind     VariantKind below
//   ...     8        integer  integer, colour and boolean (0 or 1) values
//   ...     8        real     double values
//   ...     1 word   text     string values: one reference, released with the variant
//
// Its value properties "IntegerValue", "DoubleValue", "BooleanValue", "StringValue" and
// "ColorValue" convert between the kinds: numbers and booleans freely (true is 1), any
// kind to text, and text to a number or boolean only when the whole text (blanks aside)
// is one. Assigning a value property turns the variant into that kind.
// Not here: the other "...ToVariant" services (CString, Int64, structures, ...).
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "HostOnlyClass.h"
#include "HostValues.h"

namespace zyne::host {

namespace {

enum class VariantKind : long { kInteger = 1, kDouble, kBoolean, kColor, kString };

struct VariantData {
    VariantKind kind;
    long long integer;
    double real;
    ZYNEstring text;
};

VariantData* DataOf(ZYNEobject variant) {
    return reinterpret_cast<VariantData*>(reinterpret_cast<char*>(variant) +
                                          ReferenceHost::kObjectHeaderSize);
}

// The variant's data, or null when `object` is not a live variant.
VariantData* LiveVariant(const detail::HostState& state, ZYNEobject object) {
    return state.ClassInfoOf(object) == &detail::VariantClass() ? DataOf(object) : nullptr;
}

std::string Trim(std::string text) {
    const char* blanks = " \t\r\n\v\f";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<long long> ParseInteger(const std::string& text) {
    long long value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || text.empty()) return std::nullopt;
    return value;
}

std::optional<double> ParseReal(const std::string& text) {
    if (text.empty()) return std::nullopt;
    char* stop = nullptr;
    const double value = std::strtod(text.c_str(), &stop);
    if (stop != text.c_str() + text.size()) return std::nullopt;
    return value;
}

std::optional<long long> AsInteger(const VariantData& v) {
    switch (v.kind) {
        case VariantKind::kInteger:
        case VariantKind::kColor:
        case VariantKind::kBoolean:
            return v.integer;
        case VariantKind::kDouble:
            // Truncated toward zero; a value no integer can hold gives nothing.
            if (!std::isfinite(v.real) || std::fabs(v.real) >= 9.2e18) return std::nullopt;
            return static_cast<long long>(v.real);
        case VariantKind::kString: {
            const std::string text = Trim(ReferenceHost::Text(v.text));
            if (auto integer = ParseInteger(text)) return integer;
            const std::optional<double> real = ParseReal(text);
            if (!real || !std::isfinite(*real) || std::fabs(*real) >= 9.2e18) return std::nullopt;
            return static_cast<long long>(*real);
        }
    }
    return std::nullopt;
}

std::optional<double> AsReal(const VariantData& v) {
    switch (v.kind) {
        case VariantKind::kInteger:
        case VariantKind::kColor:
        case VariantKind::kBoolean:
            return static_cast<double>(v.integer);
        case VariantKind::kDouble:
            return v.real;
        case VariantKind::kString:
            return ParseReal(Trim(ReferenceHost::Text(v.text)));
    }
    return std::nullopt;
}

std::optional<bool> AsBoolean(const VariantData& v) {
    switch (v.kind) {
        case VariantKind::kInteger:
        case VariantKind::kColor:
        case VariantKind::kBoolean:
            return v.integer != 0;
        case VariantKind::kDouble:
            return v.real != 0;
        case VariantKind::kString: {
            const std::string text = Trim(ReferenceHost::Text(v.text));
            if (detail::SameName(text, "true")) return true;
            if (detail::SameName(text, "false")) return false;
            const std::optional<double> real = ParseReal(text);
            if (!real) return std::nullopt;
            return *real != 0;
        }
    }
    return std::nullopt;
}

// A string for the caller (one reference): the variant's own text, or new text.
ZYNEstring AsString(detail::HostState& state, const VariantData& v) {
    constexpr unsigned long kASCII = 0x600;
    char text[64];
    switch (v.kind) {
        case VariantKind::kString:
            if (v.text == nullptr) return state.NewString("", 0, kASCII);
            state.LockString(v.text, "StringValue");
            return v.text;
        case VariantKind::kInteger:
            std::snprintf(text, sizeof text, "%lld", v.integer);
            break;
        case VariantKind::kDouble:
            std::snprintf(text, sizeof text, "%.15g", v.real);
            break;
        case VariantKind::kBoolean:
            std::snprintf(text, sizeof text, "%s", v.integer ? "True" : "False");
            break;
        case VariantKind::kColor:
            std::snprintf(text, sizeof text, "&c%06llX",
                          static_cast<unsigned long long>(v.integer) & 0xFFFFFF);
            break;
    }
    return state.NewString(text, static_cast<long>(std::strlen(text)), kASCII);
}

// Makes a variant (count 1) and gives it its value; a string is locked for the variant.
ZYNEobject MakeVariant(detail::HostState& state, VariantKind kind, long long integer, double real,
                       ZYNEstring text) {
    ZYNEobject variant = state.NewObject(&detail::VariantClass());
    if (variant == nullptr) return nullptr;
    VariantData* data = DataOf(variant);
    data->kind = kind;
    data->integer = integer;
    data->real = real;
    data->text = text;
    state.LockString(text, "StringToVariant");
    return variant;
}

// Turns a variant into another kind; the old text, if any, is released.
void Become(ZYNEobject self, VariantKind kind, long long integer, double real, ZYNEstring text) {
    detail::HostState& state = detail::CurrentState();
    VariantData* data = LiveVariant(state, self);
    if (data == nullptr) return;
    state.LockString(text, "StringValue");
    ZYNEstring old = data->text;
    *data = {kind, integer, real, text};
    state.UnlockString(old, "StringValue");
}

// --- The variant class ----------------------------------------------------------------------

void DestroyVariant(ZYNEobject self) {
    detail::HostState& state = detail::CurrentState();
    VariantData* data = DataOf(self);
    state.UnlockString(data->text, "variant destructor");
    data->text = nullptr;
}

// Value property routines, for Get/Set and the property services' writes. A value that
// cannot be converted reads as 0 here; the property services ask ReadVariantValue first.
long IntegerValueGetter(ZYNEobject self, long) {
    const VariantData* data = LiveVariant(detail::CurrentState(), self);
    return data != nullptr ? static_cast<long>(AsInteger(*data).value_or(0)) : 0;
}
double DoubleValueGetter(ZYNEobject self, long) {
    const VariantData* data = LiveVariant(detail::CurrentState(), self);
    return data != nullptr ? AsReal(*data).value_or(0) : 0;
}
unsigned char BooleanValueGetter(ZYNEobject self, long) {
    const VariantData* data = LiveVariant(detail::CurrentState(), self);
    return data != nullptr && AsBoolean(*data).value_or(false) ? 1 : 0;
}
ZYNEstring StringValueGetter(ZYNEobject self, long) {
    detail::HostState& state = detail::CurrentState();
    const VariantData* data = LiveVariant(state, self);
    return data != nullptr ? AsString(state, *data) : nullptr;
}
void IntegerValueSetter(ZYNEobject self, long, long value) {
    Become(self, VariantKind::kInteger, value, 0, nullptr);
}
void DoubleValueSetter(ZYNEobject self, long, double value) {
    Become(self, VariantKind::kDouble, 0, value, nullptr);
}
void BooleanValueSetter(ZYNEobject self, long, unsigned char value) {
    Become(self, VariantKind::kBoolean, value != 0 ? 1 : 0, 0, nullptr);
}
void StringValueSetter(ZYNEobject self, long, ZYNEstring value) {
    Become(self, VariantKind::kString, 0, 0, value);
}
void ColorValueSetter(ZYNEobject self, long, long value) {
    Become(self, VariantKind::kColor, value, 0, nullptr);
}

template <class F>
void* Word(F function) {
    return reinterpret_cast<void*>(function);
}

ZYNEproperty kVariantProperties[] = {
    {"", "IntegerValue", "Integer", 0, Word(&IntegerValueGetter), Word(&IntegerValueSetter), 0,
     nullptr, 0, nullptr},
    {"", "DoubleValue", "Double", 0, Word(&DoubleValueGetter), Word(&DoubleValueSetter), 0, nullptr,
     0, nullptr},
    {"", "BooleanValue", "Boolean", 0, Word(&BooleanValueGetter), Word(&BooleanValueSetter), 0,
     nullptr, 0, nullptr},
    {"", "StringValue", "String", 0, Word(&StringValueGetter), Word(&StringValueSetter), 0, nullptr,
     0, nullptr},
    {"", "ColorValue", "Color", 0, Word(&IntegerValueGetter), Word(&ColorValueSetter), 0, nullptr,
     0, nullptr},
};

// --- Services -------------------------------------------------------------------------------

ZYNEobject IntegerToVariant(long value) {
    detail::HostState& state = detail::CurrentState();
    state.Called("Int32ToVariant", value);
    return MakeVariant(state, VariantKind::kInteger, value, 0, nullptr);
}

ZYNEobject DoubleToVariant(double value) {
    detail::HostState& state = detail::CurrentState();
    state.Called("DoubleToVariant", value);
    return MakeVariant(state, VariantKind::kDouble, 0, value, nullptr);
}

ZYNEobject BooleanToVariant(unsigned char value) {
    detail::HostState& state = detail::CurrentState();
    state.Called("BooleanToVariant", static_cast<int>(value));
    return MakeVariant(state, VariantKind::kBoolean, value != 0 ? 1 : 0, 0, nullptr);
}

ZYNEobject ColorToVariant(long value) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ColorToVariant", value);
    return MakeVariant(state, VariantKind::kColor, value, 0, nullptr);
}

ZYNEobject StringToVariant(ZYNEstring value) {
    detail::HostState& state = detail::CurrentState();
    state.Called("StringToVariant", value);
    if (value != nullptr && !state.liveStrings.contains(value)) {
        state.Fault("StringToVariant with a string the host does not hold");
        return nullptr;
    }
    return MakeVariant(state, VariantKind::kString, 0, 0, value);
}

const detail::ServiceRow kVariantServices[] = {
    {"Int32ToVariant", reinterpret_cast<void*>(&IntegerToVariant)},
    {"DoubleToVariant", reinterpret_cast<void*>(&DoubleToVariant)},
    {"BooleanToVariant", reinterpret_cast<void*>(&BooleanToVariant)},
    {"ColorToVariant", reinterpret_cast<void*>(&ColorToVariant)},
    {"StringToVariant", reinterpret_cast<void*>(&StringToVariant)},
};

}  // namespace

namespace detail {

std::span<const ServiceRow> VariantServices() {
    return kVariantServices;
}

const ClassInfo& VariantClass() {
    static HostOnlyClass variant("Variant", sizeof(VariantData), &DestroyVariant,
                                 kVariantProperties);
    return variant.info;
}

std::optional<PropertyValue> ReadVariantValue(HostState& state, ZYNEobject object,
                                              std::string_view name) {
    const VariantData* data = LiveVariant(state, object);
    if (data == nullptr) return std::nullopt;
    PropertyValue value;
    if (SameName(name, "IntegerValue") || SameName(name, "ColorValue")) {
        const std::optional<long long> integer = AsInteger(*data);
        if (!integer) return std::nullopt;
        value.kind = PropertyValue::Kind::kInteger;
        value.integer = *integer;
    } else if (SameName(name, "DoubleValue")) {
        const std::optional<double> real = AsReal(*data);
        if (!real) return std::nullopt;
        value.kind = PropertyValue::Kind::kReal;
        value.real = *real;
    } else if (SameName(name, "BooleanValue")) {
        const std::optional<bool> boolean = AsBoolean(*data);
        if (!boolean) return std::nullopt;
        value.kind = PropertyValue::Kind::kBoolean;
        value.boolean = *boolean;
    } else if (SameName(name, "StringValue")) {
        value.kind = PropertyValue::Kind::kString;
        value.string = AsString(state, *data);
    } else {
        return std::nullopt;
    }
    return value;
}

}  // namespace detail

// --- Host helpers -----------------------------------------------------------------------------

ZYNEobject ReferenceHost::NewVariantInteger(long value) {
    return MakeVariant(*state_, VariantKind::kInteger, value, 0, nullptr);
}

ZYNEobject ReferenceHost::NewVariantDouble(double value) {
    return MakeVariant(*state_, VariantKind::kDouble, 0, value, nullptr);
}

ZYNEobject ReferenceHost::NewVariantBoolean(bool value) {
    return MakeVariant(*state_, VariantKind::kBoolean, value ? 1 : 0, 0, nullptr);
}

ZYNEobject ReferenceHost::NewVariantColor(long value) {
    return MakeVariant(*state_, VariantKind::kColor, value, 0, nullptr);
}

ZYNEobject ReferenceHost::NewVariantString(std::string_view text) {
    ZYNEstring string = NewString(text);
    ZYNEobject variant = MakeVariant(*state_, VariantKind::kString, 0, 0, string);
    Unlock(string);  // the variant holds its own reference
    return variant;
}

std::string ReferenceHost::VariantType(ZYNEobject object) const {
    const VariantData* data = LiveVariant(*state_, object);
    if (data == nullptr) return {};
    switch (data->kind) {
        case VariantKind::kInteger:
            return "Integer";
        case VariantKind::kDouble:
            return "Double";
        case VariantKind::kBoolean:
            return "Boolean";
        case VariantKind::kColor:
            return "Color";
        case VariantKind::kString:
            return "String";
    }
    return {};
}

std::optional<long> ReferenceHost::VariantInteger(ZYNEobject variant) {
    const auto value = detail::ReadVariantValue(*state_, variant, "IntegerValue");
    if (!value) return std::nullopt;
    return static_cast<long>(value->integer);
}

std::optional<double> ReferenceHost::VariantDouble(ZYNEobject variant) {
    const auto value = detail::ReadVariantValue(*state_, variant, "DoubleValue");
    if (!value) return std::nullopt;
    return value->real;
}

std::optional<bool> ReferenceHost::VariantBoolean(ZYNEobject variant) {
    const auto value = detail::ReadVariantValue(*state_, variant, "BooleanValue");
    if (!value) return std::nullopt;
    return value->boolean;
}

std::optional<std::string> ReferenceHost::VariantString(ZYNEobject variant) {
    const auto value = detail::ReadVariantValue(*state_, variant, "StringValue");
    if (!value) return std::nullopt;
    std::string text = Text(value->string);
    Unlock(value->string);
    return text;
}

}  // namespace zyne::host
