// ReferenceHostTest.cpp - the reference host's own mechanics: loading and unloading the
// bridge, the service table and its log, strings, objects, class layout and the
// Call/Get/Set helpers, driven through the services as a plug-in would call them.
#include <dlfcn.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../support/TempHome.h"
#include "ReferenceHost.h"

using zyne::host::ClassInfo;
using zyne::host::HostOptions;
using zyne::host::ReferenceHost;

namespace {

constexpr long kHeader = 6 * static_cast<long>(sizeof(void*));

// Constructor and destructor calls of the hand-made classes below, in order.
std::vector<std::string> trace;

// Hand-made records, zeroed but for the fields given.
ZYNEclassDefinition ClassRecord(const char* name, const char* superName = nullptr,
                                long dataSize = 0) {
    ZYNEclassDefinition record{};
    record.version = 9;
    record.name = name;
    record.superName = superName;
    record.dataSize = dataSize;
    return record;
}

template <class Record>
Record Named(const char* name) {
    Record record{};
    record.name = name;
    if constexpr (requires { record.version; }) record.version = 9;
    return record;
}

ZYNEproperty Property(const char* name, void* getter, void* setter, long param) {
    ZYNEproperty property{};
    property.name = name;
    property.type = "Integer";
    property.getter = getter;
    property.setter = setter;
    property.param = param;
    return property;
}

class ReferenceHostTest : public ::testing::Test {
protected:
    void SetUp() override {
        trace.clear();
        Start();
    }

    void TearDown() override {
        if (!faultsExpected_) {
            EXPECT_TRUE(host_->Faults().empty()) << host_->Faults().front();
        }
        host_.reset();
    }

    void Start(HostOptions options = {}) {
        host_.reset();
        host_ = std::make_unique<ReferenceHost>(std::move(options));
    }

    // A service looked up the way the bridge does, failing the test when it is missing.
    template <class F>
    F Service(const char* name) {
        auto function = host_->Service<F>(name);
        EXPECT_NE(function, nullptr) << name;
        return function;
    }

    void RegisterClass(ZYNEclassDefinition* record) {
        Service<void (*)(ZYNEclassDefinition*)>("PluginRegisterClass")(record);
    }

    std::unique_ptr<ReferenceHost> host_;
    bool faultsExpected_ = false;
};

// --- Loading the bridge -----------------------------------------------------------------

TEST_F(ReferenceHostTest, LoadsTheBuiltBridgeWhichAnnouncesItsVersion) {
    ASSERT_TRUE(host_->Load()) << host_->Error();
    EXPECT_TRUE(host_->Error().empty());
    EXPECT_NE(host_->Handle(), nullptr);
    EXPECT_EQ(host_->PluginVersion(), 9);
    EXPECT_EQ(host_->Count("resolve RegisterPluginVersion -> found"), 1u);
    EXPECT_EQ(host_->Count("RegisterPluginVersion(9)"), 1u);
    EXPECT_NE(host_->Symbol<void (*)(ZYNEResolver)>("ZYNEPluginMain"), nullptr);
    EXPECT_EQ(host_->Symbol<void*>("NoSuchSymbolAnywhere"), nullptr);

    EXPECT_FALSE(host_->Load()) << "a second bridge in the same host";
    EXPECT_NE(host_->Error().find("already loaded"), std::string::npos);
}

TEST_F(ReferenceHostTest, LoadFailuresNameTheFileAndTheReason) {
    const testsupport::TempFolder folder;
    const std::string missing = folder / "no-such-bridge.so";
    const std::string notALibrary = folder / "not-a-library.so";
    ASSERT_TRUE(std::ofstream(notALibrary) << "plain text\n");

    struct Case {
        std::string path;
        const char* reason;
    };
    const Case cases[] = {
        {missing, "No such file"},
        {notALibrary, "not-a-library.so"},
        {"libm.so.6", "no ZYNEPluginMain"},  // a real library, but not a plug-in
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        Start({.bridgePath = c.path});
        EXPECT_FALSE(host_->Load());
        EXPECT_EQ(host_->Handle(), nullptr);
        EXPECT_NE(host_->Error().find("cannot load " + c.path), std::string::npos)
            << host_->Error();
        EXPECT_NE(host_->Error().find(c.reason), std::string::npos) << host_->Error();
        EXPECT_EQ(host_->PluginVersion(), 0);
    }
}

// The bridge's ZYNECString entry point (a C++ name): nothing binds its slot at load, so
// a lookup shows the slot was empty.
using CStringEntry = const char* (*)(ZYNEstring);
constexpr const char* kCStringEntry = "_Z11ZYNECStringP16ZYNEstringStruct";

TEST_F(ReferenceHostTest, DestroyingTheHostUnloadsTheBridge) {
    ASSERT_TRUE(host_->Load()) << host_->Error();
    auto cString = host_->Symbol<CStringEntry>(kCStringEntry);
    ASSERT_NE(cString, nullptr);
    host_->ClearLog();
    cString(nullptr);
    ASSERT_TRUE(host_->Resolved("StringGetCString"));

    host_.reset();
    void* still = dlopen(ZYNE_BRIDGE_PATH, RTLD_NOLOAD | RTLD_LAZY);
    EXPECT_EQ(still, nullptr) << "the bridge stayed in the process";
    if (still != nullptr) dlclose(still);

    // A freshly initialised bridge: its slot is empty again and asks the new host.
    Start();
    ASSERT_TRUE(host_->Load()) << host_->Error();
    host_->ClearLog();
    cString = host_->Symbol<CStringEntry>(kCStringEntry);
    ASSERT_NE(cString, nullptr);
    cString(nullptr);
    EXPECT_TRUE(host_->Resolved("StringGetCString"));
}

TEST_F(ReferenceHostTest, OnlyOneHostAtATime) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH({ ReferenceHost second; }, "second ReferenceHost");
    EXPECT_EQ(ReferenceHost::Current(), host_.get());
}

