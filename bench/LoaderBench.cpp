// LoaderBench.cpp - loading plug-ins: LoadPlugin of a container against copying and dlopen.
//
// LoadPluginContainer/16777216 loads big.zqx, one guest library padded to 16 MiB in
// "Linux X86"; dlopenAfterCp/16777216 runs `cp` of the same library into a private folder,
// dlopens the copy, looks up its ZYNEPluginMain, closes it and removes the copy (goal:
// LoadPlugin within 2x). LoadPluginGuests/50 loads many.zqx, one family of 50 small guests;
// dlopenGuests/50 dlopens the 50 built libraries (distinct files), looks each entry up,
// then closes them all (per-guest ratio, no goal). Both sides handle the same files, made
// at build time in bench/guests.
//
// The LoadPlugin side runs as a host does, through the reference host and the real bridge:
// each iteration makes a PluginBridge, calls LoadPlugin with a folder item of the
// container and destroys the bridge, which closes the guests and removes their extracted
// copies. An iteration counts only when LoadPlugin answered true, the bridge holds one
// definition per library and every guest's entry ran. File I/O (and cp's child process)
// does much of the work, so all four are timed in real time.
//
// From the first loader benchmark on, HOME points at a private folder: extracted libraries
// go to $HOME/.tmpZQData, which must be empty again after every run. Not measured: loading
// the bridge and making the folder item (once per run), the guests' page cache warm-up
// (one untimed load before the timed ones).
#include <dirent.h>
#include <dlfcn.h>
#include <ftw.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "RatioReporter.h"
#include "ReferenceHost.h"
#include "Suites.h"

extern char** environ;

namespace {

using zyne::host::ReferenceHost;

constexpr long kGuestCount = ZYNE_BENCH_GUEST_COUNT;
constexpr long kBigLibraryBytes = ZYNE_BENCH_BIG_LIBRARY_BYTES;

// ----- Private folders --------------------------------------------------------------------

int RemoveOne(const char* path, const struct stat*, int, struct FTW*) {
    ::remove(path);
    return 0;
}

// The folder is made on first use and removed with its contents when the process ends.
// It holds "home", the HOME of every loader benchmark, and "copies", cp's destination.
class BenchFolder {
public:
    /// The folder's path; empty when it could not be made.
    static const std::string& Path() {
        static BenchFolder folder;
        return folder.mFolder;
    }

private:
    BenchFolder() {
        const char* root = getenv("TMPDIR");
        if (!root || !*root) root = "/tmp";
        std::string pattern = std::string(root) + "/zyne-loaderbench-XXXXXX";
        if (mkdtemp(pattern.data())) mFolder = pattern;
    }
    ~BenchFolder() {
        if (!mFolder.empty()) nftw(mFolder.c_str(), RemoveOne, 8, FTW_DEPTH | FTW_PHYS);
    }
    std::string mFolder;
};

// A subfolder of the bench folder, made if missing; empty when it cannot be.
std::string Subfolder(const char* name) {
    if (BenchFolder::Path().empty()) return {};
    std::string path = BenchFolder::Path() + "/" + name;
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return {};
    return path;
}

// Points HOME at the private home, once per process, and returns it; empty on failure.
// Left set afterwards: a bridge loaded later may still remember the folder it found.
const std::string& PrivateHome() {
    static const std::string home = [] {
        std::string path = Subfolder("home");
        if (!path.empty() && setenv("HOME", path.c_str(), 1) != 0) path.clear();
        return path;
    }();
    return home;
}

// How many entries the folder holds besides "." and ".."; 0 when it does not exist.
long EntriesIn(const std::string& folder) {
    DIR* dir = opendir(folder.c_str());
    if (!dir) return 0;
    long count = 0;
    while (const dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") ++count;
    }
    closedir(dir);
    return count;
}

// Fails the run when a load left anything in the bridge's temporary data folder.
void RequireNoLeftovers(benchmark::State& state) {
    const std::string folder = PrivateHome() + "/.tmpZQData";
    if (const long left = EntriesIn(folder); left != 0) {
        state.SkipWithError((std::to_string(left) + " files left in " + folder).c_str());
    }
}

// ----- The LoadPlugin side ----------------------------------------------------------------

// Guests that entered since the last reset, counted by the host service below, which each
// bench guest calls from its PluginEntry.
long gGuestsEntered = 0;
void BenchGuestEntered(const char*) {
    ++gGuestsEntered;
}

// The reference host with this build's bridge loaded, HOME private, and a folder item for
// one container. One per benchmark run: only one host may live in a process.
class LoaderHost {
public:
    explicit LoaderHost(const std::string& container) {
        if (PrivateHome().empty()) {
            mError = "no private HOME";
            return;
        }
        if (!mHost.Load()) {
            mError = mHost.Error();
            return;
        }
        mHost.Provide("BenchGuestEntered", reinterpret_cast<void*>(&BenchGuestEntered));
        using FromPath = ZYNEobject (*)(const char* path);
        const auto fromPath = mHost.Service<FromPath>("FolderItemFromPath");
        if (!fromPath) {
            mError = "the host offers no FolderItemFromPath";
            return;
        }
        mItem = fromPath(container.c_str());
        if (!mItem) mError = "no folder item for " + container;
    }
    ~LoaderHost() { mHost.Unlock(mItem); }
    LoaderHost(const LoaderHost&) = delete;
    LoaderHost& operator=(const LoaderHost&) = delete;

