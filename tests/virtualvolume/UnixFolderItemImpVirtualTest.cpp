// UnixFolderItemImpVirtualTest.cpp - folder items inside a volume: a tree written through
// VHFSVolume read back through items, naming, paths, type strings, the failing setters,
// moves within and across volumes, index boundaries, kept listings that follow every
// change, and a damaged volume's loops.
#include "virtualvolume/UnixFolderItemImpVirtual.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "../files/FilesTestSupport.h"
#include "VolumeFixture.h"
#include "core/DateScale.h"
#include "files/FolderItemImpUnix.h"
#include "virtualvolume/VFile.h"

namespace {

using filestest::ItemPtr;
using filestest::Std;
using StreamPtr = std::unique_ptr<RandomAccessMechanism>;

// What the Linux library in the test tree holds.
constexpr char kLibBytes[] = "\177ELF-bytes";

// The type string the host's memory order makes of two codes.
std::string CodesInMemoryOrder(const char* creator, const char* type) {
    auto order = [](const char* code) {
        std::string s(code, 4);
        if (std::endian::native == std::endian::little) return std::string(s.rbegin(), s.rend());
        return s;
    };
    return order(creator) + "/" + order(type);
}

std::string ReadAll(RandomAccessMechanism* stream) {
    if (!stream) return "<none>";
    std::string out(static_cast<size_t>(stream->GetLength()), '\0');
    int got = 0;
    if (!out.empty()) stream->ReadData(out.data(), static_cast<unsigned>(out.size()), &got);
    out.resize(static_cast<size_t>(got));
    return out;
}

class VirtualItemTest : public VolumeFixture {
protected:
    void SetUp() override {
        VolumeFixture::SetUp();
        before = DateScaleNow();
        build = volume->CreateDirectory(root, "Build Resources");
        linuxDir = volume->CreateDirectory(build, "Linux X86");
        lib = AddFile(linuxDir, "lib.so", kText, kLibBytes);
        ide = volume->CreateDirectory(root, "IDE Resources");
        help = AddFile(ide, "help.txt", kUnknownFileType, "help!");
        top = AddFile(root, "a", kText, "top");
        after = DateScaleNow();
    }
    VFileRef AddFile(const VFileRef& dir, const char* name, VFileType type,
                     const std::string& bytes) {
        const VFileRef ref = volume->CreateFile(dir, name, type);
        std::unique_ptr<VFile> f(volume->OpenFile(ref));
        if (f) f->WriteData(bytes.data(), static_cast<unsigned>(bytes.size()));
        return ref;
    }
    ItemPtr Root() { return ItemPtr(new UnixFolderItemImpVirtual(volume.get(), root)); }
    // The item at a "/"-separated path below the root, by name lookups.
    ItemPtr At(const std::string& path) {
        ItemPtr item = Root();
        size_t start = 0;
        while (item && start < path.size()) {
            size_t end = path.find('/', start);
            if (end == std::string::npos) end = path.size();
            item.reset(item->GetChildByName(path.substr(start, end - start).c_str(), 0));
            start = end + 1;
        }
        return item;
    }
    std::string Contents(FolderItemImp* item) {
        StreamPtr s(item->OpenFile(1, 0));
        return ReadAll(s.get());
    }

