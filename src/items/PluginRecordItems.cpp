// PluginRecordItems.cpp - the record views: PluginClass, PluginControl, PluginModule and
// PluginInterface.
//
// A view's instance data points at the guest's record and holds a reference on the
// definition it came from; every property and method reads the record when asked. Lists
// are read by the record's version: method lists of records below version 7 hold
// three-word methods, constants exist from version 6, flags from 7, shared members and a
// module's structures, enumerations and properties from 9.
#include <new>

#include "bridge/ClassTables.h"
#include "bridge/PluginDefinition.h"
#include "hostapi/RecordReaders.h"
#include "items/ControlInstance.h"
#include "items/PluginClassInstance.h"
#include "items/PluginItemData.h"
#include "items/PluginItems.h"

using zyne::bridge::CountOf;
using zyne::bridge::MethodRow;
using zyne::bridge::PlainClass;
using zyne::bridge::ReadOnlyProperty;
using zyne::bridge::Routine;

namespace {

// Bytes of the host's header in front of every object's data, and of the header a
// control adds to it: six and seven machine words (24 and 28 bytes on i386).
constexpr long kObjectHeaderSize = 6 * static_cast<long>(sizeof(void*));
constexpr long kControlHeaderSize = 7 * static_cast<long>(sizeof(void*));

// Instance data of every view.
template <class Record>
struct ViewData {
    Record* record;
    PluginDefinition* owner;  // one reference, or nil
    ZYNEobject icon;          // PluginControl only: locked pictures, or nil
    ZYNEobject mask;
};

template <class Record, ZYNEclassDefinition& Class>
struct View {
    using Data = ViewData<Record>;
    static Data* DataOf(ZYNEobject self) {
        if (self == nullptr) return nullptr;
        return static_cast<Data*>(ZYNEGetClassData(self, &Class));
    }
    static Record* Of(ZYNEobject self) {
        const Data* data = DataOf(self);
        return data != nullptr ? data->record : nullptr;
    }
    static void Construct(ZYNEobject self) {
        if (Data* data = DataOf(self)) *data = {};
    }
    static void Destruct(ZYNEobject self) {
        Data* data = DataOf(self);
        if (data == nullptr) return;
        if (data->icon != nullptr) ZYNEUnlockObject(data->icon);
        if (data->mask != nullptr) ZYNEUnlockObject(data->mask);
        PluginDefinition::Release(data->owner);
        *data = {};
    }
    static ZYNEobject New(Record* record, PluginDefinition* owner) {
        if (record == nullptr) return nullptr;
        ZYNEobject object = ZYNEnewInstance(Class.name);
        Data* data = DataOf(object);
        if (data == nullptr) {
            if (object != nullptr) ZYNEUnlockObject(object);
            return nullptr;
        }
        data->record = record;
        data->owner = owner;
        if (owner != nullptr) owner->AddReference();
        return object;
    }
    static ZYNEstring NameGetter(ZYNEobject self, long) {
        const Record* record = Of(self);
        return record != nullptr ? NewUTF8HostString(record->name) : nullptr;
    }
};

bool InRange(long index, long count) { return index >= 0 && index < count; }

// Items of the lists every class-like record has.
ZYNEobject EventHandlerAt(const ZYNEeventInstance* list, long count, long index) {
    // The handler is shown by its first word: the event it handles.
    return InRange(index, count) && list != nullptr ? NewPluginMethodObject(list[index].name)
                                                    : nullptr;
}

ZYNEobject EventAt(const ZYNEevent* list, long count, long index) {
    return InRange(index, count) && list != nullptr ? NewPluginMethodObject(list[index].declaration)
                                                    : nullptr;
}

ZYNEobject MethodAt(const void* list, long count, long index, bool earlierForm, bool shared) {
    return NewPluginMethodObject(GetMethodInList(list, count, index, earlierForm), earlierForm,
                                 shared);
}

ZYNEobject PropertyAt(const ZYNEproperty* list, long count, long index, bool shared) {
    return InRange(index, count) && list != nullptr ? NewPluginPropertyObject(&list[index], shared)
                                                    : nullptr;
}

ZYNEobject ConstantAt(const ZYNEconstant* list, long count, long index) {
    return InRange(index, count) && list != nullptr ? NewPluginConstantObject(&list[index])
                                                    : nullptr;
}

// ----- PluginClass ------------------------------------------------------------------------------

using ClassView = View<ZYNEclassDefinition, PluginClassClassDefinition>;

long ClassMethodCount(const ZYNEclassDefinition& c) {
    return c.methodCount + (c.version >= 9 ? c.sharedMethodCount : 0);
}
long ClassPropertyCount(const ZYNEclassDefinition& c) {
    return c.propertyCount + (c.version >= 9 ? c.sharedPropertyCount : 0);
}
long ClassConstantCount(const ZYNEclassDefinition& c) {
    return c.version > 5 ? c.constantCount : 0;
}

// The five counts share this getter; the property's parameter selects one.
long ClassCountGetter(ZYNEobject self, long selector) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    if (c == nullptr) return 0;
    switch (selector) {
        case 0: return c->eventInstanceCount;
        case 1: return ClassMethodCount(*c);
        case 2: return ClassPropertyCount(*c);
        case 3: return ClassConstantCount(*c);
        case 4: return c->eventCount;
        default: return 0;
    }
}

