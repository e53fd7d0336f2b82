// HostileSupport.h - for the damaged and hostile container tests: where a container's
// structures lie (found by reading its blocks, chains and item tree), every reader run over
// one container's bytes with its results counted, and zqx run as a user runs it.
#ifndef ZYNE_TESTS_VIRTUALVOLUME_HOSTILE_SUPPORT_H
#define ZYNE_TESTS_VIRTUALVOLUME_HOSTILE_SUPPORT_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <bit>
#include <chrono>
#include <cmath>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "../support/RunProgram.h"
#include "ContainerCheck.h"
#include "VolumeTestSupport.h"
#include "virtualvolume/UnixFolderItemImpVirtual.h"
#include "virtualvolume/VFile.h"
#include "virtualvolume/VHFSVolume.h"

namespace hostile {

// ----- Where the structures lie -----

/// One block as its header says.
struct RawBlock {
    size_t start;
    uint32_t fileID;
    uint32_t index;
    double size;
    double next;
};

/// What a byte of the container belongs to; `sized` marks bytes of a count, size, length
/// or offset, which get more than one damaged value.
struct Spot {
    enum Kind { kHeader, kMap, kVolumeInfo, kItem } kind;
    bool sized;
    size_t doubleAt = SIZE_MAX;  // a block-header double this byte is part of
    bool meaningful = true;      // false for what a free block keeps but nobody reads
};

/// A sound container read the way the format is laid out: blocks from offset 8, each
/// file's chain from its first block, the item tree from the root.
class Layout {
public:
    explicit Layout(const Bytes& bytes) : b(bytes) {
        version = static_cast<int32_t>(U32(4, true));
        for (size_t at = 8; at + 32 <= b.size();) {
            RawBlock blk{at, U32(at + 4, true), U32(at + 8, true), Double(at + 12, version != 1),
                         Double(at + 20, version != 1)};
            if (U32(at, true) != 0x426C6B53 || !(blk.size >= 32) || at + blk.size > b.size()) break;
            blocks.push_back(blk);
            at += static_cast<size_t>(blk.size);
        }
    }

    /// Stream offset of position `pos` of file `id`; SIZE_MAX when its chain is shorter.
    size_t Offset(uint32_t id, size_t pos) const {
        const RawBlock* blk = nullptr;
        for (const RawBlock& x : blocks)
            if (x.fileID == id && x.index == 0) {
                blk = &x;
                break;
            }
        for (int hops = 0; blk && hops <= static_cast<int>(blocks.size()); ++hops) {
            const size_t data = static_cast<size_t>(blk->size) - 32;
            if (pos < data) return blk->start + 28 + pos;
            pos -= data;
            const RawBlock* next = nullptr;
            for (const RawBlock& x : blocks)
                if (blk->next > 0 && static_cast<double>(x.start) == blk->next) next = &x;
            blk = next;
        }
        return SIZE_MAX;
    }
    /// The blocks of file `id` in chain order (at most one pass over the blocks).
    std::vector<RawBlock> Chain(uint32_t id) const {
        std::vector<RawBlock> chain;
        const RawBlock* blk = nullptr;
        for (const RawBlock& x : blocks)
            if (x.fileID == id && x.index == 0) {
                blk = &x;
                break;
            }
        while (blk && chain.size() <= blocks.size()) {
            chain.push_back(*blk);
            const RawBlock* next = nullptr;
            for (const RawBlock& x : blocks)
                if (blk->next > 0 && static_cast<double>(x.start) == blk->next) next = &x;
            blk = next;
        }
        return chain;
    }
    size_t DataBytes(uint32_t id) const {
        size_t n = 0;
        for (const RawBlock& x : blocks)
            if (x.fileID == id) n += static_cast<size_t>(x.size) - 32;
        return n;
    }
    uint32_t Item32(uint32_t id, size_t pos) const { return Long(Offset(id, pos), version > 2); }
    uint32_t Map32(size_t pos) const { return Long(Offset(1, pos), true); }

