// ZyneInspectTest.cpp - zyne-inspect end to end, run as a user runs it, and its ELF reader
// on hostile bytes.
//
// Each test gets a private temporary folder and HOME (the bridge extracts libraries under
// HOME). The tool is run with fork/exec, its standard output and error captured in files.
// Guests: the sample containers, Broken.zqx (mistakes --check must name), a guest that
// crashes while registering and one that hangs (with a helper process of its own).
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "../support/Sanitized.h"
#include "Inspect.h"

#ifdef INSPECT_HAVE_PNG
#include <png.h>
#endif

namespace {

using nlohmann::json;

const std::string kSamples = INSPECT_SAMPLES_DIR;

struct Result {
    int status = -1;
    std::string out;
    std::string err;
    double seconds = 0;
};

std::string Slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// Waits up to a second for a process to be gone or a zombie waiting to be reaped; one still
// running afterwards is killed, so that a failing test leaves nothing behind.
bool GoneSoon(pid_t pid) {
    for (int i = 0; i < 50; ++i) {
        const std::string stat = Slurp("/proc/" + std::to_string(pid) + "/stat");
        const size_t paren = stat.rfind(')');
        if (stat.empty() || (paren != std::string::npos && stat.substr(paren + 2, 1) == "Z"))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    kill(pid, SIGKILL);
    return false;
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

class ZyneInspectTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/zyne-inspect-test-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
        home_ = dir_ + "/home";
        ASSERT_EQ(mkdir(home_.c_str(), 0700), 0);
        setenv("HOME", home_.c_str(), 1);
    }
    void TearDown() override {
        const std::string command = "rm -rf '" + dir_ + "'";
        ASSERT_EQ(std::system(command.c_str()), 0);
    }

    // Runs zyne-inspect with `args`; standard output and error are captured (standard
    // output goes to `outPath` instead when one is given).
    Result Inspect(const std::vector<std::string>& args, const std::string& outPath = "") {
        Result result;
        const std::string out = outPath.empty() ? dir_ + "/stdout" : outPath;
        const std::string err = dir_ + "/stderr";
        const auto start = std::chrono::steady_clock::now();
        const pid_t pid = fork();
        if (pid == 0) {
            const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(o, 1);
            dup2(e, 2);
            if (ZYNE_SANITIZED) {
                // A crashing guest must die of its signal, as it does outside the
                // sanitizer, not turn into the sanitizer's report.
                const char* options = std::getenv("ASAN_OPTIONS");
                const std::string all =
                    std::string(options != nullptr ? options : "") + ":handle_segv=0";
                setenv("ASAN_OPTIONS", all.c_str(), 1);
            }
            std::vector<char*> argv;
            argv.push_back(const_cast<char*>(INSPECT_BINARY));
            for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
            argv.push_back(nullptr);
            execv(INSPECT_BINARY, argv.data());
            _exit(127);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        result.seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        result.out = outPath.empty() ? Slurp(out) : std::string();
        result.err = Slurp(err);
        return result;
    }
    json InspectJson(const std::vector<std::string>& args, int expectedStatus) {
        std::vector<std::string> all = {"--format", "json"};
        all.insert(all.end(), args.begin(), args.end());
        const Result r = Inspect(all);
        EXPECT_EQ(r.status, expectedStatus) << r.err;
        json doc = json::parse(r.out, nullptr, false);
        EXPECT_FALSE(doc.is_discarded()) << r.out;
        return doc;
    }

    std::string dir_;
    std::string home_;
};

std::vector<std::string> Names(const json& list) {
    std::vector<std::string> names;
    for (const json& item : list) names.push_back(item.value("name", "?"));
    return names;
}

// --- Formats --------------------------------------------------------------------------

TEST_F(ZyneInspectTest, TextTreeShowsWhatTheHostSees) {
    const Result r = Inspect({kSamples + "/Widgets.zqx"});
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* expected : {
             "plug-in \"Widgets\", help yes, 1 definition",
             "targets: linux",
             "ELF ",
             "class FancyWidget inherits WidgetBase",
             "data 4097 bytes at offset",
             "event Changed( newCount as Integer )",
             "handles Changed(",
             "method Title() as String [assignable]",
             "method Make( className as String ) as WidgetBase [shared]",
             "property Kind as string [runtime-only]",
             "property Shape as Integer [group Appearance]",
             "values: Round, Square, Star",
             "constant kMaxCount = 1000 [Public]",
             "control SampleKnob",
             "icon 16x16, mask 16x16",
             "icon 32x32, mask 32x32",
         }) {
        EXPECT_NE(r.out.find(expected), std::string::npos) << expected << "\n" << r.out;
    }
    const std::vector<std::string> lines = SplitLines(r.out);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "zyne-inspect: 1 file: 1 loaded; 1 definition");
}

