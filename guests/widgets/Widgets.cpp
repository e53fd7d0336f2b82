// Widgets.cpp - the Widgets sample plug-in: classes, a subclass, two palette controls.
//
// Read top to bottom, it shows how a plug-in describes what it offers: each class's
// instance data is a plain struct; a property is either a plain field of that struct
// (getter and setter ZYNE_DIRECT_FIELD, param = the field's offset) or a pair of routines
// (param = a selector the routine is handed back); methods, events and constants are
// tables; PluginEntry() makes one registration call per record. The same code runs under
// the host and under the bridge's design-time loader; it never asks which. SampleLamp also
// has a behaviour record: placed in a window, it draws itself through the host's graphics.
//
// Two rules keep a class usable at design time, where the bridge makes instances of one
// class without its superclass: a constructor touches only its own class's data, and the
// sizes stay within the 4096 bytes a design-time instance offers (BigBlock sits exactly
// on that limit, TooBigBlock one byte over it).
#include <ZYNEPlugin.h>

#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

// Routines cross the interface as untyped words.
template <class F>
void* Routine(F function) {
    return reinterpret_cast<void*>(function);
}

// A property kept in a field of the instance data; the host reads and writes it itself.
ZYNEproperty Field(const char* group, const char* name, const char* type, std::size_t offset) {
    return {.group = group,
            .name = name,
            .type = type,
            .flags = 0,
            .getter = ZYNE_DIRECT_FIELD,
            .setter = ZYNE_DIRECT_FIELD,
            .param = static_cast<long>(offset),
            .editor = nullptr,
            .enumCount = 0,
            .enumEntries = nullptr};
}

// A property behind routines: getter(self, selector) and setter(self, selector, value);
// a null setter makes it read-only.
ZYNEproperty Computed(const char* name, const char* type, void* getter, void* setter,
                      long selector) {
    return {.group = "",
            .name = name,
            .type = type,
            .flags = 0,
            .getter = getter,
            .setter = setter,
            .param = selector,
            .editor = nullptr,
            .enumCount = 0,
            .enumEntries = nullptr};
}

ZYNEstring NewString(const char* text) {
    return ZYNEBuildString(text, static_cast<int>(std::strlen(text)));
}

// Scope bits of constants and members.
constexpr unsigned long kGlobal = 16;
constexpr unsigned long kPublic = 32;
// Property flag: only meaningful in a running program, not in the designer.
constexpr unsigned long kRuntimeOnly = 2;

// ----- WidgetBase -----------------------------------------------------------------------
//
// A counter with a caption, a tint and a partner widget: one property of every type word
// a property may carry.

struct WidgetData {
    long count;          // "Count", integer
    double ratio;        // "Ratio", double
    bool enabled;        // "Enabled", boolean: one byte
    ZYNEstring caption;  // "Caption", string: the field holds one lock on it
    long tint;           // "Tint", color: 0x00RRGGBB
    ZYNEobject partner;  // "Partner", an object of class WidgetBase: one lock on it
    float weight;        // "Weight", Single: a type word not every reader converts
    long shape;          // "Shape", integer with named values
};

extern ZYNEclassDefinition WidgetBaseClass;

WidgetData* WidgetOf(ZYNEobject self) {
    return static_cast<WidgetData*>(ZYNEGetClassData(self, &WidgetBaseClass));
}

// How many widgets were constructed in this process; shown by the shared method Made().
long gWidgetsMade = 0;
// The shared properties' storage: one value for the whole class.
long gTheme = 1;
double gGravity = 9.81;

void WidgetConstructor(ZYNEobject self) {
    WidgetData* data = WidgetOf(self);
    data->ratio = 1.0;
    data->enabled = true;
    data->caption = NewString("Widget");
    data->tint = 0x808080;
    data->weight = 1.0f;
    ++gWidgetsMade;
}

void WidgetDestructor(ZYNEobject self) {
    WidgetData* data = WidgetOf(self);
    ZYNEUnlockString(data->caption);
    ZYNEUnlockObject(data->partner);
}

// "DefaultWidth" and "DefaultHeight" share one read-only getter, told apart by selector.
long DefaultSize(ZYNEobject, long selector) {
    return selector == 0 ? 80 : 24;
}

// "Kind": a new string on every call; the caller releases it.
ZYNEstring KindGetter(ZYNEobject, long) {
    return NewString("widget");
}

