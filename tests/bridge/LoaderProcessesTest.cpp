// LoaderProcessesTest.cpp - the loader among other processes: programs started while a
// plug-in is loaded inherit none of its files or locks; processes loading one container
// at once, sweeping as they go, never remove each other's files; and a thousand bridges
// leave descriptors and memory where they were.
//
// ZYNE_LOADER_TEST_ROUNDS scales the round counts down (e.g. 20 for a quick run).
#include <dirent.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "../support/Sanitized.h"
#include "LoaderTestSupport.h"
#include "bridge/Container.h"
#include "core/string.h"
#include "files/FolderItemImpUnix.h"
#include "files/UnixHelper.h"
#include "streams/DataFile.h"

namespace {

using namespace loadertest;

int Rounds(int usual) {
    const char* scaled = std::getenv("ZYNE_LOADER_TEST_ROUNDS");
    const int rounds = scaled != nullptr ? std::atoi(scaled) : 0;
    return rounds > 0 && rounds < usual ? rounds : usual;
}

// Each open descriptor of this process with what it leads to.
std::vector<std::pair<int, std::string>> OpenFiles() {
    std::vector<std::pair<int, std::string>> files;
    DIR* folder = opendir("/proc/self/fd");
    if (folder == nullptr) return files;
    const int own = dirfd(folder);
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_name[0] == '.') continue;
        const int fd = std::atoi(entry->d_name);
        if (fd == own) continue;
        char target[PATH_MAX] = {};
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        const ssize_t got = readlink(link.c_str(), target, sizeof target - 1);
        files.emplace_back(fd, got < 0 ? std::string() : std::string(target));
    }
    closedir(folder);
    return files;
}

// Whether some entry of `folder` is the file `file`.
bool NamedInFolder(const std::string& folder, const struct stat& file) {
    for (const std::string& name : NamesIn(folder)) {
        struct stat byName;
        if (lstat((folder + "/" + name).c_str(), &byName) == 0 && byName.st_ino == file.st_ino &&
            byName.st_dev == file.st_dev) {
            return true;
        }
    }
    return false;
}

long ResidentBytes() {
    long pages = 0;
    long resident = 0;
    std::FILE* statm = std::fopen("/proc/self/statm", "re");
    if (statm == nullptr) return -1;
    const bool read = std::fscanf(statm, "%ld %ld", &pages, &resident) == 2;
    std::fclose(statm);
    return read ? resident * sysconf(_SC_PAGESIZE) : -1;
}

// ----- Programs started while a plug-in is loaded -----------------------------------------

class ChildProgramsTest : public HostFixture {
protected:
    void SetUp() override {
        HostFixture::SetUp();
        const char* path = std::getenv("PATH");
        savedPath_ = path != nullptr ? path : "";
        // "cp" and "mv" of the shell commands behind CopyFileTo and MoveFileTo are found
        // on the PATH: these stand-ins report what they inherited instead.
        const std::string report =
            "#!/bin/sh\n"
            "name=${0##*/}; [ \"$name\" = report ] && name=$1\n"
            "ls -l /proc/$$/fd > \"" +
            listings_.Path() +
            "/$name.part\" 2>&1\n"
            "/bin/mv \"" +
            listings_.Path() + "/$name.part\" \"" + listings_.Path() +
            "/$name\"\n"
            "[ \"$name\" = launch ] && exec sleep 2 > /dev/null 2>&1\n"
            "exit 0\n";
        for (const char* name : {"report", "cp", "mv"}) {
            WriteFile(bin_ / name, report);
            chmod((bin_ / name).c_str(), 0755);
        }
        setenv("PATH", (bin_.Path() + ":" + savedPath_).c_str(), 1);
    }
    void TearDown() override {
        setenv("PATH", savedPath_.c_str(), 1);
        HostFixture::TearDown();
    }

    // What the program started as `name` listed of its descriptors; waits for a program
    // started in the background. Empty when it never wrote its list.
    std::string Listing(const std::string& name) {
        for (int i = 0; i < 500 && !Exists(listings_ / name); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return ReadFile(listings_ / name);
    }

    TempFolder bin_;
    TempFolder listings_;

private:
    std::string savedPath_;
};

TEST_F(ChildProgramsTest, ProgramsStartedWhileAPluginIsLoadedInheritNoFileOrLock) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    ZYNEobject bridge = NewBridge();
    ASSERT_TRUE(Load(bridge, container));
    // A second name for the extracted file, to see its lock after the bridge removed it.
    const std::string held = home_ / "held.so";
    ASSERT_EQ(link(Extracted(0).c_str(), held.c_str()), 0);