// --- Services and the log ---------------------------------------------------------------

void* FakeService() {
    return nullptr;
}

TEST_F(ReferenceHostTest, ProvideWithdrawAndTheLookupLog) {
    ZYNEResolver resolve = ReferenceHost::Resolver();
    EXPECT_NE(resolve("ZYNEBuildString"), nullptr);
    host_->Withdraw("ZYNEBuildString");
    EXPECT_FALSE(host_->Offers("ZYNEBuildString"));
    EXPECT_EQ(resolve("ZYNEBuildString"), nullptr);

    auto fake = reinterpret_cast<void*>(&FakeService);
    host_->Provide("ZYNEBuildString", fake);
    host_->Provide("", fake);
    EXPECT_EQ(resolve("ZYNEBuildString"), fake);
    EXPECT_EQ(resolve(""), fake);
    EXPECT_EQ(resolve(nullptr), nullptr);
    host_->Record("FakeService()");

    const std::vector<std::string> expected = {
        "resolve ZYNEBuildString -> found", "resolve ZYNEBuildString -> missing",
        "resolve ZYNEBuildString -> found", "resolve  -> found",
        "resolve null -> missing",          "FakeService()",
    };
    EXPECT_EQ(host_->Log(), expected);
    EXPECT_EQ(host_->Count("resolve ZYNEBuildString -> found"), 2u);
    EXPECT_TRUE(host_->Resolved(""));
    EXPECT_FALSE(host_->Resolved("ZYNEBuild")) << "a prefix is not a lookup";
    host_->ClearLog();
    EXPECT_TRUE(host_->Log().empty());
    EXPECT_FALSE(host_->Resolved("ZYNEBuildString"));
}

TEST_F(ReferenceHostTest, VersionServiceAnswersTheSetVersionOrIsMissing) {
    host_->SetVersion(5.9);
    EXPECT_EQ(host_->Service<double (*)()>("ZYNEGetZQVersion")(), 5.9);
    host_->SetVersion(std::nullopt);
    EXPECT_FALSE(host_->Offers("ZYNEGetZQVersion"));
}

