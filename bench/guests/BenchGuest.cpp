// BenchGuest.cpp - the small guest the loader benchmarks load by the dozen.
//
// One class with one method, like a real plug-in's smallest class. Each copy is built with
// its own class name (ZYNE_BENCH_GUEST_CLASS), so fifty copies loaded together register
// fifty distinct classes. On entry it tells the host it ran through the service
// "BenchGuestEntered", which the benchmark provides to count guests that really started;
// the bridge passes that name on to the host as it does every service it does not answer.
#include <ZYNEPlugin.h>

#ifndef ZYNE_BENCH_GUEST_CLASS
#error "ZYNE_BENCH_GUEST_CLASS names the guest's class"
#endif

namespace {

long Answer(ZYNEobject) {
    return 42;
}

ZYNEmethodDefinition methods[] = {
    {reinterpret_cast<void*>(&Answer), nullptr, "Answer() as Integer", 0},
};

ZYNEclassDefinition guestClass = {
    .version = ZYNE_RECORD_VERSION,
    .name = ZYNE_BENCH_GUEST_CLASS,
    .superName = nullptr,
    .dataSize = 0,
    .dataOffset = 0,
    .constructor = nullptr,
    .destructor = nullptr,
    .properties = nullptr,
    .propertyCount = 0,
    .methods = methods,
    .methodCount = 1,
    .events = nullptr,
    .eventCount = 0,
    .eventInstances = nullptr,
    .eventInstanceCount = 0,
    .interfaces = nullptr,
    .reserved16 = nullptr,
    .reserved17 = nullptr,
    .constants = nullptr,
    .constantCount = 0,
    .flags = 0,
    .sharedProperties = nullptr,
    .sharedPropertyCount = 0,
    .sharedMethods = nullptr,
    .sharedMethodCount = 0,
};

}  // namespace

void PluginEntry() {
    ZYNERegisterClass(&guestClass);
    using Entered = void (*)(const char* className);
    if (auto entered = reinterpret_cast<Entered>(HCallResolver("BenchGuestEntered"))) {
        entered(ZYNE_BENCH_GUEST_CLASS);
    }
}
