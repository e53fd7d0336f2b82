// ZqxTest.cpp - end-to-end tests of zqx: the built binary run in a private temporary folder.
//
// Each test makes its own folder (HOME points there too), runs zqx with posix_spawn and
// checks exit status, output and the files on disk. Hostile and damaged containers are
// made with the volume classes or by patching bytes. A run that takes over 30 seconds is
// killed and fails the test (a hang).
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "../support/RunProgram.h"
#include "encodings/Encodings.h"
#include "streams/FileHandle.h"
#include "virtualvolume/VHFSVolume.h"

namespace {

struct Result {
    int status = -1;  // exit status; -1 when killed or crashed
    std::string out;
    std::string err;
    std::string LastLine() const {
        std::string text = out.empty() || (!err.empty() && out.back() != '\n') ? err : out;
        while (!text.empty() && text.back() == '\n') text.pop_back();
        return text.substr(text.rfind('\n') == std::string::npos ? 0 : text.rfind('\n') + 1);
    }
};

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

bool Exists(const std::string& path) {
    struct stat st {};
    return lstat(path.c_str(), &st) == 0;
}

std::vector<std::string> Entries(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (strcmp(e->d_name, ".") && strcmp(e->d_name, "..")) names.push_back(e->d_name);
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

string Utf8(const std::string& s) {
    string out;
    out.ConstructFromBuffer(s.data(), static_cast<unsigned>(s.size()));
    out.SetEncoding(kEncodingUTF8);
    return out;
}

class ZqxTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/zqxtest-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
    }
    void TearDown() override {
        const std::string cmd = "rm -rf '" + dir + "'";
        ASSERT_EQ(system(cmd.c_str()), 0);
    }

    std::string P(const std::string& name) const { return dir + "/" + name; }

    // Runs zqx with `args`; `env` adds variables; standard input from `input` when set.
    Result Zqx(const std::vector<std::string>& args, const std::vector<std::string>& env = {},
               const std::string* input = nullptr) {
        std::vector<std::string> command{ZQX_BINARY};
        command.insert(command.end(), args.begin(), args.end());
        testsupport::ProgramRun ran =
            testsupport::RunProgram(command, {dir, input ? *input : "", env, 30});
        EXPECT_FALSE(ran.signaled) << "zqx died of a signal";
        Result run;
        run.status = ran.status;
        run.out = std::move(ran.out);
        run.err = std::move(ran.err);
        return run;
    }

    // A small tree: src/a.txt, src/empty, src/sub/b.bin (5000 bytes), src/sub/deep/c.
    void MakeTree() {
        mkdir(P("src").c_str(), 0755);
        mkdir(P("src/sub").c_str(), 0755);
        mkdir(P("src/sub/deep").c_str(), 0755);
        WriteFile(P("src/a.txt"), "hello\n");
        WriteFile(P("src/empty"), "");
        std::string binary;
        for (int i = 0; i < 5000; ++i) binary += static_cast<char>((i * 7919) & 0xFF);
        WriteFile(P("src/sub/b.bin"), binary);
        WriteFile(P("src/sub/deep/c"), "deep");
    }

    // A container made with the volume classes: `build` adds items under the root.
    void MakeContainer(const std::string& path,
                       const std::function<void(VHFSVolume&, const VFileRef&)>& build) {
        auto* stream = new FileHandle();
        stream->SetBigEndian();
        VHFSVolume* volume = VHFSVolume::Create(stream, 0);
        ASSERT_TRUE(volume && volume->IsValid());
        build(*volume, volume->GetRoot());
        volume->FlushToDisk();
        ZQ::Handle h = stream->GetHandle();
        WriteFile(path, std::string(*h, stream->GetLength()));
        delete volume;
        delete stream;
    }

    static void AddFile(VHFSVolume& v, const VFileRef& parent, const std::string& name,
                        const std::string& content) {
        VFileRef f = v.CreateFile(parent, Utf8(name), kUnknownFileType);
        ASSERT_NE(f.type, 0u) << name;
        VFile* s = v.OpenFile(f);
        ASSERT_NE(s, nullptr);
        ASSERT_TRUE(s->WriteData(content.data(), static_cast<unsigned>(content.size())));
        delete s;
    }

    // Overwrites the raw 224-byte name field of an item (for names the API won't write).
    static void SetRawName(VHFSVolume& v, uint32_t id, const std::string& raw) {
        VFSVolume* blocks = v.GetBlockVolume();
        const short f = blocks->OpenFile(id);
        ASSERT_GE(f, 0);
        std::string field = raw;
        field.resize(kItemNameFieldSize, '\0');
        ASSERT_TRUE(blocks->SetFilePosition(f, kItemNamePosition));
        ASSERT_TRUE(blocks->WriteFileData(f, field.data(), kItemNameFieldSize));
        blocks->CloseFile(f);
    }

    std::string dir;
};