TEST_F(ReferenceHostTest, ServiceCallsAreLoggedWithTheirArguments) {
    auto build = Service<ZYNEstring (*)(const char*, int)>("ZYNEBuildString");
    auto buildWith =
        Service<ZYNEstring (*)(const char*, int, unsigned long)>("ZYNEBuildStringWithEncoding");
    auto lock = Service<void (*)(ZYNEstring)>("ZYNELockString");
    auto unlock = Service<void (*)(ZYNEstring)>("ZYNEUnlockString");
    auto objectType = Service<ZYNEclassRef (*)(const char*)>("pluginObjectType");
    auto create = Service<ZYNEobject (*)(ZYNEclassRef)>("CreateInstance");
    auto unlockObject = Service<void (*)(ZYNEobject)>("ZYNEUnlockObject");
    ZYNEclassDefinition thing = ClassRecord("Thing");
    RegisterClass(&thing);
    host_->ClearLog();

    ZYNEstring abc = build("abcdef", 3);  // only the given length is read
    unlock(build(nullptr, 0));
    lock(nullptr);
    lock(abc);
    unlock(abc);
    unlock(abc);
    unlock(buildWith("x", 1, 0x08000100));
    unlockObject(create(objectType("Thing")));
    objectType(nullptr);

    const std::vector<std::string> expected = {
        "ZYNEBuildString(\"abc\", 3)", "ZYNEBuildString(null, 0)",
        "ZYNEUnlockString(\"\")",      "ZYNELockString(null)",
        "ZYNELockString(\"abc\")",     "ZYNEUnlockString(\"abc\")",
        "ZYNEUnlockString(\"abc\")",   "ZYNEBuildStringWithEncoding(\"x\", 1, 134217984)",
        "ZYNEUnlockString(\"x\")",     "pluginObjectType(\"Thing\")",
        "CreateInstance(ptr)",         "ZYNEUnlockObject(ptr)",
        "pluginObjectType(null)",
    };
    EXPECT_EQ(host_->Log(), expected);
}

// --- Registration -------------------------------------------------------------------------

TEST_F(ReferenceHostTest, RegistrationKeepsEveryRecordInOrder) {
    ZYNEclassDefinition widget = ClassRecord("Widget");
    ZYNEclassDefinition widgetMore = ClassRecord("Widget");
    ZYNEcontrol dial = Named<ZYNEcontrol>("Dial");
    dial.dataSize = 12;
    auto readable = Named<ZYNEinterfaceDefinition>("Readable");
    auto tools = Named<ZYNEmoduleDefinition>("Tools");
    ZYNEmethodDefinition beep{nullptr, nullptr, "Beep()", 0};
    auto point = Named<ZYNEstructure>("Point");
    auto colour = Named<ZYNEenum>("Colour");

    Service<void (*)(ZYNEinterfaceDefinition*)>("PluginRegisterInterface")(&readable);
    RegisterClass(&widget);
    Service<void (*)(ZYNEclassDefinition*)>("PluginRegisterClassExtension")(&widgetMore);
    Service<void (*)(ZYNEcontrol*)>("PluginRegisterControl")(&dial);
    Service<void (*)(ZYNEmoduleDefinition*)>("PluginRegisterModule")(&tools);
    Service<void (*)(ZYNEmethodDefinition*)>("PluginRegisterMethod")(&beep);
    Service<void (*)(ZYNEstructure*)>("PluginRegisterStructure")(&point);
    Service<void (*)(ZYNEenum*)>("PluginRegisterEnum")(&colour);

    const std::vector<std::string> order = {
        "interface Readable", "class Widget",  "class extension Widget", "control Dial",
        "module Tools",       "method Beep()", "structure Point",        "enum Colour",
    };
    EXPECT_EQ(host_->RegistrationOrder(), order);
    EXPECT_EQ(host_->Classes(), std::vector<ZYNEclassDefinition*>{&widget});
    EXPECT_EQ(host_->ClassExtensions(), std::vector<ZYNEclassDefinition*>{&widgetMore});
    EXPECT_EQ(host_->Controls(), std::vector<ZYNEcontrol*>{&dial});
    EXPECT_EQ(host_->Interfaces(), std::vector<ZYNEinterfaceDefinition*>{&readable});
    EXPECT_EQ(host_->Modules(), std::vector<ZYNEmoduleDefinition*>{&tools});
    EXPECT_EQ(host_->Methods(), std::vector<ZYNEmethodDefinition*>{&beep});
    EXPECT_EQ(host_->Structures(), std::vector<ZYNEstructure*>{&point});
    EXPECT_EQ(host_->Enums(), std::vector<ZYNEenum*>{&colour});
    EXPECT_EQ(dial.dataOffset, kHeader) << "controls have no superclass data";
    EXPECT_EQ(host_->Count("PluginRegisterClass(\"Widget\")"), 1u);
    EXPECT_EQ(host_->Count("PluginRegisterMethod(\"Beep()\")"), 1u);

    faultsExpected_ = true;
    RegisterClass(nullptr);
    EXPECT_EQ(host_->Classes().size(), 1u);
    EXPECT_EQ(host_->Faults().size(), 1u);
}

