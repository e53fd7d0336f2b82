// PluginClassInstanceTest.cpp - design-time instances of a guest class, end to end: the
// reference host loads the real bridge, a PluginClass made over a guest record built
// here creates the instance, and "Prop" reads and assigns the guest's properties
// through the host's variants.
#include <dlfcn.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BridgeProbe.h"
#include "ReferenceHost.h"

namespace {

using zyne::host::ReferenceHost;

// ----- The guest class ------------------------------------------------------------------------

// The guest's instance data as the guest lays it out.
struct GadgetData {
    long count;
    double ratio;
    unsigned char on;
    ZYNEstring label;
    long tint;
    float width;
    long twin;
    long routed;
    long readOnlyA;
    long readOnlyB;
    long mixed;
    long unreachable;
};

// What the guest's routines saw.
struct Seen {
    std::vector<void*> areas;  // the data address each routine was handed
    std::vector<long> params;
    std::string textSet;         // the last text handed to the Text setter
    long textRefsDuringSet = 0;  // its reference count while the setter ran
    ZYNEobject constructed = nullptr;
};
Seen seen;

void* const kField = ZYNE_DIRECT_FIELD;

long RoutedGet(void* area, long param) {
    seen.areas.push_back(area);
    seen.params.push_back(param);
    return static_cast<GadgetData*>(area)->routed + param;
}
void RoutedSet(void* area, long param, long value) {
    seen.areas.push_back(area);
    seen.params.push_back(param);
    static_cast<GadgetData*>(area)->routed = value * 10;
}
long TwinSet2Value = 0;
void TwinSet2(void*, long, long value) {
    TwinSet2Value = value;
}
long TwinGet2(void*, long) {
    return -1;
}
ZYNEstring TextGet(void*, long) {
    return ReferenceHost::Current()->NewString("from getter");
}
void TextSet(void*, long, ZYNEstring value) {
    seen.textSet = ReferenceHost::Text(value);
    seen.textRefsDuringSet = ReferenceHost::Current()->RefCount(value);
}
unsigned char FlagGet(void*, long param) {
    return param == 1 ? 1 : 0;
}
double RealGet(void*, long) {
    return 0.125;
}
double RealSetValue = 0;
void RealSet(void*, long, double value) {
    RealSetValue = value;
}

ZYNEproperty Prop(const char* name, const char* type, void* getter, void* setter, long param) {
    return {"", name, type, 0, getter, setter, param, nullptr, 0, nullptr};
}
template <class F>
void* R(F f) {
    return reinterpret_cast<void*>(f);
}

ZYNEproperty gGadgetProperties[] = {
    Prop("Count", "integer", kField, kField, offsetof(GadgetData, count)),
    Prop("Ratio", "Double", kField, kField, offsetof(GadgetData, ratio)),
    Prop("On", "BOOLEAN", kField, kField, offsetof(GadgetData, on)),
    Prop("Label", "String", kField, kField, offsetof(GadgetData, label)),
    Prop("Tint", "color", kField, kField, offsetof(GadgetData, tint)),
    Prop("Width", "Single", kField, kField, offsetof(GadgetData, width)),
    // Two properties of one name: both are assigned, the first is read.
    Prop("Twin", "Integer", kField, kField, offsetof(GadgetData, twin)),
    Prop("twin", "INTEGER", R(&TwinGet2), R(&TwinSet2), 0),
    Prop("Routed", "Integer", R(&RoutedGet), R(&RoutedSet), 5),
    Prop("Text", "string", R(&TextGet), R(&TextSet), 0),
    Prop("Flag", "Boolean", R(&FlagGet), nullptr, 1),
    Prop("Real", "double", R(&RealGet), R(&RealSet), 0),
    Prop("NoGetter", "Integer", nullptr, kField, offsetof(GadgetData, count)),
    // A missing setter stops the whole assignment, later namesakes included.
    Prop("ReadOnly", "Integer", kField, nullptr, offsetof(GadgetData, readOnlyA)),
    Prop("ReadOnly", "Integer", kField, kField, offsetof(GadgetData, readOnlyB)),
    // An unknown type is passed over and the walk goes on.
    Prop("Mixed", "Single", kField, kField, offsetof(GadgetData, mixed)),
    Prop("Mixed", "Integer", kField, kField, offsetof(GadgetData, mixed)),
    Prop("Outside", "Integer", kField, kField, 4096),
    Prop(nullptr, "Integer", kField, kField, 0),
};

void GadgetConstructor(ZYNEobject self);

ZYNEclassDefinition GadgetRecord(const char* name, long dataSize) {
    ZYNEclassDefinition c{};
    c.version = 9;
    c.name = name;
    c.dataSize = dataSize;
    c.constructor = &GadgetConstructor;
    c.properties = gGadgetProperties;
    c.propertyCount = static_cast<long>(std::size(gGadgetProperties));
    return c;
}
ZYNEclassDefinition gGadget = GadgetRecord("Gadget", sizeof(GadgetData));

// The guest finds its data as every guest does: the object plus its record's offset.
void GadgetConstructor(ZYNEobject self) {
    seen.constructed = self;
    auto* data = reinterpret_cast<GadgetData*>(reinterpret_cast<char*>(self) + gGadget.dataOffset);
    data->count = 7;
}

// ----- Probe: a PluginDefinition record holding the guest classes ----------------------------

struct Probe {
    void* (*newDefinition)(unsigned);
    void (*appendItems)(void*, int, long, void*);
};

const Probe& TheProbe() {
    static const Probe probe = [] {
        void* handle = dlopen(ZYNE_BRIDGE_PROBE_PATH, RTLD_NOW | RTLD_LOCAL);
        if (handle == nullptr) std::abort();
        return Probe{
            reinterpret_cast<void* (*)(unsigned)>(dlsym(handle, "ProbeNewDefinition")),
            reinterpret_cast<void (*)(void*, int, long, void*)>(dlsym(handle, "ProbeAppendItems")),
        };
    }();
    return probe;
}

constexpr int kClasses = 0;

// ----- Fixture ----------------------------------------------------------------------------------

class PluginClassInstanceTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host_.Load()) << host_.Error();
        seen = Seen{};
        gGadget = GadgetRecord("Gadget", sizeof(GadgetData));
        baseStrings_ = host_.LiveStrings();
    }
    void TearDown() override {
        for (ZYNEobject object : objects_) host_.Unlock(object);
        if (definition_ != nullptr) host_.Unlock(definition_);
        EXPECT_EQ(host_.LiveObjects(), 0U) << "an object was not released";
        EXPECT_EQ(host_.LiveStrings(), baseStrings_) << "a string was not released";
        EXPECT_TRUE(host_.Faults().empty()) << host_.Faults().front();
    }

    // A PluginClass over `record`, as a PluginDefinition hands it out.
    ZYNEobject ClassOf(ZYNEclassDefinition* record) {
        if (definition_ == nullptr) {
            record_ = TheProbe().newDefinition(0);
            definition_ = host_.NewInstance("PluginDefinition");
            const ZYNEclassDefinition* cls = host_.ClassOf(definition_);
            *reinterpret_cast<void**>(reinterpret_cast<char*>(definition_) + cls->dataOffset) =
                record_;
        }
        TheProbe().appendItems(record_, kClasses, 1, record);
        return Keep(host_.Call<ZYNEobject>(definition_, "GetClass", classCount_++));
    }
    ZYNEobject Create(ZYNEclassDefinition* record) {
        ZYNEobject c = ClassOf(record);
        return c != nullptr ? Keep(host_.Call<ZYNEobject>(c, "Create")) : nullptr;
    }
    ZYNEobject Keep(ZYNEobject object) {
        if (object != nullptr) objects_.push_back(object);
        return object;
    }

    // Prop( name ) read: a variant (released at tear-down unless `keep` is false), or nil.
    ZYNEobject Read(ZYNEobject instance, const char* name, bool keep = true) {
        ZYNEstring text = host_.NewString(name);
        ZYNEobject variant = host_.Call<ZYNEobject>(instance, "Prop", text);
        host_.Unlock(text);
        return keep ? Keep(variant) : variant;
    }
    // Prop( name ) = value: the method's setter routine, as the host calls it.
    void Assign(ZYNEobject instance, const char* name, ZYNEobject value) {
        const ZYNEclassDefinition* cls = host_.ClassOf(instance);
        ASSERT_EQ(cls->methodCount, 1);
        ASSERT_NE(cls->methods[0].setter, nullptr);
        ZYNEstring text = host_.NewString(name);
        reinterpret_cast<void (*)(ZYNEobject, ZYNEstring, ZYNEobject)>(cls->methods[0].setter)(
            instance, text, value);
        host_.Unlock(text);
    }
    GadgetData& Guest(ZYNEobject instance) {
        return *reinterpret_cast<GadgetData*>(reinterpret_cast<char*>(instance) +
                                              gGadget.dataOffset);
    }

    ReferenceHost host_;

