// ZyneHostLoadTest.cpp - `zyne-host load`, run as a user runs it, on the sample guests: each
// plug-in file goes through the real bridge's PluginBridge.LoadPlugin, and the command
// prints what the bridge then reports.
#include <dirent.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "GuestsTestSupport.h"

namespace {

using guests_test::GuestPath;
using guests_test::PrivateHome;
using guests_test::Quote;
using guests_test::Result;
using guests_test::RunCommand;

Result ZyneHostLoad(const std::vector<std::string>& arguments) {
    std::string command = Quote(ZYNE_HOST_BINARY) + " load";
    for (const std::string& argument : arguments) command += " " + Quote(argument);
    return RunCommand(command + " 2>/dev/null");
}

std::string Counts(const char* classes, const char* controls, const char* interfaces,
                   const char* methods, const char* modules, const char* structures,
                   const char* enums, const char* extensions, const char* engines,
                   const char* sourceInterfaces, const char* sources, const char* connections) {
    return std::string("    ClassCount ") + classes + " ControlCount " + controls +
           " InterfaceCount " + interfaces + " MethodCount " + methods + " ModuleCount " + modules +
           " StructureCount " + structures + " EnumCount " + enums + " ClassExtensionCount " +
           extensions + " DatabaseEngineCount " + engines + " DataSourceInterfaceCount " +
           sourceInterfaces + " DataSourceCount " + sources + " DatabaseConnectionCount " +
           connections + "\n";
}

// What is left in a folder (names other than "." and ".."); empty when it does not exist.
std::vector<std::string> Children(const std::string& folder) {
    std::vector<std::string> names;
    if (DIR* dir = opendir(folder.c_str())) {
        while (dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..") names.push_back(name);
        }
        closedir(dir);
    }
    return names;
}

TEST(ZyneHostLoad, WidgetsContainer) {
    const PrivateHome home;
    const std::string path = GuestPath("Widgets.zqx");
    const Result result = ZyneHostLoad({path});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, path +
                              ": LoadPlugin true\n"
                              "  PluginName \"Widgets\"\n"
                              "  HasHelp true\n"
                              "  Count 1\n"
                              "  definition 0: ID \"plugin:Widgets.zqx:0\"\n"
                              "    targets: Linux\n" +
                              Counts("4", "2", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0"));
    EXPECT_EQ(Children(home / ".tmpZQData"), std::vector<std::string>{})
        << "the extracted library is removed when the bridge goes";
}

// Two Linux libraries and three Windows files: three definitions, the third Windows only.
TEST(ZyneHostLoad, ToolsContainer) {
    const PrivateHome home;
    const std::string path = GuestPath("Tools.zqx");
    const Result result = ZyneHostLoad({path});
    EXPECT_EQ(result.status, 0);
    const std::string expected =
        path + ": LoadPlugin true\n" + "  PluginName \"Tools\"\n" + "  HasHelp false\n" +
        "  Count 3\n" + "  definition 0: ID \"plugin:Tools.zqx:0\"\n" +
        "    targets: Linux Win32\n" +
        Counts("0", "0", "1", "2", "1", "1", "1", "0", "1", "1", "1", "1") +
        "  definition 1: ID \"plugin:Tools.zqx:1\"\n" + "    targets: Linux Win32\n" +
        Counts("1", "0", "0", "0", "0", "0", "0", "1", "0", "0", "0", "0");
    EXPECT_EQ(result.out.substr(0, expected.size()), expected);
    EXPECT_NE(result.out.find("  definition 2: ID"), std::string::npos);
    EXPECT_NE(result.out.find("    targets: Win32\n" +
                              Counts("0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0")),
              std::string::npos);
}

TEST(ZyneHostLoad, LegacyContainerAndSeveralFilesInOneRun) {
    const PrivateHome home;
    const Result result = ZyneHostLoad({GuestPath("Legacy.zqx"), GuestPath("Widgets.zqx")});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("  PluginName \"Legacy\"\n"), std::string::npos);
    EXPECT_NE(result.out.find(Counts("2", "2", "0", "0", "1", "0", "0", "0", "0", "0", "0", "0")),
              std::string::npos);
    EXPECT_NE(result.out.find("  PluginName \"Widgets\"\n"), std::string::npos)
        << "each file gets its own bridge";
}

TEST(ZyneHostLoad, BareLibrary) {
    const PrivateHome home;
    const std::string path = GuestPath("libsample_tools_b.so");
    const Result result = ZyneHostLoad({path});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find(path + ": LoadPlugin true\n"), std::string::npos);
    EXPECT_NE(result.out.find("  Count 1\n"), std::string::npos);
    EXPECT_NE(result.out.find("    targets: Linux\n" +
                              Counts("1", "0", "0", "0", "0", "0", "0", "1", "0", "0", "0", "0")),
              std::string::npos);
}

TEST(ZyneHostLoad, FailuresSetTheExitStatus) {
    const PrivateHome home;
    struct Row {
        std::string path;
        const char* why;
    };
    const Row rows[] = {
        {GuestPath("libsample_nomain.so"), "a library without ZYNEPluginMain"},
        {home / "missing.zqx", "a file that is not there"},
    };
    for (const Row& row : rows) {
        const Result result = ZyneHostLoad({row.path});
        EXPECT_EQ(result.status, 1) << row.why;
        EXPECT_EQ(result.out, row.path +
                                  ": LoadPlugin false\n  PluginName nil\n  HasHelp false\n"
                                  "  Count 0\n")
            << row.why;
    }
    // One failure among successes still fails the run, and the rest are loaded.
    const Result mixed = ZyneHostLoad({GuestPath("libsample_nomain.so"), GuestPath("Widgets.zqx")});
    EXPECT_EQ(mixed.status, 1);
    EXPECT_NE(mixed.out.find("Widgets.zqx: LoadPlugin true"), std::string::npos);
}

TEST(ZyneHostLoad, Usage) {
    EXPECT_EQ(ZyneHostLoad({}).status, 2) << "no plug-in named";
    EXPECT_EQ(ZyneHostLoad({"--frobnicate", GuestPath("Widgets.zqx")}).status, 2);
    EXPECT_EQ(ZyneHostLoad({"--help"}).status, 0);
    const PrivateHome home;
    EXPECT_EQ(ZyneHostLoad({"--bridge", home / "nowhere.so", GuestPath("Widgets.zqx")}).status, 1)
        << "no bridge to load";
}

}  // namespace
