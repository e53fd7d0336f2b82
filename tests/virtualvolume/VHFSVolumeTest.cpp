// VHFSVolumeTest.cpp - the directory layer: item headers, directory lists, the required
// oddities of unlink and delete, and volumes of versions 1 and 2 built byte by byte.
#include "virtualvolume/VHFSVolume.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../files/FilesTestSupport.h"
#include "VolumeFixture.h"
#include "encodings/Encodings.h"
#include "virtualvolume/UnixFolderItemImpVirtual.h"
#include "virtualvolume/VFile.h"

namespace {

class VHFSVolumeTest : public VolumeFixture {};

TEST_F(VHFSVolumeTest, TheRootHeaderIsWrittenBigEndian) {
    EXPECT_EQ(root.type, kDirectoryFileType);
    EXPECT_EQ(std::string(root.name.CString()), "/");
    EXPECT_TRUE(ChildIds(root).empty());
    const Bytes header = ItemBytes(kRootDirectoryIDnum, 0, 260);
    EXPECT_EQ(Slice(header, 0, 8), BeDoubleBytes(4.0));
    EXPECT_EQ(Slice(header, 8, 8), (Bytes{'f', 'o', 'l', 'd', 0, 0, 0, 0}));
    Bytes name(224, 0);
    name[0] = '/';
    EXPECT_EQ(Slice(header, 32, 224), name);
    EXPECT_EQ(Slice(header, 256, 4), Be32Bytes(0));
    // The root is the first file: its item header starts right after its block header.
    EXPECT_EQ(Slice(AllBytes(*stream), 48 + 28 + 8, 4), (Bytes{'f', 'o', 'l', 'd'}));
}

TEST_F(VHFSVolumeTest, NewItemsAreListedLastWithTheDirectoryLength) {
    const VFileRef dir = volume->CreateDirectory(root, "Linux x86");
    const VFileRef file = volume->CreateFile(root, "a", kText);
    EXPECT_EQ(dir.id, 3u);
    EXPECT_EQ(file.id, 4u);
    EXPECT_EQ(file.name.Encoding(), kEncodingUTF8);
    ByteBuilder list;
    list.Be32(2), list.Be32(3), list.Be32(4);
    EXPECT_EQ(ItemBytes(2, 256, 12), list.bytes);
    EXPECT_EQ(ItemBytes(2, 0, 8), BeDoubleBytes(12.0));
    EXPECT_EQ(ItemBytes(4, 12, 4), Be32Bytes(2));  // parent
    EXPECT_EQ(volume->GetParent(file).id, 2u);
    EXPECT_TRUE(ChildIds(dir).empty());
    // Names are not unique.
    EXPECT_EQ(volume->CreateFile(root, "a", kText).id, 5u);
}

TEST_F(VHFSVolumeTest, CreationIsRefusedForBadArguments) {
    const VFileRef file = volume->CreateFile(root, "f", kText);
    struct Case {
        const char* what;
        VFileRef parent;
        const char* name;
        VFileType type;
    };
    const Case cases[] = {
        {"empty name", root, "", kText},
        {"type 0", root, "x", 0},
        {"type fold", root, "x", kDirectoryFileType},
        {"parent is a file", file, "x", kText},
        {"parent not loaded", VFileRef{}, "x", kText},
    };
    for (const Case& c : cases)
        EXPECT_EQ(volume->CreateFile(c.parent, c.name, c.type).id, 0u) << c.what;
    // A ref claiming "fold" for a file is caught by the stored type.
    VFileRef fake = file;
    fake.type = kDirectoryFileType;
    EXPECT_EQ(volume->CreateFile(fake, "x", kText).id, 0u);
}

TEST_F(VHFSVolumeTest, LongNamesKeepTheirFirst223Bytes) {
    const std::string longName(300, 'n');
    VFileRef file = volume->CreateFile(root, longName.c_str(), kText);
    EXPECT_EQ(std::string(file.name.CString()), longName.substr(0, 223));
    EXPECT_EQ(ItemBytes(file.id, 32 + 222, 2), (Bytes{'n', 0}));
    ASSERT_TRUE(volume->SetFileName(file, longName.c_str()));
    EXPECT_EQ(file.name.Length(), 223u);
    ASSERT_TRUE(volume->SetFileName(file, "short"));
    VFileRef loaded{file.id, string(), 0};
    volume->LoadFileInfo(&loaded);
    EXPECT_EQ(std::string(loaded.name.CString()), "short");
}

TEST_F(VHFSVolumeTest, DeleteRefusesNonEmptyDirectoriesAndTheRoot) {
    VFileRef dir = volume->CreateDirectory(root, "d");
    const VFileRef inner = volume->CreateFile(dir, "f", kText);
    EXPECT_FALSE(volume->DeleteFile(dir));
    EXPECT_FALSE(volume->DeleteFile(root));
    EXPECT_TRUE(volume->DeleteFile(inner));
    EXPECT_TRUE(ChildIds(dir).empty());
    EXPECT_TRUE(volume->DeleteFile(dir));
    EXPECT_TRUE(ChildIds(root).empty());
    EXPECT_EQ(volume->GetFileInfo(inner).length, 0.0);  // gone: nothing to read
}

TEST_F(VHFSVolumeTest, DeletingAnOpenFileReportsSuccessAndKeepsIt) {
    const VFileRef file = volume->CreateFile(root, "busy", kText);
    std::unique_ptr<VFile> open(volume->OpenFile(file));
    ASSERT_TRUE(open);
    EXPECT_TRUE(volume->DeleteFile(file));
    EXPECT_EQ(ChildIds(root), std::vector<uint32_t>{file.id});
    open.reset();
    EXPECT_TRUE(volume->DeleteFile(file));
    EXPECT_TRUE(ChildIds(root).empty());
}

TEST_F(VHFSVolumeTest, UnlinkMovesTheLastChildIntoTheHole) {
    const VFileRef a = volume->CreateFile(root, "a", kText);
    const VFileRef b = volume->CreateFile(root, "b", kText);
    const VFileRef c = volume->CreateFile(root, "c", kText);
    ASSERT_EQ(ChildIds(root), (std::vector<uint32_t>{3, 4, 5}));
    EXPECT_TRUE(volume->UnlinkFile(a, root));
    EXPECT_EQ(ChildIds(root), (std::vector<uint32_t>{5, 4}));
    EXPECT_EQ(ItemBytes(2, 0, 8), BeDoubleBytes(16.0));  // the length stays
    // An absent child still costs the last one its place.
    EXPECT_TRUE(volume->UnlinkFile(a, root));
    EXPECT_EQ(ChildIds(root), (std::vector<uint32_t>{5}));
    EXPECT_TRUE(volume->UnlinkFile(c, root));
    EXPECT_FALSE(volume->UnlinkFile(b, root));  // nothing left to unlink
}

TEST_F(VHFSVolumeTest, AChildCountTheLengthCannotHoldReadsAsEmpty) {
    volume->CreateFile(root, "a", kText);
    PutLong(2, 256, 9);  // length is 8.0
    VFileRefList list;
    EXPECT_TRUE(volume->GetChildren(root, list));
    EXPECT_EQ(list.Count(), 0);
    PutLong(2, 256, -1);
    EXPECT_TRUE(ChildIds(root).empty());
}

TEST_F(VHFSVolumeTest, MoveRenameAndRetype) {
    VFileRef dir = volume->CreateDirectory(root, "d");
    VFileRef sub = volume->CreateDirectory(dir, "s");
    VFileRef file = volume->CreateFile(root, "f", kText);
    ASSERT_TRUE(volume->MoveFile(file, dir));
    EXPECT_EQ(ChildIds(root), std::vector<uint32_t>{dir.id});
    EXPECT_EQ(ChildIds(dir), (std::vector<uint32_t>{sub.id, file.id}));
    EXPECT_EQ(volume->GetParent(file).id, dir.id);
    EXPECT_TRUE(volume->MoveFile(file, dir));  // already there
    // A directory can't go into itself or below itself.
    EXPECT_FALSE(volume->MoveFile(dir, dir));
    EXPECT_FALSE(volume->MoveFile(dir, sub));
    EXPECT_FALSE(volume->MoveFile(file, file));

    EXPECT_FALSE(volume->SetFileType(file, kDirectoryFileType));
    EXPECT_FALSE(volume->SetFileType(dir, kText));
    EXPECT_FALSE(volume->SetFileType(file, 0));
    ASSERT_TRUE(volume->SetFileType(file, 0x44415441));
    EXPECT_EQ(file.type, 0x44415441u);
    EXPECT_EQ(ItemBytes(file.id, 8, 4), (Bytes{'D', 'A', 'T', 'A'}));
}

TEST_F(VHFSVolumeTest, FileInfoLeavesTheRefEmptyAndOnlyFilesOpen) {
    const VFileRef file = volume->CreateFile(root, "f", kText);
    VFileInfo info = volume->GetFileInfo(file);
    EXPECT_EQ(info.ref.id, 0u);
    EXPECT_EQ(info.ref.type, 0u);
    EXPECT_EQ(info.creationDate, info.modificationDate);
    EXPECT_GT(info.creationDate, 3.0e9);      // after 1999 on the 1904-based date scale
    EXPECT_FALSE(volume->SetFileInfo(info));  // the ref part is empty
    info.ref = file;
    info.modificationDate = 1234.5;
    ASSERT_TRUE(volume->SetFileInfo(info));
    EXPECT_EQ(ItemBytes(file.id, 24, 8), BeDoubleBytes(1234.5));
    // Only files open.
    EXPECT_EQ(volume->OpenFile(root), nullptr);
    EXPECT_EQ(volume->OpenFile(VFileRef{}), nullptr);
    EXPECT_EQ(volume->OpenFile(VFileRef{77, string(), kText}), nullptr);
}

// ----- Older versions, built byte by byte -----

struct Order {
    bool bigEndian;
    void Long(ByteBuilder& b, uint32_t v) const { bigEndian ? b.Be32(v) : b.Le32(v); }
    void Double(ByteBuilder& b, double v) const { bigEndian ? b.BeDouble(v) : b.LeDouble(v); }
};

void Block(ByteBuilder& b, Order headerDoubles, uint32_t id, const Bytes& data) {
    b.Raw("BlkS", 4), b.Be32(id), b.Be32(0);
    headerDoubles.Double(b, 1024.0);
    headerDoubles.Double(b, 0.0);
    b.Raw(data.data(), data.size());
    b.Zeros(1024 - 32 - data.size());
    b.Raw("BlkE", 4);
}

Bytes Item(Order items, double length, uint32_t type, uint32_t parent, const char* name) {
    ByteBuilder b;
    items.Double(b, length);
    items.Long(b, type);
    items.Long(b, parent);
    items.Double(b, 100.0);
    items.Double(b, 200.0);
    Bytes field(224, 0);
    memcpy(field.data(), name, strlen(name));
    b.Raw(field.data(), field.size());
    return b.bytes;
}

Bytes OldVolume(int32_t version) {
    // Version 1: block-header doubles little-endian; versions 1 and 2: item values too.
    const Order headerDoubles{version != 1};
    const Order items{version > 2};
    ByteBuilder b;
    b.Raw("VFSv", 4), b.Be32(static_cast<uint32_t>(version));
    b.Raw("BlkS", 4), b.Be32(1), b.Be32(0);
    headerDoubles.Double(b, 40.0);
    headerDoubles.Double(b, 0.0);
    b.Be32(4), b.Be32(0), b.Raw("BlkE", 4);
    ByteBuilder rootData;
    const Bytes rootItem = Item(items, 8.0, kDirectoryFileType, 0, "/");
    rootData.Raw(rootItem.data(), rootItem.size());
    items.Long(rootData, 1);
    items.Long(rootData, 3);
    Block(b, headerDoubles, 2, rootData.bytes);
    ByteBuilder fileData;
    const Bytes fileItem = Item(items, 5.0, kText, 2, "readme");
    fileData.Raw(fileItem.data(), fileItem.size());
    fileData.Raw("hello", 5);
    Block(b, headerDoubles, 3, fileData.bytes);
    return b.bytes;
}

TEST(VHFSVolumeVersions, OlderVolumesOpenAndReadAndFourIsRefused) {
    for (int32_t version : {1, 2, 3}) {
        std::unique_ptr<FileHandle> stream(NewStream(OldVolume(version)));
        VHFSVolume volume(stream.get(), 0);
        ASSERT_TRUE(volume.IsValid()) << version;
        EXPECT_EQ(volume.GetBlockVolume()->GetVersion(), version);
        const VFileRef root = volume.GetRoot();
        EXPECT_EQ(root.type, kDirectoryFileType) << version;
        VFileRefList list;
        ASSERT_TRUE(volume.GetChildren(root, list)) << version;
        ASSERT_EQ(list.Count(), 1) << version;
        EXPECT_EQ(list[0].id, 3u);
        EXPECT_EQ(list[0].type, kText) << version;
        EXPECT_EQ(std::string(list[0].name.CString()), "readme");
        const VFileInfo info = volume.GetFileInfo(list[0]);
        EXPECT_EQ(info.length, 5.0) << version;
        EXPECT_EQ(info.creationDate, 100.0) << version;
        std::unique_ptr<VFile> f(volume.OpenFile(list[0]));
        ASSERT_TRUE(f) << version;
        char text[5] = {};
        int got = 0;
        EXPECT_TRUE(f->ReadData(text, 5, &got));
        EXPECT_EQ(std::string(text, static_cast<size_t>(got)), "hello") << version;
        // A new file in an old volume is written in that volume's order and reads back.
        f.reset();
        const VFileRef added = volume.CreateFile(root, "new", kText);
        EXPECT_EQ(added.id, 4u) << version;
        EXPECT_EQ(volume.GetParent(added).id, 2u) << version;
    }
    Bytes four = OldVolume(3);
    four[7] = 4;
    std::unique_ptr<FileHandle> stream(NewStream(four));
    VHFSVolume volume(stream.get(), 0);
    EXPECT_FALSE(volume.IsValid());
    EXPECT_EQ(volume.GetRoot().id, 0u);
}

// ----- Writing into damaged volumes (reading them is the corruption sweep's) -----

// Where block `index` of file `id` starts in `bytes`.
size_t BlockAt(const Bytes& bytes, uint32_t id, uint32_t index) {
    ByteBuilder want;
    want.Raw("BlkS", 4), want.Be32(id), want.Be32(index);
    for (size_t at = 8; at + 12 <= bytes.size(); ++at)
        if (std::equal(want.bytes.begin(), want.bytes.end(), bytes.begin() + static_cast<long>(at)))
            return at;
    ADD_FAILURE() << "no block " << index << " of file " << id;
    return 0;
}

void Put(Bytes& bytes, size_t at, const Bytes& value) {
    std::copy(value.begin(), value.end(), bytes.begin() + static_cast<long>(at));
}

// Each damage in turn, then every file takes a byte and a file is made and deleted at the
// root, through the volume and through a folder item: every call ends and the stream grows
// by a bounded amount.
TEST(VHFSVolumeDamage, WritingIntoADamagedVolumeEndsBounded) {
    std::unique_ptr<FileHandle> stream(NewStream());
    {
        std::unique_ptr<VHFSVolume> volume(VHFSVolume::Create(stream.get(), 0));
        const VFileRef dir = volume->CreateDirectory(volume->GetRoot(), "Build Resources");
        for (const char* name : {"a", "b", "c"}) {  // ids 4, 5, 6, two blocks each
            std::unique_ptr<VFile> f(volume->OpenFile(volume->CreateFile(dir, name, kText)));
            const std::string data(1500, name[0]);
            ASSERT_TRUE(f->WriteData(data.data(), static_cast<unsigned>(data.size())));
        }
    }
    const Bytes sound = AllBytes(*stream);
    const size_t list = BlockAt(sound, 2, 0) + 28 + 256, dirList = BlockAt(sound, 3, 0) + 28 + 256;
    const size_t a = BlockAt(sound, 4, 0), b = BlockAt(sound, 5, 0), c = BlockAt(sound, 6, 0);
    const struct {
        const char* what;
        std::function<void(Bytes&)> damage;
    } cases[] = {
        {"absurd child count", [&](Bytes& x) { Put(x, list, Be32Bytes(0x7FFFFFFF)); }},
        {"the root lists itself", [&](Bytes& x) { Put(x, list + 4, Be32Bytes(2)); }},
        {"a folder lists itself", [&](Bytes& x) { Put(x, dirList + 4, Be32Bytes(3)); }},
        {"a chain loops", [&](Bytes& x) { Put(x, a + 20, BeDoubleBytes(static_cast<double>(a))); }},
        {"a chain points past the end", [&](Bytes& x) { Put(x, a + 20, BeDoubleBytes(1e9)); }},
        {"a block size of NaN", [&](Bytes& x) { Put(x, b + 12, BeDoubleBytes(std::nan(""))); }},
        {"an absurd item length", [&](Bytes& x) { Put(x, c + 28, BeDoubleBytes(1e18)); }},
        {"cut short", [&](Bytes& x) { x.resize(x.size() > 1000 ? x.size() - 1000 : 0); }},
    };
    std::string buffer(4096, 'w');
    int writes = 0;
    for (const auto& d : cases) {
        SCOPED_TRACE(d.what);
        Bytes bytes = sound;
        d.damage(bytes);
        std::unique_ptr<FileHandle> damaged(NewStream(bytes));
        {
            VHFSVolume volume(damaged.get(), 0);
            const VFileRef root = volume.GetRoot();
            VFileRefList top, inner;
            if (volume.GetChildren(root, top) && top.Count() > 0 &&
                volume.GetChildren(top[0], inner))
                for (long i = 0; i < inner.Count() && i < 8; ++i) {
                    std::unique_ptr<VFile> f(volume.OpenFile(inner[i]));
                    if (!f) continue;
                    int got = 0;  // read on, then write across a block's end from there
                    f->ReadData(buffer.data(), static_cast<unsigned>(buffer.size()), &got);
                    writes += f->WriteData(buffer.data(), 1100);
                }
            volume.DeleteFile(volume.CreateFile(root, "new", kText));
            UnixFolderItemImpVirtual rootItem(&volume, root);
            filestest::ItemPtr added(rootItem.GetChildByName("added", 0));
            if (added) {
                delete added->CreateFile("");
                added->DeleteFile();
            }
        }
        EXPECT_LE(damaged->GetLength(), sound.size() + 64 * 1024u);
    }
    EXPECT_GT(writes, 0);
}

}  // namespace
