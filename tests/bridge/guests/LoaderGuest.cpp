// LoaderGuest.cpp - a tiny guest for the loader tests: registers LOADER_GUEST_METHODS
// global methods, so a test can tell which library a record loaded from its counts.
#include "ZYNEPlugin.h"

#ifndef LOADER_GUEST_METHODS
#define LOADER_GUEST_METHODS 1
#endif

namespace {

long First() {
    return 1;
}
long Second() {
    return 2;
}

ZYNEmethodDefinition gMethods[] = {
    {reinterpret_cast<void*>(&First), nullptr, "LoaderGuestFirst() as Integer", 0},
    {reinterpret_cast<void*>(&Second), nullptr, "LoaderGuestSecond() as Integer", 0},
};
static_assert(LOADER_GUEST_METHODS >= 1 && LOADER_GUEST_METHODS <= 2, "one or two methods");

}  // namespace

void PluginEntry() {
    for (int i = 0; i < LOADER_GUEST_METHODS; ++i) ZYNERegisterMethod(&gMethods[i]);
}
