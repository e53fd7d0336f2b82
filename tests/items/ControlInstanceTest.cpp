// ControlInstanceTest.cpp - design-time control instances, end to end: the reference host
// loads the bridge, the bridge loads the Widgets sample through LoadPlugin, and
// SampleLamp is made with "Create", moved, drawn into a host Graphics and read and
// assigned through "Prop". The lamp asks its placement through the design-time control
// services and draws through the host's graphics services, so the canvas shows whether
// those answered right. The services' failure answers for objects that are not
// design-time instances are checked against the library's static objects, and so are
// instances of guest records the test makes itself (routines missing, odd sizes), with the
// reference host answering the services and no bridge loaded.
#include <ftw.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ReferenceHost.h"
#include "items/ControlInstance.h"
#include "items/ControlInstanceServices.h"

namespace {

using zyne::host::ReferenceHost;

int RemoveOne(const char* path, const struct stat*, int, FTW*) {
    std::remove(path);
    return 0;
}

constexpr unsigned long kWhite = 0xFFFFFF;
constexpr unsigned long kLampOn = 0x00C000;
constexpr unsigned long kLampOff = 0x303030;
constexpr unsigned long kFrame = 0x000080;

class ControlInstanceTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/ControlInstanceTest.XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        home_ = pattern;
        if (const char* home = std::getenv("HOME")) savedHome_ = home;
        setenv("HOME", home_.c_str(), 1);

        ASSERT_TRUE(host_.Load()) << host_.Error();
        startObjects_ = host_.LiveObjects();
        startStrings_ = host_.LiveStrings();
        bridge_ = host_.NewInstance("PluginBridge");
        ASSERT_NE(bridge_, nullptr);
        ZYNEobject item = host_.NewFolderItem(ZYNE_WIDGETS_GUEST_PATH);
        const bool loaded = host_.Call<bool>(bridge_, "LoadPlugin", item);
        host_.Unlock(item);
        ASSERT_TRUE(loaded);
        definition_ = host_.Call<ZYNEobject>(bridge_, "GetPluginDefinition", 0L);
        ASSERT_NE(definition_, nullptr);
        lamp_ = Control(1);
        ASSERT_NE(lamp_, nullptr);
        window_ = Held(host_.NewWindow());
        ASSERT_NE(window_, nullptr);
    }

    void TearDown() override {
        for (auto object = held_.rbegin(); object != held_.rend(); ++object) host_.Unlock(*object);
        host_.Unlock(definition_);
        host_.Unlock(bridge_);
        EXPECT_EQ(host_.LiveObjects(), startObjects_);
        EXPECT_EQ(host_.LiveStrings(), startStrings_);
        EXPECT_TRUE(host_.Faults().empty()) << host_.Faults().front();
        if (savedHome_.empty()) {
            unsetenv("HOME");
        } else {
            setenv("HOME", savedHome_.c_str(), 1);
        }
        nftw(home_.c_str(), RemoveOne, 16, FTW_PHYS | FTW_DEPTH);
    }

    ZYNEobject Held(ZYNEobject object) {
        if (object != nullptr) held_.push_back(object);
        return object;
    }
    // A design-time lamp in the test's window, held until tear-down.
    ZYNEobject NewLamp() { return Held(host_.Call<ZYNEobject>(lamp_, "Create", window_)); }
    // The definition's control `index` (0 SampleKnob, 1 SampleLamp), held.
    ZYNEobject Control(long index) {
        return Held(host_.Call<ZYNEobject>(definition_, "GetControl", index));
    }

    // Prop( name ): the variant read, held; nil when there is none.
    ZYNEobject Read(ZYNEobject instance, const char* name) {
        ZYNEstring text = host_.NewString(name);
        ZYNEobject variant = host_.Call<ZYNEobject>(instance, "Prop", text);
        host_.Unlock(text);
        return Held(variant);
    }
    std::optional<long> ReadInteger(ZYNEobject instance, const char* name) {
        ZYNEobject variant = Read(instance, name);
        return variant != nullptr ? host_.VariantInteger(variant) : std::nullopt;
    }
    // Prop( name ) = value, through the method's setter as the host calls it; the variant
    // is released afterwards.
    void Assign(ZYNEobject instance, const char* name, ZYNEobject value) {
        const ZYNEclassDefinition* record = host_.ClassOf(instance);
        ASSERT_NE(record, nullptr);
        ASSERT_NE(record->methods[0].setter, nullptr);
        ZYNEstring text = host_.NewString(name);
        reinterpret_cast<void (*)(ZYNEobject, ZYNEstring, ZYNEobject)>(record->methods[0].setter)(
            instance, text, value);
        host_.Unlock(text);
        host_.Unlock(value);
    }
    void Move(ZYNEobject instance, long x, long y, long width, long height) {
        host_.Call<void>(instance, "Move", x, y, width, height);
    }

    ReferenceHost host_;
    ZYNEobject lamp_ = nullptr;
    ZYNEobject window_ = nullptr;

