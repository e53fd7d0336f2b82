// VolumeFixture.h - a fixture with a fresh directory-layer volume over a memory stream,
// and helpers that look at an item's raw bytes and a file's content.
#ifndef ZYNE_TESTS_VIRTUALVOLUME_VOLUME_FIXTURE_H
#define ZYNE_TESTS_VIRTUALVOLUME_VOLUME_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "VolumeTestSupport.h"
#include "virtualvolume/VFile.h"
#include "virtualvolume/VHFSVolume.h"

inline constexpr VFileType kText = 0x54455854;  // "TEXT"

class VolumeFixture : public ::testing::Test {
protected:
    void SetUp() override {
        stream.reset(NewStream());
        volume.reset(VHFSVolume::Create(stream.get(), 0));
        ASSERT_TRUE(volume && volume->IsValid());
        root = volume->GetRoot();
        ASSERT_EQ(root.id, kRootDirectoryIDnum);
    }
    // Raw bytes of an item at block-layer positions [at, at + n).
    Bytes ItemBytes(uint32_t id, double at, size_t n) {
        VFSVolume* blocks = volume->GetBlockVolume();
        Bytes out(n);
        double count = static_cast<double>(n);
        const short f = blocks->OpenFile(id);
        if (f < 0 || !blocks->SetFilePosition(f, at) ||
            !blocks->ReadFileData(f, &count, out.data()))
            count = 0;
        blocks->CloseFile(f);
        out.resize(static_cast<size_t>(count));
        return out;
    }
    void PutLong(uint32_t id, double at, int32_t value) {
        VFSVolume* blocks = volume->GetBlockVolume();
        const short f = blocks->OpenFile(id);
        ASSERT_TRUE(blocks->SetFilePosition(f, at) && blocks->WriteFileLong(f, value));
        blocks->CloseFile(f);
    }
    std::vector<uint32_t> ChildIds(const VFileRef& dir) {
        VFileRefList list;
        std::vector<uint32_t> ids;
        if (volume->GetChildren(dir, list))
            for (long i = 0; i < list.Count(); ++i) ids.push_back(list[i].id);
        return ids;
    }
    std::string Content(const VFileRef& file) {
        std::unique_ptr<VFile> f(volume->OpenFile(file));
        if (!f) return "<none>";
        std::string out(static_cast<size_t>(f->GetLength()), '\0');
        int got = 0;
        f->ReadData(out.data(), static_cast<unsigned>(out.size()), &got);
        out.resize(static_cast<size_t>(got));
        return out;
    }

    std::unique_ptr<FileHandle> stream;
    std::unique_ptr<VHFSVolume> volume;
    VFileRef root;
};

#endif  // ZYNE_TESTS_VIRTUALVOLUME_VOLUME_FIXTURE_H
