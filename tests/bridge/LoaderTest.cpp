// LoaderTest.cpp - loading plug-in files through the reference host and the real bridge:
// bare libraries, containers built with the zqx tool, extraction into the temporary data
// folder, locking between processes, and UnixHelper::LoadLibrary.
//
// Every test runs in a private HOME. Containers are made at test time from the tiny
// guests of tests/bridge/guests, so each test builds exactly the layout it needs.
#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "LoaderTestSupport.h"
#include "ReferenceHost.h"
#include "core/string.h"
#include "files/UnixHelper.h"

namespace {

namespace fs = std::filesystem;
using namespace loadertest;
using zyne::host::ReferenceHost;

constexpr long kLinuxX86 = 4;

// ----- Disk helpers -----------------------------------------------------------------------

long ModeOf(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? static_cast<long>(info.st_mode & 0xFFF) : -1;
}

size_t OpenDescriptors() {
    size_t count = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        (void)entry;
        ++count;
    }
    return count;
}

bool MappedFromDataFolder() {
    return ReadFile("/proc/self/maps").find("/.tmpZQData/") != std::string::npos;
}

// One family of a container made with "zqx plugin". Libraries keep their own file names.
struct Family {
    std::string name;
    std::vector<std::string> linuxLibraries;
    std::vector<std::string> windowsFiles;
    std::string helpFolder;  // copied into "IDE Resources/Help" when set
};

// The container `output`; "" (and a test failure) when the tool fails.
std::string MakeContainer(const std::string& output, const Family& family) {
    std::vector<std::string> command = {LOADER_ZQX_TOOL, "plugin", output, "--name", family.name};
    if (!family.linuxLibraries.empty()) {
        command.push_back("--linux");
        command.insert(command.end(), family.linuxLibraries.begin(), family.linuxLibraries.end());
    }
    if (!family.windowsFiles.empty()) {
        command.push_back("--windows");
        command.insert(command.end(), family.windowsFiles.begin(), family.windowsFiles.end());
    }
    if (!family.helpFolder.empty()) {
        command.push_back("--help-dir");
        command.push_back(family.helpFolder);
    }
    const int status = RunProgram(command);
    EXPECT_EQ(status, 0) << "zqx plugin " << output;
    return status == 0 ? output : std::string();
}

// A container holding the given folders and files, by their own names, at the top level.
std::string MakeContainerOf(const std::string& output, const std::vector<std::string>& members) {
    std::vector<std::string> command = {LOADER_ZQX_TOOL, "create", output};
    command.insert(command.end(), members.begin(), members.end());
    const int status = RunProgram(command);
    EXPECT_EQ(status, 0) << "zqx create " << output;
    return status == 0 ? output : std::string();
}

// A copy of `library` at `path`.
std::string CopyOf(const std::string& library, const std::string& path) {
    fs::create_directories(fs::path(path).parent_path());
    fs::copy_file(library, path, fs::copy_options::overwrite_existing);
    return path;
}

// ----- Fixture ----------------------------------------------------------------------------

class LoaderTest : public HostFixture {
protected:
    long Count(ZYNEobject bridge) { return host_.Get<long>(bridge, "Count"); }
    std::string Text(ZYNEstring text) {
        std::string copy = ReferenceHost::Text(text);
        host_.Unlock(text);
        return copy;
    }

    // What the host sees of one record.
    struct Seen {
        long methods = -1;
        bool linux = false;
        bool win32 = false;
        bool others = false;  // any of the Mac targets
        std::string id;
    };
    Seen Record(ZYNEobject bridge, long index) {
        Seen seen;
        ZYNEobject definition = host_.Call<ZYNEobject>(bridge, "GetPluginDefinition", index);
        EXPECT_NE(definition, nullptr) << index;
        if (definition == nullptr) return seen;
        seen.methods = host_.Get<long>(definition, "MethodCount");
        seen.linux = host_.Get<bool>(definition, "IsTargetLinux");
        seen.win32 = host_.Get<bool>(definition, "IsTargetWin32");
        for (const char* flag : {"IsTargetClassic", "IsTargetCarbon", "IsTargetCocoa",
                                 "IsTargetMachO", "IsTargetMachOUniversal"}) {
            seen.others = seen.others || host_.Get<bool>(definition, flag);
        }
        seen.id = Text(host_.Get<ZYNEstring>(definition, "ID"));
        host_.Unlock(definition);
        return seen;
    }

};

