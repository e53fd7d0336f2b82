// CorruptionSweepTest.cpp - every byte of a container's structures damaged, one at a time.
//
// Five sound containers: the three sample plug-ins as built, a many-files nested one and a
// version 1 one of 1 KiB blocks. Their block headers, file 1 (with the saved map) and the
// items' headers and folder lists are found by reading the format; each of those bytes is
// inverted in turn; bytes of counts, sizes, lengths and offsets also get their lowest and
// highest bit flipped (off by one, sign and magnitude). Every variant goes through the
// verifier, the directory layer and the folder items: it opens or is refused, never
// crashes, reads no more than the stored lengths, stays within the time bound, and
// whatever the verifier calls clean reads back whole.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "HostileSupport.h"
#include "streams/FileHandle.h"

namespace {

using hostile::Exercise;
using hostile::Layout;
using hostile::Outcome;
using hostile::Spot;

constexpr double kVariantLimitMs = 1000.0;  // generous: shared machines, sanitizer builds

Bytes ReadContainer(const std::string& name) {
    const std::string text = hostile::ReadText(std::string(ZYNE_GUESTS_DIR) + "/" + name);
    return Bytes(text.begin(), text.end());
}

void Write(VHFSVolume& volume, const VFileRef& file, size_t size, uint8_t seed) {
    std::unique_ptr<VFile> f(volume.OpenFile(file));
    ASSERT_TRUE(f);
    std::string data(size, '\0');
    for (size_t i = 0; i < size; ++i) data[i] = static_cast<char>(seed + i * 31);
    if (size) {
        ASSERT_TRUE(f->WriteData(data.data(), static_cast<unsigned>(size)));
    }
}

// Folders three deep with files of every size class (empty, inside one block, several
// blocks), and a deleted file whose blocks are free.
void Populate(VHFSVolume& volume) {
    const VFileRef root = volume.GetRoot();
    const size_t sizes[] = {0, 17, 2500};
    int n = 0;
    for (const char* top : {"Build Resources", "IDE Resources"}) {
        const VFileRef a = volume.CreateDirectory(root, top);
        for (const char* mid : {"one"}) {
            const VFileRef b = volume.CreateDirectory(a, mid);
            const VFileRef c = volume.CreateDirectory(b, "deep");
            for (const VFileRef& dir : {b, c})
                for (size_t size : sizes) {
                    const std::string name = "f" + std::to_string(n++);
                    Write(volume, volume.CreateFile(dir, name.c_str(), 0x54455854), size,
                          static_cast<uint8_t>(n));
                }
        }
    }
    const VFileRef gone = volume.CreateFile(root, "gone", 0x54455854);
    Write(volume, gone, 3000, 7);
    volume.DeleteFile(gone);
}

Bytes NestedContainer() {
    std::unique_ptr<FileHandle> stream(NewStream());
    {
        std::unique_ptr<VHFSVolume> volume(VHFSVolume::Create(stream.get(), 0));
        Populate(*volume);
    }
    return AllBytes(*stream);
}

// A version 1 volume: block-header doubles and item values little-endian, 1 KiB blocks.
Bytes VersionOneContainer() {
    ByteBuilder b;
    b.Raw("VFSv", 4), b.Be32(1);
    b.Raw("BlkS", 4), b.Be32(1), b.Be32(0), b.LeDouble(40.0), b.LeDouble(0.0);
    b.Be32(3), b.Be32(0), b.Raw("BlkE", 4);
    b.Raw("BlkS", 4), b.Be32(2), b.Be32(0), b.LeDouble(1024.0), b.LeDouble(0.0);
    b.LeDouble(4.0), b.Le32(kDirectoryFileType), b.Le32(0), b.LeDouble(1.0), b.LeDouble(1.0);
    Bytes name(224, 0);
    name[0] = '/';
    b.Raw(name.data(), name.size());
    b.Le32(0);
    b.Zeros(1024 - 32 - 260);
    b.Raw("BlkE", 4);
    std::unique_ptr<FileHandle> stream(NewStream(b.bytes));
    {
        VHFSVolume volume(stream.get(), 0);
        EXPECT_EQ(volume.GetBlockVolume()->GetVersion(), 1);
        Populate(volume);
    }
    return AllBytes(*stream);
}

struct Container {
    const char* name;
    Bytes (*make)();
};

class CorruptionSweep : public ::testing::TestWithParam<Container> {};

TEST_P(CorruptionSweep, EveryDamagedByteOpensBoundedOrIsRefused) {
    const Bytes sound = GetParam().make();
    ASSERT_GT(sound.size(), 8u);
    const Layout layout(sound);
    const std::map<size_t, Spot> spots = layout.Spots();
    ASSERT_GT(spots.size(), 200u);

    // The sound container itself: clean, and every item reads back.
    const Outcome base = Exercise(sound, 1 << 20);
    ASSERT_EQ(base.problems, 0u) << base.firstProblem;
    ASSERT_TRUE(base.valid && base.hasRoot && base.complete);
    ASSERT_GT(base.items, 5);
    ASSERT_EQ(base.folderItems, base.items);
    const int budget = 2 * base.items + 16;

    size_t variants = 0, refused = 0, damaged = 0;
    double slowest = 0, slowestCpu = 0, totalCpu = 0;
    std::string slowestAt;
    Bytes bytes = sound;
    for (const auto& [offset, spot] : spots) {
        std::vector<uint8_t> values{static_cast<uint8_t>(sound[offset] ^ 0xFF)};
        if (spot.sized) {
            values.push_back(static_cast<uint8_t>(sound[offset] ^ 0x01));
            values.push_back(static_cast<uint8_t>(sound[offset] ^ 0x80));
        }
        for (uint8_t value : values) {
            bytes[offset] = value;
            const Outcome o = Exercise(bytes, budget);
            const bool sameNumber =
                spot.doubleAt != SIZE_MAX && layout.HeaderDouble(sound, spot.doubleAt) ==
                                                 layout.HeaderDouble(bytes, spot.doubleAt);
            bytes[offset] = sound[offset];
            ++variants;
            const std::string at = "offset " + std::to_string(offset) + " = " +
                                   std::to_string(value) + " (kind " +
                                   std::to_string(static_cast<int>(spot.kind)) + ")";
            if (o.ms > slowest) slowest = o.ms, slowestAt = at;
            slowestCpu = std::max(slowestCpu, o.cpuMs);
            totalCpu += o.cpuMs;
            if (!o.valid || !o.hasRoot) ++refused;
            if (o.problems) ++damaged;
            EXPECT_LT(o.ms, kVariantLimitMs) << at;
            EXPECT_FALSE(o.overRead) << at << ": a read went past the stored length";
            EXPECT_LE(o.streamGrowth, 64u * 1024) << at;
            EXPECT_LE(o.items, budget) << at;
            // A damaged block header is always seen by the verifier (-0.0 for 0.0 is no
            // damage: the same number).
            if (spot.kind == Spot::kHeader && spot.meaningful && !sameNumber) {
                EXPECT_GT(o.problems, 0u) << at;
            }
            // What the verifier passes, the readers read whole.
            if (o.problems == 0) {
                EXPECT_TRUE(o.valid && o.hasRoot) << at;
                EXPECT_TRUE(o.complete) << at;
                EXPECT_EQ(o.items, base.items) << at;
                EXPECT_EQ(o.folderItems, base.items) << at;
            }
            if (::testing::UnitTest::GetInstance()
                    ->current_test_info()
                    ->result()
                    ->total_part_count() > 20)
                return;  // enough to go on; the rest would repeat it
        }
    }
    printf(
        "%s: %zu bytes, %zu spots, %zu variants (%zu refused, %zu seen as damaged); "
        "slowest %.2f ms at %s; CPU time per variant: slowest %.2f ms, mean %.3f ms\n",
        GetParam().name, sound.size(), spots.size(), variants, refused, damaged, slowest,
        slowestAt.c_str(), slowestCpu, variants ? totalCpu / static_cast<double>(variants) : 0.0);
    RecordProperty("slowest_ms", std::to_string(slowest));
}

INSTANTIATE_TEST_SUITE_P(
    Containers, CorruptionSweep,
    ::testing::Values(Container{"Widgets", [] { return ReadContainer("Widgets.zqx"); }},
                      Container{"Tools", [] { return ReadContainer("Tools.zqx"); }},
                      Container{"Legacy", [] { return ReadContainer("Legacy.zqx"); }},
                      Container{"Nested", NestedContainer},
                      Container{"VersionOne", VersionOneContainer}),
    [](const ::testing::TestParamInfo<Container>& info) { return std::string(info.param.name); });

}  // namespace
