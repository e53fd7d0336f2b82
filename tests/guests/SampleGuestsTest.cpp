// SampleGuestsTest.cpp - the sample guest plug-ins as built: what they export, what their
// containers hold, that between them they exercise every record form and registration
// service the bridge captures, and that each behaves under a host (the reference host
// loading a guest directly, as the host application loads any plug-in).
#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "GuestsTestSupport.h"
#include "ReferenceHost.h"

namespace {

using guests_test::GuestPath;
using guests_test::PrivateHome;
using guests_test::Quote;
using guests_test::RunCommand;
using zyne::host::HostOptions;
using zyne::host::ReferenceHost;

const char* const kPluginGuests[] = {"libsample_widgets.so", "libsample_tools_a.so",
                                     "libsample_tools_b.so", "libsample_legacy.so"};

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The names of the dynamic symbols a library defines.
std::set<std::string> DefinedSymbols(const std::string& library) {
    const guests_test::Result nm = RunCommand("nm -D --defined-only " + Quote(library));
    EXPECT_EQ(nm.status, 0) << library;
    std::set<std::string> names;
    std::istringstream lines(nm.out);
    std::string line;
    while (std::getline(lines, line)) {
        const size_t space = line.rfind(' ');
        if (space != std::string::npos) names.insert(line.substr(space + 1));
    }
    return names;
}

// ----- What the libraries export ----------------------------------------------------------

TEST(SampleGuests, ExportOnlyTheirEntryPoint) {
    for (const char* guest : kPluginGuests) {
        SCOPED_TRACE(guest);
        EXPECT_EQ(DefinedSymbols(GuestPath(guest)), std::set<std::string>{"ZYNEPluginMain"})
            << "the glue must stay hidden inside each guest";
    }
}

// ----- The containers -----------------------------------------------------------------------

// The libraries and icons are checked member by member below; the help pages and the empty
// folders the loader expects show in the totals and the help index.
TEST(SampleContainers, ListAsExpected) {
    const std::pair<const char*, const char*> rows[] = {
        {"Widgets.zqx", "Widgets/IDE Resources/Help/index.html\n"},
        {"Widgets.zqx", "9 files, 6 folders\n"},
        {"Tools.zqx", "Tools/Build Resources/Windows/sample_tools_c.dll\n"},
        {"Tools.zqx", "Tools/IDE Resources/Controls Palette/\n5 files, 7 folders\n"},
        {"Legacy.zqx", "Legacy/IDE Resources/Controls Palette/\n1 file, 6 folders\n"},
    };
    for (const auto& [container, expected] : rows) {
        const guests_test::Result list =
            RunCommand(Quote(ZQX_BINARY) + " list " + Quote(GuestPath(container)));
        EXPECT_EQ(list.status, 0) << container;
        EXPECT_NE(list.out.find(expected), std::string::npos) << container << ":\n" << list.out;
    }
}

TEST(SampleContainers, HoldTheLibrariesAsBuilt) {
    const PrivateHome home;
    const std::pair<const char*, const char*> members[] = {
        {"Widgets.zqx", "Widgets/Build Resources/Linux X86/libsample_widgets.so"},
        {"Tools.zqx", "Tools/Build Resources/Linux X86/libsample_tools_a.so"},
        {"Tools.zqx", "Tools/Build Resources/Linux X86/libsample_tools_b.so"},
        {"Legacy.zqx", "Legacy/Build Resources/Linux X86/libsample_legacy.so"},
    };
    for (const auto& [container, member] : members) {
        const guests_test::Result extract = RunCommand(
            Quote(ZQX_BINARY) + " extract -O " + Quote(GuestPath(container)) + " " + Quote(member));
        EXPECT_EQ(extract.status, 0) << member;
        const std::string library = std::strrchr(member, '/') + 1;
        EXPECT_TRUE(extract.out == ReadFile(GuestPath(library))) << member << " differs";
    }
}

// Every bit depth a palette may hold is there, so icon decoding meets each one.
TEST(SampleContainers, PaletteIconsCoverEveryBitDepth) {
    struct Icon {
        const char* name;
        int bits;
        int side;
    };
    const Icon icons[] = {{"128-small.bmp", 8, 16}, {"128-smallmask.bmp", 1, 16},
                          {"128.bmp", 24, 32},      {"128mask.bmp", 1, 32},
                          {"129.bmp", 32, 32},      {"129mask.bmp", 4, 32}};
    for (const Icon& icon : icons) {
        SCOPED_TRACE(icon.name);
        const guests_test::Result bmp =
            RunCommand(Quote(ZQX_BINARY) + " extract -O " + Quote(GuestPath("Widgets.zqx")) + " " +
                       Quote(std::string("Widgets/IDE Resources/Controls Palette/") + icon.name));
        ASSERT_EQ(bmp.status, 0);
        ASSERT_GE(bmp.out.size(), 54u);
        auto word = [&](size_t at, size_t size) {
            unsigned long value = 0;
            for (size_t i = 0; i < size; ++i)
                value |= static_cast<unsigned long>(static_cast<unsigned char>(bmp.out[at + i]))
                         << (8 * i);
            return value;
        };
        EXPECT_EQ(bmp.out.substr(0, 2), "BM");
        EXPECT_EQ(word(2, 4), bmp.out.size()) << "the file size field";
        EXPECT_EQ(word(14, 4), 40u) << "BITMAPINFOHEADER";
        EXPECT_EQ(static_cast<int>(word(18, 4)), icon.side);
        EXPECT_EQ(static_cast<int>(word(22, 4)), icon.side) << "bottom-up: a positive height";
        EXPECT_EQ(static_cast<int>(word(28, 2)), icon.bits);
        EXPECT_EQ(word(30, 4), 0u) << "uncompressed";
    }
}

// The containers are made with fixed dates: making one again gives the same bytes.
TEST(SampleContainers, AreReproducible) {
    const PrivateHome home;
    const std::string again = home / "Widgets.zqx";
    const std::string source = ZYNE_GUESTS_SOURCE_DIR;
    const guests_test::Result made =
        RunCommand(Quote(ZQX_BINARY) + " plugin " + Quote(again) + " --name Widgets --linux " +
                   Quote(GuestPath("libsample_widgets.so")) + " --icons " +
                   Quote(source + "/widgets/palette") + " --help-dir " +
                   Quote(source + "/widgets/help") + " --mtime 2024-01-01 >/dev/null");
    ASSERT_EQ(made.status, 0);
    EXPECT_TRUE(ReadFile(again) == ReadFile(GuestPath("Widgets.zqx")));
}

// ----- What the guests register, taken together ---------------------------------------------

// What one guest registered and asked for, gathered while its host is alive (the records
// belong to the guest and go when the host unloads it).
struct Survey {
    std::set<std::string> resolved;   // every service name looked up
    std::set<long> versions;          // of class, control, module and interface records
    std::set<std::string> typeWords;  // property type words, as written
    std::set<std::string> classNames;
    bool directField = false, routineGetter = false, routineSetter = false;
    bool sharedMethods = false, sharedProperties = false, subclassOfPluginClass = false;
    std::set<long> dataSizes;
};

void AddProperties(Survey& survey, const ZYNEproperty* list, long count) {
    for (long i = 0; list != nullptr && i < count; ++i) {
        survey.typeWords.insert(list[i].type);
        if (list[i].getter == ZYNE_DIRECT_FIELD) survey.directField = true;
        if (list[i].getter != nullptr && list[i].getter != ZYNE_DIRECT_FIELD)
            survey.routineGetter = true;
        if (list[i].setter != nullptr && list[i].setter != ZYNE_DIRECT_FIELD)
            survey.routineSetter = true;
    }
}

void SurveyGuest(const char* guest, Survey& survey) {
    ReferenceHost host(HostOptions{.bridgePath = GuestPath(guest)});
    ASSERT_TRUE(host.Load()) << host.Error();
    for (const std::string& line : host.Log()) {
        if (line.starts_with("resolve "))
            survey.resolved.insert(line.substr(8, line.find(" -> ") - 8));
    }
    std::set<std::string> ownClasses;
    for (const ZYNEclassDefinition* c : host.Classes()) ownClasses.insert(c->name);
    for (const ZYNEclassDefinition* c : host.Classes()) {
        survey.versions.insert(c->version);
        survey.classNames.insert(c->name);
        survey.dataSizes.insert(c->dataSize);
        AddProperties(survey, c->properties, c->propertyCount);
        if (c->version >= 9) {
            AddProperties(survey, c->sharedProperties, c->sharedPropertyCount);
            survey.sharedMethods |= c->sharedMethodCount > 0;
            survey.sharedProperties |= c->sharedPropertyCount > 0;
        }
        if (c->superName != nullptr && ownClasses.count(c->superName) > 0)
            survey.subclassOfPluginClass = true;
    }
    for (const ZYNEcontrol* c : host.Controls()) {
        survey.versions.insert(c->version);
        AddProperties(survey, c->properties, c->propertyCount);
    }
    for (const ZYNEmoduleDefinition* m : host.Modules()) {
        survey.versions.insert(m->version);
        if (m->version >= 9) AddProperties(survey, m->properties, m->propertyCount);
    }
    for (const ZYNEinterfaceDefinition* i : host.Interfaces()) survey.versions.insert(i->version);
    EXPECT_TRUE(host.Faults().empty()) << guest << ": " << host.Faults().front();
}

TEST(SampleGuests, TogetherUseEveryRegistrationServiceAndRecordForm) {
    Survey survey;
    for (const char* guest : kPluginGuests) SurveyGuest(guest, survey);

    for (const char* service :
         {"PluginRegisterControl", "PluginRegisterMethod", "PluginRegisterModule",
          "PluginRegisterClass", "PluginRegisterInterface", "PluginRegisterClassExtension",
          "RegisterDataSourceInterface", "PluginRegisterDBEngine", "RegisterDatabaseConnection",
          "RegisterDataSource", "PluginRegisterStructure", "PluginRegisterEnum",
          "RegisterPluginVersion"}) {
        EXPECT_EQ(survey.resolved.count(service), 1u) << "no guest uses " << service;
    }
    for (long version : {6L, 7L, 8L, 9L})
        EXPECT_EQ(survey.versions.count(version), 1u) << "no record of version " << version;

    std::set<std::string> lowered;
    for (std::string word : survey.typeWords) {
        std::transform(word.begin(), word.end(), word.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        lowered.insert(word);
    }
    for (const char* word : {"integer", "double", "boolean", "string", "color", "single"})
        EXPECT_EQ(lowered.count(word), 1u) << "no property of type " << word;
    EXPECT_TRUE(std::any_of(survey.typeWords.begin(), survey.typeWords.end(),
                            [&](const std::string& w) { return survey.classNames.count(w) > 0; }))
        << "no property whose type is a plug-in class";

    EXPECT_TRUE(survey.directField);
    EXPECT_TRUE(survey.routineGetter);
    EXPECT_TRUE(survey.routineSetter);
    EXPECT_TRUE(survey.sharedMethods);
    EXPECT_TRUE(survey.sharedProperties);
    EXPECT_TRUE(survey.subclassOfPluginClass);
    EXPECT_EQ(survey.dataSizes.count(4096), 1u) << "the largest design-time class";
    EXPECT_EQ(survey.dataSizes.count(4097), 1u) << "one byte over the design-time limit";
}

// ----- Each guest under a host ----------------------------------------------------------------

class GuestUnderHost : public ::testing::Test {
protected:
    void LoadGuest(const char* guest) {
        host_.emplace(HostOptions{.bridgePath = GuestPath(guest)});
        ASSERT_TRUE(host_->Load()) << host_->Error();
    }
    void TearDown() override {
        if (!host_) return;
        EXPECT_TRUE(host_->Faults().empty()) << host_->Faults().front();
        EXPECT_EQ(host_->LiveObjects(), 0u) << "a guest or the test leaked an object";
        EXPECT_EQ(host_->LiveStrings(), 0u) << "a guest or the test leaked a string";
    }
    std::string TextOf(ZYNEstring string) {
        std::string text = ReferenceHost::Text(string);
        host_->Unlock(string);
        return text;
    }

    PrivateHome home_;
    std::optional<ReferenceHost> host_;
};

TEST_F(GuestUnderHost, WidgetsRegistersSuperclassBeforeSubclass) {
    LoadGuest("libsample_widgets.so");
    const std::vector<std::string> expected = {"class WidgetBase",   "class FancyWidget",
                                               "class BigBlock",     "class TooBigBlock",
                                               "control SampleKnob", "control SampleLamp"};
    EXPECT_EQ(host_->RegistrationOrder(), expected);
    EXPECT_EQ(host_->PluginVersion(), 9);
    // A FancyWidget carries WidgetBase's data, then its own.
    EXPECT_EQ(
        host_->InstanceSize("FancyWidget"),
        host_->InstanceSize("WidgetBase") + host_->FindClass("FancyWidget")->record->dataSize);
    EXPECT_EQ(host_->FindClass("BigBlock")->record->flags, ZYNE_CLASS_CONSOLE_SAFE);
}

TEST_F(GuestUnderHost, WidgetBaseFieldsMethodsAndAssignableMethod) {
    LoadGuest("libsample_widgets.so");
    ZYNEobject widget = host_->NewInstance("WidgetBase");
    ASSERT_NE(widget, nullptr);
    // Fields the constructor set (the caption built through the glue), then routines.
    EXPECT_EQ(host_->Get<double>(widget, "Ratio"), 1.0);
    EXPECT_EQ(ReferenceHost::Text(host_->Get<ZYNEstring>(widget, "Caption")), "Widget");
    EXPECT_EQ(host_->Get<long>(widget, "DefaultWidth"), 80) << "selector 0";
    EXPECT_EQ(host_->Get<long>(widget, "DefaultHeight"), 24) << "selector 1";
    EXPECT_EQ(TextOf(host_->Get<ZYNEstring>(widget, "Kind")), "widget");

    EXPECT_EQ(host_->Call<long>(widget, "Bump", 5L), 5);
    EXPECT_EQ(host_->Call<long>(widget, "Bump", -2L), 3);
    host_->Set<long>(widget, "Count", 40);
    EXPECT_EQ(TextOf(host_->Call<ZYNEstring>(widget, "Describe")), "Widget (40)");
    host_->Call<void>(widget, "Reset");
    EXPECT_EQ(host_->Get<long>(widget, "Count"), 0);

    // "Title": the getter answers the caption locked for the caller; the setter keeps its
    // own lock on the new one and drops the old.
    ZYNEstring title = host_->NewString("Dial");
    const auto& record = *host_->FindClass("WidgetBase")->record;
    const ZYNEmethodDefinition* titleMethod = nullptr;
    for (long i = 0; i < record.methodCount; ++i) {
        if (std::strcmp(record.methods[i].declaration, "Title() as String") == 0)
            titleMethod = &record.methods[i];
    }
    ASSERT_NE(titleMethod, nullptr);
    ASSERT_NE(titleMethod->setter, nullptr);
    reinterpret_cast<void (*)(ZYNEobject, ZYNEstring)>(titleMethod->setter)(widget, title);
    host_->Unlock(title);
    EXPECT_EQ(host_->RefCount(title), 1) << "held by the widget alone";
    EXPECT_EQ(TextOf(host_->Call<ZYNEstring>(widget, "Title")), "Dial");
    ZYNEstring name = host_->NewString("Ann");
    EXPECT_EQ(TextOf(host_->Call<ZYNEstring>(widget, "Greet", name)), "Dial greets Ann");
    host_->Unlock(name);

    host_->Unlock(widget);  // the destructor releases the caption
}

TEST_F(GuestUnderHost, WidgetsMakesInstancesByNameAndByClassReference) {
    LoadGuest("libsample_widgets.so");
    ZYNEstring className = host_->NewString("FancyWidget");
    auto made = host_->CallShared<ZYNEobject>("WidgetBase", "Make", className);
    host_->Unlock(className);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(host_->ClassOf(made), host_->FindClass("FancyWidget")->record);
    EXPECT_EQ(host_->Get<long>(made, "Sparkle"), 3) << "its own constructor ran";
    EXPECT_EQ(ReferenceHost::Text(host_->Get<ZYNEstring>(made, "Caption")), "Widget")
        << "its superclass's constructor ran first";

    host_->ClearLog();
    ZYNEobject twin = host_->Call<ZYNEobject>(made, "Twin");
    ASSERT_NE(twin, nullptr);
    EXPECT_EQ(host_->ClassOf(twin), host_->FindClass("FancyWidget")->record);
    EXPECT_EQ(host_->Count("pluginObjectType(\"FancyWidget\")"), 1u);
    EXPECT_EQ(host_->Count("CreateInstance(ptr)"), 1u) << "made from the class reference";
    EXPECT_EQ(host_->CallShared<long>("WidgetBase", "Made"), 2);

    host_->Unlock(twin);
    host_->Unlock(made);
}

// The handler a subclass registers for its superclass's event runs when the host answers
// "GetEventInstance"; without that service the event is simply not raised.
TEST_F(GuestUnderHost, WidgetsRaisesChangedThroughTheHost) {
    LoadGuest("libsample_widgets.so");
    static ZYNEclassDefinition* fancy = nullptr;
    fancy = host_->FindClass("FancyWidget")->record;
    ReferenceHost::Current()->Provide(
        "GetEventInstance", reinterpret_cast<void*>(+[](ZYNEobject, long) -> void* {
            return fancy->eventInstances[0].function;  // the "Changed" handler
        }));
    ZYNEobject widget = host_->NewInstance("FancyWidget");
    host_->Call<long>(widget, "Bump", 7L);
    EXPECT_EQ(host_->Get<long>(widget, "LastCount"), 7);
    host_->Unlock(widget);
}

TEST_F(GuestUnderHost, ToolsGlobalMethodsAndModule) {
    LoadGuest("libsample_tools_a.so");
    EXPECT_EQ(host_->CallGlobal<long>("SampleAdd", 2L, 40L), 42);
    ZYNEstring text = host_->NewString("quiet, please");
    EXPECT_EQ(TextOf(host_->CallGlobal<ZYNEstring>("SampleShout", text)), "QUIET, PLEASE");
    host_->Unlock(text);
    const std::vector<std::string> expected = {
        "method SampleAdd( a as Integer, b as Integer ) as Integer",
        "method SampleShout( text as String ) as String",
        "structure SamplePoint",
        "enum SampleDirection",
        "module SampleMath",
        "interface SampleGreeter"};
    EXPECT_EQ(host_->RegistrationOrder(), expected)
        << "database registrations are not the reference host's business";
    EXPECT_TRUE(host_->Resolved("PluginRegisterDBEngine"));
}

TEST_F(GuestUnderHost, ToolsCounterAndConsoleSafeFlag) {
    LoadGuest("libsample_tools_b.so");
    const ZYNEclassDefinition* counter = host_->FindClass("SampleCounter")->record;
    EXPECT_EQ(counter->flags, ZYNE_CLASS_CONSOLE_SAFE);
    ZYNEobject object = host_->NewInstance("SampleCounter");
    host_->Set<long>(object, "Step", 5);
    EXPECT_EQ(host_->Call<long>(object, "Next"), 5);
    EXPECT_EQ(host_->Call<long>(object, "Next"), 10);
    EXPECT_EQ(host_->Get<long>(object, "Value"), 10);
    host_->Unlock(object);
    EXPECT_EQ(host_->RegistrationOrder(),
              (std::vector<std::string>{"class SampleCounter", "class extension FolderItem"}));
}

TEST_F(GuestUnderHost, LegacyEarlierMethodFormIsCallable) {
    LoadGuest("libsample_legacy.so");
    EXPECT_EQ(host_->RegistrationOrder(),
              (std::vector<std::string>{"class OldTimer", "class OldCounter", "control OldGauge",
                                        "control AncientSwitch", "module OldModule"}));
    EXPECT_TRUE(host_->FindClass("OldTimer")->threeWordMethods);
    EXPECT_FALSE(host_->FindClass("OldCounter")->threeWordMethods);
    ZYNEobject timer = host_->NewInstance("OldTimer");
    host_->Set<long>(timer, "Period", 250);
    EXPECT_EQ(host_->Call<long>(timer, "Interval"), 250) << "the third three-word method";
    host_->Call<void>(timer, "Start");
    EXPECT_TRUE(host_->Get<bool>(timer, "Running"));
    host_->Unlock(timer);
    ZYNEobject counter = host_->NewInstance("OldCounter");
    EXPECT_EQ(host_->Call<long>(counter, "Add", 4L), 4);
    host_->Unlock(counter);
}

}  // namespace
