// HostileContainerTest.cpp - containers made to mislead each reader.
//
// A small sound container (a folder with a three-block file, a one-block file in the root)
// is patched into one hostile shape per case: chains that loop or point past the end or
// into a block's middle, blocks too small to be blocks, absurd saved maps, folder counts
// past the file, items that are their own parent, and names made to climb out of a folder.
// Every reader (the block layer, the directory layer, the folder items, the verifier, zqx
// list, check and extract run as a user runs them) must answer with its failure value or
// a bounded result in bounded time, and extraction writes nothing outside its folder.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>

#include "HostileSupport.h"
#include "streams/FileHandle.h"

namespace {

using hostile::Layout;
using hostile::Outcome;
using hostile::RawBlock;

constexpr VFileType kText = 0x54455854;  // "TEXT"

struct Base {
    Bytes bytes;
    uint32_t dir = 0, a = 0, b = 0;  // the folder "dir", "dir/a" (2500 bytes), "b" (5 bytes)
};

const Base& Sound() {
    static const Base base = [] {
        Base made;
        std::unique_ptr<FileHandle> stream(NewStream());
        {
            std::unique_ptr<VHFSVolume> volume(VHFSVolume::Create(stream.get(), 0));
            const VFileRef root = volume->GetRoot();
            const VFileRef dir = volume->CreateDirectory(root, "dir");
            const VFileRef a = volume->CreateFile(dir, "a", kText);
            const VFileRef b = volume->CreateFile(root, "b", kText);
            std::string data(2500, 'a');
            std::unique_ptr<VFile>(volume->OpenFile(a))->WriteData(data.data(), 2500);
            std::unique_ptr<VFile>(volume->OpenFile(b))->WriteData("hello", 5);
            made.dir = dir.id, made.a = a.id, made.b = b.id;
        }
        made.bytes = AllBytes(*stream);
        return made;
    }();
    return base;
}

void PutBe32(Bytes& bytes, size_t at, uint32_t v) {
    const Bytes b = Be32Bytes(v);
    std::copy(b.begin(), b.end(), bytes.begin() + static_cast<long>(at));
}
void PutBeDouble(Bytes& bytes, size_t at, double v) {
    const Bytes b = BeDoubleBytes(v);
    std::copy(b.begin(), b.end(), bytes.begin() + static_cast<long>(at));
}

// Patches on the sound container, by what the layout says lies where.
struct Patch {
    Bytes& bytes;
    const Layout& layout;
    const Base& base;
    RawBlock Block(uint32_t id, size_t n) const { return layout.Chain(id).at(n); }
    void Next(uint32_t id, size_t n, double next) {
        PutBeDouble(bytes, Block(id, n).start + 20, next);
    }
    void Size(uint32_t id, size_t n, double size) {
        PutBeDouble(bytes, Block(id, n).start + 12, size);
    }
    void ItemLong(uint32_t id, size_t pos, uint32_t v) {
        PutBe32(bytes, layout.Offset(id, pos), v);
    }
    void ItemDouble(uint32_t id, size_t pos, double v) {
        PutBeDouble(bytes, layout.Offset(id, pos), v);
    }
    void Name(uint32_t id, const std::string& raw) {
        std::string field = raw;
        field.resize(kItemNameFieldSize, '\0');
        const size_t at = layout.Offset(id, kItemNamePosition);
        std::copy(field.begin(), field.end(), bytes.begin() + static_cast<long>(at));
    }
    void Map32(size_t pos, uint32_t v) { PutBe32(bytes, layout.Offset(1, pos), v); }
};

struct Case {
    const char* what;
    std::function<void(Patch&)> patch;
    bool unsafeName = false;  // extraction must skip a member for its name
};

std::vector<Case> Cases() {
    const double huge = 1e300, nan = std::numeric_limits<double>::quiet_NaN();
    return {
        {"chain loops back to its first block",
         [](Patch& p) { p.Next(p.base.a, 2, static_cast<double>(p.Block(p.base.a, 0).start)); }},
        {"chain loops under a 4 GiB length",
         [](Patch& p) {
             p.Next(p.base.a, 2, static_cast<double>(p.Block(p.base.a, 0).start));
             p.ItemDouble(p.base.a, 0, 4294967295.0);
         }},
        {"chain loops onto itself",
         [](Patch& p) { p.Next(p.base.a, 0, static_cast<double>(p.Block(p.base.a, 0).start)); }},
        {"chain points past the end",
         [](Patch& p) { p.Next(p.base.a, 0, static_cast<double>(p.bytes.size() + 4096)); }},
        {"chain points beyond any offset", [huge](Patch& p) { p.Next(p.base.a, 0, huge); }},
        {"chain points to a negative offset", [](Patch& p) { p.Next(p.base.a, 0, -1024.0); }},
        {"chain points to NaN", [nan](Patch& p) { p.Next(p.base.a, 0, nan); }},
        {"chain points into the middle of a block",
         [](Patch& p) {
             p.Next(p.base.a, 0, static_cast<double>(p.Block(p.base.b, 0).start + 100));
         }},
        {"chain points to a fraction",
         [](Patch& p) {
             p.Next(p.base.a, 0, static_cast<double>(p.Block(p.base.a, 1).start) + 0.5);
         }},
        {"chain goes on into another file's block",
         [](Patch& p) { p.Next(p.base.a, 2, static_cast<double>(p.Block(p.base.b, 0).start)); }},
        {"block of size 0", [](Patch& p) { p.Size(p.base.a, 1, 0.0); }},
        {"block below the header's size", [](Patch& p) { p.Size(p.base.a, 1, 16.0); }},
        {"block of negative size", [](Patch& p) { p.Size(p.base.b, 0, -1024.0); }},
        {"block of absurd size", [huge](Patch& p) { p.Size(p.base.a, 0, huge); }},
        {"first block of size 0", [](Patch& p) { PutBeDouble(p.bytes, 8 + 12, 0.0); }},
        {"first block beyond any offset", [huge](Patch& p) { PutBeDouble(p.bytes, 8 + 12, huge); }},
        // File 1 is then looked for block by block; the next block's size leads nowhere.
        {"first block not file 1's first, then a block of absurd size",
         [](Patch& p) {
             PutBe32(p.bytes, 8 + 8, 1);
             PutBeDouble(p.bytes, p.layout.blocks.at(1).start + 12, 1.84e214);
         }},
        {"first block chained past the end",
         [](Patch& p) { PutBeDouble(p.bytes, 8 + 20, static_cast<double>(p.bytes.size())); }},
        {"saved map with an absurd count", [](Patch& p) { p.Map32(12, 0x7FFFFFFF); }},
        {"saved map with an absurd length", [](Patch& p) { p.Map32(4, 0xFFFFFFF0); }},
        {"saved map listing the middle of a block",
         [](Patch& p) {
             for (uint32_t i = 0; i < p.layout.Map32(12); ++i)
                 p.Map32(16 + 12 * i, static_cast<uint32_t>(p.Block(p.base.a, 0).start + 77));
         }},
        {"saved map listing blocks past the end",
         [](Patch& p) { p.Map32(16, static_cast<uint32_t>(p.bytes.size() + 8192)); }},
        {"folder count past the file",
         [](Patch& p) {
             p.ItemLong(kRootDirectoryIDnum, 256, 0x3FFFFFFF);
             p.ItemDouble(kRootDirectoryIDnum, 0, 4.0 * 0x3FFFFFFF + 4.0);
         }},
        {"folder count past its blocks",
         [](Patch& p) {
             p.ItemLong(kRootDirectoryIDnum, 256, 400);
             p.ItemDouble(kRootDirectoryIDnum, 0, 1604.0);
         }},
        {"folder of negative count", [](Patch& p) { p.ItemLong(p.base.dir, 256, 0x80000000); }},
        {"folder of NaN length", [nan](Patch& p) { p.ItemDouble(p.base.dir, 0, nan); }},
        {"file of absurd length", [huge](Patch& p) { p.ItemDouble(p.base.a, 0, huge); }},
        {"file longer than its blocks", [](Patch& p) { p.ItemDouble(p.base.b, 0, 100000.0); }},
        {"file of negative length", [](Patch& p) { p.ItemDouble(p.base.b, 0, -5.0); }},
        {"item whose parent is itself",
         [](Patch& p) {
             p.ItemLong(p.base.a, 12, p.base.a), p.ItemLong(p.base.dir, 12, p.base.dir);
         }},
        {"folder listing itself",
         [](Patch& p) {
             p.ItemLong(p.base.dir, 256, 2);
             p.ItemLong(p.base.dir, 264, p.base.dir);
             p.ItemDouble(p.base.dir, 0, 12.0);
         }},
        {"folder listing the root",
         [](Patch& p) { p.ItemLong(p.base.dir, 260, kRootDirectoryIDnum); }},
        {"folder listing ids that do not exist",
         [](Patch& p) {
             p.ItemLong(kRootDirectoryIDnum, 260, 0);
             p.ItemLong(kRootDirectoryIDnum, 264, 0xFFFFFFFF);
         }},
        {"name with a slash", [](Patch& p) { p.Name(p.base.b, "../escape"); }, true},
        {"name \"..\"", [](Patch& p) { p.Name(p.base.dir, ".."); }, true},
        {"name \".\"", [](Patch& p) { p.Name(p.base.dir, "."); }, true},
        {"name with a NUL inside",
         [](Patch& p) { p.Name(p.base.b, std::string("b\0/../escape", 12)); }, true},
        {"name of 223 bytes of \"../\"",
         [](Patch& p) {
             std::string climb;
             while (climb.size() < kItemNameMaxBytes) climb += "../";
             p.Name(p.base.dir, climb.substr(0, kItemNameMaxBytes));
         },
         true},
        // Read as all 224 bytes: too long for the format, harmless on disk.
        {"name filling the field without a NUL",
         [](Patch& p) { p.Name(p.base.b, std::string(kItemNameFieldSize, 'x')); }},
        {"empty name", [](Patch& p) { p.Name(p.base.b, ""); }, true},
        {"folder still of type temp", [](Patch& p) { p.ItemLong(p.base.dir, 8, 0x74656D70); }},
        {"a block of a chain marked free",
         [](Patch& p) { PutBe32(p.bytes, p.Block(p.base.a, 1).start + 4, 0); }},
    };
}

std::vector<std::string> Entries(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0)
                names.push_back(e->d_name);
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Everything below `dir`, as relative paths.
void Tree(const std::string& dir, const std::string& prefix, std::vector<std::string>* out) {
    for (const std::string& name : Entries(dir)) {
        out->push_back(prefix + name);
        struct stat st {};
        if (lstat((dir + "/" + name).c_str(), &st) == 0 && S_ISDIR(st.st_mode))
            Tree(dir + "/" + name, prefix + name + "/", out);
    }
}

class HostileContainer : public ::testing::TestWithParam<Case> {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/hostile-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        home = pattern;
        setenv("HOME", home.c_str(), 1);
    }
    void TearDown() override { ASSERT_EQ(system(("rm -rf '" + home + "'").c_str()), 0); }
    std::string home;
};