private:
    std::string home_;
    std::string savedHome_;
    ZYNEobject bridge_ = nullptr;
    ZYNEobject definition_ = nullptr;
    std::vector<ZYNEobject> held_;
    size_t startObjects_ = 0;
    size_t startStrings_ = 0;
};

TEST_F(ControlInstanceTest, ClassHasFourWordsADestructorAndItsThreeMethods) {
    const zyne::host::ClassInfo* info = host_.FindClass("PluginControlInstance");
    ASSERT_NE(info, nullptr);
    const ZYNEclassDefinition* record = info->record;
    EXPECT_EQ(record->version, 9);
    EXPECT_EQ(record->dataSize, static_cast<long>(4 * sizeof(void*)));
    EXPECT_EQ(record->constructor, nullptr);
    EXPECT_NE(record->destructor, nullptr);
    ASSERT_EQ(record->methodCount, 3);
    EXPECT_STREQ(record->methods[0].declaration, "Prop( propertyName as string ) as Variant");
    EXPECT_NE(record->methods[0].setter, nullptr);
    EXPECT_STREQ(record->methods[1].declaration, "Draw( g as Graphics )");
    EXPECT_STREQ(record->methods[2].declaration,
                 "Move( x as integer, y as integer, width as integer, height as integer )");
}

TEST_F(ControlInstanceTest, CreateRunsTheGuestConstructorOnItsOwnData) {
    ZYNEobject a = NewLamp();
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(host_.ClassOf(a), host_.FindClass("PluginControlInstance")->record);
    // Set by the behaviour's constructor through ZYNEGetControlData.
    EXPECT_EQ(host_.VariantBoolean(Read(a, "Lit")), true);
    EXPECT_EQ(ReadInteger(a, "LampColor"), static_cast<long>(kLampOn));
    EXPECT_EQ(host_.VariantString(Read(a, "Label")), "Lamp");
    // A second instance has data of its own, although both share one control record.
    ZYNEobject b = NewLamp();
    ASSERT_NE(b, nullptr);
    Assign(b, "LampColor", host_.NewVariantColor(0x123456));
    EXPECT_EQ(ReadInteger(a, "LampColor"), static_cast<long>(kLampOn));
    EXPECT_EQ(ReadInteger(b, "LampColor"), 0x123456);
}

TEST_F(ControlInstanceTest, ControlsWithoutABehaviourOrWindowAreMadeToo) {
    ZYNEobject lamp = Held(host_.Call<ZYNEobject>(lamp_, "Create", ZYNEobject{nullptr}));
    ASSERT_NE(lamp, nullptr);
    EXPECT_EQ(host_.VariantBoolean(Read(lamp, "Placed")), false) << "made without a window";

    ZYNEobject knob = Held(host_.Call<ZYNEobject>(Control(0), "Create", window_));
    ASSERT_NE(knob, nullptr);
    EXPECT_EQ(ReadInteger(knob, "Value"), 0) << "the guest's data starts zeroed";
    Assign(knob, "Maximum", host_.NewVariantInteger(9));
    EXPECT_EQ(ReadInteger(knob, "Maximum"), 9);
    ZYNEobject g = Held(host_.NewGraphics(8, 8));
    host_.Call<void>(knob, "Draw", g);
    EXPECT_EQ(host_.CanvasPixel(g, 0, 0), kWhite) << "no redraw entry, nothing drawn";
}