    /// Every byte of the block headers, file 1 (the saved map with it) and the items'
    /// headers and folder lists, each once.
    std::map<size_t, Spot> Spots() const {
        std::map<size_t, Spot> spots;
        auto add = [&](size_t offset, Spot::Kind kind, bool sized) {
            if (offset == SIZE_MAX || offset >= b.size()) return;
            auto [it, fresh] = spots.insert({offset, Spot{kind, sized}});
            if (!fresh && sized) it->second.sized = true;
        };
        for (const RawBlock& x : blocks)
            for (size_t i = 0; i < 28; ++i) {
                add(x.start + i, Spot::kHeader, i >= 12);
                if (i >= 12) spots[x.start + i].doubleAt = x.start + (i < 20 ? 12 : 20);
                // A freed block keeps its index and next block; neither means anything.
                if (x.fileID == 0 && ((i >= 8 && i < 12) || i >= 20))
                    spots[x.start + i].meaningful = false;
            }
        const size_t mapLength = Map32(4);
        for (size_t pos = 0; pos < DataBytes(1); ++pos) {
            const bool inMap = pos >= 8 && pos < 8 + mapLength;
            // Sized: the counter, the map's length, its count and every entry's block start.
            const bool sized = pos < 8 || (inMap && (pos < 16 || (pos - 16) % 12 < 4));
            add(Offset(1, pos), inMap ? Spot::kMap : Spot::kVolumeInfo, sized);
        }
        std::set<uint32_t> seen;
        std::vector<uint32_t> pending{2};
        while (!pending.empty()) {
            const uint32_t id = pending.back();
            pending.pop_back();
            if (!seen.insert(id).second) continue;
            for (size_t pos = 0; pos < 256; ++pos) add(Offset(id, pos), Spot::kItem, pos < 16);
            if (Item32(id, 8) != kDirectoryFileType) continue;
            const uint32_t count = Item32(id, 256);
            for (size_t pos = 256; pos < 260 + 4 * size_t{count}; ++pos)
                add(Offset(id, pos), Spot::kItem, pos < 260);
            for (uint32_t i = 0; i < count; ++i) pending.push_back(Item32(id, 260 + 4 * i));
        }
        return spots;
    }

    /// A block-header double of `bytes` (this layout's byte order) at `at`.
    double HeaderDouble(const Bytes& bytes, size_t at) const {
        uint64_t v = 0;
        for (int i = 0; i < 8; ++i)
            v = v << 8 | bytes[at + static_cast<size_t>(version != 1 ? i : 7 - i)];
        return std::bit_cast<double>(v);
    }

    std::vector<RawBlock> blocks;
    int32_t version = 0;

private:
    uint32_t U32(size_t at, bool be) const { return Long(at, be); }
    uint32_t Long(size_t at, bool be) const {
        if (at == SIZE_MAX || at + 4 > b.size()) return 0;
        const uint8_t* p = b.data() + at;
        return be ? (uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3])
                  : (uint32_t{p[3]} << 24 | uint32_t{p[2]} << 16 | uint32_t{p[1]} << 8 | p[0]);
    }
    double Double(size_t at, bool be) const {
        uint64_t v = 0;
        for (int i = 0; i < 8; ++i) v = v << 8 | b[at + static_cast<size_t>(be ? i : 7 - i)];
        return std::bit_cast<double>(v);
    }

    const Bytes& b;
};

// ----- Every reader over one container -----

/// What the readers made of one container.
struct Outcome {
    bool valid = false;     // the volume opened
    bool hasRoot = false;   // ... and its root is a folder
    bool complete = true;   // every listing and every file read to its stored length
    int items = 0;          // items reached through the directory layer
    int folderItems = 0;    // items reached through the folder items
    uint64_t read = 0;      // content bytes read through VFile
    bool overRead = false;  // some read gave more than the stored length
    size_t problems = 0;    // what the verifier found
    std::string firstProblem;
    uint64_t streamGrowth = 0;  // bytes the volume added to its stream
    double ms = 0;              // time for all of it
    double cpuMs = 0;           // of which this thread ran (the rest: a busy machine)
};

inline double ThreadCpuMs() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
}

/// Reads one file's content to its end; false when it stops short.
inline bool ReadWhole(RandomAccessMechanism* stream, Outcome* o) {
    const unsigned long long length = stream->GetLength();
    static std::vector<uint8_t> buffer(1 << 20);
    unsigned long long done = 0;
    while (done < length) {
        int got = 0;
        const bool ok = stream->ReadData(buffer.data(), static_cast<unsigned>(buffer.size()), &got);
        if (got < 0 || static_cast<unsigned long long>(got) > length - done) o->overRead = true;
        if (got <= 0) return false;
        done += static_cast<unsigned long long>(got);
        o->read += static_cast<unsigned long long>(got);
        if (!ok) return false;
    }
    int got = 0;
    stream->ReadData(buffer.data(), 16, &got);  // at the end: nothing more
    if (got != 0) o->overRead = true;
    return true;
}