TEST_F(ZqxTest, CreateListExtractRoundTripKeepsBytesNamesAndDates) {
    MakeTree();
    Result c = Zqx({"create", "-v", P("t.zqx"), P("src"), "--mtime", "2021-03-04T05:06:07"});
    ASSERT_EQ(c.status, 0) << c.err;
    EXPECT_NE(c.out.find("src/sub/b.bin\n"), std::string::npos) << "-v names each member";
    EXPECT_EQ(c.LastLine(), "created " + P("t.zqx") + ": 4 files, 3 folders, 5010 bytes");

    Result l = Zqx({"list", P("t.zqx")});
    ASSERT_EQ(l.status, 0) << l.err;
    EXPECT_EQ(l.out,
              "src/\nsrc/a.txt\nsrc/empty\nsrc/sub/\nsrc/sub/b.bin\nsrc/sub/deep/\n"
              "src/sub/deep/c\n4 files, 3 folders\n");

    mkdir(P("out").c_str(), 0755);
    Result x = Zqx({"extract", P("t.zqx"), "-C", P("out")});
    ASSERT_EQ(x.status, 0) << x.err;
    EXPECT_EQ(x.LastLine(), "extracted 4 files, 3 folders into " + P("out"));
    for (const char* f : {"src/a.txt", "src/empty", "src/sub/b.bin", "src/sub/deep/c"})
        EXPECT_EQ(ReadFile(P("out/") + f), ReadFile(P(f))) << f;
    struct stat st {};
    ASSERT_EQ(stat(P("out/src/a.txt").c_str(), &st), 0);
    EXPECT_EQ(st.st_mtime, 1614834367) << "the stored date comes back";
    ASSERT_EQ(stat(P("out/src/sub").c_str(), &st), 0);
    EXPECT_EQ(st.st_mtime, 1614834367) << "folders are dated after their contents";
    ASSERT_EQ(stat(P("out/src").c_str(), &st), 0);
    EXPECT_EQ(st.st_mtime, 1614834367);
    EXPECT_EQ(Entries(P("out/src")), (std::vector<std::string>{"a.txt", "empty", "sub"}))
        << "no temporary files are left behind";
}

TEST_F(ZqxTest, ListLongAndJsonShowTypeSizeAndDates) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P("src"), "--type", "TEXT", "--mtime", "86400"}).status,
              0);
    Result l = Zqx({"list", "-l", P("t.zqx"), "src/sub"});
    ASSERT_EQ(l.status, 0) << l.err;
    EXPECT_NE(l.out.find("TEXT         5000  1970-01-02T00:00:00Z  1970-01-02T00:00:00Z  "
                         "src/sub/b.bin\n"),
              std::string::npos)
        << l.out;
    EXPECT_EQ(l.out.find("a.txt"), std::string::npos) << "PATH limits the listing";

    Result j = Zqx({"list", "--json", P("t.zqx")});
    ASSERT_EQ(j.status, 0) << j.err;
    const auto doc = nlohmann::json::parse(j.out);
    ASSERT_EQ(doc["members"].size(), 7u);
    EXPECT_EQ(doc["files"], 4);
    EXPECT_EQ(doc["folders"], 3);
    const auto& b = doc["members"][4];
    EXPECT_EQ(b["path"], "src/sub/b.bin");
    EXPECT_EQ(b["kind"], "file");
    EXPECT_EQ(b["type"], "TEXT");
    EXPECT_EQ(b["size"], 5000);
    EXPECT_EQ(b["modified"], "1970-01-02T00:00:00Z");
    EXPECT_EQ(doc["members"][3]["kind"], "folder");
    EXPECT_NE(j.err.find("4 files, 3 folders"), std::string::npos) << "summary off stdout";
}

TEST_F(ZqxTest, SameInputsAndFixedDateGiveIdenticalBytes) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("1.zqx"), P("src"), "--mtime", "1000"}).status, 0);
    // Different file dates and a later run: --mtime fixes every date.
    struct timespec times[2] = {{5000, 0}, {5000, 0}};
    utimensat(AT_FDCWD, P("src/a.txt").c_str(), times, 0);
    ASSERT_EQ(Zqx({"create", P("2.zqx"), P("src"), "--mtime", "1000"}).status, 0);
    ASSERT_EQ(Zqx({"create", P("3.zqx"), P("src")}, {"SOURCE_DATE_EPOCH=1000"}).status, 0);
    ASSERT_EQ(Zqx({"create", P("4.zqx"), P("src"), "--mtime", "1001"}).status, 0);
    EXPECT_EQ(ReadFile(P("1.zqx")), ReadFile(P("2.zqx")));
    EXPECT_EQ(ReadFile(P("1.zqx")), ReadFile(P("3.zqx")));
    EXPECT_NE(ReadFile(P("1.zqx")), ReadFile(P("4.zqx"))) << "the date is really stored";
}

TEST_F(ZqxTest, ContainerOnStandardOutputAndInput) {
    MakeTree();
    Result c = Zqx({"create", "-", P("src/a.txt"), "--mtime", "0"});
    ASSERT_EQ(c.status, 0) << c.err;
    ASSERT_EQ(c.out.substr(0, 4), "VFSv");
    Result l = Zqx({"list", "-"}, {}, &c.out);
    EXPECT_EQ(l.status, 0) << l.err;
    EXPECT_EQ(l.out, "a.txt\n1 file, 0 folders\n");
}