long ThemeGetter(ZYNEobject, long) {
    return gTheme;
}
void ThemeSetter(ZYNEobject, long, long value) {
    gTheme = value;
}
double GravityGetter(ZYNEobject, long) {
    return gGravity;
}
void GravitySetter(ZYNEobject, long, double value) {
    gGravity = value;
}

ZYNEevent WidgetEvents[] = {
    {"Changed( newCount as Integer )", 0},
    {"Reset()", 0},
};

// Adds `by` to the count, tells the handler of "Changed" if the program has one, and
// answers the new count.
long Bump(ZYNEobject self, long by) {
    WidgetData* data = WidgetOf(self);
    data->count += by;
    using Changed = void (*)(ZYNEobject, long);
    if (auto handler = reinterpret_cast<Changed>(ZYNEGetEventInstance(self, &WidgetEvents[0])))
        handler(self, data->count);
    return data->count;
}

void Reset(ZYNEobject self) {
    WidgetOf(self)->count = 0;
    using ResetEvent = void (*)(ZYNEobject);
    if (auto handler = reinterpret_cast<ResetEvent>(ZYNEGetEventInstance(self, &WidgetEvents[1])))
        handler(self);
}

// "Caption (3)": a new string; the caller releases it.
ZYNEstring Describe(ZYNEobject self) {
    const WidgetData* data = WidgetOf(self);
    char text[300];
    std::snprintf(text, sizeof text, "%s (%ld)", ZYNEGetStringContents(data->caption, nullptr),
                  data->count);
    return NewString(text);
}

// "Title" is an assignable method: the getter answers the caption locked once more for
// the caller, the setter replaces it.
ZYNEstring TitleGetter(ZYNEobject self) {
    ZYNEstring caption = WidgetOf(self)->caption;
    ZYNELockString(caption);
    return caption;
}
void TitleSetter(ZYNEobject self, ZYNEstring value) {
    WidgetData* data = WidgetOf(self);
    ZYNELockString(value);
    ZYNEUnlockString(data->caption);
    data->caption = value;
}

// The SampleGreeter interface (registered by the Tools sample).
ZYNEstring Greet(ZYNEobject self, ZYNEstring name) {
    char text[300];
    std::snprintf(text, sizeof text, "%s greets %s",
                  ZYNEGetStringContents(WidgetOf(self)->caption, nullptr),
                  ZYNEGetStringContents(name, nullptr));
    return NewString(text);
}

// Shared methods take no object.
ZYNEobject Make(ZYNEstring className) {
    return ZYNEnewInstance(ZYNEGetStringContents(className, nullptr));
}
long Made() {
    return gWidgetsMade;
}

const char* ShapeNames[] = {"Round", "Square", "Star"};

ZYNEproperty WidgetProperties[] = {
    Field("Behavior", "Count", "integer", offsetof(WidgetData, count)),
    Field("Behavior", "Ratio", "double", offsetof(WidgetData, ratio)),
    Field("Behavior", "Enabled", "boolean", offsetof(WidgetData, enabled)),
    Field("Appearance", "Caption", "string", offsetof(WidgetData, caption)),
    Field("Appearance", "Tint", "color", offsetof(WidgetData, tint)),
    Field("Behavior", "Partner", "WidgetBase", offsetof(WidgetData, partner)),
    Field("Behavior", "Weight", "Single", offsetof(WidgetData, weight)),
    [] {
        ZYNEproperty shape = Field("Appearance", "Shape", "Integer", offsetof(WidgetData, shape));
        shape.enumCount = 3;
        shape.enumEntries = ShapeNames;
        return shape;
    }(),
    Computed("DefaultWidth", "integer", Routine(&DefaultSize), nullptr, 0),
    Computed("DefaultHeight", "integer", Routine(&DefaultSize), nullptr, 1),
    [] {
        ZYNEproperty kind = Computed("Kind", "string", Routine(&KindGetter), nullptr, 0);
        kind.flags = kRuntimeOnly;
        return kind;
    }(),
};

ZYNEproperty WidgetSharedProperties[] = {
    Computed("Theme", "integer", Routine(&ThemeGetter), Routine(&ThemeSetter), 0),
    Computed("Gravity", "double", Routine(&GravityGetter), Routine(&GravitySetter), 0),
};

