// PluginItems.h - the host-visible item classes through which host code explores what a
// guest plug-in registered.
//
// Two kinds:
// - Data items (PluginMethod, PluginProperty, PluginConstant, PluginEnum, PluginStructure)
//   carry a copy of what they show (PluginItemData.h) and never point into the guest.
// - Record views (PluginClass, PluginControl, PluginModule, PluginInterface) point at the
//   guest's own record and read it on demand. Each also holds one reference on the
//   PluginDefinition the record came from (nil for records handed in directly), so the
//   guest library stays loaded for as long as host code keeps a view.
//
// Every factory below answers a new host object whose one reference the caller owns, or
// nil when the host makes none. Every property is read-only.
#ifndef ZYNE_ITEMS_PLUGIN_ITEMS_H
#define ZYNE_ITEMS_PLUGIN_ITEMS_H

#include "hostapi/ZYNEPlugin.h"

class PluginDefinition;

/// A PluginMethod for method record `record`, read in the earlier three-word form when
/// `earlierForm` is set (its flags are then not read); `shared` marks a shared method.
ZYNEobject NewPluginMethodObject(const ZYNEmethodDefinition* record, bool earlierForm,
                                 bool shared);
/// A PluginMethod parsed from a declaration alone (events and event handlers).
ZYNEobject NewPluginMethodObject(const char* declaration);
/// A PluginProperty copied from `record`.
ZYNEobject NewPluginPropertyObject(const ZYNEproperty* record, bool shared);
ZYNEobject NewPluginConstantObject(const ZYNEconstant* record);
ZYNEobject NewPluginEnumObject(const ZYNEenum* record);
ZYNEobject NewPluginStructureObject(const ZYNEstructure* record);

/// Views of a guest record; `owner` (may be nil) gains one reference for the view's life.
ZYNEobject NewPluginClassObject(ZYNEclassDefinition* record, PluginDefinition* owner);
/// `icon` and `mask` (may be nil) are handed over: the view unlocks them when it dies.
ZYNEobject NewPluginControlObject(ZYNEcontrol* record, ZYNEobject icon, ZYNEobject mask,
                                  PluginDefinition* owner);
ZYNEobject NewPluginModuleObject(ZYNEmoduleDefinition* record, PluginDefinition* owner);
ZYNEobject NewPluginInterfaceObject(ZYNEinterfaceDefinition* record, PluginDefinition* owner);

/// The text a compatibility flags word shows: 8 "not TargetHasGUI", else 4 "true", else
/// "TargetHasGUI", as a new host string.
ZYNEstring CompatibilityFlagsString(unsigned long flags);
/// The scope word of a flags word as a new host string; nil when no scope bit is set.
ZYNEstring ScopeString(unsigned long flags);

/// The host classes, registered by PluginEntry.
extern ZYNEclassDefinition PluginMethodClassDefinition;
extern ZYNEclassDefinition PluginPropertyClassDefinition;
extern ZYNEclassDefinition PluginConstantClassDefinition;
extern ZYNEclassDefinition PluginEnumClassDefinition;
extern ZYNEclassDefinition PluginStructureClassDefinition;
extern ZYNEclassDefinition PluginClassClassDefinition;
extern ZYNEclassDefinition PluginControlClassDefinition;
extern ZYNEclassDefinition PluginModuleClassDefinition;
extern ZYNEclassDefinition PluginInterfaceClassDefinition;

#endif  // ZYNE_ITEMS_PLUGIN_ITEMS_H