bool ClassHasInitializer(ZYNEobject self, long) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    return c != nullptr && c->constructor != nullptr;
}

bool ClassHasFinalizer(ZYNEobject self, long) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    return c != nullptr && c->destructor != nullptr;
}

long ClassDataSize(ZYNEobject self, long) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    return c != nullptr ? c->dataSize : 0;
}

long ClassDataOffset(ZYNEobject self, long) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    if (c == nullptr) return 0;
    return static_cast<long>(GetClassDataSize(c->superName)) + kObjectHeaderSize;
}

ZYNEstring ClassSuperclass(ZYNEobject self, long) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    return c != nullptr ? NewUTF8HostString(c->superName) : nullptr;
}

ZYNEstring ClassCompatibilityFlags(ZYNEobject self, long) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    if (c == nullptr || c->version < 7) return nullptr;  // no flags word before version 7
    return CompatibilityFlagsString(c->flags);
}

ZYNEstring ClassInterfaces(ZYNEobject self, long) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    return c != nullptr ? NewUTF8HostString(c->interfaces) : nullptr;
}

ZYNEobject ClassCreate(ZYNEobject self) {
    ZYNEclassDefinition* c = ClassView::Of(self);
    return c != nullptr ? PluginClassInstanceCreateFromDefinition(c) : nullptr;
}

ZYNEobject ClassGetEvent(ZYNEobject self, long index) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    return c != nullptr ? EventHandlerAt(c->eventInstances, c->eventInstanceCount, index) : nullptr;
}

ZYNEobject ClassGetNewEvent(ZYNEobject self, long index) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    return c != nullptr ? EventAt(c->events, c->eventCount, index) : nullptr;
}

// Indexes past the main list reach the shared list on version 9 records.
ZYNEobject ClassGetMethod(ZYNEobject self, long index) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    if (c == nullptr || !InRange(index, ClassMethodCount(*c))) return nullptr;
    if (index < c->methodCount)
        return MethodAt(c->methods, c->methodCount, index, UsesEarlierMethodForm(c->version), false);
    return MethodAt(c->sharedMethods, c->sharedMethodCount, index - c->methodCount, false, true);
}

ZYNEobject ClassGetProperty(ZYNEobject self, long index) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    if (c == nullptr || !InRange(index, ClassPropertyCount(*c))) return nullptr;
    if (index < c->propertyCount) return PropertyAt(c->properties, c->propertyCount, index, false);
    return PropertyAt(c->sharedProperties, c->sharedPropertyCount, index - c->propertyCount, true);
}

ZYNEobject ClassGetConstant(ZYNEobject self, long index) {
    const ZYNEclassDefinition* c = ClassView::Of(self);
    return c != nullptr ? ConstantAt(c->constants, ClassConstantCount(*c), index) : nullptr;
}

