// HostFolderItems.cpp - the host's folder items and their services ("FolderItemFromPath",
// "ZYNEpathFromFolderItem").
//
// A host folder item is an ordinary host object of the host's own class "FolderItem"
// whose instance data is one malloc'ed copy of a POSIX path; the path is freed when the
// last reference goes. Nothing here touches the disk: an item names a path whether or not
// anything exists there, as the host's own folder items do.
//
//   OFFSET     SIZE     FIELD   MEANING
//   6 words    1 word   path    malloc'ed, NUL-terminated UTF-8 path; never null
#include <cstdlib>
#include <cstring>

#include "HostState.h"

namespace zyne::host {

namespace {

constexpr unsigned long kUTF8Encoding = 0x08000100;

void DestroyFolderItem(ZYNEobject self);

// The host's own class: never registered by a plug-in, so it takes no part in the
// registration log or in FindClass.
ZYNEclassDefinition gFolderItemClass = {
    .version = 9,
    .name = "FolderItem",
    .superName = nullptr,
    .dataSize = sizeof(char*),
    .dataOffset = ReferenceHost::kObjectHeaderSize,
    .constructor = nullptr,
    .destructor = &DestroyFolderItem,
    .properties = nullptr,
    .propertyCount = 0,
    .methods = nullptr,
    .methodCount = 0,
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

const ClassInfo gFolderItemInfo = {
    .instanceSize = ReferenceHost::kObjectHeaderSize + static_cast<long>(sizeof(char*)),
    .name = "FolderItem",
    .record = &gFolderItemClass,
    .superclass = nullptr,
    .threeWordMethods = false,
};

char*& PathSlot(ZYNEobject item) {
    return *reinterpret_cast<char**>(reinterpret_cast<char*>(item) + gFolderItemClass.dataOffset);
}

void DestroyFolderItem(ZYNEobject self) {
    std::free(PathSlot(self));
    PathSlot(self) = nullptr;
}

// A new folder item for `path` (count 1); null when memory ran out.
ZYNEobject MakeFolderItem(detail::HostState& state, const char* path) {
    char* copy = strdup(path);
    if (copy == nullptr) return nullptr;
    ZYNEobject item = state.NewObject(&gFolderItemInfo);
    if (item == nullptr) {
        std::free(copy);
        return nullptr;
    }
    PathSlot(item) = copy;
    return item;
}

// The path of a live host folder item; null (and a fault) for anything else.
const char* PathOf(detail::HostState& state, ZYNEobject item, const char* service) {
    if (state.ClassInfoOf(item) != &gFolderItemInfo) {
        state.Fault(std::string(service) + " on an object that is not a folder item");
        return nullptr;
    }
    return PathSlot(item);
}

ZYNEobject FolderItemFromPath(const char* path) {
    detail::HostState& state = detail::CurrentState();
    state.Called("FolderItemFromPath", path);
    return path != nullptr ? MakeFolderItem(state, path) : nullptr;
}

// A new string (count 1, the caller's) holding the item's path, tagged UTF-8.
ZYNEstring PathFromFolderItem(ZYNEobject item) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEpathFromFolderItem", item);
    if (item == nullptr) return nullptr;
    const char* path = PathOf(state, item, "ZYNEpathFromFolderItem");
    if (path == nullptr) return nullptr;
    return state.NewString(path, static_cast<long>(std::strlen(path)), kUTF8Encoding);
}

const detail::ServiceRow kFolderItemServices[] = {
    {"FolderItemFromPath", reinterpret_cast<void*>(&FolderItemFromPath)},
    {"ZYNEpathFromFolderItem", reinterpret_cast<void*>(&PathFromFolderItem)},
};

}  // namespace

std::span<const detail::ServiceRow> detail::FolderItemServices() {
    return kFolderItemServices;
}

ZYNEobject ReferenceHost::NewFolderItem(const std::string& path) {
    return MakeFolderItem(*state_, path.c_str());
}

std::string ReferenceHost::FolderItemPath(ZYNEobject item) const {
    if (state_->ClassInfoOf(item) != &gFolderItemInfo) return {};
    return PathSlot(item);
}

}  // namespace zyne::host