// Hostile member names: each is named as skipped and nothing lands outside DIR.
TEST_F(ZqxTest, HostileNamesAreSkippedAndNothingEscapes) {
    struct Case {
        const char* label;
        std::string raw;  // the stored name field
        bool folder;
        const char* reason;
    };
    const std::vector<Case> cases = {
        {"dotdot file", "..", false, "not allowed"},
        {"dot folder", ".", true, "not allowed"},
        {"dotdot folder", "..", true, "not allowed"},
        {"slash", "a/b", false, "contains \"/\""},
        {"escaping slash", "../escape", false, "contains \"/\""},
        {"absolute", "/tmp/zqx-absolute", false, "contains \"/\""},
        {"nul", std::string("safe\0../x", 9), false, "NUL"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        const std::string box = P("box");
        ASSERT_EQ(system(("rm -rf '" + box + "'").c_str()), 0);
        mkdir(box.c_str(), 0755);
        mkdir((box + "/dir").c_str(), 0755);
        MakeContainer(P("h.zqx"), [&](VHFSVolume& v, const VFileRef& root) {
            AddFile(v, root, "good", "fine");
            VFileRef bad = c.folder ? v.CreateDirectory(root, Utf8("placeholder"))
                                    : v.CreateFile(root, Utf8("placeholder"), kUnknownFileType);
            if (c.folder) AddFile(v, bad, "escape", "outside!");
            SetRawName(v, bad.id, c.raw);
        });
        Result x = Zqx({"extract", P("h.zqx"), "-C", box + "/dir"});
        EXPECT_EQ(x.status, 1);
        EXPECT_NE(x.err.find("skipped"), std::string::npos) << x.err;
        EXPECT_NE(x.err.find(c.reason), std::string::npos) << x.err;
        EXPECT_EQ(Entries(box), std::vector<std::string>{"dir"}) << "written outside DIR";
        EXPECT_EQ(Entries(box + "/dir"), std::vector<std::string>{"good"});
        EXPECT_FALSE(Exists("/tmp/zqx-absolute"));
        EXPECT_NE(x.LastLine().find("1 skipped"), std::string::npos) << x.LastLine();
        // Named on the command line, the member is still refused.
        Result named = Zqx({"extract", P("h.zqx"), "-C", box + "/dir", "--overwrite", c.raw});
        EXPECT_NE(named.status, 0);
        EXPECT_EQ(Entries(box), std::vector<std::string>{"dir"}) << "written outside DIR";
        EXPECT_EQ(Entries(box + "/dir"), std::vector<std::string>{"good"});
    }
}

// Names are stored as given, control characters too; no command prints them raw, so a
// hostile container can't rewrite the terminal.
TEST_F(ZqxTest, ControlCharactersInNamesNeverReachTheTerminal) {
    const std::string evil = "e\x1b]0;owned\x07vil";
    mkdir(P(evil).c_str(), 0755);
    WriteFile(P(evil + "/\x1b[2J" + "file"), "x");
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P(evil), "--mtime", "0"}).status, 0);
    std::string wrongParent = ReadFile(P("t.zqx"));
    for (int i = 0; i < 4; ++i) wrongParent[1072 + 28 + 12 + i] = "\0\0\0\7"[i];
    WriteFile(P("bad.zqx"), wrongParent);
    const std::vector<std::vector<std::string>> cases = {
        {"list", "-l", P("t.zqx")},
        {"extract", "-v", P("t.zqx"), "-C", P("out")},
        {"check", P("bad.zqx")},
        {"rm", "-v", P("t.zqx"), evil},
    };
    mkdir(P("out").c_str(), 0755);
    for (const auto& args : cases) {
        SCOPED_TRACE(args[0]);
        Result r = Zqx(args);
        EXPECT_NE(r.out.find("e?]0;owned?vil"), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find('\x1b'), std::string::npos) << r.out;
        EXPECT_EQ(r.err.find('\x1b'), std::string::npos) << r.err;
    }
}

TEST_F(ZqxTest, SymbolicLinkInTheWayIsNotFollowed) {
    mkdir(P("outside").c_str(), 0755);
    mkdir(P("dir").c_str(), 0755);
    ASSERT_EQ(symlink(P("outside").c_str(), P("dir/evil").c_str()), 0);
    ASSERT_EQ(symlink(P("outside/target").c_str(), P("dir/file").c_str()), 0);
    MakeContainer(P("h.zqx"), [&](VHFSVolume& v, const VFileRef& root) {
        AddFile(v, v.CreateDirectory(root, Utf8("evil")), "x", "outside!");
        AddFile(v, root, "file", "through a link");
    });
    Result x = Zqx({"extract", P("h.zqx"), "-C", P("dir")});
    EXPECT_EQ(x.status, 1);
    EXPECT_NE(x.err.find("evil/ (and everything in it): skipped"), std::string::npos) << x.err;
    EXPECT_NE(x.err.find("file: skipped: exists"), std::string::npos) << x.err;
    EXPECT_TRUE(Entries(P("outside")).empty()) << "written through a symbolic link";
    // With --overwrite the link itself is replaced, never its target.
    Result o = Zqx({"extract", P("h.zqx"), "-C", P("dir"), "--overwrite", "file"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_TRUE(Entries(P("outside")).empty());
    EXPECT_EQ(ReadFile(P("dir/file")), "through a link");
}

TEST_F(ZqxTest, DuplicateNamesAndFolderCyclesAreNamed) {
    MakeContainer(P("d.zqx"), [&](VHFSVolume& v, const VFileRef& root) {
        AddFile(v, root, "same", "first");
        AddFile(v, root, "same", "second");
        VFileRef sub = v.CreateDirectory(root, Utf8("sub"));
        ASSERT_TRUE(v.LinkFile(sub, sub));  // a folder inside itself
    });
    mkdir(P("out").c_str(), 0755);
    Result x = Zqx({"extract", P("d.zqx"), "-C", P("out")});
    EXPECT_EQ(x.status, 1);
    EXPECT_EQ(ReadFile(P("out/same")), "first");
    EXPECT_NE(x.err.find("same: skipped: a second member"), std::string::npos) << x.err;
    EXPECT_NE(x.err.find("more than once"), std::string::npos) << x.err;
    Result l = Zqx({"list", P("d.zqx")});
    EXPECT_EQ(l.status, 1);
    Result k = Zqx({"check", P("d.zqx")});
    EXPECT_EQ(k.status, 1);
    EXPECT_NE(k.out.find("listed a second time"), std::string::npos) << k.out;
}

TEST_F(ZqxTest, ExistingFilesStayUnlessOverwrite) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P("src/a.txt")}).status, 0);
    mkdir(P("out").c_str(), 0755);
    WriteFile(P("out/a.txt"), "mine");
    Result x = Zqx({"extract", P("t.zqx"), "-C", P("out")});
    EXPECT_EQ(x.status, 1);
    EXPECT_EQ(ReadFile(P("out/a.txt")), "mine");
    EXPECT_NE(x.err.find("a.txt: skipped: exists (use --overwrite"), std::string::npos);
    Result o = Zqx({"extract", "-v", P("t.zqx"), "-C", P("out"), "--overwrite"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(ReadFile(P("out/a.txt")), "hello\n");
    EXPECT_EQ(Entries(P("out")), std::vector<std::string>{"a.txt"});
}

// Paths that overlap name some members twice; each is written once, and nothing is
// reported as a second member of its name.
TEST_F(ZqxTest, OverlappingPathsExtractEachMemberOnce) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P("src")}).status, 0);
    mkdir(P("out").c_str(), 0755);
    Result x =
        Zqx({"extract", P("t.zqx"), "-C", P("out"), "src/sub/b.bin", "src", "src/sub/b.bin"});
    EXPECT_EQ(x.status, 0) << x.err;
    EXPECT_TRUE(x.err.empty()) << x.err;
    EXPECT_EQ(ReadFile(P("out/src/sub/deep/c")), "deep");
    EXPECT_EQ(x.LastLine(), "extracted 4 files, 3 folders into " + P("out"));
}

