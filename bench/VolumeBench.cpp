// VolumeBench.cpp - containers: zqx create and extract against tar, and opening a big volume.
//
// zqxCreate/<bytes> and zqxExtract/<bytes> run the zqx tool on one file of 16 or 64 MiB,
// tarCreate/<bytes> and tarExtract/<bytes> run `tar -cf` and `tar -xf` on the same file;
// each iteration spawns the child, waits for it and requires exit status 0. Since the
// children do the work these four are timed in real (wall) time (goal: zqx within 3x of
// tar, and create of 64 MiB within 4.5x of 16 MiB). VolumeOpenList/10000 opens a container
// of 10,000 small files from disk and lists them all through VHFSVolume (names and types);
// FolderItemWalk/10000 opens it the same way and walks the folder as the loader does,
// through UnixFolderItemImpVirtual: the count, then every child by index, asking each
// whether it is a folder; readdirList/10000 reads the folder on disk it was made from with
// readdir (no goal). Everything lives in a private temporary folder removed when the
// process ends.
// Not measured: the disk itself (files sit in the page cache; zqx's fsync is timed).
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "RatioReporter.h"
#include "Suites.h"
#include "core/string.h"
#include "streams/DataFile.h"
#include "virtualvolume/UnixFolderItemImpVirtual.h"
#include "virtualvolume/VHFSVolume.h"

extern char** environ;

namespace {

constexpr long kSmallFileCount = 10000;
constexpr long kSmallFileBytes = 100;

// The folder is made on first use and removed with its contents when the process ends.
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
        std::string pattern = std::string(root) + "/zyne-volumebench-XXXXXX";
        if (mkdtemp(pattern.data())) mFolder = pattern;
    }
    ~BenchFolder() {
        if (!mFolder.empty()) nftw(mFolder.c_str(), Remove, 8, FTW_DEPTH | FTW_PHYS);
    }
    static int Remove(const char* path, const struct stat*, int, struct FTW*) {
        ::remove(path);
        return 0;
    }
    std::string mFolder;
};

// Spawns argv[0] (searched on PATH when it has no "/") with standard output on /dev/null,
// waits for it and returns true only for exit status 0. Standard error stays ours, so a
// failing child explains itself.
bool RunChild(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) return false;
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int failed = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) return false;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Writes `bytes` bytes of a fixed pattern to `path` unless it already holds that many.
bool PrepareFile(const std::string& path, long bytes) {
    struct stat st {};
    if (stat(path.c_str(), &st) == 0 && st.st_size == bytes) return true;
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) return false;
    std::vector<char> chunk(1 << 20);
    for (size_t i = 0; i < chunk.size(); ++i) chunk[i] = static_cast<char>(i * 31 + (i >> 11));
    bool ok = true;
    for (long done = 0; ok && done < bytes;) {
        const size_t part = static_cast<size_t>(std::min<long>(bytes - done, 1 << 20));
        ok = write(fd, chunk.data(), part) == static_cast<ssize_t>(part);
        done += static_cast<long>(part);
    }
    return close(fd) == 0 && ok;
}

// The source file of `bytes` bytes, in a folder of its own so that tar can name it alone.
std::string SourceName(long bytes) {
    return "data" + std::to_string(bytes >> 20);
}
std::string SourceFolder() {
    return BenchFolder::Path() + "/src";
}
bool PrepareSource(long bytes) {
    if (BenchFolder::Path().empty()) return false;
    mkdir(SourceFolder().c_str(), 0700);
    return PrepareFile(SourceFolder() + "/" + SourceName(bytes), bytes);
}

bool ZqxCreate(long bytes, const std::string& container) {
    return RunChild({ZYNE_ZQX_PATH, "create", container, SourceFolder() + "/" + SourceName(bytes)});
}
bool TarCreate(long bytes, const std::string& archive) {
    return RunChild({"tar", "-cf", archive, "-C", SourceFolder(), SourceName(bytes)});
}