    double before = 0, after = 0;
    VFileRef build, linuxDir, lib, ide, help, top;
};

// ----- Reading a tree -----

// Every item below `dir` by index: path -> "type length contents" ("/" ends a folder's type).
void WalkItems(FolderItemImp* dir, const std::string& prefix, int depth,
               std::map<std::string, std::string>* seen) {
    const long count = dir->GetChildCount();
    for (long i = 0; i < count && depth < 8; ++i) {
        ItemPtr child(dir->GetChildByIndex(i, 0));
        ASSERT_TRUE(child);
        const std::string path = prefix + "/" + Std(child->GetName());
        const bool folder = child->IsDirectory();
        StreamPtr stream(folder ? nullptr : child->OpenFile(1, 0));
        (*seen)[path] = Std(child->GetTypeString()) + (folder ? "/ " : " ") +
                        std::to_string(child->GetLength()) + " " +
                        (folder ? "" : ReadAll(stream.get()));
        if (folder) WalkItems(child.get(), path, depth + 1, seen);
    }
}

TEST_F(VirtualItemTest, TheWholeTreeReadsBackThroughItems) {
    ItemPtr r = Root();
    EXPECT_EQ(Std(r->GetName()), "/");
    EXPECT_TRUE(r->IsVirtual());
    EXPECT_TRUE(r->Exists());
    EXPECT_TRUE(r->IsDirectory());
    std::map<std::string, std::string> seen;
    WalkItems(r.get(), "", 0, &seen);
    const std::string dir = CodesInMemoryOrder("MACS", "fold") + "/ 8 ";
    const std::string text = CodesInMemoryOrder("????", "TEXT");
    const std::map<std::string, std::string> expected = {
        {"/Build Resources", dir},
        {"/Build Resources/Linux X86", dir},
        {"/Build Resources/Linux X86/lib.so", text + " 10 " + kLibBytes},
        {"/IDE Resources", dir},
        {"/IDE Resources/help.txt", CodesInMemoryOrder("????", "????") + " 5 help!"},
        {"/a", text + " 3 top"},
    };
    EXPECT_EQ(seen, expected);
    // The root lists three children: 4 x 3 + 4 bytes of list.
    EXPECT_EQ(r->GetLength(), 16u);
    EXPECT_EQ(r->GetChildCount(), 3);
}

TEST_F(VirtualItemTest, DatesAndIdsComeFromTheItemHeaders) {
    ItemPtr file = At("Build Resources/Linux X86/lib.so");
    const VFileInfo info = volume->GetFileInfo(lib);
    EXPECT_EQ(file->GetCreationDate(), info.creationDate);
    EXPECT_EQ(file->GetModificationDate(), info.modificationDate);
    EXPECT_GE(file->GetCreationDate(), before);
    EXPECT_LE(file->GetModificationDate(), after);
    PutLong(lib.id, 16, 0x41D00000);  // a creation date of 2^30 seconds
    PutLong(lib.id, 20, 0);
    EXPECT_EQ(file->GetCreationDate(), 1073741824.0);
    // The directory id is the containing directory's, the root's own for the root.
    EXPECT_EQ(file->GetDirID(), static_cast<long>(linuxDir.id));
    EXPECT_EQ(Root()->GetDirID(), 2);
    ItemPtr missing = At("Build Resources/none");
    EXPECT_EQ(missing->GetCreationDate(), 0.0);
    EXPECT_EQ(missing->GetModificationDate(), 0.0);
    EXPECT_EQ(missing->GetLength(), 0u);
    EXPECT_EQ(missing->GetDirID(), 0);
}

// ----- Resolved and unresolved items -----

TEST_F(VirtualItemTest, OnlyTheRootRefMakesAResolvedItem) {
    UnixFolderItemImpVirtual notRoot(volume.get(), build);
    EXPECT_FALSE(notRoot.Exists());
    EXPECT_EQ(Std(notRoot.GetName()), "");
    EXPECT_EQ(notRoot.GetChildCount(), 0);
    EXPECT_EQ(notRoot.GetParent(), nullptr);
    EXPECT_EQ(notRoot.GetChildByName("Linux X86", 0), nullptr);

    UnixFolderItemImpVirtual noVolume(nullptr, root);
    EXPECT_FALSE(noVolume.Exists());
    EXPECT_EQ(noVolume.GetParent(), nullptr);
    EXPECT_EQ(noVolume.GetChildCount(), 0);
    EXPECT_EQ(noVolume.OpenFile(1, 1), nullptr);
    EXPECT_FALSE(noVolume.CreateFolder());
    EXPECT_FALSE(noVolume.MoveFileTo(Root().get()));
    EXPECT_EQ(Std(noVolume.GetTypeString()), "");
}

TEST_F(VirtualItemTest, AChildByNameNeedNotExistUntilCreated) {
    ItemPtr r = Root();
    ItemPtr target(r->GetChildByName("Linux x86", 0));
    ASSERT_TRUE(target);
    EXPECT_FALSE(target->Exists());
    EXPECT_EQ(target->GetChildCount(), 0);
    EXPECT_EQ(target->GetChildByName("x", 0), nullptr);  // not a directory (yet)
    EXPECT_TRUE(target->CreateFolder());
    EXPECT_TRUE(target->Exists());
    EXPECT_TRUE(target->IsDirectory());
    EXPECT_FALSE(target->CreateFolder());  // exists now
    EXPECT_EQ(r->GetChildCount(), 4);
    // Lookups ignore case.
    ItemPtr other(r->GetChildByName("LINUX X86", 0));
    EXPECT_TRUE(other->IsDirectory());

    ItemPtr file(target->GetChildByName("new.bin", 0));
    StreamPtr s(file->CreateFile("ignored"));
    ASSERT_TRUE(s);
    EXPECT_FALSE(s->IsBigEndian());  // creation leaves the stream defaults
    EXPECT_TRUE(s->WriteLong(0x01020304));
    s.reset();
    EXPECT_EQ(file->GetFourCharType(), kUnknownFourCharCode);
    EXPECT_EQ(Contents(file.get()), "\x04\x03\x02\x01");
    EXPECT_FALSE(StreamPtr(file->CreateFile("")));  // exists now
}

TEST_F(VirtualItemTest, RenamingThroughTheItemKeepsItWorking) {
    ItemPtr mine = At("a");
    ItemPtr other = At("a");
    EXPECT_TRUE(mine->SetName("renamed"));
    EXPECT_EQ(Std(mine->GetName()), "renamed");
    EXPECT_TRUE(mine->Exists());
    EXPECT_EQ(Contents(mine.get()), "top");
    // The other item still looks for the old name.
    EXPECT_FALSE(other->Exists());
    EXPECT_FALSE(other->SetName("again"));
    // A long name is cut by the volume, and the item keeps what was stored.
    EXPECT_TRUE(mine->SetName(std::string(300, 'n').c_str()));
    EXPECT_EQ(Std(mine->GetName()), std::string(223, 'n'));
    EXPECT_TRUE(mine->Exists());
}

TEST_F(VirtualItemTest, ParentsClimbToTheRootAndStop) {
    ItemPtr r = Root();
    EXPECT_EQ(r->GetParent(), nullptr);
    ItemPtr a = At("a");
    ItemPtr parent(a->GetParent());
    ASSERT_TRUE(parent);
    EXPECT_EQ(Std(parent->GetName()), "/");
    EXPECT_TRUE(parent->IsDirectory());
    EXPECT_EQ(parent->GetDirID(), 2);
    EXPECT_EQ(parent->GetParent(), nullptr);
    ItemPtr deep = At("Build Resources/Linux X86/lib.so");
    ItemPtr up(deep->GetParent());
    EXPECT_EQ(Std(up->GetName()), "Linux X86");
    EXPECT_EQ(up->GetChildCount(), 1);
    ItemPtr up2(up->GetParent());
    EXPECT_EQ(Std(up2->GetName()), "Build Resources");
    EXPECT_EQ(up2->GetDirID(), 2);

    // Clone and assignment copy the whole item; a disk item is not assigned.
    ItemPtr copy(deep->Clone());
    EXPECT_EQ(Contents(copy.get()), Contents(deep.get()));
    UnixFolderItemImpVirtual assigned(volume.get(), VFileRef{});
    assigned = *deep;
    EXPECT_EQ(Std(assigned.GetAbsolutePath()), "//Build Resources/Linux X86/lib.so");
    FolderItemImpUnix disk("/tmp");
    assigned = disk;
    EXPECT_EQ(Std(assigned.GetName()), "lib.so");
}

TEST_F(VirtualItemTest, AbsolutePathsStartWithTheRootsName) {
    const struct {
        const char* path;
        const char* expected;
    } cases[] = {
        {"", "/"},
        {"a", "//a"},
        {"Build Resources", "//Build Resources"},
        {"Build Resources/Linux X86/lib.so", "//Build Resources/Linux X86/lib.so"},
        {"IDE Resources/missing", "//IDE Resources/missing"},
    };
    for (const auto& c : cases) {
        ItemPtr item = At(c.path);
        ASSERT_TRUE(item) << c.path;
        EXPECT_EQ(Std(item->GetAbsolutePath()), c.expected) << c.path;
    }
    EXPECT_EQ(Std(At("a")->GetURL()), "file:///a");
}

TEST_F(VirtualItemTest, TypeStringsCopyCodesInHostMemoryOrder) {
    const struct {
        const char* path;
        std::string expected;
        long type;
    } cases[] = {
        {"", CodesInMemoryOrder("MACS", "disk"), static_cast<long>(kDirectoryFileType)},
        {"IDE Resources", CodesInMemoryOrder("MACS", "fold"),
         static_cast<long>(kDirectoryFileType)},
        {"IDE Resources/help.txt", CodesInMemoryOrder("????", "????"), kUnknownFourCharCode},
        {"a", CodesInMemoryOrder("????", "TEXT"), static_cast<long>(kText)},
        {"missing", "", kUnknownFourCharCode},
    };
    for (const auto& c : cases) {
        ItemPtr item = At(c.path);
        const string text = item->GetTypeString();
        EXPECT_EQ(Std(text), c.expected) << c.path;
        if (!c.expected.empty()) {
            EXPECT_EQ(text.Encoding(), kEncodingASCII) << c.path;
        }
        EXPECT_EQ(item->GetFourCharType(), c.type) << c.path;
    }
    if (std::endian::native == std::endian::little) {
        EXPECT_EQ(Std(Root()->GetTypeString()), "SCAM/ksid");
    }
}

// ----- Setters -----

TEST_F(VirtualItemTest, DateAndLengthSettersFailTypesChangeForFilesOnly) {
    ItemPtr file = At("a");
    const Bytes header = ItemBytes(top.id, 0, 256);
    EXPECT_FALSE(file->SetModificationDate(12345.0));
    EXPECT_FALSE(file->SetCreationDate(12345.0));
    EXPECT_FALSE(file->SetLength(1));
    EXPECT_EQ(ItemBytes(top.id, 0, 256), header);
    EXPECT_EQ(file->GetLength(), 3u);
    // Directories and missing items are refused before the volume is asked.
    EXPECT_FALSE(At("IDE Resources")->SetModificationDate(1.0));
    EXPECT_FALSE(At("missing")->SetLength(0));
    // Types change, for existing files only.
    EXPECT_TRUE(file->SetFourCharType(0x42494E20));  // "BIN "
    EXPECT_EQ(file->GetFourCharType(), 0x42494E20);
    EXPECT_EQ(ItemBytes(top.id, 8, 4), Be32Bytes(0x42494E20));
    EXPECT_FALSE(file->SetFourCharType(static_cast<long>(kDirectoryFileType)));
    EXPECT_FALSE(At("IDE Resources")->SetFourCharType(kText));
    EXPECT_FALSE(At("missing")->SetFourCharType(kText));
}

// ----- Children by index -----

TEST_F(VirtualItemTest, ChildrenByIndexStopAtTheBoundaries) {
    ItemPtr r = Root();
    const long count = r->GetChildCount();
    ASSERT_EQ(count, 3);
    const struct {
        long index;
        const char* name;  // null = no item
    } cases[] = {
        {0, "Build Resources"}, {count - 1, "a"},    {count, nullptr},
        {-1, nullptr},          {LONG_MAX, nullptr}, {LONG_MIN, nullptr},
    };
    for (const auto& c : cases) {
        ItemPtr child(r->GetChildByIndex(c.index, 64));
        if (!c.name) {
            EXPECT_FALSE(child) << c.index;
            continue;
        }
        ASSERT_TRUE(child) << c.index;
        EXPECT_EQ(Std(child->GetName()), c.name) << c.index;
    }
    // A file has no children at any index.
    EXPECT_FALSE(ItemPtr(At("a")->GetChildByIndex(0, 0)));
    EXPECT_EQ(At("a")->GetChildCount(), 0);
}

// ----- Streams -----

TEST_F(VirtualItemTest, OpenedFilesAreBigEndianAndDirectoriesDoNotOpen) {
    EXPECT_FALSE(StreamPtr(At("IDE Resources")->OpenFile(1, 1)));
    EXPECT_FALSE(StreamPtr(Root()->OpenFile(1, 0)));
    EXPECT_FALSE(StreamPtr(At("missing")->OpenFile(1, 0)));
    ItemPtr file = At("a");
    {
        // The flags are not used: a read-only open can write.
        StreamPtr s(file->OpenFile(1, 0));
        ASSERT_TRUE(s);
        EXPECT_TRUE(s->IsBigEndian());
        EXPECT_TRUE(s->GetSwapDoubles());
        EXPECT_TRUE(s->WriteLong(0x01020304));
        EXPECT_TRUE(s->WriteDouble(1.0));
    }
    EXPECT_EQ(Content(top), std::string("\x01\x02\x03\x04\x3F\xF0\0\0\0\0\0\0", 12));
    EXPECT_EQ(file->GetLength(), 12u);
}

// ----- Deleting -----

TEST_F(VirtualItemTest, DeletingFilesFoldersAndTrees) {
    EXPECT_FALSE(Root()->DeleteFile());
    EXPECT_FALSE(At("Build Resources")->DeleteFile());  // not empty
    EXPECT_FALSE(At("missing")->DeleteFile());
    ItemPtr file = At("a");
    EXPECT_TRUE(file->DeleteFile());
    EXPECT_FALSE(file->Exists());
    ItemPtr tree = At("Build Resources");
    EXPECT_TRUE(tree->DeleteFolder());
    EXPECT_FALSE(tree->Exists());
    EXPECT_EQ(ChildIds(root), (std::vector<uint32_t>{ide.id}));
}

// ----- Moving -----

TEST_F(VirtualItemTest, MovingIntoADirectoryKeepsTheName) {
    ItemPtr file = At("a");
    ItemPtr dir = At("IDE Resources");
    EXPECT_TRUE(file->MoveFileTo(dir.get()));
    EXPECT_FALSE(file->Exists());  // the item still names the old place
    ItemPtr moved = At("IDE Resources/a");
    EXPECT_EQ(Contents(moved.get()), "top");
    EXPECT_EQ(volume->GetParent(top).id, ide.id);
    // A directory moved into itself is refused by the volume, yet reported as done.
    ItemPtr build1 = At("Build Resources");
    ItemPtr linux1 = At("Build Resources/Linux X86");
    EXPECT_TRUE(build1->MoveFileTo(linux1.get()));
    EXPECT_EQ(volume->GetParent(build).id, root.id);
}

TEST_F(VirtualItemTest, MovingOntoAFileNameRenamesOrReplaces) {
    // Onto a name that does not exist: moved and renamed.
    ItemPtr file = At("a");
    ItemPtr newName = At("Build Resources/Linux X86/b.so");
    EXPECT_TRUE(file->MoveFileTo(newName.get()));
    EXPECT_TRUE(newName->Exists());
    EXPECT_EQ(Contents(newName.get()), "top");
    EXPECT_EQ(ChildIds(linuxDir), (std::vector<uint32_t>{lib.id, top.id}));

    // Onto an existing file: that file is replaced.
    ItemPtr helpItem = At("IDE Resources/help.txt");
    ItemPtr libItem = At("Build Resources/Linux X86/lib.so");
    EXPECT_TRUE(helpItem->MoveFileTo(libItem.get()));
    EXPECT_EQ(Contents(libItem.get()), "help!");
    EXPECT_EQ(ChildIds(linuxDir), (std::vector<uint32_t>{top.id, help.id}));
    EXPECT_TRUE(ChildIds(ide).empty());

    // Onto another item naming the same file: nothing is lost.
    ItemPtr same = At("Build Resources/Linux X86/LIB.SO");
    EXPECT_TRUE(libItem->MoveFileTo(same.get()));
    EXPECT_TRUE(libItem->MoveFileTo(libItem.get()));
    EXPECT_EQ(Contents(libItem.get()), "help!");
    // A missing item moved onto an existing file leaves that file alone.
    EXPECT_TRUE(At("ghost")->MoveFileTo(libItem.get()));
    EXPECT_EQ(Contents(libItem.get()), "help!");
}

TEST_F(VirtualItemTest, MovingToAnotherVolumeOrTheDiskCopiesThenDeletes) {
    std::unique_ptr<FileHandle> otherStream(NewStream());
    std::unique_ptr<VHFSVolume> other(VHFSVolume::Create(otherStream.get(), 0));
    ASSERT_TRUE(other && other->IsValid());
    ItemPtr otherRoot(new UnixFolderItemImpVirtual(other.get(), other->GetRoot()));
    ItemPtr dest(otherRoot->GetChildByName("copied.so", 0));
    ItemPtr source = At("Build Resources/Linux X86/lib.so");
    EXPECT_TRUE(source->MoveFileTo(dest.get()));
    EXPECT_FALSE(source->Exists());
    EXPECT_TRUE(ChildIds(linuxDir).empty());
    EXPECT_EQ(Contents(dest.get()), kLibBytes);
    // An existing destination in another volume can't be created again: nothing moves.
    ItemPtr second = At("a");
    EXPECT_FALSE(second->MoveFileTo(dest.get()));
    EXPECT_TRUE(second->Exists());
    // A directory can't be copied.
    ItemPtr dir = At("IDE Resources");
    ItemPtr destDir(otherRoot->GetChildByName("IDE", 0));
    EXPECT_FALSE(dir->MoveFileTo(destDir.get()));
    EXPECT_TRUE(dir->Exists());
    // To the disk: the file is written there.
    filestest::TempFolder folder;
    ASSERT_TRUE(folder.Valid());
    FolderItemImpUnix disk(filestest::Utf8(folder / "a"));
    EXPECT_TRUE(second->MoveFileTo(&disk));
    EXPECT_EQ(filestest::ReadFile(folder / "a"), "top");
    EXPECT_FALSE(second->Exists());
}

// ----- Damage -----

void WalkDamaged(FolderItemImp* dir, int depth, int* items) {
    const long count = dir->GetChildCount();
    for (long i = 0; i < count && depth < 6 && *items < 200; ++i) {
        ItemPtr child(dir->GetChildByIndex(i, 0));
        if (!child) continue;
        ++*items;
        child->GetAbsolutePath();
        child->GetTypeString();
        child->GetLength();
        child->GetModificationDate();
        if (child->IsDirectory()) {
            WalkDamaged(child.get(), depth + 1, items);
            continue;
        }
        StreamPtr s(child->OpenFile(1, 0));
        if (!s) continue;
        char buffer[512];
        int got = 0;
        for (int reads = 0; reads < 64 && s->ReadData(buffer, sizeof buffer, &got) && got > 0;)
            ++reads;
    }
}

TEST_F(VirtualItemTest, AParentLoopEndsThePathWalk) {
    PutLong(linuxDir.id, 12, static_cast<int32_t>(lib.id));  // Linux X86's parent: lib.so
    PutLong(lib.id, 12, static_cast<int32_t>(linuxDir.id));  // and back
    ItemPtr deep = At("Build Resources/Linux X86/lib.so");
    ASSERT_TRUE(deep->Exists());
    const std::string path = Std(deep->GetAbsolutePath());
    EXPECT_LT(path.size(), 4096u);
    EXPECT_EQ(path.substr(path.size() - 17), "/Linux X86/lib.so") << path;
    // A directory listing itself: walking by index still ends.
    PutLong(linuxDir.id, 256, 2);
    PutLong(linuxDir.id, 264, static_cast<int32_t>(linuxDir.id));
    int items = 0;
    ItemPtr r = Root();
    WalkDamaged(r.get(), 0, &items);
    EXPECT_GT(items, 0);
    // Regression: deleting a folder that lists itself recursed until the stack ran out.
    ItemPtr loop = At("Build Resources/Linux X86");
    EXPECT_FALSE(loop->DeleteFolder());
}

// ----- Kept listings -----

// What a walk by index shows of a folder: per child its name, "/" for a folder, "?" when
// the item does not exist, and its type code.
std::vector<std::string> WalkByIndex(FolderItemImp* dir) {
    std::vector<std::string> seen;
    const long count = dir->GetChildCount();
    for (long i = 0; i < count; ++i) {
        ItemPtr child(dir->GetChildByIndex(i, 0));
        if (!child) {
            seen.push_back("<null>");
            continue;
        }
        seen.push_back(Std(child->GetName()) + (child->IsDirectory() ? "/" : "") +
                       (child->Exists() ? "" : "?") + " " +
                       std::to_string(child->GetFourCharType()));
    }
    return seen;
}

class KeptListingTest : public VirtualItemTest {
protected:
    // The same view read straight from the volume: every child by index, resolved as an
    // item resolves its name (the first child of an equal name).
    std::vector<std::string> Truth(const VFileRef& dir) {
        VFileRefList children;
        std::vector<std::string> seen;
        if (!volume->GetChildren(dir, children)) return seen;
        for (long i = 0; i < children.Count(); ++i) {
            VFileRef first;
            for (long j = 0; j < children.Count() && first.id == 0; ++j)
                if (children[j].name.Compare(children[i].name) == 0) first = children[j];
            seen.push_back(Std(children[i].name) + (first.type == kDirectoryFileType ? "/" : "") +
                           (first.type == 0 ? "?" : "") + " " +
                           std::to_string(first.type ? static_cast<long>(first.type)
                                                     : static_cast<long>(kUnknownFileType)));
        }
        return seen;
    }
    void RawName(uint32_t id, const std::string& name) {
        std::string field = name;
        field.resize(kItemNameFieldSize, '\0');
        VFSVolume* blocks = volume->GetBlockVolume();
        const short f = blocks->OpenFile(id);
        ASSERT_TRUE(blocks->SetFilePosition(f, kItemNamePosition) &&
                    blocks->WriteFileData(f, field.data(), kItemNameFieldSize));
        blocks->CloseFile(f);
    }
};

// Items kept across changes made every way there is, each followed by walks: a kept item
// must never answer from a listing the change made stale.
TEST_F(KeptListingTest, WalksSeeEveryChangeMadeBetweenThem) {
    ItemPtr keptRoot = Root();
    ItemPtr keptIde(keptRoot->GetChildByIndex(1, 0));  // "IDE Resources", by index
    ASSERT_EQ(Std(keptIde->GetName()), "IDE Resources");
    ItemPtr keptTop(keptRoot->GetChildByIndex(2, 0));  // "a"
    VFileRef ideRef = ide;
    VFileRef topRef = top;
    const struct {
        const char* label;
        std::function<void()> change;
    } steps[] = {
        {"nothing yet", [] {}},
        {"file made through the volume", [&] { volume->CreateFile(root, "new", kText); }},
        {"folder made through a kept item",
         [&] { EXPECT_TRUE(ItemPtr(keptRoot->GetChildByName("made", 0))->CreateFolder()); }},
        {"file made inside a kept folder item",
         [&] { delete ItemPtr(keptIde->GetChildByName("inner", 0))->CreateFile(""); }},
        {"renamed through the volume", [&] { volume->SetFileName(ideRef, "Renamed"); }},
        {"renamed back through the volume", [&] { volume->SetFileName(ideRef, "IDE Resources"); }},
        {"retyped through the volume", [&] { volume->SetFileType(topRef, 0x4150504C); }},
        {"name written through the block layer", [&] { RawName(top.id, "raw"); }},
        {"name written back", [&] { RawName(top.id, "a"); }},
        {"listed twice", [&] { volume->LinkFile(topRef, root); }},
        {"moved into a folder", [&] { volume->MoveFile(topRef, ideRef); }},
        {"deleted through a kept item", [&] { EXPECT_TRUE(keptTop->DeleteFile()); }},
        {"deleted through the volume",
         [&] { volume->DeleteFile(volume->CreateFile(root, "brief", kText)); }},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.label);
        step.change();
        EXPECT_EQ(WalkByIndex(keptRoot.get()), Truth(root));
        EXPECT_EQ(WalkByIndex(Root().get()), Truth(root)) << "a new item agrees";
        // The kept folder item names "IDE Resources": while the folder goes by another
        // name, the item names nothing and has no children.
        VFileRefList top;
        ASSERT_TRUE(volume->GetChildren(root, top));
        bool named = false;
        for (long i = 0; i < top.Count(); ++i)
            named |= top[i].id == ide.id && Std(top[i].name) == "IDE Resources";
        EXPECT_EQ(WalkByIndex(keptIde.get()), named ? Truth(ide) : std::vector<std::string>{});
    }
    // A kept item follows its name, as items always did.
    ASSERT_TRUE(volume->SetFileName(ideRef, "Elsewhere"));
    EXPECT_FALSE(keptIde->Exists());
    EXPECT_EQ(keptIde->GetChildCount(), 0);
    ASSERT_TRUE(volume->SetFileName(ideRef, "IDE Resources"));
    EXPECT_TRUE(keptIde->IsDirectory());
}