TEST_F(ReferenceHostTest, DataOffsetsFollowTheSuperclassChain) {
    ZYNEclassDefinition base = ClassRecord("Base", nullptr, 8);
    ZYNEclassDefinition middle = ClassRecord("Middle", "Base", 12);
    ZYNEclassDefinition leaf = ClassRecord("Leaf", "middle", 4);
    ZYNEclassDefinition orphan = ClassRecord("Orphan", "NoSuchHostClass", 16);
    ZYNEclassDefinition empty = ClassRecord("Empty");
    // Registered before its superclass: the superclass is not known yet and adds nothing.
    ZYNEclassDefinition early = ClassRecord("Early", "Late", 4);
    ZYNEclassDefinition late = ClassRecord("Late", nullptr, 100);

    struct Case {
        ZYNEclassDefinition* record;
        long offset;
        const char* superclass;
    };
    const Case cases[] = {
        {&base, kHeader, nullptr},       {&middle, kHeader + 8, "Base"},
        {&leaf, kHeader + 20, "Middle"}, {&orphan, kHeader, nullptr},
        {&empty, kHeader, nullptr},      {&early, kHeader, nullptr},
        {&late, kHeader, nullptr},
    };
    for (const Case& c : cases) RegisterClass(c.record);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.record->name);
        EXPECT_EQ(c.record->dataOffset, c.offset);
        EXPECT_EQ(host_->InstanceSize(c.record->name), c.offset + c.record->dataSize);
        const ClassInfo* info = host_->FindClass(c.record->name);
        ASSERT_NE(info, nullptr);
        EXPECT_EQ(info->record, c.record);
        EXPECT_EQ(info->superclass, c.superclass ? host_->FindClass(c.superclass) : nullptr);
    }
    EXPECT_EQ(host_->InstanceSize("NoSuchClass"), -1);
    EXPECT_EQ(host_->FindClass("leaf"), host_->FindClass("Leaf")) << "names ignore case";
}

// --- Strings ------------------------------------------------------------------------------

TEST_F(ReferenceHostTest, BuiltStringsHaveTheHostLayoutOrAreRefused) {
    const std::string withNul("a\0b", 3);
    struct Case {
        std::string text;
        unsigned char lengthByte;
    };
    const Case cases[] = {{"", 0},
                          {"abc", 3},
                          {withNul, 3},
                          {std::string(255, 'y'), 255},
                          {std::string(256, 'z'), 255},
                          {std::string(300, 'x'), 255}};
    auto build = Service<ZYNEstring (*)(const char*, int)>("ZYNEBuildString");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text.size());
        ZYNEstring s = build(c.text.data(), static_cast<int>(c.text.size()));
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->length, static_cast<long>(c.text.size()));
        EXPECT_EQ(s->storage[0], c.lengthByte);
        EXPECT_EQ(std::memcmp(s->storage + 1, c.text.data(), c.text.size()), 0);
        EXPECT_EQ(s->storage[1 + c.text.size()], 0) << "NUL after the bytes";
        EXPECT_EQ(s->hostWord1, ReferenceHost::kUnknownEncoding);
        EXPECT_EQ(ReferenceHost::Text(s), c.text);
        EXPECT_EQ(host_->RefCount(s), 1);
        EXPECT_EQ(host_->LiveStrings(), 1u);
        host_->Unlock(s);
        EXPECT_EQ(host_->LiveStrings(), 0u);
    }
    EXPECT_EQ(build(nullptr, 1), nullptr);
    EXPECT_EQ(build("abc", -1), nullptr);
    EXPECT_EQ(host_->LiveStrings(), 0u);
}

