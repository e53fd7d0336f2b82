// FaultInjectionTest.cpp - container writes over a stream that fails its k-th read or
// write, for every k.
//
// One scenario builds a container the way the tools do (folders, files of several sizes
// crossing block boundaries, a delete, a block reused, flushes and the final close). It is
// first run without faults to count the stream's reads and writes, then once per k with
// operation k failing: once only, from then on (the device gone), or torn (half of the
// bytes land). The bytes left behind are then checked with zqx's verifier and opened
// again: a container is either clean, and then every listed file reads back as what was
// written to it, or the verifier calls it damaged; either way every file finished and
// flushed before the fault reads back intact whenever the volume opens.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "ContainerCheck.h"
#include "VolumeTestSupport.h"
#include "virtualvolume/VFile.h"
#include "virtualvolume/VHFSVolume.h"

namespace {

constexpr VFileType kData = 0x44415441;  // "DATA"

/// Forwards to a memory stream, counting reads and writes (a length change counts as a
/// write), and fails the chosen one.
class FaultStream : public RandomAccessMechanism {
public:
    enum class Kind { None, Read, Write };
    enum class Mode {
        Once,      // operation k fails, later ones succeed
        FromThen,  // operation k and every later one of its kind fail
    };

    FaultStream(Kind kind = Kind::None, long k = 0, Mode mode = Mode::Once, bool torn = false)
        : mKind(kind), mK(k), mMode(mode), mTorn(torn) {
        SetBigEndian();
    }

    bool ReadData(void* buffer, unsigned int count, int* actual) override {
        if (Fails(Kind::Read, ++reads)) {
            *actual = 0;
            return false;
        }
        return mInner.ReadData(buffer, count, actual);
    }
    bool WriteData(const void* buffer, unsigned int count) override {
        if (Fails(Kind::Write, ++writes)) {
            // A torn write: the first half of the bytes reach the medium.
            if (mTorn && count > 1) mInner.WriteData(buffer, count / 2);
            return false;
        }
        return mInner.WriteData(buffer, count);
    }
    bool SetLength(unsigned long long length) override {
        if (Fails(Kind::Write, ++writes)) return false;
        return mInner.SetLength(length);
    }
    void FlushToDisk() override { ++flushes; }  // it has no result, so nothing to fail
    bool Close() override { return true; }      // the bytes stay for the test to look at
    bool IsEOF() override { return mInner.IsEOF(); }
    bool SeekFromStart(unsigned long long position) override {
        return mInner.SeekFromStart(position);
    }
    unsigned long long GetLength() override { return mInner.GetLength(); }
    unsigned long long GetPosition() override { return mInner.GetPosition(); }

    /// Fails the k-th operation of `kind` from now on.
    void Arm(Kind kind, long k, Mode mode = Mode::Once, bool torn = false) {
        mKind = kind;
        mK = k + (kind == Kind::Read ? reads : writes);
        mMode = mode;
        mTorn = torn;
        mFired = false;
    }
    void Disarm() { mKind = Kind::None; }
    Bytes Contents() { return AllBytes(mInner); }
    bool Fired() const { return mFired; }

    long reads = 0;
    long writes = 0;
    long flushes = 0;

private:
    bool Fails(Kind kind, long n) {
        if (kind != mKind) return false;
        const bool fails = mMode == Mode::Once ? n == mK : n >= mK;
        if (fails) mFired = true;
        return fails;
    }

