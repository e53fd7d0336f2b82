// ControlInstance.cpp - design-time instances of guest controls and their methods.
//
// An instance keeps the guest's record, the guest's data block, its placement and a
// reference on the definition that loaded the guest. Every call into the guest first
// points the record's dataOffset at this instance's block (Bind). Prop reads and assigns
// properties through the routine class instances use (GuestPropertyRead and
// GuestPropertyAssign), with one difference kept deliberately: a control's getter and
// setter routines are handed the instance itself, so that they can reach their data with
// ZYNEGetControlData. Not here: the services a guest asks about its placement
// (ControlInstanceServices.cpp) and the GTK calls (core/GtkGlue).
#include "items/ControlInstance.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "bridge/ClassTables.h"
#include "bridge/PluginDefinition.h"
#include "core/GtkGlue.h"
#include "items/PluginClassInstance.h"

using zyne::bridge::CountOf;
using zyne::bridge::Routine;

namespace {

struct InstanceData {
    ZYNEcontrol* control;
    unsigned char* guestData;
    ControlPlacement* placement;
    PluginDefinition* owner;
};
static_assert(sizeof(InstanceData) == 4 * sizeof(void*), "four words of instance data");

// The live instances' placements; a plain list, the library has one thread.
ControlPlacement* gLivePlacements = nullptr;

InstanceData* DataOf(ZYNEobject instance) {
    if (instance == nullptr) return nullptr;
    return static_cast<InstanceData*>(
        ZYNEGetClassData(instance, &PluginControlInstanceClassDefinition));
}

// The instance's data, or null unless `instance` is a live design-time instance.
InstanceData* LiveDataOf(ZYNEobject instance) {
    if (PluginControlInstancePlacement(instance) == nullptr) return nullptr;
    return DataOf(instance);
}

const ZYNEcontrolBehaviour* BehaviourOf(const InstanceData* data) {
    return data->control != nullptr ? data->control->behaviour : nullptr;
}

// The dataOffset that lets the guest's ZYNEGetControlData(instance, record) find this
// instance's data block. The difference of two unrelated addresses, taken as integers:
// the guest adds it back the same way.
long BoundOffset(ZYNEobject instance, const InstanceData* data) {
    return static_cast<long>(reinterpret_cast<uintptr_t>(data->guestData) -
                             reinterpret_cast<uintptr_t>(instance));
}

// Points the guest record's dataOffset at this instance's data block.
void Bind(ZYNEobject instance, InstanceData* data) {
    data->control->dataOffset = BoundOffset(instance, data);
}

void Unlist(ControlPlacement* placement) {
    for (ControlPlacement** link = &gLivePlacements; *link != nullptr; link = &(*link)->next) {
        if (*link == placement) {
            *link = placement->next;
            return;
        }
    }
}

// ----- Properties -------------------------------------------------------------------------

// The properties of a live instance; a list of none for anything else. The guest's
// routines get the instance itself and the record is bound to it before each call.
GuestProperties PropertiesOf(ZYNEobject self) {
    InstanceData* data = LiveDataOf(self);
    if (data == nullptr) return {};
    ZYNEcontrol* control = data->control;
    return {.list = control->properties,
            .count = control->propertyCount,
            .data = data->guestData,
            .dataSize = control->dataSize > 0 ? static_cast<unsigned long>(control->dataSize) : 0,
            .routineArgument = self,
            .dataOffset = &control->dataOffset,
            .dataOffsetValue = BoundOffset(self, data),
            .booleansAsBit = true};
}

ZYNEobject GetProperty(ZYNEobject self, const char* name, unsigned long length) {
    if (name == nullptr) return nullptr;
    return GuestPropertyRead(PropertiesOf(self), name, length);
}

bool SetProperty(ZYNEobject self, const char* name, unsigned long length, ZYNEobject value) {
    if (name == nullptr) return false;
    return GuestPropertyAssign(PropertiesOf(self), name, length, value);
}

// ----- The host class "PluginControlInstance" ---------------------------------------------

ZYNEobject PropGetter(ZYNEobject self, ZYNEstring propertyName) {
    unsigned long length = 0;
    const char* name = ZYNEGetStringContents(propertyName, &length);
    return GetProperty(self, name, length);
}

void PropSetter(ZYNEobject self, ZYNEstring propertyName, ZYNEobject value) {
    unsigned long length = 0;
    const char* name = ZYNEGetStringContents(propertyName, &length);
    SetProperty(self, name, length, value);
}

// Hands the host's graphics to the behaviour; an invisible control draws nothing.
void Draw(ZYNEobject self, ZYNEobject graphics) {
    InstanceData* data = LiveDataOf(self);
    if (data == nullptr || graphics == nullptr || !data->placement->visible) return;
    const ZYNEcontrolBehaviour* behaviour = BehaviourOf(data);
    if (behaviour == nullptr || behaviour->redraw == nullptr) return;
    Bind(self, data);
    behaviour->redraw(self, graphics);
}

// A negative extent is taken as 0: a control is never inside out.
void Move(ZYNEobject self, long x, long y, long width, long height) {
    InstanceData* data = LiveDataOf(self);
    if (data == nullptr) return;
    ControlPlacement& placement = *data->placement;
    width = width < 0 ? 0 : width;
    height = height < 0 ? 0 : height;
    if (placement.left == x && placement.top == y && placement.width == width &&
        placement.height == height)
        return;
    placement.left = x;
    placement.top = y;
    placement.width = width;
    placement.height = height;
    PluginControlInstanceChanged(self, ZYNE_CONTROL_BOUNDS_CHANGED);
}

// Runs the guest's destructor, then lets go of everything the instance holds. The
// definition goes last: releasing it may unload the guest.
void Destroy(ZYNEobject self) {
    InstanceData* data = LiveDataOf(self);
    if (data == nullptr) return;
    if (const ZYNEcontrolBehaviour* behaviour = BehaviourOf(data);
        behaviour != nullptr && behaviour->destructor != nullptr) {
        Bind(self, data);
        behaviour->destructor(self);
    }
    ControlPlacement* placement = data->placement;
    Unlist(placement);
    if (placement->window != nullptr) ZYNEUnlockObject(placement->window);
    delete placement;
    std::free(data->guestData);
    PluginDefinition* owner = data->owner;
    *data = {};
    PluginDefinition::Release(owner);
}

ZYNEmethodDefinition PluginControlInstanceMethods[] = {
    {Routine(&PropGetter), Routine(&PropSetter), "Prop( propertyName as string ) as Variant", 0},
    {Routine(&Draw), nullptr, "Draw( g as Graphics )", 0},
    {Routine(&Move), nullptr,
     "Move( x as integer, y as integer, width as integer, height as integer )", 0},
};

}  // namespace

