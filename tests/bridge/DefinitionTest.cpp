// DefinitionTest.cpp - a plug-in record's libraries, palette icons and class data sizes,
// read from containers that the zqx tool builds at test time.
// Libraries go through the real bridge's PluginDefinition; icons and class data sizes have
// no host-visible caller yet, so they run in the probe's copy of the same code.
#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../support/RunProgram.h"
#include "../support/TempHome.h"
#include "BridgeProbe.h"
#include "ReferenceHost.h"

namespace {

using testsupport::TempFolder;
using zyne::host::ReferenceHost;

// ----- Probe ------------------------------------------------------------------------------

// A probe function by name. The probe is loaded once and never unloaded: records it made
// may be destroyed by the bridge later.
template <class F>
F Probe(const char* name) {
    static void* handle = dlopen(ZYNE_BRIDGE_PROBE_PATH, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        ADD_FAILURE() << dlerror();
        std::abort();
    }
    return reinterpret_cast<F>(dlsym(handle, name));
}
void* NewRecord(unsigned flags) {
    return Probe<void* (*)(unsigned)>("ProbeNewDefinition")(flags);
}
void SetLibraryFile(void* record, const std::string& path, int sourceKind) {
    Probe<void (*)(void*, const char*, int, bool)>("ProbeSetLibraryFile")(record, path.c_str(),
                                                                          sourceKind, false);
}
void SetContainerFile(void* record, const std::string& path, unsigned index) {
    Probe<void (*)(void*, const char*, unsigned)>("ProbeSetContainerFile")(record, path.c_str(),
                                                                           index);
}
void AddClass(void* record, ZYNEclassDefinition* c) {
    Probe<void (*)(void*, int, long, void*)>("ProbeAppendItems")(record, 0, 1, c);
    Probe<void (*)(const char*, void*)>("ProbeOwnClass")(c->name, record);
}
long ClassDataSize(const char* name) {
    return Probe<long (*)(const char*)>("ProbeClassDataSize")(name);
}
ZYNEobject ControlIcon(void* record, ZYNEcontrol* control, bool mask) {
    return static_cast<ZYNEobject>(
        Probe<void* (*)(void*, void*, bool)>("ProbeControlIcon")(record, control, mask));
}

// Record flag bits for ProbeNewDefinition: Carbon, Classic, Linux, Mach-O, Universal, Win32,
// Cocoa.
constexpr unsigned kAllTargets = 0x7F;
constexpr unsigned kMachOOnly = 1U << 3;
constexpr unsigned kWin32Only = 1U << 5;

// ----- Disk and tool helpers --------------------------------------------------------------

// Writes `bytes` at `path`, making the folders on the way.
void WriteFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

// A container `name` in `folder` holding `files` (path inside the container -> bytes; the
// first path component is a top-level member). Members are stored in sorted name order.
std::string MakeContainer(const TempFolder& folder, const std::string& name,
                          const std::map<std::string, std::string>& files) {
    const std::string staging = folder / (name + ".contents");
    std::vector<std::string> args{DEFS_ZQX_TOOL, "create", folder / name};
    std::string lastTop;
    for (const auto& [path, bytes] : files) {
        WriteFile(staging + "/" + path, bytes);
        const std::string top = path.substr(0, path.find('/'));
        if (top != lastTop) args.push_back(staging + "/" + top);
        lastTop = top;
    }
    EXPECT_EQ(testsupport::RunProgram(args).status, 0) << "zqx create " << name;
    return folder / name;
}

// A 24-bit bitmap `width` x 1 of one colour (0xRRGGBB).
std::string SolidBmp(int width, unsigned rgb = 0x808080) {
    std::string b(54 + (width * 3 + 3) / 4 * 4, '\0');
    auto put32 = [&](size_t at, unsigned v) {
        for (int i = 0; i < 4; ++i) b[at + i] = static_cast<char>(v >> (8 * i));
    };
    b[0] = 'B', b[1] = 'M', b[26] = 1, b[28] = 24;
    put32(10, 54), put32(14, 40), put32(18, static_cast<unsigned>(width)), put32(22, 1);
    for (int x = 0; x < 3 * width; ++x) b[54 + x] = static_cast<char>(rgb >> (8 * (x % 3)));
    return b;
}

// ----- Fixture ----------------------------------------------------------------------------

class DefinitionTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(host_.Load()) << host_.Error();
        Probe<void (*)(void*)>("ProbeUseResolver")(
            reinterpret_cast<void*>(ReferenceHost::Resolver()));
    }
    void TearDown() override { EXPECT_TRUE(host_.Faults().empty()) << host_.Faults().front(); }

    // A container record (flags as ProbeNewDefinition) for `container` at `index`.
    void* ContainerRecord(unsigned flags, const std::string& container, unsigned index) {
        void* record = NewRecord(flags);
        SetContainerFile(record, container, index);
        return record;
    }
    // A host PluginDefinition object showing `record` (whose one reference it takes over).
    ZYNEobject DefinitionObject(void* record) {
        ZYNEobject object = host_.NewInstance("PluginDefinition");
        EXPECT_NE(object, nullptr);
        const ZYNEclassDefinition* cls = host_.ClassOf(object);
        *reinterpret_cast<void**>(reinterpret_cast<char*>(object) + cls->dataOffset) = record;
        return object;
    }
    // The text of a host string the caller owned ("<nil>" for nil), released.
    std::string Take(ZYNEstring string) {
        if (string == nullptr) return "<nil>";
        std::string text = ReferenceHost::Text(string);
        host_.Unlock(string);
        return text;
    }
    std::string Library(ZYNEobject definition, long target) {
        return Take(host_.Call<ZYNEstring>(definition, "GetLibrary", target));
    }
    std::string LibraryName(ZYNEobject definition, long target) {
        return Take(host_.Call<ZYNEstring>(definition, "GetLibraryName", target));
    }
    // The width of the icon GetControlIcon answers (0 for nil), the picture released.
    long IconWidth(void* record, long number, bool mask) {
        ZYNEcontrol control{};
        control.toolbarPicture = number;
        ZYNEobject picture = ControlIcon(record, &control, mask);
        if (picture == nullptr) return 0;
        const auto kept = host_.PictureOf(picture);
        EXPECT_TRUE(kept.has_value());
        host_.Unlock(picture);
        return kept ? kept->width : -1;
    }

    testsupport::PrivateHome home_;  // nothing here may touch the real home
    TempFolder files_;
    ReferenceHost host_;
};

