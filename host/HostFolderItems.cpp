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

#include "HostOnlyClass.h"

namespace zyne::host {

namespace {

constexpr unsigned long kUTF8Encoding = 0x08000100;

void DestroyFolderItem(ZYNEobject self);

detail::HostOnlyClass gFolderItemClass("FolderItem", sizeof(char*), &DestroyFolderItem);

char*& PathSlot(ZYNEobject item) {
    return gFolderItemClass.DataOf<char*>(item);
}

void DestroyFolderItem(ZYNEobject self) {
    std::free(PathSlot(self));
    PathSlot(self) = nullptr;
}

// A new folder item for `path` (count 1); null when memory ran out.
ZYNEobject MakeFolderItem(detail::HostState& state, const char* path) {
    char* copy = strdup(path);
    if (copy == nullptr) return nullptr;
    ZYNEobject item = state.NewObject(&gFolderItemClass.info);
    if (item == nullptr) {
        std::free(copy);
        return nullptr;
    }
    PathSlot(item) = copy;
    return item;
}

// The path of a live host folder item; null (and a fault) for anything else.
const char* PathOf(detail::HostState& state, ZYNEobject item, const char* service) {
    if (state.ClassInfoOf(item) != &gFolderItemClass.info) {
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
    if (state_->ClassInfoOf(item) != &gFolderItemClass.info) return {};
    return PathSlot(item);
}

}  // namespace zyne::host