TEST_F(ReferenceHostTest, StringCountsAndAccessServices) {
    auto lock = Service<void (*)(ZYNEstring)>("ZYNELockString");
    auto unlock = Service<void (*)(ZYNEstring)>("ZYNEUnlockString");
    auto cString = Service<const char* (*)(ZYNEstring)>("StringGetCString");
    auto pString = Service<const unsigned char* (*)(ZYNEstring)>("StringGetPString");
    ZYNEstring s = host_->NewString("hello");

    EXPECT_EQ(cString(s), reinterpret_cast<const char*>(s->storage) + 1);
    EXPECT_STREQ(cString(s), "hello");
    EXPECT_EQ(pString(s), s->storage);
    EXPECT_EQ(cString(nullptr), nullptr);
    EXPECT_EQ(pString(nullptr), nullptr);

    lock(s);
    lock(s);
    EXPECT_EQ(host_->RefCount(s), 3);
    unlock(s);
    unlock(s);
    EXPECT_EQ(host_->RefCount(s), 1);
    EXPECT_EQ(host_->LiveStrings(), 1u);
    lock(nullptr);
    unlock(nullptr);
    unlock(s);
    EXPECT_EQ(host_->LiveStrings(), 0u);
    EXPECT_EQ(host_->RefCount(s), 0);
    EXPECT_TRUE(host_->Faults().empty());

    // Once too often: reported, not freed twice.
    faultsExpected_ = true;
    unlock(s);
    ASSERT_EQ(host_->Faults().size(), 1u);
    EXPECT_NE(host_->Faults()[0].find("ZYNEUnlockString"), std::string::npos);
}

TEST_F(ReferenceHostTest, StringEncodingIsATagThatIsKept) {
    auto get = Service<unsigned long (*)(ZYNEstring)>("ZYNEGetStringEncoding");
    ZYNEstring s = Service<ZYNEstring (*)(const char*, int, unsigned long)>(
        "ZYNEBuildStringWithEncoding")("\xc3\xa9", 2, 0x08000100);
    EXPECT_EQ(get(s), 0x08000100ul);
    Service<void (*)(ZYNEstring, unsigned long)>("ZYNESetStringEncoding")(s, 0x0600);
    EXPECT_EQ(get(s), 0x0600ul);
    EXPECT_EQ(ReferenceHost::Text(s), "\xc3\xa9") << "the bytes are not converted";
    EXPECT_EQ(get(nullptr), 0ul);
    host_->Unlock(s);
}

// --- Objects ------------------------------------------------------------------------------

ZYNEclassDefinition traceBase;
ZYNEclassDefinition traceLeaf;

// Each step records itself and whether the object's data was zero when it ran.
std::string Step(const char* what, ZYNEobject self, const ZYNEclassDefinition& record) {
    long word;
    std::memcpy(&word, reinterpret_cast<char*>(self) + record.dataOffset, sizeof word);
    return std::string(what) + (word == 0 ? "" : " (data not zero)");
}

void ConstructBase(ZYNEobject self) {
    trace.push_back(Step("construct base", self, traceBase));
}
void ConstructLeaf(ZYNEobject self) {
    trace.push_back(Step("construct leaf", self, traceLeaf));
}
void DestroyBase(ZYNEobject) {
    trace.push_back("destroy base");
}
void DestroyLeaf(ZYNEobject) {
    trace.push_back("destroy leaf");
}

class ReferenceHostObjectTest : public ReferenceHostTest {
protected:
    void SetUp() override {
        ReferenceHostTest::SetUp();
        traceBase = ClassRecord("TraceBase", nullptr, 8);
        traceLeaf = ClassRecord("TraceLeaf", "TraceBase", 8);
        traceBase.constructor = &ConstructBase;
        traceBase.destructor = &DestroyBase;
        traceLeaf.constructor = &ConstructLeaf;
        traceLeaf.destructor = &DestroyLeaf;
        RegisterClass(&traceBase);
        RegisterClass(&traceLeaf);
    }
};