private:
    void* record_ = nullptr;
    ZYNEobject definition_ = nullptr;
    long classCount_ = 0;
    std::vector<ZYNEobject> objects_;
    size_t baseStrings_ = 0;
};

// ----- Creating ------------------------------------------------------------------------------

TEST_F(PluginClassInstanceTest, ClassHoldsOneWordAndTheGuestsFourK) {
    const zyne::host::ClassInfo* info = host_.FindClass("PluginClassInstance");
    ASSERT_NE(info, nullptr);
    const ZYNEclassDefinition* record = info->record;
    EXPECT_EQ(record->version, 9);
    EXPECT_EQ(record->dataSize, static_cast<long>(sizeof(void*)) + 4096);  // 4100 on i386
    EXPECT_EQ(record->constructor, nullptr);
    EXPECT_EQ(record->destructor, nullptr);
    ASSERT_EQ(record->methodCount, 1);
    EXPECT_STREQ(record->methods[0].declaration, "Prop( propertyName as string ) as Variant");
    EXPECT_NE(record->methods[0].function, nullptr);
    EXPECT_NE(record->methods[0].setter, nullptr);
}

TEST_F(PluginClassInstanceTest, GuestDataStartsOneWordIntoTheInstanceData) {
    ZYNEobject instance = Create(&gGadget);
    ASSERT_NE(instance, nullptr);
    const ZYNEclassDefinition* own = host_.ClassOf(instance);
    ASSERT_NE(own, nullptr);
    EXPECT_STREQ(own->name, "PluginClassInstance");
    EXPECT_EQ(gGadget.dataOffset, own->dataOffset + static_cast<long>(sizeof(void*)));
    void* guestRecord = nullptr;
    std::memcpy(&guestRecord, reinterpret_cast<char*>(instance) + own->dataOffset,
                sizeof guestRecord);
    EXPECT_EQ(guestRecord, &gGadget);
    // The guest's constructor ran on the new object and found its own data there.
    EXPECT_EQ(seen.constructed, instance);
    ZYNEobject count = Read(instance, "count");
    EXPECT_EQ(host_.VariantInteger(count), 7);
    EXPECT_EQ(host_.RefCount(instance), 1);
}