// ----- Telling files apart ----------------------------------------------------------------

TEST_F(LoaderTest, ElfMagicLoadsABareLibraryWhateverItsName) {
    // The last name also ends in .zqx: a library that loads is never tried as a container.
    for (const std::string name : {"libplain.so", "noextension", "notes.txt", "guest.zqx"}) {
        SCOPED_TRACE(name);
        const std::string library = CopyOf(LOADER_GUEST_ONE, files_ / name);
        ZYNEobject bridge = NewBridge();
        EXPECT_TRUE(Load(bridge, library));
        ASSERT_EQ(Count(bridge), 1);
        const Seen seen = Record(bridge, 0);
        EXPECT_EQ(seen.methods, 1) << "the guest's registration is captured into the record";
        EXPECT_TRUE(seen.linux);
        EXPECT_FALSE(seen.win32 || seen.others);
        EXPECT_EQ(seen.id, "plugin:" + name + ":0");
        ZYNEobject definition = host_.Call<ZYNEobject>(bridge, "GetPluginDefinition", 0L);
        EXPECT_EQ(Text(host_.Call<ZYNEstring>(definition, "GetLibraryName", kLinuxX86)), name);
        host_.Unlock(definition);
        EXPECT_FALSE(Exists(DataFolder())) << "a bare library is loaded in place";
        host_.Unlock(bridge);
    }
    for (const std::string& line : host_.RegistrationOrder()) {
        EXPECT_EQ(line.find("LoaderGuest"), std::string::npos)
            << "a guest registers with the bridge's resolver, never with the host: " << line;
    }
}

TEST_F(LoaderTest, FilesThatAreNeitherLibraryNorContainerGiveFalse) {
    const struct {
        const char* name;
        std::string bytes;
    } rows[] = {
        {"notes.txt", "just some text\n"},
        {"empty.so", ""},
        {"short.so", std::string("\x7F"
                                 "EL",
                                 3)},  // the magic, one byte short
        {"almost.so", std::string("\x7F"
                                  "ELG and more",
                                  12)},
        {"garbage.zqx", "not a volume at all, only a container by name"},
        {"empty.ZQX", ""},
    };
    ZYNEobject bridge = NewBridge();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        WriteFile(files_ / row.name, row.bytes);
        EXPECT_FALSE(Load(bridge, files_ / row.name));
    }
    EXPECT_FALSE(Load(bridge, files_ / "missing.zqx"));
    EXPECT_FALSE(Load(bridge, files_ / "missing.so"));
    EXPECT_FALSE(host_.Call<bool>(bridge, "LoadPlugin", ZYNEobject{nullptr}));
    EXPECT_EQ(Count(bridge), 0);
    EXPECT_EQ(host_.Get<ZYNEstring>(bridge, "PluginName"), nullptr);
    host_.Unlock(bridge);
}

TEST_F(LoaderTest, LibraryWithoutEntryPointGivesFalseAndNoRecord) {
    // As a bare library, and as an ELF file named like a container, tried both ways.
    for (const std::string name : {"libnomain.so", "nomain.zqx"}) {
        SCOPED_TRACE(name);
        ZYNEobject bridge = NewBridge();
        EXPECT_FALSE(Load(bridge, CopyOf(LOADER_GUEST_NOMAIN, files_ / name)));
        EXPECT_EQ(Count(bridge), 0);
        host_.Unlock(bridge);
    }
}