// An item handed out by index resolves by name: when an earlier child takes the same name
// (in any letter case), the item names that earlier child.
TEST_F(KeptListingTest, AnItemByIndexResolvesToTheFirstChildOfItsName) {
    ItemPtr r = Root();
    ItemPtr a(r->GetChildByIndex(2, 0));
    ASSERT_FALSE(a->IsDirectory());
    for (const char* name : {"a", "A"}) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(volume->SetFileName(build, name));
        EXPECT_TRUE(a->IsDirectory()) << "the first \"a\" is the folder";
        EXPECT_EQ(a->GetChildCount(), 1) << "and its children are the folder's";
        ItemPtr again(r->GetChildByIndex(2, 0));
        EXPECT_TRUE(again->IsDirectory());
    }
    ASSERT_TRUE(volume->SetFileName(build, "Build Resources"));
    EXPECT_FALSE(a->IsDirectory());
    EXPECT_EQ(Contents(a.get()), "top");
    // Clones and copies share what was read and still follow changes.
    ItemPtr copy(a->Clone());
    UnixFolderItemImpVirtual assigned(volume.get(), VFileRef());
    assigned = *static_cast<UnixFolderItemImpVirtual*>(a.get());
    ASSERT_TRUE(volume->SetFileName(build, "a"));
    EXPECT_TRUE(copy->IsDirectory());
    EXPECT_TRUE(assigned.IsDirectory());
}

