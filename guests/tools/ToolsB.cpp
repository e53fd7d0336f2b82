// ToolsB.cpp - the second library of the Tools sample: a class usable without a graphical
// interface, and a class extension that adds a method to the host's FolderItem.
//
// Both libraries of the Tools family sit side by side in the container's "Linux X86"
// folder; each is a plug-in of its own with its own copy of the interface glue.
#include <ZYNEPlugin.h>

#include <cstddef>
#include <cstring>

namespace {

template <class F>
void* Routine(F function) {
    return reinterpret_cast<void*>(function);
}

// ----- SampleCounter ------------------------------------------------------------------------

struct CounterData {
    long value;  // "Value", integer
    long step;   // "Step", integer
};

extern ZYNEclassDefinition SampleCounterClass;

CounterData* CounterOf(ZYNEobject self) {
    return static_cast<CounterData*>(ZYNEGetClassData(self, &SampleCounterClass));
}

void CounterConstructor(ZYNEobject self) {
    CounterOf(self)->step = 1;
}

long Next(ZYNEobject self) {
    CounterData* data = CounterOf(self);
    data->value += data->step;
    return data->value;
}

ZYNEproperty CounterProperties[] = {
    {.group = "",
     .name = "Value",
     .type = "integer",
     .flags = 0,
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = offsetof(CounterData, value),
     .editor = nullptr,
     .enumCount = 0,
     .enumEntries = nullptr},
    {.group = "",
     .name = "Step",
     .type = "integer",
     .flags = 0,
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = offsetof(CounterData, step),
     .editor = nullptr,
     .enumCount = 0,
     .enumEntries = nullptr},
};

ZYNEmethodDefinition CounterMethods[] = {
    {Routine(&Next), nullptr, "Next() as Integer", 0},
};

ZYNEclassDefinition SampleCounterClass = {
    .version = ZYNE_RECORD_VERSION,
    .name = "SampleCounter",
    .superName = nullptr,
    .dataSize = sizeof(CounterData),
    .dataOffset = 0,
    .constructor = &CounterConstructor,
    .destructor = nullptr,
    .properties = CounterProperties,
    .propertyCount = sizeof CounterProperties / sizeof CounterProperties[0],
    .methods = CounterMethods,
    .methodCount = sizeof CounterMethods / sizeof CounterMethods[0],
};

// ----- A class extension: FolderItem.IsSampleContainer ------------------------------------

// Whether the folder item's path ends in ".zqx", the extension of plug-in containers.
bool IsSampleContainer(ZYNEobject folderItem) {
    ZYNEstring path = ZYNEpathFromFolderItem(folderItem);
    unsigned long length = 0;
    const char* text = ZYNEGetStringContents(path, &length);
    const bool container =
        text != nullptr && length >= 4 && std::strncmp(text + length - 4, ".zqx", 4) == 0;
    ZYNEUnlockString(path);
    return container;
}

ZYNEmethodDefinition FolderItemMethods[] = {
    {Routine(&IsSampleContainer), nullptr, "IsSampleContainer() as Boolean", 0},
};

ZYNEclassDefinition FolderItemExtension = {
    .version = ZYNE_RECORD_VERSION,
    .name = "FolderItem",
    .methods = FolderItemMethods,
    .methodCount = sizeof FolderItemMethods / sizeof FolderItemMethods[0],
};

}  // namespace

void PluginEntry() {
    SetClassConsoleSafe(&SampleCounterClass);  // no graphical interface needed
    ZYNERegisterClass(&SampleCounterClass);
    ZYNERegisterClassExtension(&FolderItemExtension);
}
