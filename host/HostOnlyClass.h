// HostOnlyClass.h - a class the reference host keeps to itself: its record and its ClassInfo.
//
// Folder items, pictures and variants are host objects of classes no plug-in registers,
// so they take no part in the registration log or in FindClass, and "PluginNewInstance"
// cannot make one. Each is one record whose data follows the object header directly, with
// an optional destructor and property list and nothing else. Internal to host/.
#ifndef ZYNE_HOST_HOST_ONLY_CLASS_H
#define ZYNE_HOST_HOST_ONLY_CLASS_H

#include <span>

#include "HostState.h"
#include "bridge/ClassTables.h"

namespace zyne::host::detail {

/// A host-only class. Not copyable: `info.record` points at `record`.
struct HostOnlyClass {
    HostOnlyClass(const char* name, long dataSize, void (*destructor)(ZYNEobject),
                  std::span<ZYNEproperty> properties = {})
        : record(zyne::bridge::PlainClass(name, dataSize, nullptr, destructor,
                                          properties.empty() ? nullptr : properties.data(),
                                          static_cast<long>(properties.size()), nullptr, 0)),
          info{.instanceSize = ReferenceHost::kObjectHeaderSize + dataSize,
               .name = name,
               .record = &record,
               .superclass = nullptr,
               .threeWordMethods = false} {
        record.dataOffset = ReferenceHost::kObjectHeaderSize;
    }
    HostOnlyClass(const HostOnlyClass&) = delete;
    HostOnlyClass& operator=(const HostOnlyClass&) = delete;

    /// The instance data of `object`, which must be an object of this class.
    template <class T>
    T& DataOf(ZYNEobject object) const {
        return *reinterpret_cast<T*>(reinterpret_cast<char*>(object) + record.dataOffset);
    }

    ZYNEclassDefinition record;
    ClassInfo info;
};

}  // namespace zyne::host::detail

#endif  // ZYNE_HOST_HOST_ONLY_CLASS_H
