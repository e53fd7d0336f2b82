// ZYNEPlugin.h - the host interface a plug-in is written against.
//
// A plug-in exports one function, ZYNEPluginMain, which the host calls with its
// resolver (service name to function). The glue behind this header keeps the
// resolver, announces interface version 9 and calls the plug-in's PluginEntry(),
// which registers the plug-in's classes. Every ZYNE... entry point below then
// reaches its host service by name, binding it on the first call.
//
// A missing host service is never an error: the entry point returns 0, null,
// 0.0 (or -1 for ZYNERegisterBackgroundTask) and does nothing. A later call
// asks the host again, so a service that appears afterwards is still found.
//
// Self-contained; the records (ZYNERecords.h) compile as C, the entry points
// need C++ because several of them are overloaded.
#ifndef ZYNE_PLUGIN_H
#define ZYNE_PLUGIN_H

#include "ZYNERecords.h"

#ifndef __cplusplus
#error "ZYNEPlugin.h declares overloaded entry points and needs C++; C code can use ZYNERecords.h"
#endif

// ZYNE_API marks the interface. The bridge exports it; a guest plug-in's copy of
// the glue keeps it hidden (guests build with -fvisibility=hidden), so a guest
// exports only its own ZYNEPluginMain.
#if defined(ZYNE_BUILDING_BRIDGE)
#define ZYNE_API __attribute__((visibility("default")))
#else
#define ZYNE_API
#endif
#define ZYNE_ENTRY_API __attribute__((visibility("default")))

typedef ZYNEclassRefStruct* ZYNEclassRef;
typedef struct ZYNEPictureDescription ZYNEPictureDescription;
typedef struct ZYNESoundDescription ZYNESoundDescription;
typedef void (*ZYNEBackgroundTaskProc)(void* data);

// The interface version a plug-in built with this header announces.
#define ZYNE_INTERFACE_VERSION 9

extern "C" {
// Called once by the host right after loading: keeps the resolver, calls the
// host's "RegisterPluginVersion" with 9, then PluginEntry().
ZYNE_ENTRY_API void ZYNEPluginMain(ZYNEResolver resolver);
}

// Written by the plug-in: registers its classes, modules and methods.
void PluginEntry();

// The host's resolver, set once by ZYNEPluginMain; null before.
extern ZYNE_API ZYNEResolver gResolver;
// Kept only as an exported symbol; nothing reads or writes it.
extern ZYNE_API ZYNEResolver gResolverMachO;

// gResolver(name), unchecked and uncached: a resolver to hand on.
ZYNE_API void* HCallResolver(const char* name);

// The plug-in's instance data inside a host object: object + dataOffset.
ZYNE_API void* ZYNEGetClassData(ZYNEobject object, ZYNEclassDefinition* definition);
ZYNE_API void* ZYNEGetControlData(ZYNEobject instance, ZYNEcontrol* control);
// First text byte of a host string and, when lengthOut is not null, its length.
// A null string gives null and leaves *lengthOut alone.
ZYNE_API const char* ZYNEGetStringContents(ZYNEstring string, unsigned long* lengthOut);
// Sets ZYNE_CLASS_CONSOLE_SAFE in the record's flags.
ZYNE_API void SetClassConsoleSafe(ZYNEclassDefinition* definition);
// A malloc'ed copy of `count` methods in the earlier three-word form. Never freed:
// the host may keep pointing into it. Null only if the allocation fails.
ZYNE_API ZYNEmethodDefinitionV6* ConvertCurrentMethodsToV6(const ZYNEmethodDefinition* methods, long count);
// ZYNELoadFrameworkMethod(methodName); the module name never reaches the host.
ZYNE_API void* ZYNELoadGlobalMethod(const char* moduleName, const char* methodName);

#define ZYNE_FORWARD(R, Entry, Host, Params, Args) ZYNE_API R Entry Params;
#define ZYNE_FORWARD_VOID(Entry, Host, Params, Args) ZYNE_API void Entry Params;
#define ZYNE_FORWARD_OR(R, Entry, Host, Params, Args, Failure) ZYNE_API R Entry Params;
#define ZYNE_FORWARD_ADAPTED(R, Entry, Host, Params, CR, CParams, CArgs) ZYNE_API R Entry Params;
#define ZYNE_REGISTER_ADAPTED(Entry, Host, Record) ZYNE_API void Entry(Record* record);
#define ZYNE_PROP_GET(Word, T) ZYNE_API int ZYNEGetPropValue(ZYNEobject object, const char* name, T* value);
#define ZYNE_PROP_SET(Word, T, CT) ZYNE_API int ZYNESetPropValue(ZYNEobject object, const char* name, T value);
#define ZYNE_ARRAY_PUT(Entry, Host, T) ZYNE_API void Entry(void* array, long index, T value);
#define ZYNE_ARRAY_GET(Entry, Host, T) ZYNE_API void Entry(void* array, long index, T* value);
#include "ZYNEServices.def"
#undef ZYNE_FORWARD
#undef ZYNE_FORWARD_VOID
#undef ZYNE_FORWARD_OR
#undef ZYNE_FORWARD_ADAPTED
#undef ZYNE_REGISTER_ADAPTED
#undef ZYNE_PROP_GET
#undef ZYNE_PROP_SET
#undef ZYNE_ARRAY_PUT
#undef ZYNE_ARRAY_GET

#endif  // ZYNE_PLUGIN_H
