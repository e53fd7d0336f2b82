// ForwarderTest.cpp - the host interface glue, exercised through the bridge's
// exported entry points with the bridge loaded by the reference host.
#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "ForwarderProbe.h"
#include "ReferenceHost.h"
#include "hostapi/RecordReaders.h"

using zyne::host::HostOptions;
using zyne::host::ReferenceHost;

namespace {

// What the fake services below were handed; reset before every test.
struct Seen {
    int calls = 0;
    long wordArgument = 0;
    unsigned long unsignedArgument = 0;
    const char* firstText = nullptr;
    const char* secondText = nullptr;
    bool elementRoutineCalled = false;
    ZYNEclassDefinition byValue{};
    unsigned char answer = 1;
};
Seen seen;

const char* const kServicesUsedAtLoad[] = {
    "PluginRegisterClass",     "PluginRegisterClassExtension", "PluginRegisterControl",
    "PluginRegisterInterface", "PluginRegisterModule",         "PluginRegisterMethod",
    "PluginRegisterStructure", "PluginRegisterEnum",           "ZYNEGetZQVersion",
};

class ForwarderTest : public ::testing::Test {
protected:
    void Start(std::optional<double> version = 2023.0) {
        TearDown();  // one host per process: the previous one goes first
        seen = Seen{};
        HostOptions options;
        options.version = version;
        host_ = std::make_unique<ReferenceHost>(options);
        // The bridge registers its own classes while it loads, which binds the
        // registration and version forwarders. These tests watch binding happen, so
        // the host offers those services only once the bridge is loaded: every slot
        // starts empty.
        std::vector<std::pair<std::string, void*>> heldBack;
        for (const char* name : kServicesUsedAtLoad) {
            if (!host_->Offers(name)) continue;
            heldBack.emplace_back(name, host_->Lookup(name));
            host_->Withdraw(name);
        }
        ASSERT_TRUE(host_->Load()) << host_->Error();
        for (auto& [name, function] : heldBack) host_->Provide(name, function);
        probeLibrary_ = dlopen(ZYNE_FORWARDER_PROBE_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(probeLibrary_, nullptr) << dlerror();
        auto probe = reinterpret_cast<const ForwarderProbe* (*)()>(
            dlsym(probeLibrary_, "ZyneForwarderProbe"));
        ASSERT_NE(probe, nullptr);
        probe_ = probe();
        host_->ClearLog();
    }

    void SetUp() override { Start(); }

    void TearDown() override {
        if (probeLibrary_ != nullptr) dlclose(probeLibrary_);
        probeLibrary_ = nullptr;
        host_.reset();
    }

    const ForwarderRow& Row(std::string_view entry, std::string_view hostName,
                            std::string_view valueType = "") const {
        for (long i = 0; i < probe_->rowCount; ++i) {
            const ForwarderRow& row = probe_->rows[i];
            if (entry == row.entry && hostName == row.hostName && valueType == row.valueType)
                return row;
        }
        ADD_FAILURE() << "no entry point " << entry << " asking for \"" << hostName << "\" "
                      << valueType;
        static const ForwarderRow none{};
        return none;
    }

    template <typename F>
    F Entry(std::string_view entry, std::string_view hostName, std::string_view type = "") const {
        return reinterpret_cast<F>(Row(entry, hostName, type).address);
    }

    size_t Lookups(const std::string& hostName) const {
        return host_->Count("resolve " + hostName + " -> missing") +
               host_->Count("resolve " + hostName + " -> found");
    }

    std::unique_ptr<ReferenceHost> host_;
    void* probeLibrary_ = nullptr;
    const ForwarderProbe* probe_ = nullptr;
};

// --- Every entry point asks for its own name, once per call while missing ----------

TEST_F(ForwarderTest, EveryEntryPointAsksForItsHostNameAndRetriesWhileMissing) {
    ASSERT_GT(probe_->rowCount, 200);
    for (long i = 0; i < probe_->rowCount; ++i) {
        const ForwarderRow& row = probe_->rows[i];
        host_->Withdraw(row.hostName);
        host_->ClearLog();
        row.callWithNothing();
        row.callWithNothing();
        SCOPED_TRACE(std::string(row.entry) + " " + row.valueType);
        // A failed lookup is not remembered: the second call asks again.
        EXPECT_EQ(host_->Count(std::string("resolve ") + row.hostName + " -> missing"), 2u);
    }
}

TEST_F(ForwarderTest, OverloadsSharingAHostNameKeepSeparateSlots) {
    static auto noElementRoutine = +[](void*) -> void* { return nullptr; };
    for (const char* service : {"RuntimeArrayDirectGetInsertProc", "RuntimeArrayDirectGetGetProc",
                                "RuntimeArrayDirectGetSetProc"}) {
        host_->Provide(service, reinterpret_cast<void*>(noElementRoutine));
    }
    host_->ClearLog();
    for (int round = 0; round < 2; ++round) {
        for (long i = 0; i < probe_->rowCount; ++i) {
            if (probe_->rows[i].twoStage) probe_->rows[i].callWithNothing();
        }
    }
    // Twelve value types each: twelve slots, each bound once and then kept.
    EXPECT_EQ(Lookups("RuntimeArrayDirectGetInsertProc"), 12u);
    EXPECT_EQ(Lookups("RuntimeArrayDirectGetGetProc"), 12u);
    EXPECT_EQ(Lookups("RuntimeArrayDirectGetSetProc"), 12u);
}

// --- Binding ---------------------------------------------------------------------------

unsigned char FakeGetInt(ZYNEobject, const char* name, long* value) {
    ++seen.calls;
    seen.firstText = name;
    *value = 42;
    return seen.answer;
}

TEST_F(ForwarderTest, ServiceAddedAfterAFailedLookupIsFoundAndThenKept) {
    host_->Withdraw("ZYNEGetPropValueInt");  // the host's own answer would bind at once
    auto get = Entry<int (*)(ZYNEobject, const char*, long*)>("ZYNEGetPropValue",
                                                              "ZYNEGetPropValueInt", "long");
    long value = -1;
    EXPECT_EQ(get(nullptr, "Width", &value), 0);
    EXPECT_EQ(value, -1);
    EXPECT_EQ(seen.calls, 0);

    host_->Provide("ZYNEGetPropValueInt", reinterpret_cast<void*>(&FakeGetInt));
    EXPECT_EQ(get(nullptr, "Width", &value), 1);
    EXPECT_EQ(value, 42);
    EXPECT_STREQ(seen.firstText, "Width");

    // Bound now: withdrawing the service changes nothing, no further lookup.
    host_->Withdraw("ZYNEGetPropValueInt");
    host_->ClearLog();
    EXPECT_EQ(get(nullptr, "Width", &value), 1);
    EXPECT_EQ(seen.calls, 2);
    EXPECT_EQ(Lookups("ZYNEGetPropValueInt"), 0u);
}

TEST_F(ForwarderTest, MissingServicesGiveTheirFailureValues) {
    auto background = Entry<long (*)(ZYNEBackgroundTaskProc, long, void*)>(
        "ZYNERegisterBackgroundTask", "PluginRegisterBackgroundTask");
    EXPECT_EQ(background(nullptr, 10, nullptr), -1);

    host_->Withdraw("ZYNEGetZQVersion");
    auto version = Entry<double (*)()>("ZYNEGetZQVersion", "ZYNEGetZQVersion");
    EXPECT_EQ(version(), 0.0);

    auto build = Entry<ZYNEstring (*)(const char*, int)>("ZYNEBuildString", "ZYNEBuildString");
    host_->Withdraw("ZYNEBuildString");
    EXPECT_EQ(build("abc", 3), nullptr);
}

// --- Property families: names, widening -------------------------------------------------

unsigned char FakeSetWord(ZYNEobject, const char*, long value) {
    ++seen.calls;
    seen.wordArgument = value;
    return 0x80;  // any non-zero byte means true
}

unsigned char FakeSetUnsigned(ZYNEobject, const char*, unsigned long value) {
    ++seen.calls;
    seen.unsignedArgument = value;
    return 1;
}

TEST_F(ForwarderTest, NarrowSetterValuesAreWidenedBySignedness) {
    host_->Provide("ZYNESetPropValueInt16", reinterpret_cast<void*>(&FakeSetWord));
    host_->Provide("ZYNESetPropValueInt8", reinterpret_cast<void*>(&FakeSetWord));
    host_->Provide("ZYNESetPropValueUInt16", reinterpret_cast<void*>(&FakeSetUnsigned));
    host_->Provide("ZYNESetPropValueBoolean", reinterpret_cast<void*>(&FakeSetUnsigned));

    auto setShort = Entry<int (*)(ZYNEobject, const char*, short)>(
        "ZYNESetPropValue", "ZYNESetPropValueInt16", "short");
    EXPECT_EQ(setShort(nullptr, "p", static_cast<short>(-2)), 0x80);
    EXPECT_EQ(seen.wordArgument, -2);

    auto setChar = Entry<int (*)(ZYNEobject, const char*, char)>("ZYNESetPropValue",
                                                                 "ZYNESetPropValueInt8", "char");
    setChar(nullptr, "p", static_cast<char>(-1));
    EXPECT_EQ(seen.wordArgument, -1);

    auto setUShort = Entry<int (*)(ZYNEobject, const char*, unsigned short)>(
        "ZYNESetPropValue", "ZYNESetPropValueUInt16", "unsigned short");
    setUShort(nullptr, "p", static_cast<unsigned short>(0xFFFF));
    EXPECT_EQ(seen.unsignedArgument, 0xFFFFul);

    auto setBool = Entry<int (*)(ZYNEobject, const char*, unsigned char)>(
        "ZYNESetPropValue", "ZYNESetPropValueBoolean", "unsigned char");
    EXPECT_EQ(setBool(nullptr, "p", static_cast<unsigned char>(0xFF)), 1);
    EXPECT_EQ(seen.unsignedArgument, 0xFFul);
    EXPECT_EQ(seen.calls, 4);
}

// --- Arrays: two stages -------------------------------------------------------------------

long FakeElementGet(void*, long index) {
    seen.elementRoutineCalled = true;
    return index * 10;
}
void* FakeGetProc(void*) {
    ++seen.calls;
    return reinterpret_cast<void*>(&FakeElementGet);
}
void FakeElementPut(void*, long index, long value) {
    seen.elementRoutineCalled = true;
    seen.wordArgument = index * 1000 + value;
}
void* FakePutProc(void* array) {
    ++seen.calls;
    return array != nullptr ? reinterpret_cast<void*>(&FakeElementPut) : nullptr;
}

TEST_F(ForwarderTest, ArrayElementRoutinesAreAskedForEachCallAndCalledOnlyWhenUsable) {
    host_->Provide("RuntimeArrayDirectGetGetProc", reinterpret_cast<void*>(&FakeGetProc));
    host_->Provide("RuntimeArrayDirectGetInsertProc", reinterpret_cast<void*>(&FakePutProc));
    auto get = Entry<void (*)(void*, long, long*)>("ZYNEGetArrayValue",
                                                   "RuntimeArrayDirectGetGetProc", "long");
    auto insert = Entry<void (*)(void*, long, long)>("ZYNEInsertArrayValue",
                                                     "RuntimeArrayDirectGetInsertProc", "long");
    int array = 0;
    get(&array, 3, nullptr);  // nowhere to put the value: the routine is not called
    insert(nullptr, 1, 2);    // the service answers no routine for a null array
    EXPECT_EQ(seen.calls, 2);
    EXPECT_FALSE(seen.elementRoutineCalled);
    long value = 0;
    get(&array, 3, &value);
    EXPECT_EQ(value, 30);
    insert(&array, 4, 7);
    EXPECT_EQ(seen.wordArgument, 4007);
    EXPECT_EQ(seen.calls, 4);
}

// --- Arguments the forwarder rewrites ----------------------------------------------------

void* FakeLoadGlobalMethod(const char* module, const char* method) {
    ++seen.calls;
    seen.firstText = module;
    seen.secondText = method;
    return reinterpret_cast<void*>(&FakeLoadGlobalMethod);
}

TEST_F(ForwarderTest, LoadGlobalMethodDropsTheModuleName) {
    host_->Provide("ZYNELoadGlobalMethod", reinterpret_cast<void*>(&FakeLoadGlobalMethod));
    void* found = probe_->loadGlobalMethod("SomeModule", "DoIt");
    EXPECT_EQ(found, reinterpret_cast<void*>(&FakeLoadGlobalMethod));
    EXPECT_EQ(seen.firstText, nullptr);
    EXPECT_STREQ(seen.secondText, "DoIt");
}

void* FakeGetEventInstance(ZYNEobject, long slot) {
    seen.wordArgument = slot;
    return nullptr;
}

TEST_F(ForwarderTest, EventInstanceIsAskedForWithTheHostSlot) {
    host_->Provide("GetEventInstance", reinterpret_cast<void*>(&FakeGetEventInstance));
    auto getEvent =
        Entry<void* (*)(ZYNEobject, ZYNEevent*)>("ZYNEGetEventInstance", "GetEventInstance");
    ZYNEevent event{"Action()", 17};
    getEvent(nullptr, &event);
    EXPECT_EQ(seen.wordArgument, 17);
}

void FakeConsoleSafeByValue(ZYNEclassDefinition definition) {
    ++seen.calls;
    seen.byValue = definition;
}

TEST_F(ForwarderTest, ConsoleSafe) {
    ZYNEclassDefinition definition{};
    definition.flags = 1;
    probe_->setClassConsoleSafe(&definition);
    EXPECT_EQ(definition.flags, 5ul);

    // The by-value form asks for the empty name and passes a copy of the record.
    host_->Provide("", reinterpret_cast<void*>(&FakeConsoleSafeByValue));
    auto byValue = Entry<void (*)(ZYNEclassDefinition)>("SetClassConsoleSafe", "");
    definition.name = "Thing";
    definition.sharedMethodCount = 3;
    byValue(definition);
    EXPECT_EQ(seen.calls, 1);
    EXPECT_STREQ(seen.byValue.name, "Thing");
    EXPECT_EQ(seen.byValue.sharedMethodCount, 3);
}

// --- Version adaptation ------------------------------------------------------------------

ZYNEmethodDefinition kMethods[] = {
    {reinterpret_cast<void*>(1), reinterpret_cast<void*>(2), "A() as Integer", 7},
    {reinterpret_cast<void*>(3), nullptr, "B( x as Integer )", 8},
};

class VersionAdaptationTest : public ForwarderTest,
                              public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {}

