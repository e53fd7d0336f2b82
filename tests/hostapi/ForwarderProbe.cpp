// ForwarderProbe.cpp - lists every entry point of the service table (see ForwarderProbe.h).
#include "ForwarderProbe.h"

#include "hostapi/ZYNEPlugin.h"

// The string record's members, called the way a guest built by any compiler calls
// them on a null record: `this` is just the first argument. A C++ member call through
// a null pointer would be undefined in the caller, so the probe names the symbols.
long StringLength(const ZYNEstringStruct* s) __asm__("_ZNK16ZYNEstringStruct6LengthEv");
const char* StringCString(const ZYNEstringStruct* s) __asm__("_ZNK16ZYNEstringStruct7CStringEv");
const unsigned char* StringPString(const ZYNEstringStruct* s)
    __asm__("_ZNK16ZYNEstringStruct7PStringEv");

namespace {

template <typename R, typename... A>
void CallWithNothing(R (*entry)(A...)) {
    entry(A{}...);
}

#define ROW(Entry, Host, Type, Signature, TwoStage, Adapts)                                 \
    {#Entry, Host, Type, reinterpret_cast<void*>(static_cast<Signature>(&Entry)),           \
     [] { CallWithNothing(static_cast<Signature>(&Entry)); }, TwoStage, Adapts},

const ForwarderRow kRows[] = {
#define ZYNE_FORWARD(R, Entry, Host, Params, Args) ROW(Entry, Host, "", R(*) Params, false, false)
#define ZYNE_FORWARD_VOID(Entry, Host, Params, Args) \
    ROW(Entry, Host, "", void(*) Params, false, false)
#define ZYNE_FORWARD_OR(R, Entry, Host, Params, Args, Failure) \
    ROW(Entry, Host, "", R(*) Params, false, false)
#define ZYNE_FORWARD_ADAPTED(R, Entry, Host, Params, CR, CParams, CArgs) \
    ROW(Entry, Host, "", R(*) Params, false, false)
#define ZYNE_REGISTER_ADAPTED(Entry, Host, Record) \
    ROW(Entry, Host, "", void (*)(Record*), false, true)
#define ZYNE_PROP_GET(Word, T)                                         \
    ROW(ZYNEGetPropValue, "ZYNEGetPropValue" Word, #T,                 \
        int (*)(ZYNEobject, const char*, T*), false, false)
#define ZYNE_PROP_SET(Word, T, CT)                                     \
    ROW(ZYNESetPropValue, "ZYNESetPropValue" Word, #T,                 \
        int (*)(ZYNEobject, const char*, T), false, false)
#define ZYNE_ARRAY_PUT(Entry, Host, T) ROW(Entry, Host, #T, void (*)(void*, long, T), true, false)
#define ZYNE_ARRAY_GET(Entry, Host, T) ROW(Entry, Host, #T, void (*)(void*, long, T*), true, false)
#include "hostapi/ZYNEServices.def"
};

const ForwarderProbe kProbe = {
    kRows,
    static_cast<long>(sizeof kRows / sizeof kRows[0]),
    &ZYNEGetClassData,
    &ZYNEGetControlData,
    &ZYNEGetStringContents,
    [](ZYNEstring s) { return StringLength(s); },
    [](ZYNEstring s) { return StringCString(s); },
    [](ZYNEstring s) { return StringPString(s); },
    static_cast<void (*)(ZYNEclassDefinition*)>(&SetClassConsoleSafe),
    &ConvertCurrentMethodsToV6,
    &ZYNELoadGlobalMethod,
    &HCallResolver,
    &gResolver,
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const ForwarderProbe* ZyneForwarderProbe() {
    return &kProbe;
}
