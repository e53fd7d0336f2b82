// FolderItemImpTest.cpp - the base item: its defaults, and the operations every item shares
// (GetURL, DeleteFolder, the stream copy behind CopyFileTo and MoveFileTo, the trial open
// of IsCurrentlyWriteable).
//
// An in-memory tree of fake items drives GetURL and DeleteFolder, so that names no disk
// allows and failures on demand can be tried. The stream operations run on real files
// through a POSIX item that hands those slots back to the base class.
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FilesTestSupport.h"
#include "files/FolderItemImpUnix.h"
#include "streams/DataFile.h"
#include "streams/RandomAccessMechanism.h"

namespace {

using namespace filestest;

// ---------------------------------------------------------------------------
// Defaults

TEST(FolderItemBase, Defaults) {
    // The defaults with a value of their own; the rest answer false, empty, 0 or null.
    FolderItemImp item;
    EXPECT_FALSE(item.SetName(string("x")));
    EXPECT_TRUE(item.GetExtensionVisible());
    EXPECT_TRUE(item.GetVisible());
    EXPECT_EQ(item.GetFourCharType(), 0x3F3F3F3F);
    EXPECT_EQ(item.GetFourCharCreator(), 0x3F3F3F3F);
    EXPECT_EQ(item.GetSelectedFilterIndex(), -1);
    EXPECT_TRUE(item.IsCurrentlyReadable());
    EXPECT_FALSE(item.IsCurrentlyWriteable());  // nothing exists to open
    EXPECT_EQ(item.OpenResourceFork(), -1);
    EXPECT_EQ(item.ResolveAlias(1), &item);
    EXPECT_EQ(item.GetChildByIndex(0, 0), nullptr);
    EXPECT_FALSE(item.DeleteFolder());
    EXPECT_NE(ItemPtr(item.Clone()), nullptr);
}

// ---------------------------------------------------------------------------
// An in-memory tree

struct FakeNode {
    std::string name;
    bool folder = false;
    FakeNode* parent = nullptr;
    std::vector<std::unique_ptr<FakeNode>> children;
    int failWith = 0;     // DeleteFile fails with this error when non-zero
    int deleteCalls = 0;  // DeleteFile calls on any item naming this node
    bool deleted = false;

