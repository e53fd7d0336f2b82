// ItemClassesTest.cpp - the item classes a PluginDefinition hands out (PluginClass,
// PluginControl, PluginModule, PluginInterface and the items they list), read through the
// reference host and the real bridge, over guest records built here.
#include <dlfcn.h>

#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BridgeProbe.h"
#include "ReferenceHost.h"

namespace {

using zyne::host::ReferenceHost;

// ----- Guest records --------------------------------------------------------------------------

long Routine1(ZYNEobject, long) { return 1; }
long Routine2(ZYNEobject, long) { return 2; }
void* const kGetter = reinterpret_cast<void*>(&Routine1);
void* const kSetter = reinterpret_cast<void*>(&Routine2);

const char* kColours[] = {"Red", "Green", "Blue"};

ZYNEproperty Property(const char* name, const char* type, unsigned long flags, long param = 0) {
    return {"Appearance", name, type, flags, kGetter, kSetter, param, nullptr, 3, kColours};
}

ZYNEproperty gProperties[] = {
    Property("Width", "Integer", 2 | 16),   // runtime only, Global
    Property("Label", "String", 16 | 128),  // Global wins over Private
};
ZYNEproperty gSharedProperties[] = {Property("Default", "Boolean", 0, 7)};

ZYNEmethodDefinition gMethods[] = {
    {kGetter, kSetter, "Resize( width as Integer, height as Integer ) as Boolean", 8 | 32},
    {kGetter, nullptr, "Reset()", 0},
};
ZYNEmethodDefinition gSharedMethods[] = {{kGetter, nullptr, "Make() as Widget", 64}};
// The same two methods in the three-word form of records below version 7.
void* gEarlierMethods[] = {kGetter, kSetter, const_cast<char*>("Old( a as Integer )"),
                           kGetter, nullptr, const_cast<char*>("Older() as String")};

ZYNEconstant gConstants[] = {
    {"Pi as Double = 3.14", nullptr, 32},
    {"kNoValue", nullptr, 0},
};
ZYNEevent gEvents[] = {{"Changed( value as Integer )", 0}};
ZYNEeventInstance gHandlers[] = {{"Open", kGetter}, {"Close", kGetter}};

ZYNEclassDefinition ClassRecord(long version, unsigned long flags) {
    ZYNEclassDefinition c{};
    c.version = version;
    c.name = "Widget";
    c.superName = nullptr;
    c.dataSize = 12;
    c.constructor = reinterpret_cast<void (*)(ZYNEobject)>(kGetter);
    c.properties = gProperties;
    c.propertyCount = 2;
    c.methods = version < 7 ? reinterpret_cast<ZYNEmethodDefinition*>(gEarlierMethods) : gMethods;
    c.methodCount = 2;
    c.events = gEvents;
    c.eventCount = 1;
    c.eventInstances = gHandlers;
    c.eventInstanceCount = 2;
    c.interfaces = "Printable";
    c.constants = gConstants;
    c.constantCount = 2;
    c.flags = flags;
    c.sharedProperties = gSharedProperties;
    c.sharedPropertyCount = 1;
    c.sharedMethods = gSharedMethods;
    c.sharedMethodCount = 1;
    return c;
}

// ----- Probe: records made with the bridge's own code --------------------------------------

// Loaded once and never unloaded: the bridge destroys records made with its code.
template <class F>
F Probe(const char* name) {
    static void* handle = dlopen(ZYNE_BRIDGE_PROBE_PATH, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) std::abort();
    return reinterpret_cast<F>(dlsym(handle, name));
}

enum Vector { kClasses = 0, kControls = 1, kInterfaces = 2, kStructures = 4, kEnums = 5,
              kModules = 6 };

// ----- Fixture ----------------------------------------------------------------------------

class ItemClassesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host_.Load()) << host_.Error();
        baseStrings_ = host_.LiveStrings();
    }
    void TearDown() override {
        for (ZYNEobject object : objects_) host_.Unlock(object);
        if (definition_ != nullptr) host_.Unlock(definition_);
        EXPECT_EQ(host_.LiveObjects(), 0U) << "an item object was not released";
        EXPECT_EQ(host_.LiveStrings(), baseStrings_) << "an item string was not released";
        EXPECT_TRUE(host_.Faults().empty()) << host_.Faults().front();
    }

    // The item number `index` of vector `which` as the host gets it from a definition
    // holding `record`, through the PluginDefinition method `getter`.
    ZYNEobject Item(int which, void* record, const char* getter, long index = 0) {
        if (definition_ == nullptr) {
            record_ = Probe<void* (*)(unsigned)>("ProbeNewDefinition")(0);
            definition_ = host_.NewInstance("PluginDefinition");
            const ZYNEclassDefinition* cls = host_.ClassOf(definition_);
            *reinterpret_cast<void**>(reinterpret_cast<char*>(definition_) + cls->dataOffset) =
                record_;
        }
        Probe<void (*)(void*, int, long, void*)>("ProbeAppendItems")(record_, which, 1, record);
        return Keep(host_.Call<ZYNEobject>(definition_, getter, index));
    }
    ZYNEobject Keep(ZYNEobject object) {
        if (object != nullptr) objects_.push_back(object);
        return object;
    }
    // The text of a string the caller owns ("<nil>" for nil), released.
    std::string Take(ZYNEstring string) {
        if (string == nullptr) return "<nil>";
        std::string text = ReferenceHost::Text(string);
        host_.Unlock(string);
        return text;
    }
    // A String property answered by a routine: the caller owns the string.
    std::string Text(ZYNEobject object, const char* property) {
        return Take(host_.Get<ZYNEstring>(object, property));
    }
    // A String property kept as a field: the object keeps its string.
    std::string Field(ZYNEobject object, const char* property) {
        ZYNEstring string = host_.Get<ZYNEstring>(object, property);
        return string == nullptr ? "<nil>" : ReferenceHost::Text(string);
    }
    std::string CallText(ZYNEobject object, const char* method, long index) {
        return Take(host_.Call<ZYNEstring>(object, method, index));
    }
    ZYNEobject Child(ZYNEobject object, const char* method, long index) {
        return Keep(host_.Call<ZYNEobject>(object, method, index));
    }

    ReferenceHost host_;
    void* record_ = nullptr;
    ZYNEobject definition_ = nullptr;