TEST_F(LoaderTest, ContainerIsKnownByItsNameInAnyCase) {
    const std::string built = OneGuestContainer();
    ASSERT_FALSE(built.empty());
    const std::string extracted = DataFolder() + "/0loaderguest_one.so";
    for (const std::string name : {"a.zqx", "b.ZQX", "c.Zqx", "d.zqX"}) {
        SCOPED_TRACE(name);
        const std::string container = CopyOf(built, files_ / name);
        ZYNEobject bridge = NewBridge();
        EXPECT_TRUE(Load(bridge, container));
        ASSERT_EQ(Count(bridge), 1);
        EXPECT_EQ(Text(host_.Get<ZYNEstring>(bridge, "PluginName")), "One");
        const Seen seen = Record(bridge, 0);
        EXPECT_EQ(seen.methods, 1);
        EXPECT_TRUE(seen.linux);
        EXPECT_EQ(seen.id, "plugin:" + name + ":0");
        // Extracted under the first free name, byte for byte, and held locked.
        EXPECT_EQ(NamesIn(DataFolder()), std::vector<std::string>{"0loaderguest_one.so"});
        EXPECT_EQ(ReadFile(extracted), ReadFile(LOADER_GUEST_ONE));
        EXPECT_TRUE(HeldLocked(extracted));
        host_.Unlock(bridge);
        EXPECT_FALSE(Exists(extracted)) << "the record removes its extraction";
        EXPECT_FALSE(Exists(DataFolder())) << "the bridge sweeps the emptied folder away";
    }
    // The same bytes under another name are not a container.
    ZYNEobject bridge = NewBridge();
    EXPECT_FALSE(Load(bridge, CopyOf(built, files_ / "One.zqx.bak")));
    EXPECT_EQ(Count(bridge), 0);
    host_.Unlock(bridge);
}

// ----- Walking a container ----------------------------------------------------------------

TEST_F(LoaderTest, LibrariesOfOneIndexShareARecord) {
    std::vector<std::string> windows;
    for (const char* name : {"a.dll", "b.dll", "c.dll"}) {
        WriteFile(files_ / name, std::string("MZ windows library ") + name);
        windows.push_back(files_ / name);
    }
    const std::string container = MakeContainer(
        files_ / "Tools.zqx", {"Tools", {LOADER_GUEST_ONE, LOADER_GUEST_TWO}, windows, {}});
    ASSERT_FALSE(container.empty());
    ZYNEobject bridge = NewBridge();
    EXPECT_TRUE(Load(bridge, container));
    ASSERT_EQ(Count(bridge), 3);
    const Seen first = Record(bridge, 0);
    const Seen second = Record(bridge, 1);
    const Seen third = Record(bridge, 2);
    EXPECT_TRUE(first.linux && first.win32);
    EXPECT_TRUE(second.linux && second.win32);
    EXPECT_TRUE(third.win32);
    EXPECT_FALSE(third.linux);
    EXPECT_FALSE(first.others || second.others || third.others);
    EXPECT_EQ(std::set<long>({first.methods, second.methods}), std::set<long>({1, 2}))
        << "each Linux library loaded into its own record";
    EXPECT_EQ(third.methods, 0);
    EXPECT_EQ(first.id, "plugin:Tools.zqx:0");
    EXPECT_EQ(second.id, "plugin:Tools.zqx:1");
    EXPECT_EQ(third.id, "plugin:Tools.zqx:2");
    EXPECT_EQ(NamesIn(DataFolder()),
              (std::vector<std::string>{"0loaderguest_one.so", "0loaderguest_two.so"}));
    EXPECT_FALSE(host_.Get<bool>(bridge, "HasHelp"));
    host_.Unlock(bridge);
    EXPECT_FALSE(Exists(DataFolder()));
}

TEST_F(LoaderTest, EachTargetFolderMarksOnlyItsOwnTarget) {
    // A family without Linux libraries keeps its records but loads nothing: false.
    const struct {
        const char* folder;
        const char* flag;
    } rows[] = {
        {"Mac Classic", "IsTargetClassic"},
        {"Mac Carbon", "IsTargetCarbon"},
        {"Mac Carbon Mach-O", "IsTargetMachO"},
        {"Mac Carbon Mach-O Universal", "IsTargetMachOUniversal"},
        {"Windows", "IsTargetWin32"},
        {"Mac Cocoa", "IsTargetCocoa"},
    };
    const char* flags[] = {"IsTargetClassic",        "IsTargetCarbon", "IsTargetMachO",
                           "IsTargetMachOUniversal", "IsTargetWin32",  "IsTargetCocoa",
                           "IsTargetLinux"};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.folder);
        TempFolder tree;
        WriteFile(tree / (std::string("Other/Build Resources/") + row.folder + "/first.bin"), "1");
        WriteFile(tree / (std::string("Other/Build Resources/") + row.folder + "/second.bin"), "2");
        const std::string container = MakeContainerOf(files_ / "Other.zqx", {tree / "Other"});
        ASSERT_FALSE(container.empty());
        ZYNEobject bridge = NewBridge();
        EXPECT_FALSE(Load(bridge, container));
        ASSERT_EQ(Count(bridge), 2);
        for (long index : {0L, 1L}) {
            ZYNEobject definition = host_.Call<ZYNEobject>(bridge, "GetPluginDefinition", index);
            for (const char* flag : flags) {
                EXPECT_EQ(host_.Get<bool>(definition, flag), std::string(flag) == row.flag) << flag;
            }
            host_.Unlock(definition);
        }
        EXPECT_EQ(Record(bridge, 1).id, "plugin:Other.zqx:1") << "each record keeps its index";
        EXPECT_FALSE(Exists(DataFolder())) << "nothing was extracted";
        host_.Unlock(bridge);
    }
}