TEST_F(ReferenceHostObjectTest, EveryWayOfCreatingConstructsBaseFirstAndUnknownClassesMakeNothing) {
    auto byName = Service<ZYNEobject (*)(const char*)>("PluginNewInstance");
    auto objectType = Service<ZYNEclassRef (*)(const char*)>("pluginObjectType");
    auto byRef = Service<ZYNEobject (*)(ZYNEclassRef)>("CreateInstance");
    ZYNEclassRef leafRef = objectType("TraceLeaf");
    ASSERT_NE(leafRef, nullptr);

    const std::vector<ZYNEobject> made = {byName("TraceLeaf"), byRef(leafRef),
                                          host_->NewInstance("traceleaf")};
    for (ZYNEobject object : made) {
        ASSERT_NE(object, nullptr);
        // Header: word 0 the class ref, word 1 the count.
        EXPECT_EQ(reinterpret_cast<void**>(object)[0], leafRef);
        EXPECT_EQ(reinterpret_cast<long*>(object)[1], 1);
        EXPECT_EQ(host_->ClassOf(object), &traceLeaf);
    }
    EXPECT_EQ(trace,
              (std::vector<std::string>{"construct base", "construct leaf", "construct base",
                                        "construct leaf", "construct base", "construct leaf"}));
    EXPECT_EQ(host_->LiveObjects(), 3u);
    EXPECT_EQ(host_->InstanceSize("TraceLeaf"), kHeader + 16);
    for (ZYNEobject object : made) host_->Unlock(object);
    EXPECT_EQ(host_->LiveObjects(), 0u);

    trace.clear();
    EXPECT_EQ(byName("Nothing"), nullptr);
    EXPECT_EQ(byName(nullptr), nullptr);
    EXPECT_EQ(objectType("Nothing"), nullptr);
    EXPECT_EQ(byRef(nullptr), nullptr);
    EXPECT_TRUE(trace.empty());
    faultsExpected_ = true;
    int notAClass = 0;
    EXPECT_EQ(byRef(reinterpret_cast<ZYNEclassRef>(&notAClass)), nullptr);
    EXPECT_EQ(host_->Faults().size(), 1u);
    EXPECT_EQ(host_->LiveObjects(), 0u);
}

TEST_F(ReferenceHostObjectTest, DestructorsRunDerivedFirstExactlyOnceAtTheLastUnlock) {
    auto lock = Service<void (*)(ZYNEobject)>("ZYNELockObject");
    auto unlock = Service<void (*)(ZYNEobject)>("ZYNEUnlockObject");
    ZYNEobject object = host_->NewInstance("TraceLeaf");
    trace.clear();

    lock(object);
    EXPECT_EQ(host_->RefCount(object), 2);
    lock(nullptr);
    unlock(nullptr);
    unlock(object);
    EXPECT_EQ(host_->RefCount(object), 1);
    EXPECT_TRUE(trace.empty());
    unlock(object);
    EXPECT_EQ(trace, (std::vector<std::string>{"destroy leaf", "destroy base"}));
    EXPECT_EQ(host_->LiveObjects(), 0u);
    EXPECT_EQ(host_->RefCount(object), 0);
    EXPECT_EQ(host_->ClassOf(object), nullptr);

    faultsExpected_ = true;
    unlock(object);
    EXPECT_EQ(trace.size(), 2u) << "destroyed twice";
    EXPECT_EQ(host_->Faults().size(), 1u);
}

// --- Call, Get and Set on hand-made classes -----------------------------------------------

// Where each class's data starts in the objects of ReferenceHostCallTest.
long baseOffset = 0;
long leafOffset = 0;

long& Word(ZYNEobject self, long offset) {
    return *reinterpret_cast<long*>(reinterpret_cast<char*>(self) + offset);
}

long GetArea(ZYNEobject self, long param) {
    return Word(self, baseOffset) * param;
}
void SetArea(ZYNEobject self, long param, long value) {
    Word(self, baseOffset) = value / param;
}
long Grow(ZYNEobject self, long by) {
    return Word(self, baseOffset) += by;
}
long AddInteger(ZYNEobject, long x) {
    return x + 1;
}
double AddDouble(ZYNEobject, double x) {
    return x + 0.5;
}
long Make(long seed) {
    return seed * 3;
}
long DepthTwice(ZYNEobject self) {
    return 2 * Word(self, leafOffset);
}
long DepthHalf(ZYNEobject self) {
    return Word(self, leafOffset) / 2;
}
long Difference(long a, long b) {
    return a - b;
}

void* Fn(auto function) {
    return reinterpret_cast<void*>(function);
}