// ----- Libraries --------------------------------------------------------------------------

TEST_F(DefinitionTest, EachTargetReadsItsOwnFolderAndLinuxBytesComeFromTheExtractedFile) {
    const struct {
        long target;
        const char* folder;
    } targets[] = {{0, "Mac Classic"},       {1, "Windows"},   {2, "Mac Carbon"},
                   {3, "Mac Carbon Mach-O"}, {5, "Mac Cocoa"}, {6, "Mac Carbon Mach-O Universal"},
                   {4, "Linux X86"}};
    std::map<std::string, std::string> contents;
    for (const auto& t : targets) {
        for (int i = 0; i < 2; ++i) {
            const std::string name = "lib" + std::to_string(t.target) + "-" + std::to_string(i);
            contents["Fam/Build Resources/" + std::string(t.folder) + "/" + name] =
                "bytes of " + name;
        }
    }
    const std::string container = MakeContainer(files_, "All.zqx", contents);
    const std::string extracted = files_ / "1lib4-1";
    WriteFile(extracted, "the extracted copy");
    void* record = NewRecord(kAllTargets);
    SetLibraryFile(record, extracted, 2);
    SetContainerFile(record, container, 1);
    ZYNEobject definition = DefinitionObject(record);

    for (const auto& t : targets) {
        SCOPED_TRACE(t.folder);
        const std::string name = "lib" + std::to_string(t.target) + "-1";
        EXPECT_EQ(LibraryName(definition, t.target), name);
        EXPECT_EQ(Library(definition, t.target),
                  t.target == 4 ? "the extracted copy" : "bytes of " + name);
    }
    for (long target : {-1L, 7L}) {
        EXPECT_EQ(Library(definition, target), "<nil>");
        EXPECT_EQ(LibraryName(definition, target), "<nil>");
    }
    host_.Unlock(definition);

    // Mach-O Universal: the bytes test their own flag, the name only the Mach-O one.
    definition = DefinitionObject(ContainerRecord(kMachOOnly, container, 1));
    EXPECT_EQ(Library(definition, 6), "<nil>");
    EXPECT_EQ(LibraryName(definition, 6), "lib6-1");
    host_.Unlock(definition);
}