TEST_F(PluginClassInstanceTest, GuestDataOverFourKIsRefusedOnStandardError) {
    const struct {
        const char* name;
        long dataSize;
        bool created;
        const char* message;
    } rows[] = {
        {"Fits", 4096, true, ""},
        {"Foo", 4097, false,
         "Couldn't create instance of Foobecause the instance data is more than 4K."},
        // Kept on purpose: the message is its own format string.
        {"Cent%%Widget", 100000, false,
         "Couldn't create instance of Cent%Widgetbecause the instance data is more than 4K."},
    };
    std::vector<ZYNEclassDefinition> records;
    records.reserve(std::size(rows));  // the definition keeps pointers to them
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        records.push_back(GadgetRecord(row.name, row.dataSize));
        records.back().constructor = nullptr;
        ZYNEobject c = ClassOf(&records.back());
        ASSERT_NE(c, nullptr);
        const size_t objectsBefore = host_.LiveObjects();
        testing::internal::CaptureStderr();
        ZYNEobject instance = Keep(host_.Call<ZYNEobject>(c, "Create"));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.message);
        EXPECT_EQ(instance != nullptr, row.created);
        EXPECT_EQ(host_.LiveObjects(), objectsBefore + (row.created ? 1 : 0));
        // The offset is written whether or not an instance is made.
        EXPECT_EQ(records.back().dataOffset,
                  host_.FindClass("PluginClassInstance")->record->dataOffset +
                      static_cast<long>(sizeof(void*)));
    }
}