TEST_F(ControlInstanceTest, DestructorRunsTheGuestDestructorOnce) {
    const size_t strings = host_.LiveStrings();
    ZYNEobject lamp = host_.Call<ZYNEobject>(lamp_, "Create", window_);
    ASSERT_NE(lamp, nullptr);
    EXPECT_EQ(host_.LiveStrings(), strings + 1) << "the constructor made its label";
    const long windowCount = host_.RefCount(window_);
    host_.ClearLog();
    host_.Unlock(lamp);
    EXPECT_EQ(host_.LiveStrings(), strings) << "the guest's destructor released its label";
    EXPECT_EQ(host_.Count("ZYNEUnlockString(\"Lamp\")"), 1u);
    EXPECT_EQ(host_.RefCount(window_), windowCount - 1) << "the window is let go";
}

TEST_F(ControlInstanceTest, MoveSetsTheBoundsTheGuestAsksFor) {
    ZYNEobject lamp = NewLamp();
    ASSERT_NE(lamp, nullptr);
    // The control's default size at the window's corner.
    for (auto [name, value] : {std::pair{"Left", 0L}, {"Top", 0L}, {"Width", 16L}, {"Height", 16L}})
        EXPECT_EQ(ReadInteger(lamp, name), value) << name;
    EXPECT_EQ(ReadInteger(lamp, "Changes"), 0);
    Move(lamp, 10, 20, 30, 40);
    for (auto [name, value] : {std::pair{"Left", 10L}, {"Top", 20L}, {"Width", 30L}, {"Height", 40L}})
        EXPECT_EQ(ReadInteger(lamp, name), value) << name;
    EXPECT_EQ(ReadInteger(lamp, "Changes"), 1) << "the behaviour heard of the move";
    Move(lamp, 10, 20, 30, 40);
    EXPECT_EQ(ReadInteger(lamp, "Changes"), 1) << "no change, no news";
    Move(lamp, -5, 3, -1, -7);
    for (auto [name, value] : {std::pair{"Left", -5L}, {"Top", 3L}, {"Width", 0L}, {"Height", 0L}})
        EXPECT_EQ(ReadInteger(lamp, name), value) << name << ": extents are never negative";
    // The position setter service, reached from the guest's own property setters.
    Assign(lamp, "Width", host_.NewVariantInteger(12));
    Assign(lamp, "Left", host_.NewVariantInteger(7));
    EXPECT_EQ(ReadInteger(lamp, "Width"), 12);
    EXPECT_EQ(ReadInteger(lamp, "Left"), 7);
    EXPECT_EQ(ReadInteger(lamp, "Changes"), 4);
}

TEST_F(ControlInstanceTest, VisibilityAndEnabledStateThroughTheServices) {
    ZYNEobject lamp = NewLamp();
    ASSERT_NE(lamp, nullptr);
    EXPECT_EQ(host_.VariantBoolean(Read(lamp, "Shown")), true);
    EXPECT_EQ(host_.VariantBoolean(Read(lamp, "Active")), true);
    EXPECT_EQ(host_.VariantBoolean(Read(lamp, "Placed")), true);
    // A window without a display has no box for the control's native handle.
    EXPECT_EQ(host_.VariantBoolean(Read(lamp, "Native")), false);
    Assign(lamp, "Shown", host_.NewVariantBoolean(false));
    Assign(lamp, "Active", host_.NewVariantBoolean(false));
    EXPECT_EQ(host_.VariantBoolean(Read(lamp, "Shown")), false);
    EXPECT_EQ(host_.VariantBoolean(Read(lamp, "Active")), false);
    EXPECT_EQ(ReadInteger(lamp, "Changes"), 2);
}

TEST_F(ControlInstanceTest, DrawFillsAndFramesTheBoundsThroughTheHostGraphics) {
    ZYNEobject lamp = NewLamp();
    ASSERT_NE(lamp, nullptr);
    ZYNEobject g = Held(host_.NewGraphics(64, 48));
    Move(lamp, 10, 8, 20, 12);
    host_.Call<void>(lamp, "Draw", g);
    EXPECT_EQ(ReadInteger(lamp, "Redraws"), 1);
    struct Probe {
        long x, y;
        unsigned long color;
    };
    for (const Probe& p : {Probe{9, 8, kWhite}, Probe{10, 8, kFrame}, Probe{29, 8, kFrame},
                           Probe{30, 8, kWhite}, Probe{10, 19, kFrame}, Probe{10, 20, kWhite},
                           Probe{29, 19, kFrame}, Probe{11, 9, kLampOn}, Probe{28, 18, kLampOn},
                           Probe{20, 14, kLampOn}, Probe{0, 0, kWhite}})
        EXPECT_EQ(host_.CanvasPixel(g, p.x, p.y), p.color) << p.x << "," << p.y;

    // Off, it draws dark; hidden, it does not draw at all.
    Assign(lamp, "Lit", host_.NewVariantBoolean(false));
    host_.Call<void>(lamp, "Draw", g);
    EXPECT_EQ(host_.CanvasPixel(g, 20, 14), kLampOff);
    Assign(lamp, "Shown", host_.NewVariantBoolean(false));
    Assign(lamp, "Lit", host_.NewVariantBoolean(true));
    host_.Call<void>(lamp, "Draw", g);
    EXPECT_EQ(host_.CanvasPixel(g, 20, 14), kLampOff);
    EXPECT_EQ(ReadInteger(lamp, "Redraws"), 2);
}