    FakeNode* Add(const std::string& childName, bool isFolder) {
        children.push_back(std::make_unique<FakeNode>());
        FakeNode* child = children.back().get();
        child->name = childName;
        child->folder = isFolder;
        child->parent = this;
        return child;
    }
    int LiveChildren() const {
        int live = 0;
        for (const auto& child : children) live += child->deleted ? 0 : 1;
        return live;
    }
};

// An item naming one node. Only the slots the shared operations use are overridden.
class FakeItem : public FolderItemImp {
public:
    explicit FakeItem(FakeNode* node) : mNode(node) {}
    bool Exists() override { return !mNode->deleted; }
    bool IsDirectory() override { return mNode->folder && !mNode->deleted; }
    string GetName() override { return Utf8(mNode->name); }
    FolderItemImp* GetParent() override {
        return mNode->parent ? new FakeItem(mNode->parent) : nullptr;
    }
    long GetChildCount() override { return static_cast<long>(Live().size()); }
    FolderItemImp* GetChildByIndex(long index, long) override {
        const std::vector<FakeNode*> live = Live();
        if (index < 0 || index >= static_cast<long>(live.size())) return nullptr;
        return new FakeItem(live[static_cast<size_t>(index)]);
    }
    bool DeleteFile() override {
        ++mNode->deleteCalls;
        lastError = 0;
        if (mNode->failWith) {
            lastError = mNode->failWith;
            return false;
        }
        if (mNode->LiveChildren() > 0) {
            lastError = ENOTEMPTY;
            return false;
        }
        mNode->deleted = true;
        return true;
    }

private:
    std::vector<FakeNode*> Live() const {
        std::vector<FakeNode*> live;
        for (const auto& child : mNode->children) {
            if (!child->deleted) live.push_back(child.get());
        }
        return live;
    }
    FakeNode* mNode;
};

// A tree whose root folder holds "top".
class FakeTree : public ::testing::Test {
protected:
    FakeNode root{"/", true, nullptr, {}};
    FakeNode* top = root.Add("top", true);
};

TEST_F(FakeTree, UrlsEncodeEachNameAlone) {
    FakeNode* outer = root.Add("a b", true);
    FakeNode* odd = outer->Add("x/y", true);
    FakeNode* file = odd->Add("caf\xC3\xA9 100%", false);
    struct Case {
        FakeNode* node;
        std::string url;
    } const cases[] = {
        {file, "file:///a%20b/x%2Fy/caf%C3%A9%20100%25"},
        {odd, "file:///a%20b/x%2Fy/"},
        {outer, "file:///a%20b/"},
        {&root, "file:///"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.url);
        EXPECT_EQ(Std(FakeItem(c.node).GetURL()), c.url);
    }
}

TEST_F(FakeTree, DeleteFolderTakesChildrenFirstThenTheFolderButNotAFile) {
    FakeNode* sub = top->Add("sub", true);
    sub->Add("deep", false);
    top->Add(".hidden", false);
    FakeItem item(top);
    EXPECT_TRUE(item.DeleteFolder());
    EXPECT_TRUE(top->deleted);
    EXPECT_TRUE(sub->deleted);
    EXPECT_EQ(top->deleteCalls, 1);
    EXPECT_EQ(item.GetLastError(), 0);

    FakeNode* file = root.Add("file", false);  // not a folder: nothing deleted
    EXPECT_FALSE(FakeItem(file).DeleteFolder());
    EXPECT_EQ(file->deleteCalls, 0);
}

TEST_F(FakeTree, DeleteFolderStopsAtTheFirstFailingChildAndLendsItsError) {
    FakeNode* first = top->Add("first", false);
    FakeNode* stubborn = top->Add("stubborn", false);
    FakeNode* never = top->Add("never", false);
    stubborn->failWith = 42;

    FakeItem item(top);
    EXPECT_FALSE(item.DeleteFolder());
    EXPECT_EQ(item.GetLastError(), 42);
    EXPECT_TRUE(first->deleted);
    EXPECT_EQ(stubborn->deleteCalls, 1);
    EXPECT_EQ(never->deleteCalls, 0);  // not tried after the failure
    EXPECT_EQ(top->deleteCalls, 1);    // the folder itself is tried all the same
    EXPECT_FALSE(top->deleted);

    // A failure deep down stops the outer walk too.
    FakeNode* sub = root.Add("sub", true);
    sub->Add("inner", true)->Add("stuck", false)->failWith = EPERM;
    FakeNode* later = sub->Add("later", false);
    FakeItem outer(sub);
    EXPECT_FALSE(outer.DeleteFolder());
    EXPECT_EQ(outer.GetLastError(), EPERM);
    EXPECT_EQ(later->deleteCalls, 0);
}

// ---------------------------------------------------------------------------
// Stream copy and trial open, on disk

// A POSIX item whose copy, move and writability go back to the base class.
class StreamCopyItem : public FolderItemImpUnix {
public:
    explicit StreamCopyItem(const std::string& path) : FolderItemImpUnix(Utf8(path)) {}
    bool CopyFileTo(FolderItemImp* destination) override {
        return FolderItemImp::CopyFileTo(destination);
    }
    bool MoveFileTo(FolderItemImp* destination) override {
        return FolderItemImp::MoveFileTo(destination);
    }
    bool IsCurrentlyWriteable() override { return FolderItemImp::IsCurrentlyWriteable(); }
};

std::string Pattern(size_t size) {
    std::string bytes(size, '\0');
    uint32_t state = 12345;
    for (char& b : bytes) {
        state = state * 1103515245 + 12345;
        b = static_cast<char>(state >> 16);
    }
    return bytes;
}

class StreamCopy : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(tmp.Valid()); }
    TempFolder tmp;
};