TEST_F(DefinitionTest, FirstFamilyWithALibraryAtTheIndexAnswers) {
    // Sorted order is index order: the members before "3 short" are each skipped.
    const std::string container =
        MakeContainer(files_, "Families.zqx",
                      {
                          {"0 plain file", "not a folder"},
                          {"1 no build/IDE Resources/readme", "x"},
                          {"2 build is a file/Build Resources", "x"},
                          {"3 short/Build Resources/Windows/a0.dll", "a0"},
                          {"4 long/Build Resources/Windows/b0.dll", "b0"},
                          {"4 long/Build Resources/Windows/b1.dll", "b1"},
                          {"5 later/Build Resources/Windows/c0.dll", "c0"},
                          {"5 later/Build Resources/Windows/c1.dll", "c1"},
                      });
    const struct {
        unsigned index;
        const char* bytes;
        const char* name;
    } rows[] = {{0, "a0", "a0.dll"}, {1, "b1", "b1.dll"}, {2, "<nil>", "<nil>"}};
    for (const auto& row : rows) {
        ZYNEobject definition = DefinitionObject(ContainerRecord(kWin32Only, container, row.index));
        EXPECT_EQ(Library(definition, 1), row.bytes) << "index " << row.index;
        EXPECT_EQ(LibraryName(definition, 1), row.name) << "index " << row.index;
        host_.Unlock(definition);
    }
}

TEST_F(DefinitionTest, ContainerRecordsAnswerNilWhenNothingCanBeRead) {
    const std::string good = MakeContainer(files_, "Good.zqx",
                                           {
                                               {"Fam/Build Resources/Windows/w0.dll", "w0"},
                                               {"Fam/Build Resources/Linux X86/l0.so", "l0"},
                                           });
    const std::string garbage = files_ / "Garbage.zqx";
    WriteFile(garbage, std::string(300, 'g'));
    const struct {
        const char* name;
        std::string container;
        unsigned flags;
        long target;
    } rows[] = {
        {"missing container", files_ / "Missing.zqx", kWin32Only, 1},
        {"not a volume", garbage, kWin32Only, 1},
        {"flag not set", good, kMachOOnly, 1},
        // Linux bytes come only from the extracted file, which this record never had.
        {"Linux without an extracted file", good, kAllTargets, 4},
    };
    for (const auto& row : rows) {
        ZYNEobject definition = DefinitionObject(ContainerRecord(row.flags, row.container, 0));
        EXPECT_EQ(Library(definition, row.target), "<nil>") << row.name;
        if (row.target != 4) {
            EXPECT_EQ(LibraryName(definition, row.target), "<nil>") << row.name;
        }
        host_.Unlock(definition);
    }
    // A record from a resource answers nil whatever it holds.
    void* resource = NewRecord(kAllTargets);
    SetLibraryFile(resource, good, 1);
    ZYNEobject definition = DefinitionObject(resource);
    for (long target : {1L, 4L}) {
        EXPECT_EQ(Library(definition, target), "<nil>");
        EXPECT_EQ(LibraryName(definition, target), "<nil>");
    }
    host_.Unlock(definition);
    EXPECT_EQ(host_.LiveStrings(), 0U);
}

// ----- Control icons ----------------------------------------------------------------------

