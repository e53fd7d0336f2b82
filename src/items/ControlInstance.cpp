// ControlInstance.cpp - design-time instances of guest controls and their methods.
//
// An instance keeps the guest's record, the guest's data block, its placement and a
// reference on the definition that loaded the guest. Every call into the guest first
// points the record's dataOffset at this instance's block (Bind). Prop converts between
// host variants and the guest's native values by the property's type word, as class
// instances do, with one difference kept deliberately: a control's getter and setter
// routines are handed the instance itself, so that they can reach their data with
// ZYNEGetControlData. Not here: the services a guest asks about its placement
// (ControlInstanceServices.cpp) and the GTK calls (core/GtkGlue).
#include "items/ControlInstance.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "bridge/ClassTables.h"
#include "bridge/PluginDefinition.h"
#include "core/ByteRoutines.h"
#include "core/GtkGlue.h"

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

// Points the guest record's dataOffset at this instance's data block, so that the
// guest's ZYNEGetControlData(instance, record) finds it. The difference of two unrelated
// addresses, taken as integers: the guest adds it back the same way.
void Bind(ZYNEobject instance, InstanceData* data) {
    data->control->dataOffset = static_cast<long>(reinterpret_cast<uintptr_t>(data->guestData) -
                                                  reinterpret_cast<uintptr_t>(instance));
}

void Unlist(ControlPlacement* placement) {
    for (ControlPlacement** link = &gLivePlacements; *link != nullptr; link = &(*link)->next) {
        if (*link == placement) {
            *link = placement->next;
            return;
        }
    }
}

// ----- Properties by type word ------------------------------------------------------------

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

// A direct field inside the guest's block; null when the record's offset does not leave
// room for it within the control's data size.
unsigned char* FieldAt(const InstanceData* data, long param, ValueKind kind) {
    const long size = data->control->dataSize;
    if (param < 0 || size < 0 ||
        static_cast<unsigned long>(param) + FieldSize(kind) > static_cast<unsigned long>(size))
        return nullptr;
    return data->guestData + param;
}