TEST_F(ZqxTest, ToStdoutWritesOneMember) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P("src")}).status, 0);
    Result o = Zqx({"extract", P("t.zqx"), "-O", "src/sub/b.bin"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, ReadFile(P("src/sub/b.bin")));
    EXPECT_EQ(Zqx({"extract", P("t.zqx"), "-O", "src/sub"}).status, 2);
    EXPECT_EQ(Zqx({"extract", P("t.zqx"), "-O"}).status, 2);
    Result missing = Zqx({"extract", P("t.zqx"), "-O", "src/nothing"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("src/nothing: no such member"), std::string::npos);
}

TEST_F(ZqxTest, PluginBuildsTheLoaderLayout) {
    WriteFile(P("b.so"), std::string("\x7F"
                                     "ELF second-named-first"));
    WriteFile(P("a.so"), std::string("\x7F"
                                     "ELF",
                                     4));
    WriteFile(P("w1.dll"), "MZ");
    mkdir(P("help").c_str(), 0755);
    WriteFile(P("help/index.html"), "<html/>");
    mkdir(P("icons").c_str(), 0755);
    WriteFile(P("icons/128.bmp"), "BM");
    Result p =
        Zqx({"plugin", P("p.zqx"), "--name", "Tools", "--linux", P("b.so"), P("a.so"), "--windows",
             P("w1.dll"), "--help-dir", P("help"), "--icons", P("icons"), "--mtime", "0"});
    ASSERT_EQ(p.status, 0) << p.err;
    Result l = Zqx({"list", P("p.zqx")});
    ASSERT_EQ(l.status, 0) << l.err;
    EXPECT_EQ(l.out,
              "Tools/\n"
              "Tools/Build Resources/\n"
              "Tools/Build Resources/Windows/\n"
              "Tools/Build Resources/Windows/w1.dll\n"
              "Tools/Build Resources/Linux X86/\n"
              "Tools/Build Resources/Linux X86/b.so\n"  // the order given: b is plug-in 0
              "Tools/Build Resources/Linux X86/a.so\n"
              "Tools/IDE Resources/\n"
              "Tools/IDE Resources/Help/\n"
              "Tools/IDE Resources/Help/index.html\n"
              "Tools/IDE Resources/Controls Palette/\n"
              "Tools/IDE Resources/Controls Palette/128.bmp\n"
              "5 files, 7 folders\n");
    Result o = Zqx({"extract", P("p.zqx"), "-O", "Tools/Build Resources/Linux X86/b.so"});
    EXPECT_EQ(o.out, ReadFile(P("b.so")));
    EXPECT_EQ(Zqx({"check", P("p.zqx")}).status, 0);

    WriteFile(P("notelf.so"), "text");
    Result bad = Zqx({"plugin", P("q.zqx"), "--name", "T", "--linux", P("notelf.so")});
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.err.find("notelf.so: not an ELF shared library"), std::string::npos);
    EXPECT_FALSE(Exists(P("q.zqx")));
    EXPECT_EQ(Zqx({"plugin", P("q.zqx"), "--name", "a/b", "--linux", P("a.so")}).status, 2);
    EXPECT_EQ(Zqx({"plugin", P("q.zqx"), "--name", "T"}).status, 2) << "--linux is required";
}