private:
    std::vector<ZYNEobject> objects_;
    size_t baseStrings_ = 0;
};

// ----- PluginClass ------------------------------------------------------------------------------

TEST_F(ItemClassesTest, ClassCountsAndTextsByVersion) {
    struct Row {
        long version;
        unsigned long flags;
        long methods, properties, constants;
        const char* compatibility;
    } rows[] = {
        {5, 0, 2, 2, 0, "<nil>"},                // no constants, no flags word
        {6, 12, 2, 2, 2, "<nil>"},               // flags exist from version 7
        {7, 12, 2, 2, 2, "not TargetHasGUI"},    // bit 8 tested first
        {8, 4, 2, 2, 2, "true"},
        {9, 0, 3, 3, 2, "TargetHasGUI"},         // shared members count from version 9
    };
    std::vector<ZYNEclassDefinition> records;
    records.reserve(std::size(rows));  // the definition keeps pointers to them
    for (const Row& row : rows) {
        SCOPED_TRACE(row.version);
        records.push_back(ClassRecord(row.version, row.flags));
        ZYNEobject c = Item(kClasses, &records.back(), "GetClass",
                            static_cast<long>(records.size() - 1));
        ASSERT_NE(c, nullptr);
        EXPECT_EQ(host_.Get<long>(c, "EventCount"), 2);
        EXPECT_EQ(host_.Get<long>(c, "NewEventCount"), 1);
        EXPECT_EQ(host_.Get<long>(c, "MethodCount"), row.methods);
        EXPECT_EQ(host_.Get<long>(c, "PropertyCount"), row.properties);
        EXPECT_EQ(host_.Get<long>(c, "ConstantCount"), row.constants);
        EXPECT_EQ(Text(c, "CompatibilityFlags"), row.compatibility);
        EXPECT_EQ(Text(c, "Name"), "Widget");
        EXPECT_EQ(Text(c, "Superclass"), "<nil>");
        EXPECT_EQ(Text(c, "Interfaces"), "Printable");
        EXPECT_TRUE(host_.Get<bool>(c, "HasInitializer"));
        EXPECT_FALSE(host_.Get<bool>(c, "HasFinalizer"));
        EXPECT_EQ(host_.Get<long>(c, "DataSize"), 12);
        EXPECT_EQ(host_.Get<long>(c, "DataOffset"), ReferenceHost::kObjectHeaderSize)
            << "no superclass: just the object header";
    }
}

