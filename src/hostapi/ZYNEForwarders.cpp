// ZYNEForwarders.cpp - the lazily bound host services, made from ZYNEServices.def.
//
// Each entry point owns one static slot. The first call asks the resolver for the
// host name and stores the answer, null included; a null slot is asked again on
// the next call, so a service the host adds later is still found. Once bound, a
// call costs one load, one test and an indirect call. Nothing here copies a
// string or a record, and nothing is reported when a service is missing.
#include "hostapi/ZYNEPlugin.h"

#include <cstdlib>

namespace {

// The slow path of every forwarder: ask the host. Before ZYNEPluginMain there is
// no resolver; answer "no service" rather than crash.
template <typename Callback>
__attribute__((noinline)) Callback Bind(Callback* slot, const char* hostName) {
    Callback callback = gResolver ? reinterpret_cast<Callback>(gResolver(hostName)) : nullptr;
    *slot = callback;
    return callback;
}

template <typename Callback>
inline Callback Bound(Callback* slot, const char* hostName) {
    Callback callback = *slot;
    return __builtin_expect(callback != nullptr, 1) ? callback : Bind(slot, hostName);
}

// Hosts before 5.9 read the earlier three-word method records. The record passed
// in is changed in place to point at a converted copy, even when the registration
// service itself is missing.
template <typename Record>
void AdaptMethodsForHost(Record* record) {
    if (record == nullptr) return;
    // Deliberate: a strict comparison; a host of exactly 5.9 takes records unchanged.
    if (5.9 > ZYNEGetZQVersion()) {
        record->methods = reinterpret_cast<ZYNEmethodDefinition*>(
            ConvertCurrentMethodsToV6(record->methods, record->methodCount));
    }
}

// The failure value of an entry point whose result type is R: 0, null or 0.0.
template <typename R>
constexpr R Nothing() {
    return R();
}

}  // namespace

// The bound path is one load, one test and a tail call. Binding lives in a separate
// function (the lambda) so that the bound path saves nothing and touches no stack.
#define ZYNE_FORWARD_ADAPTED_OR(R, Entry, Host, Params, CR, CParams, CArgs, Failure) \
    ZYNE_API R Entry Params {                                                       \
        using Callback = CR(*) CParams;                                             \
        static Callback slot;                                                       \
        if (Callback callback = slot) [[likely]]                                    \
            return static_cast<R>(callback CArgs);                                  \
        auto bindAndCall = [](auto... arguments) __attribute__((noinline)) -> R {   \
            Callback callback = Bind(&slot, Host);                                  \
            if (callback == nullptr) return Failure;                                \
            return static_cast<R>(callback(arguments...));                          \
        };                                                                          \
        return bindAndCall CArgs;                                                   \
    }
#define ZYNE_FORWARD(R, Entry, Host, Params, Args) \
    ZYNE_FORWARD_ADAPTED_OR(R, Entry, Host, Params, R, Params, Args, Nothing<R>())
#define ZYNE_FORWARD_OR(R, Entry, Host, Params, Args, Failure) \
    ZYNE_FORWARD_ADAPTED_OR(R, Entry, Host, Params, R, Params, Args, Failure)
#define ZYNE_FORWARD_ADAPTED(R, Entry, Host, Params, CR, CParams, CArgs) \
    ZYNE_FORWARD_ADAPTED_OR(R, Entry, Host, Params, CR, CParams, CArgs, Nothing<R>())
#define ZYNE_FORWARD_VOID(Entry, Host, Params, Args)                 \
    ZYNE_API void Entry Params {                                     \
        using Callback = void(*) Params;                             \
        static Callback slot;                                        \
        if (Callback callback = slot) [[likely]]                     \
            return callback Args;                                    \
        auto bindAndCall = [](auto... arguments) __attribute__((noinline)) { \
            if (Callback callback = Bind(&slot, Host)) callback(arguments...);   \
        };                                                                    \
        bindAndCall Args;                                                     \
    }
// The registration service is bound before the version is asked, and the
// conversion happens whether or not it was found.
#define ZYNE_REGISTER_ADAPTED(Entry, Host, Record)      \
    ZYNE_API void Entry(Record* record) {               \
        using Callback = void (*)(Record*);             \
        static Callback slot;                           \
        Callback callback = Bound(&slot, Host);         \
        AdaptMethodsForHost(record);                    \
        if (callback != nullptr) callback(record);      \
    }
// Both property families return the host's 8-bit boolean widened; narrow setter
// values are widened to a word (signed or unsigned as their type) before the call.
#define ZYNE_PROP_GET(Word, T)                                                           \
    ZYNE_FORWARD_ADAPTED(int, ZYNEGetPropValue, "ZYNEGetPropValue" Word,                 \
                         (ZYNEobject object, const char* name, T* value), unsigned char, \
                         (ZYNEobject, const char*, T*), (object, name, value))
#define ZYNE_PROP_SET(Word, T, CT)                                                      \
    ZYNE_FORWARD_ADAPTED(int, ZYNESetPropValue, "ZYNESetPropValue" Word,                \
                         (ZYNEobject object, const char* name, T value), unsigned char, \
                         (ZYNEobject, const char*, CT), (object, name, static_cast<CT>(value)))
// Two stages: the bound service hands back the element routine suited to this
// array, which is called but never cached.
#define ZYNE_ARRAY_PUT(Entry, Host, T)                                      \
    ZYNE_API void Entry(void* array, long index, T value) {                \
        using Element = void (*)(void*, long, T);                           \
        using Callback = Element (*)(void*);                                \
        static Callback slot;                                               \
        Callback callback = Bound(&slot, Host);                             \
        if (callback == nullptr) return;                                    \
        if (Element element = callback(array)) element(array, index, value); \
    }
#define ZYNE_ARRAY_GET(Entry, Host, T)                                      \
    ZYNE_API void Entry(void* array, long index, T* value) {               \
        using Element = T (*)(void*, long);                                 \
        using Callback = Element (*)(void*);                                \
        static Callback slot;                                               \
        Callback callback = Bound(&slot, Host);                             \
        if (callback == nullptr) return;                                    \
        Element element = callback(array);                                  \
        if (element != nullptr && value != nullptr) *value = element(array, index); \
    }

#include "hostapi/ZYNEServices.def"