    // Registers a record of the parameter's kind with `methods` and returns what its
    // method-list field holds afterwards.
    ZYNEmethodDefinition* RegisterWith(ZYNEmethodDefinition* methods, long count) {
        std::string service = GetParam();
        auto call = [&](auto* record, const char* entry) {
            record->version = 9;
            record->name = "Thing";
            record->methods = methods;
            record->methodCount = count;
            using Record = std::remove_pointer_t<decltype(record)>;
            Entry<void (*)(Record*)>(entry, service)(record);
            return record->methods;
        };
        if (service == "PluginRegisterClass") return call(&classRecord_, "ZYNERegisterClass");
        if (service == "PluginRegisterClassExtension")
            return call(&classRecord_, "ZYNERegisterClassExtension");
        if (service == "PluginRegisterControl") return call(&control_, "ZYNERegisterControl");
        if (service == "PluginRegisterInterface") return call(&interface_, "ZYNERegisterInterface");
        return call(&module_, "ZYNERegisterModule");
    }

    ZYNEclassDefinition classRecord_{};
    ZYNEcontrol control_{};
    ZYNEinterfaceDefinition interface_{};
    ZYNEmoduleDefinition module_{};
};

TEST_P(VersionAdaptationTest, OnlyHostsBelowFivePointNineGetAThreeWordCopy) {
    const struct {
        std::optional<double> version;
        long count;
        bool withdrawn;  // the registration service itself is missing
        bool copied;
    } rows[] = {{5.9, 2, false, false},
                {5.8, 2, false, true},
                {std::nullopt, 2, false, true},
                {5.8, 0, false, true},  // an empty list is replaced all the same
                {5.0, 2, true, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.version.value_or(0.0) * 10 + row.count * 100 + row.withdrawn * 1000);
        Start(row.version);
        if (row.withdrawn) host_->Withdraw(GetParam());
        ZYNEmethodDefinition* after = RegisterWith(kMethods, row.count);
        EXPECT_EQ(after != kMethods, row.copied);
        if (!row.copied || row.count == 0 || row.withdrawn) continue;
        auto* converted = reinterpret_cast<ZYNEmethodDefinitionV6*>(after);
        EXPECT_EQ(converted[0].function, kMethods[0].function);
        EXPECT_EQ(converted[0].setter, kMethods[0].setter);
        EXPECT_STREQ(converted[0].declaration, "A() as Integer");
        EXPECT_EQ(converted[1].function, kMethods[1].function);
        EXPECT_STREQ(converted[1].declaration, "B( x as Integer )");
        // The service was bound before the version was asked.
        const auto& log = host_->Log();
        auto at = [&](const std::string& line) {
            return std::find(log.begin(), log.end(), line) - log.begin();
        };
        EXPECT_LT(at("resolve " + std::string(GetParam()) + " -> found"),
                  at(row.version ? "resolve ZYNEGetZQVersion -> found"
                                 : "resolve ZYNEGetZQVersion -> missing"));
    }
}

INSTANTIATE_TEST_SUITE_P(EveryAdaptedRegistration, VersionAdaptationTest,
                         ::testing::Values("PluginRegisterClass", "PluginRegisterClassExtension",
                                           "PluginRegisterControl", "PluginRegisterInterface",
                                           "PluginRegisterModule"));

TEST_F(ForwarderTest, RegistrationsWithoutMethodListsAreNeverAdapted) {
    Start(5.0);
    auto registerMethod =
        Entry<void (*)(ZYNEmethodDefinition*)>("ZYNERegisterMethod", "PluginRegisterMethod");
    ZYNEmethodDefinition method = kMethods[0];
    registerMethod(&method);
    EXPECT_FALSE(host_->Resolved("ZYNEGetZQVersion"));
}

// --- Local helpers ------------------------------------------------------------------------

TEST_F(ForwarderTest, StringHelpersReadTheHostLayoutAndAcceptNull) {
    unsigned long length = 99;
    EXPECT_EQ(probe_->getStringContents(nullptr, &length), nullptr);
    EXPECT_EQ(length, 99ul);
    EXPECT_EQ(probe_->stringLength(nullptr), 0);
    EXPECT_STREQ(probe_->stringCString(nullptr), "");
    EXPECT_EQ(probe_->stringPString(nullptr)[0], 0);
    ZYNEstringStruct noStorage{};
    EXPECT_STREQ(probe_->getStringContents(&noStorage, &length), "");
    EXPECT_EQ(length, 0ul);

    ZYNEstring text = host_->NewString("hello");
    EXPECT_STREQ(probe_->getStringContents(text, &length), "hello");
    EXPECT_EQ(length, 5ul);
    EXPECT_EQ(probe_->getStringContents(text, nullptr), probe_->stringCString(text));
    EXPECT_EQ(probe_->stringLength(text), 5);
    EXPECT_EQ(probe_->stringPString(text)[0], 5);
    host_->Unlock(text);
}

TEST_F(ForwarderTest, InstanceDataIsTheObjectPlusTheRecordsOffsetOrNull) {
    alignas(8) char object[64] = {};
    ZYNEclassDefinition definition{};
    definition.dataOffset = 24;
    ZYNEcontrol control{};
    control.dataOffset = 28;
    auto* self = reinterpret_cast<ZYNEobject>(object);
    EXPECT_EQ(probe_->getClassData(self, &definition), object + 24);
    EXPECT_EQ(probe_->getControlData(self, &control), object + 28);
    EXPECT_EQ(probe_->getClassData(self, nullptr), nullptr);
    EXPECT_EQ(probe_->getClassData(nullptr, &definition), nullptr);
    EXPECT_EQ(probe_->getControlData(nullptr, nullptr), nullptr);
    probe_->setClassConsoleSafe(nullptr);
    // A count with no list converts to a fresh, zeroed block rather than reading null.
    auto* converted = probe_->convertCurrentMethodsToV6(nullptr, 3);
    ASSERT_NE(converted, nullptr);
    EXPECT_EQ(converted[2].declaration, nullptr);
    std::free(converted);
}

TEST_F(ForwarderTest, ResolverIsKeptAndForwardedUncached) {
    ASSERT_NE(*probe_->resolver, nullptr);
    host_->ClearLog();
    probe_->hcallResolver("AnyName");
    probe_->hcallResolver("AnyName");
    EXPECT_EQ(host_->Count("resolve AnyName -> missing"), 2u);
}

// --- The reviewed list of host names ----------------------------------------------------

// Every entry point with the host name it asks for, compared with a list kept beside
// this test: renaming a host service by accident changes the interface and fails here.
TEST_F(ForwarderTest, HostNamesMatchTheReviewedList) {
    std::vector<std::string> actual;
    for (long i = 0; i < probe_->rowCount; ++i) {
        const ForwarderRow& row = probe_->rows[i];
        actual.push_back(std::string(row.entry) + (*row.valueType ? "<" : "") + row.valueType +
                         (*row.valueType ? ">" : "") + " \"" + row.hostName + "\"");
    }
    std::vector<std::string> expected;
    std::ifstream list(ZYNE_HOST_NAMES_PATH);
    for (std::string line; std::getline(list, line);) {
        if (!line.empty() && line[0] != '#') expected.push_back(line);
    }
    std::sort(actual.begin(), actual.end());
    std::sort(expected.begin(), expected.end());
    std::vector<std::string> missing, unexpected;
    std::set_difference(expected.begin(), expected.end(), actual.begin(), actual.end(),
                        std::back_inserter(missing));
    std::set_difference(actual.begin(), actual.end(), expected.begin(), expected.end(),
                        std::back_inserter(unexpected));
    for (const std::string& line : missing) ADD_FAILURE() << "missing: " << line;
    for (const std::string& line : unexpected) ADD_FAILURE() << "unexpected: " << line;
    EXPECT_EQ(actual.size(), expected.size());
}

// --- Order and widening that only a fake service can see ----------------------------------

ZYNEmethodDefinition* gMethodsAtCall = nullptr;
void FakeRegisterClass(ZYNEclassDefinition* record) {
    gMethodsAtCall = record->methods;
}

TEST_F(ForwarderTest, OldHostReceivesTheConvertedListAtTheCall) {
    Start(5.8);
    host_->Provide("PluginRegisterClass", reinterpret_cast<void*>(&FakeRegisterClass));
    ZYNEclassDefinition record{};
    record.methods = kMethods;
    record.methodCount = 2;
    Entry<void (*)(ZYNEclassDefinition*)>("ZYNERegisterClass", "PluginRegisterClass")(&record);
    EXPECT_NE(gMethodsAtCall, kMethods);
    EXPECT_EQ(gMethodsAtCall, record.methods);
}

// Typed as returning a full word: what the host leaves above its 8-bit boolean must
// not reach the caller.
unsigned int FakeWideBoolean(ZYNEobject, const char*, long*) {
    return 0x101;
}
unsigned int FakeWideInRuntime() {
    return 0x100;
}

TEST_F(ForwarderTest, BooleanResultsAreWidenedFromEightBits) {
    host_->Provide("ZYNEGetPropValueInt", reinterpret_cast<void*>(&FakeWideBoolean));
    host_->Provide("ZYNEinRuntime", reinterpret_cast<void*>(&FakeWideInRuntime));
    long value = 0;
    EXPECT_EQ(Entry<int (*)(ZYNEobject, const char*, long*)>(
                  "ZYNEGetPropValue", "ZYNEGetPropValueInt", "long")(nullptr, "p", &value),
              1);
    EXPECT_EQ(Entry<int (*)()>("ZYNEinRuntime", "ZYNEinRuntime")(), 0);
}

// The glue bound the version service, then the host withdrew it: registrations still
// see the version the glue keeps asking, and the host must read the list that way.
TEST_F(ForwarderTest, HostReadsMethodsInTheFormTheGlueSent) {
    Entry<double (*)()>("ZYNEGetZQVersion", "ZYNEGetZQVersion")();
    host_->Withdraw("ZYNEGetZQVersion");
    static ZYNEmethodDefinition methods[] = {
        {reinterpret_cast<void*>(+[](ZYNEobject) -> long { return 1; }), nullptr, "A() as Integer",
         0},
        {reinterpret_cast<void*>(+[](ZYNEobject) -> long { return 2; }), nullptr, "B() as Integer",
         0},
        {reinterpret_cast<void*>(+[](ZYNEobject) -> long { return 3; }), nullptr, "C() as Integer",
         0},
    };
    static ZYNEclassDefinition record{};
    record = ZYNEclassDefinition{};
    record.version = 9;
    record.name = "Triple";
    record.methods = methods;
    record.methodCount = 3;
    Entry<void (*)(ZYNEclassDefinition*)>("ZYNERegisterClass", "PluginRegisterClass")(&record);
    EXPECT_EQ(record.methods, methods);
    ZYNEobject object = host_->NewInstance("Triple");
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(host_->Call<long>(object, "B"), 2);
    EXPECT_EQ(host_->Call<long>(object, "C"), 3);
    host_->Unlock(object);
}

// --- Reading guests' method lists ----------------------------------------------------------

TEST(RecordReaders, MethodIndexesAreBoundedByTheCount) {
    ZYNEmethodDefinitionV6 earlier[] = {{nullptr, nullptr, "A()"}, {nullptr, nullptr, "B()"}};
    struct Case {
        long index;
        const char* declaration;  // null: refused
    };
    for (const Case& c : {Case{0, "A()"}, Case{1, "B()"}, Case{2, nullptr}, Case{-1, nullptr}}) {
        const ZYNEmethodDefinition* method = GetMethodInList(earlier, 2, c.index, true);
        if (c.declaration == nullptr) {
            EXPECT_EQ(method, nullptr) << c.index;
        } else {
            ASSERT_NE(method, nullptr) << c.index;
            EXPECT_STREQ(method->declaration, c.declaration);
        }
    }
    EXPECT_STREQ(GetMethodInList(kMethods, 2, 1, false)->declaration, "B( x as Integer )");
    EXPECT_EQ(GetMethodInList(nullptr, 2, 0, false), nullptr);
    EXPECT_TRUE(UsesEarlierMethodForm(6));
    EXPECT_FALSE(UsesEarlierMethodForm(7));
}

}  // namespace