// Children that can't be read still take their place in the count and the indexes.
TEST_F(KeptListingTest, IndexesCountChildrenThatCannotBeRead) {
    ItemPtr r = Root();
    ASSERT_EQ(r->GetChildCount(), 3);
    VFileRef ghost;
    ghost.id = 4000;  // no such item
    ghost.type = kText;
    ASSERT_TRUE(volume->LinkFile(ghost, root));
    ASSERT_TRUE(volume->LinkFile(top, root));
    EXPECT_EQ(r->GetChildCount(), 5);
    ItemPtr unreadable(r->GetChildByIndex(3, 0));
    ASSERT_TRUE(unreadable);
    EXPECT_FALSE(unreadable->Exists());
    ItemPtr after(r->GetChildByIndex(4, 0));
    ASSERT_TRUE(after);
    EXPECT_EQ(Std(after->GetName()), "a");
    EXPECT_EQ(Contents(after.get()), "top");
    EXPECT_FALSE(ItemPtr(r->GetChildByIndex(5, 0)));
}

// A memory stream that counts the reads that reach it.
class ReadCountingStream : public FileHandle {
public:
    bool ReadData(void* buffer, unsigned int count, int* actual) override {
        ++reads;
        return FileHandle::ReadData(buffer, count, actual);
    }
    long reads = 0;
};