TEST_P(HostileContainer, EveryReaderAnswersBoundedAndNothingEscapes) {
    const Base& base = Sound();
    const Layout layout(base.bytes);
    Bytes bytes = base.bytes;
    Patch patch{bytes, layout, base};
    GetParam().patch(patch);
    ASSERT_NE(bytes, base.bytes) << "the patch changed nothing";

    // The verifier sees it; the volume layers answer within bounds.
    const Outcome o = hostile::Exercise(bytes, 64);
    EXPECT_GT(o.problems, 0u) << "the verifier passed it";
    EXPECT_LT(o.ms, 1000.0);
    EXPECT_FALSE(o.overRead);
    EXPECT_LE(o.items, 64);
    EXPECT_LE(o.streamGrowth, 64u * 1024);
    // Nothing reads more than the container holds, whatever the stored lengths say.
    EXPECT_LE(o.read, 2 * bytes.size()) << "reads are bounded by the container";

    // The block layer on its own: a large read of each file ends, with at most what was
    // asked; seeks far out fail; deleting ends.
    {
        std::unique_ptr<FileHandle> stream(NewStream(bytes));
        VFSVolume volume(stream.get(), 0);
        for (uint32_t id : {1u, 2u, base.dir, base.a, base.b}) {
            const short f = volume.OpenFile(id);
            if (f < 0) continue;
            Bytes buffer(20000);
            double n = 20000;
            volume.ReadFileData(f, &n, buffer.data());
            EXPECT_LE(n, 20000.0) << id;
            EXPECT_GE(n, 0.0) << id;
            EXPECT_FALSE(volume.SetFilePosition(f, 1e7)) << id;
            volume.CloseFile(f);
        }
        volume.DeleteFile(base.a);
        volume.DeleteFile(base.dir);
        EXPECT_LE(stream->GetLength(), bytes.size() + 64u * 1024);
    }

    // zqx as a user runs it: check refuses, list and extract end, nothing lands outside
    // the folder extraction was given.
    const std::string container = home + "/h.zqx";
    hostile::WriteBytes(container, bytes);
    const std::string box = home + "/box";
    ASSERT_EQ(mkdir(box.c_str(), 0755), 0);
    ASSERT_EQ(mkdir((box + "/dir").c_str(), 0755), 0);
    const hostile::Run check = hostile::Zqx(home, {"check", container});
    EXPECT_EQ(check.status, 1) << check.out << check.err;
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"list", "-l", container},
          std::vector<std::string>{"extract", container, "-C", box + "/dir"},
          std::vector<std::string>{"extract", container, "-C", box + "/dir", "--overwrite"}}) {
        const hostile::Run run = hostile::Zqx(home, args);
        EXPECT_FALSE(run.signaled) << args[0] << ": " << run.err;
        EXPECT_TRUE(run.status == 0 || run.status == 1) << args[0] << ": " << run.err;
        if (GetParam().unsafeName && args[0] == "extract") {
            EXPECT_EQ(run.status, 1);
            EXPECT_NE(run.err.find("skipped"), std::string::npos) << run.err;
        }
    }
    EXPECT_EQ(Entries(home), (std::vector<std::string>{"box", "h.zqx"})) << "written outside";
    EXPECT_EQ(Entries(box), std::vector<std::string>{"dir"}) << "written outside";
    std::vector<std::string> extracted;
    Tree(box + "/dir", "", &extracted);
    for (const std::string& path : extracted) {
        struct stat st {};
        ASSERT_EQ(lstat((box + "/dir/" + path).c_str(), &st), 0);
        EXPECT_LE(static_cast<size_t>(st.st_size), bytes.size())
            << path << " outgrew its container";
        EXPECT_EQ(path.find(".zqx-"), std::string::npos) << "temporary file left: " << path;
        EXPECT_LE(path.size(), 2 * 224u + 8) << path;
    }
}