TEST_F(ZyneInspectTest, LinesGiveOneItemPerLineUnderItsFamily) {
    const Result r = Inspect({"--format", "lines", kSamples + "/Tools.zqx"});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<std::string> lines = SplitLines(r.out);
    ASSERT_GT(lines.size(), 10u);
    for (const char* expected : {
             "Tools/SampleAdd( a as Integer, b as Integer ) as Integer",
             "Tools/SampleMath [module]",
             "Tools/SampleMath.kAnswer = 42 [constant]",
             "Tools/SampleGreeter.Greet( name as String ) as String",
             "Tools/SampleCounter [class]",
             "Tools/SampleCounter.Next() as Integer",
             "Tools/FolderItem.IsSampleContainer() as Boolean",
         }) {
        EXPECT_NE(std::find(lines.begin(), lines.end(), std::string(expected)), lines.end())
            << expected << "\n"
            << r.out;
    }
    for (size_t i = 0; i + 1 < lines.size(); ++i)
        EXPECT_EQ(lines[i].rfind("Tools/", 0), 0u) << lines[i];
    EXPECT_EQ(lines.back().rfind("zyne-inspect: 1 file: 1 loaded; 3 definitions", 0), 0u);
}

TEST_F(ZyneInspectTest, JsonIsOneDocumentThatParsesBack) {
    const json doc = InspectJson(
        {kSamples + "/Widgets.zqx", kSamples + "/Tools.zqx", kSamples + "/Legacy.zqx"}, 0);
    EXPECT_EQ(doc["schema_version"], inspect::kSchemaVersion);
    ASSERT_EQ(doc["plugins"].size(), 3u);
    EXPECT_EQ(doc["summary"]["loaded"], 3);
    EXPECT_EQ(doc["summary"]["exit_status"], 0);

    const json& widgets = doc["plugins"][0];
    EXPECT_EQ(widgets["status"], "loaded");
    EXPECT_EQ(widgets["plugin_name"], "Widgets");
    EXPECT_EQ(widgets["has_help"], true);
    const json& def = widgets["definitions"][0];
    EXPECT_EQ(def["targets"]["linux"], true);
    EXPECT_EQ(def["targets"]["win32"], false);
    EXPECT_EQ(Names(def["classes"]),
              (std::vector<std::string>{"WidgetBase", "FancyWidget", "BigBlock", "TooBigBlock"}));
    EXPECT_EQ(def["classes"][1]["superclass"], "WidgetBase");
    EXPECT_TRUE(def["classes"][0]["superclass"].is_null());
    EXPECT_EQ(def["classes"][3]["data_size"], 4097);
    // Shared members come after the instance ones and say so.
    const json& props = def["classes"][0]["properties"];
    ASSERT_GE(props.size(), 2u);
    EXPECT_EQ(props[props.size() - 2]["name"], "Theme");
    EXPECT_EQ(props[props.size() - 2]["shared"], true);
    EXPECT_EQ(props[0]["shared"], false);
    EXPECT_EQ(Names(def["controls"]), (std::vector<std::string>{"SampleKnob", "SampleLamp"}));
    EXPECT_EQ(def["controls"][0]["icon"]["width"], 16);
    EXPECT_EQ(def["linux_library"]["elf"]["exports"], json::array({"ZYNEPluginMain"}));

    // Tools: two Linux libraries and a Windows-only definition.
    const json& tools = doc["plugins"][1]["definitions"];
    ASSERT_EQ(tools.size(), 3u);
    EXPECT_EQ(tools[0]["targets"]["linux"], true);
    EXPECT_EQ(tools[2]["targets"]["linux"], false);
    EXPECT_EQ(tools[2]["targets"]["win32"], true);
    EXPECT_EQ(Names(tools[0]["data_sources"]), (std::vector<std::string>{"SampleDatabase"}));
    EXPECT_EQ(Names(tools[1]["class_extensions"]), (std::vector<std::string>{"FolderItem"}));

    // Legacy: a version-6 class has no compatibility text; a version-8 module no lists.
    const json& legacy = doc["plugins"][2]["definitions"][0];
    EXPECT_TRUE(legacy["classes"][0]["compatibility"].is_null());
    EXPECT_EQ(legacy["classes"][1]["compatibility"], "not TargetHasGUI");
    EXPECT_TRUE(legacy["modules"][0]["properties"].empty());
    EXPECT_TRUE(legacy["modules"][0]["structures"].empty());
}