ZYNEmethodDefinition WidgetMethods[] = {
    {Routine(&Bump), nullptr, "Bump( by as Integer ) as Integer", 0},
    {Routine(&Reset), nullptr, "Reset()", 0},
    {Routine(&Describe), nullptr, "Describe() as String", 0},
    {Routine(&TitleGetter), Routine(&TitleSetter), "Title() as String", 0},
    {Routine(&Greet), nullptr, "Greet( name as String ) as String", 0},
};

ZYNEmethodDefinition WidgetSharedMethods[] = {
    {Routine(&Make), nullptr, "Make( className as String ) as WidgetBase", 0},
    {Routine(&Made), nullptr, "Made() as Integer", 0},
};

ZYNEconstant WidgetConstants[] = {
    {"kMaxCount as Integer = 1000", nullptr, kPublic},
    {"kDefaultCaption = \"Widget\"", nullptr, kGlobal},
};

ZYNEclassDefinition WidgetBaseClass = {
    .version = ZYNE_RECORD_VERSION,
    .name = "WidgetBase",
    .superName = nullptr,
    .dataSize = sizeof(WidgetData),
    .dataOffset = 0,  // the host fills it in
    .constructor = &WidgetConstructor,
    .destructor = &WidgetDestructor,
    .properties = WidgetProperties,
    .propertyCount = sizeof WidgetProperties / sizeof WidgetProperties[0],
    .methods = WidgetMethods,
    .methodCount = sizeof WidgetMethods / sizeof WidgetMethods[0],
    .events = WidgetEvents,
    .eventCount = sizeof WidgetEvents / sizeof WidgetEvents[0],
    .eventInstances = nullptr,
    .eventInstanceCount = 0,
    .interfaces = "SampleGreeter",
    .reserved16 = nullptr,
    .reserved17 = nullptr,
    .constants = WidgetConstants,
    .constantCount = sizeof WidgetConstants / sizeof WidgetConstants[0],
    .flags = 0,
    .sharedProperties = WidgetSharedProperties,
    .sharedPropertyCount = sizeof WidgetSharedProperties / sizeof WidgetSharedProperties[0],
    .sharedMethods = WidgetSharedMethods,
    .sharedMethodCount = sizeof WidgetSharedMethods / sizeof WidgetSharedMethods[0],
};

// ----- FancyWidget: a WidgetBase that sparkles -------------------------------------------
//
// Its superclass is a plug-in class, so its own data follows WidgetBase's in an instance.

struct FancyData {
    long sparkle;    // "Sparkle", integer
    long lastCount;  // what the last "Changed" event reported
};

extern ZYNEclassDefinition FancyWidgetClass;

FancyData* FancyOf(ZYNEobject self) {
    return static_cast<FancyData*>(ZYNEGetClassData(self, &FancyWidgetClass));
}

void FancyConstructor(ZYNEobject self) {
    FancyOf(self)->sparkle = 3;
}

// Handles the superclass's "Changed" event.
void FancyChanged(ZYNEobject self, long newCount) {
    FancyOf(self)->lastCount = newCount;
}

// A new FancyWidget, made through a class reference rather than by name.
ZYNEobject Twin(ZYNEobject) {
    return ZYNEnewInstance(ZYNEGetClassRef("FancyWidget"));
}

// Bumps `target` through the method the host (or the bridge) finds for it by
// declaration; 0 when it has none.
long Poke(ZYNEobject, ZYNEobject target, long by) {
    using BumpRoutine = long (*)(ZYNEobject, long);
    auto bump =
        reinterpret_cast<BumpRoutine>(ZYNELoadObjectMethod(target, "Bump( by as Integer )"));
    return bump != nullptr ? bump(target, by) : 0;
}

ZYNEproperty FancyProperties[] = {
    Field("Appearance", "Sparkle", "integer", offsetof(FancyData, sparkle)),
    Field("Behavior", "LastCount", "integer", offsetof(FancyData, lastCount)),
};

ZYNEmethodDefinition FancyMethods[] = {
    {Routine(&Twin), nullptr, "Twin() as FancyWidget", 0},
    {Routine(&Poke), nullptr, "Poke( target as WidgetBase, by as Integer ) as Integer", 0},
};

ZYNEeventInstance FancyHandlers[] = {
    {"Changed", Routine(&FancyChanged)},
};