TEST_F(StreamCopy, CopiesEveryByteOverManyChunks) {
    for (size_t size : {size_t{0}, size_t{1}, size_t{65536}, size_t{200001}}) {
        SCOPED_TRACE(size);
        const std::string bytes = Pattern(size);
        ASSERT_TRUE(WriteFile(tmp / "source", bytes));
        ASSERT_TRUE(WriteFile(tmp / "target", Pattern(300000)));  // longer: must be truncated
        StreamCopyItem source(tmp / "source");
        StreamCopyItem target(tmp / "target");
        EXPECT_TRUE(source.CopyFileTo(&target));
        EXPECT_EQ(source.GetLastError(), 0);
        EXPECT_EQ(ReadFile(tmp / "target"), bytes);
        EXPECT_EQ(ReadFile(tmp / "source"), bytes);
    }
}

TEST_F(StreamCopy, FailuresKeepTheirError) {
    ASSERT_EQ(mkdir((tmp / "dir").c_str(), 0755), 0);
    ASSERT_TRUE(WriteFile(tmp / "file", "data"));
    StreamCopyItem target(tmp / "target");

    StreamCopyItem folder(tmp / "dir");
    EXPECT_FALSE(folder.CopyFileTo(&target));
    EXPECT_EQ(folder.GetLastError(), EISDIR);

    StreamCopyItem missing(tmp / "missing");
    EXPECT_FALSE(missing.CopyFileTo(&target));
    EXPECT_EQ(missing.GetLastError(), ENOENT);
    EXPECT_FALSE(PathExists(tmp / "target"));

    StreamCopyItem file(tmp / "file");
    StreamCopyItem nowhere(tmp / "none/target");  // the target cannot be made
    EXPECT_FALSE(file.CopyFileTo(&nowhere));
    EXPECT_EQ(file.GetLastError(), ENOENT);

    EXPECT_FALSE(file.CopyFileTo(nullptr));
    EXPECT_EQ(file.GetLastError(), EINVAL);

    FolderItemImp plain;  // cannot create anything
    EXPECT_FALSE(file.CopyFileTo(&plain));
    EXPECT_NE(file.GetLastError(), 0);
}

TEST_F(StreamCopy, MoveCopiesThenDeletesButNotOntoItself) {
    ASSERT_TRUE(WriteFile(tmp / "from", "payload"));
    StreamCopyItem from(tmp / "from");
    StreamCopyItem to(tmp / "to");
    EXPECT_TRUE(from.MoveFileTo(&to));
    EXPECT_EQ(ReadFile(tmp / "to"), "payload");
    EXPECT_FALSE(PathExists(tmp / "from"));

    StreamCopyItem missing(tmp / "missing");
    EXPECT_FALSE(missing.MoveFileTo(&to));
    EXPECT_EQ(ReadFile(tmp / "to"), "payload");

    ASSERT_TRUE(WriteFile(tmp / "self", "mine"));  // onto itself: kept
    StreamCopyItem self(tmp / "self");
    EXPECT_TRUE(self.CopyFileTo(&self));
    EXPECT_TRUE(self.MoveFileTo(&self));
    EXPECT_EQ(ReadFile(tmp / "self"), "mine");
}

TEST_F(StreamCopy, TrialOpenDecidesWriteability) {
    ASSERT_TRUE(WriteFile(tmp / "free", "x"));
    ASSERT_TRUE(WriteFile(tmp / "held", "x"));
    ASSERT_EQ(mkdir((tmp / "dir").c_str(), 0755), 0);
    long error = 0;
    std::unique_ptr<DataFile> holder(DataFile::OpenFromPath(Utf8(tmp / "held"), 3, &error));
    ASSERT_NE(holder, nullptr);

    EXPECT_TRUE(StreamCopyItem(tmp / "free").IsCurrentlyWriteable());
    StreamCopyItem held(tmp / "held");
    EXPECT_FALSE(held.IsCurrentlyWriteable());  // the lock held above refuses the trial
    EXPECT_EQ(held.GetLastError(), EWOULDBLOCK);
    EXPECT_FALSE(StreamCopyItem(tmp / "dir").IsCurrentlyWriteable());
    EXPECT_FALSE(StreamCopyItem(tmp / "missing").IsCurrentlyWriteable());
    EXPECT_FALSE(PathExists(tmp / "missing"));  // the trial creates nothing
}

}  // namespace
