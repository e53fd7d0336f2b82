// volume_fuzzer.cpp - opens a virtual volume from the input and reads everything in it.
//
// The bytes are read through a read-only memory stream set up as the loader sets up a
// container's stream (big-endian, doubles swapped), so nothing is ever written: the
// volume's attempts to save its block map are refused by the stream. Three walks follow,
// each bounded in items, depth and bytes: every block-layer file the map lists, read to
// the end of its chain; the directory layer from the root; and the folder items the
// loader uses, with names, types, lengths, parents and every file's content.
#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "files/FolderItemImp.h"
#include "streams/FilePtr.h"
#include "virtualvolume/UnixFolderItemImpVirtual.h"
#include "virtualvolume/VFSVolume.h"
#include "virtualvolume/VHFSVolume.h"

namespace {

constexpr size_t kMaxItems = 4096;        // items visited per walk
constexpr size_t kMaxQueued = 16384;      // items queued per walk, repeats included
constexpr long kMaxDepth = 64;            // folders below the root
constexpr double kMaxFileBytes = 1 << 20;  // bytes read from one file
constexpr uint32_t kMaxBlockFiles = 1024;  // block-layer files read

void ReadStream(RandomAccessMechanism* stream) {
    if (stream == nullptr) return;
    unsigned char buffer[4096];
    double total = 0;
    (void)stream->GetLength();
    while (total < kMaxFileBytes && !stream->IsEOF()) {
        int actual = 0;
        if (!stream->ReadData(buffer, sizeof buffer, &actual) || actual <= 0) break;
        total += actual;
    }
    stream->Close();
    delete stream;
}

// Every file the block map names, read through the block layer.
void WalkBlockFiles(VFSVolume* blocks) {
    if (blocks == nullptr || !blocks->IsValid()) return;
    std::set<uint32_t> ids;
    const BlockMap& map = blocks->GetBlockMap();
    for (uint32_t i = 0; i < map.Count() && ids.size() < kMaxBlockFiles; ++i) {
        if (map.EntryAt(i).fileID != 0) ids.insert(map.EntryAt(i).fileID);
    }
    std::vector<unsigned char> buffer(4096);
    for (uint32_t id : ids) {
        const short file = blocks->OpenFile(id);
        if (file < 0) continue;
        double total = 0;
        while (total < kMaxFileBytes) {
            double count = static_cast<double>(buffer.size());
            const bool ok = blocks->ReadFileData(file, &count, buffer.data());
            total += count;
            if (!ok || count <= 0) break;
        }
        blocks->CloseFile(file);
    }
}

// The directory layer, from the root, each item once.
void WalkDirectories(VHFSVolume& volume) {
    struct Pending {
        VFileRef ref;
        long depth;
    };
    std::vector<Pending> stack{{volume.GetRoot(), 0}};
    std::set<uint32_t> seen;
    size_t queued = 1;
    while (!stack.empty() && seen.size() < kMaxItems) {
        Pending item = stack.back();
        stack.pop_back();
        if (item.ref.id == 0 || !seen.insert(item.ref.id).second) continue;
        (void)volume.GetFileInfo(item.ref);
        (void)volume.GetParent(item.ref);
        if (item.ref.type != kDirectoryFileType) {
            ReadStream(volume.OpenFile(item.ref));
            continue;
        }
        if (item.depth >= kMaxDepth) continue;
        VFileRefList children;
        if (!volume.GetChildren(item.ref, children)) continue;
        for (long i = 0; i < children.Count() && queued < kMaxQueued; ++i, ++queued) {
            stack.push_back({children[i], item.depth + 1});
        }
    }
}

// The folder items over the volume, as the loader walks a container.
void WalkFolderItems(VHFSVolume* volume) {
    auto* root = new UnixFolderItemImpVirtual(volume, volume->GetRoot());
    struct Pending {
        FolderItemImp* item;
        long depth;
    };
    std::vector<Pending> stack{{root, 0}};
    std::set<uint32_t> seen;
    size_t visited = 0;
    size_t queued = 1;
    while (!stack.empty()) {
        Pending next = stack.back();
        stack.pop_back();
        auto* item = static_cast<UnixFolderItemImpVirtual*>(next.item);
        const uint32_t id = item->FileRef().id;
        if (visited < kMaxItems && id != 0 && seen.insert(id).second) {
            ++visited;
            (void)item->GetName();
            (void)item->GetTypeString();
            (void)item->GetFourCharType();
            (void)item->GetLength();
            (void)item->GetDirID();
            (void)item->GetCreationDate();
            (void)item->GetAbsolutePath();
            delete item->GetParent();
            if (item->IsDirectory()) {
                const long count = item->GetChildCount();
                for (long i = 0; next.depth < kMaxDepth && i < count && queued < kMaxQueued; ++i) {
                    FolderItemImp* child = item->GetChildByIndex(i, 0);
                    if (child == nullptr) continue;
                    stack.push_back({child, next.depth + 1});
                    ++queued;
                }
            } else {
                ReadStream(item->OpenFile(1, 0));
            }
        }
        delete item;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 0x7FFFFFFF) return 0;
    auto* stream = new FilePtr;
    stream->Open(reinterpret_cast<const char*>(data), static_cast<int>(size));
    stream->SetBigEndian();
    stream->SetSwapDoubles(true);
    VHFSVolume volume(stream, 1);  // owns the stream
    if (!volume.IsValid()) return 0;
    WalkBlockFiles(volume.GetBlockVolume());
    WalkDirectories(volume);
    WalkFolderItems(&volume);
    return 0;
}