TEST_F(ZyneInspectTest, InProcessReportsTheSameAsTheChild) {
    const json isolated = InspectJson({kSamples + "/Tools.zqx"}, 0);
    const json direct = InspectJson({"--in-process", kSamples + "/Tools.zqx"}, 0);
    EXPECT_EQ(isolated["plugins"], direct["plugins"]);
}

// A path that is not UTF-8 is a plug-in like any other: reported as loaded, and the JSON
// document stays valid (such bytes become U+FFFD).
TEST_F(ZyneInspectTest, FileNamesThatAreNotUtf8StillGiveAReport) {
    const std::string odd = dir_ + "/T\xff\xfeools.zqx";
    ASSERT_EQ(std::system(("cp '" + kSamples + "/Tools.zqx' '" + odd + "'").c_str()), 0);
    for (const bool inProcess : {false, true}) {
        SCOPED_TRACE(inProcess ? "in process" : "isolated");
        std::vector<std::string> args = {odd};
        if (inProcess) args.insert(args.begin(), "--in-process");
        const json doc = InspectJson(args, 0);
        ASSERT_TRUE(doc.is_object());
        EXPECT_EQ(doc["plugins"][0]["status"], "loaded") << doc["plugins"][0].dump();
        EXPECT_EQ(doc["plugins"][0]["definitions"].size(), 3u);
        const Result text = Inspect(args);
        EXPECT_EQ(text.status, 0) << text.err;
        EXPECT_NE(text.out.find("1 loaded"), std::string::npos) << text.out;
    }
}

// A report that can't be written (a full disk) is no success.
TEST_F(ZyneInspectTest, FullStandardOutputIsAnError) {
    const std::string widgets = kSamples + "/Widgets.zqx";
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {widgets}, {"--format", "json", widgets}, {"--format", "lines", widgets}, {"--help"}}) {
        SCOPED_TRACE(args[0]);
        const Result r = Inspect(args, "/dev/full");
        EXPECT_EQ(r.status, 3) << r.err;
        EXPECT_NE(r.err.find("zyne-inspect: standard output: "), std::string::npos) << r.err;
    }
}

// A family named with control characters (a newline, a terminal escape) is shown with them
// masked: the tree and the findings can't rewrite the terminal, and each item of the lines
// format stays on one line.
TEST_F(ZyneInspectTest, ControlCharactersInNamesAreMasked) {
    const std::string family = "Fa\x1b[31mm\nX";
    const std::string zqx = dir_ + "/Odd.zqx";
    const std::string make = std::string("'") + INSPECT_ZQX + "' plugin '" + zqx + "' --name '" +
                             family + "' --linux '" + kSamples + "/libsample_widgets.so' && '" +
                             INSPECT_ZQX + "' mkdir '" + zqx + "' '" + family +
                             "/Build Resources/Mac Cocoa' >/dev/null 2>&1";
    ASSERT_EQ(std::system(make.c_str()), 0);
    for (const char* format : {"text", "lines"}) {
        SCOPED_TRACE(format);
        const Result r = Inspect({"--check", "--format", format, zqx});
        EXPECT_EQ(r.status, 1) << r.err;  // the sample's own deliberate mistakes
        EXPECT_EQ(r.out.find('\x1b'), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("Fa?[31mm?X/Build Resources/Mac Cocoa"), std::string::npos) << r.out;
        if (std::string(format) == "lines") {
            const std::vector<std::string> lines = SplitLines(r.out);
            ASSERT_GT(lines.size(), 10u);
            for (const std::string& line : lines)  // an item, a finding or the summary
                EXPECT_TRUE(line.rfind("Fa?[31mm?X/", 0) == 0 || line.rfind(zqx + ": ", 0) == 0 ||
                            line.rfind("zyne-inspect: ", 0) == 0)
                    << line;
        }
    }
}

// --- Checks ----------------------------------------------------------------------------