ZYNEclassDefinition PluginControlInstanceClassDefinition = {
    .version = ZYNE_RECORD_VERSION,
    .name = "PluginControlInstance",
    .superName = nullptr,
    .dataSize = sizeof(InstanceData),  // 16 bytes on i386: four words
    .dataOffset = 0,
    .constructor = nullptr,
    .destructor = &Destroy,
    .properties = nullptr,
    .propertyCount = 0,
    .methods = PluginControlInstanceMethods,
    .methodCount = CountOf(PluginControlInstanceMethods),
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

ZYNEobject PluginControlInstanceCreate(ZYNEcontrol* control, PluginDefinition* owner,
                                       ZYNEobject parentWindow) {
    if (control == nullptr || control->dataSize < 0) return nullptr;
    // At least one byte, so that an instance always has a block of its own to point at.
    auto* guestData = static_cast<unsigned char*>(
        std::calloc(1, control->dataSize > 0 ? static_cast<size_t>(control->dataSize) : 1));
    auto* placement = new (std::nothrow) ControlPlacement;
    ZYNEobject instance = nullptr;
    InstanceData* data = nullptr;
    if (guestData != nullptr && placement != nullptr) {
        instance = ZYNEnewInstance("PluginControlInstance");
        data = DataOf(instance);
    }
    if (data == nullptr) {
        std::free(guestData);
        delete placement;
        if (instance != nullptr) ZYNEUnlockObject(instance);
        return nullptr;
    }
    // As Move: a guest's default size below 0 makes a control of no extent.
    placement->width = control->defaultWidth > 0 ? control->defaultWidth : 0;
    placement->height = control->defaultHeight > 0 ? control->defaultHeight : 0;
    if (parentWindow != nullptr) {
        ZYNELockObject(parentWindow);
        placement->window = parentWindow;
        placement->box = zyne::gtk::RealizedVerticalBox(ZYNEGetWindowHandle(parentWindow));
    }
    placement->instance = instance;
    placement->next = gLivePlacements;
    gLivePlacements = placement;
    *data = {control, guestData, placement, owner};
    if (owner != nullptr) owner->AddReference();
    if (control->behaviour != nullptr && control->behaviour->constructor != nullptr) {
        Bind(instance, data);
        control->behaviour->constructor(instance);
    }
    return instance;
}

ControlPlacement* PluginControlInstancePlacement(ZYNEobject object) {
    if (object == nullptr) return nullptr;
    for (ControlPlacement* p = gLivePlacements; p != nullptr; p = p->next) {
        if (p->instance == object) return p;
    }
    return nullptr;
}

void PluginControlInstanceChanged(ZYNEobject instance, unsigned long what) {
    InstanceData* data = LiveDataOf(instance);
    if (data == nullptr) return;
    const ZYNEcontrolBehaviour* behaviour = BehaviourOf(data);
    if (behaviour == nullptr || behaviour->stateChanged == nullptr) return;
    Bind(instance, data);
    behaviour->stateChanged(instance, what);
}

ZYNEobject PluginControlInstancePropertyValue(ZYNEobject instance, const char* name) {
    if (name == nullptr) return nullptr;
    return GetProperty(instance, name, strlen(name));
}

bool PluginControlInstanceSetPropertyValue(ZYNEobject instance, const char* name,
                                           ZYNEobject value) {
    if (name == nullptr) return false;
    return SetProperty(instance, name, strlen(name), value);
}