TEST_F(DefinitionTest, IconFileNamesInOrderOfPreference) {
    // Widths tell the files apart: 7-small 1, 7-smallmask 2, 7 3, 7mask 4.
    const std::map<std::string, std::string> all = {{"7-small.bmp", SolidBmp(1)},
                                                    {"7-smallmask.bmp", SolidBmp(2)},
                                                    {"7.bmp", SolidBmp(3)},
                                                    {"7mask.bmp", SolidBmp(4)}};
    const struct {
        const char* name;
        std::vector<std::string> present;
        long icon, mask;
    } rows[] = {
        {"all four", {"7-small.bmp", "7-smallmask.bmp", "7.bmp", "7mask.bmp"}, 1, 2},
        {"large ones only", {"7.bmp", "7mask.bmp"}, 3, 4},
        {"small icon, large mask", {"7-small.bmp", "7mask.bmp"}, 1, 4},
        {"no mask at all", {"7-small.bmp", "7.bmp"}, 1, 0},
        {"none", {}, 0, 0},
    };
    int n = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::map<std::string, std::string> files = {
            {"Fam/IDE Resources/Controls Palette/8.bmp", SolidBmp(9)}};
        for (const std::string& name : row.present)
            files["Fam/IDE Resources/Controls Palette/" + name] = all.at(name);
        void* record = ContainerRecord(
            0, MakeContainer(files_, "Icons" + std::to_string(n++) + ".zqx", files), 0);
        EXPECT_EQ(IconWidth(record, 7, false), row.icon);
        EXPECT_EQ(IconWidth(record, 7, true), row.mask);
        ZYNEobject owner = DefinitionObject(record);  // frees the record with the object
        host_.Unlock(owner);
    }
}

TEST_F(DefinitionTest, IconSearchWalksFamiliesAndFallsBackFromBadFiles) {
    const std::string container = MakeContainer(
        files_, "Walk.zqx",
        {
            {"A/IDE Resources/Controls Palette/3.bmp", SolidBmp(1)},
            // B: the small icon is not a bitmap; the large one answers before C is looked at.
            {"B/IDE Resources/Controls Palette/7-small.bmp", "not a bitmap"},
            {"B/IDE Resources/Controls Palette/7.bmp", SolidBmp(5)},
            {"C/IDE Resources/Controls Palette/7-small.bmp", SolidBmp(6)},
            // The "Linux x86" child is preferred; a bad file there falls back to the folder's.
            {"C/IDE Resources/Controls Palette/Linux x86/12-small.bmp", SolidBmp(8)},
            {"C/IDE Resources/Controls Palette/12-small.bmp", SolidBmp(2)},
            {"C/IDE Resources/Controls Palette/Linux x86/13-small.bmp", "BMtruncated"},
            {"C/IDE Resources/Controls Palette/13-small.bmp", SolidBmp(3)},
        });
    void* record = ContainerRecord(0, container, 0);
    EXPECT_EQ(IconWidth(record, 3, false), 1);
    EXPECT_EQ(IconWidth(record, 7, false), 5);
    EXPECT_EQ(IconWidth(record, 12, false), 8);
    EXPECT_EQ(IconWidth(record, 13, false), 3);
    EXPECT_EQ(IconWidth(record, 99, false), 0);
    ZYNEobject owner = DefinitionObject(record);
    host_.Unlock(owner);
    EXPECT_EQ(host_.LiveObjects(), 0U);
}

TEST_F(DefinitionTest, IconPixelsReachTheHostTopRowFirst) {
    // 1 x 2, bottom-up: the stored first row (blue) is the bottom one.
    std::string bmp = SolidBmp(1, 0x0000FF);
    bmp.append(std::string("\0\0\xFF\0", 4));  // the top row: red
    bmp[22] = 2;
    const std::string container = MakeContainer(
        files_, "Pixels.zqx", {{"Fam/IDE Resources/Controls Palette/1-small.bmp", bmp}});
    void* record = ContainerRecord(0, container, 0);
    ZYNEcontrol control{};
    control.toolbarPicture = 1;
    host_.ClearLog();
    ZYNEobject picture = ControlIcon(record, &control, false);
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(host_.Count("ZYNEBuildPictureFromBuffer(1, 2, 1, ptr, 4)"), 1U);
    const auto kept = host_.PictureOf(picture);
    ASSERT_TRUE(kept.has_value());
    EXPECT_EQ(kept->height, 2);
    EXPECT_EQ(kept->rgba, (std::vector<unsigned char>{0xFF, 0, 0, 0xFF, 0, 0, 0xFF, 0xFF}));
    host_.Unlock(picture);
    host_.Unlock(DefinitionObject(record));
}

