// Broken.cpp - a guest that loads, but carries the mistakes zyne-inspect --check must name.
//
// Built twice (BROKEN_TWIN set for the second copy) into one container, so that the class
// both copies register is a duplicate across definitions. What is wrong, on purpose:
//   BrokenThing:  a declaration whose parentheses do not balance, one without a name, a
//                 method and a property declared twice, a property type ("Variant") a
//                 design-time instance cannot handle, 5000 bytes of instance data and a
//                 superclass nobody defines;
//   BrokenDial:   a control without palette icons (the container has none);
//   BrokenTwin:   registered by both copies;
//   BrokenExtraExport: a second exported symbol beside ZYNEPluginMain.
#include <ZYNEPlugin.h>

// Deliberate: exported although a guest should export its entry point only.
extern "C" __attribute__((visibility("default"))) int BrokenExtraExport() {
    return 42;
}

namespace {

#ifndef BROKEN_TWIN
long Nothing(ZYNEobject) {
    return 0;
}

template <class F>
void* Routine(F function) {
    return reinterpret_cast<void*>(function);
}

ZYNEproperty ThingProperties[] = {
    {.group = "",
     .name = "Size",
     .type = "Integer",
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = 0},
    {.group = "",
     .name = "size",
     .type = "Integer",
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = 8},
    {.group = "",
     .name = "Payload",
     .type = "Variant",
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = 16},
    {.group = "",
     .name = "Label",
     .type = "STRING",
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = 24},
};

ZYNEmethodDefinition ThingMethods[] = {
    {Routine(&Nothing), nullptr, "Open( path as String as Boolean", 0},
    {Routine(&Nothing), nullptr, "( count as Integer ) as Integer", 0},
    {Routine(&Nothing), nullptr, "Close()", 0},
    {Routine(&Nothing), nullptr, "close( )", 0},
    {Routine(&Nothing), nullptr, "Close( force as Boolean )", 0},
};

ZYNEclassDefinition BrokenThing = {
    .version = ZYNE_RECORD_VERSION,
    .name = "BrokenThing",
    .superName = "NoSuchBase",
    .dataSize = 5000,
    .properties = ThingProperties,
    .propertyCount = sizeof ThingProperties / sizeof ThingProperties[0],
    .methods = ThingMethods,
    .methodCount = sizeof ThingMethods / sizeof ThingMethods[0],
};

ZYNEproperty DialProperties[] = {
    {.group = "",
     .name = "Angle",
     .type = "integer",
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = 0},
};

ZYNEcontrol BrokenDial = {
    .version = ZYNE_RECORD_VERSION,
    .name = "BrokenDial",
    .dataSize = 8,
    .toolbarPicture = 200,
    .defaultWidth = 20,
    .defaultHeight = 20,
    .properties = DialProperties,
    .propertyCount = 1,
};
#endif

ZYNEclassDefinition BrokenTwin = {
    .version = ZYNE_RECORD_VERSION,
    .name = "BrokenTwin",
    .dataSize = 8,
};

}  // namespace

void PluginEntry() {
#ifndef BROKEN_TWIN
    ZYNERegisterClass(&BrokenThing);
    ZYNERegisterControl(&BrokenDial);
#endif
    ZYNERegisterClass(&BrokenTwin);
}
