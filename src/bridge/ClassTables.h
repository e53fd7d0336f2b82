// ClassTables.h - helpers for the static tables that describe host-visible classes.
//
// Every bridge class is described to the host by plain records; these keep each
// row of a table to one readable line. Nothing here allocates or registers.
#ifndef ZYNE_BRIDGE_CLASS_TABLES_H
#define ZYNE_BRIDGE_CLASS_TABLES_H

#include "hostapi/ZYNERecords.h"

namespace zyne::bridge {

// A routine as the untyped word the records hold.
template <class F>
void* Routine(F function) {
    return reinterpret_cast<void*>(function);
}

// A read-only property answered by `getter(object, param)`: no group, flags, setter,
// editor or enumeration values.
inline ZYNEproperty ReadOnlyProperty(const char* name, const char* type, void* getter,
                                     long param = 0) {
    return {.group = "",
            .name = name,
            .type = type,
            .flags = 0,
            .getter = getter,
            .setter = nullptr,
            .param = param,
            .editor = nullptr,
            .enumCount = 0,
            .enumEntries = nullptr};
}

// A read-only property kept as a plain field of the instance data at byte `offset`: the
// host reads it there itself.
inline ZYNEproperty ReadOnlyField(const char* name, const char* type, long offset) {
    ZYNEproperty property = ReadOnlyProperty(name, type, ZYNE_DIRECT_FIELD, offset);
    return property;
}

// A method row: routine and declaration, no setter, no flags.
inline ZYNEmethodDefinition MethodRow(void* function, const char* declaration) {
    return {function, nullptr, declaration, 0};
}

// A class record of the current version with no superclass, events, interfaces,
// constants, flags or shared members: what most bridge classes are.
constexpr ZYNEclassDefinition PlainClass(const char* name, long dataSize,
                                         void (*constructor)(ZYNEobject),
                                         void (*destructor)(ZYNEobject), ZYNEproperty* properties,
                                         long propertyCount, ZYNEmethodDefinition* methods,
                                         long methodCount) {
    return {.version = ZYNE_RECORD_VERSION,
            .name = name,
            .superName = nullptr,
            .dataSize = dataSize,
            .dataOffset = 0,
            .constructor = constructor,
            .destructor = destructor,
            .properties = properties,
            .propertyCount = propertyCount,
            .methods = methods,
            .methodCount = methodCount,
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
            .sharedMethodCount = 0};
}

// The number of rows of a static table, as the records count them.
constexpr long CountOf(const auto& table) { return static_cast<long>(sizeof table / sizeof table[0]); }

}  // namespace zyne::bridge

#endif  // ZYNE_BRIDGE_CLASS_TABLES_H
