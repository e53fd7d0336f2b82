// FolderItemImpUnixTest.cpp - POSIX folder items on a real disk, in a private folder:
// construction, names, navigation, links, permissions, dates, creating and deleting, the
// shell-run operations with awkward names, special folders, URLs and formats.
#include <dirent.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <ctime>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "FilesTestSupport.h"
#include "core/DateScale.h"
#include "files/FolderItemImpUnix.h"
#include "hostapi/ZYNEPlugin.h"
#include "streams/RandomAccessMechanism.h"

namespace {

using namespace filestest;
using StreamPtr = std::unique_ptr<RandomAccessMechanism>;

class FolderItemUnix : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(tmp.Valid()); }

    std::string MakeFolder(const std::string& relative, mode_t mode = 0755) {
        const std::string path = tmp / relative;
        EXPECT_EQ(mkdir(path.c_str(), mode), 0) << path;
        return path;
    }
    std::string MakeFile(const std::string& relative, std::string_view bytes = "x") {
        const std::string path = tmp / relative;
        EXPECT_TRUE(WriteFile(path, bytes)) << path;
        return path;
    }
    // Makes each entry in order: a folder when it ends in "/", else a file holding "x".
    void Make(std::initializer_list<std::string> entries) {
        for (const std::string& e : entries) {
            if (e.ends_with('/')) {
                MakeFolder(e.substr(0, e.size() - 1));
            } else {
                MakeFile(e);
            }
        }
    }

    TempFolder tmp;
};

// ---------------------------------------------------------------------------
// Construction, names, parents

TEST_F(FolderItemUnix, RelativePathsTakeTheWorkingDirectory) {
    Make({"docs/", "notes"});
    CwdGuard cwd(tmp.Path());
    ASSERT_TRUE(cwd.Changed());
    struct Case {
        std::string given, expected;
    } const cases[] = {
        {"docs", tmp / "docs/"},       {"docs/", tmp / "docs/"},
        {"notes", tmp / "notes"},      {"missing", tmp / "missing"},
        {tmp / "docs", tmp / "docs/"}, {"docs/../notes", tmp / "docs/../notes"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.given);
        UnixPtr item = Item(c.given);
        EXPECT_EQ(PathOf(item.get()), c.expected);
        EXPECT_EQ(item->GetAbsolutePath().Encoding(), kEncodingUTF8);
        EXPECT_EQ(item->GetLastError(), 0);  // asking whether it is a folder is no failure
    }
    // UTF-16 paths are converted first.
    const string wide = Utf8(tmp / "docs").GetUTF16String();
    ASSERT_EQ(wide.Encoding(), kEncodingUTF16);
    EXPECT_EQ(PathOf(UnixPtr(FolderItemImpUnix::ConstructFromShellPath(wide)).get()),
              tmp / "docs/");
}

TEST_F(FolderItemUnix, ParentMissingFlagIsOnlyEverSet) {
    MakeFile("here");
    struct Case {
        std::string path;
        bool before, after;
    } const cases[] = {
        {tmp / "here", false, false},
        {tmp / "new", false, false},
        {tmp / "none/new", false, true},
        {tmp / "here", true, true},  // never cleared
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        bool flag = c.before;
        FolderItemImpUnix item(Utf8(c.path), &flag);
        EXPECT_EQ(flag, c.after);
    }
}