TEST_F(ControlInstanceTest, PropReadsAndAssignsByTypeWord) {
    ZYNEobject lamp = NewLamp();
    ASSERT_NE(lamp, nullptr);
    EXPECT_EQ(host_.VariantType(Read(lamp, "lampcolor")), "Color") << "names in any case";
    EXPECT_EQ(host_.VariantType(Read(lamp, "Glow")), "Double");
    EXPECT_EQ(host_.VariantDouble(Read(lamp, "Glow")), 0.5);
    EXPECT_EQ(host_.VariantType(Read(lamp, "Lit")), "Boolean");
    EXPECT_EQ(host_.VariantType(Read(lamp, "Label")), "String");
    EXPECT_EQ(host_.VariantType(Read(lamp, "Level")), "Integer") << "type word \"Integer\"";
    EXPECT_EQ(Read(lamp, "NoSuchProperty"), nullptr);

    Assign(lamp, "Glow", host_.NewVariantDouble(0.25));
    Assign(lamp, "Label", host_.NewVariantString("Beacon"));
    Assign(lamp, "Lit", host_.NewVariantBoolean(false));
    Assign(lamp, "Level", host_.NewVariantInteger(42));  // the guest's setter clamps
    EXPECT_EQ(host_.VariantDouble(Read(lamp, "Glow")), 0.25);
    EXPECT_EQ(host_.VariantString(Read(lamp, "Label")), "Beacon");
    EXPECT_EQ(host_.VariantBoolean(Read(lamp, "Lit")), false);
    EXPECT_EQ(ReadInteger(lamp, "Level"), 10);
    // A variant that cannot give the value leaves the property alone.
    Assign(lamp, "Glow", host_.NewVariantString("not a number"));
    EXPECT_EQ(host_.VariantDouble(Read(lamp, "Glow")), 0.25);
    // A read-only property ignores assignments.
    Assign(lamp, "Placed", host_.NewVariantBoolean(false));
    EXPECT_EQ(host_.VariantBoolean(Read(lamp, "Placed")), true);
}

TEST_F(ControlInstanceTest, PropertyServicesTreatTheInstanceAsACustomControl) {
    ZYNEobject lamp = NewLamp();
    ASSERT_NE(lamp, nullptr);
    // "Double" reads and writes "Level" through the resolver's property family.
    EXPECT_EQ(ReadInteger(lamp, "Double"), 10);
    Assign(lamp, "Double", host_.NewVariantInteger(8));
    EXPECT_EQ(ReadInteger(lamp, "Level"), 4);
    EXPECT_EQ(ReadInteger(lamp, "Double"), 8);
}