ZYNEproperty PluginClassProperties[] = {
    ReadOnlyProperty("EventCount", "Integer", Routine(&ClassCountGetter), 0),
    ReadOnlyProperty("NewEventCount", "Integer", Routine(&ClassCountGetter), 4),
    ReadOnlyProperty("MethodCount", "Integer", Routine(&ClassCountGetter), 1),
    ReadOnlyProperty("PropertyCount", "Integer", Routine(&ClassCountGetter), 2),
    ReadOnlyProperty("ConstantCount", "Integer", Routine(&ClassCountGetter), 3),
    ReadOnlyProperty("Name", "String", Routine(&ClassView::NameGetter)),
    ReadOnlyProperty("HasInitializer", "Boolean", Routine(&ClassHasInitializer)),
    ReadOnlyProperty("HasFinalizer", "Boolean", Routine(&ClassHasFinalizer)),
    ReadOnlyProperty("DataSize", "Integer", Routine(&ClassDataSize)),
    ReadOnlyProperty("DataOffset", "Integer", Routine(&ClassDataOffset)),
    ReadOnlyProperty("Superclass", "String", Routine(&ClassSuperclass)),
    ReadOnlyProperty("CompatibilityFlags", "String", Routine(&ClassCompatibilityFlags)),
    ReadOnlyProperty("Interfaces", "String", Routine(&ClassInterfaces)),
};

ZYNEmethodDefinition PluginClassMethods[] = {
    MethodRow(Routine(&ClassCreate), "Create() as PluginClassInstance"),
    MethodRow(Routine(&ClassGetEvent), "GetEvent( index as integer ) as PluginMethod"),
    MethodRow(Routine(&ClassGetNewEvent), "GetNewEvent( index as integer ) as PluginMethod"),
    MethodRow(Routine(&ClassGetMethod), "GetMethod( index as integer ) as PluginMethod"),
    MethodRow(Routine(&ClassGetProperty), "GetProperty( index as integer ) as PluginProperty"),
    MethodRow(Routine(&ClassGetConstant), "GetConstant( index As Integer ) As PluginConstant"),
};

// ----- PluginControl ----------------------------------------------------------------------------

using ControlView = View<ZYNEcontrol, PluginControlClassDefinition>;

long ControlConstantCount(const ZYNEcontrol& c) { return c.version > 5 ? c.constantCount : 0; }

// Kept on purpose: a control's selectors run 0 to 4 in table order, unlike a class's.
long ControlCountGetter(ZYNEobject self, long selector) {
    const ZYNEcontrol* c = ControlView::Of(self);
    if (c == nullptr) return 0;
    switch (selector) {
        case 0: return c->eventInstanceCount;
        case 1: return c->eventCount;
        case 2: return c->methodCount;
        case 3: return c->propertyCount;
        case 4: return ControlConstantCount(*c);
        default: return 0;
    }
}

long ControlDefaultHeight(ZYNEobject self, long) {
    const ZYNEcontrol* c = ControlView::Of(self);
    return c != nullptr ? c->defaultHeight : 0;
}

long ControlDefaultWidth(ZYNEobject self, long) {
    const ZYNEcontrol* c = ControlView::Of(self);
    return c != nullptr ? c->defaultWidth : 0;
}

// The control's own data plus the word the control header keeps for it.
long ControlDataSize(ZYNEobject self, long) {
    const ZYNEcontrol* c = ControlView::Of(self);
    return c != nullptr ? c->dataSize + static_cast<long>(sizeof(void*)) : 0;
}

long ControlDataOffset(ZYNEobject self, long) {
    if (ControlView::Of(self) == nullptr) return 0;
    return static_cast<long>(GetClassDataSize("Control")) + kControlHeaderSize;
}

ZYNEstring ControlCompatibilityFlags(ZYNEobject self, long) {
    const ZYNEcontrol* c = ControlView::Of(self);
    if (c == nullptr || c->version < 7) return nullptr;
    return CompatibilityFlagsString(c->flags);
}