TEST_F(ItemClassesTest, PropertiesWithFlagsScopeAndTheSharedListAfterThemOnVersion9) {
    ZYNEclassDefinition record = ClassRecord(9, 0);
    ZYNEobject c = Item(kClasses, &record, "GetClass");
    ZYNEobject width = Child(c, "GetProperty", 0);
    ZYNEobject label = Child(c, "GetProperty", 1);
    ZYNEobject shared = Child(c, "GetProperty", 2);
    ASSERT_NE(label, nullptr);
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(Child(c, "GetProperty", 3), nullptr);
    EXPECT_EQ(Child(c, "GetProperty", -1), nullptr);

    EXPECT_EQ(Field(shared, "Name"), "Default");
    EXPECT_TRUE(host_.Get<bool>(shared, "IsShared"));
    EXPECT_FALSE(host_.Get<bool>(label, "IsShared"));
    EXPECT_EQ(host_.Get<long>(shared, "ParameterValue"), 7);
    EXPECT_EQ(Field(label, "ReturnType"), "String");
    EXPECT_EQ(Field(label, "Group"), "Appearance");
    EXPECT_EQ(host_.Get<long>(label, "Getter"), reinterpret_cast<long>(kGetter));
    EXPECT_EQ(host_.Get<long>(label, "Setter"), reinterpret_cast<long>(kSetter));
    EXPECT_EQ(host_.Get<long>(label, "EnumCount"), 3);
    EXPECT_EQ(CallText(label, "GetEnum", 2), "Blue");
    EXPECT_EQ(CallText(label, "GetEnum", 3), "<nil>");
    EXPECT_TRUE(host_.Get<bool>(width, "IsRuntimeOnly"));
    EXPECT_FALSE(host_.Get<bool>(label, "IsRuntimeOnly"));
    EXPECT_EQ(Text(width, "Scope"), "Global");
    EXPECT_EQ(Text(label, "Scope"), "Global") << "16 is tested before 128";
    EXPECT_EQ(Text(shared, "Scope"), "<nil>");
}

TEST_F(ItemClassesTest, MethodsInBothFormsAndSharedMethods) {
    ZYNEclassDefinition v6 = ClassRecord(6, 0);
    ZYNEclassDefinition v9 = ClassRecord(9, 0);
    ZYNEobject old = Item(kClasses, &v6, "GetClass", 0);
    ZYNEobject current = Item(kClasses, &v9, "GetClass", 1);

    ZYNEobject older = Child(old, "GetMethod", 1);
    ASSERT_NE(older, nullptr);
    EXPECT_EQ(Field(older, "Declaration"), "Older() as String")
        << "three-word records are read three words apart";
    EXPECT_EQ(Field(older, "ReturnType"), "String");
    EXPECT_EQ(Child(old, "GetMethod", 2), nullptr) << "no shared list before version 9";

    ZYNEobject resize = Child(current, "GetMethod", 0);
    EXPECT_EQ(Field(resize, "Name"), "Resize");
    EXPECT_EQ(Field(resize, "Parameters"), " width as Integer, height as Integer ");
    EXPECT_EQ(Field(resize, "ReturnType"), "Boolean");
    EXPECT_EQ(host_.Get<long>(resize, "Setter"), reinterpret_cast<long>(kSetter));
    EXPECT_EQ(Text(resize, "CompatibilityFlags"), "not TargetHasGUI");
    EXPECT_EQ(Text(resize, "Scope"), "Public");
    EXPECT_EQ(Field(Child(current, "GetMethod", 1), "Parameters"), "<nil>");

    ZYNEobject make = Child(current, "GetMethod", 2);
    ASSERT_NE(make, nullptr);
    EXPECT_EQ(Field(make, "Name"), "Make");
    EXPECT_TRUE(host_.Get<bool>(make, "IsShared"));
    EXPECT_EQ(Text(make, "Scope"), "Protected");
    EXPECT_EQ(Child(current, "GetMethod", 3), nullptr);
}

