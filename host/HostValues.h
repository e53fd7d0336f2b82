// HostValues.h - values on their way between the property services and host objects,
// and what the property services need to know about variants.
//
// The property services ("ZYNEGetPropValue...", "ZYNESetPropValue...") and the variant
// services live in two families (HostProperties.cpp, HostVariants.cpp); this is the
// little they share. Internal to host/.
#ifndef ZYNE_HOST_HOST_VALUES_H
#define ZYNE_HOST_HOST_VALUES_H

#include <optional>
#include <string_view>

#include "HostState.h"

namespace zyne::host::detail {

/// A property value in one of the host's value classes. A string read from an object
/// carries one reference for whoever holds the value; one being written is borrowed.
struct PropertyValue {
    enum class Kind { kInteger, kReal, kBoolean, kString, kObject };
    Kind kind = Kind::kInteger;
    long long integer = 0;        // kInteger
    double real = 0;              // kReal
    bool boolean = false;         // kBoolean
    ZYNEstring string = nullptr;  // kString
    void* object = nullptr;       // kObject: an object or a raw pointer
};

/// The host's class of variants; not registered, so no plug-in can look it up by name.
const ClassInfo& VariantClass();

/// A live variant's value property read with the host's conversions: "IntegerValue",
/// "DoubleValue", "BooleanValue", "StringValue" or "ColorValue" (any case), in that
/// property's own class (a colour reads as an integer). Nullopt when `object` is not a
/// live variant, the name is none of these, or the value cannot be converted (a string
/// that is not a number read as one). A string result carries a reference for the caller.
std::optional<PropertyValue> ReadVariantValue(HostState& state, ZYNEobject object,
                                              std::string_view name);

}  // namespace zyne::host::detail

#endif  // ZYNE_HOST_HOST_VALUES_H
