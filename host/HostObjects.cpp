// HostObjects.cpp - object creation, reference counting and destruction, and their services.
//
// An object is one zeroed allocation of its class's instance size:
//
//   OFFSET            SIZE          FIELD    MEANING
//   0                 1 word        info     the host's ClassInfo of the object's class
//   1 word            1 word        count    reference count, 1 at creation
//   2 words           4 words       -        zero; reserved for the host
//   6 words           per class     data     each class's instance data, base class first,
//                                            at that class's record->dataOffset
//
// Constructors run base class first, destructors derived class first, once, when the
// last reference goes. The host knows every object it made: a dead object unlocked
// again is reported as a fault, not freed twice. Controls are registered but not
// instantiated here.
#include <cassert>
#include <cstdlib>

#include "HostState.h"

namespace zyne::host {

namespace {

struct ObjectHeader {
    const ClassInfo* info;
    long count;
    void* reserved[4];
};
static_assert(sizeof(ObjectHeader) == ReferenceHost::kObjectHeaderSize, "the header is six words");

ObjectHeader* HeaderOf(ZYNEobject object) {
    return reinterpret_cast<ObjectHeader*>(object);
}

// The class chain, derived class first; bounded although chains cannot loop (a class's
// superclass was always registered before it).
std::vector<const ZYNEclassDefinition*> ChainOf(const ClassInfo* info) {
    std::vector<const ZYNEclassDefinition*> chain;
    for (const ClassInfo* c = info; c != nullptr && chain.size() < 1000; c = c->superclass)
        chain.push_back(c->record);
    return chain;
}

}  // namespace

namespace detail {

ZYNEobject HostState::NewObject(const ClassInfo* info) {
    if (info == nullptr) return nullptr;
    void* memory = std::calloc(1, static_cast<size_t>(info->instanceSize));
    if (memory == nullptr) return nullptr;
    auto object = static_cast<ZYNEobject>(memory);
    HeaderOf(object)->info = info;
    HeaderOf(object)->count = 1;
    liveObjects.insert(object);
    const std::vector<const ZYNEclassDefinition*> chain = ChainOf(info);
    for (auto record = chain.rbegin(); record != chain.rend(); ++record) {
        if ((*record)->constructor != nullptr) (*record)->constructor(object);
    }
    return object;
}

void HostState::LockObject(ZYNEobject object, const char* service) {
    if (object == nullptr) return;
    if (!liveObjects.contains(object)) {
        Fault(std::string(service) + " on an object the host does not hold");
        return;
    }
    ++HeaderOf(object)->count;
}

void HostState::UnlockObject(ZYNEobject object, const char* service) {
    if (object == nullptr) return;
    if (!liveObjects.contains(object)) {
        Fault(std::string(service) + " on an object the host does not hold");
        return;
    }
    ObjectHeader* header = HeaderOf(object);
    assert(header->count > 0 && "a live object has a count");
    if (--header->count > 0) return;
    // Dead before the destructors run: a destructor that locks or unlocks its own
    // object is reported, and cannot start a second destruction.
    liveObjects.erase(object);
    for (const ZYNEclassDefinition* record : ChainOf(header->info)) {
        if (record->destructor != nullptr) record->destructor(object);
    }
    std::free(object);
}

const ClassInfo* HostState::ClassInfoOf(ZYNEobject object) const {
    if (object == nullptr || !liveObjects.contains(object)) return nullptr;
    return HeaderOf(object)->info;
}

bool HostState::OwnsClassInfo(const void* info) const {
    for (const ClassInfo& c : classInfos) {
        if (&c == info) return true;
    }
    return false;
}

}  // namespace detail

namespace {

ZYNEobject NewInstanceByName(const char* className) {
    detail::HostState& state = detail::CurrentState();
    state.Called("PluginNewInstance", className);
    return className != nullptr ? state.NewObject(state.FindClass(className)) : nullptr;
}

ZYNEobject CreateInstance(ZYNEclassRef classRef) {
    detail::HostState& state = detail::CurrentState();
    state.Called("CreateInstance", classRef);
    if (classRef == nullptr) return nullptr;
    if (!state.OwnsClassInfo(classRef)) {
        state.Fault("CreateInstance with a class ref the host never gave out");
        return nullptr;
    }
    return state.NewObject(reinterpret_cast<const ClassInfo*>(classRef));
}

ZYNEclassRef ObjectType(const char* className) {
    detail::HostState& state = detail::CurrentState();
    state.Called("pluginObjectType", className);
    const ClassInfo* info = className != nullptr ? state.FindClass(className) : nullptr;
    return reinterpret_cast<ZYNEclassRef>(const_cast<ClassInfo*>(info));
}

void LockObject(ZYNEobject object) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNELockObject", object);
    state.LockObject(object, "ZYNELockObject");
}

void UnlockObject(ZYNEobject object) {
    detail::HostState& state = detail::CurrentState();
    state.Called("ZYNEUnlockObject", object);
    state.UnlockObject(object, "ZYNEUnlockObject");
}

const detail::ServiceRow kObjectServices[] = {
    {"PluginNewInstance", reinterpret_cast<void*>(&NewInstanceByName)},
    {"CreateInstance", reinterpret_cast<void*>(&CreateInstance)},
    {"pluginObjectType", reinterpret_cast<void*>(&ObjectType)},
    {"ZYNELockObject", reinterpret_cast<void*>(&LockObject)},
    {"ZYNEUnlockObject", reinterpret_cast<void*>(&UnlockObject)},
};

}  // namespace

std::span<const detail::ServiceRow> detail::ObjectServices() {
    return kObjectServices;
}

ZYNEobject ReferenceHost::NewInstance(const char* className) {
    return className != nullptr ? state_->NewObject(state_->FindClass(className)) : nullptr;
}

long ReferenceHost::RefCount(ZYNEobject object) const {
    return state_->ClassInfoOf(object) != nullptr ? HeaderOf(object)->count : 0;
}

void ReferenceHost::Lock(ZYNEobject object) {
    state_->LockObject(object, "Lock");
}

void ReferenceHost::Unlock(ZYNEobject object) {
    state_->UnlockObject(object, "Unlock");
}

size_t ReferenceHost::LiveObjects() const {
    return state_->liveObjects.size();
}

const ZYNEclassDefinition* ReferenceHost::ClassOf(ZYNEobject object) const {
    const ClassInfo* info = state_->ClassInfoOf(object);
    return info != nullptr ? info->record : nullptr;
}

long ReferenceHost::InstanceSize(const char* className) const {
    const ClassInfo* info = className != nullptr ? state_->FindClass(className) : nullptr;
    return info != nullptr ? info->instanceSize : -1;
}

}  // namespace zyne::host
