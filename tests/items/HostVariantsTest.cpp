// HostVariantsTest.cpp - the reference host's variants and property services, called the
// way a plug-in calls them (through the services the host resolves), since design-time
// instances read and assign guest properties through exactly these.
#include <cmath>
#include <functional>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "ReferenceHost.h"

namespace {

using zyne::host::ReferenceHost;

template <class T>
using Getter = unsigned char (*)(ZYNEobject, const char*, T*);
template <class T>
using Setter = unsigned char (*)(ZYNEobject, const char*, T);

class HostVariantsTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(host_.Faults().empty()) << host_.Faults().front(); }

    template <class T>
    std::optional<T> Get(const char* service, ZYNEobject object, const char* name) {
        T value{};
        if (host_.Service<Getter<T>>(service)(object, name, &value) == 0) return std::nullopt;
        return value;
    }
    template <class T>
    bool Set(const char* service, ZYNEobject object, const char* name, T value) {
        return host_.Service<Setter<T>>(service)(object, name, value) != 0;
    }
    std::optional<std::string> GetText(ZYNEobject object, const char* name) {
        const auto string = Get<ZYNEstring>("ZYNEGetPropValueString", object, name);
        if (!string) return std::nullopt;
        std::string text = ReferenceHost::Text(*string);
        host_.Unlock(*string);  // the caller's reference
        return text;
    }

    ReferenceHost host_;  // no bridge needed: the services are the host's own
};

TEST_F(HostVariantsTest, ValuePropertiesConvertBetweenKinds) {
    auto make = [this]<class T>(const char* service, T value) {
        return host_.Service<ZYNEobject (*)(T)>(service)(value);
    };
    auto integer = [&](long v) { return make("Int32ToVariant", v); };
    auto real = [&](double v) { return make("DoubleToVariant", v); };
    auto boolean = [&](unsigned char v) { return make("BooleanToVariant", v); };
    auto color = [&](long v) { return make("ColorToVariant", v); };
    auto text = [this](const char* v) {
        ZYNEstring string = host_.NewString(v);
        ZYNEobject variant = host_.Service<ZYNEobject (*)(ZYNEstring)>("StringToVariant")(string);
        host_.Unlock(string);
        return variant;
    };
    const struct {
        std::function<ZYNEobject()> make;
        const char* type;
        std::optional<long> integer;
        std::optional<double> real;
        std::optional<unsigned char> boolean;
        std::optional<std::string> text;
    } rows[] = {
        {[&] { return integer(42); }, "Integer", 42, 42.0, 1, "42"},
        {[&] { return integer(0); }, "Integer", 0, 0.0, 0, "0"},
        {[&] { return real(2.75); }, "Double", 2, 2.75, 1, "2.75"},
        {[&] { return real(-2.75); }, "Double", -2, -2.75, 1, "-2.75"},
        {[&] { return real(1e300); }, "Double", std::nullopt, 1e300, 1, "1e+300"},
        {[&] { return boolean(7); }, "Boolean", 1, 1.0, 1, "True"},
        {[&] { return boolean(0); }, "Boolean", 0, 0.0, 0, "False"},
        {[&] { return color(0x123456); }, "Color", 0x123456, 0x123456, 1, "&c123456"},
        {[&] { return text("17"); }, "String", 17, 17.0, 1, "17"},
        {[&] { return text(" 2.5 "); }, "String", 2, 2.5, 1, " 2.5 "},
        {[&] { return text("TRUE"); }, "String", std::nullopt, std::nullopt, 1, "TRUE"},
        {[&] { return text("0"); }, "String", 0, 0.0, 0, "0"},
        {[&] { return text("abc"); }, "String", std::nullopt, std::nullopt, std::nullopt, "abc"},
        {[&] { return text(""); }, "String", std::nullopt, std::nullopt, std::nullopt, ""},
    };
    const size_t strings = host_.LiveStrings();
    for (const auto& row : rows) {
        ZYNEobject variant = row.make();
        ASSERT_NE(variant, nullptr);
        SCOPED_TRACE(row.text.value_or("?"));
        EXPECT_EQ(host_.VariantType(variant), row.type);
        EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", variant, "IntegerValue"), row.integer);
        EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", variant, "colorvalue"), row.integer);
        EXPECT_EQ(Get<double>("ZYNEGetPropValueDouble", variant, "DoubleValue"), row.real);
        EXPECT_EQ(Get<unsigned char>("ZYNEGetPropValueBool", variant, "BooleanValue"), row.boolean);
        EXPECT_EQ(GetText(variant, "StringValue"), row.text);
        // A value property is read only as its own kind of value, or a number as another.
        EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", variant, "StringValue"), std::nullopt);
        EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", variant, "NoSuchValue"), std::nullopt);
        host_.Unlock(variant);
    }
    EXPECT_EQ(host_.LiveStrings(), strings) << "a variant kept its string";
    EXPECT_EQ(host_.LiveObjects(), 0U);
}