// Damage cases: `patch` changes a good container; check names the problem, exits 1, and
// list and extract fail cleanly (exit 1, no crash, no hang).
TEST_F(ZqxTest, CheckIsCleanOnGoodContainersAndNamesDamage) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("good.zqx"), P("src"), "--mtime", "0"}).status, 0);
    const std::string good = ReadFile(P("good.zqx"));
    Result k = Zqx({"check", P("good.zqx")});
    EXPECT_EQ(k.status, 0) << k.out;
    EXPECT_NE(k.LastLine().find("clean"), std::string::npos);
    Result kj = Zqx({"check", "--json", P("good.zqx")});
    EXPECT_EQ(nlohmann::json::parse(kj.out)["clean"], true);

    auto setDouble = [](std::string& s, size_t at, double v) {
        uint64_t bits;
        memcpy(&bits, &v, 8);
        for (int i = 0; i < 8; ++i) s[at + i] = static_cast<char>(bits >> (56 - 8 * i));
    };
    auto setLong = [](std::string& s, size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i) s[at + i] = static_cast<char>(v >> (24 - 8 * i));
    };
    struct Case {
        const char* label;
        std::function<void(std::string&)> patch;
        const char* message;
        bool readable;  // list may still succeed
    };
    const std::vector<Case> cases = {
        {"truncated", [](std::string& s) { s.resize(s.size() - 700); }, "runs past the end", true},
        {"truncated to the header", [](std::string& s) { s.resize(20); }, "stray bytes", false},
        {"flipped volume magic", [](std::string& s) { s[0] ^= 0x20; }, "bad volume magic", false},
        {"version 4", [&](std::string& s) { setLong(s, 4, 4); }, "version 4", false},
        {"flipped block magic", [](std::string& s) { s[48] ^= 0x01; }, "bad block magic", true},
        {"flipped trailer", [](std::string& s) { s[48 + 1023] ^= 0x01; }, "trailer", true},
        {"size below the header's", [&](std::string& s) { setDouble(s, 48 + 12, 16.0); },
         "below the 32 bytes", true},
        {"chain loops", [&](std::string& s) { setDouble(s, 48 + 20, 48.0); }, "loops", true},
        {"chain past the end", [&](std::string& s) { setDouble(s, 48 + 20, 1e9); }, "past the end",
         true},
        {"absurd child count", [&](std::string& s) { setLong(s, 48 + 28 + 256, 0x7FFFFFFF); },
         "child count", true},
        {"map names another file", [&](std::string& s) { setLong(s, s.find("BMap") + 8 + 4, 99); },
         "map says file 99", true},
        {"map count absurd", [&](std::string& s) { setLong(s, s.find("BMap") + 4, 0x7FFFFFFF); },
         "saved map lists", true},
        {"counter behind", [&](std::string& s) { setLong(s, 36, 2); }, "next file id 2", true},
        {"wrong parent", [&](std::string& s) { setLong(s, 1072 + 28 + 12, 7); }, "parent is 7",
         true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.label);
        std::string bad = good;
        c.patch(bad);
        WriteFile(P("bad.zqx"), bad);
        Result r = Zqx({"check", P("bad.zqx")});
        EXPECT_EQ(r.status, 1) << r.out;
        EXPECT_NE(r.out.find(c.message), std::string::npos) << r.out;
        EXPECT_NE(r.out.find(P("bad.zqx")), std::string::npos) << "the file is named";
        Result l = Zqx({"list", P("bad.zqx")});
        EXPECT_TRUE(l.status == 0 || l.status == 1) << l.status;
        if (!c.readable) {
            EXPECT_EQ(l.status, 1);
            EXPECT_NE(l.err.find(P("bad.zqx")), std::string::npos) << l.err;
        }
        mkdir(P("x").c_str(), 0755);
        Result x = Zqx({"extract", P("bad.zqx"), "-C", P("x")});
        EXPECT_TRUE(x.status == 0 || x.status == 1) << x.status;
        ASSERT_EQ(system(("rm -rf '" + P("x") + "'").c_str()), 0);
    }
}

TEST_F(ZqxTest, AddMkdirRmChangeTheContainer) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P("src/a.txt"), "--mtime", "0"}).status, 0);
    EXPECT_EQ(Zqx({"mkdir", P("t.zqx"), "docs/more"}).status, 1) << "no parent without -p";
    EXPECT_EQ(Zqx({"mkdir", "-p", P("t.zqx"), "docs/more"}).status, 0);
    EXPECT_EQ(Zqx({"mkdir", P("t.zqx"), "docs"}).status, 1) << "exists";
    EXPECT_EQ(Zqx({"add", P("t.zqx"), P("src/sub"), "docs"}).status, 0);
    EXPECT_EQ(Zqx({"add", P("t.zqx"), P("src/sub/deep/c"), "docs/renamed"}).status, 0);
    EXPECT_EQ(Zqx({"add", P("t.zqx"), P("src/a.txt")}).status, 1) << "a.txt exists";
    Result l = Zqx({"list", P("t.zqx")});
    EXPECT_EQ(l.out,
              "a.txt\ndocs/\ndocs/more/\ndocs/sub/\ndocs/sub/b.bin\ndocs/sub/deep/\n"
              "docs/sub/deep/c\ndocs/renamed\n4 files, 4 folders\n");
    Result r = Zqx({"rm", "-v", P("t.zqx"), "docs/sub"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.LastLine(), "removed docs/sub from " + P("t.zqx") + ": 4 members");
    EXPECT_EQ(Zqx({"list", P("t.zqx")}).out,
              "a.txt\ndocs/\ndocs/more/\ndocs/renamed\n2 files, 2 folders\n");
    EXPECT_EQ(Zqx({"check", P("t.zqx")}).status, 0);
    EXPECT_EQ(Zqx({"rm", P("t.zqx"), "/"}).status, 2);
    EXPECT_EQ(Zqx({"rm", P("t.zqx"), "nothing"}).status, 1);
}

