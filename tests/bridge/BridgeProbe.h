// BridgeProbe.h - test-only helpers that build plug-in records with the bridge's own code.
//
// The probe is a separate shared library compiled from the same objects as the bridge.
// Records it makes have the bridge's layout, so a test can hand one to a PluginBridge or a
// PluginDefinition object living in the real bridge (loaded by the reference host) and
// then read it back only through the host-visible classes. The loader that makes records
// for real does not exist yet; this is how the tests get records until it does.
// The probe must stay loaded for the whole process: items it makes are destroyed by the
// bridge through their virtual destructors, which live in the probe.
#ifndef ZYNE_TESTS_BRIDGE_BRIDGE_PROBE_H
#define ZYNE_TESTS_BRIDGE_BRIDGE_PROBE_H

extern "C" {
/// A new record (one reference) with the target flags of `flagBits`, bit i set for the
/// i-th flag in record order: Carbon, Classic, Linux, Mach-O, Mach-O Universal, Win32,
/// Cocoa.
void* ProbeNewDefinition(unsigned flagBits);
/// Appends `count` entries of `value` to the record's vector number `which` (record order:
/// classes 0, controls 1, interfaces 2, methods 3, structures 4, enums 5, modules 6, class
/// extensions 7, engines 8, data-source interfaces 9, data sources 10, connections 11).
void ProbeAppendItems(void* record, int which, long count, void* value);
/// Sets the record's library file (a disk item for `path`), source kind, and the flag that
/// the destructor removes the file.
void ProbeSetLibraryFile(void* record, const char* path, int sourceKind, bool deleteOnClose);
/// Sets the record's container file and linuxIndex.
void ProbeSetContainerFile(void* record, const char* path, unsigned linuxIndex);
/// The record's reference count.
unsigned ProbeRefCount(const void* record);
/// Appends `record` (whose reference passes to the bridge) to the definitions of the
/// PluginBridge object `bridge` (the pointer in a host PluginBridge object's data).
void ProbeAdoptDefinition(void* bridge, void* record);
/// Sweeps the folder or file at `path` as a bridge's destructor sweeps its temporary data
/// folder.
void ProbeSweep(const char* path);

// The probe carries its own copy of the host glue and of the class-owner map. These run
// bridge code in that copy, for what no host-visible class reaches yet.

/// Points the probe's host glue at `resolver` (a ZYNEResolver).
void ProbeUseResolver(void* resolver);
/// Enters (name, record) in the probe's class-owner map, as a guest's class registration
/// would.
void ProbeOwnClass(const char* name, void* record);
/// GetClassDataSize(name) over the probe's class-owner map and host glue.
long ProbeClassDataSize(const char* name);
/// Drops one reference of `record` with the probe's code (its class-owner map is cleared).
void ProbeReleaseDefinition(void* record);
/// record->GetControlIcon(control, mask); the picture, if any, is the caller's.
void* ProbeControlIcon(void* record, void* control, bool mask);
}

#endif  // ZYNE_TESTS_BRIDGE_BRIDGE_PROBE_H