// The services and hooks as the library answers them for anything but a live instance.
TEST(ControlInstanceServicesTest, AnswerFailureForObjectsThatAreNotInstances) {
    unsigned char notAnInstance[64];
    std::memset(notAnInstance, 0xAB, sizeof notAnInstance);
    for (ZYNEobject object : {ZYNEobject{nullptr}, reinterpret_cast<ZYNEobject>(notAnInstance)}) {
        ZYNERect bounds{1, 2, 3, 4};
        DesignControlGetBounds(object, &bounds);
        EXPECT_EQ(bounds.top, 0);
        EXPECT_EQ(bounds.left, 0);
        EXPECT_EQ(bounds.bottom, 0);
        EXPECT_EQ(bounds.right, 0);
        DesignControlGetBounds(object, nullptr);
        for (long which = -1; which <= 4; ++which) EXPECT_EQ(DesignControlGetPosition(object, which), 0);
        DesignControlSetPosition(object, 0, 5);
        DesignControlSetVisible(object, 1);
        DesignControlSetEnabled(object, 0, 1);
        EXPECT_EQ(DesignControlGetVisible(object), 0);
        EXPECT_EQ(DesignControlGetEnabled(object), 0);
        EXPECT_EQ(DesignControlGetHandle(object), nullptr);
        EXPECT_EQ(DesignControlGetWindow(object), nullptr);
        EXPECT_FALSE(IsDesignTimeControlInstance(object));
        EXPECT_EQ(DesignControlPropertyValue(object, "Lit"), nullptr);
        EXPECT_FALSE(DesignControlSetPropertyValue(object, "Lit", nullptr));
    }
    // Nothing was written into the object.
    for (unsigned char byte : notAnInstance) ASSERT_EQ(byte, 0xAB);
}

// ----- Guest records of the test's own ----------------------------------------------------
//
// Instances made through the library's own objects, with the reference host answering their
// services and no bridge loaded, so that a record can hold whatever a guest might hand over.

ZYNEcontrol gRecord;
ZYNEcontrolBehaviour gBehaviour;

// What the test's behaviour routines saw.
struct GuestLog {
    int constructed = 0;
    int destroyed = 0;
    int redrawn = 0;
    int changed = 0;
    bool listedWhenDestroyed = false;  // the services still knew the instance then
};
GuestLog gLog;

void GuestConstructor(ZYNEobject self) {
    ++gLog.constructed;
    if (gRecord.dataSize >= static_cast<long>(sizeof(long)))
        *static_cast<long*>(ZYNEGetControlData(self, &gRecord)) = 7;
}
void GuestDestructor(ZYNEobject self) {
    ++gLog.destroyed;
    gLog.listedWhenDestroyed = IsDesignTimeControlInstance(self);
}
void GuestRedraw(ZYNEobject, ZYNEobject) {
    ++gLog.redrawn;
}
void GuestStateChanged(ZYNEobject, unsigned long) {
    ++gLog.changed;
}

ZYNEproperty gFirstWord[] = {
    {"", "First", "integer", 0, ZYNE_DIRECT_FIELD, ZYNE_DIRECT_FIELD, 0, nullptr, 0, nullptr},
};

class GuestRecordTest : public ::testing::Test {
protected:
    void SetUp() override {
        gResolver = ReferenceHost::Resolver();
        ZYNERegisterClass(&PluginControlInstanceClassDefinition);
        startObjects_ = host_.LiveObjects();
        window_ = host_.NewWindow();
        ResetRecord();
    }
    void TearDown() override {
        host_.Unlock(window_);
        EXPECT_EQ(host_.LiveObjects(), startObjects_);
        EXPECT_TRUE(host_.Faults().empty()) << host_.Faults().front();
        gResolver = nullptr;
    }

    // A record of every routine, two words of data and a 20 x 10 default size.
    static void ResetRecord() {
        gRecord = {};
        gRecord.version = ZYNE_RECORD_VERSION;
        gRecord.name = "TestControl";
        gRecord.dataSize = 2 * sizeof(long);
        gRecord.defaultWidth = 20;
        gRecord.defaultHeight = 10;
        gRecord.properties = gFirstWord;
        gRecord.propertyCount = 1;
        gRecord.behaviour = &gBehaviour;
        gBehaviour = {};
        gBehaviour.constructor = &GuestConstructor;
        gBehaviour.destructor = &GuestDestructor;
        gBehaviour.redraw = &GuestRedraw;
        gBehaviour.stateChanged = &GuestStateChanged;
        gLog = {};
    }

    ZYNEobject Create() { return PluginControlInstanceCreate(&gRecord, nullptr, window_); }
    ZYNERect Bounds(ZYNEobject instance) {
        ZYNERect bounds{};
        DesignControlGetBounds(instance, &bounds);
        return bounds;
    }

    ReferenceHost host_;  // answers the library's services; no bridge is loaded
    ZYNEobject window_ = nullptr;
    size_t startObjects_ = 0;
};