long ControlFlags(ZYNEobject self, long) {
    const ZYNEcontrol* c = ControlView::Of(self);
    return c != nullptr ? static_cast<long>(c->flags) : 0;
}

ZYNEobject ControlGetEvent(ZYNEobject self, long index) {
    const ZYNEcontrol* c = ControlView::Of(self);
    return c != nullptr ? EventHandlerAt(c->eventInstances, c->eventInstanceCount, index) : nullptr;
}

ZYNEobject ControlGetNewEvent(ZYNEobject self, long index) {
    const ZYNEcontrol* c = ControlView::Of(self);
    return c != nullptr ? EventAt(c->events, c->eventCount, index) : nullptr;
}

ZYNEobject ControlGetProperty(ZYNEobject self, long index) {
    const ZYNEcontrol* c = ControlView::Of(self);
    return c != nullptr ? PropertyAt(c->properties, c->propertyCount, index, false) : nullptr;
}

ZYNEobject ControlGetMethod(ZYNEobject self, long index) {
    const ZYNEcontrol* c = ControlView::Of(self);
    if (c == nullptr) return nullptr;
    return MethodAt(c->methods, c->methodCount, index, UsesEarlierMethodForm(c->version), false);
}

ZYNEobject ControlGetConstant(ZYNEobject self, long index) {
    const ZYNEcontrol* c = ControlView::Of(self);
    return c != nullptr ? ConstantAt(c->constants, ControlConstantCount(*c), index) : nullptr;
}

// Design-time control instances are made here once they exist; until then nil.
// A design-time instance of the control, placed in `parent`; it keeps the guest loaded.
ZYNEobject ControlCreate(ZYNEobject self, ZYNEobject parent) {
    const ControlView::Data* data = ControlView::DataOf(self);
    if (data == nullptr) return nullptr;
    return PluginControlInstanceCreate(data->record, data->owner, parent);
}

ZYNEobject LockedPicture(ZYNEobject picture) {
    if (picture != nullptr) ZYNELockObject(picture);
    return picture;
}

ZYNEobject ControlGetToolbarIcon(ZYNEobject self) {
    const ControlView::Data* data = ControlView::DataOf(self);
    return data != nullptr ? LockedPicture(data->icon) : nullptr;
}

ZYNEobject ControlGetToolbarIconMask(ZYNEobject self) {
    const ControlView::Data* data = ControlView::DataOf(self);
    return data != nullptr ? LockedPicture(data->mask) : nullptr;
}

ZYNEproperty PluginControlProperties[] = {
    ReadOnlyProperty("EventCount", "Integer", Routine(&ControlCountGetter), 0),
    ReadOnlyProperty("NewEventCount", "Integer", Routine(&ControlCountGetter), 1),
    ReadOnlyProperty("MethodCount", "Integer", Routine(&ControlCountGetter), 2),
    ReadOnlyProperty("PropertyCount", "Integer", Routine(&ControlCountGetter), 3),
    ReadOnlyProperty("ConstantCount", "Integer", Routine(&ControlCountGetter), 4),
    ReadOnlyProperty("Name", "String", Routine(&ControlView::NameGetter)),
    ReadOnlyProperty("DefaultHeight", "Integer", Routine(&ControlDefaultHeight)),
    ReadOnlyProperty("DefaultWidth", "Integer", Routine(&ControlDefaultWidth)),
    ReadOnlyProperty("DataSize", "Integer", Routine(&ControlDataSize)),
    ReadOnlyProperty("DataOffset", "Integer", Routine(&ControlDataOffset)),
    ReadOnlyProperty("CompatibilityFlags", "String", Routine(&ControlCompatibilityFlags)),
    ReadOnlyProperty("Flags", "Integer", Routine(&ControlFlags)),
};