ZYNEclassDefinition FancyWidgetClass = {
    .version = ZYNE_RECORD_VERSION,
    .name = "FancyWidget",
    .superName = "WidgetBase",
    .dataSize = sizeof(FancyData),
    .dataOffset = 0,
    .constructor = &FancyConstructor,
    .destructor = nullptr,
    .properties = FancyProperties,
    .propertyCount = sizeof FancyProperties / sizeof FancyProperties[0],
    .methods = FancyMethods,
    .methodCount = sizeof FancyMethods / sizeof FancyMethods[0],
    .events = nullptr,
    .eventCount = 0,
    .eventInstances = FancyHandlers,
    .eventInstanceCount = sizeof FancyHandlers / sizeof FancyHandlers[0],
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

// ----- BigBlock and TooBigBlock: the design-time instance size limit ----------------------
//
// A design-time instance holds at most 4096 bytes of a class's data. BigBlock needs exactly
// that; TooBigBlock one byte more, so the designer refuses to make one.

constexpr std::size_t kDesignTimeLimit = 4096;

struct BigData {
    long used;                                        // "Used", integer, at the start
    char bytes[kDesignTimeLimit - sizeof(long) - 1];  // the block itself
    bool last;                                        // "Last", boolean, the final byte
};
static_assert(sizeof(BigData) == kDesignTimeLimit, "BigBlock is exactly the limit");

struct TooBigData {
    long used;                                    // "Used", integer
    char bytes[kDesignTimeLimit - sizeof(long)];  // the block itself
    bool overflow;                                // "Overflow", boolean: the 4097th byte
};
// The class needs the bytes up to and including "Overflow"; the struct's own size is
// rounded up for alignment, so the data size is taken from the last field instead.
constexpr long kTooBigSize = offsetof(TooBigData, overflow) + 1;
static_assert(kTooBigSize == kDesignTimeLimit + 1, "TooBigBlock is one byte over");

ZYNEproperty BigProperties[] = {
    Field("", "Used", "integer", offsetof(BigData, used)),
    Field("", "Last", "boolean", offsetof(BigData, last)),
};

ZYNEproperty TooBigProperties[] = {
    Field("", "Used", "integer", offsetof(TooBigData, used)),
    Field("", "Overflow", "boolean", offsetof(TooBigData, overflow)),
};

ZYNEclassDefinition BigBlockClass = {
    .version = ZYNE_RECORD_VERSION,
    .name = "BigBlock",
    .dataSize = sizeof(BigData),
    .properties = BigProperties,
    .propertyCount = sizeof BigProperties / sizeof BigProperties[0],
};

ZYNEclassDefinition TooBigBlockClass = {
    .version = ZYNE_RECORD_VERSION,
    .name = "TooBigBlock",
    .dataSize = kTooBigSize,
    .properties = TooBigProperties,
    .propertyCount = sizeof TooBigProperties / sizeof TooBigProperties[0],
    .flags = 8,  // needs no graphical interface: "not TargetHasGUI"
};

// ----- Controls ---------------------------------------------------------------------------
//
// A control's palette icon is found by its toolbar picture number in the container's
// "IDE Resources/Controls Palette": SampleKnob ships 128-small.bmp, 128-smallmask.bmp,
// 128.bmp and 128mask.bmp; SampleLamp only the large 129.bmp and 129mask.bmp.

struct KnobData {
    long value;    // "Value"
    long minimum;  // "Minimum"
    long maximum;  // "Maximum"
};

ZYNEproperty KnobProperties[] = {
    Field("Behavior", "Value", "integer", offsetof(KnobData, value)),
    Field("Behavior", "Minimum", "integer", offsetof(KnobData, minimum)),
    Field("Behavior", "Maximum", "integer", offsetof(KnobData, maximum)),
};

extern ZYNEcontrol SampleKnobControl;

void TurnBy(ZYNEobject self, long steps) {
    auto* data = static_cast<KnobData*>(ZYNEGetControlData(self, &SampleKnobControl));
    data->value += steps;
    if (data->value < data->minimum) data->value = data->minimum;
    if (data->value > data->maximum) data->value = data->maximum;
}

ZYNEmethodDefinition KnobMethods[] = {
    {Routine(&TurnBy), nullptr, "TurnBy( steps as Integer )", 0},
};

ZYNEevent KnobEvents[] = {
    {"ValueChanged()", 0},
};

ZYNEconstant KnobConstants[] = {
    {"kKnobSteps as Integer = 100", nullptr, kPublic},
};

ZYNEcontrol SampleKnobControl = {
    .version = ZYNE_RECORD_VERSION,
    .name = "SampleKnob",
    .dataSize = sizeof(KnobData),
    .flags = 0,
    .toolbarPicture = 128,
    .reserved5 = nullptr,
    .defaultWidth = 32,
    .defaultHeight = 32,
    .properties = KnobProperties,
    .propertyCount = sizeof KnobProperties / sizeof KnobProperties[0],
    .methods = KnobMethods,
    .methodCount = sizeof KnobMethods / sizeof KnobMethods[0],
    .events = KnobEvents,
    .eventCount = sizeof KnobEvents / sizeof KnobEvents[0],
    .behaviour = nullptr,  // no drawing of its own: the designer shows the palette icon
    .dataOffset = 0,
    .eventInstances = nullptr,
    .eventInstanceCount = 0,
    .reserved18 = nullptr,
    .reserved19 = nullptr,
    .reserved20 = nullptr,
    .constants = KnobConstants,
    .constantCount = sizeof KnobConstants / sizeof KnobConstants[0],
};

// SampleLamp draws itself: its behaviour fills its bounds with its colour (dark when it is
// off) and frames them, through the host's graphics, wherever the designer placed it.
struct LampData {
    bool lit;             // "Lit"
    long color;           // "LampColor"
    long frameColor;      // "FrameColor"
    long redraws;         // "Redraws": how often it was drawn
    long changes;         // "Changes": how often the designer changed its bounds or state
    double glow;          // "Glow"
    ZYNEstring label;     // "Label": the field holds one lock on it
    long level;           // "Level", behind routines: kept between 0 and 10
};

extern ZYNEcontrol SampleLampControl;

LampData* LampOf(ZYNEobject self) {
    return static_cast<LampData*>(ZYNEGetControlData(self, &SampleLampControl));
}

constexpr long kLampOffColor = 0x303030;

void LampConstructor(ZYNEobject self) {
    LampData* data = LampOf(self);
    data->lit = true;
    data->color = 0x00C000;
    data->frameColor = 0x000080;
    data->glow = 0.5;
    data->label = NewString("Lamp");
    data->level = 5;
}

void LampDestructor(ZYNEobject self) {
    ZYNEUnlockString(LampOf(self)->label);
}

// Fills the bounds, then frames them with four lines on their outermost pixels.
void LampRedraw(ZYNEobject self, ZYNEobject g) {
    LampData* data = LampOf(self);
    ++data->redraws;
    ZYNERect bounds;
    ZYNEGetControlBounds(self, &bounds);
    const long width = bounds.right - bounds.left;
    const long height = bounds.bottom - bounds.top;
    if (width <= 0 || height <= 0) return;
    using FillRect = void (*)(ZYNEobject, long, long, long, long);
    auto fill = reinterpret_cast<FillRect>(ZYNELoadObjectMethod(
        g, "FillRect( x as Integer, y as Integer, width as Integer, height as Integer )"));
    ZYNESetPropValue(g, "ForeColor", data->lit ? data->color : kLampOffColor);
    if (fill != nullptr) fill(g, bounds.left, bounds.top, width, height);
    ZYNESetPropValue(g, "ForeColor", data->frameColor);
    const int left = bounds.left, top = bounds.top;
    const int right = bounds.right - 1, bottom = bounds.bottom - 1;
    GraphicsDrawLine(g, left, top, right, top);
    GraphicsDrawLine(g, right, top, right, bottom);
    GraphicsDrawLine(g, right, bottom, left, bottom);
    GraphicsDrawLine(g, left, bottom, left, top);
}

void LampStateChanged(ZYNEobject self, unsigned long) {
    ++LampOf(self)->changes;
}

long LevelGetter(ZYNEobject self, long) {
    return LampOf(self)->level;
}
void LevelSetter(ZYNEobject self, long, long value) {
    LampOf(self)->level = value < 0 ? 0 : value > 10 ? 10 : value;
}

// The placement, as the lamp learns it from the designer: "Left", "Top", "Width" and
// "Height" share one getter and setter, told apart by the selector the services take.
long PositionGetter(ZYNEobject self, long which) {
    return ZYNEGetControlPosition(self, which);
}
void PositionSetter(ZYNEobject self, long which, long value) {
    ZYNESetControlPosition(self, which, value);
}
unsigned char ShownGetter(ZYNEobject self, long) {
    return ZYNEGetControlVisible(self);
}
void ShownSetter(ZYNEobject self, long, unsigned char shown) {
    ZYNESetControlVisible(self, shown);
}
unsigned char ActiveGetter(ZYNEobject self, long) {
    return ZYNEGetControlEnabled(self);
}
void ActiveSetter(ZYNEobject self, long, unsigned char active) {
    ZYNESetControlEnabled(self, 0, active);
}
unsigned char PlacedGetter(ZYNEobject self, long) {
    return ZYNEGetControlWindow(self) != nullptr ? 1 : 0;
}
// Whether the designer gave the lamp a native widget to live in.
unsigned char NativeGetter(ZYNEobject self, long) {
    return ZYNEGetControlHandle(self) != nullptr ? 1 : 0;
}

// "Double" goes through the property services on the lamp itself: twice its "Level".
long DoubleGetter(ZYNEobject self, long) {
    long level = -1;
    return ZYNEGetPropValue(self, "Level", &level) ? 2 * level : -1;
}
void DoubleSetter(ZYNEobject self, long, long value) {
    ZYNESetPropValue(self, "Level", value / 2);
}

ZYNEproperty LampProperties[] = {
    Field("Appearance", "Lit", "boolean", offsetof(LampData, lit)),
    Field("Appearance", "LampColor", "color", offsetof(LampData, color)),
    Field("Appearance", "FrameColor", "color", offsetof(LampData, frameColor)),
    Field("Behavior", "Redraws", "integer", offsetof(LampData, redraws)),
    Field("Behavior", "Changes", "integer", offsetof(LampData, changes)),
    Field("Appearance", "Glow", "double", offsetof(LampData, glow)),
    Field("Appearance", "Label", "string", offsetof(LampData, label)),
    Computed("Level", "Integer", Routine(&LevelGetter), Routine(&LevelSetter), 0),
    Computed("Left", "integer", Routine(&PositionGetter), Routine(&PositionSetter), 0),
    Computed("Top", "integer", Routine(&PositionGetter), Routine(&PositionSetter), 1),
    Computed("Width", "integer", Routine(&PositionGetter), Routine(&PositionSetter), 2),
    Computed("Height", "integer", Routine(&PositionGetter), Routine(&PositionSetter), 3),
    Computed("Shown", "boolean", Routine(&ShownGetter), Routine(&ShownSetter), 0),
    Computed("Active", "boolean", Routine(&ActiveGetter), Routine(&ActiveSetter), 0),
    Computed("Placed", "boolean", Routine(&PlacedGetter), nullptr, 0),
    Computed("Native", "boolean", Routine(&NativeGetter), nullptr, 0),
    Computed("Double", "integer", Routine(&DoubleGetter), Routine(&DoubleSetter), 0),
};

ZYNEcontrolBehaviour LampBehaviour = {
    .constructor = &LampConstructor,
    .destructor = &LampDestructor,
    .redraw = &LampRedraw,
    .stateChanged = &LampStateChanged,
};

ZYNEcontrol SampleLampControl = {
    .version = ZYNE_RECORD_VERSION,
    .name = "SampleLamp",
    .dataSize = sizeof(LampData),
    .flags = 0,
    .toolbarPicture = 129,
    .defaultWidth = 16,
    .defaultHeight = 16,
    .properties = LampProperties,
    .propertyCount = sizeof LampProperties / sizeof LampProperties[0],
    .behaviour = &LampBehaviour,
};

}  // namespace

// Registers every record, superclass before subclass.
void PluginEntry() {
    ZYNERegisterClass(&WidgetBaseClass);
    ZYNERegisterClass(&FancyWidgetClass);
    SetClassConsoleSafe(&BigBlockClass);  // usable without a graphical interface
    ZYNERegisterClass(&BigBlockClass);
    ZYNERegisterClass(&TooBigBlockClass);
    ZYNERegisterControl(&SampleKnobControl);
    ZYNERegisterControl(&SampleLampControl);
}
