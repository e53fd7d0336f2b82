// Legacy.cpp - the Legacy sample plug-in: records as plug-ins built for older hosts made them.
//
// An old plug-in's records are shorter: what a record of version N lacks simply is not
// there, and a reader must stop at the version's end. Each record below is declared with
// the full current layout, and the words past its version's end are filled on purpose
// with values a reader must ignore (non-zero counts, pointers to real lists), so a reader
// that looks past the end shows up at once:
//
//   version 5  (AncientSwitch, a control): no constant list
//   version 6  (OldTimer, OldGauge): methods in the three-word form, constants present,
//              no flags word
//   version 7  (OldCounter): four-word methods and a flags word, no shared lists
//   version 8  (OldModule, a module): no property, structure or enumeration lists
#include <ZYNEPlugin.h>

#include <cstddef>

namespace {

template <class F>
void* Routine(F function) {
    return reinterpret_cast<void*>(function);
}

// A method list in the earlier three-word form, as records below version 7 carry it. The
// record's field is typed for the current form; the reader knows better by the version.
ZYNEmethodDefinition* EarlierForm(ZYNEmethodDefinitionV6* methods) {
    return reinterpret_cast<ZYNEmethodDefinition*>(methods);
}

constexpr unsigned long kPublic = 32;

// Lists that only stand in for whatever followed an old record; never meant to be read.
ZYNEmethodDefinition NotToBeRead[] = {
    {nullptr, nullptr, "NotPartOfThisRecord() as Integer", 0},
    {nullptr, nullptr, "NorThis() as Integer", 0},
};
ZYNEproperty NotToBeReadProperties[] = {
    {.group = "",
     .name = "NotPartOfThisRecord",
     .type = "integer",
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = 0},
};
ZYNEconstant NotToBeReadConstants[] = {
    {"kNotPartOfThisRecord = 1", nullptr, kPublic},
};

// ----- OldTimer: a version-6 class --------------------------------------------------------

struct TimerData {
    long period;   // "Period", integer, in milliseconds
    bool running;  // "Running", boolean
};

extern ZYNEclassDefinition OldTimerClass;

TimerData* TimerOf(ZYNEobject self) {
    return static_cast<TimerData*>(ZYNEGetClassData(self, &OldTimerClass));
}

void Start(ZYNEobject self) {
    TimerOf(self)->running = true;
}
void Stop(ZYNEobject self) {
    TimerOf(self)->running = false;
}
long PeriodGetter(ZYNEobject self) {
    return TimerOf(self)->period;
}
void PeriodSetter(ZYNEobject self, long period) {
    TimerOf(self)->period = period;
}

ZYNEmethodDefinitionV6 TimerMethods[] = {
    {Routine(&Start), nullptr, "Start()"},
    {Routine(&Stop), nullptr, "Stop()"},
    {Routine(&PeriodGetter), Routine(&PeriodSetter), "Interval() as Integer"},
};

ZYNEproperty TimerProperties[] = {
    {.group = "",
     .name = "Period",
     .type = "integer",
     .flags = 0,
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = offsetof(TimerData, period),
     .editor = nullptr,
     .enumCount = 0,
     .enumEntries = nullptr},
    {.group = "",
     .name = "Running",
     .type = "boolean",
     .flags = 0,
     .getter = ZYNE_DIRECT_FIELD,
     .setter = nullptr,
     .param = offsetof(TimerData, running),
     .editor = nullptr,
     .enumCount = 0,
     .enumEntries = nullptr},
};

ZYNEconstant TimerConstants[] = {
    {"kTicksPerSecond as Integer = 60", nullptr, kPublic},
};

ZYNEclassDefinition OldTimerClass = {
    .version = 6,
    .name = "OldTimer",
    .superName = nullptr,
    .dataSize = sizeof(TimerData),
    .dataOffset = 0,
    .constructor = nullptr,
    .destructor = nullptr,
    .properties = TimerProperties,
    .propertyCount = sizeof TimerProperties / sizeof TimerProperties[0],
    .methods = EarlierForm(TimerMethods),
    .methodCount = sizeof TimerMethods / sizeof TimerMethods[0],
    .events = nullptr,
    .eventCount = 0,
    .eventInstances = nullptr,
    .eventInstanceCount = 0,
    .interfaces = nullptr,
    .reserved16 = nullptr,
    .reserved17 = nullptr,
    .constants = TimerConstants,
    .constantCount = sizeof TimerConstants / sizeof TimerConstants[0],
    // Past the end of a version-6 record:
    .flags = 12,
    .sharedProperties = NotToBeReadProperties,
    .sharedPropertyCount = 1,
    .sharedMethods = NotToBeRead,
    .sharedMethodCount = 2,
};

// ----- OldCounter: a version-7 class ------------------------------------------------------

struct OldCounterData {
    long total;  // "Total", integer
};

extern ZYNEclassDefinition OldCounterClass;

long Add(ZYNEobject self, long amount) {
    auto* data = static_cast<OldCounterData*>(ZYNEGetClassData(self, &OldCounterClass));
    data->total += amount;
    return data->total;
}

ZYNEmethodDefinition OldCounterMethods[] = {
    {Routine(&Add), nullptr, "Add( amount as Integer ) as Integer", kPublic},
};

ZYNEproperty OldCounterProperties[] = {
    {.group = "",
     .name = "Total",
     .type = "integer",
     .flags = 0,
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = offsetof(OldCounterData, total),
     .editor = nullptr,
     .enumCount = 0,
     .enumEntries = nullptr},
};

ZYNEclassDefinition OldCounterClass = {
    .version = 7,
    .name = "OldCounter",
    .superName = nullptr,
    .dataSize = sizeof(OldCounterData),
    .dataOffset = 0,
    .constructor = nullptr,
    .destructor = nullptr,
    .properties = OldCounterProperties,
    .propertyCount = sizeof OldCounterProperties / sizeof OldCounterProperties[0],
    .methods = OldCounterMethods,
    .methodCount = sizeof OldCounterMethods / sizeof OldCounterMethods[0],
    .events = nullptr,
    .eventCount = 0,
    .eventInstances = nullptr,
    .eventInstanceCount = 0,
    .interfaces = nullptr,
    .reserved16 = nullptr,
    .reserved17 = nullptr,
    .constants = nullptr,
    .constantCount = 0,
    .flags = 12,  // 8 and 4: "not TargetHasGUI" wins
    // Past the end of a version-7 record:
    .sharedProperties = NotToBeReadProperties,
    .sharedPropertyCount = 1,
    .sharedMethods = NotToBeRead,
    .sharedMethodCount = 2,
};

// ----- OldGauge: a version-6 control; AncientSwitch: a version-5 control -------------------

struct GaugeData {
    long level;  // "Level", integer
};

extern ZYNEcontrol OldGaugeControl;

void Fill(ZYNEobject self) {
    static_cast<GaugeData*>(ZYNEGetControlData(self, &OldGaugeControl))->level = 100;
}

ZYNEmethodDefinitionV6 GaugeMethods[] = {
    {Routine(&Fill), nullptr, "Fill()"},
};

ZYNEproperty GaugeProperties[] = {
    {.group = "",
     .name = "Level",
     .type = "integer",
     .flags = 0,
     .getter = ZYNE_DIRECT_FIELD,
     .setter = ZYNE_DIRECT_FIELD,
     .param = offsetof(GaugeData, level),
     .editor = nullptr,
     .enumCount = 0,
     .enumEntries = nullptr},
};

ZYNEconstant GaugeConstants[] = {
    {"kFull as Integer = 100", nullptr, kPublic},
};

ZYNEcontrol OldGaugeControl = {
    .version = 6,
    .name = "OldGauge",
    .dataSize = sizeof(GaugeData),
    .flags = 0,
    .toolbarPicture = 0,
    .reserved5 = nullptr,
    .defaultWidth = 100,
    .defaultHeight = 12,
    .properties = GaugeProperties,
    .propertyCount = sizeof GaugeProperties / sizeof GaugeProperties[0],
    .methods = EarlierForm(GaugeMethods),
    .methodCount = sizeof GaugeMethods / sizeof GaugeMethods[0],
    .constants = GaugeConstants,
    .constantCount = sizeof GaugeConstants / sizeof GaugeConstants[0],
};

ZYNEcontrol AncientSwitchControl = {
    .version = 5,
    .name = "AncientSwitch",
    .dataSize = sizeof(long),
    .defaultWidth = 20,
    .defaultHeight = 20,
    // Past the end of a version-5 control:
    .constants = NotToBeReadConstants,
    .constantCount = 1,
};

// ----- OldModule: a version-8 module -------------------------------------------------------

long Twice(long value) {
    return 2 * value;
}

ZYNEmethodDefinition OldModuleMethods[] = {
    {Routine(&Twice), nullptr, "Twice( value as Integer ) as Integer", 0},
};

ZYNEconstant OldModuleConstants[] = {
    {"kVersion as Integer = 8", nullptr, kPublic},
};

const char* NotToBeReadFields[] = {"a as Integer"};
ZYNEstructure NotToBeReadStructures[] = {{"NotPartOfThisRecord", 0, NotToBeReadFields, 1}};
ZYNEenum NotToBeReadEnums[] = {{"NotPartOfThisRecord", nullptr, 0, NotToBeReadFields, 1}};

ZYNEmoduleDefinition OldModule = {
    .version = 8,
    .name = "OldModule",
    .methods = OldModuleMethods,
    .methodCount = sizeof OldModuleMethods / sizeof OldModuleMethods[0],
    .constants = OldModuleConstants,
    .constantCount = sizeof OldModuleConstants / sizeof OldModuleConstants[0],
    // Past the end of a version-8 module:
    .properties = NotToBeReadProperties,
    .propertyCount = 1,
    .structures = NotToBeReadStructures,
    .structureCount = 1,
    .enums = NotToBeReadEnums,
    .enumCount = 1,
};

}  // namespace

void PluginEntry() {
    ZYNERegisterClass(&OldTimerClass);
    ZYNERegisterClass(&OldCounterClass);
    ZYNERegisterControl(&OldGaugeControl);
    ZYNERegisterControl(&AncientSwitchControl);
    ZYNERegisterModule(&OldModule);
}