ZYNEproperty baseProperties[] = {
    Property("Width", ZYNE_DIRECT_FIELD, ZYNE_DIRECT_FIELD, 0),
    Property("Area", Fn(&GetArea), Fn(&SetArea), 10),
    Property("ReadOnly", ZYNE_DIRECT_FIELD, nullptr, 0),
    Property("Beyond", ZYNE_DIRECT_FIELD, ZYNE_DIRECT_FIELD, 4),  // past the base's one word
};
ZYNEmethodDefinition baseMethods[] = {
    {Fn(&Grow), nullptr, "Grow( by as Integer ) as Integer", 0},
    {Fn(&AddInteger), nullptr, "Add(x as Integer) as Integer", 0},
    {Fn(&AddDouble), nullptr, "Add(x as Double) as Double", 0},
    {nullptr, nullptr, "Hollow()", 0},
};
ZYNEmethodDefinition baseShared[] = {{Fn(&Make), nullptr, "Make(seed as Integer) as Integer", 0}};
ZYNEproperty leafProperties[] = {Property("Depth", ZYNE_DIRECT_FIELD, ZYNE_DIRECT_FIELD, 0)};
// Three entries, so that reading one form as the other misplaces the second.
ZYNEmethodDefinitionV6 leafMethodsV6[] = {
    {Fn(&DepthTwice), nullptr, "DepthTwice() as Integer"},
    {Fn(&DepthHalf), nullptr, "DepthHalf() as Integer"},
    {nullptr, nullptr, "Spare()"},
};
ZYNEmethodDefinition leafMethods[] = {
    {Fn(&DepthTwice), nullptr, "DepthTwice() as Integer", 0},
    {Fn(&DepthHalf), nullptr, "DepthHalf() as Integer", 0},
    {nullptr, nullptr, "Spare()", 0},
};
ZYNEmethodDefinition extensionMethods[] = {
    {Fn(&Grow), nullptr, "GrowMore(by as Integer) as Integer", 0}};
ZYNEmethodDefinition globalMethod = {Fn(&Difference), nullptr,
                                     "Difference(a as Integer, b as Integer) as Integer", 0};

class ReferenceHostCallTest : public ReferenceHostTest {
protected:
    // Registers TraceBase and TraceLeaf (one word of data each) and makes a TraceLeaf;
    // the leaf's methods are in the three-word form when `threeWord` is set.
    void Register(bool threeWord, long leafVersion = 9) {
        base_ = ClassRecord("TraceBase", nullptr, sizeof(long));
        base_.properties = baseProperties;
        base_.propertyCount = std::size(baseProperties);
        base_.methods = baseMethods;
        base_.methodCount = std::size(baseMethods);
        base_.sharedMethods = baseShared;
        base_.sharedMethodCount = std::size(baseShared);
        leaf_ = ClassRecord("TraceLeaf", "TraceBase", sizeof(long));
        leaf_.version = leafVersion;
        leaf_.properties = leafProperties;
        leaf_.propertyCount = std::size(leafProperties);
        leaf_.methods =
            threeWord ? reinterpret_cast<ZYNEmethodDefinition*>(leafMethodsV6) : leafMethods;
        leaf_.methodCount = 3;
        RegisterClass(&base_);
        RegisterClass(&leaf_);
        extension_ = ClassRecord("TraceBase");
        extension_.methods = extensionMethods;
        extension_.methodCount = std::size(extensionMethods);
        Service<void (*)(ZYNEclassDefinition*)>("PluginRegisterClassExtension")(&extension_);
        baseOffset = base_.dataOffset;
        leafOffset = leaf_.dataOffset;
        Service<void (*)(ZYNEmethodDefinition*)>("PluginRegisterMethod")(&globalMethod);
        object_ = host_->NewInstance("TraceLeaf");
        ASSERT_NE(object_, nullptr);
    }

    void TearDown() override {
        host_->Unlock(object_);
        ReferenceHostTest::TearDown();
    }

    ZYNEclassDefinition base_{};
    ZYNEclassDefinition leaf_{};
    ZYNEclassDefinition extension_{};
    ZYNEobject object_ = nullptr;
};