TEST_F(LoaderTest, FamilyWithoutBuildResourcesGivesFalseButItsName) {
    TempFolder tree;
    WriteFile(tree / "Bare/IDE Resources/Help/index.html", "<html></html>");
    WriteFile(tree / "Filed/Build Resources", "a file where the folder should be");
    for (const char* family : {"Bare", "Filed"}) {
        SCOPED_TRACE(family);
        const std::string container =
            MakeContainerOf(files_ / (std::string(family) + ".zqx"), {tree / family});
        ASSERT_FALSE(container.empty());
        ZYNEobject bridge = NewBridge();
        EXPECT_FALSE(Load(bridge, container));
        EXPECT_EQ(Count(bridge), 0);
        EXPECT_EQ(Text(host_.Get<ZYNEstring>(bridge, "PluginName")), family);
        EXPECT_EQ(host_.Get<bool>(bridge, "HasHelp"), std::string(family) == "Bare");
        host_.Unlock(bridge);
    }
}

TEST_F(LoaderTest, LastTopLevelFolderDecidesResultAndName) {
    // Two families, one with a library and one without "Build Resources"; both ways round.
    for (const bool libraryInAlpha : {true, false}) {
        SCOPED_TRACE(libraryInAlpha ? "library in Alpha" : "library in Beta");
        TempFolder tree;
        const std::string withLibrary = libraryInAlpha ? "Alpha" : "Beta";
        const std::string without = libraryInAlpha ? "Beta" : "Alpha";
        CopyOf(LOADER_GUEST_ONE,
               tree / (withLibrary + "/Build Resources/Linux X86/loaderguest_one.so"));
        WriteFile(tree / (without + "/IDE Resources/Help/index.html"), "<html></html>");
        WriteFile(tree / "README", "a plain file at the top level changes nothing");
        const std::string container = MakeContainerOf(
            files_ / (withLibrary + ".zqx"), {tree / "Alpha", tree / "Beta", tree / "README"});
        ASSERT_FALSE(container.empty());

        ZYNEobject bridge = NewBridge();
        const bool loaded = Load(bridge, container);
        const std::string last = Text(host_.Get<ZYNEstring>(bridge, "PluginName"));
        ASSERT_TRUE(last == "Alpha" || last == "Beta") << last;
        EXPECT_EQ(loaded, last == withLibrary) << "the answer is the last family's, " << last;
        EXPECT_EQ(Count(bridge), 1) << "both families were walked";
        EXPECT_EQ(Record(bridge, 0).methods, 1);
        EXPECT_TRUE(host_.Get<bool>(bridge, "HasHelp")) << "help found in either family stays";
        host_.Unlock(bridge);
    }
}

TEST_F(LoaderTest, HelpNeedsIndexHtml) {
    TempFolder helps;
    WriteFile(helps / "with/index.html", "<html></html>");
    WriteFile(helps / "without/other.html", "<html></html>");
    const struct {
        const char* folder;
        bool help;
    } rows[] = {{"with", true}, {"without", false}, {nullptr, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.folder != nullptr ? row.folder : "no help folder");
        const std::string container = MakeContainer(
            files_ / "Help.zqx",
            {"Help", {LOADER_GUEST_ONE}, {}, row.folder != nullptr ? helps / row.folder : ""});
        ASSERT_FALSE(container.empty());
        ZYNEobject bridge = NewBridge();
        EXPECT_TRUE(Load(bridge, container));
        EXPECT_EQ(host_.Get<bool>(bridge, "HasHelp"), row.help);
        host_.Unlock(bridge);
    }
}