TEST_F(ZyneInspectTest, CheckNamesEachDeliberateMistake) {
    const Result r = Inspect({"--check", INSPECT_BROKEN_ZQX});
    EXPECT_EQ(r.status, 1) << r.out << r.err;
    struct Expected {
        const char* severity;
        const char* check;
        const char* path;
    };
    for (const Expected& e : {
             Expected{"error", "unbalanced-parentheses", "Broken/BrokenThing.Open"},
             Expected{"error", "method-without-name", "Broken/BrokenThing.?"},
             Expected{"error", "duplicate-name", "Broken/BrokenThing.close"},
             Expected{"error", "duplicate-name", "Broken/BrokenThing.size"},
             Expected{"warning", "unsupported-property-type", "Broken/BrokenThing.Payload"},
             Expected{"error", "class-data-too-large", "Broken/BrokenThing"},
             Expected{"error", "unknown-superclass", "Broken/BrokenThing"},
             Expected{"error", "duplicate-class", "Broken/BrokenTwin"},
             Expected{"warning", "control-without-icon", "Broken/BrokenDial"},
             Expected{"warning", "target-without-library", "Broken/Build Resources/Mac Cocoa"},
             Expected{"warning", "library-extra-exports", "Broken#0"},
         }) {
        const std::string line =
            std::string(": ") + e.severity + ": " + e.check + ": " + e.path + ": ";
        EXPECT_NE(r.out.find(line), std::string::npos) << line << "\n" << r.out;
    }
    // What is right is not reported: "Label" is a String whatever its case, and the
    // overload Close( force as Boolean ) is not a duplicate.
    // Every finding carries a hint, and the summary comes last.
    long findings = 0;
    for (const std::string& line : SplitLines(r.out)) {
        if (line.find(": error: ") == std::string::npos &&
            line.find(": warning: ") == std::string::npos)
            continue;
        ++findings;
        EXPECT_NE(line.find(" (hint: "), std::string::npos) << line;
        EXPECT_EQ(line.find("BrokenThing.Label"), std::string::npos) << line;
        EXPECT_EQ(line.find("Close( force"), std::string::npos) << line;
    }
    EXPECT_EQ(findings, 12) << r.out;
    const std::vector<std::string> lines = SplitLines(r.out);
    EXPECT_NE(lines.back().find(" errors, "), std::string::npos) << lines.back();
}

TEST_F(ZyneInspectTest, CheckSeverityExcludeAndWerror) {
    const std::string widgets = kSamples + "/Widgets.zqx";
    struct Case {
        std::vector<std::string> args;
        int status;
        const char* present;  // a text the output must hold; null: none
        const char* absent;   // a text it must not hold; null: none
    };
    const Case cases[] = {
        // TooBigBlock is an error; Partner and Weight are warnings.
        {{"--check", widgets}, 1, ": error: class-data-too-large: Widgets/TooBigBlock", nullptr},
        {{"--check", widgets},
         1,
         ": warning: unsupported-property-type: Widgets/WidgetBase.Weight",
         "WidgetBase.Count"},
        {{"--check", "--exclude", "class-data-too-large", widgets},
         0,
         "0 errors, 2 warnings",
         "class-data-too-large"},
        {{"--check", "--werror", "--exclude", "class-data-too-large", widgets},
         1,
         ": error: unsupported-property-type:",
         ": warning:"},
        {{"--check", "--exclude", "class-data-too-large", "--exclude", "unsupported-property-type",
          widgets},
         0,
         "0 errors, 0 warnings, 0 notes",
         nullptr},
        // Clean samples stay clean.
        {{"--check", kSamples + "/Tools.zqx"}, 0, "0 errors, 0 warnings", nullptr},
    };
    for (const Case& c : cases) {
        const Result r = Inspect(c.args);
        std::string shown;
        for (const std::string& a : c.args) shown += a + " ";
        EXPECT_EQ(r.status, c.status) << shown << "\n" << r.out << r.err;
        if (c.present) {
            EXPECT_NE(r.out.find(c.present), std::string::npos) << shown << "\n" << r.out;
        }
        if (c.absent) {
            EXPECT_EQ(r.out.find(c.absent), std::string::npos) << shown << "\n" << r.out;
        }
    }
}