/// The directory layer as a careful caller walks it: each item once, every file read.
inline void WalkVolume(VHFSVolume& volume, int budget, Outcome* o) {
    std::set<uint32_t> seen{kRootDirectoryIDnum};
    std::vector<VFileRef> pending{volume.GetRoot()};
    while (!pending.empty() && o->items < budget) {
        const VFileRef dir = pending.back();
        pending.pop_back();
        VFileRefList children;
        if (!volume.GetChildren(dir, children)) {
            o->complete = false;
            continue;
        }
        for (long i = 0; i < children.Count() && o->items < budget; ++i) {
            const VFileRef& child = children[i];
            ++o->items;
            volume.GetParent(child);
            volume.GetFileInfo(child);
            if (child.type == 0 || !seen.insert(child.id).second) {
                o->complete = false;
                continue;
            }
            if (child.type == kDirectoryFileType) {
                pending.push_back(child);
                continue;
            }
            std::unique_ptr<VFile> file(volume.OpenFile(child));
            if (!file || !ReadWhole(file.get(), o)) o->complete = false;
        }
    }
}

/// The folder items as the plug-in loader uses them: children by index, names, paths,
/// types, lengths and contents. Without ids to recognise cycles by, the walk is bounded by
/// `budget` items and a depth of 32.
inline void WalkItems(VHFSVolume& volume, int budget, Outcome* o) {
    struct Level {
        std::unique_ptr<FolderItemImp> item;
        int depth;
    };
    std::vector<Level> pending;
    pending.push_back({std::make_unique<UnixFolderItemImpVirtual>(&volume, volume.GetRoot()), 0});
    while (!pending.empty() && o->folderItems < budget) {
        Level level = std::move(pending.back());
        pending.pop_back();
        const long count = level.item->GetChildCount();
        for (long i = 0; i < count && o->folderItems < budget; ++i) {
            std::unique_ptr<FolderItemImp> child(level.item->GetChildByIndex(i, 0));
            if (!child) continue;
            ++o->folderItems;
            child->GetAbsolutePath();
            child->GetTypeString();
            child->GetModificationDate();
            if (child->IsDirectory()) {
                if (level.depth < 32) pending.push_back({std::move(child), level.depth + 1});
                continue;
            }
            const unsigned long long length = child->GetLength();
            std::unique_ptr<RandomAccessMechanism> stream(child->OpenFile(1, 0));
            if (stream && stream->GetLength() > length)
                o->overRead = true;  // the stream claims more than the item's length
            if (!stream) continue;
            // The directory walk reads whole files; here the start is enough.
            static std::vector<uint8_t> head(64 * 1024);
            int got = 0;
            stream->ReadData(head.data(), static_cast<unsigned>(head.size()), &got);
            if (got < 0 || static_cast<unsigned long long>(got) > stream->GetLength())
                o->overRead = true;
        }
    }
}

/// The verifier, the directory layer and the folder items over `bytes`. `budget` bounds
/// the items each walk visits.
inline Outcome Exercise(const Bytes& bytes, int budget) {
    const auto begin = std::chrono::steady_clock::now();
    const double cpuBegin = ThreadCpuMs();
    Outcome o;
    const zqx::CheckReport report = zqx::CheckContainer(bytes.data(), bytes.size());
    o.problems = report.problems.size();
    if (!report.problems.empty()) o.firstProblem = report.problems[0].message;
    {
        std::unique_ptr<FileHandle> stream(NewStream(bytes));
        {
            VHFSVolume volume(stream.get(), 0);
            o.valid = volume.IsValid();
            o.hasRoot = volume.GetRoot().type == kDirectoryFileType;
            if (o.hasRoot) {
                WalkVolume(volume, budget, &o);
                WalkItems(volume, budget, &o);
            }
        }
        const unsigned long long after = stream->GetLength();
        o.streamGrowth = after > bytes.size() ? after - bytes.size() : 0;
    }
    o.ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
    o.cpuMs = ThreadCpuMs() - cpuBegin;
    return o;
}

// ----- zqx as a user runs it -----

using Run = testsupport::ProgramRun;

inline std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteBytes(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

/// Runs zqx with `args`, HOME and TMPDIR set to `home`, killed after `seconds`.
inline Run Zqx(const std::string& home, const std::vector<std::string>& args, int seconds = 20) {
    std::vector<std::string> command{ZQX_BINARY};
    command.insert(command.end(), args.begin(), args.end());
    return testsupport::RunProgram(command, {home, "", {}, seconds});
}

}  // namespace hostile

#endif  // ZYNE_TESTS_VIRTUALVOLUME_HOSTILE_SUPPORT_H