bool SameName(const ZYNEproperty& property, const char* name, unsigned long length) {
    if (property.name == nullptr || name == nullptr) return false;
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

ZYNEobject ReadProperty(ZYNEobject self, InstanceData* data, const ZYNEproperty& property) {
    if (property.getter == nullptr) return nullptr;
    const ValueKind kind = KindOf(property.type);
    if (kind == ValueKind::kUnknown) return nullptr;
    if (property.getter == ZYNE_DIRECT_FIELD) {
        const unsigned char* field = FieldAt(data, property.param, kind);
        if (field == nullptr) return nullptr;
        switch (kind) {
            case ValueKind::kInteger:
                return ZYNENewVariantInteger(ReadField<long>(field));
            case ValueKind::kDouble:
                return ZYNENewVariantDouble(ReadField<double>(field));
            case ValueKind::kBoolean:
                return ZYNENewVariantBoolean(*field);
            case ValueKind::kString:  // the field keeps its reference; the variant takes one
                return ZYNENewVariantString(ReadField<ZYNEstring>(field));
            case ValueKind::kColor:
                return ZYNENewVariantColor(ReadField<long>(field));
            case ValueKind::kUnknown:
                break;
        }
        return nullptr;
    }
    Bind(self, data);
    const long param = property.param;
    switch (kind) {
        case ValueKind::kInteger:
            return ZYNENewVariantInteger(
                reinterpret_cast<long (*)(ZYNEobject, long)>(property.getter)(self, param));
        case ValueKind::kDouble:
            return ZYNENewVariantDouble(
                reinterpret_cast<double (*)(ZYNEobject, long)>(property.getter)(self, param));
        case ValueKind::kBoolean:
            return ZYNENewVariantBoolean(reinterpret_cast<unsigned char (*)(ZYNEobject, long)>(
                property.getter)(self, param));
        case ValueKind::kString: {
            // A getter hands over a reference of its own, given up once wrapped.
            ZYNEstring text =
                reinterpret_cast<ZYNEstring (*)(ZYNEobject, long)>(property.getter)(self, param);
            ZYNEobject variant = ZYNENewVariantString(text);
            ZYNEUnlockString(text);
            return variant;
        }
        case ValueKind::kColor:
            return ZYNENewVariantColor(
                reinterpret_cast<long (*)(ZYNEobject, long)>(property.getter)(self, param));
        case ValueKind::kUnknown:
            break;
    }
    return nullptr;
}

// What one assignment did: stored the value, left a property of an unknown type alone, or
// stopped the walk (no setter, or the variant cannot give the value).
enum class Assigned { kStored, kSkipped, kStop };

template <class T>
Assigned Store(ZYNEobject self, InstanceData* data, const ZYNEproperty& property, ValueKind kind,
               T value) {
    if (property.setter == ZYNE_DIRECT_FIELD) {
        unsigned char* field = FieldAt(data, property.param, kind);
        if (field == nullptr) return Assigned::kSkipped;
        WriteField<T>(field, value);
        return Assigned::kStored;
    }
    Bind(self, data);
    reinterpret_cast<void (*)(ZYNEobject, long, T)>(property.setter)(self, property.param, value);
    return Assigned::kStored;
}

Assigned AssignProperty(ZYNEobject self, InstanceData* data, const ZYNEproperty& property,
                        ZYNEobject value) {
    if (property.setter == nullptr) return Assigned::kStop;
    const ValueKind kind = KindOf(property.type);
    switch (kind) {
        case ValueKind::kInteger:
        case ValueKind::kColor: {
            long number = 0;
            if (!ZYNEGetPropValue(value, "IntegerValue", &number)) return Assigned::kStop;
            return Store<long>(self, data, property, kind, number);
        }
        case ValueKind::kDouble: {
            double number = 0;
            if (!ZYNEGetPropValue(value, "DoubleValue", &number)) return Assigned::kStop;
            return Store<double>(self, data, property, kind, number);
        }
        case ValueKind::kBoolean: {
            unsigned char flag = 0;
            if (!ZYNEGetPropValue(value, "BooleanValue", &flag)) return Assigned::kStop;
            return Store<unsigned char>(self, data, property, kind, flag != 0 ? 1 : 0);
        }
        case ValueKind::kString: {
            ZYNEstring text = nullptr;
            if (!ZYNEGetPropValue(value, "StringValue", &text)) return Assigned::kStop;
            if (property.setter != ZYNE_DIRECT_FIELD) {
                Store<ZYNEstring>(self, data, property, kind, text);
                ZYNEUnlockString(text);
                return Assigned::kStored;
            }
            // The field takes over the reference just read; the one it held goes.
            unsigned char* field = FieldAt(data, property.param, kind);
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

ZYNEobject GetProperty(ZYNEobject self, const char* name, unsigned long length) {
    InstanceData* data = LiveDataOf(self);
    if (data == nullptr || data->control->properties == nullptr) return nullptr;
    const ZYNEcontrol* control = data->control;
    for (long i = 0; i < control->propertyCount; ++i) {
        const ZYNEproperty& property = control->properties[i];
        if (SameName(property, name, length)) return ReadProperty(self, data, property);
    }
    return nullptr;
}

bool SetProperty(ZYNEobject self, const char* name, unsigned long length, ZYNEobject value) {
    InstanceData* data = LiveDataOf(self);
    if (data == nullptr || data->control->properties == nullptr) return false;
    const ZYNEcontrol* control = data->control;
    bool stored = false;
    // As for class instances: every property of the name is assigned, not only the first.
    for (long i = 0; i < control->propertyCount; ++i) {
        const ZYNEproperty& property = control->properties[i];
        if (!SameName(property, name, length)) continue;
        const Assigned result = AssignProperty(self, data, property, value);
        if (result == Assigned::kStop) break;
        if (result == Assigned::kStored) stored = true;
    }
    return stored;
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
    placement->width = control->defaultWidth;
    placement->height = control->defaultHeight;
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