// ----- The temporary data folder ----------------------------------------------------------

TEST_F(LoaderTest, NamesRunOutAfterAHundredLeftovers) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    for (const int leftovers : {99, 100}) {
        SCOPED_TRACE(leftovers);
        for (int n = 0; n < leftovers; ++n) {
            WriteFile(DataFolder() + "/" + std::to_string(n) + "loaderguest_one.so", "old");
        }
        ZYNEobject bridge = NewBridge();
        testing::internal::CaptureStdout();
        const bool loaded = Load(bridge, container);
        const std::string printed = testing::internal::GetCapturedStdout();
        ASSERT_EQ(Count(bridge), 1) << "the record stays either way";
        if (leftovers == 99) {
            EXPECT_TRUE(loaded);
            EXPECT_EQ(printed, "");
            EXPECT_EQ(ReadFile(DataFolder() + "/99loaderguest_one.so"), ReadFile(LOADER_GUEST_ONE));
            EXPECT_TRUE(Record(bridge, 0).linux);
        } else {
            EXPECT_FALSE(loaded);
            EXPECT_EQ(printed,
                      "Could not generate a unique filename for plugin loaderguest_one.so, "
                      "time to clean " +
                          DataFolder() + "/\n");
            EXPECT_FALSE(Record(bridge, 0).linux)
                << "a library that did not load is no Linux target";
            EXPECT_EQ(NamesIn(DataFolder()).size(), 100U) << "nothing was overwritten";
        }
        host_.Unlock(bridge);
        EXPECT_FALSE(Exists(DataFolder())) << "the sweep removes unlocked leftovers";
    }
}

TEST_F(LoaderTest, ExtractedFilesAreOpenToEveryone) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    // An existing, private folder is opened up; a new one is made open. umask 077 shows
    // that the modes are set, not left to the creation mask.
    for (const bool folderExists : {true, false}) {
        SCOPED_TRACE(folderExists ? "existing folder" : "new folder");
        if (folderExists) {
            ASSERT_EQ(mkdir(DataFolder().c_str(), 0700), 0);
        }
        const mode_t savedMask = umask(077);
        ZYNEobject bridge = NewBridge();
        EXPECT_TRUE(Load(bridge, container));
        umask(savedMask);
        EXPECT_EQ(ModeOf(DataFolder() + "/0loaderguest_one.so"), 0x1B6);
        EXPECT_EQ(ModeOf(DataFolder()) & 0x1FF, 0x1FF);
        host_.Unlock(bridge);
    }
}

TEST_F(LoaderTest, WithoutHomeLibrariesGoToTmpWhichIsNeverSwept) {
    // /tmp is shared, so the whole test runs in a child with a private /tmp of its own.
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    const std::string bytes = ReadFile(container);
    int report[2];
    ASSERT_EQ(pipe(report), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(report[0]);
        auto fail = [&](const std::string& why) {
            (void)!write(report[1], why.data(), why.size());
            _exit(1);
        };
        if (unshare(CLONE_NEWNS) != 0 ||
            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", "/tmp", "tmpfs", 0, nullptr) != 0) {
            _exit(77);
        }
        WriteFile("/tmp/in/One.zqx", bytes);
        WriteFile("/tmp/stray.txt", "someone else's file");
        WriteFile("/tmp/strays/inner.txt", "someone else's folder");
        unsetenv("HOME");
        ZYNEobject bridge = host_.NewInstance("PluginBridge");
        if (!Load(bridge, "/tmp/in/One.zqx")) fail("the load failed");
        if (ModeOf("/tmp/0loaderguest_one.so") != 0x1B6) fail("not extracted into /tmp");
        if (!HeldLocked("/tmp/0loaderguest_one.so")) fail("the extraction is not locked");
        host_.Unlock(bridge);
        if (Exists("/tmp/0loaderguest_one.so")) fail("the record left its extraction");
        if (!Exists("/tmp/stray.txt") || !Exists("/tmp/strays/inner.txt")) fail("/tmp was swept");
        if (Exists("/tmp/.tmpZQData")) fail("a data folder was made");
        _exit(0);
    }
    close(report[1]);
    char why[256] = {};
    (void)!read(report[0], why, sizeof why - 1);
    close(report[0]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 77) {
        GTEST_SKIP() << "no private mount namespace here";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0) << why;
}