TEST_F(HostVariantsTest, AssigningAValuePropertyChangesTheKind) {
    ZYNEobject variant = host_.NewVariantString("words");
    const size_t strings = host_.LiveStrings();
    EXPECT_TRUE(Set<long>("ZYNESetPropValueInt", variant, "IntegerValue", 5));
    EXPECT_EQ(host_.VariantType(variant), "Integer");
    EXPECT_EQ(host_.LiveStrings(), strings - 1);  // the old text went with the kind
    EXPECT_TRUE(Set<unsigned long>("ZYNESetPropValueBoolean", variant, "BooleanValue", 1));
    EXPECT_EQ(host_.VariantString(variant), "True");
    EXPECT_TRUE(Set<long>("ZYNESetPropValueInt", variant, "ColorValue", 0xFF));
    EXPECT_EQ(host_.VariantType(variant), "Color");

    ZYNEstring text = host_.NewString("again");
    EXPECT_TRUE(Set<ZYNEstring>("ZYNESetPropValueString", variant, "StringValue", text));
    EXPECT_EQ(host_.RefCount(text), 2);  // the variant's own reference
    EXPECT_EQ(host_.VariantString(variant), "again");
    EXPECT_FALSE(Set<ZYNEstring>("ZYNESetPropValueString", variant, "IntegerValue", text));
    host_.Unlock(variant);
    EXPECT_EQ(host_.RefCount(text), 1);
    host_.Unlock(text);
    EXPECT_EQ(host_.LiveObjects(), 0U);
}

// ----- Objects of registered classes ---------------------------------------------------------

struct ShapeData {
    double ratio;
    unsigned char visible;
    ZYNEstring title;
    ZYNEobject parent;
    long long big;
    long fixed;
    long computed;
};

ZYNEobject gComputedSelf = nullptr;
long ComputedGet(ZYNEobject self, long param) {
    gComputedSelf = self;
    return param * 2;
}
long gComputedSet = 0;
void ComputedSet(ZYNEobject, long param, long value) {
    gComputedSet = value + param;
}

void* const kField = ZYNE_DIRECT_FIELD;
ZYNEproperty gBaseProperties[] = {
    {"", "Size", "Integer", 0, kField, kField, 0, nullptr, 0, nullptr},
};
ZYNEproperty gShapeProperties[] = {
    {"", "Ratio", "Double", 0, kField, kField, offsetof(ShapeData, ratio), nullptr, 0, nullptr},
    {"", "Visible", "Boolean", 0, kField, kField, offsetof(ShapeData, visible), nullptr, 0,
     nullptr},
    {"", "Title", "String", 0, kField, kField, offsetof(ShapeData, title), nullptr, 0, nullptr},
    {"", "Parent", "Shape", 0, kField, kField, offsetof(ShapeData, parent), nullptr, 0, nullptr},
    {"", "Big", "Int64", 0, kField, kField, offsetof(ShapeData, big), nullptr, 0, nullptr},
    {"", "Fixed", "Integer", 0, kField, nullptr, offsetof(ShapeData, fixed), nullptr, 0, nullptr},
    {"", "Computed", "Integer", 0, reinterpret_cast<void*>(&ComputedGet),
     reinterpret_cast<void*>(&ComputedSet), 21, nullptr, 0, nullptr},
    {"", "Far", "Integer", 0, kField, kField, sizeof(ShapeData), nullptr, 0, nullptr},
};