TEST_F(ReferenceHostCallTest, MethodsAreFoundUpTheChainByNameOrBySignature) {
    Register(false);
    host_->Set<long>(object_, "Width", 5);
    EXPECT_EQ((host_->Call<long, long>(object_, "grow", 2)), 7) << "inherited, any case";
    EXPECT_EQ((host_->Call<long, long>(object_, "Add", 1)), 2) << "the first overload";
    EXPECT_EQ((host_->Call<double, double>(object_, "add( X as double )", 1.0)), 1.5);
    EXPECT_EQ((host_->Call<long, long>(object_, "GrowMore", 1)), 8) << "from an extension";
    EXPECT_EQ((host_->Call<long, long>(object_, "Make", 4)), 12) << "shared: no self";
    EXPECT_EQ((host_->CallShared<long, long>("TraceLeaf", "Make", 5)), 15);
    EXPECT_EQ((host_->CallGlobal<long, long, long>("difference", 9, 4)), 5);
    host_->Set<long>(object_, "Depth", 21);
    EXPECT_EQ(host_->Call<long>(object_, "DepthTwice"), 42);
}

TEST_F(ReferenceHostCallTest, MissingMethodsThrowNamingThem) {
    Register(false);
    struct Case {
        std::function<void()> call;
        const char* name;
    };
    const Case cases[] = {
        {[&] { host_->Call<void>(object_, "Shrink"); }, "Shrink"},
        {[&] { host_->Call<void>(object_, "Hollow"); }, "Hollow"},  // declared, no routine
        {[&] { host_->Call<void>(object_, "Add(x as String)"); }, "Add(x as String)"},
        {[&] { host_->Call<void>(nullptr, "Grow"); }, "Grow"},
        {[&] { host_->CallShared<void>("TraceBase", "Grow"); }, "Grow"},  // not shared
        {[&] { host_->CallShared<void>("Nowhere", "Make"); }, "Nowhere"},
        {[&] { host_->CallGlobal<void>("Sum"); }, "Sum"},
        {[&] { host_->Get<long>(object_, "Height"); }, "Height"},
        {[&] { host_->Set<long>(object_, "ReadOnly", 1); }, "ReadOnly"},
        {[&] { host_->Get<long>(object_, "Beyond"); }, "Beyond"},  // field past the data
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        try {
            c.call();
            ADD_FAILURE() << "no exception";
        } catch (const std::runtime_error& e) {
            EXPECT_NE(std::string(e.what()).find(c.name), std::string::npos) << e.what();
        }
    }
}

TEST_F(ReferenceHostCallTest, PropertiesReadDirectFieldsOfTheDeclaringClassOrCallRoutines) {
    Register(false);
    host_->Set<long>(object_, "width", 6);
    host_->Set<long>(object_, "Depth", -3);
    EXPECT_EQ(Word(object_, base_.dataOffset), 6);
    EXPECT_EQ(Word(object_, leaf_.dataOffset), -3);
    EXPECT_EQ(host_->Get<long>(object_, "WIDTH"), 6);
    EXPECT_EQ(host_->Get<long>(object_, "ReadOnly"), 6);
    EXPECT_EQ(host_->Get<long>(object_, "Depth"), -3);

    // Routines get the property's param: Area = Width * 10.
    EXPECT_EQ(host_->Get<long>(object_, "Area"), 60);
    host_->Set<long>(object_, "Area", 90);
    EXPECT_EQ(host_->Get<long>(object_, "Width"), 9);
}

TEST_F(ReferenceHostCallTest, ThreeWordMethodListsAreReadForOldHostsAndOldRecords) {
    struct Case {
        std::optional<double> hostVersion;
        bool threeWord;
        long leafVersion;
    };
    const Case cases[] = {
        {5.8, true, 9}, {std::nullopt, true, 9}, {5.9, false, 9}, {2023.0, true, 6}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.hostVersion.value_or(0.0));
        Start({.version = c.hostVersion});
        Register(c.threeWord, c.leafVersion);
        host_->Set<long>(object_, "Depth", 4);
        EXPECT_EQ(host_->Call<long>(object_, "DepthTwice"), 8);
        EXPECT_EQ(host_->Call<long>(object_, "DepthHalf"), 2);
        host_->Unlock(object_);
        object_ = nullptr;
    }
    Start();
}

}  // namespace