// A container reached through a symbolic link is changed where it lies; the link stays.
TEST_F(ZqxTest, EditsThroughASymbolicLinkChangeTheContainerItNames) {
    MakeTree();
    mkdir(P("real").c_str(), 0755);
    ASSERT_EQ(Zqx({"create", P("real/t.zqx"), P("src/a.txt")}).status, 0);
    ASSERT_EQ(symlink("real/t.zqx", P("link.zqx").c_str()), 0);
    EXPECT_EQ(Zqx({"mkdir", P("link.zqx"), "docs"}).status, 0);
    EXPECT_EQ(Zqx({"add", P("link.zqx"), P("src/empty"), "docs"}).status, 0);
    EXPECT_EQ(Zqx({"rm", P("link.zqx"), "a.txt"}).status, 0);
    struct stat st {};
    ASSERT_EQ(lstat(P("link.zqx").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the link was replaced by a file";
    EXPECT_EQ(Zqx({"list", P("real/t.zqx")}).out, "docs/\ndocs/empty\n1 file, 1 folder\n");
    EXPECT_EQ(Entries(dir), (std::vector<std::string>{"link.zqx", "real", "src"}));
    EXPECT_EQ(Entries(P("real")), std::vector<std::string>{"t.zqx"});
}

// Stopped by a signal while writing, zqx removes its temporary file and dies of the signal:
// no half-written container or member is left, and a container being changed is as it was.
TEST_F(ZqxTest, StoppedBySignalLeavesNoPartialFile) {
    MakeTree();
    mkdir(P("big").c_str(), 0755);
    WriteFile(P("big/zeros"), "");
    ASSERT_EQ(truncate(P("big/zeros").c_str(), 64 << 20), 0);  // long enough to be caught
    ASSERT_EQ(Zqx({"create", P("small.zqx"), P("src/a.txt")}).status, 0);
    const std::string small = ReadFile(P("small.zqx"));
    ASSERT_EQ(Zqx({"create", P("big.zqx"), P("big")}).status, 0);
    mkdir(P("out").c_str(), 0755);
    const struct {
        const char* label;
        std::vector<std::string> args;
        std::string folder;  // where the temporary file appears
        std::string prefix;  // how its name starts
    } cases[] = {
        {"create", {"create", P("new.zqx"), P("big")}, dir, "new.zqx."},
        {"add", {"add", P("small.zqx"), P("big")}, dir, "small.zqx."},
        {"extract", {"extract", P("big.zqx"), "-C", P("out")}, P("out/big"), ".zqx-"},
    };
    auto pending = [](const std::string& folder, const std::string& prefix) {
        for (const std::string& name : Entries(folder))
            if (name.rfind(prefix, 0) == 0) return true;
        return false;
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        std::vector<char*> argv{const_cast<char*>(ZQX_BINARY)};
        for (const std::string& a : c.args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            const int null = open("/dev/null", O_RDWR);
            dup2(null, 1);
            dup2(null, 2);
            execv(ZQX_BINARY, argv.data());
            _exit(127);
        }
        int status = 0;
        bool seen = false, ended = false;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!seen && !ended && std::chrono::steady_clock::now() < deadline) {
            seen = pending(c.folder, c.prefix);
            ended = !seen && waitpid(pid, &status, WNOHANG) == pid;
        }
        if (!ended) {
            kill(pid, SIGTERM);
            waitpid(pid, &status, 0);
        }
        ASSERT_TRUE(seen) << "no temporary file was seen being written";
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
        EXPECT_FALSE(pending(c.folder, c.prefix)) << "a partial file was left behind";
        EXPECT_FALSE(Exists(P("new.zqx")));
        EXPECT_EQ(ReadFile(P("small.zqx")), small);
    }
}

// A removal that can't be completed changes nothing: members already taken out of the
// copy don't go missing from the container.
TEST_F(ZqxTest, RemovalThatFailsPartWayChangesNothing) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P("src/a.txt")}).status, 0);
    ASSERT_EQ(Zqx({"mkdir", P("t.zqx"), "d"}).status, 0);
    ASSERT_EQ(Zqx({"add", P("t.zqx"), P("src/empty"), "d"}).status, 0);
    std::string deep = "d";
    for (int i = 0; i < 520; ++i) deep += "/d";  // deeper than a removal goes
    ASSERT_EQ(Zqx({"mkdir", "-p", P("t.zqx"), deep}).status, 0);
    const std::string before = ReadFile(P("t.zqx"));
    Result r = Zqx({"rm", P("t.zqx"), "d"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("nested too deeply"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find(P("t.zqx") + ": not changed"), std::string::npos) << r.err;
    EXPECT_TRUE(ReadFile(P("t.zqx")) == before) << "a part of the folder was removed";
    EXPECT_EQ(Entries(dir), (std::vector<std::string>{"src", "t.zqx"}));
}

TEST_F(ZqxTest, BadUsageExitsTwo) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P("src/a.txt")}).status, 0);
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"frobnicate"},
        {"create", P("x.zqx")},
        {"create", P("x.zqx"), P("src"), "--type", "TOOLONG"},
        {"create", P("x.zqx"), P("src"), "--type", "fold"},
        {"create", P("x.zqx"), P("src"), "--mtime", "yesterday"},
        {"create", P("x.zqx"), P("src"), "--mtime", "2020-01-01junk"},
        {"create", P("x.zqx"), P("src"), "--mtime", "2020-01-01T"},
        {"create", P("x.zqx"), P("src"), "--mtime", "2020-01-01T12"},
        {"create", P("x.zqx"), P("src"), "--mtime", "2021-02-29"},
        {"create", P("x.zqx"), P("src"), "--mtime", "2021-04-31T10:00:00"},
        {"mkdir", P("t.zqx"), "docs", "--mtime", "2020-01-01 noon"},
        {"create", P("x.zqx"), P("src"), P("src/sub/../")},  // two members named "src"
        {"list"},
        {"list", P("t.zqx"), "--bogus"},
        {"extract", P("t.zqx"), "-C", P("no-such-dir")},
        {"mkdir", P("t.zqx"), "a/../.."},
    };
    for (const auto& args : cases) {
        std::string joined;
        for (const auto& a : args) joined += a + " ";
        SCOPED_TRACE(joined);
        Result r = Zqx(args);
        EXPECT_EQ(r.status, 2) << r.err;
        EXPECT_FALSE(r.err.empty());
    }
    Result env = Zqx({"create", P("x.zqx"), P("src")}, {"SOURCE_DATE_EPOCH=soon"});
    EXPECT_EQ(env.status, 2);
    EXPECT_NE(env.err.find("SOURCE_DATE_EPOCH"), std::string::npos);
    EXPECT_FALSE(Exists(P("x.zqx")));
}

