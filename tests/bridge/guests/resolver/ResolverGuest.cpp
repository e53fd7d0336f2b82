// ResolverGuest.cpp - a tiny guest that uses its resolver from inside its entry point the
// way real guests do, and reports each answer through "ResolverGuestReport", a service
// only the test's host offers (so the bridge's resolver must pass it through).
//
// It registers the class Foo (an Integer field "Count" and a method "Twice"), asks for
// Foo's class reference and makes an instance through it, assigns and reads the field,
// looks the method up and calls it, and asks for a host class's reference too.
#include <cstring>

#include "ZYNEPlugin.h"

namespace {

long Twice(ZYNEobject, long value) {
    return 2 * value;
}

ZYNEproperty gProperties[] = {
    {"", "Count", "Integer", 0, ZYNE_DIRECT_FIELD, ZYNE_DIRECT_FIELD, 0, nullptr, 0, nullptr},
};
ZYNEmethodDefinition gMethods[] = {
    {reinterpret_cast<void*>(&Twice), nullptr, "Twice( value as Integer ) as Integer", 0},
};
ZYNEclassDefinition gFoo{};

void DescribeFoo() {
    gFoo.version = ZYNE_RECORD_VERSION;
    gFoo.name = "Foo";
    gFoo.dataSize = sizeof(long);
    gFoo.properties = gProperties;
    gFoo.propertyCount = 1;
    gFoo.methods = gMethods;
    gFoo.methodCount = 1;
}

using Report = void (*)(const char* key, long value);

}  // namespace

void PluginEntry() {
    const auto report = reinterpret_cast<Report>(gResolver("ResolverGuestReport"));
    if (report == nullptr) return;
    DescribeFoo();
    ZYNERegisterClass(&gFoo);
    report("graphics service", reinterpret_cast<long>(gResolver("ZYNEGetControlGraphics")));
    report("in runtime", ZYNEinRuntime());
    report("debug mode", ZYNEInDebugMode());

    ZYNEclassRef foo = ZYNEGetClassRef("Foo");
    report("faux reference",
           foo != nullptr && std::strcmp(reinterpret_cast<const char*>(foo), "fauxcrefFoo") == 0);
    ZYNEobject instance = ZYNEnewInstance(foo);
    report("instance", instance != nullptr);
    report("set", ZYNESetPropValue(instance, "Count", 21L));
    long count = 0;
    report("get", ZYNEGetPropValue(instance, "Count", &count));
    report("count", count);
    using TwiceRoutine = long (*)(ZYNEobject, long);
    const auto twice =
        reinterpret_cast<TwiceRoutine>(ZYNELoadObjectMethod(instance, "Twice(n as Integer)"));
    report("twice", twice != nullptr ? twice(instance, count) : -1);
    ZYNEUnlockObject(instance);

    report("host reference", ZYNEGetClassRef("PluginBridge") != nullptr);
}