    // Files the library's own streams hold open meanwhile: a container's volume, a file
    // open for writing (and so locked), a temporary file.
    FolderItemImpUnix containerItem{string(container.c_str())};
    FolderItemImp* root = OpenContainerRoot(&containerItem);
    ASSERT_NE(root, nullptr);
    const std::string written = files_ / "written.dat";
    WriteFile(written, "data");
    long error = 0;
    DataFile* writing = DataFile::OpenFromPath(string(written.c_str()), kDataFileReadWrite, &error);
    ASSERT_NE(writing, nullptr);
    DataFile* temporary = DataFile::CreateTemporaryFile(&error);
    ASSERT_NE(temporary, nullptr);

    FolderItemImpUnix reportItem{string((bin_ / "report").c_str())};
    EXPECT_TRUE(reportItem.Launch(string("launch"), 0));
    UnixHelper::ExecuteShell(string("report shell"), 1);
    FolderItemImpUnix source{string(written.c_str())};
    FolderItemImpUnix target{string((files_ / "copy.dat").c_str())};
    EXPECT_TRUE(source.CopyFileTo(&target));
    EXPECT_TRUE(source.MoveFileTo(&target));

    for (const char* name : {"launch", "shell", "cp", "mv"}) {
        SCOPED_TRACE(name);
        const std::string listing = Listing(name);
        ASSERT_FALSE(listing.empty()) << "the program never ran";
        for (const std::string& ours : {home_.Path(), files_.Path(), std::string("(deleted)"),
                                        std::string(LOADER_GUEST_ONE)}) {
            EXPECT_EQ(listing.find(ours), std::string::npos) << ours << " in\n" << listing;
        }
    }

    // The program started in the background still runs: it must not keep any lock alive.
    delete writing;
    delete temporary;
    CloseContainerRoot(root);
    host_.Unlock(bridge);
    EXPECT_FALSE(Exists(Extracted(0)));
    EXPECT_FALSE(HeldLocked(held)) << "a child still holds the extracted file's lock";
    EXPECT_FALSE(HeldLocked(written)) << "a child still holds a written file's lock";
}

// ----- Processes loading at once ----------------------------------------------------------

// What one loading process saw, sent to the parent as one line.
struct Tally {
    int loaded = 0;
    int refused = 0;  // with the duplicate message (or, named, the lock refused)
    int problems = 0;
    std::string firstProblem;
};

class LoaderProcessesTest : public HostFixture, public ::testing::WithParamInterface<Creation> {
protected:
    CreationSwitch creation_{GetParam()};

    // Loads `container` `rounds` times with a new bridge each time, and checks while it is
    // loaded that the file this process holds locked is still the one under its name.
    Tally LoadAgainAndAgain(const std::string& container, int rounds) {
        Tally tally;
        auto problem = [&](const std::string& what) {
            if (tally.problems++ == 0) tally.firstProblem = what;
        };
        char output[] = "/tmp/LoaderProcessesOutput.XXXXXX";
        const int captured = mkstemp(output);
        unlink(output);
        dup2(captured, 1);
        off_t seen = 0;
        const std::string folder = DataFolder() + "/";
        for (int i = 0; i < rounds; ++i) {
            ZYNEobject bridge = host_.NewInstance("PluginBridge");
            const bool loaded = Load(bridge, container);
            std::fflush(stdout);
            const off_t end = lseek(captured, 0, SEEK_END);
            std::string printed(static_cast<size_t>(end - seen), '\0');
            if (pread(captured, printed.data(), printed.size(), seen) < 0) printed.clear();
            seen = end;
            if (!loaded) {
                if (printed.starts_with("Duplicate plug-in found ")) {
                    ++tally.refused;
                } else if (GetParam() == Creation::kNamed &&
                           printed == "NOT GOOD: File already locked?\n") {
                    // Without unnamed files a sweep can meet the new, empty file and
                    // hold its lock for a moment: the very race unnamed files remove.
                    ++tally.refused;
                } else {
                    problem("load " + std::to_string(i) + " failed: " + printed);
                }
            } else {
                ++tally.loaded;
                if (!printed.empty()) problem("printed: " + printed);
                // The lock's descriptor still names the unnamed file it was made as; the
                // name it was published under must still lead to that very file.
                int held = 0;
                for (const auto& [fd, path] : OpenFiles()) {
                    if (!path.starts_with(folder)) continue;
                    ++held;
                    struct stat byDescriptor;
                    const std::string self = "/proc/self/fd/" + std::to_string(fd);
                    if (stat(self.c_str(), &byDescriptor) != 0 ||
                        !NamedInFolder(DataFolder(), byDescriptor)) {
                        problem("round " + std::to_string(i) + ": " + path + " was removed");
                    }
                }
                if (held != 1) {
                    std::string all;
                    for (const auto& [fd, path] : OpenFiles()) all += " " + path;
                    problem("holding " + std::to_string(held) + " files:" + all);
                }
            }
            host_.Unlock(bridge);  // its record goes, and its sweep runs
        }
        close(captured);
        return tally;
    }
};

