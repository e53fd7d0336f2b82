// HostClassRefsTest.cpp - the reference host's "RuntimeObjectIsa" and "ZYNELoadObjectMethod",
// end to end: through the services as a plug-in reaches them, with the sample guests'
// classes and with records registered here for the matching rules.
#include <cstring>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "GuestsTestSupport.h"
#include "ReferenceHost.h"

namespace {

using guests_test::GuestPath;
using zyne::host::HostOptions;
using zyne::host::ReferenceHost;

using IsaService = unsigned char (*)(ZYNEobject, ZYNEclassRef);
using LoadMethodService = void* (*)(ZYNEobject, const char*);
using ClassRefService = ZYNEclassRef (*)(const char*);
using RegisterClassService = void (*)(ZYNEclassDefinition*);

class HostClassRefs : public ::testing::Test {
protected:
    void LoadGuest(const char* guest) {
        host_.emplace(HostOptions{.bridgePath = GuestPath(guest)});
        ASSERT_TRUE(host_->Load()) << host_->Error();
    }
    // A host with no plug-in loaded: records are registered by the test itself.
    void StartEmptyHost() { host_.emplace(); }
    void TearDown() override {
        if (!host_) return;
        if (expectNoFaults_) {
            EXPECT_TRUE(host_->Faults().empty()) << host_->Faults().front();
        }
    }

    bool Isa(ZYNEobject object, const char* className) {
        auto ref = host_->Service<ClassRefService>("pluginObjectType")(className);
        EXPECT_NE(ref, nullptr) << className;
        return host_->Service<IsaService>("RuntimeObjectIsa")(object, ref) != 0;
    }
    void* LoadMethod(ZYNEobject object, const char* declaration) {
        return host_->Service<LoadMethodService>("ZYNELoadObjectMethod")(object, declaration);
    }
    // The routine of the method declared exactly `declaration` in the class's record.
    void* Routine(const char* className, const char* declaration) {
        const ZYNEclassDefinition* record = host_->FindClass(className)->record;
        for (long i = 0; i < record->methodCount; ++i) {
            if (std::strcmp(record->methods[i].declaration, declaration) == 0)
                return record->methods[i].function;
        }
        ADD_FAILURE() << "no method " << declaration << " in " << className;
        return nullptr;
    }