TEST_F(ZyneInspectTest, CheckFindingsInJson) {
    const json doc = InspectJson({"--check", INSPECT_BROKEN_ZQX}, 1);
    ASSERT_TRUE(doc["findings"].is_array());
    bool found = false;
    for (const json& f : doc["findings"]) {
        for (const char* key : {"file", "check", "severity", "path", "message", "hint"})
            EXPECT_TRUE(f[key].is_string()) << f.dump();
        found =
            found || (f["check"] == "class-data-too-large" && f["path"] == "Broken/BrokenThing");
    }
    EXPECT_TRUE(found) << doc["findings"].dump(2);
    EXPECT_GT(doc["summary"]["errors"], 0);
}

TEST_F(ZyneInspectTest, LibraryForAnotherMachineIsNamed) {
    // The bridge's own machine, with the other word size: what a 32-bit library looks
    // like to a 64-bit bridge, and the reverse.
    const std::string fake = dir_ + "/libwrong.so";
    unsigned char header[64] = {0x7f, 'E', 'L', 'F', sizeof(void*) == 8 ? 1 : 2, 1, 1};
    header[16] = 3;  // ET_DYN
    header[18] = sizeof(void*) == 8 ? 3 : 62;
    std::ofstream(fake, std::ios::binary).write(reinterpret_cast<char*>(header), sizeof header);
    const Result r = Inspect({"--check", fake});
    // The loader refuses it; the check says why.
    EXPECT_NE(r.status, 0);
    const std::string expected = sizeof(void*) == 8
                                     ? "ELF 32-bit i386, the bridge is 64-bit x86_64"
                                     : "ELF 64-bit x86_64, the bridge is 32-bit i386";
    EXPECT_NE(r.out.find(": error: library-wrong-machine: "), std::string::npos) << r.out << r.err;
    EXPECT_NE(r.out.find(expected), std::string::npos) << r.out;
}

// --- Crashes, hangs, usage, missing files --------------------------------------------

TEST_F(ZyneInspectTest, CrashingGuestIsReportedAndTheRestStillInspected) {
    const Result r = Inspect({INSPECT_CRASH_GUEST, kSamples + "/Legacy.zqx"});
    EXPECT_EQ(r.status, 4) << r.out << r.err;
    EXPECT_NE(r.out.find(": crashed (killed by signal 11"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("class OldTimer"), std::string::npos) << r.out;
    const std::vector<std::string> lines = SplitLines(r.out);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "zyne-inspect: 2 files: 1 loaded, 1 crashed; 1 definition");
}

TEST_F(ZyneInspectTest, HangingGuestIsKilledWithItsHelpersAfterTheTimeLimit) {
    const std::string pidFile = dir_ + "/helper.pid";
    setenv("INSPECT_HANG_PID_FILE", pidFile.c_str(), 1);
    const json doc = InspectJson({"--timeout", "1", INSPECT_HANG_GUEST}, 4);
    unsetenv("INSPECT_HANG_PID_FILE");
    EXPECT_EQ(doc["plugins"][0]["status"], "timed-out");
    // The helper the guest started was in the same process group: gone, or a zombie
    // waiting to be reaped.
    const long helper = std::atol(Slurp(pidFile).c_str());
    ASSERT_GT(helper, 0);
    EXPECT_TRUE(GoneSoon(static_cast<pid_t>(helper)))
        << "helper " << helper << " outlived the time limit";
}

// Stopped while it waits for a hanging guest, the tool takes the guest's process group with
// it: the group is its own, so the terminal's Ctrl-C alone would miss it.
TEST_F(ZyneInspectTest, StoppingTheToolStopsAHangingGuest) {
    const std::string pidFile = dir_ + "/helper.pid";
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        setenv("INSPECT_HANG_PID_FILE", pidFile.c_str(), 1);
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        execl(INSPECT_BINARY, INSPECT_BINARY, "--timeout", "60", INSPECT_HANG_GUEST, nullptr);
        _exit(127);
    }
    long helper = 0;
    for (int i = 0; i < 1000 && helper <= 0; ++i) {
        helper = std::atol(Slurp(pidFile).c_str());
        if (helper <= 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(pid, SIGTERM);
    int status = 0;
    waitpid(pid, &status, 0);
    ASSERT_GT(helper, 0) << "the guest never started its helper";
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    EXPECT_TRUE(GoneSoon(static_cast<pid_t>(helper)))
        << "helper " << helper << " outlived the tool";
}

TEST_F(ZyneInspectTest, HangingGuestTakesNoLongerThanTheTimeLimit) {
    const Result r = Inspect({"--timeout", "0.5", INSPECT_HANG_GUEST});
    EXPECT_EQ(r.status, 4);
    EXPECT_LT(r.seconds, 5.0);
    EXPECT_NE(r.out.find(": timed-out (no report within 0.5 s"), std::string::npos) << r.out;
}

TEST_F(ZyneInspectTest, UsageErrorsExitTwo) {
    const std::string widgets = kSamples + "/Widgets.zqx";
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"--format", "xml", widgets},
        {"--timeout", "0", widgets},
        {"--timeout", "-3", widgets},
        {"--check", "--exclude", "no-such-check", widgets},
        {"--werror", widgets},
        {"--exclude", "duplicate-name", widgets},
        {"--no-such-option", widgets},
    };
    for (const auto& args : cases) {
        const Result r = Inspect(args);
        std::string shown;
        for (const std::string& a : args) shown += a + " ";
        EXPECT_EQ(r.status, 2) << shown << "\n" << r.out << r.err;
        EXPECT_FALSE(r.err.empty()) << shown;
    }
    EXPECT_EQ(Inspect({"--help"}).status, 0);
}