TEST_P(LoaderProcessesTest, FourProcessesLoadingOneContainerNeverRemoveEachOthersFiles) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    constexpr int kProcesses = 4;
    const int rounds = Rounds(200);
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    std::vector<std::pair<pid_t, int>> children;
    for (int p = 0; p < kProcesses; ++p) {
        int report[2];
        ASSERT_EQ(pipe(report), 0);
        std::fflush(stdout);
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            close(go[1]);
            close(report[0]);
            for (const auto& [other, reportEnd] : children) close(reportEnd);
            char byte;
            (void)!read(go[0], &byte, 1);  // returns when the parent closes its end
            const Tally tally = LoadAgainAndAgain(container, rounds);
            const std::string line = std::to_string(tally.loaded) + " " +
                                     std::to_string(tally.refused) + " " +
                                     std::to_string(tally.problems) + " " + tally.firstProblem;
            (void)!write(report[1], line.data(), line.size());
            _exit(0);
        }
        close(report[1]);
        children.emplace_back(pid, report[0]);
    }
    close(go[0]);
    close(go[1]);  // all start at once

    int loaded = 0;
    int duplicates = 0;
    for (const auto& [pid, reportEnd] : children) {
        std::string line;
        char buffer[512];
        ssize_t got;
        while ((got = read(reportEnd, buffer, sizeof buffer)) > 0) {
            line.append(buffer, static_cast<size_t>(got));
        }
        close(reportEnd);
        int status = 0;
        EXPECT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << line;
        int childLoaded = 0;
        int childDuplicates = 0;
        int problems = -1;
        int used = 0;
        ASSERT_EQ(std::sscanf(line.c_str(), "%d %d %d %n", &childLoaded, &childDuplicates,
                              &problems, &used),
                  3)
            << line;
        EXPECT_EQ(problems, 0) << line.substr(static_cast<size_t>(used));
        EXPECT_EQ(childLoaded + childDuplicates, rounds);
        loaded += childLoaded;
        duplicates += childDuplicates;
    }
    EXPECT_GT(loaded, 0);
    std::printf("[ figures  ] %d loads, %d refused as duplicates (or, named, as locked)\n", loaded,
                duplicates);
    for (const std::string& name : NamesIn(DataFolder())) {
        ADD_FAILURE() << "left behind: " << name;
    }
}

TEST_P(LoaderProcessesTest, AThousandBridgesKeepDescriptorsAndMemoryFlat) {
    const std::string container = OneGuestContainer();
    ASSERT_FALSE(container.empty());
    const int rounds = Rounds(1000);
    const int warmUp = rounds / 10;
    size_t descriptorsAfterWarmUp = 0;
    long residentAfterWarmUp = 0;
    for (int i = 0; i < rounds; ++i) {
        ZYNEobject bridge = NewBridge();
        ASSERT_TRUE(Load(bridge, container)) << i;
        host_.Unlock(bridge);
        if (i + 1 == warmUp) {
            descriptorsAfterWarmUp = OpenFiles().size();
            residentAfterWarmUp = ResidentBytes();
        }
    }
    const size_t descriptors = OpenFiles().size();
    const long resident = ResidentBytes();
    std::printf(
        "[ figures  ] after %d bridges: %zu descriptors, %ld KiB resident; after %d: "
        "%zu descriptors, %ld KiB resident\n",
        warmUp, descriptorsAfterWarmUp, residentAfterWarmUp / 1024, rounds, descriptors,
        resident / 1024);
    EXPECT_EQ(descriptors, descriptorsAfterWarmUp);
    // Freed memory stays in the sanitizer's quarantine: resident size says nothing there,
    // and LeakSanitizer checks the same at exit.
    if (ZYNE_SANITIZED) return;
    // A leak of the library's bytes read from the container (over 400 KiB) per bridge,
    // or of one mapping of it, would pass the bound many times over.
    EXPECT_LT(resident - residentAfterWarmUp, 2L * 1024 * 1024);
    EXPECT_FALSE(Exists(DataFolder()));
    EXPECT_EQ(host_.LiveObjects(), 0U);
}

INSTANTIATE_TEST_SUITE_P(BothWays, LoaderProcessesTest,
                         ::testing::Values(Creation::kUnnamed, Creation::kNamed), CreationName);

}  // namespace
