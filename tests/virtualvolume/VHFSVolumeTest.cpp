// VHFSVolumeTest.cpp - the directory layer: item headers, directory lists, the required
// oddities of unlink and delete, and volumes of versions 1 and 2 built byte by byte.
#include "virtualvolume/VHFSVolume.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "VolumeFixture.h"
#include "encodings/Encodings.h"
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

TEST_F(VHFSVolumeTest, FileInfoLeavesTheRefEmptyAndWritesBack) {
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
}

TEST_F(VHFSVolumeTest, OpenFileRefusesDirectoriesAndMissingItems) {
    EXPECT_EQ(volume->OpenFile(root), nullptr);
    EXPECT_EQ(volume->OpenFile(VFileRef{}), nullptr);
    EXPECT_EQ(volume->OpenFile(VFileRef{77, string(), kText}), nullptr);
}

TEST_F(VHFSVolumeTest, TheTreeSurvivesReopening) {
    VFileRef dir = volume->CreateDirectory(root, "Build Resources");
    const VFileRef file = volume->CreateFile(dir, "lib.so", kText);
    {
        std::unique_ptr<VFile> f(volume->OpenFile(file));
        ASSERT_TRUE(f->WriteData("ELF", 3));
    }
    volume.reset();
    volume.reset(new VHFSVolume(stream.get(), 0));
    ASSERT_TRUE(volume->IsValid());
    VFileRefList list;
    ASSERT_TRUE(volume->GetChildren(volume->GetRoot(), list));
    ASSERT_EQ(list.Count(), 1);
    EXPECT_EQ(std::string(list[0].name.CString()), "Build Resources");
    VFileRefList inner;
    ASSERT_TRUE(volume->GetChildren(list[0], inner));
    ASSERT_EQ(inner.Count(), 1);
    EXPECT_EQ(Content(inner[0]), "ELF");
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

TEST(VHFSVolumeVersions, OlderVolumesOpenAndRead) {
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
}

TEST(VHFSVolumeVersions, VersionFourIsRefused) {
    Bytes bytes = OldVolume(3);
    bytes[7] = 4;
    std::unique_ptr<FileHandle> stream(NewStream(bytes));
    VHFSVolume volume(stream.get(), 0);
    EXPECT_FALSE(volume.IsValid());
    EXPECT_EQ(volume.GetRoot().id, 0u);
}

}  // namespace

// ----- Damage -----

void Walk(VHFSVolume& volume, const VFileRef& dir, int depth, int* items) {
    VFileRefList list;
    if (depth > 6 || *items > 200 || !volume.GetChildren(dir, list)) return;
    for (long i = 0; i < list.Count(); ++i) {
        ++*items;
        if (list[i].type == kDirectoryFileType) {
            Walk(volume, list[i], depth + 1, items);
            continue;
        }
        std::unique_ptr<VFile> f(volume.OpenFile(list[i]));
        if (!f) continue;
        char buffer[512];
        int got = 0;
        for (int reads = 0; reads < 64 && f->ReadData(buffer, sizeof(buffer), &got) && got > 0;)
            ++reads;
        f->WriteData("x", 1);
    }
}

TEST(VHFSVolumeDamage, RandomlyDamagedVolumesNeverCrashOrHang) {
    std::unique_ptr<FileHandle> stream(NewStream());
    {
        std::unique_ptr<VHFSVolume> volume(VHFSVolume::Create(stream.get(), 0));
        VFileRef root = volume->GetRoot();
        VFileRef dir = volume->CreateDirectory(root, "Build Resources");
        VFileRef sub = volume->CreateDirectory(dir, "Linux X86");
        for (const char* name : {"a", "b", "c"}) {
            std::unique_ptr<VFile> f(volume->OpenFile(volume->CreateFile(sub, name, kText)));
            std::string data(1500, name[0]);
            f->WriteData(data.data(), static_cast<unsigned>(data.size()));
        }
    }
    const Bytes sound = AllBytes(*stream);
    uint32_t seed = 12345;
    auto next = [&seed] { return seed = seed * 1103515245u + 12345u; };
    for (int round = 0; round < 300; ++round) {
        Bytes bytes = sound;
        const int flips = 1 + static_cast<int>(next() % 8);
        for (int i = 0; i < flips; ++i)
            bytes[(next() >> 8) % bytes.size()] = static_cast<uint8_t>(next() >> 16);
        if (round % 10 == 0) bytes.resize((next() >> 8) % bytes.size());
        std::unique_ptr<FileHandle> damaged(NewStream(bytes));
        VHFSVolume volume(damaged.get(), 0);
        int items = 0;
        Walk(volume, volume.GetRoot(), 0, &items);
        VFileRef root = volume.GetRoot();
        VFileRef added = volume.CreateFile(root, "new", kText);
        volume.DeleteFile(added);
        EXPECT_LE(damaged->GetLength(), sound.size() + 64 * 1024u) << round;
    }
}