TEST_F(ZqxTest, HelpForTheToolAndEachCommand) {
    for (const char* cmd :
         {"", "create", "list", "extract", "plugin", "check", "add", "rm", "mkdir"}) {
        SCOPED_TRACE(cmd);
        std::vector<std::string> args;
        if (*cmd) args.push_back(cmd);
        args.push_back("--help");
        Result r = Zqx(args);
        EXPECT_EQ(r.status, 0);
        EXPECT_NE(r.out.find("Usage"), std::string::npos) << r.out;
    }
}

// Output that can't be written (a full disk) is an error, not a quiet success with the
// listing or report cut short.
TEST_F(ZqxTest, FullStandardOutputFails) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P("src")}).status, 0);
    const std::vector<std::vector<std::string>> cases = {
        {"list", P("t.zqx")},
        {"list", "--json", P("t.zqx")},
        {"list", "-l", P("t.zqx")},
        {"check", P("t.zqx")},
        {"check", "--json", P("t.zqx")},
        {"extract", "-v", P("t.zqx"), "-C", P("out")},
        {"list", "--help"},
    };
    mkdir(P("out").c_str(), 0755);
    for (const auto& args : cases) {
        std::string joined;
        for (const auto& a : args) joined += a + " ";
        SCOPED_TRACE(joined);
        std::vector<std::string> command{"/bin/sh", "-c", "exec \"$0\" \"$@\" >/dev/full",
                                         ZQX_BINARY};
        command.insert(command.end(), args.begin(), args.end());
        const testsupport::ProgramRun r = testsupport::RunProgram(command, {dir, "", {}, 30});
        EXPECT_EQ(r.status, 1) << r.err;
        EXPECT_NE(r.err.find("zqx: standard output: "), std::string::npos) << r.err;
    }
}

// A named pipe (as "<(...)" gives) is read like standard input, not taken for an empty or
// unreadable file.
TEST_F(ZqxTest, ContainerFromANamedPipe) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P("src")}).status, 0);
    const std::string bytes = ReadFile(P("t.zqx"));
    ASSERT_EQ(mkfifo(P("pipe").c_str(), 0600), 0);
    mkdir(P("out").c_str(), 0755);
    const std::vector<std::vector<std::string>> cases = {
        {"list", P("pipe")},
        {"check", P("pipe")},
        {"extract", P("pipe"), "-C", P("out")},
        {"extract", P("pipe"), "-O", "src/sub/b.bin"},
    };
    for (const auto& args : cases) {
        SCOPED_TRACE(args[0] + " " + args.back());
        std::thread writer([&] {
            // A reader that stops early must not take the test down with SIGPIPE.
            sigset_t pipe;
            sigemptyset(&pipe);
            sigaddset(&pipe, SIGPIPE);
            pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
            const int fd = open(P("pipe").c_str(), O_WRONLY);
            if (fd < 0) return;
            for (size_t done = 0; done < bytes.size();) {
                const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
                if (n <= 0) break;
                done += size_t(n);
            }
            close(fd);
        });
        Result r = Zqx(args);
        writer.join();
        EXPECT_EQ(r.status, 0) << r.err;
        if (args.size() > 3 && args[2] == "-O") {
            EXPECT_TRUE(r.out == ReadFile(P("src/sub/b.bin")));
        }
    }
    EXPECT_EQ(ReadFile(P("out/src/sub/deep/c")), "deep");
}

// Standard input or output closed: an error, not a container written into (or read from)
// the temporary file that took the free descriptor.
TEST_F(ZqxTest, ClosedStandardStreamsAreErrors) {
    MakeTree();
    const struct {
        const char* redirect;
        std::vector<std::string> args;
        const char* message;
    } cases[] = {
        {">&-", {"create", "-", P("src")}, "zqx: standard output: Bad file descriptor"},
        {"<&-", {"list", "-"}, "zqx: standard input: Bad file descriptor"},
        {"<&-", {"check", "-"}, "zqx: standard input: Bad file descriptor"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args[0]);
        std::vector<std::string> command{"/bin/sh", "-c",
                                         std::string("exec \"$0\" \"$@\" ") + c.redirect,
                                         ZQX_BINARY};
        command.insert(command.end(), c.args.begin(), c.args.end());
        const testsupport::ProgramRun r = testsupport::RunProgram(command, {dir, "", {}, 30});
        EXPECT_EQ(r.status, 1) << r.err;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    }
}

TEST_F(ZqxTest, UnreadableContainersAreNamed) {
    WriteFile(P("junk.zqx"), "this is not a container at all");
    Result l = Zqx({"list", P("junk.zqx")});
    EXPECT_EQ(l.status, 1);
    EXPECT_NE(l.err.find(P("junk.zqx") + ": not a container"), std::string::npos) << l.err;
    Result m = Zqx({"list", P("missing.zqx")});
    EXPECT_EQ(m.status, 1);
    EXPECT_NE(m.err.find(P("missing.zqx") + ": No such file"), std::string::npos) << m.err;
}