TEST_F(ZyneInspectTest, WhatCannotBeOpenedOrLoadedExitsThree) {
    const std::string empty = dir_ + "/empty.zqx";
    std::ofstream(empty).put('\n');
    struct Case {
        std::vector<std::string> args;
        int status;
        const char* message;
    };
    const Case cases[] = {
        {{dir_ + "/missing.zqx"}, 3, "cannot-open"},
        {{home_}, 3, "cannot-open (is a directory)"},
        {{"--bridge", dir_ + "/nobridge.so", kSamples + "/Widgets.zqx"}, 3, "nobridge.so"},
        {{kSamples + "/libsample_nomain.so"}, 3, "not-loaded"},
        // Not a container at all: the volume cannot be read, which is a damaged container.
        {{empty}, 1, "damaged container"},
    };
    for (const Case& c : cases) {
        const Result r = Inspect(c.args);
        EXPECT_EQ(r.status, c.status) << c.args.back() << "\n" << r.out << r.err;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    }
}

// --- Icons -----------------------------------------------------------------------------

#ifdef INSPECT_HAVE_PNG
struct Png {
    png_uint_32 width = 0, height = 0;
    int colorType = -1;
    std::vector<unsigned char> pixels;
};

Png ReadPng(const std::string& path) {
    Png png;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return png;
    image.format = PNG_FORMAT_RGBA;
    png.pixels.resize(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, png.pixels.data(), 0, nullptr)) {
        png_image_free(&image);
        return png;
    }
    png.width = image.width;
    png.height = image.height;
    png.colorType = PNG_COLOR_TYPE_RGBA;
    return png;
}