TEST_F(HostVariantsTest, PropertyServicesReadAndWriteRegisteredClasses) {
    ZYNEclassDefinition base{};
    base.version = 9;
    base.name = "Base";
    base.dataSize = sizeof(long);
    base.properties = gBaseProperties;
    base.propertyCount = 1;
    ZYNEclassDefinition shape{};
    shape.version = 9;
    shape.name = "Shape";
    shape.superName = "Base";
    shape.dataSize = sizeof(ShapeData);
    shape.properties = gShapeProperties;
    shape.propertyCount = static_cast<long>(std::size(gShapeProperties));
    auto registerClass = host_.Service<void (*)(ZYNEclassDefinition*)>("PluginRegisterClass");
    registerClass(&base);
    registerClass(&shape);

    ZYNEobject object = host_.NewInstance("Shape");
    ZYNEobject other = host_.NewInstance("Shape");
    ASSERT_NE(object, nullptr);
    auto& data = *reinterpret_cast<ShapeData*>(reinterpret_cast<char*>(object) + shape.dataOffset);
    data.ratio = 2.9;

    // Numbers convert among themselves; the superclass's properties are found too.
    EXPECT_TRUE(Set<long>("ZYNESetPropValueInt", object, "size", 12));
    EXPECT_EQ(Get<double>("ZYNEGetPropValueDouble", object, "Size"), 12.0);
    EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", object, "Ratio"), 2);
    EXPECT_EQ(Get<float>("ZYNEGetPropValueSingle", object, "Ratio"), 2.9F);
    EXPECT_TRUE(Set<unsigned long>("ZYNESetPropValueBoolean", object, "Visible", 1));
    EXPECT_EQ(data.visible, 1);
    EXPECT_EQ(Get<unsigned char>("ZYNEGetPropValueBool", object, "Visible"), 1);
    EXPECT_TRUE(Set<long long>("ZYNESetPropValueInt64", object, "Big", 1LL << 40));
    EXPECT_EQ(Get<long long>("ZYNEGetPropValueInt64", object, "Big"), 1LL << 40);

    // Strings and objects: a read hands the caller a reference, a write trades them.
    ZYNEstring title = host_.NewString("Circle");
    EXPECT_TRUE(Set<ZYNEstring>("ZYNESetPropValueString", object, "Title", title));
    EXPECT_EQ(host_.RefCount(title), 2);
    EXPECT_EQ(GetText(object, "Title"), "Circle");
    EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", object, "Title"), std::nullopt);
    EXPECT_FALSE(Set<long>("ZYNESetPropValueInt", object, "Title", 1));
    EXPECT_TRUE(Set<ZYNEobject>("ZYNESetPropValueObject", object, "Parent", other));
    EXPECT_EQ(host_.RefCount(other), 2);
    const auto parent = Get<ZYNEobject>("ZYNEGetPropValueObject", object, "Parent");
    EXPECT_EQ(parent, other);
    EXPECT_EQ(host_.RefCount(other), 3);
    host_.Unlock(other);

    // Routines get the object and the param; read-only, unknown and out-of-bounds fail.
    EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", object, "Computed"), 42);
    EXPECT_EQ(gComputedSelf, object);
    EXPECT_TRUE(Set<long>("ZYNESetPropValueInt", object, "Computed", 1));
    EXPECT_EQ(gComputedSet, 22);
    EXPECT_FALSE(Set<long>("ZYNESetPropValueInt", object, "Fixed", 3));
    EXPECT_EQ(data.fixed, 0);
    EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", object, "Far"), std::nullopt);
    EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", object, "Nothing"), std::nullopt);
    EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", nullptr, "Size"), std::nullopt);
    EXPECT_EQ(Get<long>("ZYNEGetPropValueInt", object, nullptr), std::nullopt);

    // The fields' references are the test's to release.
    host_.Unlock(data.title);
    host_.Unlock(title);
    host_.Unlock(data.parent);
    host_.Unlock(other);
    host_.Unlock(object);
    EXPECT_EQ(host_.LiveObjects(), 0U);
}

}  // namespace