// ----- Other processes --------------------------------------------------------------------

// A child process that loads `container` with a bridge of its own and holds it until
// released. With `go` >= 0 it waits for that pipe to close first, so several start at once.
class LoadingChild {
public:
    LoadingChild(ReferenceHost& host, const std::string& container, int go) {
        int ready[2];
        if (pipe(ready) != 0 || pipe(release_) != 0) return;
        fflush(stdout);
        pid_ = fork();
        if (pid_ == 0) {
            // Only its own pipe ends stay open: a child holding the write end of "go" or
            // another child's release pipe would keep them from ever seeing their end.
            for (int fd = 3; fd < 1024; ++fd) {
                if (fd != ready[1] && fd != release_[0] && fd != go) close(fd);
            }
            char byte;
            if (go >= 0) (void)!read(go, &byte, 1);
            char output[] = "/tmp/LoaderTestOutput.XXXXXX";
            const int captured = mkstemp(output);
            unlink(output);
            dup2(captured, 1);
            ZYNEobject bridge = host.NewInstance("PluginBridge");
            ZYNEobject item = host.NewFolderItem(container);
            const bool loaded = host.Call<bool>(bridge, "LoadPlugin", item);
            long methods = -1;
            if (host.Get<long>(bridge, "Count") == 1) {
                ZYNEobject definition = host.Call<ZYNEobject>(bridge, "GetPluginDefinition", 0L);
                methods = host.Get<long>(definition, "MethodCount");
            }
            fflush(stdout);
            std::string report = (loaded ? "1 " : "0 ") + std::to_string(methods) + " ";
            report += ReadFile("/proc/self/fd/" + std::to_string(captured));
            (void)!write(ready[1], report.data(), report.size());
            close(ready[1]);
            (void)!read(release_[0], &byte, 1);  // returns when the parent closes its end
            _exit(0);
        }
        close(ready[1]);
        close(release_[0]);
        ready_ = ready[0];
    }
    ~LoadingChild() { Release(); }
    LoadingChild(const LoadingChild&) = delete;
    LoadingChild& operator=(const LoadingChild&) = delete;

    // "<1|0> <method count> <what it printed>", once the child has loaded.
    std::string Report() {
        std::string report;
        char buffer[512];
        ssize_t got;
        while ((got = read(ready_, buffer, sizeof buffer)) > 0) {
            report.append(buffer, static_cast<size_t>(got));
        }
        return report;
    }
    void Release() {
        if (pid_ <= 0) return;
        close(ready_);
        close(release_[1]);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    int release_[2] = {-1, -1};
    int ready_ = -1;
    pid_t pid_ = -1;
};

TEST_F(LoaderTest, ProcessesLoadingAtOnceNeverShareAFile) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    const std::string library = ReadFile(LOADER_GUEST_ONE);
    constexpr int kRounds = 5;
    constexpr int kChildren = 3;
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE(round);
        int go[2];
        ASSERT_EQ(pipe(go), 0);
        std::vector<std::unique_ptr<LoadingChild>> children;
        for (int i = 0; i < kChildren; ++i) {
            children.push_back(std::make_unique<LoadingChild>(host_, container, go[0]));
        }
        close(go[0]);
        close(go[1]);  // the children's reads return: all start at once
        int loaded = 0;
        for (auto& child : children) {
            const std::string report = child->Report();
            if (report.starts_with("1 ")) {
                ++loaded;
                EXPECT_EQ(report, "1 1 ")
                    << "a loaded child printed nothing and captured its guest";
            } else {
                EXPECT_TRUE(report.find("Duplicate plug-in found ") != std::string::npos ||
                            report.find("NOT GOOD: File already locked?\n") != std::string::npos)
                    << report;
            }
        }
        // Every file is whole and held by a child that loaded it.
        const std::vector<std::string> names = NamesIn(DataFolder());
        EXPECT_EQ(static_cast<int>(names.size()), loaded);
        for (const std::string& name : names) {
            EXPECT_EQ(ReadFile(DataFolder() + "/" + name), library) << name;
            EXPECT_TRUE(HeldLocked(DataFolder() + "/" + name)) << name;
        }
        EXPECT_GE(loaded, 1);
        children.clear();  // released: their locks go with them
        for (const std::string& name : names) {
            EXPECT_FALSE(HeldLocked(DataFolder() + "/" + name)) << name;
        }
        // This process never had a data folder, so no bridge of its own sweeps it.
        fs::remove_all(DataFolder());
    }
}