TEST_F(ItemClassesTest, EventsConstantsOfAClass) {
    ZYNEclassDefinition record = ClassRecord(9, 0);
    ZYNEobject c = Item(kClasses, &record, "GetClass");
    EXPECT_EQ(Field(Child(c, "GetEvent", 1), "Name"), "Close");
    EXPECT_EQ(Child(c, "GetEvent", 2), nullptr);
    ZYNEobject changed = Child(c, "GetNewEvent", 0);
    EXPECT_EQ(Field(changed, "Parameters"), " value as Integer ");
    EXPECT_EQ(Child(c, "GetNewEvent", 1), nullptr);

    ZYNEobject pi = Child(c, "GetConstant", 0);
    EXPECT_EQ(Field(pi, "Name"), "Pi");
    EXPECT_EQ(Field(pi, "Value"), "3.14") << "no type is split out of a constant";
    EXPECT_EQ(Field(pi, "Declaration"), "Pi as Double = 3.14");
    EXPECT_EQ(Text(pi, "Scope"), "Public");
    EXPECT_EQ(Field(Child(c, "GetConstant", 1), "Value"), "") << "no '=': an empty value";
    EXPECT_EQ(Child(c, "GetConstant", 2), nullptr);
}

// ----- PluginControl ----------------------------------------------------------------------------

TEST_F(ItemClassesTest, ControlReadsItsOwnRecord) {
    ZYNEcontrol record{};
    record.version = 7;
    record.name = "Gauge";
    record.dataSize = 20;
    record.flags = 8;
    record.toolbarPicture = 128;
    record.defaultWidth = 80;
    record.defaultHeight = 24;
    record.properties = gProperties;
    record.propertyCount = 2;
    record.methods = gMethods;
    record.methodCount = 2;
    record.events = gEvents;
    record.eventCount = 1;
    record.eventInstances = gHandlers;
    record.eventInstanceCount = 2;
    record.constants = gConstants;
    record.constantCount = 1;
    ZYNEobject control = Item(kControls, &record, "GetControl");
    ASSERT_NE(control, nullptr);
    // Kept on purpose: the control's count selectors run in table order.
    EXPECT_EQ(host_.Get<long>(control, "EventCount"), 2);
    EXPECT_EQ(host_.Get<long>(control, "NewEventCount"), 1);
    EXPECT_EQ(host_.Get<long>(control, "MethodCount"), 2);
    EXPECT_EQ(host_.Get<long>(control, "PropertyCount"), 2);
    EXPECT_EQ(host_.Get<long>(control, "ConstantCount"), 1);
    EXPECT_EQ(Text(control, "Name"), "Gauge");
    EXPECT_EQ(host_.Get<long>(control, "DefaultWidth"), 80);
    EXPECT_EQ(host_.Get<long>(control, "DefaultHeight"), 24);
    EXPECT_EQ(host_.Get<long>(control, "DataSize"), 20 + static_cast<long>(sizeof(void*)));
    EXPECT_EQ(host_.Get<long>(control, "Flags"), 8);
    EXPECT_EQ(Text(control, "CompatibilityFlags"), "not TargetHasGUI");
    EXPECT_EQ(Field(Child(control, "GetMethod", 0), "Name"), "Resize");
    EXPECT_EQ(Field(Child(control, "GetProperty", 1), "Name"), "Label");
    EXPECT_EQ(Child(control, "GetProperty", 2), nullptr) << "controls have no shared list";
    EXPECT_EQ(host_.Call<ZYNEobject>(control, "GetToolbarIcon"), nullptr)
        << "a record outside any container has no icon";
}