TEST_F(DefinitionTest, OnlyContainerRecordsWithAControlHaveIcons) {
    const std::string container = MakeContainer(
        files_, "Bare.zqx", {{"Fam/IDE Resources/Controls Palette/1-small.bmp", SolidBmp(1)}});
    // A bare library's record, even one that names a container, has no icons.
    void* bare = NewRecord(kAllTargets);
    SetContainerFile(bare, container, 0);
    SetLibraryFile(bare, files_ / "libbare.so", 0);
    EXPECT_EQ(IconWidth(bare, 1, false), 0);
    host_.Unlock(DefinitionObject(bare));

    void* record = ContainerRecord(0, container, 0);
    EXPECT_EQ(IconWidth(record, 1, false), 1) << "the same container answers a container record";
    EXPECT_EQ(ControlIcon(record, nullptr, false), nullptr);
    host_.Unlock(DefinitionObject(record));
    EXPECT_EQ(host_.LiveObjects(), 0U);
}

// ----- Class data sizes -------------------------------------------------------------------

ZYNEclassDefinition ClassRecord(const char* name, const char* superName, long dataSize) {
    ZYNEclassDefinition record{};
    record.version = 9;
    record.name = name;
    record.superName = superName;
    record.dataSize = dataSize;
    return record;
}

TEST_F(DefinitionTest, PluginClassChainsAddEveryDeclaredSize) {
    static ZYNEclassDefinition classes[] = {
        ClassRecord("DefsBase", nullptr, 12), ClassRecord("DefsMid", "DefsBase", 8),
        ClassRecord("DefsLeaf", "DefsMid", 4), ClassRecord("DefsLoop", "DefsLoop", 1)};
    void* record = NewRecord(0);
    for (ZYNEclassDefinition& c : classes) AddClass(record, &c);
    Probe<void (*)(const char*, void*)>("ProbeOwnClass")("DefsGhost", record);  // no class
    const struct {
        const char* name;
        long size;
    } rows[] = {{"DefsBase", 12}, {"DefsMid", 20}, {"DefsLeaf", 24}, {"defsleaf", 24},
                {"DefsGhost", 0}, {"", 0},         {nullptr, 0},     {"DefsLoop", 64}};
    for (const auto& row : rows) EXPECT_EQ(ClassDataSize(row.name), row.size) << row.name;
    Probe<void (*)(void*)>("ProbeReleaseDefinition")(record);
    EXPECT_EQ(ClassDataSize("DefsBase"), 0) << "a destroyed record's owner entry must not dangle";
}

TEST_F(DefinitionTest, HostClassSizeIsItsInstanceSizeLessTheHeader) {
    static ZYNEclassDefinition hostClass = ClassRecord("DefsHostThing", nullptr, 20);
    host_.Service<void (*)(ZYNEclassDefinition*)>("PluginRegisterClass")(&hostClass);
    // The bridge reads the size from the first word of the host's record of the class.
    if (*reinterpret_cast<const long*>(host_.FindClass("DefsHostThing")) !=
        host_.InstanceSize("DefsHostThing"))
        GTEST_SKIP() << "this reference host does not keep the instance size first";
    static ZYNEclassDefinition sub = ClassRecord("DefsOnHost", "DefsHostThing", 8);
    void* record = NewRecord(0);
    AddClass(record, &sub);
    EXPECT_EQ(ClassDataSize("DefsHostThing"), 20);
    EXPECT_EQ(ClassDataSize("DefsOnHost"), 28);
    EXPECT_EQ(ClassDataSize("DefsNoSuchClass"), 0);
    EXPECT_EQ(host_.LiveObjects(), 0U) << "the instance made to measure is released";
    Probe<void (*)(void*)>("ProbeReleaseDefinition")(record);
}

}  // namespace
