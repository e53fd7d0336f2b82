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

/// The host-visible class "PluginClassInstance": version 9, one word plus 4096 bytes of
/// data, no constructor or destructor, one method with getter and setter.
extern ZYNEclassDefinition PluginClassInstanceClassDefinition;

#endif  // ZYNE_ITEMS_PLUGIN_CLASS_INSTANCE_H