TEST_F(ZyneInspectTest, IconsAreWrittenAsPngFilesNamedAfterTheControl) {
    const std::string icons = dir_ + "/icons";
    const json doc = InspectJson({"--icons", icons, kSamples + "/Widgets.zqx"}, 0);
    struct Case {
        const char* file;
        png_uint_32 size;
    };
    for (const Case& c : {Case{"SampleKnob.png", 16}, Case{"SampleKnob-mask.png", 16},
                          Case{"SampleLamp.png", 32}, Case{"SampleLamp-mask.png", 32}}) {
        const Png png = ReadPng(icons + "/" + c.file);
        EXPECT_EQ(png.width, c.size) << c.file;
        EXPECT_EQ(png.height, c.size) << c.file;
        ASSERT_EQ(png.pixels.size(), size_t{c.size} * c.size * 4) << c.file;
        // A real picture, not a blank: at least two different pixels.
        bool varied = false;
        for (size_t i = 4; i < png.pixels.size() && !varied; i += 4)
            varied = std::memcmp(&png.pixels[i], &png.pixels[0], 4) != 0;
        EXPECT_TRUE(varied) << c.file;
    }
    EXPECT_EQ(doc["plugins"][0]["definitions"][0]["controls"][0]["icon"]["file"],
              icons + "/SampleKnob.png");
}
#else
TEST_F(ZyneInspectTest, IconsAreRefusedWithoutPngSupport) {
    const Result r = Inspect({"--icons", dir_ + "/icons", kSamples + "/Widgets.zqx"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("no PNG support"), std::string::npos) << r.err;
}
#endif

// --- The ELF reader on hostile bytes ----------------------------------------------------

// A minimal 64-bit ELF: header, then .dynsym (null + two symbols) and .dynstr, then three
// section headers (null, .dynsym, .dynstr).
std::vector<unsigned char> TinyElf() {
    const std::string strtab = std::string("\0ZYNEPluginMain\0Extra\0", 22);
    const size_t sym = 64, str = sym + 3 * 24, sh = str + strtab.size();
    std::vector<unsigned char> b(sh + 3 * 64, 0);
    auto put = [&b](size_t at, uint64_t v, int n) {
        for (int i = 0; i < n; ++i) b[at + i] = static_cast<unsigned char>(v >> (8 * i));
    };
    std::memcpy(b.data(),
                "\x7f"
                "ELF",
                4);
    b[4] = 2;  // 64-bit
    b[5] = 1;  // little-endian
    put(18, 62, 2);
    put(40, sh, 8);
    put(58, 64, 2);
    put(60, 3, 2);
    // Two global functions defined in section 1; entry 0 stays null.
    for (const auto& [entry, name] : {std::pair{1, 1}, std::pair{2, 16}}) {
        const size_t at = sym + entry * 24;
        put(at, name, 4);
        b[at + 4] = 0x12;
        put(at + 6, 1, 2);
    }
    std::memcpy(b.data() + str, strtab.data(), strtab.size());
    const size_t dyn = sh + 64, dstr = sh + 128;
    put(dyn + 4, 11, 4);
    put(dyn + 24, sym, 8);
    put(dyn + 32, 3 * 24, 8);
    put(dyn + 40, 2, 4);
    put(dyn + 56, 24, 8);
    put(dstr + 4, 3, 4);
    put(dstr + 24, str, 8);
    put(dstr + 32, strtab.size(), 8);
    return b;
}

TEST(ZyneInspectElfTest, ReadsClassMachineAndExports) {
    const std::vector<unsigned char> b = TinyElf();
    const inspect::ElfInfo elf = inspect::ReadElf(b.data(), b.size());
    ASSERT_TRUE(elf.valid) << elf.problem;
    EXPECT_TRUE(elf.problem.empty()) << elf.problem;
    EXPECT_EQ(elf.elfClass, 64);
    EXPECT_EQ(elf.machine, 62);
    EXPECT_EQ(elf.exports, (std::vector<std::string>{"ZYNEPluginMain", "Extra"}));
}

TEST(ZyneInspectElfTest, DamagedFilesGiveAReasonNotACrash) {
    struct Case {
        const char* what;
        size_t at;  // byte to change; SIZE_MAX: truncate to `value` bytes
        uint64_t value;
        int width;
        const char* problem;
    };
    const std::vector<unsigned char> good = TinyElf();
    const size_t sh = 64 + 72 + 22;
    const Case cases[] = {
        {"not ELF", 0, 0, 1, "not an ELF file"},
        {"bad class", 4, 7, 1, "unknown ELF class"},
        {"big-endian", 5, 2, 1, "not little-endian"},
        {"truncated header", SIZE_MAX, 40, 0, "truncated ELF header"},
        {"section table past the end", 40, 1u << 30, 8, "section headers outside the file"},
        {"section count too high", 60, 0xFFFF, 2, "section headers outside the file"},
        {"symbols past the end", sh + 64 + 32, 1u << 20, 8,
         "dynamic symbol table outside the file"},
        {"link past the sections", sh + 64 + 40, 9, 4, "dynamic symbol table outside the file"},
        {"strings past the end", sh + 128 + 24, 1u << 30, 8,
         "dynamic string table outside the file"},
        {"name past the strings", 64 + 48, 500, 4, "symbol name outside the string table"},
        {"entry size zero", sh + 64 + 56, 0, 8, "dynamic symbol table outside the file"},
        {"whole file truncated before sections", SIZE_MAX, sh + 10, 0,
         "section headers outside the file"},
    };
    for (const Case& c : cases) {
        std::vector<unsigned char> b = good;
        if (c.at == SIZE_MAX) {
            b.resize(c.value);
        } else {
            for (int i = 0; i < c.width; ++i)
                b[c.at + i] = static_cast<unsigned char>(c.value >> (8 * i));
        }
        const inspect::ElfInfo elf = inspect::ReadElf(b.data(), b.size());
        EXPECT_NE(elf.problem.find(c.problem), std::string::npos) << c.what << ": " << elf.problem;
    }
    EXPECT_EQ(inspect::ReadElf(nullptr, 0).problem, "not an ELF file");
}

}  // namespace