    /// Empty when the host is ready to load; else what went wrong.
    const std::string& Error() const { return mError; }

    /// One load as a host does it: a new PluginBridge, LoadPlugin, the bridge destroyed.
    /// Empty when LoadPlugin answered true with `libraries` definitions and as many guests
    /// entered; else what went wrong.
    std::string LoadOnce(long libraries) {
        gGuestsEntered = 0;
        std::string failure;
        ZYNEobject bridge = mHost.NewInstance("PluginBridge");
        if (!bridge) return "no PluginBridge class";
        try {
            if (!mHost.Call<bool>(bridge, "LoadPlugin", mItem)) {
                failure = "LoadPlugin answered false";
            } else if (const long count = mHost.Get<long>(bridge, "Count"); count != libraries) {
                failure = "the bridge holds " + std::to_string(count) + " definitions";
            } else if (gGuestsEntered != libraries) {
                failure = std::to_string(gGuestsEntered) + " guests entered";
            }
        } catch (const std::exception& e) {
            failure = e.what();
        }
        mHost.Unlock(bridge);
        // The host logs every service call; a long run must not pile them up.
        mHost.ClearLog();
        return failure;
    }

private:
    ReferenceHost mHost;
    ZYNEobject mItem = nullptr;
    std::string mError;
};

// Loads `container` (holding `libraries` guests) once untimed, then once per iteration.
void RunLoadPlugin(benchmark::State& state, const std::string& container, long libraries) {
    LoaderHost host(container);
    std::string failure = host.Error();
    if (failure.empty()) failure = host.LoadOnce(libraries);
    if (!failure.empty()) {
        state.SkipWithError(failure.c_str());
        return;
    }
    for (auto _ : state) {
        failure = host.LoadOnce(libraries);
        if (!failure.empty()) {
            state.SkipWithError(failure.c_str());
            break;
        }
    }
    RequireNoLeftovers(state);
}

void LoadPluginContainer(benchmark::State& state) {
    RunLoadPlugin(state, ZYNE_BENCH_BIG_CONTAINER, 1);
    state.SetBytesProcessed(state.iterations() * kBigLibraryBytes);
}

void LoadPluginGuests(benchmark::State& state) {
    RunLoadPlugin(state, ZYNE_BENCH_MANY_CONTAINER, kGuestCount);
    state.SetItemsProcessed(state.iterations() * kGuestCount);
}

// ----- The references ---------------------------------------------------------------------

// Spawns argv[0] (searched on PATH), waits for it and returns true only for exit status 0.
bool RunChild(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return false;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// dlopen as the bridge opens guests (lazy, local) and the entry looked up; null on failure,
// with the handle closed.
void* OpenGuest(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (handle && !dlsym(handle, "ZYNEPluginMain")) {
        dlclose(handle);
        return nullptr;
    }
    return handle;
}

// cp of the library, dlopen of the copy, dlclose, the copy removed; false on any failure.
bool CopyAndOpen(const std::string& library, const std::string& copy) {
    if (!RunChild({"cp", library, copy})) return false;
    void* handle = OpenGuest(copy);
    const bool ok = handle != nullptr && dlclose(handle) == 0;
    return unlink(copy.c_str()) == 0 && ok;
}

void dlopenAfterCp(benchmark::State& state) {
    const std::string library = ZYNE_BENCH_BIG_LIBRARY;
    const std::string folder = Subfolder("copies");
    struct stat info {};
    if (stat(library.c_str(), &info) != 0 || info.st_size != kBigLibraryBytes) {
        state.SkipWithError("the big library is missing or not of its size");
        return;
    }
    // The same name the bridge would give its first extracted copy.
    const std::string copy = folder + "/0BigGuest.so";
    if (folder.empty() || !CopyAndOpen(library, copy)) {
        state.SkipWithError("cp or dlopen failed");
        return;
    }
    for (auto _ : state) {
        if (!CopyAndOpen(library, copy)) {
            state.SkipWithError("cp or dlopen failed");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * kBigLibraryBytes);
}

// The built guest libraries, in container order.
std::vector<std::string> GuestLibraries() {
    std::vector<std::string> paths;
    for (long i = 0; i < kGuestCount; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "/BenchGuest%02ld.so", i);
        paths.push_back(std::string(ZYNE_BENCH_GUEST_FOLDER) + name);
    }
    return paths;
}

// dlopen of every library, then dlclose of them all, as a bridge holds its guests until
// it is destroyed; false when any failed.
bool OpenAll(const std::vector<std::string>& paths, std::vector<void*>& handles) {
    bool ok = true;
    for (const std::string& path : paths) {
        void* handle = OpenGuest(path);
        ok = ok && handle != nullptr;
        if (handle) handles.push_back(handle);
    }
    for (void* handle : handles) ok = dlclose(handle) == 0 && ok;
    handles.clear();
    return ok;
}

void dlopenGuests(benchmark::State& state) {
    const std::vector<std::string> paths = GuestLibraries();
    std::vector<void*> handles;
    handles.reserve(paths.size());
    if (!OpenAll(paths, handles)) {
        state.SkipWithError("dlopen of a guest failed");
        return;
    }
    for (auto _ : state) {
        if (!OpenAll(paths, handles)) {
            state.SkipWithError("dlopen of a guest failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * kGuestCount);
}

}  // namespace

// Each pair subject first, then its reference.
bool RegisterLoaderBenchmarks(RatioReporter& reporter) {
    for (auto* b :
         {benchmark::RegisterBenchmark("LoadPluginContainer", LoadPluginContainer)
              ->Arg(kBigLibraryBytes),
          benchmark::RegisterBenchmark("dlopenAfterCp", dlopenAfterCp)->Arg(kBigLibraryBytes),
          benchmark::RegisterBenchmark("LoadPluginGuests", LoadPluginGuests)->Arg(kGuestCount),
          benchmark::RegisterBenchmark("dlopenGuests", dlopenGuests)->Arg(kGuestCount)}) {
        b->UseRealTime()->Unit(benchmark::kMillisecond);
    }
    const std::string big = std::to_string(kBigLibraryBytes);
    const std::string many = std::to_string(kGuestCount);
    reporter.AddRatio("LoadPlugin of a 16 MiB library/cp + dlopen of it",
                      "LoadPluginContainer/" + big, "dlopenAfterCp/" + big, 2.0);
    reporter.AddRatio(
        "LoadPlugin of " + many + " guests/dlopen of the " + many + " libraries (per guest)",
        "LoadPluginGuests/" + many, "dlopenGuests/" + many, 0.0);
    return true;
}
