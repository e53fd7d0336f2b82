// PluginClassInstance.h - design-time instances of guest classes: the host class
// "PluginClassInstance", which carries a guest's instance data inside its own.
//
// Instance data of a PluginClassInstance object:
//   OFFSET  SIZE    FIELD        MEANING
//   0       1 word  guestClass   the guest's ZYNEclassDefinition*, null until created
//   1 word  4096    guestData    the guest's own instance data
// The guest record's dataOffset is set to this class's offset plus one word, so the
// guest's own ZYNEGetClassData(instance, record) lands on guestData.
// Its one method, "Prop( propertyName as string ) as Variant", reads and assigns the
// guest's properties by name through variants. Not here: instances of controls.
#ifndef ZYNE_ITEMS_PLUGIN_CLASS_INSTANCE_H
#define ZYNE_ITEMS_PLUGIN_CLASS_INSTANCE_H

#include "hostapi/ZYNEPlugin.h"

/// Bytes of guest instance data a design-time instance can hold; a guest class needing
/// more is refused.
inline constexpr long kPluginClassInstanceGuestDataSize = 4096;

/// A new host "PluginClassInstance" object for the guest class `record`, with the guest's
/// constructor run on it; the caller owns the object's one reference. Writes the record's
/// dataOffset first, in every case. Nil for a null record, a guest data size over 4096
/// bytes (a message goes to standard error) or when the host makes no object.
ZYNEobject PluginClassInstanceCreateFromDefinition(ZYNEclassDefinition* record);

/// The guest class record of a design-time instance (`instance` must be a
/// "PluginClassInstance" object); nil for a nil object or one not yet given a record.
/// Owned by the guest library.
ZYNEclassDefinition* PluginClassInstanceGuestClass(ZYNEobject instance);

/// The address of the instance's 4096-byte guest data area, valid while the object
/// lives (`instance` must be a "PluginClassInstance" object); nil for a nil object.
void* PluginClassInstanceGuestData(ZYNEobject instance);

/// A guest's property list and the one instance whose values it reads and assigns: what
/// the "Prop" method of class and control instances works on. A default one lists nothing.
struct GuestProperties {
    const ZYNEproperty* list = nullptr;  ///< the guest's records, owned by the guest; may be null
    long count = 0;                      ///< records in `list`
    unsigned char* data = nullptr;       ///< the instance's guest data, where direct fields live
    unsigned long dataSize = 0;          ///< bytes at `data`; a field past them is never touched
    void* routineArgument = nullptr;     ///< first argument of the getter and setter routines
    long* dataOffset = nullptr;          ///< when set, given `dataOffsetValue` before each
    long dataOffsetValue = 0;            ///< call of a getter or setter routine
    bool booleansAsBit = false;          ///< store an assigned boolean as exactly 0 or 1
};

/// The first property named `name` (`length` bytes, any case) as a new variant the caller
/// owns; nil for no such property, no getter, a type other than integer, double, boolean,
/// string or color, or a direct field outside the data.
ZYNEobject GuestPropertyRead(const GuestProperties& target, const char* name,
                             unsigned long length);

/// Assigns `value` to every property named `name`, in order, stopping at one with no
/// setter or whose type the variant cannot give; properties of other types and fields
/// outside the data are left alone. True when at least one value was stored.
bool GuestPropertyAssign(const GuestProperties& target, const char* name, unsigned long length,
                         ZYNEobject value);

/// The host-visible class "PluginClassInstance": version 9, one word plus 4096 bytes of
/// data, no constructor or destructor, one method with getter and setter.
extern ZYNEclassDefinition PluginClassInstanceClassDefinition;

#endif  // ZYNE_ITEMS_PLUGIN_CLASS_INSTANCE_H