// Walking a folder by index reads its listing once: the reads grow with the number of
// children, not with its square (counted, not timed).
TEST(KeptListingCost, WalkingAFolderReadsItOnce) {
    auto readsToWalk = [](int files) {
        ReadCountingStream stream;
        stream.SetBigEndian();
        std::unique_ptr<VHFSVolume> volume(VHFSVolume::Create(&stream, 0));
        const VFileRef many = volume->CreateDirectory(volume->GetRoot(), "many");
        for (int i = 0; i < files; ++i)
            volume->CreateFile(many, ("f" + std::to_string(i)).c_str(), kText);
        UnixFolderItemImpVirtual root(volume.get(), volume->GetRoot());
        ItemPtr dir(root.GetChildByName("many", 0));
        const long before = stream.reads;
        EXPECT_EQ(dir->GetChildCount(), files);
        for (long i = 0; i < files; ++i) {
            ItemPtr child(dir->GetChildByIndex(i, 0));
            EXPECT_TRUE(child && child->Exists() && !child->IsDirectory());
        }
        return stream.reads - before;
    };
    const long small = readsToWalk(100);
    const long large = readsToWalk(400);
    EXPECT_GT(small, 0);
    EXPECT_LT(large, 6 * small) << "4 times the children must cost about 4 times the reads";
}

}  // namespace