// ----- Reading --------------------------------------------------------------------------------

TEST_F(PluginClassInstanceTest, PropReadsByTypeWordIgnoringCase) {
    ZYNEobject instance = Create(&gGadget);
    ASSERT_NE(instance, nullptr);
    GadgetData& data = Guest(instance);
    data.count = -42;
    data.ratio = 2.5;
    data.on = 1;
    data.tint = 0x336699;
    data.width = 3.0F;
    data.twin = 11;
    data.routed = 100;

    const struct {
        const char* name;
        const char* type;  // of the variant; "" for nil
        std::string text;  // its StringValue
    } rows[] = {
        {"Count", "Integer", "-42"},
        {"RATIO", "Double", "2.5"},
        {"on", "Boolean", "True"},
        {"Tint", "Color", "&c336699"},
        {"Twin", "Integer", "11"},     // the first of two namesakes
        {"Routed", "Integer", "105"},  // the getter adds its param
        {"Text", "String", "from getter"},
        {"Flag", "Boolean", "True"},
        {"Real", "Double", "0.125"},
        {"Width", "", ""},  // "Single" is not a type Prop reads
        {"NoGetter", "", ""},
        {"Outside", "", ""},  // a field past the guest's 4K
        {"Missing", "", ""},
        {"", "", ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        ZYNEobject value = Read(instance, row.name);
        EXPECT_EQ(host_.VariantType(value), row.type);
        if (value != nullptr) {
            EXPECT_EQ(host_.VariantString(value), row.text);
        }
    }
    EXPECT_EQ(host_.VariantInteger(Read(instance, "Tint")), 0x336699);
}

TEST_F(PluginClassInstanceTest, RoutinesAreHandedTheGuestDataNotTheObject) {
    ZYNEobject instance = Create(&gGadget);
    ASSERT_NE(instance, nullptr);
    Read(instance, "Routed");
    Assign(instance, "Routed", Keep(host_.NewVariantInteger(3)));
    ASSERT_EQ(seen.areas.size(), 2U);
    EXPECT_EQ(seen.areas[0], &Guest(instance));
    EXPECT_EQ(seen.areas[1], &Guest(instance));
    EXPECT_EQ(seen.params, (std::vector<long>{5, 5}));
    EXPECT_EQ(Guest(instance).routed, 30);
}

TEST_F(PluginClassInstanceTest, StringsFromGettersAreReleasedFieldsKeepTheirs) {
    ZYNEobject instance = Create(&gGadget);
    ASSERT_NE(instance, nullptr);
    ZYNEstring label = host_.NewString("kept");
    Guest(instance).label = label;  // the field holds this one reference
    const size_t before = host_.LiveStrings();

    ZYNEobject fromField = Read(instance, "Label", false);
    EXPECT_EQ(host_.RefCount(label), 2);  // the field's and the variant's
    host_.Unlock(fromField);
    EXPECT_EQ(host_.RefCount(label), 1);

    ZYNEobject fromGetter = Read(instance, "Text", false);
    EXPECT_EQ(host_.LiveStrings(), before + 1);  // the getter's string, held by the variant
    host_.Unlock(fromGetter);
    EXPECT_EQ(host_.LiveStrings(), before);

    Guest(instance).label = nullptr;
    host_.Unlock(label);
}

// ----- Assigning ------------------------------------------------------------------------------

TEST_F(PluginClassInstanceTest, PropAssignsByTypeWordFromTheVariantsValues) {
    ZYNEobject instance = Create(&gGadget);
    ASSERT_NE(instance, nullptr);
    GadgetData& data = Guest(instance);
    data.on = 1;
    data.width = 3.0F;

    struct Row {
        const char* name;
        ZYNEobject value;
    };
    const Row rows[] = {
        {"count", Keep(host_.NewVariantString("42"))},  // through the variant's IntegerValue
        {"Ratio", Keep(host_.NewVariantInteger(3))},
        {"On", Keep(host_.NewVariantBoolean(false))},
        {"Tint", Keep(host_.NewVariantColor(0xABCDEF))},
        {"Width", Keep(host_.NewVariantInteger(9))},  // "Single": left alone
        {"Real", Keep(host_.NewVariantDouble(1.75))},
        {"Twin", Keep(host_.NewVariantInteger(8))},      // both namesakes
        {"Mixed", Keep(host_.NewVariantInteger(5))},     // the "Single" one is passed over
        {"ReadOnly", Keep(host_.NewVariantInteger(6))},  // the first has no setter: none
        {"Flag", Keep(host_.NewVariantBoolean(false))},  // no setter
        {"Missing", Keep(host_.NewVariantInteger(1))},
    };
    for (const Row& row : rows) Assign(instance, row.name, row.value);

    EXPECT_EQ(data.count, 42);
    EXPECT_EQ(data.ratio, 3.0);
    EXPECT_EQ(data.on, 0);
    EXPECT_EQ(data.tint, 0xABCDEF);
    EXPECT_EQ(data.width, 3.0F);
    EXPECT_EQ(RealSetValue, 1.75);
    EXPECT_EQ(data.twin, 8);
    EXPECT_EQ(TwinSet2Value, 8);
    EXPECT_EQ(host_.VariantInteger(Read(instance, "TWIN")), 8);  // the first namesake
    EXPECT_EQ(data.mixed, 5);
    EXPECT_EQ(data.readOnlyA, 0);
    EXPECT_EQ(data.readOnlyB, 0);
    EXPECT_EQ(host_.VariantType(Read(instance, "Tint")), "Color");
}

TEST_F(PluginClassInstanceTest, AValueTheVariantCannotGiveStopsTheAssignment) {
    ZYNEobject instance = Create(&gGadget);
    ASSERT_NE(instance, nullptr);
    GadgetData& data = Guest(instance);
    data.twin = 4;
    TwinSet2Value = 4;
    Assign(instance, "Twin", Keep(host_.NewVariantString("abc")));
    EXPECT_EQ(data.twin, 4);
    EXPECT_EQ(TwinSet2Value, 4);
    // An object that is no variant has no IntegerValue either.
    Assign(instance, "Count", instance);
    EXPECT_EQ(data.count, 7);
}

TEST_F(PluginClassInstanceTest, StringAssignmentsTradeReferences) {
    ZYNEobject instance = Create(&gGadget);
    ASSERT_NE(instance, nullptr);
    const size_t before = host_.LiveStrings();

    ZYNEobject first = host_.NewVariantString("first");
    Assign(instance, "Label", first);
    host_.Unlock(first);
    ZYNEstring held = Guest(instance).label;
    EXPECT_EQ(ReferenceHost::Text(held), "first");
    EXPECT_EQ(host_.RefCount(held), 1);  // the field's own

    ZYNEobject second = host_.NewVariantString("second");
    Assign(instance, "label", second);
    host_.Unlock(second);
    EXPECT_EQ(ReferenceHost::Text(Guest(instance).label), "second");
    EXPECT_EQ(host_.RefCount(held), 0);  // the old text was released
    EXPECT_EQ(host_.LiveStrings(), before + 1);

    // A setter routine borrows the text; it is released after the call.
    ZYNEobject number = host_.NewVariantInteger(12);
    Assign(instance, "Text", number);
    host_.Unlock(number);
    EXPECT_EQ(seen.textSet, "12");
    EXPECT_EQ(seen.textRefsDuringSet, 1);
    EXPECT_EQ(host_.LiveStrings(), before + 1);

    host_.Unlock(Guest(instance).label);
    Guest(instance).label = nullptr;
}

}  // namespace
