// GuestResolver.h - the resolver the bridge hands to guest plug-ins.
//
// A guest asks its resolver for every host function it calls. The bridge answers a fixed
// table of 52 names itself (registrations, captured into the definition being loaded, and a
// few design-time services) and passes every other name to the host's resolver.
//
// What the table answers:
// - Registrations ("PluginRegisterClass", "PluginRegisterMethod", "RegisterDataSource", ...)
//   append the guest's record, unread and uncopied, to the matching list of the current
//   definition and answer the list's new count; outside a load they record nothing and
//   answer 0. A class is also entered in ClassOwnerMap() and ClassReferenceMap().
// - "pluginObjectType" answers a class's faux reference ("fauxcref" + name) for a class some
//   guest registered, else the host's reference; during a load every name asked for is
//   added to the loading bridge's dependencies. "PluginNewInstance" and "CreateInstance"
//   make design-time instances of guest classes and leave every other class to the host.
// - The property family ("ZYNEGetPropValueInt" ... "ZYNESetPropValueObject") and
//   "ZYNELoadObjectMethod" serve design-time instances ("PluginClassInstance" objects, told
//   apart with the host's "RuntimeObjectIsa") from the guest's own records and forward any
//   other object to the host.
// - "ZYNELoadObjectMethod" matching rule: the requested declaration's name (its leading
//   identifier after any blanks) must equal a method's name without regard to case, and
//   the parameter types that DeclarationParser::GetParameterTypes gives for both
//   declarations must agree in number and, one by one, without regard to case. Parameter
//   names and return types are not compared. The guest class's own methods are searched
//   in order (its shared methods and superclasses are not); the first match answers its
//   routine, the method record's first word, as the host's service would. No match: the
//   host's answer for the same object and declaration.
// - Design-time services answer for the bridge's design window; "ZYNEGetControlGraphics",
//   "ZYNEInvalidateControl" and "ZYNESetSpecialBackground" answer nil on purpose.
//
// Not here: the design-time control services themselves (items/ControlInstanceServices.h)
// and the database dialog services (items/DatabaseDelegate.h).
#ifndef ZYNE_BRIDGE_GUEST_RESOLVER_H
#define ZYNE_BRIDGE_GUEST_RESOLVER_H

#include "core/StringMap.h"
#include "hostapi/ZYNEPlugin.h"

class PluginDefinition;

/// Answers `name` from the intercept table (setting *intercepted to true when the pointer
/// is given; the answer may be nil on purpose), or else asks `hostResolver` (setting
/// *intercepted to false) and returns whatever it answers; nil when `hostResolver` is nil.
void* BridgeResolve(const char* name, ZYNEResolver hostResolver, bool* intercepted);
/// The one-argument resolver handed to a guest's ZYNEPluginMain: BridgeResolve(name,
/// gResolver, nil).
void* GuestResolver(const char* name);

/// Class name to the record that registered it. Only grows; entries outlive records.
StringMap<PluginDefinition*>& ClassOwnerMap();
/// Class name to its faux class reference "fauxcref<name>" (heap C string, never freed).
StringMap<char*>& ClassReferenceMap();
/// Makes every class that `record` owns in ClassOwnerMap() read as owned by nil: the names
/// stay, but nothing reaches the record any more. For the record's destructor: a class
/// whose owner is gone is then nobody's guest class (instances of it are the host's
/// business) instead of a pointer into freed memory.
void ForgetClassOwner(const PluginDefinition* record);

#endif  // ZYNE_BRIDGE_GUEST_RESOLVER_H
