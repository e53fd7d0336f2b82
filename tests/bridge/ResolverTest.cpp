// ResolverTest.cpp - the resolver the bridge hands to guests: its table of answers, the
// registration captures, class references and design-time instances, the property and
// method services and database conversion. The control services are ControlInstanceTest's
// and the database dialog delegate DatabaseSurfaceTest's.
//
// Unit tests drive a fresh copy of the bridge per test (the resolver probe); the end-to-end
// test loads the real bridge and a guest that reports what its resolver answered.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../support/TempHome.h"
#include "ReferenceHost.h"

namespace {

using zyne::host::ReferenceHost;

template <class F>
F As(void* function) {
    return reinterpret_cast<F>(function);
}

// Fresh per test: ResolverTest::SetUp fills it.
struct Probe {
    void (*main)(ZYNEResolver);
    void* (*resolve)(const char*, ZYNEResolver, bool*);
    void* (*guestResolver)();
    void* (*beginLoad)();
    void (*endLoad)();
    long (*count)(const void*, int);
    void (*item)(void*, int, long, void**, void**);
    void* (*owner)(const char*);
    void (*forgetOwner)(const void*);
    long (*dependencyCount)();
    ZYNEstring (*dependency)(long);
    void* (*lastEngine)();
    void* (*guestClass)(ZYNEobject);
    void* (*guestData)(ZYNEobject);
    void (*freeAll)();
};

// The record lists, in record order (the probe's numbering).
enum List {
    kClasses,
    kControls,
    kInterfaces,
    kMethods,
    kStructures,
    kEnums,
    kModules,
    kClassExtensions,
    kEngines,
    kDataSourceInterfaces,
    kDataSources,
    kConnections
};

// ----- A fake host resolver for BridgeResolve's own argument ------------------------------

std::vector<std::string> gFakeHostAsked;
int gHostOnlyService;

void* FakeHost(const char* name) {
    gFakeHostAsked.push_back(name != nullptr ? name : "(null)");
    if (name != nullptr && std::strcmp(name, "HostOnlyService") == 0) return &gHostOnlyService;
    return nullptr;
}

// ----- The guest class Foo ------------------------------------------------------------------

ZYNEobject gConstructed = nullptr;
void FooConstructor(ZYNEobject self) {
    gConstructed = self;
}

struct RoutineCall {
    ZYNEobject object = nullptr;
    long param = 0;
    long value = 0;
};
RoutineCall gComputedGet, gComputedSet;
long ComputedGet(ZYNEobject object, long param) {
    gComputedGet = {object, param, 0};
    return 1000 + param;
}
void ComputedSet(ZYNEobject object, long param, long value) {
    gComputedSet = {object, param, value};
}

long AddInteger(ZYNEobject, long) {
    return 1;
}
long AddText(ZYNEobject, ZYNEstring) {
    return 2;
}
long Reset(ZYNEobject) {
    return 3;
}

ZYNEproperty Field(const char* name, const char* type, long offset) {
    return {"", name, type, 0, ZYNE_DIRECT_FIELD, ZYNE_DIRECT_FIELD, offset, nullptr, 0, nullptr};
}

// Guest data layout of Foo (byte offsets): Count 0, Ratio 8, Flag 16, Label 24, Twin (as
// double) 32, Twin (as integer) 40, Owner 48.
struct FooRecords {
    ZYNEproperty properties[10] = {
        Field("Count", "Integer", 0),
        Field("Ratio", "Double", 8),
        Field("Flag", "Boolean", 16),
        Field("Label", "String", 24),
        {"", "Computed", "integer", 0, reinterpret_cast<void*>(&ComputedGet),
         reinterpret_cast<void*>(&ComputedSet), 5, nullptr, 0, nullptr},
        {"", "Hidden", "Integer", 0, nullptr, nullptr, 0, nullptr, 0, nullptr},
        Field("Twin", "Double", 32),
        Field("Twin", "Integer", 40),
        Field("Far", "Integer", 5000),
        Field("Owner", "Widget", 48),
    };
    ZYNEmethodDefinition methods[3] = {
        {reinterpret_cast<void*>(&AddInteger), nullptr, "Add( value as Integer ) as Integer", 0},
        {reinterpret_cast<void*>(&AddText), nullptr, "Add( value as String )", 0},
        {reinterpret_cast<void*>(&Reset), nullptr, "Reset()", 0},
    };
    ZYNEclassDefinition foo{};
    FooRecords() {
        foo.version = 9;
        foo.name = "Foo";
        foo.dataSize = 64;
        foo.constructor = &FooConstructor;
        foo.properties = properties;
        foo.propertyCount = 10;
        foo.methods = methods;
        foo.methodCount = 3;
    }
};

int gEngineTag;
ZYNEobject gConvertedDatabase = nullptr;
ZYNEobject DatabaseFromDB(dbDatabase*, ZYNEdbEngineDefinition*) {
    return gConvertedDatabase;
}

// Service signatures the tests call often.
using GetIntFn = unsigned char (*)(ZYNEobject, const char*, long*);
using SetIntFn = unsigned char (*)(ZYNEobject, const char*, long);
using GetDoubleFn = unsigned char (*)(ZYNEobject, const char*, double*);
using SetDoubleFn = unsigned char (*)(ZYNEobject, const char*, double);
using GetBoolFn = unsigned char (*)(ZYNEobject, const char*, unsigned char*);
using SetBoolFn = unsigned char (*)(ZYNEobject, const char*, unsigned long);
using GetStringFn = unsigned char (*)(ZYNEobject, const char*, ZYNEstring*);
using SetStringFn = unsigned char (*)(ZYNEobject, const char*, ZYNEstring);
using GetObjectFn = unsigned char (*)(ZYNEobject, const char*, ZYNEobject*);
using SetObjectFn = unsigned char (*)(ZYNEobject, const char*, ZYNEobject);
using LoadMethodFn = void* (*)(ZYNEobject, const char*);
using RegisterClassFn = long (*)(ZYNEclassDefinition*);
using ObjectTypeFn = ZYNEclassRef (*)(const char*);
using NewInstanceFn = ZYNEobject (*)(const char*);

// ----- The fixture ----------------------------------------------------------------------------

class ResolverTest : public ::testing::Test {
protected:
    void SetUp() override {
        gFakeHostAsked.clear();
        gConstructed = nullptr;
        gComputedGet = gComputedSet = {};
        handle = dlopen(ZYNE_RESOLVER_PROBE_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(handle, nullptr) << dlerror();
        auto get = [&](const char* name) {
            void* symbol = dlsym(handle, name);
            EXPECT_NE(symbol, nullptr) << name;
            return symbol;
        };
        probe = Probe{
            As<void (*)(ZYNEResolver)>(get("ResolverProbeMain")),
            As<void* (*)(const char*, ZYNEResolver, bool*)>(get("ResolverProbeResolve")),
            As<void* (*)()>(get("ResolverProbeGuestResolver")),
            As<void* (*)()>(get("ResolverProbeBeginLoad")),
            As<void (*)()>(get("ResolverProbeEndLoad")),
            As<long (*)(const void*, int)>(get("ResolverProbeCount")),
            As<void (*)(void*, int, long, void**, void**)>(get("ResolverProbeItem")),
            As<void* (*)(const char*)>(get("ResolverProbeOwner")),
            As<void (*)(const void*)>(get("ResolverProbeForgetOwner")),
            As<long (*)()>(get("ResolverProbeDependencyCount")),
            As<ZYNEstring (*)(long)>(get("ResolverProbeDependency")),
            As<void* (*)()>(get("ResolverProbeLastEngine")),
            As<void* (*)(ZYNEobject)>(get("ResolverProbeGuestClass")),
            As<void* (*)(ZYNEobject)>(get("ResolverProbeGuestData")),
            As<void (*)()>(get("ResolverProbeFreeAll")),
        };
        probe.main(ReferenceHost::Resolver());
        host.ClearLog();
    }

    void TearDown() override {
        for (ZYNEobject object : owned) host.Unlock(object);
        if (handle == nullptr) return;
        probe.freeAll();
        dlclose(handle);
        // Hermetic: the next test gets a new intercept table, new maps and new caches.
        void* still = dlopen(ZYNE_RESOLVER_PROBE_PATH, RTLD_NOW | RTLD_NOLOAD);
        EXPECT_EQ(still, nullptr) << "the probe stayed loaded";
        if (still != nullptr) dlclose(still);
        EXPECT_TRUE(host.Faults().empty()) << host.Faults().front();
    }

    // What the guest's resolver answers for `name`.
    void* Guest(const char* name) { return As<ZYNEResolver>(probe.guestResolver())(name); }
    template <class F>
    F Service(const char* name) {
        return As<F>(Guest(name));
    }

    // Registers Foo during a load, ends the load and makes a design-time instance of it
    // (owned by the fixture).
    ZYNEobject NewFoo() {
        record = probe.beginLoad();
        Service<RegisterClassFn>("PluginRegisterClass")(&foo.foo);
        probe.endLoad();
        ZYNEobject instance = Service<NewInstanceFn>("PluginNewInstance")("Foo");
        if (instance != nullptr) owned.push_back(instance);
        return instance;
    }
    template <class T>
    T& GuestField(ZYNEobject instance, long offset) {
        return *reinterpret_cast<T*>(static_cast<char*>(probe.guestData(instance)) + offset);
    }
    // How many calls of the host's built-in service `service` the log shows.
    size_t HostCalls(const std::string& service) const {
        size_t calls = 0;
        for (const std::string& line : host.Log()) calls += line.rfind(service + "(", 0) == 0;
        return calls;
    }
    ZYNEobject Own(ZYNEobject object) {
        owned.push_back(object);
        return object;
    }
    void* Item(int which, long index, void** second = nullptr) {
        void* first = nullptr;
        void* other = nullptr;
        probe.item(record, which, index, &first, &other);
        if (second != nullptr) *second = other;
        return first;
    }

    ReferenceHost host;
    void* handle = nullptr;
    Probe probe{};
    void* record = nullptr;
    FooRecords foo;
    std::vector<ZYNEobject> owned;
};

// ----- The table -----------------------------------------------------------------------------

std::vector<std::string> Words(const char* text) {
    std::vector<std::string> words;
    std::istringstream in(text);
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

// Every name the table answers, in its order; the three nil answers are deliberate.
const std::vector<std::string> kInterceptedNames = Words(
    "RegisterPluginVersion PluginRegisterControl PluginRegisterMethod PluginRegisterModule "
    "PluginRegisterClass PluginRegisterInterface PluginRegisterClassExtension ResolverPPC "
    "GetControlBounds ctlPosGetter ctlPosSetter ZYNEInDebugMode ZYNEinRuntime "
    "ZYNEGetProjectFolder GetControlVisible ZYNEGetControlEnabled ZYNEGetControlHandle "
    "GetControlHWND getControlWindow ZYNESetSpecialBackground controlEnabledSetter "
    "SetControlVisible RegisterDataSourceInterface PluginRegisterDBEngine "
    "RegisterDatabaseConnection ZYNEDBConnectionDialogAddField ZYNEDBConnectionDialogCreate "
    "ZYNEDBConnectionDialogShow ZYNEDBConnectionDialogDelete RegisterDataSource "
    "DesignAddDataSource ZYNEdbDatabaseFromDBDatabase PluginNewInstance CreateInstance "
    "pluginObjectType ZYNEGetPropValueInt ZYNEGetPropValueDouble ZYNEGetPropValueBool "
    "ZYNEGetPropValueString ZYNEGetPropValueObject ZYNESetPropValueInt "
    "ZYNESetPropValueDouble ZYNESetPropValueBoolean ZYNESetPropValueString "
    "ZYNESetPropValueObject ZYNELoadObjectMethod ZYNEGetControlGraphics "
    "ZYNEInvalidateControl PluginDefaultControlFont PluginDefaultControlFontSize "
    "PluginRegisterStructure PluginRegisterEnum");

bool AnswersNil(const std::string& name) {
    return name == "ZYNESetSpecialBackground" || name == "ZYNEGetControlGraphics" ||
           name == "ZYNEInvalidateControl";
}

TEST_F(ResolverTest, AnswersItsTableItselfWithoutAskingTheHost) {
    ASSERT_EQ(kInterceptedNames.size(), 52u);
    std::vector<void*> answers;
    for (const std::string& name : kInterceptedNames) {
        bool intercepted = false;
        void* answer = probe.resolve(name.c_str(), &FakeHost, &intercepted);
        EXPECT_TRUE(intercepted) << name;
        EXPECT_EQ(answer == nullptr, AnswersNil(name)) << name;
        answers.push_back(answer);
    }
    EXPECT_TRUE(gFakeHostAsked.empty());
    // Distinct routines, except the handle service answering under both its names.
    for (size_t i = 0; i < answers.size(); ++i) {
        for (size_t j = i + 1; j < answers.size(); ++j) {
            if (answers[i] == nullptr) continue;
            const bool sameService = kInterceptedNames[i] == "ZYNEGetControlHandle" &&
                                     kInterceptedNames[j] == "GetControlHWND";
            EXPECT_EQ(answers[i] == answers[j], sameService)
                << kInterceptedNames[i] << " and " << kInterceptedNames[j];
        }
    }
}

TEST_F(ResolverTest, PassesOtherNamesToTheHostUnchanged) {
    bool intercepted = true;
    EXPECT_EQ(probe.resolve("HostOnlyService", &FakeHost, &intercepted), &gHostOnlyService);
    EXPECT_FALSE(intercepted);
    intercepted = true;
    EXPECT_EQ(probe.resolve("NoSuchService", &FakeHost, &intercepted), nullptr);
    EXPECT_FALSE(intercepted);
    EXPECT_EQ(probe.resolve("HostOnlyService", &FakeHost, nullptr), &gHostOnlyService);
    EXPECT_EQ(gFakeHostAsked,
              (std::vector<std::string>{"HostOnlyService", "NoSuchService", "HostOnlyService"}));
    // The guests' resolver asks the host's own resolver.
    EXPECT_EQ(Guest("ZYNEBuildString"), host.Lookup("ZYNEBuildString"));
    EXPECT_EQ(Guest("NoSuchService"), nullptr);
    // ResolverPPC is the guests' own resolver, so its answers are intercepted all the same.
    void* ppc = Guest("ResolverPPC");
    ASSERT_EQ(ppc, probe.guestResolver());
    EXPECT_EQ(As<ZYNEResolver>(ppc)("PluginRegisterClass"), Guest("PluginRegisterClass"));
}

TEST_F(ResolverTest, DesignTimeAnswersAndTheHostSetDefaults) {
    EXPECT_EQ(Service<unsigned char (*)()>("ZYNEInDebugMode")(), 1);
    EXPECT_EQ(Service<unsigned char (*)()>("ZYNEinRuntime")(), 0);
    EXPECT_EQ(Service<ZYNEstring (*)()>("PluginDefaultControlFont")(), nullptr);
    EXPECT_EQ(Service<long (*)()>("PluginDefaultControlFontSize")(), 0);

    ZYNEstring font = host.NewString("Sans");
    host.CallGlobal<void>("PluginBridgeSetDefaultFontAndSize", font, 11L);
    ZYNEobject folder = Own(host.NewFolderItem("/tmp"));
    host.CallGlobal<void>("PluginBridgeSetProjFolder", folder);
    const long fontCount = host.RefCount(font);
    const long folderCount = host.RefCount(folder);

    // Locked once more for the guest, which releases it.
    ZYNEstring answer = Service<ZYNEstring (*)()>("PluginDefaultControlFont")();
    EXPECT_EQ(answer, font);
    EXPECT_EQ(host.RefCount(font), fontCount + 1);
    host.Unlock(answer);
    EXPECT_EQ(Service<long (*)()>("PluginDefaultControlFontSize")(), 11);
    ZYNEobject project = Service<ZYNEobject (*)()>("ZYNEGetProjectFolder")();
    EXPECT_EQ(project, folder);
    EXPECT_EQ(host.RefCount(folder), folderCount + 1);
    host.Unlock(project);
    host.CallGlobal<void>("PluginBridgeSetProjFolder", static_cast<ZYNEobject>(nullptr));
    host.CallGlobal<void>("PluginBridgeSetDefaultFontAndSize", static_cast<ZYNEstring>(nullptr),
                          0L);
    host.Unlock(font);
}

// ----- Captures --------------------------------------------------------------------------------

struct CaptureCase {
    const char* name;
    int list;
};
const CaptureCase kRecordCaptures[] = {
    {"PluginRegisterControl", kControls},     {"PluginRegisterMethod", kMethods},
    {"PluginRegisterModule", kModules},       {"PluginRegisterClass", kClasses},
    {"PluginRegisterInterface", kInterfaces}, {"PluginRegisterClassExtension", kClassExtensions},
    {"PluginRegisterDBEngine", kEngines},     {"RegisterDatabaseConnection", kConnections},
    {"PluginRegisterStructure", kStructures}, {"PluginRegisterEnum", kEnums},
};
const CaptureCase kPairCaptures[] = {
    {"RegisterDataSourceInterface", kDataSourceInterfaces},
    {"RegisterDataSource", kDataSources},
};

TEST_F(ResolverTest, EachCaptureAppendsToItsOwnListOnly) {
    // Guest records are not read by list captures: any addresses do, except for classes.
    ZYNEclassDefinition classes[2] = {};
    classes[0].name = "One";
    classes[1].name = "Two";
    long other[2] = {};
    record = probe.beginLoad();
    long expected[12] = {};
    for (const CaptureCase& capture : kRecordCaptures) {
        auto registerRecord = Service<long (*)(void*)>(capture.name);
        for (long n = 1; n <= 2; ++n) {
            void* item = capture.list == kClasses ? static_cast<void*>(&classes[n - 1])
                                                  : static_cast<void*>(&other[n - 1]);
            EXPECT_EQ(registerRecord(item), n) << capture.name;
            EXPECT_EQ(Item(capture.list, n - 1), item) << capture.name;
        }
        expected[capture.list] = 2;
        for (int list = 0; list < 12; ++list)
            EXPECT_EQ(probe.count(record, list), expected[list])
                << capture.name << " list " << list;
    }
    for (const CaptureCase& capture : kPairCaptures) {
        auto registerPair = Service<long (*)(const char*, void*)>(capture.name);
        EXPECT_EQ(registerPair("first", &other[0]), 1) << capture.name;
        EXPECT_EQ(registerPair("second", &other[1]), 2) << capture.name;
        void* second = nullptr;
        EXPECT_STREQ(static_cast<const char*>(Item(capture.list, 1, &second)), "second");
        EXPECT_EQ(second, &other[1]);
        EXPECT_EQ(probe.count(record, capture.list), 2) << capture.name;
    }
    // The version announcement is no registration.
    Service<void (*)(long)>("RegisterPluginVersion")(9);
    long total = 0;
    for (int list = 0; list < 12; ++list) total += probe.count(record, list);
    EXPECT_EQ(total, 2 * 12);
    EXPECT_TRUE(host.Log().empty()) << "captures never reach the host: " << host.Log().front();
}

TEST_F(ResolverTest, NullRecordsAndRegistrationsOutsideALoadRecordNothing) {
    ZYNEclassDefinition late{};
    late.name = "Late";
    long something = 0;
    record = probe.beginLoad();
    for (const CaptureCase& capture : kRecordCaptures)
        EXPECT_EQ(Service<long (*)(void*)>(capture.name)(nullptr), 0) << capture.name;
    probe.endLoad();  // the load is over: the guest registers too late
    for (const CaptureCase& capture : kRecordCaptures) {
        void* item = capture.list == kClasses ? static_cast<void*>(&late) : &something;
        EXPECT_EQ(Service<long (*)(void*)>(capture.name)(item), 0) << capture.name;
    }
    for (const CaptureCase& capture : kPairCaptures)
        EXPECT_EQ(Service<long (*)(const char*, void*)>(capture.name)("late", &something), 0);
    for (int list = 0; list < 12; ++list) EXPECT_EQ(probe.count(record, list), 0) << list;
    EXPECT_EQ(probe.owner("Late"), nullptr);
    // Unknown as a guest class: its reference is the host's answer.
    EXPECT_EQ(Service<ObjectTypeFn>("pluginObjectType")("Late"), nullptr);
    EXPECT_EQ(HostCalls("pluginObjectType"), 1u);
}

TEST_F(ResolverTest, AClassRegisteredAgainBelongsToItsLatestOwner) {
    ZYNEclassDefinition first{}, second{};
    first.name = "Shared";
    second.name = "shared";  // class names match without regard to case
    void* one = probe.beginLoad();
    Service<RegisterClassFn>("PluginRegisterClass")(&first);
    probe.endLoad();
    EXPECT_EQ(probe.owner("SHARED"), one);
    const auto reference = [&] {
        return reinterpret_cast<const char*>(Service<ObjectTypeFn>("pluginObjectType")("Shared"));
    };
    const char* firstReference = reference();
    EXPECT_STREQ(firstReference, "fauxcrefShared");

    void* two = probe.beginLoad();
    EXPECT_EQ(Service<RegisterClassFn>("PluginRegisterClass")(&second), 1);
    probe.endLoad();
    EXPECT_EQ(probe.owner("Shared"), two);
    EXPECT_EQ(probe.count(one, kClasses), 1);
    EXPECT_EQ(probe.count(two, kClasses), 1);
    EXPECT_STREQ(reference(), "fauxcrefshared");
    // The earlier reference is never freed: a guest may still hold it.
    EXPECT_STREQ(firstReference, "fauxcrefShared");
}

TEST_F(ResolverTest, AForgottenOwnerLeavesItsClassesToTheHost) {
    ASSERT_NE(NewFoo(), nullptr);
    ZYNEclassDefinition other{};
    other.name = "Other";
    void* second = probe.beginLoad();
    Service<RegisterClassFn>("PluginRegisterClass")(&other);
    probe.endLoad();
    probe.forgetOwner(record);  // as the first record's destructor does
    EXPECT_EQ(probe.owner("Foo"), nullptr);
    EXPECT_EQ(probe.owner("Other"), second);
    host.ClearLog();
    EXPECT_EQ(Service<NewInstanceFn>("PluginNewInstance")("Foo"), nullptr);
    EXPECT_EQ(host.Count("PluginNewInstance(\"Foo\")"), 1u);
}

// ----- Class references and instances ------------------------------------------------------

TEST_F(ResolverTest, GuestClassReferencesAreFauxAndEveryNameIsADependency) {
    record = probe.beginLoad();
    Service<RegisterClassFn>("PluginRegisterClass")(&foo.foo);
    auto objectType = Service<ObjectTypeFn>("pluginObjectType");
    const auto* faux = reinterpret_cast<const char*>(objectType("Foo"));
    ASSERT_NE(faux, nullptr);
    EXPECT_STREQ(faux, "fauxcrefFoo");
    EXPECT_EQ(HostCalls("pluginObjectType"), 0u);
    ZYNEclassRef hostReference = objectType("PluginBridge");
    EXPECT_NE(hostReference, nullptr);
    EXPECT_EQ(HostCalls("pluginObjectType"), 1u);
    probe.endLoad();

    ASSERT_EQ(probe.dependencyCount(), 2);
    EXPECT_EQ(ReferenceHost::Text(probe.dependency(0)), "Foo");
    EXPECT_EQ(ReferenceHost::Text(probe.dependency(1)), "PluginBridge");
    // Outside a load nothing is added.
    EXPECT_STREQ(reinterpret_cast<const char*>(objectType("foo")), "fauxcrefFoo");
    EXPECT_EQ(probe.dependencyCount(), 2);
}

TEST_F(ResolverTest, InstancesOfGuestClassesAreDesignTimeInstances) {
    ZYNEobject byName = NewFoo();
    ASSERT_NE(byName, nullptr);
    ASSERT_NE(host.ClassOf(byName), nullptr);
    EXPECT_STREQ(host.ClassOf(byName)->name, "PluginClassInstance");
    EXPECT_EQ(probe.guestClass(byName), &foo.foo);
    EXPECT_EQ(gConstructed, byName);

    auto objectType = Service<ObjectTypeFn>("pluginObjectType");
    auto createInstance = Service<ZYNEobject (*)(ZYNEclassRef)>("CreateInstance");
    ZYNEobject byReference = Own(createInstance(objectType("Foo")));
    ASSERT_NE(byReference, nullptr);
    EXPECT_EQ(probe.guestClass(byReference), &foo.foo);
    EXPECT_EQ(HostCalls("CreateInstance"), 0u);

    // Any other text is the host's business, the "fauxcref" text of an unknown class too.
    ZYNEobject hosts = Own(createInstance(objectType("PluginBridge")));
    ASSERT_NE(hosts, nullptr);
    EXPECT_STREQ(host.ClassOf(hosts)->name, "PluginBridge");
    EXPECT_EQ(HostCalls("CreateInstance"), 1u);
    static char unknown[] = "fauxcrefNobody";
    EXPECT_EQ(createInstance(reinterpret_cast<ZYNEclassRef>(unknown)), nullptr);
    EXPECT_EQ(host.Count("PluginNewInstance(\"Nobody\")"), 1u);  // asked by name
    ZYNEobject hostByName = Own(Service<NewInstanceFn>("PluginNewInstance")("PluginBridge"));
    EXPECT_STREQ(host.ClassOf(hostByName)->name, "PluginBridge");
}

TEST_F(ResolverTest, AnOversizedGuestClassGivesNoInstance) {
    foo.foo.dataSize = 4097;
    testing::internal::CaptureStderr();
    EXPECT_EQ(NewFoo(), nullptr);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(HostCalls("PluginNewInstance"), 0u) << "a guest class is never the host's";
}

// ----- Property family ---------------------------------------------------------------------

TEST_F(ResolverTest, PlainFieldsAreReadAndWrittenInTheGuestData) {
    ZYNEobject instance = NewFoo();
    ASSERT_NE(instance, nullptr);
    host.ClearLog();

    EXPECT_EQ(Service<SetIntFn>("ZYNESetPropValueInt")(instance, "count", 41), 1);
    EXPECT_EQ(GuestField<long>(instance, 0), 41);
    GuestField<long>(instance, 0) = 42;
    long integer = 0;
    EXPECT_EQ(Service<GetIntFn>("ZYNEGetPropValueInt")(instance, "Count", &integer), 1);
    EXPECT_EQ(integer, 42);

    EXPECT_EQ(Service<SetDoubleFn>("ZYNESetPropValueDouble")(instance, "Ratio", 2.5), 1);
    double real = 0;
    EXPECT_EQ(Service<GetDoubleFn>("ZYNEGetPropValueDouble")(instance, "Ratio", &real), 1);
    EXPECT_EQ(real, 2.5);
    EXPECT_EQ(GuestField<double>(instance, 8), 2.5);

    GuestField<long>(instance, 16) = 0x7700;  // the boolean is the field's first byte only
    EXPECT_EQ(Service<SetBoolFn>("ZYNESetPropValueBoolean")(instance, "Flag", 1), 1);
    EXPECT_EQ(GuestField<long>(instance, 16), 0x7701);
    unsigned char flag = 0;
    EXPECT_EQ(Service<GetBoolFn>("ZYNEGetPropValueBool")(instance, "Flag", &flag), 1);
    EXPECT_EQ(flag, 1);

    // The host never saw these requests.
    EXPECT_EQ(HostCalls("ZYNEGetPropValueInt") + HostCalls("ZYNESetPropValueInt") +
                  HostCalls("ZYNEGetPropValueDouble") + HostCalls("ZYNESetPropValueDouble") +
                  HostCalls("ZYNEGetPropValueBool") + HostCalls("ZYNESetPropValueBoolean"),
              0u);
}

TEST_F(ResolverTest, StringAndObjectFieldsHoldTheirOwnReference) {
    ZYNEobject instance = NewFoo();
    ASSERT_NE(instance, nullptr);
    auto setString = Service<SetStringFn>("ZYNESetPropValueString");
    auto getString = Service<GetStringFn>("ZYNEGetPropValueString");
    ZYNEstring first = host.NewString("first");
    ZYNEstring second = host.NewString("second");
    EXPECT_EQ(setString(instance, "Label", first), 1);
    EXPECT_EQ(host.RefCount(first), 2);
    EXPECT_EQ(setString(instance, "Label", first), 1);  // the same string again survives
    EXPECT_EQ(host.RefCount(first), 2);
    EXPECT_EQ(setString(instance, "Label", second), 1);
    EXPECT_EQ(host.RefCount(first), 1);
    ZYNEstring read = nullptr;
    EXPECT_EQ(getString(instance, "Label", &read), 1);
    EXPECT_EQ(read, second);
    EXPECT_EQ(host.RefCount(second), 3);  // the caller's, the field's and the test's own
    host.Unlock(read);
    host.Unlock(first);

    // The object member has no type test: any type word will do.
    ZYNEobject widget = Own(host.NewInstance("PluginClassInstance"));
    EXPECT_EQ(Service<SetObjectFn>("ZYNESetPropValueObject")(instance, "Owner", widget), 1);
    ZYNEobject got = nullptr;
    EXPECT_EQ(Service<GetObjectFn>("ZYNEGetPropValueObject")(instance, "Owner", &got), 1);
    EXPECT_EQ(got, widget);
    EXPECT_EQ(host.RefCount(widget), 3);
    host.Unlock(got);
    // Leave the fields empty, so that nothing the test owns is held when it ends.
    setString(instance, "Label", nullptr);
    Service<SetObjectFn>("ZYNESetPropValueObject")(instance, "Owner", nullptr);
    EXPECT_EQ(host.RefCount(second), 1);
    EXPECT_EQ(host.RefCount(widget), 1);
    host.Unlock(second);
}

TEST_F(ResolverTest, RoutinesGetTheParamAndMissingRoutinesTypesOrRoomGiveFalse) {
    ZYNEobject instance = NewFoo();
    ASSERT_NE(instance, nullptr);
    auto getInt = Service<GetIntFn>("ZYNEGetPropValueInt");
    auto setInt = Service<SetIntFn>("ZYNESetPropValueInt");
    auto getDouble = Service<GetDoubleFn>("ZYNEGetPropValueDouble");
    host.ClearLog();
    long value = 0;
    EXPECT_EQ(getInt(instance, "Computed", &value), 1);
    EXPECT_EQ(value, 1005);
    EXPECT_EQ(setInt(instance, "Computed", 77), 1);
    EXPECT_EQ(gComputedGet.object, instance);
    EXPECT_EQ(gComputedSet.object, instance);
    EXPECT_EQ(gComputedSet.param * 100 + gComputedSet.value, 577);
    EXPECT_EQ(getInt(instance, "Hidden", &value), 0);  // nil getter
    EXPECT_EQ(setInt(instance, "Hidden", 1), 0);       // nil setter
    EXPECT_EQ(getInt(instance, "Far", &value), 0);     // no room in the guest data
    EXPECT_EQ(setInt(instance, "Far", 1), 0);
    EXPECT_EQ(getInt(instance, "Count", nullptr), 0);  // nowhere to put the value
    // "Twin" is first a double, then an integer: each member finds its own record.
    GuestField<double>(instance, 32) = 1.5;
    GuestField<long>(instance, 40) = 9;
    EXPECT_EQ(getInt(instance, "Twin", &value), 1);
    EXPECT_EQ(value, 9);
    double real = 0;
    EXPECT_EQ(getDouble(instance, "Twin", &real), 1);
    EXPECT_EQ(real, 1.5);
    EXPECT_EQ(setInt(instance, "Twin", 10), 1);
    EXPECT_EQ(GuestField<long>(instance, 40), 10);
    EXPECT_EQ(GuestField<double>(instance, 32), 1.5);
    EXPECT_EQ(HostCalls("ZYNEGetPropValueInt") + HostCalls("ZYNESetPropValueInt"), 0u);
}

TEST_F(ResolverTest, UnmatchedNamesGoToTheHostOnlyWhenReading) {
    ZYNEobject instance = NewFoo();
    ASSERT_NE(instance, nullptr);
    host.ClearLog();
    long value = 5;
    // No integer "Ratio" (it is a double) and no "Nothing": the host answers the getter...
    Service<GetIntFn>("ZYNEGetPropValueInt")(instance, "Nothing", &value);
    Service<GetIntFn>("ZYNEGetPropValueInt")(instance, "Ratio", &value);
    EXPECT_EQ(HostCalls("ZYNEGetPropValueInt"), 2u);
    // ...while the setters answer false themselves.
    EXPECT_EQ(Service<SetIntFn>("ZYNESetPropValueInt")(instance, "Nothing", 1), 0);
    EXPECT_EQ(Service<SetStringFn>("ZYNESetPropValueString")(instance, "Count", nullptr), 0);
    EXPECT_EQ(HostCalls("ZYNESetPropValueInt") + HostCalls("ZYNESetPropValueString"), 0u);
}

TEST_F(ResolverTest, OtherObjectsAreTheHostsBusiness) {
    ZYNEobject bridge = Own(host.NewInstance("PluginBridge"));
    ZYNEobject variant = Own(host.NewVariantInteger(12));
    host.ClearLog();
    long value = 0;
    auto getInt = Service<GetIntFn>("ZYNEGetPropValueInt");
    EXPECT_EQ(getInt(bridge, "Count", &value), 1);  // the host reads PluginBridge's Count
    EXPECT_EQ(value, 0);
    EXPECT_EQ(getInt(variant, "IntegerValue", &value), 1);
    EXPECT_EQ(value, 12);
    EXPECT_EQ(Service<SetIntFn>("ZYNESetPropValueInt")(variant, "IntegerValue", 13), 1);
    EXPECT_EQ(host.VariantInteger(variant), 13);
    EXPECT_EQ(HostCalls("ZYNEGetPropValueInt"), 2u);
    EXPECT_EQ(HostCalls("ZYNESetPropValueInt"), 1u);
}

TEST_F(ResolverTest, WithoutRuntimeObjectIsaEverythingGoesToTheHost) {
    void* isa = host.Lookup("RuntimeObjectIsa");
    ASSERT_NE(isa, nullptr);
    host.Withdraw("RuntimeObjectIsa");
    ZYNEobject instance = NewFoo();
    ASSERT_NE(instance, nullptr);
    GuestField<long>(instance, 0) = 42;
    host.ClearLog();
    long value = 0;
    auto getInt = Service<GetIntFn>("ZYNEGetPropValueInt");
    auto setInt = Service<SetIntFn>("ZYNESetPropValueInt");
    getInt(instance, "Count", &value);
    EXPECT_NE(value, 42) << "the field was read without knowing the object's class";
    setInt(instance, "Count", 1);
    EXPECT_EQ(GuestField<long>(instance, 0), 42);
    EXPECT_EQ(HostCalls("ZYNEGetPropValueInt"), 1u);
    EXPECT_EQ(HostCalls("ZYNESetPropValueInt"), 1u);
    EXPECT_EQ(Service<LoadMethodFn>("ZYNELoadObjectMethod")(instance, "Reset()"), nullptr);
    EXPECT_EQ(HostCalls("ZYNELoadObjectMethod"), 1u);

    // A host that offers the service later is asked again and then served from the record.
    host.Provide("RuntimeObjectIsa", isa);
    host.ClearLog();
    EXPECT_EQ(getInt(instance, "Count", &value), 1);
    EXPECT_EQ(value, 42);
    EXPECT_EQ(HostCalls("ZYNEGetPropValueInt"), 0u);
}

// ----- Method lookup -------------------------------------------------------------------------

TEST_F(ResolverTest, MethodsMatchByNameAndParameterTypes) {
    ZYNEobject instance = NewFoo();
    ASSERT_NE(instance, nullptr);
    auto load = Service<LoadMethodFn>("ZYNELoadObjectMethod");
    host.ClearLog();
    struct Case {
        const char* declaration;
        void* routine;
    } const cases[] = {
        {"Add( value as Integer ) as Integer", reinterpret_cast<void*>(&AddInteger)},
        {"add(n As INTEGER)", reinterpret_cast<void*>(&AddInteger)},  // names and case free
        {"  Add(text as String) as Boolean", reinterpret_cast<void*>(&AddText)},  // return ignored
        {"Reset()", reinterpret_cast<void*>(&Reset)},
        {"reset", reinterpret_cast<void*>(&Reset)},
    };
    for (const Case& c : cases)
        EXPECT_EQ(load(instance, c.declaration), c.routine) << c.declaration;
    EXPECT_EQ(HostCalls("ZYNELoadObjectMethod"), 0u);

    // No match: the host answers, here with the instance class's own "Prop" getter.
    void* prop = load(instance, "Prop( name as String )");
    EXPECT_NE(prop, nullptr);
    for (const char* unmatched : {"Add()", "Add(a as Integer, b as Integer)", "Add(a as Double)",
                                  "Remove(value as Integer)"}) {
        EXPECT_EQ(load(instance, unmatched), nullptr) << unmatched;
    }
    EXPECT_EQ(HostCalls("ZYNELoadObjectMethod"), 5u);
}

TEST_F(ResolverTest, EarlierMethodRecordsAreReadInTheirForm) {
    ZYNEmethodDefinitionV6 earlier[2] = {
        {reinterpret_cast<void*>(&AddInteger), nullptr, "Add( value as Integer )"},
        {reinterpret_cast<void*>(&Reset), nullptr, "Reset()"},
    };
    foo.foo.version = 6;
    foo.foo.methods = reinterpret_cast<ZYNEmethodDefinition*>(earlier);
    foo.foo.methodCount = 2;
    ZYNEobject instance = NewFoo();
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(Service<LoadMethodFn>("ZYNELoadObjectMethod")(instance, "Reset()"),
              reinterpret_cast<void*>(&Reset));
}

TEST_F(ResolverTest, DatabaseConversionRemembersTheEngineAndAsksTheHostEachTime) {
    auto convert = Service<ZYNEobject (*)(dbDatabase*, ZYNEdbEngineDefinition*)>(
        "ZYNEdbDatabaseFromDBDatabase");
    auto* engine = reinterpret_cast<ZYNEdbEngineDefinition*>(&gEngineTag);
    EXPECT_EQ(convert(nullptr, engine), nullptr);  // the host has no such service
    EXPECT_EQ(probe.lastEngine(), engine);

    ZYNEobject database = Own(host.NewInstance("PluginClassInstance"));
    gConvertedDatabase = database;
    host.Provide("ZYNEdbDatabaseFromDBDatabase", reinterpret_cast<void*>(&DatabaseFromDB));
    host.ClearLog();
    EXPECT_EQ(convert(nullptr, nullptr), database);
    EXPECT_EQ(probe.lastEngine(), nullptr);
    EXPECT_EQ(convert(nullptr, engine), database);
    EXPECT_EQ(host.Count("resolve ZYNEdbDatabaseFromDBDatabase -> found"), 2u);
    gConvertedDatabase = nullptr;
}

// ----- End to end: the real bridge loads the resolver guest ------------------------------------

std::map<std::string, long> gReports;
void ReportFromGuest(const char* key, long value) {
    gReports[key] = value;
}

class ResolverGuestTest : public ::testing::Test {
protected:
    void SetUp() override {
        gReports.clear();
        ASSERT_TRUE(host.Load()) << host.Error();
        host.Provide("ResolverGuestReport", reinterpret_cast<void*>(&ReportFromGuest));
        bridge = host.NewInstance("PluginBridge");
        ASSERT_NE(bridge, nullptr);
    }
    void TearDown() override {
        host.Unlock(bridge);  // the bridge releases its definitions and sweeps its folder
        EXPECT_TRUE(host.Faults().empty()) << host.Faults().front();
    }
    bool LoadGuest() {
        ZYNEobject location = host.NewFolderItem(ZYNE_RESOLVER_GUEST_PATH);
        const bool loaded = host.Call<bool>(bridge, "LoadPlugin", location);
        host.Unlock(location);
        return loaded;
    }
    std::string Dependency(long index) {
        ZYNEstring text = host.Call<ZYNEstring>(bridge, "GetDependency", index);
        std::string result = ReferenceHost::Text(text);
        host.Unlock(text);
        return result;
    }

    testsupport::PrivateHome home;  // the loader's temporary data folder goes here
    ReferenceHost host;
    ZYNEobject bridge = nullptr;
};

TEST_F(ResolverGuestTest, AGuestUsesItsResolverWhileItLoadsWithoutTheHostsPropertyServices) {
    ASSERT_TRUE(LoadGuest());
    const std::map<std::string, long> expected = {
        {"graphics service", 0},
        {"in runtime", 0},
        {"debug mode", 1},
        {"faux reference", 1},
        {"instance", 1},
        {"set", 1},
        {"get", 1},
        {"count", 21},
        {"twice", 42},
        {"host reference", 1},
    };
    EXPECT_EQ(gReports, expected);
    // Foo was captured, not registered with the host.
    EXPECT_EQ(host.FindClass("Foo"), nullptr);
    ZYNEobject definition = host.Call<ZYNEobject>(bridge, "GetPluginDefinition", 0L);
    ASSERT_NE(definition, nullptr);
    EXPECT_EQ(host.Get<long>(definition, "ClassCount"), 1);
    host.Unlock(definition);
    // Both classes the guest asked a reference for are its dependencies, in order.
    ASSERT_EQ(host.Get<long>(bridge, "DependencyCount"), 2);
    EXPECT_EQ(Dependency(0), "Foo");
    EXPECT_EQ(Dependency(1), "PluginBridge");
    // The guest's instance came from the host as a bridge class, and its property traffic
    // never reached the host's property services.
    EXPECT_EQ(host.Count("PluginNewInstance(\"PluginClassInstance\")"), 1u);
    for (const std::string& line : host.Log()) {
        EXPECT_NE(line.rfind("ZYNESetPropValueInt(", 0), 0u) << line;
        EXPECT_NE(line.rfind("ZYNEGetPropValueInt(", 0), 0u) << line;
    }
    EXPECT_GE(host.Count("RuntimeObjectIsa(ptr, ptr)"), 2u);
}


}  // namespace
