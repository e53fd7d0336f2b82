// SaveInfoTest.cpp - save-info strings byte for byte, reading them back in each mode, and
// the relative paths they carry.
#include <sys/stat.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "FilesTestSupport.h"
#include "files/FolderItemImpUnix.h"

namespace {

using namespace filestest;

// The bytes of one record, written as the format says: tag low byte first, length high
// byte first.
std::string Record(unsigned char tag, const std::string& data, unsigned char tagHigh = 0) {
    const uint32_t n = static_cast<uint32_t>(data.size());
    std::string bytes{static_cast<char>(tag), static_cast<char>(tagHigh)};
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>((n >> shift) & 0xFF);
    return bytes + data;
}

std::string Header(unsigned char mode) {
    return std::string("\x00\xF1\xD1\x73\x01", 5) + static_cast<char>(mode);
}

const std::string kFlagsAndEnd =
    Record(3, std::string(1, '\x01')) + Record(4, std::string(1, '\x00')) + Record(0, "");

constexpr const char* kNowhere = "/zq-nonexistent";  // a root folder no system has

TEST(SaveInfoLayout, EachModeByteForByte) {
    const std::string target = std::string(kNowhere) + "/a/c/f";
    UnixPtr item = Item(target);
    UnixPtr base = Item(std::string(kNowhere) + "/a/b/");
    struct Case {
        eSaveInfoMode mode;
        bool withBase;
        std::string bytes;
    } const cases[] = {
        {kSaveInfoAbsolute, true, Header(2) + Record(1, target) + kFlagsAndEnd},
        {kSaveInfoRelative, true, Header(1) + Record(2, "../c/f") + kFlagsAndEnd},
        {kSaveInfoBoth, true, Header(0) + Record(1, target) + Record(2, "../c/f") + kFlagsAndEnd},
        // Without a base item every mode becomes absolute.
        {kSaveInfoBoth, false, Header(2) + Record(1, target) + kFlagsAndEnd},
        {kSaveInfoRelative, false, Header(2) + Record(1, target) + kFlagsAndEnd},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.mode) + (c.withBase ? " with base" : " without base"));
        const string info = item->GetSaveInfo(c.withBase ? base.get() : nullptr, c.mode);
        EXPECT_EQ(Std(info), c.bytes);
        EXPECT_TRUE(FolderItemImp::IsSaveInfoString(info));
    }
}

TEST(SaveInfoLayout, LengthsAreBigEndianWhateverTheirSize) {
    const std::string target = "/" + std::string(300, 'n');
    const string info = Item(target)->GetSaveInfo(nullptr, kSaveInfoAbsolute);
    ASSERT_GT(info.Length(), 12u);
    EXPECT_EQ(Std(info).substr(6, 6), std::string("\x01\x00\x00\x00\x01\x2D", 6));  // 301
}

TEST(SaveInfoRecognition, MagicOnly) {
    struct Case {
        std::string bytes;
        bool recognised;
    } const cases[] = {
        {std::string("\x00\xF1\xD1\x73", 4), true},
        {std::string("\x00\xF1\xD1\x73\x09\x09", 6), true},  // version and mode not checked
        {std::string("\x00\xF1\xD1", 3), false},
        {std::string("\x73\xD1\xF1\x00", 4), false},  // little-endian magic
        {"", false},
        {"/plain/path", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes.size());
        EXPECT_EQ(FolderItemImp::IsSaveInfoString(Utf8(c.bytes)), c.recognised);
    }
}

class SaveInfo : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(tmp.Valid());
        for (const char* folder : {"old", "old/base", "old/data", "new", "new/base", "new/data"}) {
            ASSERT_EQ(mkdir((tmp / folder).c_str(), 0755), 0);
        }
        ASSERT_TRUE(WriteFile(tmp / "old/data/f", "old"));
    }

    // What ConstructFromSaveInfoString makes of `info` against `base` (null for none).
    std::string Read(const std::string& info, FolderItemImp* base) {
        ItemPtr item(FolderItemImp::ConstructFromSaveInfoString(Utf8(info), base));
        return PathOf(item.get());
    }

    TempFolder tmp;
};