ZYNEmethodDefinition PluginControlMethods[] = {
    MethodRow(Routine(&ControlGetEvent), "GetEvent( index as integer ) as PluginMethod"),
    MethodRow(Routine(&ControlGetNewEvent), "GetNewEvent( index as integer ) as PluginMethod"),
    MethodRow(Routine(&ControlGetProperty), "GetProperty( index as integer ) as PluginProperty"),
    MethodRow(Routine(&ControlGetMethod), "GetMethod( index as integer ) as PluginMethod"),
    MethodRow(Routine(&ControlGetConstant), "GetConstant( index As Integer ) As PluginConstant"),
    MethodRow(Routine(&ControlCreate), "Create( parent as window ) as PluginControlInstance"),
    MethodRow(Routine(&ControlGetToolbarIcon), "GetToolbarIcon() As Picture"),
    MethodRow(Routine(&ControlGetToolbarIconMask), "GetToolbarIconMask() As Picture"),
};

// ----- PluginModule -----------------------------------------------------------------------------

using ModuleView = View<ZYNEmoduleDefinition, PluginModuleClassDefinition>;

// Structures, enumerations and properties exist only in version 9 module records.
long ModuleCountGetter(ZYNEobject self, long selector) {
    const ZYNEmoduleDefinition* m = ModuleView::Of(self);
    if (m == nullptr) return 0;
    const bool late = m->version >= 9;
    switch (selector) {
        case 0: return m->methodCount;
        case 1: return m->constantCount;
        case 2: return late ? m->structureCount : 0;
        case 3: return late ? m->enumCount : 0;
        case 4: return late ? m->propertyCount : 0;
        default: return 0;
    }
}

ZYNEobject ModuleGetMethod(ZYNEobject self, long index) {
    const ZYNEmoduleDefinition* m = ModuleView::Of(self);
    if (m == nullptr) return nullptr;
    return MethodAt(m->methods, m->methodCount, index, UsesEarlierMethodForm(m->version), false);
}

ZYNEobject ModuleGetConstant(ZYNEobject self, long index) {
    const ZYNEmoduleDefinition* m = ModuleView::Of(self);
    return m != nullptr ? ConstantAt(m->constants, m->constantCount, index) : nullptr;
}

ZYNEobject ModuleGetStructure(ZYNEobject self, long index) {
    const ZYNEmoduleDefinition* m = ModuleView::Of(self);
    if (m == nullptr || m->version < 9 || !InRange(index, m->structureCount) ||
        m->structures == nullptr)
        return nullptr;
    return NewPluginStructureObject(&m->structures[index]);
}

ZYNEobject ModuleGetEnum(ZYNEobject self, long index) {
    const ZYNEmoduleDefinition* m = ModuleView::Of(self);
    if (m == nullptr || m->version < 9 || !InRange(index, m->enumCount) || m->enums == nullptr)
        return nullptr;
    return NewPluginEnumObject(&m->enums[index]);
}

ZYNEobject ModuleGetProperty(ZYNEobject self, long index) {
    const ZYNEmoduleDefinition* m = ModuleView::Of(self);
    if (m == nullptr || m->version < 9) return nullptr;
    return PropertyAt(m->properties, m->propertyCount, index, false);
}

ZYNEproperty PluginModuleProperties[] = {
    ReadOnlyProperty("MethodCount", "Integer", Routine(&ModuleCountGetter), 0),
    ReadOnlyProperty("ConstantCount", "Integer", Routine(&ModuleCountGetter), 1),
    ReadOnlyProperty("Name", "String", Routine(&ModuleView::NameGetter)),
    ReadOnlyProperty("StructureCount", "Integer", Routine(&ModuleCountGetter), 2),
    ReadOnlyProperty("EnumCount", "Integer", Routine(&ModuleCountGetter), 3),
    ReadOnlyProperty("PropertyCount", "Integer", Routine(&ModuleCountGetter), 4),
};

