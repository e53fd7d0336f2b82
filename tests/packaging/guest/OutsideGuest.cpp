// OutsideGuest.cpp - the smallest guest plug-in: one class with one method.
#include <ZYNEPlugin.h>

namespace {

long Answer(ZYNEobject) { return 42; }

ZYNEmethodDefinition methods[] = {
    {reinterpret_cast<void*>(&Answer), nullptr, "Answer() as Integer", 0},
};

ZYNEclassDefinition outsideClass = {
    .version = ZYNE_RECORD_VERSION,
    .name = "OutsideThing",
    .methods = methods,
    .methodCount = 1,
};

}  // namespace

void PluginEntry() { ZYNERegisterClass(&outsideClass); }