// Changing a damaged container: add, rm and mkdir refuse, name the file and leave every
// byte as it was (the volume would otherwise repair some damage silently and build on it).
TEST_F(ZqxTest, EditsLeaveDamagedContainersByteForByte) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("good.zqx"), P("src"), "--mtime", "0"}).status, 0);
    const std::string good = ReadFile(P("good.zqx"));
    auto setLong = [](std::string& s, size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i) s[at + i] = static_cast<char>(v >> (24 - 8 * i));
    };
    const struct {
        const char* label;
        std::function<void(std::string&)> patch;
        const char* message;
    } damages[] = {
        {"not a container", [](std::string& s) { s[0] ^= 0x20; }, "not a container"},
        {"truncated", [](std::string& s) { s.resize(s.size() - 700); }, "damaged container"},
        {"flipped block magic", [](std::string& s) { s[48] ^= 0x01; }, "damaged container"},
        {"map names another file", [&](std::string& s) { setLong(s, s.find("BMap") + 8 + 4, 99); },
         "damaged container"},
        {"wrong parent", [&](std::string& s) { setLong(s, 1072 + 28 + 12, 7); },
         "damaged container"},
    };
    WriteFile(P("new.txt"), "new");
    const std::vector<std::vector<std::string>> edits = {
        {"add", P("bad.zqx"), P("new.txt")},
        {"add", P("bad.zqx"), P("src/sub"), "src"},
        {"rm", P("bad.zqx"), "src/a.txt"},
        {"mkdir", "-p", P("bad.zqx"), "docs/more"},
    };
    for (const auto& damage : damages) {
        std::string bad = good;
        damage.patch(bad);
        for (const auto& args : edits) {
            SCOPED_TRACE(std::string(damage.label) + ": " + args[0]);
            WriteFile(P("bad.zqx"), bad);
            const std::vector<std::string> before = Entries(dir);
            Result r = Zqx(args);
            EXPECT_EQ(r.status, 1) << r.err;
            EXPECT_NE(r.err.find(P("bad.zqx") + ": " + damage.message), std::string::npos) << r.err;
            EXPECT_EQ(ReadFile(P("bad.zqx")), bad) << "the container was changed";
            EXPECT_EQ(Entries(dir), before) << "a temporary file was left behind";
        }
    }
}

TEST_F(ZqxTest, EditsWaitForNoOneAndChangeNothingWhileLocked) {
    MakeTree();
    ASSERT_EQ(Zqx({"create", P("t.zqx"), P("src/a.txt")}).status, 0);
    const std::string before = ReadFile(P("t.zqx"));
    const int fd = open(P("t.zqx").c_str(), O_RDONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(flock(fd, LOCK_EX | LOCK_NB), 0);
    Result r = Zqx({"mkdir", P("t.zqx"), "docs"});
    close(fd);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find(P("t.zqx") + ": being changed by another zqx"), std::string::npos)
        << r.err;
    EXPECT_EQ(ReadFile(P("t.zqx")), before);
    EXPECT_EQ(Zqx({"mkdir", P("t.zqx"), "docs"}).status, 0) << "free again once unlocked";
    struct stat st {};
    ASSERT_EQ(chmod(P("t.zqx").c_str(), 0640), 0);
    ASSERT_EQ(Zqx({"rm", P("t.zqx"), "docs"}).status, 0);
    ASSERT_EQ(stat(P("t.zqx").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u) << "an edited container keeps its permissions";
}

// Big contents are copied in chunks into a few large blocks, and come back whole through
// every command; the file being written inside an input folder is never stored.
TEST_F(ZqxTest, BigFilesTakeFewBlocksAndComeBackWhole) {
    MakeTree();
    std::string big(3 * 1024 * 1024 + 77, '\0');
    for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>((i * 2654435761u) >> 13);
    WriteFile(P("src/big.bin"), big);
    Result c = Zqx({"create", P("src/self.zqx"), P("src")});
    ASSERT_EQ(c.status, 0) << c.err;
    Result k = Zqx({"check", "--json", P("src/self.zqx")});
    ASSERT_EQ(k.status, 0) << k.out;
    const auto report = nlohmann::json::parse(k.out);
    // Root, 3 folders and 5 files of one block each, 2 files with a content block, and
    // the volume information: per-KiB blocks would be over 3000.
    EXPECT_LT(report["blocks"].get<int>(), 30) << k.out;
    EXPECT_EQ(Zqx({"extract", P("src/self.zqx"), "-O", "src/big.bin"}).out, big);
    Result l = Zqx({"list", P("src/self.zqx")});
    EXPECT_EQ(l.out.find("self.zqx"), std::string::npos) << "its own temporary file stored";
    // Added to an existing container, after a removal left free blocks to reuse.
    ASSERT_EQ(Zqx({"rm", P("src/self.zqx"), "src/sub"}).status, 0);
    ASSERT_EQ(Zqx({"add", P("src/self.zqx"), P("src/big.bin"), "again.bin"}).status, 0);
    EXPECT_EQ(Zqx({"check", P("src/self.zqx")}).status, 0);
    EXPECT_EQ(Zqx({"extract", P("src/self.zqx"), "-O", "again.bin"}).out, big);
    mkdir(P("out").c_str(), 0755);
    ASSERT_EQ(Zqx({"extract", P("src/self.zqx"), "-C", P("out")}).status, 0);
    EXPECT_EQ(ReadFile(P("out/src/big.bin")), big);
    EXPECT_EQ(ReadFile(P("out/again.bin")), big);
    // The container itself, once it exists, is named and skipped as before.
    Result again = Zqx({"create", P("src/self.zqx"), P("src")});
    EXPECT_EQ(again.status, 1);
    EXPECT_NE(again.err.find("is the container being written; skipped"), std::string::npos);
}

}  // namespace