TEST_F(SaveInfo, BothModeFallsBackToTheAbsoluteTargetRelativeModeDoesNot) {
    // Saved against old/base; read against new/base, where ../data/f does not exist.
    const std::string info =
        Std(Item(tmp / "old/data/f")->GetSaveInfo(Item(tmp / "old/base").get(), kSaveInfoBoth));
    EXPECT_EQ(Read(info, Item(tmp / "new/base").get()), tmp / "old/data/f");
    // Absolute mode takes its record as it stands, whatever the base.
    EXPECT_EQ(Read(Header(2) + Record(1, tmp / "old/data/f"), Item(tmp / "new/base").get()),
              tmp / "old/data/f");

    // Once the relative target exists it is preferred.
    ASSERT_TRUE(WriteFile(tmp / "new/data/f", "new"));
    EXPECT_EQ(Read(info, Item(tmp / "new/base").get()), tmp / "new/data/f");

    // Neither exists: the relative candidate is taken.
    ASSERT_EQ(unlink((tmp / "new/data/f").c_str()), 0);
    ASSERT_EQ(unlink((tmp / "old/data/f").c_str()), 0);
    EXPECT_EQ(Read(info, Item(tmp / "new/base").get()), tmp / "new/data/f");

    // Relative mode resolves against the new base; the target need not exist.
    const std::string relative =
        Std(Item(tmp / "old/data/f")->GetSaveInfo(Item(tmp / "old/base").get(), kSaveInfoRelative));
    EXPECT_EQ(Read(relative, Item(tmp / "new/base").get()), tmp / "new/data/f");
    // Climbing above the root gives nothing.
    EXPECT_EQ(
        Read(Header(1) + Record(2, "../../../../../../../../x"), Item(tmp / "new/base").get()),
        "<null>");
    // Without a base the record is taken as it stands.
    EXPECT_EQ(Read(relative, nullptr), "../data/f");
}