// ----- PluginModule, PluginInterface, PluginStructure, PluginEnum -------------------------------

const char* kFields[] = {"x as Integer", "y as Integer"};
ZYNEstructure gStructures[] = {{"Point", 16, kFields, 2}};
ZYNEenum gEnums[] = {{"Direction", "Integer", 128, kFields, 2}};

TEST_F(ItemClassesTest, ModuleListsOnlyWhatItsVersionHas) {
    ZYNEmoduleDefinition records[2];
    for (long version : {8L, 9L}) {
        SCOPED_TRACE(version);
        ZYNEmoduleDefinition& m = records[version - 8];
        m = {version, "Geometry", gMethods, 2,      gConstants, 2,
             gProperties, 2,      gStructures, 1,   gEnums,     1};
        ZYNEobject module = Item(kModules, &m, "GetModule", version - 8);
        ASSERT_NE(module, nullptr);
        const long late = version >= 9 ? 1 : 0;
        EXPECT_EQ(Text(module, "Name"), "Geometry");
        EXPECT_EQ(host_.Get<long>(module, "MethodCount"), 2);
        EXPECT_EQ(host_.Get<long>(module, "ConstantCount"), 2);
        EXPECT_EQ(host_.Get<long>(module, "StructureCount"), late);
        EXPECT_EQ(host_.Get<long>(module, "EnumCount"), late);
        EXPECT_EQ(host_.Get<long>(module, "PropertyCount"), 2 * late);
        EXPECT_EQ(Child(module, "GetStructure", 0) != nullptr, late == 1);
        EXPECT_EQ(Child(module, "GetEnum", 0) != nullptr, late == 1);
        EXPECT_EQ(Child(module, "GetProperty", 0) != nullptr, late == 1);
        EXPECT_EQ(Field(Child(module, "GetConstant", 0), "Name"), "Pi");
    }
}

TEST_F(ItemClassesTest, StructuresEnumsAndInterfaces) {
    ZYNEobject point = Item(kStructures, &gStructures[0], "GetStructure");
    EXPECT_EQ(Field(point, "Name"), "Point");
    EXPECT_EQ(host_.Get<long>(point, "FieldCount"), 2);
    EXPECT_EQ(CallText(point, "GetField", 1), "y as Integer");
    EXPECT_EQ(CallText(point, "GetField", 2), "<nil>");
    EXPECT_EQ(Text(point, "Scope"), "Global");

    ZYNEobject direction = Item(kEnums, &gEnums[0], "GetEnum");
    EXPECT_EQ(Field(direction, "Name"), "Direction");
    EXPECT_EQ(Field(direction, "Type"), "Integer");
    EXPECT_EQ(host_.Get<long>(direction, "FieldCount"), 2);
    EXPECT_EQ(CallText(direction, "GetField", 0), "x as Integer");
    EXPECT_EQ(Text(direction, "Scope"), "Private");

    ZYNEinterfaceDefinition record = {7, "Printable", gMethods, 2};
    ZYNEobject printable = Item(kInterfaces, &record, "GetInterface");
    EXPECT_EQ(Text(printable, "Name"), "Printable");
    EXPECT_EQ(host_.Get<long>(printable, "MethodCount"), 2);
    EXPECT_EQ(Field(Child(printable, "GetMethod", 1), "Declaration"), "Reset()");
    EXPECT_EQ(Child(printable, "GetMethod", 2), nullptr);
}

// ----- Lifetime ---------------------------------------------------------------------------------

TEST_F(ItemClassesTest, AViewKeepsItsDefinitionAlive) {
    ZYNEclassDefinition record = ClassRecord(9, 0);
    ZYNEobject c = Item(kClasses, &record, "GetClass");
    auto refCount = Probe<unsigned (*)(const void*)>("ProbeRefCount");
    EXPECT_EQ(refCount(record_), 2U) << "one for the definition object, one for the view";
    host_.Unlock(definition_);
    definition_ = nullptr;
    EXPECT_EQ(refCount(record_), 1U);
    EXPECT_EQ(Text(c, "Name"), "Widget") << "the view still reads its record";
}

}  // namespace
