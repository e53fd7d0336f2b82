// GuestResolver.h - the resolver the bridge hands to guest plug-ins.
//
// A guest asks its resolver for every host function it calls. The bridge answers a fixed
// table of names itself (registrations, captured into the definition being loaded, and a
// few design-time services) and passes every other name to the host's resolver.
#ifndef ZYNE_BRIDGE_GUEST_RESOLVER_H
#define ZYNE_BRIDGE_GUEST_RESOLVER_H

#include "core/StringMap.h"
#include "hostapi/ZYNEPlugin.h"

class PluginDefinition;

/// Answers `name` from the intercept table (setting *intercepted to true when the pointer
/// is given; the answer may be nil on purpose), or else asks `hostResolver` (setting
/// *intercepted to false) and returns whatever it answers.
void* BridgeResolve(const char* name, ZYNEResolver hostResolver, bool* intercepted);
/// The one-argument resolver handed to a guest's ZYNEPluginMain: BridgeResolve(name,
/// gResolver, nil).
void* GuestResolver(const char* name);

/// Class name to the record that registered it. Only grows; entries outlive records.
StringMap<PluginDefinition*>& ClassOwnerMap();
/// Class name to its faux class reference "fauxcref<name>" (heap C string, never freed).
StringMap<char*>& ClassReferenceMap();

#endif  // ZYNE_BRIDGE_GUEST_RESOLVER_H