TEST_F(SaveInfo, BothModeCandidatesInEitherOrder) {
    UnixPtr base = Item(tmp / "new/base");
    const std::string absolute = tmp / "old/data/f";
    struct Case {
        const char* what;
        std::string records;
        std::string expected;
    } const cases[] = {
        {"relative first", Record(2, "../data/f") + Record(1, absolute), absolute},
        {"absolute only", Record(1, absolute), absolute},
        {"missing absolute only", Record(1, tmp / "gone"), tmp / "gone"},
        {"relative only, missing", Record(2, "../data/g"), tmp / "new/data/g"},
        {"relative above the root", Record(2, "../../../../../../../x") + Record(1, absolute),
         absolute},
        {"no path records", Record(3, "\x01"), "<null>"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(Read(Header(0) + c.records, base.get()), c.expected);
    }
}

TEST_F(SaveInfo, ReaderTolerancesAndRefusals) {
    const std::string path = "/x//y/../z";  // taken exactly, not normalised
    struct Case {
        const char* what;
        std::string bytes;
        std::string expected;
    } const cases[] = {
        {"as written", Header(2) + Record(1, path) + kFlagsAndEnd, path},
        {"no end record", Header(2) + Record(1, path), path},
        {"tag's second byte ignored", Header(2) + Record(1, path, 0xFF), path},
        {"unknown tags skipped", Header(2) + Record(9, "junk") + Record(1, path, 0), path},
        {"last path record wins", Header(2) + Record(1, "/first") + Record(2, path), path},
        {"records after the end ignored",
         Header(2) + Record(1, path) + Record(0, "") + Record(1, "/later"), path},
        {"tag 0 with its second byte set ends too",
         Header(2) + Record(1, path) + Record(0, "", 0x01) + Record(1, "/later"), path},
        {"length past the end", Header(2) + Record(1, path).substr(0, 8), "<null>"},
        {"record header cut short", Header(2) + Record(1, path) + std::string("\x01\x00\x00", 3),
         "<null>"},
        {"unknown mode", Header(3) + Record(1, path), "<null>"},
        {"header only", Header(2), "<null>"},
        {"magic only", Header(2).substr(0, 4), "<null>"},
        {"no magic", std::string("\x00\xF1\xD1\x74\x01\x02", 6) + Record(1, path), "<null>"},
        {"empty path", Header(2) + Record(1, ""), "<null>"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(Read(c.bytes, nullptr), c.expected);
    }
}

// ---------------------------------------------------------------------------
// Relative paths

struct RelativeCase {
    const char* what;
    std::string base, target, relative;
};

const std::string kN = kNowhere;
const RelativeCase kRelativeCases[] = {
    {"sibling folder", kN + "/a/b/", kN + "/a/c/d.txt", "../c/d.txt"},
    {"deeper", kN + "/a/b/", kN + "/a/b/c/d/e", "c/d/e"},
    {"shallower", kN + "/a/b/c/d/", kN + "/a/x", "../../../x"},
    {"base is a file", kN + "/a/b/file.txt", kN + "/a/b/other", "other"},
    {"same folder", kN + "/a/b/", kN + "/a/b/", ""},
    {"shared prefix is not a shared folder", kN + "/a/bc/", kN + "/a/b/x", "../b/x"},
    {"the folder itself without its slash", kN + "/a/b/", kN + "/a/b", "../b"},
    {"from the root", "/", kN + "/a/b", kN.substr(1) + "/a/b"},
    {"up to the root", kN + "/a/", "/", "../../"},
    {"sibling folder path", kN + "/a/b/", kN + "/a/c/", "../c/"},
};

TEST(RelativePath, LevelsAboveTheCommonFolderAndBack) {
    for (const RelativeCase& c : kRelativeCases) {
        SCOPED_TRACE(c.what);
        UnixPtr base = Item(c.base);
        ASSERT_EQ(PathOf(base.get()), c.base);  // the slash as given, nothing on disk
        EXPECT_EQ(Std(Item(c.target)->GetRelativePath(base.get())), c.relative);
        EXPECT_EQ(Std(FolderItemImpUnix::RelativePathToAbsolutePath(Utf8(c.relative), base.get())),
                  c.target);
    }
    UnixPtr item = Item(kN + "/a");
    EXPECT_TRUE(item->GetRelativePath(nullptr).IsEmpty());
    EXPECT_EQ(item->GetLastError(), EINVAL);
}

TEST(RelativePath, ToAbsolute) {
    UnixPtr folder = Item(kN + "/a/b/");
    UnixPtr file = Item(kN + "/a/b/f");
    struct Case {
        FolderItemImpUnix* base;
        std::string relative, absolute;
    } const cases[] = {
        {folder.get(), "../c/d", kN + "/a/c/d"},
        {folder.get(), "./x", kN + "/a/b/x"},
        {folder.get(), "x/./y/../z", kN + "/a/b/x/z"},
        {folder.get(), "..", kN + "/a/"},
        {folder.get(), "../", kN + "/a/"},
        {folder.get(), "sub/", kN + "/a/b/sub/"},
        {folder.get(), "x..", kN + "/a/b/x.."},
        {folder.get(), "", kN + "/a/b/"},
        {folder.get(), "/abs/p", "/abs/p"},
        {folder.get(), "../../..", "/"},
        {folder.get(), "../../../..", ""},
        {file.get(), "x", kN + "/a/b/x"},
        {nullptr, "x", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.relative);
        EXPECT_EQ(Std(FolderItemImpUnix::RelativePathToAbsolutePath(Utf8(c.relative), c.base)),
                  c.absolute);
    }
}

}  // namespace