TEST_F(FolderItemUnix, NamesIgnoreOneTrailingSlash) {
    struct Case {
        std::string path, name;
    } const cases[] = {{"/", "/"}, {tmp / "zq-missing/b/", "b"}, {tmp / "zq-missing/.x", ".x"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(Std(Item(c.path)->GetName()), c.name);
    }
}

TEST_F(FolderItemUnix, ParentsClimbToTheRoot) {
    Make({"a/", "a/b/", "a/b/c.txt"});
    ItemPtr item(Item(tmp / "a/b/c.txt").release());
    EXPECT_EQ(PathOf(ItemPtr(item->GetParent()).get()), tmp / "a/b/");
    EXPECT_EQ(PathOf(ItemPtr(Item(tmp / "a/b")->GetParent()).get()), tmp / "a/");

    int steps = 0;
    while (ItemPtr parent{item->GetParent()}) {
        item = std::move(parent);
        ASSERT_LT(++steps, 64);
    }
    EXPECT_EQ(PathOf(item.get()), "/");
    EXPECT_EQ(item->GetParent(), nullptr);
}

TEST_F(FolderItemUnix, VisibilityFollowsTheLeadingDot) {
    EXPECT_FALSE(Item("/tmp/.x")->GetVisible());
    EXPECT_TRUE(Item("/tmp/x.")->GetVisible());

    const std::string path = MakeFile("shown", "data");
    UnixPtr item = Item(path);
    EXPECT_TRUE(item->SetVisible(1));  // already visible: nothing to do
    EXPECT_TRUE(item->SetVisible(0));
    EXPECT_EQ(PathOf(item.get()), tmp / ".shown");
    EXPECT_EQ(ReadFile(tmp / ".shown"), "data");
    EXPECT_FALSE(item->GetVisible());
    EXPECT_TRUE(item->SetVisible(1));
    EXPECT_EQ(ReadFile(tmp / "shown"), "data");
    EXPECT_FALSE(PathExists(tmp / ".shown"));
}

TEST_F(FolderItemUnix, SetNameRenamesInPlaceOrKeepsThePath) {
    MakeFile("old", "content");
    UnixPtr file = Item(tmp / "old");
    ASSERT_TRUE(file->SetName(Utf8("new name (2) caf\xC3\xA9")));
    EXPECT_EQ(PathOf(file.get()), tmp / "new name (2) caf\xC3\xA9");
    EXPECT_EQ(ReadFile(tmp / "new name (2) caf\xC3\xA9"), "content");
    EXPECT_FALSE(PathExists(tmp / "old"));

    MakeFolder("dir");
    UnixPtr folder = Item(tmp / "dir");
    ASSERT_TRUE(folder->SetName(Utf8("dir2")));
    EXPECT_EQ(PathOf(folder.get()), tmp / "dir2/");  // still a folder path

    UnixPtr missing = Item(tmp / "ghost");
    EXPECT_TRUE(missing->SetName(Utf8("spirit")));  // nothing on disk to move
    EXPECT_EQ(PathOf(missing.get()), tmp / "spirit");
    EXPECT_FALSE(PathExists(tmp / "spirit"));

    // Failures keep the path.
    Make({"full/", "full/inside"});
    EXPECT_FALSE(folder->SetName(Utf8("full")));
    EXPECT_TRUE(folder->GetLastError() == ENOTEMPTY || folder->GetLastError() == EEXIST)
        << folder->GetLastError();
    EXPECT_EQ(PathOf(folder.get()), tmp / "dir2/");

    EXPECT_FALSE(folder->SetName(Utf8("a/b")));
    EXPECT_EQ(folder->GetLastError(), EINVAL);
    EXPECT_FALSE(Item("/")->SetName(Utf8("x")));
}

// ---------------------------------------------------------------------------
// Children and links

TEST_F(FolderItemUnix, HiddenEntriesAreChildrenDotsAreNotAndFilesHaveNone) {
    Make({"f/", "f/.hidden", "f/a"});
    UnixPtr folder = Item(tmp / "f");
    ASSERT_EQ(folder->GetChildCount(), 2);

    std::set<std::string> names;
    for (long i = 0; i < 2; ++i) {
        ItemPtr child(folder->GetChildByIndex(i, 0));
        ASSERT_NE(child, nullptr);
        names.insert(Std(child->GetName()));
        EXPECT_EQ(PathOf(child.get()), tmp / ("f/" + Std(child->GetName())));
    }
    EXPECT_EQ(names, (std::set<std::string>{".hidden", "a"}));
    for (long index : {2L, -1L, LONG_MIN, LONG_MAX}) {
        SCOPED_TRACE(index);
        EXPECT_EQ(folder->GetChildByIndex(index, 0), nullptr);
    }
    EXPECT_FALSE(ItemPtr(folder->GetChildByName(Utf8(".hidden"), 0))->GetVisible());

    UnixPtr file = Item(tmp / "f/a");  // a file has no children
    EXPECT_EQ(file->GetChildCount(), 0);
    EXPECT_EQ(file->GetLastError(), ENOTDIR);
    EXPECT_EQ(file->GetChildByIndex(0, 0), nullptr);
    EXPECT_EQ(file->GetLastError(), ENOTDIR);
}

TEST_F(FolderItemUnix, ChildByNameAndDotDot) {
    MakeFolder("p");
    UnixPtr folder = Item(tmp / "p");
    EXPECT_EQ(PathOf(ItemPtr(folder->GetChildByName(Utf8("x y"), 0)).get()), tmp / "p/x y");
    EXPECT_EQ(PathOf(ItemPtr(folder->GetChildByName(Utf8(".."), 0)).get()), tmp.Path() + "/");
    // A folder named without its slash still joins with one.
    UnixPtr bare = Item(tmp / "zq-missing");
    EXPECT_EQ(PathOf(ItemPtr(bare->GetChildByName(Utf8("c"), 0)).get()), tmp / "zq-missing/c");
}

TEST_F(FolderItemUnix, ResolveAliasFollowsChainsAndRelativeTargets) {
    Make({"target/", "sub/"});
    MakeFile("file", "bytes");
    ASSERT_EQ(symlink("target", (tmp / "first").c_str()), 0);
    ASSERT_EQ(symlink((tmp / "first").c_str(), (tmp / "second").c_str()), 0);
    ASSERT_EQ(symlink("../file", (tmp / "sub/up").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", (tmp / "broken").c_str()), 0);
    struct Case {
        std::string link, resolved;
    } const cases[] = {
        {tmp / "second", tmp / "target/"},
        {tmp / "sub/up", tmp / "file"},  // ".." taken from the link's folder
        {tmp / "broken", tmp / "nowhere"},
        {tmp / "file", tmp / "file"},  // not a link: unchanged
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.link);
        UnixPtr item = Item(c.link);
        item->ResolveAlias(1);
        EXPECT_EQ(PathOf(item.get()), c.resolved);
    }
    // A link to a folder is an alias, not a folder, until resolved in place.
    UnixPtr link = Item(tmp / "first");
    EXPECT_EQ(PathOf(link.get()), tmp / "first");  // no folder slash
    EXPECT_FALSE(link->IsDirectory());
    EXPECT_TRUE(link->IsAlias() && link->Exists());
    EXPECT_FALSE(Item(tmp / "target")->IsAlias());
    EXPECT_EQ(link->ResolveAlias(1), link.get());
    EXPECT_TRUE(link->IsDirectory());

    UnixPtr broken = Item(tmp / "broken");
    EXPECT_TRUE(broken->IsAlias());
    EXPECT_FALSE(broken->Exists());  // access follows the link
    EXPECT_EQ(broken->GetLastError(), ENOENT);

    ASSERT_EQ(symlink("loopB", (tmp / "loopA").c_str()), 0);
    ASSERT_EQ(symlink("loopA", (tmp / "loopB").c_str()), 0);
    UnixPtr loop = Item(tmp / "loopA");
    EXPECT_EQ(loop->ResolveAlias(1), loop.get());
    EXPECT_EQ(loop->GetLastError(), ELOOP);
}

TEST_F(FolderItemUnix, ResolveFlagOnChildren) {
    Make({"f/", "f/real/"});
    ASSERT_EQ(symlink("real", (tmp / "f/alias").c_str()), 0);
    UnixPtr folder = Item(tmp / "f");
    EXPECT_EQ(PathOf(ItemPtr(folder->GetChildByName(Utf8("alias"), 0)).get()), tmp / "f/alias");
    EXPECT_EQ(PathOf(ItemPtr(folder->GetChildByName(Utf8("alias"), 1)).get()), tmp / "f/real/");
    std::set<std::string> resolved;
    for (long i = 0; i < folder->GetChildCount(); ++i) {
        resolved.insert(PathOf(ItemPtr(folder->GetChildByIndex(i, 1)).get()));
    }
    EXPECT_EQ(resolved, (std::set<std::string>{tmp / "f/real/"}));
}

// ---------------------------------------------------------------------------
// Permissions, owners, access

TEST_F(FolderItemUnix, PermissionsIncludeSetIdAndStickyBits) {
    Make({"p", "d/"});
    UnixPtr file = Item(tmp / "p");
    ASSERT_TRUE(file->SetPermissions(04751));
    EXPECT_EQ(file->GetPermissions(), 04751);
    UnixPtr folder = Item(tmp / "d");
    ASSERT_TRUE(folder->SetPermissions(01777));
    EXPECT_EQ(folder->GetPermissions(), 01777);
    ASSERT_TRUE(file->SetPermissions(0600));
}

TEST_F(FolderItemUnix, OwnerAndGroupByName) {
    const std::string path = MakeFile("owned");
    struct stat info;
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    const passwd* user = getpwuid(info.st_uid);
    const group* grp = getgrgid(info.st_gid);
    if (!user || !grp) GTEST_SKIP() << "no passwd or group entry for this process's ids";
    const std::string userName = user->pw_name;
    const std::string groupName = grp->gr_name;

    UnixPtr item = Item(path);
    EXPECT_EQ(Std(item->GetOwner()), userName);
    EXPECT_EQ(Std(item->GetGroup()), groupName);
    EXPECT_TRUE(item->SetOwner(Utf8(userName)));  // one's own file to oneself is allowed
    EXPECT_TRUE(item->SetGroup(Utf8(groupName)));

    EXPECT_FALSE(item->SetOwner(Utf8("zq-no-such-user")));
    EXPECT_EQ(item->GetLastError(), ENOENT);
    EXPECT_FALSE(item->SetGroup(Utf8("zq-no-such-group")));
    EXPECT_EQ(item->GetLastError(), ENOENT);
}

TEST_F(FolderItemUnix, MissingItemsRecordENOENT) {
    const std::string missing = tmp / "zq-missing";
    struct Case {
        const char* what;
        std::function<bool(FolderItemImp&)> failed;
    } const cases[] = {
        {"Exists", [](FolderItemImp& i) { return !i.Exists(); }},
        {"GetLength", [](FolderItemImp& i) { return i.GetLength() == 0; }},
        {"SetLength", [](FolderItemImp& i) { return !i.SetLength(1); }},
        {"GetPermissions", [](FolderItemImp& i) { return i.GetPermissions() == 0; }},
        {"SetPermissions", [](FolderItemImp& i) { return !i.SetPermissions(0644); }},
        {"GetOwner", [](FolderItemImp& i) { return i.GetOwner().IsEmpty(); }},
        {"GetModificationDate", [](FolderItemImp& i) { return i.GetModificationDate() == 0; }},
        {"SetModificationDate", [](FolderItemImp& i) { return !i.SetModificationDate(1e9); }},
        {"GetCreationDate", [](FolderItemImp& i) { return i.GetCreationDate() == 0; }},
        {"GetChildCount", [](FolderItemImp& i) { return i.GetChildCount() == 0; }},
        {"OpenFile", [](FolderItemImp& i) { return StreamPtr(i.OpenFile(1, 0)) == nullptr; }},
        {"DeleteFile", [](FolderItemImp& i) { return !i.DeleteFile(); }},
        {"IsCurrentlyWriteable", [](FolderItemImp& i) { return !i.IsCurrentlyWriteable(); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        UnixPtr item = Item(missing);
        item->MapError(12345);  // stale: each operation starts afresh
        EXPECT_TRUE(c.failed(*item));
        EXPECT_EQ(item->GetLastError(), ENOENT);
    }
    EXPECT_FALSE(PathExists(missing));
}

TEST_F(FolderItemUnix, AccessAndRefusalsRecordEACCES) {
    Make({"rw", "dir/"});
    EXPECT_TRUE(Item(tmp / "rw")->IsCurrentlyWriteable());
    EXPECT_FALSE(Item(tmp / "rw")->GetLocked());
    EXPECT_TRUE(Item(tmp / "dir")->IsCurrentlyWriteable());
    EXPECT_FALSE(Item(tmp / "rw")->SetLocked(1));
    EXPECT_TRUE(Item(tmp / "zq-missing")->IsCurrentlyReadable());
    if (PermissionsAreIgnored()) {
        GTEST_SKIP() << "running as root: permission bits are not enforced, so no EACCES";
    }
    MakeFolder("closed", 0000);
    MakeFolder("readonly", 0555);
    const std::string secret = MakeFile("secret");
    ASSERT_EQ(chmod(secret.c_str(), 0000), 0);

    UnixPtr closed = Item(tmp / "closed");
    EXPECT_EQ(closed->GetChildCount(), 0);
    EXPECT_EQ(closed->GetLastError(), EACCES);

    UnixPtr file = Item(secret);
    EXPECT_TRUE(file->IsCurrentlyReadable());  // says yes, keeps the refusal
    EXPECT_EQ(file->GetLastError(), EACCES);
    EXPECT_FALSE(file->IsCurrentlyWriteable());
    EXPECT_TRUE(file->GetLocked());

    UnixPtr inside = Item(tmp / "readonly/new");
    EXPECT_EQ(StreamPtr(inside->CreateFile(Utf8(""))), nullptr);
    EXPECT_EQ(inside->GetLastError(), EACCES);
    EXPECT_FALSE(inside->CreateFolder());
    EXPECT_EQ(inside->GetLastError(), EACCES);
}

// ---------------------------------------------------------------------------
// Dates and lengths

TEST_F(FolderItemUnix, ModificationDateLandsSixHoursLaterCreationIsTheChangeTime) {
    const std::string path = MakeFile("dated");
    const utimbuf known{1000000000, 1000000000};
    ASSERT_EQ(utime(path.c_str(), &known), 0);

    const double date = DateScaleValue(2001, 2, 3, 4, 5, 6);
    UnixPtr item = Item(path);
    ASSERT_TRUE(item->SetModificationDate(date));

    struct stat info;
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    // 2001-02-03 10:05:06 UTC: six hours after the date given.
    EXPECT_EQ(static_cast<long long>(info.st_mtime), 981194706LL);
    EXPECT_EQ(static_cast<long long>(info.st_atime), 1000000000LL);  // kept

    const double read = item->GetModificationDate();
    EXPECT_GE(read, date + 6 * 3600 - 1);
    EXPECT_LT(read, date + 6 * 3600 + 2);

    // Writing back what was read moves the file six more hours.
    ASSERT_TRUE(item->SetModificationDate(read));
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_NEAR(static_cast<double>(info.st_mtime), 981194706.0 + 6 * 3600, 1.0);

    // The creation date is the inode change time, now after the writes, and is not set.
    EXPECT_NEAR(item->GetCreationDate(), DateScaleNow(), 3.0);
    EXPECT_FALSE(item->SetCreationDate(DateScaleNow()));
}

TEST_F(FolderItemUnix, LengthsBeyondFourGigabytes) {
    const std::string path = MakeFile("big", "abcdef");
    UnixPtr item = Item(path);
    EXPECT_EQ(item->GetLength(), 6u);
    const unsigned long long big = 5ULL << 30;
    if (!item->SetLength(big)) {
        GTEST_SKIP() << "this file system refuses a sparse 5 GiB file (errno "
                     << item->GetLastError() << ")";
    }
    EXPECT_EQ(item->GetLength(), big);
    ASSERT_TRUE(item->SetLength(3));
    EXPECT_EQ(item->GetLength(), 3u);
    EXPECT_EQ(ReadFile(path), "abc");
}

// ---------------------------------------------------------------------------
// Creating, opening, deleting

TEST_F(FolderItemUnix, CreateFolderAlwaysEndsWithSlash) {
    UnixPtr fresh = Item(tmp / "newdir");
    EXPECT_TRUE(fresh->CreateFolder());
    EXPECT_EQ(PathOf(fresh.get()), tmp / "newdir/");
    EXPECT_TRUE(fresh->IsDirectory());

    EXPECT_FALSE(Item(tmp / "newdir/")->CreateFolder());
    UnixPtr orphan = Item(tmp / "none/sub");
    EXPECT_FALSE(orphan->CreateFolder());
    EXPECT_EQ(orphan->GetLastError(), ENOENT);
    EXPECT_EQ(PathOf(orphan.get()), tmp / "none/sub/");  // slash added all the same

    UnixPtr existing = Item(tmp / "existing-file");
    MakeFile("existing-file");
    EXPECT_FALSE(existing->CreateFolder());
    EXPECT_EQ(existing->GetLastError(), EEXIST);
}

TEST_F(FolderItemUnix, CreateFileDropsTheSlashAndReturnsItOpen) {
    UnixPtr item = Item(tmp / "made/");
    StreamPtr stream(item->CreateFile(Utf8("ignored")));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(PathOf(item.get()), tmp / "made");
    EXPECT_TRUE(stream->WriteData("hello", 5));
    stream.reset();
    EXPECT_EQ(ReadFile(tmp / "made"), "hello");
}

TEST_F(FolderItemUnix, OnlyBothFlagsOpenForWritingAndErrorsReachTheItem) {
    MakeFile("rw", "12345");
    UnixPtr item = Item(tmp / "rw");
    struct Case {
        unsigned char read, write;
        bool writable;
    } const cases[] = {{1, 0, false}, {0, 1, false}, {0, 0, false}, {1, 1, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.read) + "," + std::to_string(c.write));
        StreamPtr stream(item->OpenFile(c.read, c.write));
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(stream->WriteData("A", 1) && stream->Close(), c.writable);
    }
    EXPECT_EQ(ReadFile(tmp / "rw"), "A2345");
    // The stream's error goes to the item (the lock itself is DataFileTest's).
    StreamPtr first(item->OpenFile(1, 1));
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(StreamPtr(item->OpenFile(1, 1)), nullptr);
    EXPECT_EQ(item->GetLastError(), EWOULDBLOCK);
}

TEST_F(FolderItemUnix, DeleteFileByKind) {
    Make({"file", "empty/", "full/", "full/x", "target/", "target/kept"});
    ASSERT_EQ(symlink("target", (tmp / "link").c_str()), 0);

    EXPECT_TRUE(Item(tmp / "file")->DeleteFile());
    EXPECT_FALSE(PathExists(tmp / "file"));
    EXPECT_TRUE(Item(tmp / "empty")->DeleteFile());
    EXPECT_FALSE(PathExists(tmp / "empty"));
    UnixPtr full = Item(tmp / "full");
    EXPECT_FALSE(full->DeleteFile());
    EXPECT_EQ(full->GetLastError(), ENOTEMPTY);
    EXPECT_TRUE(Item(tmp / "link")->DeleteFile());  // the link, not what it points to
    EXPECT_FALSE(PathExists(tmp / "link"));
    EXPECT_EQ(ReadFile(tmp / "target/kept"), "x");
    MakeFile("lonely");
    EXPECT_FALSE(Item(tmp / "lonely")->DeleteFolder());  // not a folder: nothing deleted
    EXPECT_TRUE(PathExists(tmp / "lonely"));
}

TEST_F(FolderItemUnix, DeleteFolderTakesReadOnlyFilesAndHiddenOnesButNotLinkTargets) {
    MakeFolder("outside");
    MakeFile("outside/keep", "safe");
    Make({"tree/", "tree/a.txt", "tree/.hidden", "tree/sub/", "tree/sub/b", "tree/sub/deeper/",
          "tree/sub/deeper/c"});
    for (const char* f : {"tree/a.txt", "tree/.hidden", "tree/sub/b", "tree/sub/deeper/c"}) {
        ASSERT_EQ(chmod((tmp / f).c_str(), 0444), 0);
    }
    ASSERT_EQ(symlink("../outside", (tmp / "tree/sub/out").c_str()), 0);

    UnixPtr tree = Item(tmp / "tree");
    EXPECT_TRUE(tree->DeleteFolder());
    EXPECT_FALSE(PathExists(tmp / "tree"));
    EXPECT_EQ(ReadFile(tmp / "outside/keep"), "safe");
}

TEST_F(FolderItemUnix, DeleteFolderReportsTheBlockingChild) {
    if (PermissionsAreIgnored()) {
        GTEST_SKIP() << "running as root: a read-only folder does not stop deletion";
    }
    Make({"tree/", "tree/guarded/", "tree/guarded/f"});
    ASSERT_EQ(chmod((tmp / "tree/guarded").c_str(), 0555), 0);
    UnixPtr tree = Item(tmp / "tree");
    EXPECT_FALSE(tree->DeleteFolder());
    EXPECT_EQ(tree->GetLastError(), EACCES);
    EXPECT_TRUE(PathExists(tmp / "tree/guarded/f"));
}

// ---------------------------------------------------------------------------
// Shell-run operations

// Names that need every escape the framework makes, plus bytes beyond ASCII (one of them
// not even valid UTF-8).
const char* const kAwkwardNames[] = {
    "with space",  "it's \"quoted\"",          "paren (1) & co",
    "back\\slash", "caf\xC3\xA9 \xE2\x82\xAC", "latin\xE9",
};

TEST_F(FolderItemUnix, ShellPathEscapesTheSevenCharacters) {
    EXPECT_EQ(Std(Item("/x/My File (1)'&\".txt")->GetShellPath()),
              "/x/My\\ File\\ \\(1\\)\\'\\&\\\".txt");
    EXPECT_EQ(Std(Item("/x/a$b;c")->GetShellPath()), "/x/a$b;c");
}

TEST_F(FolderItemUnix, CopyAndMoveWithAwkwardNames) {
    for (const char* name : kAwkwardNames) {
        SCOPED_TRACE(name);
        const std::string source = MakeFile(name, name);
        const std::string copy = tmp / (std::string("copy of ") + name);
        const std::string moved = tmp / (std::string("moved ") + name);
        EXPECT_TRUE(Item(source)->CopyFileTo(Item(copy).get()));
        EXPECT_EQ(ReadFile(copy), name);
        EXPECT_EQ(ReadFile(source), name);
        EXPECT_TRUE(Item(source)->MoveFileTo(Item(moved).get()));
        EXPECT_EQ(ReadFile(moved), name);
        EXPECT_FALSE(PathExists(source));
    }
}

TEST_F(FolderItemUnix, CopyFailuresAndSelfCopy) {
    MakeFile("me", "mine");
    UnixPtr item = Item(tmp / "me");
    EXPECT_TRUE(item->CopyFileTo(item.get()));
    EXPECT_TRUE(item->MoveFileTo(item.get()));
    EXPECT_EQ(ReadFile(tmp / "me"), "mine");

    UnixPtr missing = Item(tmp / "zq-missing");
    EXPECT_FALSE(missing->CopyFileTo(Item(tmp / "dest").get()));
    EXPECT_NE(missing->GetLastError(), 0);
    EXPECT_FALSE(PathExists(tmp / "dest"));
    EXPECT_FALSE(missing->MoveFileTo(Item(tmp / "dest").get()));
    EXPECT_FALSE(item->CopyFileTo(nullptr));
    EXPECT_EQ(item->GetLastError(), EINVAL);
}

TEST_F(FolderItemUnix, MakeFileExecutableWithAwkwardName) {
    const std::string path = MakeFile("run me (now)'s", "#!/bin/sh\n");
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    Item(path)->MakeFileExecutable();
    struct stat info;
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0111, 0111u);
}

TEST_F(FolderItemUnix, LaunchRunsInTheBackgroundWithEscapedArguments) {
    const std::string marker = tmp / "marker";
    const std::string script = tmp / "launch me (x) & 'q' caf\xC3\xA9";
    // printf is built into the shell, and its few bytes go out in one write: a marker that
    // is not empty is complete. Nothing is looked up on the private PATH.
    ASSERT_TRUE(WriteFile(script, "#!/bin/sh\nprintf '%s|' \"$@\" > " + marker + "\n", 0755));
    const auto waitForMarker = [&]() {
        std::string text;
        for (int i = 0; i < 500; ++i) {
            text = ReadFile(marker);
            if (text != "<missing>" && !text.empty()) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        unlink(marker.c_str());
        return text;
    };
    EnvGuard path("PATH", tmp.Path().c_str());
    UnixPtr item = Item(script);
    EXPECT_TRUE(item->Launch(Utf8("one (2) & 'three'"), 1));
    EXPECT_EQ(waitForMarker(), "one (2) & 'three'|");
    EXPECT_TRUE(item->Launch(string(), 0));
    EXPECT_EQ(waitForMarker(), "|");
}

// ---------------------------------------------------------------------------
// Special folders

TEST_F(FolderItemUnix, SpecialFoldersFollowHomeAndNeedIt) {
    TempFolder home;
    ASSERT_TRUE(home.Valid());
    ASSERT_EQ(mkdir((home / "Desktop").c_str(), 0755), 0);
    EnvGuard guard("HOME", home.Path().c_str());
    CwdGuard cwd(tmp.Path());
    UnixPtr any = Item(tmp.Path());
    struct Case {
        unsigned long code;
        std::string path;
    } const cases[] = {
        {1001, "/tmp/"},           {1003, home.Path() + "/"}, {1006, home.Path() + "/"},
        {1041, home.Path() + "/"}, {1009, home / "Desktop/"}, {1034, "/etc/"},
        {1047, tmp.Path() + "/"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.code);
        EXPECT_EQ(PathOf(ItemPtr(any->GetSpecialFolder(c.code)).get()), c.path);
    }
    for (unsigned long code : {0UL, 1000UL, 1002UL, 1004UL, 1005UL, 1033UL, 1046UL, 1048UL}) {
        SCOPED_TRACE(code);
        EXPECT_EQ(any->GetSpecialFolder(code), nullptr);
    }
    // The fixed paths are named even where the system lacks them or links them elsewhere.
    for (unsigned long code :
         {1035UL, 1036UL, 1037UL, 1038UL, 1039UL, 1040UL, 1042UL, 1043UL, 1044UL, 1045UL}) {
        SCOPED_TRACE(code);
        EXPECT_NE(ItemPtr(any->GetSpecialFolder(code)), nullptr);
    }
    EXPECT_EQ(PathOf(ItemPtr(any->GetSpecialFolder(1040)).get()).rfind("/var/log", 0), 0u);

    ASSERT_EQ(rmdir((home / "Desktop").c_str()), 0);  // a missing Desktop is still named
    EXPECT_EQ(PathOf(ItemPtr(any->GetSpecialFolder(1009)).get()), home / "Desktop");
    EnvGuard noHome("HOME", nullptr);
    for (unsigned long code : {1003UL, 1006UL, 1009UL, 1041UL}) {
        SCOPED_TRACE(code);
        EXPECT_EQ(any->GetSpecialFolder(code), nullptr);
    }
    EXPECT_NE(ItemPtr(any->GetSpecialFolder(1001)), nullptr);
}

// ---------------------------------------------------------------------------
// URLs

TEST_F(FolderItemUnix, UrlsOfRealItemsAreAsciiAndLeadBack) {
    // Encoding each name is the base item's work (FakeTree); here the real parents.
    MakeFolder("dir");
    const std::string name = "a b%caf\xC3\xA9";
    MakeFile(name);
    // The private folder's name is made of letters, digits and dots: encoding keeps it.
    EXPECT_EQ(Std(Item(tmp / name)->GetURL()), "file://" + tmp.Path() + "/a%20b%25caf%C3%A9");
    for (const std::string& path : {tmp / name, tmp / "dir/"}) {
        const string url = Item(path)->GetURL();
        EXPECT_EQ(url.Encoding(), kEncodingASCII);
        EXPECT_EQ(PathOf(UnixPtr(FolderItemImpUnix::ConstructFromURL(url)).get()), path);
    }
}

TEST_F(FolderItemUnix, DecodeUrl) {
    struct Case {
        const char* url;
        char separator;
        std::string path;
    } const cases[] = {
        {"file:///a/b", '/', "/a/b"},   {"file:///a/b", ':', ":a:b"},
        {"FILE:///a%20b", '/', "/a b"}, {"file://localhost/x", '/', ""},
        {"file:/x", '/', ""},           {"file://", '/', ""},
        {"http:///x", '/', ""},         {"", '/', ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url);
        const string decoded = FolderItemImp::DecodeURL(string(c.url), c.separator);
        EXPECT_EQ(Std(decoded), c.path);
        if (!c.path.empty()) {
            EXPECT_EQ(decoded.Encoding(), kEncodingUTF8);
        }
    }
    EXPECT_EQ(FolderItemImpUnix::ConstructFromURL(string("file://localhost/x")), nullptr);
    ItemPtr etc(FolderItemImp::ConstructFromURL(string("file:///etc"), 0));
    EXPECT_EQ(PathOf(etc.get()), "/etc/");
}

// ---------------------------------------------------------------------------
// Copies of items, formats, the application folder

TEST_F(FolderItemUnix, CloneAndAssignment) {
    UnixPtr a = Item(tmp / "a");
    a->SetExtraWord(0xCAFE);
    ItemPtr clone(a->Clone());
    auto* unixClone = dynamic_cast<FolderItemImpUnix*>(clone.get());
    ASSERT_NE(unixClone, nullptr);
    EXPECT_EQ(PathOf(unixClone), tmp / "a");
    EXPECT_EQ(unixClone->GetExtraWord(), 0xCAFEu);
    EXPECT_FALSE(unixClone->IsVirtual());

    EXPECT_EQ(a->GetLength(), 0u);  // missing: ENOENT
    UnixPtr b = Item(tmp / "b");
    FolderItemImp& base = *b;
    base = *a;
    EXPECT_EQ(PathOf(b.get()), tmp / "a");
    EXPECT_EQ(b->GetLastError(), ENOENT);

    FolderItemImp plain;
    base = plain;  // not a POSIX item: only the error is taken
    EXPECT_EQ(PathOf(b.get()), tmp / "a");
    EXPECT_EQ(b->GetLastError(), 0);
}

TEST_F(FolderItemUnix, PictureAndSoundFormatsBySuffixThenContent) {
    MakeFile("bitmap", "BM\x36\x00");
    MakeFile("image.bmp", "BMxx");
    MakeFile("other", "\x89PNG");
    MakeFile("short", "B");
    MakeFile("fake.png", "BM");  // the suffix wins
    MakeFile("wave", std::string("RIFF\0\0\0\0WAVEfmt ", 16));
    MakeFile("aiff", std::string("FORM\0\0\0\0AIFC", 12));
    MakeFile("sun", ".snd");
    struct Case {
        std::string name;
        long picture;
        bool sound;
    } const cases[] = {
        {"a.xpm", 400, false},    {"B.XBM", 401, false},  {"c.jpg", 151, false},
        {"B.JPEG", 151, false},   {"d.png", 150, false},  {"e.TIF", 403, false},
        {"f.tiff", 403, false},   {"g.Gif", 402, false},  {"h.pict", 200, false},
        {"i.pct", 200, false},    {"bitmap", 350, false}, {"image.bmp", 350, false},
        {"other", 0, false},      {"short", 0, false},    {"missing", 0, false},
        {"fake.png", 150, false}, {"jpg", 0, false},      {"x.WAV", 0, true},
        {"y.aiff", 0, true},      {"z.au", 0, true},      {"wave", 0, true},
        {"aiff", 0, true},        {"sun", 0, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Item(tmp / c.name)->GetPictureFormat(), c.picture);
        EXPECT_EQ(Item(tmp / c.name)->IsValidSoundFormat(), c.sound);
    }
}

const char* gFakeCommandLine = nullptr;
const char* FakeCommandLine() {
    return gFakeCommandLine;
}
void* FakeResolver(const char* name) {
    if (std::string(name) == "ZYNEGetCommandLineForUnix") {
        return reinterpret_cast<void*>(&FakeCommandLine);
    }
    return nullptr;
}

std::string ExecutableFolder() {
    char target[PATH_MAX];
    const ssize_t got = readlink("/proc/self/exe", target, sizeof target - 1);
    if (got <= 0) return "";
    std::string path(target, static_cast<size_t>(got));
    return path.substr(0, path.rfind('/') + 1);
}

TEST_F(FolderItemUnix, AppFolderFromTheHostOrTheExecutable) {
    const ZYNEResolver saved = gResolver;
    struct Case {
        ZYNEResolver resolver;
        const char* line;
        std::string folder;
    } const cases[] = {
        {nullptr, nullptr, ExecutableFolder()},
        {FakeResolver, "/opt/zq\\ app/bin/ide --project x", "/opt/zq app/bin/"},
        {FakeResolver, "  /usr/local/ide", "/usr/local/"},
        {FakeResolver, "ide --flag", ExecutableFolder()},  // found through PATH: unknown
        {FakeResolver, nullptr, ExecutableFolder()},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line ? c.line : "<none>");
        gResolver = c.resolver;
        gFakeCommandLine = c.line;
        UnixPtr folder(FolderItemImpUnix::GetAppFolderItem());
        EXPECT_EQ(PathOf(folder.get()), c.folder);
    }
    gResolver = saved;
}

}  // namespace