TEST_F(LoaderTest, SweepLeavesWhatAnotherProcessHolds) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    auto holder = std::make_unique<LoadingChild>(host_, container, -1);
    ASSERT_EQ(holder->Report(), "1 1 ");
    const std::string held = DataFolder() + "/0loaderguest_one.so";
    ASSERT_TRUE(HeldLocked(held));

    ZYNEobject bridge = NewBridge();
    EXPECT_TRUE(Load(bridge, container));
    EXPECT_EQ(NamesIn(DataFolder()),
              (std::vector<std::string>{"0loaderguest_one.so", "1loaderguest_one.so"}));
    host_.Unlock(bridge);
    EXPECT_TRUE(Exists(held)) << "the other process's library survives the sweep";
    EXPECT_FALSE(Exists(DataFolder() + "/1loaderguest_one.so"));

    holder.reset();  // the other process ends; its file is now a leftover
    ZYNEobject next = NewBridge();
    host_.Unlock(next);
    EXPECT_FALSE(Exists(DataFolder())) << "the next bridge's sweep removes leftover and folder";
}

TEST_F(LoaderTest, TwoHundredBridgesLeaveNoDescriptorFileOrMapping) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    const size_t descriptors = OpenDescriptors();
    for (int i = 0; i < 200; ++i) {
        ZYNEobject bridge = NewBridge();
        ASSERT_TRUE(Load(bridge, container)) << i;
        host_.Unlock(bridge);
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
    EXPECT_FALSE(Exists(DataFolder()));
    EXPECT_FALSE(MappedFromDataFolder()) << "every extracted library was unloaded";
    EXPECT_EQ(host_.LiveObjects(), 0U);
}

TEST_F(LoaderTest, LocksOfLoadedPluginsDoNotReachChildProcesses) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    ZYNEobject bridge = NewBridge();
    ASSERT_TRUE(Load(bridge, container));
    // A program the host starts must not inherit (and so prolong) the lock.
    const int status = RunProgram(
        {"/bin/sh", "-c", "case \"$(ls -l /proc/$$/fd)\" in *tmpZQData*) exit 1;; esac"});
    EXPECT_EQ(status, 0);
    host_.Unlock(bridge);
}

// ----- UnixHelper::LoadLibrary ------------------------------------------------------------

TEST(LoadLibraryTest, FindsLibrariesTheWaysUsersNameThem) {
    TempFolder links;
    const std::string guest = LOADER_GUEST_TWO;
    const std::string withoutSuffix = guest.substr(0, guest.size() - 3);  // ".so" added back
    // A link whose relative target only the loader's own search finds.
    ASSERT_EQ(symlink("libm.so.6", (links / "maths").c_str()), 0);
    const struct {
        std::string name;
        const char* symbol;  // looked up in the handle; null: no handle expected
    } rows[] = {
        {guest, "ZYNEPluginMain"},
        {withoutSuffix, "ZYNEPluginMain"},
        {links / "maths", "cos"},
        {"libm.so", "cos"},  // on x86-64 a linker script: found through the loader cache
        {"libzyne-loader-test-no-such-library", nullptr},
        {"", nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        void* handle = UnixHelper::LoadLibrary(string(row.name.c_str()));
        if (row.symbol == nullptr) {
            EXPECT_EQ(handle, nullptr);
            continue;
        }
        ASSERT_NE(handle, nullptr);
        EXPECT_NE(dlsym(handle, row.symbol), nullptr);
        dlclose(handle);
    }
}

}  // namespace