    FileHandle mInner;
    Kind mKind;
    long mK;
    Mode mMode;
    bool mTorn;
    bool mFired = false;
};

// ----- The scenario -----

struct FileSpec {
    const char* path;  // under the root, folders first
    size_t size;
};

// A new item holds 992 - 256 = 736 content bytes in its first 1024-byte block.
const FileSpec kFiles[] = {
    {"readme", 100},
    {"Build Resources/Linux X86/libguest.so", 20000},  // twenty blocks
    {"Build Resources/Linux X86/exact", 736},          // fills its first block
    {"IDE Resources/help", 737},                       // one byte into a second block
    {"empty", 0},
    {"doomed", 3000},  // deleted again; its blocks are reused by the next file
};
const char* const kFolders[] = {"Build Resources", "Build Resources/Linux X86", "IDE Resources"};
const FileSpec kAfterDelete = {"IDE Resources/icon", 2500};
constexpr const char* kDoomed = "doomed";

uint8_t ContentByte(const std::string& path, size_t i) {
    size_t h = 0;
    for (char c : path) h = h * 31 + static_cast<unsigned char>(c);
    return static_cast<uint8_t>(h + i * 7 + i / 251);
}

Bytes Content(const std::string& path, size_t size) {
    Bytes b(size);
    for (size_t i = 0; i < size; ++i) b[i] = ContentByte(path, i);
    return b;
}

std::string Parent(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

std::string Leaf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

/// What a run promises: the files finished and flushed before the fault, and whether the
/// delete finished before it.
struct RunResult {
    std::set<std::string> committed;
    bool deleteFinished = false;
};

class Scenario {
public:
    explicit Scenario(FaultStream& stream) : mStream(stream) {}

    RunResult Run() {
        RunResult result;
        std::unique_ptr<VHFSVolume> volume(VHFSVolume::Create(&mStream, 0));
        if (!volume) return result;
        mVolume = volume.get();
        mVolume->FlushToDisk();
        mDirs[""] = mVolume->GetRoot();
        for (const char* folder : kFolders) {
            const auto parent = mDirs.find(Parent(folder));
            if (parent == mDirs.end() || parent->second.type != kDirectoryFileType) continue;
            const VFileRef dir = mVolume->CreateDirectory(parent->second, Leaf(folder).c_str());
            if (dir.type == kDirectoryFileType) mDirs[folder] = dir;
        }
        mVolume->FlushToDisk();
        for (const FileSpec& spec : kFiles)
            if (Write(spec) && !mStream.Fired()) result.committed.insert(spec.path);
        // From here on the doomed file may be gone, whatever happens next.
        result.committed.erase(kDoomed);
        const auto doomed = mFiles.find(kDoomed);
        if (doomed != mFiles.end() && mVolume->DeleteFile(doomed->second)) {
            mVolume->FlushToDisk();
            result.deleteFinished = !mStream.Fired();
        }
        if (Write(kAfterDelete) && !mStream.Fired()) result.committed.insert(kAfterDelete.path);
        volume.reset();  // saves the map once more
        // The close itself may still fail: what it writes is not a file's content, and
        // what was flushed before it must survive it.
        return result;
    }

private:
    // Creates, writes in 700-byte pieces, closes and flushes one file; true when every
    // step reported success.
    bool Write(const FileSpec& spec) {
        const auto parent = mDirs.find(Parent(spec.path));
        if (parent == mDirs.end()) return false;
        const VFileRef ref = mVolume->CreateFile(parent->second, Leaf(spec.path).c_str(), kData);
        if (ref.id == 0 || ref.type == 0) return false;
        mFiles[spec.path] = ref;
        std::unique_ptr<VFile> file(mVolume->OpenFile(ref));
        if (!file) return false;
        const Bytes content = Content(spec.path, spec.size);
        bool ok = true;
        for (size_t at = 0; ok && at < content.size(); at += 700) {
            const size_t n = content.size() - at < 700 ? content.size() - at : 700;
            ok = file->WriteData(content.data() + at, static_cast<unsigned>(n));
        }
        ok = file->Close() && ok;
        mVolume->FlushToDisk();
        return ok;
    }

    FaultStream& mStream;
    VHFSVolume* mVolume = nullptr;
    std::map<std::string, VFileRef> mDirs;
    std::map<std::string, VFileRef> mFiles;
};

// ----- Looking at what is left -----

enum class Verdict { Clean, DamagedButOpens, Refused };

struct Examined {
    Verdict verdict = Verdict::Refused;
    std::vector<std::string> failures;  // broken promises, empty when all held
    std::string firstProblem;           // the verifier's first complaint, if any
};

// Every file below `dir`, by path, read to its stored length.
void Collect(VHFSVolume& volume, const VFileRef& dir, const std::string& prefix, int depth,
             std::map<std::string, std::pair<Bytes, bool>>& files) {
    VFileRefList children;
    if (depth > 8 || !volume.GetChildren(dir, children)) return;
    for (long i = 0; i < children.Count(); ++i) {
        const VFileRef& child = children[i];
        const std::string path = prefix + child.name.CString();
        if (child.type == kDirectoryFileType) {
            Collect(volume, child, path + "/", depth + 1, files);
            continue;
        }
        std::unique_ptr<VFile> file(volume.OpenFile(child));
        if (!file) {
            files[path] = {Bytes(), false};
            continue;
        }
        Bytes bytes(static_cast<size_t>(file->GetLength()));
        int got = 0;
        const bool ok = bytes.empty() ||
                        (file->ReadData(bytes.data(), static_cast<unsigned>(bytes.size()), &got) &&
                         got == static_cast<int>(bytes.size()));
        bytes.resize(static_cast<size_t>(got));
        files[path] = {bytes, ok};
    }
}

size_t SpecSize(const std::string& path) {
    for (const FileSpec& spec : kFiles)
        if (path == spec.path) return spec.size;
    if (path == kAfterDelete.path) return kAfterDelete.size;
    return static_cast<size_t>(-1);
}

Examined Examine(const Bytes& bytes, const RunResult& run) {
    Examined out;
    const zqx::CheckReport report = zqx::CheckContainer(bytes.data(), bytes.size());
    const bool clean = report.problems.empty();
    if (!clean) out.firstProblem = report.problems.front().message;

    auto* stream = NewStream(bytes);
    VHFSVolume volume(stream, 1);
    const VFileRef root = volume.GetRoot();
    if (!volume.IsValid() || root.type != kDirectoryFileType) {
        out.verdict = Verdict::Refused;
        if (clean) out.failures.push_back("the verifier calls it clean but it does not open");
        for (const std::string& path : run.committed)
            out.failures.push_back(path + " was finished before the fault but is lost");
        return out;
    }
    out.verdict = clean ? Verdict::Clean : Verdict::DamagedButOpens;

    std::map<std::string, std::pair<Bytes, bool>> files;
    Collect(volume, root, "", 0, files);
    for (const std::string& path : run.committed) {
        const auto found = files.find(path);
        if (found == files.end())
            out.failures.push_back(path + " was finished before the fault but is not listed");
        else if (!found->second.second || found->second.first != Content(path, SpecSize(path)))
            out.failures.push_back(path + " was finished before the fault but reads back wrong");
    }
    if (!clean) return out;
    // A clean container holds nothing but what was written: every listed file reads to its
    // length, and holds a beginning of what the scenario wrote to it.
    for (const auto& [path, file] : files) {
        const size_t size = SpecSize(path);
        if (size == static_cast<size_t>(-1)) {
            out.failures.push_back("clean, but lists a file never written: " + path);
            continue;
        }
        if (!file.second || file.first.size() > size ||
            file.first != Content(path, file.first.size()))
            out.failures.push_back("clean, but " + path + " reads back wrong");
    }
    if (run.deleteFinished && files.count(kDoomed))
        out.failures.push_back("clean, but the deleted file is still listed");
    return out;
}

// ----- The tests -----

struct Sweep {
    const char* name;
    FaultStream::Kind kind;
    FaultStream::Mode mode;
    bool torn;
};

std::ostream& operator<<(std::ostream& os, const Sweep& sweep) {
    return os << sweep.name;
}

// The scenario's operation counts without faults.
struct Baseline {
    long reads = 0;
    long writes = 0;
};

Baseline CountOperations() {
    FaultStream stream;
    Scenario(stream).Run();
    return {stream.reads, stream.writes};
}

TEST(FaultInjectionTest, WithoutFaultsTheContainerIsCleanAndHoldsEveryFile) {
    FaultStream stream;
    const RunResult run = Scenario(stream).Run();
    std::set<std::string> all;
    for (const FileSpec& spec : kFiles) all.insert(spec.path);
    all.erase(kDoomed);
    all.insert(kAfterDelete.path);
    EXPECT_EQ(run.committed, all);
    EXPECT_TRUE(run.deleteFinished);
    const Examined examined = Examine(stream.Contents(), run);
    EXPECT_EQ(examined.verdict, Verdict::Clean) << examined.firstProblem;
    EXPECT_TRUE(examined.failures.empty()) << examined.failures.front();
    // The sweeps below are only as good as the scenario is busy.
    EXPECT_GT(stream.reads, 100);
    EXPECT_GT(stream.writes, 100);
    EXPECT_GE(stream.flushes, 8);
}

class FaultSweepTest : public ::testing::TestWithParam<Sweep> {};

// What a fault may leave damaged (the verifier refuses it, the finished files still read):
// - when the device is gone from k on, the saved map is the one of the last flush, since the
//   map is saved only then: blocks taken after it are missing from it; an append cut short
//   leaves stray bytes after the last block, which can no longer be cut off;
// - a new item whose link into its folder fails (a read or write of the folder's list) is
//   in no folder: creating returns the item whether or not the link worked.
// Nothing else: a failed write of anything else is undone or never reaches a list.

TEST_P(FaultSweepTest, EveryFaultLeavesACleanOrRefusedContainerAndKeepsFinishedFiles) {
    const Sweep sweep = GetParam();
    const Baseline base = CountOperations();
    const long n = sweep.kind == FaultStream::Kind::Read ? base.reads : base.writes;
    ASSERT_GT(n, 0);
    long clean = 0;
    long damaged = 0;
    long refused = 0;
    long broken = 0;
    const auto started = std::chrono::steady_clock::now();
    for (long k = 1; k <= n; ++k) {
        FaultStream stream(sweep.kind, k, sweep.mode, sweep.torn);
        const RunResult run = Scenario(stream).Run();
        ASSERT_TRUE(stream.Fired()) << "operation " << k << " of " << n << " never happened";
        const Examined examined = Examine(stream.Contents(), run);
        switch (examined.verdict) {
        case Verdict::Clean: ++clean; break;
        case Verdict::DamagedButOpens: ++damaged; break;
        case Verdict::Refused: ++refused; break;
        }
        if (!examined.failures.empty() && ++broken <= 5)
            ADD_FAILURE() << sweep.name << ", k = " << k << " of " << n << ": "
                          << examined.failures.front() << " (verifier: "
                          << (examined.firstProblem.empty() ? "clean" : examined.firstProblem)
                          << ")";
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    EXPECT_EQ(broken, 0);
    RecordProperty("operations", static_cast<int>(n));
    RecordProperty("clean", static_cast<int>(clean));
    RecordProperty("damaged", static_cast<int>(damaged));
    RecordProperty("refused", static_cast<int>(refused));
    printf("%s: N = %ld, clean %ld, damaged (verifier) but opens %ld, refused %ld, %.2f s\n",
           sweep.name, n, clean, damaged, refused, seconds);
}

INSTANTIATE_TEST_SUITE_P(
    Sweeps, FaultSweepTest,
    ::testing::Values(
        Sweep{"ReadFailsOnce", FaultStream::Kind::Read, FaultStream::Mode::Once, false},
        Sweep{"ReadsFailFromThenOn", FaultStream::Kind::Read, FaultStream::Mode::FromThen, false},
        Sweep{"WriteFailsOnce", FaultStream::Kind::Write, FaultStream::Mode::Once, false},
        Sweep{"WritesFailFromThenOn", FaultStream::Kind::Write, FaultStream::Mode::FromThen,
              false},
        Sweep{"TornWriteOnce", FaultStream::Kind::Write, FaultStream::Mode::Once, true},
        Sweep{"TornWriteThenNothing", FaultStream::Kind::Write, FaultStream::Mode::FromThen,
              true}),
    [](const ::testing::TestParamInfo<Sweep>& info) { return std::string(info.param.name); });

// ----- One operation at a time -----

// A small volume, flushed: a folder "sub" holding "keep" (1000 bytes).
struct SmallVolume {
    FaultStream stream;
    std::unique_ptr<VHFSVolume> volume;
    VFileRef root;
    VFileRef sub;
    VFileRef keep;

    SmallVolume() {
        volume.reset(VHFSVolume::Create(&stream, 0));
        root = volume->GetRoot();
        sub = volume->CreateDirectory(root, "sub");
        keep = volume->CreateFile(sub, "keep", kData);
        WriteAll(keep, Content("keep", 1000));
        volume->FlushToDisk();
    }
    bool WriteAll(const VFileRef& ref, const Bytes& bytes) {
        std::unique_ptr<VFile> file(volume->OpenFile(ref));
        return file && file->WriteData(bytes.data(), static_cast<unsigned>(bytes.size())) &&
               file->Close();
    }
};

struct OperationCase {
    const char* name;
    void (*operation)(SmallVolume&);
    bool checkAtOnce;      // look at the bytes right after the failure, before another save
    const char* excused;   // a problem the operation may leave, with the reason below; or null
};

// A new item's link into its folder is not checked: the item is made and returned all the
// same, so a failed link leaves it in no folder, which the check reports.
constexpr const char* kUnlinkedItem = "is in no folder";

void CreateAFile(SmallVolume& v) {
    v.volume->CreateFile(v.sub, "new", kData);
}
void CreateAFolder(SmallVolume& v) {
    v.volume->CreateDirectory(v.sub, "folder");
}
void AppendPastTheLastBlock(SmallVolume& v) {
    std::unique_ptr<VFile> file(v.volume->OpenFile(v.keep));
    const Bytes more = Content("more", 3000);
    if (file && file->SeekFromStart(1000)) file->WriteData(more.data(), 3000);
}
void SaveAGrownMap(SmallVolume& v) {
    // Thirty files' blocks make a map that no longer fits where the last one was saved.
    v.stream.Disarm();
    for (int i = 0; i < 30; ++i) v.volume->CreateFile(v.root, "f", kData);
    v.stream.Arm(FaultStream::Kind::Write, 0);
}

class OperationFaultTest : public ::testing::TestWithParam<OperationCase> {};

// Each write of the operation fails in turn, once. Whatever the operation leaves undone, it
// leaves nothing half-done: once the volume is saved and closed the container is clean and
// what was there before reads back as it was.
TEST_P(OperationFaultTest, AFailedWriteLeavesNothingHalfDone) {
    const OperationCase& c = GetParam();
    long k = 1;
    for (;; ++k) {
        SmallVolume v;
        ASSERT_EQ(v.keep.type, kData);
        if (c.operation == SaveAGrownMap) {
            SaveAGrownMap(v);  // the files first, then the save fails at its k-th write
            v.stream.Arm(FaultStream::Kind::Write, k);
            v.volume->FlushToDisk();
        } else {
            v.stream.Arm(FaultStream::Kind::Write, k);
            c.operation(v);
        }
        if (!v.stream.Fired()) break;  // the operation has fewer than k writes
        if (c.checkAtOnce) {
            // The saved map is the last one whole or none at all: a map not yet saved misses
            // blocks, but one saved half-way would contradict the blocks or itself.
            const Bytes now = v.stream.Contents();
            for (const zqx::CheckProblem& p : zqx::CheckContainer(now.data(), now.size()).problems)
                EXPECT_NE(p.message.rfind("saved map", 0), 0u)
                    << "write " << k << ", right after: " << p.message;
        }
        v.volume->FlushToDisk();
        v.volume.reset();
        const Bytes bytes = v.stream.Contents();
        for (const zqx::CheckProblem& p : zqx::CheckContainer(bytes.data(), bytes.size()).problems)
            if (!c.excused || p.message.find(c.excused) == std::string::npos)
                ADD_FAILURE() << c.name << ", write " << k << ": " << p.message;
        auto* stream = NewStream(bytes);
        VHFSVolume reopened(stream, 1);
        std::map<std::string, std::pair<Bytes, bool>> files;
        Collect(reopened, reopened.GetRoot(), "", 0, files);
        const Bytes keep = files["sub/keep"].first;
        EXPECT_EQ(Bytes(keep.begin(), keep.begin() + (keep.size() < 1000 ? keep.size() : 1000)),
                  Content("keep", 1000))
            << "write " << k;
    }
    EXPECT_GT(k, 2) << "the operation wrote nothing";
}

INSTANTIATE_TEST_SUITE_P(
    Operations, OperationFaultTest,
    ::testing::Values(
        OperationCase{"CreateAFile", CreateAFile, false, kUnlinkedItem},
        OperationCase{"CreateAFolder", CreateAFolder, false, kUnlinkedItem},
        OperationCase{"AppendPastTheLastBlock", AppendPastTheLastBlock, false, nullptr},
        OperationCase{"SaveAGrownMap", SaveAGrownMap, true, nullptr}),
    [](const ::testing::TestParamInfo<OperationCase>& info) {
        return std::string(info.param.name);
    });

// Regression: deleting an item its folder does not list (its link had failed) dropped the
// folder's count all the same, and with it the folder's last child.
TEST(FaultInjectionTest, DeletingAnUnlistedItemKeepsTheFoldersLastChild) {
    SmallVolume v;
    const VFileRef last = v.volume->CreateFile(v.sub, "last", kData);
    const VFileRef ghost = v.volume->CreateFile(v.sub, "ghost", kData);
    ASSERT_TRUE(v.volume->UnlinkFile(ghost, v.sub));
    EXPECT_TRUE(v.volume->DeleteFile(ghost));
    VFileRefList children;
    ASSERT_TRUE(v.volume->GetChildren(v.sub, children));
    ASSERT_EQ(children.Count(), 2);
    EXPECT_EQ(children[0].id, v.keep.id);
    EXPECT_EQ(children[1].id, last.id);
    v.volume.reset();
    const Bytes bytes = v.stream.Contents();
    const zqx::CheckReport report = zqx::CheckContainer(bytes.data(), bytes.size());
    EXPECT_TRUE(report.problems.empty()) << report.problems.front().message;  // ghost is freed
}

// Regression: a read failing while a folder's list was searched counted as "not listed",
// so the count dropped and the folder lost its last child instead.
TEST(FaultInjectionTest, AnUnreadableListIsLeftAsItWas) {
    for (long k = 1;; ++k) {
        SmallVolume v;
        const VFileRef middle = v.volume->CreateFile(v.sub, "middle", kData);
        const VFileRef last = v.volume->CreateFile(v.sub, "last", kData);
        v.stream.Arm(FaultStream::Kind::Read, k);
        const bool unlinked = v.volume->UnlinkFile(middle, v.sub);
        if (!v.stream.Fired()) break;
        v.stream.Disarm();
        VFileRefList children;
        ASSERT_TRUE(v.volume->GetChildren(v.sub, children));
        std::vector<uint32_t> ids;
        for (long i = 0; i < children.Count(); ++i) ids.push_back(children[i].id);
        if (unlinked)
            EXPECT_EQ(ids, (std::vector<uint32_t>{v.keep.id, last.id})) << "read " << k;
        else
            EXPECT_EQ(ids, (std::vector<uint32_t>{v.keep.id, middle.id, last.id})) << "read " << k;
    }
}

}  // namespace
