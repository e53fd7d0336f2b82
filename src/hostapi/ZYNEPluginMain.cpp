// ZYNEPluginMain.cpp - the plug-in's entry point, the kept resolver and the
// helpers the interface defines locally instead of asking the host.
#include "hostapi/ZYNEPlugin.h"

#include <cstdlib>

#include "core/KeptMemory.h"

ZYNE_API ZYNEResolver gResolver = nullptr;
ZYNE_API ZYNEResolver gResolverMachO = nullptr;

extern "C" ZYNE_ENTRY_API void ZYNEPluginMain(ZYNEResolver resolver) {
    gResolver = resolver;
    // Not checked: a host without this service cannot load plug-ins at all.
    using RegisterVersion = void (*)(long);
    reinterpret_cast<RegisterVersion>(resolver("RegisterPluginVersion"))(ZYNE_INTERFACE_VERSION);
    PluginEntry();
}

ZYNE_API void* HCallResolver(const char* name) { return gResolver(name); }

ZYNE_API void* ZYNEGetClassData(ZYNEobject object, ZYNEclassDefinition* definition) {
    if (object == nullptr || definition == nullptr) return nullptr;
    return reinterpret_cast<char*>(object) + definition->dataOffset;
}

ZYNE_API void* ZYNEGetControlData(ZYNEobject instance, ZYNEcontrol* control) {
    if (instance == nullptr || control == nullptr) return nullptr;
    return reinterpret_cast<char*>(instance) + control->dataOffset;
}

ZYNE_API const char* ZYNEGetStringContents(ZYNEstring string, unsigned long* lengthOut) {
    if (string == nullptr) return nullptr;
    if (lengthOut != nullptr) *lengthOut = static_cast<unsigned long>(string->length);
    // A record without storage is a host's empty string, not a pointer to dereference.
    if (string->storage == nullptr) return "";
    return reinterpret_cast<const char*>(string->storage + 1);
}

static const unsigned char kEmptyPString[1] = {0};

// Hosts hand plug-ins null string records and plug-ins call these members on
// them, so `this` may be null here. The empty asm hides that from the optimiser,
// which would otherwise assume `this` is never null and drop the tests.
static const ZYNEstringStruct* MaybeNull(const ZYNEstringStruct* self) {
    asm("" : "+r"(self));
    return self;
}

long ZYNEstringStruct::Length() const {
    const ZYNEstringStruct* self = MaybeNull(this);
    return self != nullptr ? self->length : 0;
}

const char* ZYNEstringStruct::CString() const {
    const ZYNEstringStruct* self = MaybeNull(this);
    return self != nullptr ? reinterpret_cast<const char*>(self->storage + 1) : "";
}

const unsigned char* ZYNEstringStruct::PString() const {
    const ZYNEstringStruct* self = MaybeNull(this);
    return self != nullptr ? self->storage : kEmptyPString;
}

ZYNE_API void SetClassConsoleSafe(ZYNEclassDefinition* definition) {
    if (definition == nullptr) return;
    definition->flags |= ZYNE_CLASS_CONSOLE_SAFE;
}

ZYNE_API ZYNEmethodDefinitionV6* ConvertCurrentMethodsToV6(const ZYNEmethodDefinition* methods,
                                                           long count) {
    if (count < 0) count = 0;
    // A count of 0 still allocates: the caller's record must point somewhere new. calloc
    // refuses a count whose byte size would overflow, where a multiplication would wrap.
    auto* converted = static_cast<ZYNEmethodDefinitionV6*>(
        std::calloc(static_cast<unsigned long>(count), sizeof(ZYNEmethodDefinitionV6)));
    // Kept on purpose: never freed, the host may point into it for as long as the
    // process lives, even after this library is unloaded.
    KeepForProcessLifetime(converted);
    if (converted == nullptr || methods == nullptr) return converted;
    for (long i = 0; i < count; ++i) {
        converted[i].function = methods[i].function;
        converted[i].setter = methods[i].setter;
        converted[i].declaration = methods[i].declaration;
    }
    return converted;
}

// Deliberate: the module name is dropped; the host's service sees a null module.
ZYNE_API void* ZYNELoadGlobalMethod(const char* moduleName, const char* methodName) {
    (void)moduleName;
    return ZYNELoadFrameworkMethod(methodName);
}