// Before the host has called ZYNEPluginMain there is no resolver: entry points answer
// their failure values instead of crashing.
TEST(ForwarderBeforeEntryPoint, AnswersNothing) {
    void* bridge = dlopen(ZYNE_BRIDGE_PATH, RTLD_LAZY | RTLD_LOCAL);
    ASSERT_NE(bridge, nullptr) << dlerror();
    void* probeLibrary = dlopen(ZYNE_FORWARDER_PROBE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(probeLibrary, nullptr) << dlerror();
    auto probe =
        reinterpret_cast<const ForwarderProbe* (*)()>(dlsym(probeLibrary, "ZyneForwarderProbe"))();
    EXPECT_EQ(*probe->resolver, nullptr);
    for (long i = 0; i < probe->rowCount; ++i) {
        const ForwarderRow& row = probe->rows[i];
        if (std::string_view(row.entry) == "ZYNERegisterBackgroundTask") {
            EXPECT_EQ(reinterpret_cast<long (*)(ZYNEBackgroundTaskProc, long, void*)>(row.address)(
                          nullptr, 1, nullptr),
                      -1);
        } else if (std::string_view(row.hostName) == "ZYNEBuildString") {
            EXPECT_EQ(reinterpret_cast<ZYNEstring (*)(const char*, int)>(row.address)("a", 1),
                      nullptr);
        }
        row.callWithNothing();
    }
    dlclose(probeLibrary);
    dlclose(bridge);
}