INSTANTIATE_TEST_SUITE_P(Shapes, HostileContainer, ::testing::ValuesIn(Cases()),
                         [](const ::testing::TestParamInfo<Case>& info) {
                             std::string name;
                             for (const char* c = info.param.what; *c; ++c)
                                 name += isalnum(static_cast<unsigned char>(*c)) ? *c : '_';
                             return name;
                         });

// Folder items take names literally: ".." or a name with "/" is a child's name like any
// other, never a step up or down the tree, and what a hostile name reports is bounded.
TEST(HostileNames, FolderItemsTakeNamesLiterallyAndBounded) {
    const Base& base = Sound();
    const Layout layout(base.bytes);
    Bytes bytes = base.bytes;
    Patch patch{bytes, layout, base};
    std::string climb;
    while (climb.size() < kItemNameMaxBytes) climb += "../";
    climb.resize(kItemNameMaxBytes);
    patch.Name(base.dir, "..");
    patch.Name(base.b, climb);
    std::unique_ptr<FileHandle> stream(NewStream(bytes));
    VHFSVolume volume(stream.get(), 0);
    ASSERT_TRUE(volume.IsValid());
    UnixFolderItemImpVirtual root(&volume, volume.GetRoot());

    std::unique_ptr<FolderItemImp> dotdot(root.GetChildByName("..", 0));
    ASSERT_TRUE(dotdot);
    EXPECT_TRUE(dotdot->IsDirectory()) << "the child literally named \"..\"";
    std::unique_ptr<FolderItemImp> inside(dotdot->GetChildByName("a", 0));
    ASSERT_TRUE(inside);
    EXPECT_EQ(inside->GetLength(), 2500u) << "\"..\" led into the folder, not out of it";
    EXPECT_EQ(std::string(inside->GetAbsolutePath().CString()), "//../a");

    std::unique_ptr<FolderItemImp> slash(root.GetChildByName("dir/a", 0));
    ASSERT_TRUE(slash);
    EXPECT_FALSE(slash->Exists()) << "a \"/\" in a name must not walk into a folder";

    std::unique_ptr<FolderItemImp> climber(root.GetChildByName(string(climb.c_str()), 0));
    ASSERT_TRUE(climber);
    EXPECT_TRUE(climber->Exists());
    EXPECT_EQ(climber->GetLength(), 5u);
    EXPECT_EQ(std::string(climber->GetName().CString()), climb);
    EXPECT_EQ(std::string(climber->GetAbsolutePath().CString()), "//" + climb);

    // A name with a NUL inside stops at the NUL; the rest is never part of the name.
    patch.Name(base.b, std::string("b\0/../x", 7));
    std::unique_ptr<FileHandle> stream2(NewStream(bytes));
    VHFSVolume volume2(stream2.get(), 0);
    UnixFolderItemImpVirtual root2(&volume2, volume2.GetRoot());
    std::unique_ptr<FolderItemImp> cut(root2.GetChildByName("b", 0));
    ASSERT_TRUE(cut);
    EXPECT_TRUE(cut->Exists());
    EXPECT_EQ(std::string(cut->GetName().CString()), "b");
}

}  // namespace