    guests_test::PrivateHome home_;
    std::optional<ReferenceHost> host_;
    bool expectNoFaults_ = true;
};

// ----- RuntimeObjectIsa -----------------------------------------------------------------------

TEST_F(HostClassRefs, IsaFollowsTheSuperclassChainUpwardsOnly) {
    LoadGuest("libsample_widgets.so");
    ZYNEobject base = host_->NewInstance("WidgetBase");
    ZYNEobject fancy = host_->NewInstance("FancyWidget");
    struct Row {
        ZYNEobject object;
        const char* className;
        bool expected;
    };
    const Row rows[] = {
        {fancy, "FancyWidget", true}, {fancy, "WidgetBase", true},  {fancy, "BigBlock", false},
        {base, "WidgetBase", true},   {base, "FancyWidget", false}, {base, "TooBigBlock", false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Isa(row.object, row.className), row.expected)
            << host_->ClassOf(row.object)->name << " isa " << row.className;
    }
    host_->Unlock(fancy);
    host_->Unlock(base);
}

TEST_F(HostClassRefs, IsaWithNothingToAskAboutIsFalseWithoutComplaint) {
    LoadGuest("libsample_widgets.so");
    ZYNEobject base = host_->NewInstance("WidgetBase");
    auto isa = host_->Service<IsaService>("RuntimeObjectIsa");
    auto ref = host_->Service<ClassRefService>("pluginObjectType")("WidgetBase");
    EXPECT_EQ(isa(nullptr, ref), 0);
    EXPECT_EQ(isa(base, nullptr), 0);
    EXPECT_EQ(host_->Service<ClassRefService>("pluginObjectType")("NoSuchClass"), nullptr);
    host_->Unlock(base);
}

TEST_F(HostClassRefs, IsaReportsReferencesAndObjectsTheHostNeverGaveOut) {
    LoadGuest("libsample_widgets.so");
    expectNoFaults_ = false;
    auto isa = host_->Service<IsaService>("RuntimeObjectIsa");
    ZYNEobject base = host_->NewInstance("WidgetBase");
    // A bridge's faux reference is text, not one of the host's classes.
    char faux[] = "fauxcrefWidgetBase";
    EXPECT_EQ(isa(base, reinterpret_cast<ZYNEclassRef>(faux)), 0);
    ASSERT_EQ(host_->Faults().size(), 1u);
    EXPECT_EQ(host_->Faults()[0], "RuntimeObjectIsa with a class ref the host never gave out");

    auto ref = host_->Service<ClassRefService>("pluginObjectType")("WidgetBase");
    host_->Unlock(base);  // dead from here on
    EXPECT_EQ(isa(base, ref), 0);
    ASSERT_EQ(host_->Faults().size(), 2u);
    EXPECT_EQ(host_->Faults()[1], "RuntimeObjectIsa on an object the host does not hold");
}

// A class registered twice: references name one registration, and objects of the older
// one are not instances of the newer.
TEST_F(HostClassRefs, IsaTellsTwoRegistrationsOfOneNameApart) {
    StartEmptyHost();
    static ZYNEclassDefinition first = {.version = 9, .name = "Twice", .dataSize = 4};
    static ZYNEclassDefinition second = {.version = 9, .name = "Twice", .dataSize = 4};
    auto registerClass = host_->Service<RegisterClassService>("PluginRegisterClass");
    registerClass(&first);
    ZYNEobject old = host_->NewInstance("Twice");
    registerClass(&second);
    ZYNEobject current = host_->NewInstance("Twice");
    EXPECT_FALSE(Isa(old, "Twice"));
    EXPECT_TRUE(Isa(current, "Twice"));
    host_->Unlock(current);
    host_->Unlock(old);
}

// ----- ZYNELoadObjectMethod -------------------------------------------------------------------

TEST_F(HostClassRefs, LoadMethodMatchesNameAndParameterTypes) {
    LoadGuest("libsample_widgets.so");
    ZYNEobject base = host_->NewInstance("WidgetBase");
    ZYNEobject fancy = host_->NewInstance("FancyWidget");
    void* bump = Routine("WidgetBase", "Bump( by as Integer ) as Integer");
    void* describe = Routine("WidgetBase", "Describe() as String");
    void* twin = Routine("FancyWidget", "Twin() as FancyWidget");
    void* poke = Routine("FancyWidget", "Poke( target as WidgetBase, by as Integer ) as Integer");
    struct Row {
        ZYNEobject object;
        const char* declaration;
        void* expected;
    };
    const Row rows[] = {
        {base, "Bump( by as Integer ) as Integer", bump},
        {base, "Bump( by as Integer )", bump},     // the result type is not compared
        {base, "bump(BY AS INTEGER)", bump},       // nor case, nor spacing
        {base, "Bump( steps as Integer )", bump},  // nor parameter names
        {base, "Bump( by as Double )", nullptr},   // but parameter types are
        {base, "Bump()", nullptr},                 // and their number
        {base, "Bump( by as Integer, again as Integer )", nullptr},
        {base, "Describe()", describe},
        {base, "Describe( x as Integer )", nullptr},
        {base, "Twin()", nullptr},  // a subclass's method
        {base, "Made()", nullptr},  // a shared method takes no object
        {base, "Bumpy( by as Integer )", nullptr},
        {fancy, "Twin()", twin},
        {fancy, "Bump( by as Integer )", bump},  // found in the superclass
        {fancy, "Poke( w as WidgetBase, n as Integer )", poke},
        {fancy, "Poke( w as FancyWidget, n as Integer )", nullptr},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(LoadMethod(row.object, row.declaration), row.expected)
            << host_->ClassOf(row.object)->name << ": " << row.declaration;
    }
    host_->Unlock(fancy);
    host_->Unlock(base);
}

// FancyWidget.Poke finds its target's Bump with ZYNELoadObjectMethod and calls it.
TEST_F(HostClassRefs, GuestCallsAMethodItLoadedByDeclaration) {
    LoadGuest("libsample_widgets.so");
    ZYNEobject fancy = host_->NewInstance("FancyWidget");
    ZYNEobject target = host_->NewInstance("WidgetBase");
    host_->ClearLog();
    EXPECT_EQ(host_->Call<long>(fancy, "Poke", target, 6L), 6);
    EXPECT_EQ(host_->Get<long>(target, "Count"), 6);
    EXPECT_EQ(host_->Count("ZYNELoadObjectMethod(ptr, \"Bump( by as Integer )\")"), 1u);
    EXPECT_EQ(host_->Call<long>(fancy, "Poke", fancy, 2L), 2) << "a FancyWidget is a WidgetBase";
    host_->Unlock(target);
    host_->Unlock(fancy);
}

// Parameter forms a declaration may take: modifiers, defaults, arrays, several parameters.
TEST_F(HostClassRefs, LoadMethodUnderstandsParameterForms) {
    StartEmptyHost();
    static int marker[4];
    static ZYNEmethodDefinition methods[] = {
        {&marker[0], nullptr, "Store( ByRef key as String, assigns value as Integer )", 0},
        {&marker[1], nullptr,
         "Sum( values() as Integer, Optional start as Integer = 0 ) as Integer", 0},
        {&marker[2], nullptr, "Fill( grid(,) as Double )", 0},
        {&marker[3], nullptr, "Count as Integer", 0},
    };
    static ZYNEclassDefinition record = {
        .version = 9, .name = "Forms", .dataSize = 4, .methods = methods, .methodCount = 4};
    host_->Service<RegisterClassService>("PluginRegisterClass")(&record);
    ZYNEobject object = host_->NewInstance("Forms");
    struct Row {
        const char* declaration;
        void* expected;
    };
    const Row rows[] = {
        {"Store( k as String, v as Integer )", &marker[0]},
        {"Store( byval k as string, v as integer )", &marker[0]},
        {"Store( v as Integer, k as String )", nullptr},  // order matters
        {"Sum( v() as Integer, s as Integer )", &marker[1]},
        {"Sum( v as Integer, s as Integer )", nullptr},  // an array is not a scalar
        {"Fill( g(,) as Double )", &marker[2]},
        {"Count", &marker[3]},
    };
    for (const Row& row : rows)
        EXPECT_EQ(LoadMethod(object, row.declaration), row.expected) << row.declaration;
    host_->Unlock(object);
}

// Records below version 7 hold three-word methods; the lookup reads them in that form.
TEST_F(HostClassRefs, LoadMethodReadsTheEarlierMethodForm) {
    LoadGuest("libsample_legacy.so");
    ZYNEobject timer = host_->NewInstance("OldTimer");
    const auto* methods = reinterpret_cast<const ZYNEmethodDefinitionV6*>(
        host_->FindClass("OldTimer")->record->methods);
    EXPECT_EQ(LoadMethod(timer, "Start()"), methods[0].function);
    EXPECT_EQ(LoadMethod(timer, "Stop()"), methods[1].function);
    EXPECT_EQ(LoadMethod(timer, "Interval()"), methods[2].function);
    EXPECT_EQ(LoadMethod(timer, "NotPartOfThisRecord()"), nullptr)
        << "a version-6 record has no shared methods";
    host_->Unlock(timer);
}

// Tools B extends the host's own FolderItem; the extension's method is found for a host
// folder item and works on it.
TEST_F(HostClassRefs, LoadMethodFindsClassExtensions) {
    LoadGuest("libsample_tools_b.so");
    ZYNEobject container = host_->NewFolderItem("/somewhere/Widgets.zqx");
    ZYNEobject library = host_->NewFolderItem("/somewhere/libsample_widgets.so");
    using IsContainer = bool (*)(ZYNEobject);
    auto method = reinterpret_cast<IsContainer>(LoadMethod(container, "IsSampleContainer()"));
    ASSERT_NE(method, nullptr);
    EXPECT_TRUE(method(container));
    EXPECT_FALSE(method(library));
    host_->Unlock(library);
    host_->Unlock(container);
    EXPECT_EQ(host_->LiveStrings(), 0u) << "the extension releases the path it asked for";
}

TEST_F(HostClassRefs, LoadMethodOnNothingIsNull) {
    LoadGuest("libsample_widgets.so");
    ZYNEobject base = host_->NewInstance("WidgetBase");
    EXPECT_EQ(LoadMethod(nullptr, "Bump( by as Integer )"), nullptr);
    EXPECT_EQ(LoadMethod(base, nullptr), nullptr);
    EXPECT_TRUE(host_->Faults().empty());
    host_->Unlock(base);
    expectNoFaults_ = false;
    EXPECT_EQ(LoadMethod(base, "Bump( by as Integer )"), nullptr);
    EXPECT_EQ(host_->Faults().size(), 1u) << "a dead object is reported";
}

}  // namespace