// Every routine present runs, the constructor and destructor once each; a missing one is
// skipped. Once destroyed, the instance is nothing the services know.
TEST_F(GuestRecordTest, GuestRoutinesRunOnceAndMissingOnesAreSkipped) {
    const struct {
        const char* what;
        long dataSize;
        bool behaviour;
        bool routines;
        int calls;     // expected of each routine
        long first;    // "First" as read after construction; -1 for none
    } cases[] = {
        {"every routine", 2 * sizeof(long), true, true, 1, 7},
        {"no behaviour record", 2 * sizeof(long), false, true, 0, 0},
        {"a behaviour of null entries", 2 * sizeof(long), true, false, 0, 0},
        {"no data", 0, true, true, 1, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ResetRecord();
        gRecord.dataSize = c.dataSize;
        if (!c.behaviour) gRecord.behaviour = nullptr;
        if (!c.routines) gBehaviour = {};
        ZYNEobject instance = Create();
        ASSERT_NE(instance, nullptr);
        EXPECT_EQ(gLog.constructed, c.calls);
        ZYNEobject first = PluginControlInstancePropertyValue(instance, "First");
        EXPECT_EQ(first != nullptr ? host_.VariantInteger(first) : -1, c.first);
        host_.Unlock(first);
        ZYNEobject g = host_.NewGraphics(8, 8);
        host_.Call<void>(instance, "Draw", g);
        host_.Unlock(g);
        EXPECT_EQ(gLog.redrawn, c.calls);
        host_.Call<void>(instance, "Move", 1L, 2L, 3L, 4L);
        EXPECT_EQ(gLog.changed, c.calls);
        host_.Unlock(instance);
        EXPECT_EQ(gLog.destroyed, c.calls);
        EXPECT_EQ(gLog.listedWhenDestroyed, c.calls > 0);
        EXPECT_FALSE(IsDesignTimeControlInstance(instance));
        EXPECT_EQ(DesignControlGetPosition(instance, kControlWidth), 0);
        EXPECT_EQ(DesignControlGetWindow(instance), nullptr);
    }
}

// A guest's default size below 0 makes a control of no extent, as Move does with one.
TEST_F(GuestRecordTest, NegativeDefaultSizeMakesAnEmptyControl) {
    const struct {
        long width, height;
        long expectedWidth, expectedHeight;
    } cases[] = {{-5, 12, 0, 12}, {7, -1, 7, 0}, {LONG_MIN, LONG_MIN, 0, 0}, {0, 0, 0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.width << " x " << c.height);
        gRecord.defaultWidth = c.width;
        gRecord.defaultHeight = c.height;
        ZYNEobject instance = Create();
        ASSERT_NE(instance, nullptr);
        EXPECT_EQ(DesignControlGetPosition(instance, kControlWidth), c.expectedWidth);
        EXPECT_EQ(DesignControlGetPosition(instance, kControlHeight), c.expectedHeight);
        const ZYNERect bounds = Bounds(instance);
        EXPECT_EQ(bounds.right, c.expectedWidth);
        EXPECT_EQ(bounds.bottom, c.expectedHeight);
        host_.Unlock(instance);
    }
}

// Right and bottom are clipped to 16 bits as the sum of a coordinate and an extent, however
// large both are.
TEST_F(GuestRecordTest, BoundsClipTheEdgesTheyWouldHave) {
    const struct {
        long x, y, width, height;
        ZYNERect expected;  // top, left, bottom, right
    } cases[] = {
        {10, 20, 30, 40, {20, 10, 60, 40}},
        {32000, 0, LONG_MAX, 5, {0, 32000, 5, 32767}},
        {LONG_MAX, LONG_MAX, LONG_MAX, LONG_MAX, {32767, 32767, 32767, 32767}},
        {-40000, LONG_MIN, 50000, LONG_MAX, {-32768, -32768, -1, 10000}},
    };
    ZYNEobject instance = Create();
    ASSERT_NE(instance, nullptr);
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.x << ", " << c.y << ", " << c.width << ", " << c.height);
        host_.Call<void>(instance, "Move", c.x, c.y, c.width, c.height);
        const ZYNERect bounds = Bounds(instance);
        EXPECT_EQ(bounds.top, c.expected.top);
        EXPECT_EQ(bounds.left, c.expected.left);
        EXPECT_EQ(bounds.bottom, c.expected.bottom);
        EXPECT_EQ(bounds.right, c.expected.right);
    }
    host_.Unlock(instance);
}

}  // namespace