// Times `create` writing the archive `name` in the bench folder from the source file.
void TimeCreate(benchmark::State& state, bool (*create)(long, const std::string&),
                const char* name, const char* failure) {
    const long bytes = state.range(0);
    if (!PrepareSource(bytes)) {
        state.SkipWithError("no source file");
        return;
    }
    const std::string archive = BenchFolder::Path() + "/" + name;
    for (auto _ : state) {
        if (!create(bytes, archive)) {
            state.SkipWithError(failure);
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * bytes);
}

void zqxCreate(benchmark::State& state) {
    TimeCreate(state, ZqxCreate, "create.zqx", "zqx create failed");
}

void tarCreate(benchmark::State& state) {
    TimeCreate(state, TarCreate, "create.tar", "tar -cf failed");
}

// Extracting benchmarks make their archive "extract.<kind>" first (untimed), and remove
// the extracted file before each iteration (untimed) so that both tools always write a
// new file. `command` is the extracting command line before the archive's path.
void TimeExtract(benchmark::State& state, const std::string& kind,
                 bool (*create)(long, const std::string&), std::vector<std::string> command,
                 const char* noArchive, const char* failure) {
    const long bytes = state.range(0);
    const std::string archive = BenchFolder::Path() + "/extract." + kind;
    const std::string into = BenchFolder::Path() + "/x-" + kind;
    if (!PrepareSource(bytes) || !create(bytes, archive) ||
        (mkdir(into.c_str(), 0700) != 0 && errno != EEXIST)) {
        state.SkipWithError(noArchive);
        return;
    }
    command.insert(command.end(), {archive, "-C", into});
    const std::string extracted = into + "/" + SourceName(bytes);
    for (auto _ : state) {
        state.PauseTiming();
        unlink(extracted.c_str());
        state.ResumeTiming();
        if (!RunChild(command)) {
            state.SkipWithError(failure);
            return;
        }
    }
    state.SetBytesProcessed(state.iterations() * bytes);
}

void zqxExtract(benchmark::State& state) {
    TimeExtract(state, "zqx", ZqxCreate, {ZYNE_ZQX_PATH, "extract"}, "no container to extract",
                "zqx extract failed");
}

void tarExtract(benchmark::State& state) {
    TimeExtract(state, "tar", TarCreate, {"tar", "-xf"}, "no archive to extract",
                "tar -xf failed");
}

// The folder of kSmallFileCount small files, and a container made from it by zqx (which
// stores the folder under its own name, "many", in the root). Made once per process.
std::string ManyFolder() {
    return BenchFolder::Path() + "/many";
}
std::string ManyContainer() {
    return BenchFolder::Path() + "/many.zqx";
}
bool PrepareMany() {
    static const bool ready = [] {
        if (BenchFolder::Path().empty() || mkdir(ManyFolder().c_str(), 0700) != 0) return false;
        const std::vector<char> bytes(kSmallFileBytes, 'x');
        for (long i = 0; i < kSmallFileCount; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "/f%05ld", i);
            const int fd = open((ManyFolder() + name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (fd < 0) return false;
            const bool ok = write(fd, bytes.data(), bytes.size()) == kSmallFileBytes;
            if (close(fd) != 0 || !ok) return false;
        }
        return RunChild({ZYNE_ZQX_PATH, "create", ManyContainer(), ManyFolder()});
    }();
    return ready;
}

// The container opened read-only from disk as zqx reads it (big-endian, doubles swapped);
// null when it cannot be opened.
DataFile* OpenContainer(const string& path) {
    long error = 0;
    DataFile* file = DataFile::OpenFromPath(path, kDataFileReadOnly, &error);
    if (!file) return nullptr;
    file->SetBigEndian();
    file->SetSwapDoubles(true);
    return file;
}

// Opens the container, finds "many" in the root and lists its children with their names
// and types loaded. The number of children listed; -1 when any step failed.
long OpenAndList(const string& path) {
    DataFile* file = OpenContainer(path);
    if (!file) return -1;
    long listed = -1;
    {
        VHFSVolume volume(file, 1);  // owns the file from here on
        VFileRefList top;
        VFileRefList children;
        if (volume.IsValid() && volume.GetChildren(volume.GetRoot(), top) && top.Count() == 1 &&
            volume.GetChildren(top[0], children)) {
            listed = 0;
            for (long i = 0; i < children.Count(); ++i) {
                benchmark::DoNotOptimize(children[i].name.Length());
                if (children[i].type != 0) ++listed;
            }
        }
    }
    return listed;
}

// Opens the container as OpenAndList does and walks "many" through folder items. The
// number of children that are files; -1 when any step failed.
long OpenAndWalkItems(const string& path) {
    DataFile* file = OpenContainer(path);
    if (!file) return -1;
    long files = -1;
    {
        VHFSVolume volume(file, 1);
        UnixFolderItemImpVirtual root(&volume, volume.GetRoot());
        std::unique_ptr<FolderItemImp> many(root.GetChildByName("many", 0));
        if (volume.IsValid() && many && many->IsDirectory()) {
            files = 0;
            const long count = many->GetChildCount();
            for (long i = 0; i < count; ++i) {
                std::unique_ptr<FolderItemImp> child(many->GetChildByIndex(i, 0));
                if (child && !child->IsDirectory()) ++files;
                if (child) benchmark::DoNotOptimize(child->GetName().Length());
            }
        }
    }
    return files;
}

// Times `walk` over the container of small files, which must see every one of them.
void TimeWalk(benchmark::State& state, long (*walk)(const string&), const char* failure) {
    if (!PrepareMany()) {
        state.SkipWithError("no container of small files");
        return;
    }
    const string path(ManyContainer().c_str());
    for (auto _ : state) {
        if (walk(path) != kSmallFileCount) {
            state.SkipWithError(failure);
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * kSmallFileCount);
}

void VolumeOpenList(benchmark::State& state) {
    TimeWalk(state, OpenAndList, "open or listing failed");
}

void FolderItemWalk(benchmark::State& state) {
    TimeWalk(state, OpenAndWalkItems, "open or walk failed");
}

void readdirList(benchmark::State& state) {
    if (!PrepareMany()) {
        state.SkipWithError("no folder of small files");
        return;
    }
    const std::string folder = ManyFolder();
    for (auto _ : state) {
        DIR* dir = opendir(folder.c_str());
        if (!dir) {
            state.SkipWithError("opendir failed");
            return;
        }
        long listed = 0;
        while (const dirent* entry = readdir(dir)) {
            benchmark::DoNotOptimize(entry->d_name[0]);
            if (entry->d_name[0] != '.' && entry->d_type != DT_UNKNOWN) ++listed;
        }
        closedir(dir);
        if (listed != kSmallFileCount) {
            state.SkipWithError("short listing");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations() * kSmallFileCount);
}

}  // namespace

// Tool pairs first (create, then extract, then create's scaling), then the volume listing.
bool RegisterVolumeBenchmarks(RatioReporter& reporter) {
    constexpr long k16 = 16L << 20;
    constexpr long k64 = 64L << 20;
    // Real time: the children do the work, and this thread's CPU time only counts the
    // spawn and the wait. Three iterations each keep the suite well under half a minute.
    for (auto* b : {benchmark::RegisterBenchmark("zqxCreate", zqxCreate)->Arg(k16)->Arg(k64),
                    benchmark::RegisterBenchmark("tarCreate", tarCreate)->Arg(k64),
                    benchmark::RegisterBenchmark("zqxExtract", zqxExtract)->Arg(k64),
                    benchmark::RegisterBenchmark("tarExtract", tarExtract)->Arg(k64)}) {
        b->UseRealTime()->Iterations(3)->Unit(benchmark::kMillisecond);
    }
    // In-process: CPU time as everywhere else.
    for (auto* b : {benchmark::RegisterBenchmark("VolumeOpenList", VolumeOpenList),
                    benchmark::RegisterBenchmark("FolderItemWalk", FolderItemWalk),
                    benchmark::RegisterBenchmark("readdirList", readdirList)}) {
        b->Arg(kSmallFileCount)->Unit(benchmark::kMillisecond);
    }

    reporter.AddRatio("zqx create/tar -cf (64 MiB file)", "zqxCreate/67108864",
                      "tarCreate/67108864", 3.0);
    reporter.AddRatio("zqx extract/tar -xf (64 MiB file)", "zqxExtract/67108864",
                      "tarExtract/67108864", 3.0);
    reporter.AddRatio("zqx create 64 MiB/16 MiB", "zqxCreate/67108864", "zqxCreate/16777216", 4.5);
    reporter.AddRatio("open + list 10,000-file volume/readdir of the same folder",
                      "VolumeOpenList/10000", "readdirList/10000", 0.0);
    reporter.AddRatio("open + folder-item walk of 10,000 files/readdir of the same folder",
                      "FolderItemWalk/10000", "readdirList/10000", 0.0);
    return true;
}