ZYNEmethodDefinition PluginModuleMethods[] = {
    MethodRow(Routine(&ModuleGetMethod), "GetMethod( index as integer ) as PluginMethod"),
    MethodRow(Routine(&ModuleGetConstant), "GetConstant( index As Integer ) As PluginConstant"),
    MethodRow(Routine(&ModuleGetStructure), "GetStructure( index as Integer ) As PluginStructure"),
    MethodRow(Routine(&ModuleGetEnum), "GetEnum( index as Integer ) As PluginEnum"),
    MethodRow(Routine(&ModuleGetProperty), "GetProperty( index as Integer ) As PluginProperty"),
};

// ----- PluginInterface --------------------------------------------------------------------------

using InterfaceView = View<ZYNEinterfaceDefinition, PluginInterfaceClassDefinition>;

long InterfaceMethodCount(ZYNEobject self, long) {
    const ZYNEinterfaceDefinition* i = InterfaceView::Of(self);
    return i != nullptr ? i->methodCount : 0;
}

ZYNEobject InterfaceGetMethod(ZYNEobject self, long index) {
    const ZYNEinterfaceDefinition* i = InterfaceView::Of(self);
    if (i == nullptr) return nullptr;
    return MethodAt(i->methods, i->methodCount, index, UsesEarlierMethodForm(i->version), false);
}

ZYNEproperty PluginInterfaceProperties[] = {
    ReadOnlyProperty("MethodCount", "Integer", Routine(&InterfaceMethodCount)),
    ReadOnlyProperty("Name", "String", Routine(&InterfaceView::NameGetter)),
};

ZYNEmethodDefinition PluginInterfaceMethods[] = {
    MethodRow(Routine(&InterfaceGetMethod), "GetMethod( index as integer ) as PluginMethod"),
};

}  // namespace

// Each view class keeps its record in its own View<> instantiation.
template <class ViewType>
constexpr ZYNEclassDefinition ViewClass(const char* name, ZYNEproperty* properties,
                                        long propertyCount, ZYNEmethodDefinition* methods,
                                        long methodCount) {
    return PlainClass(name, sizeof(typename ViewType::Data), &ViewType::Construct,
                      &ViewType::Destruct, properties, propertyCount, methods, methodCount);
}

ZYNEclassDefinition PluginClassClassDefinition =
    ViewClass<ClassView>("PluginClass", PluginClassProperties, CountOf(PluginClassProperties),
                         PluginClassMethods, CountOf(PluginClassMethods));
ZYNEclassDefinition PluginControlClassDefinition = ViewClass<ControlView>(
    "PluginControl", PluginControlProperties, CountOf(PluginControlProperties),
    PluginControlMethods, CountOf(PluginControlMethods));
ZYNEclassDefinition PluginModuleClassDefinition =
    ViewClass<ModuleView>("PluginModule", PluginModuleProperties, CountOf(PluginModuleProperties),
                          PluginModuleMethods, CountOf(PluginModuleMethods));
ZYNEclassDefinition PluginInterfaceClassDefinition = ViewClass<InterfaceView>(
    "PluginInterface", PluginInterfaceProperties, CountOf(PluginInterfaceProperties),
    PluginInterfaceMethods, CountOf(PluginInterfaceMethods));

ZYNEobject NewPluginClassObject(ZYNEclassDefinition* record, PluginDefinition* owner) {
    return ClassView::New(record, owner);
}

ZYNEobject NewPluginControlObject(ZYNEcontrol* record, ZYNEobject icon, ZYNEobject mask,
                                  PluginDefinition* owner) {
    ZYNEobject object = ControlView::New(record, owner);
    ControlView::Data* data = ControlView::DataOf(object);
    if (data == nullptr) {
        // The pictures were handed over: they die with the view that could not be made.
        if (icon != nullptr) ZYNEUnlockObject(icon);
        if (mask != nullptr) ZYNEUnlockObject(mask);
        return nullptr;
    }
    data->icon = icon;
    data->mask = mask;
    return object;
}

ZYNEobject NewPluginModuleObject(ZYNEmoduleDefinition* record, PluginDefinition* owner) {
    return ModuleView::New(record, owner);
}

ZYNEobject NewPluginInterfaceObject(ZYNEinterfaceDefinition* record, PluginDefinition* owner) {
    return InterfaceView::New(record, owner);
}
