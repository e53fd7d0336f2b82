// ContainerCheck.cpp - the raw walk over blocks, chains, the saved map and the item tree.
//
// Byte order follows the volume's version: block-header doubles are big-endian except in
// version 1, item headers and directory lists big-endian only from version 3, the saved map
// and its length always big-endian.
#include "ContainerCheck.h"

#include <cmath>
#include <cstring>
#include <map>
#include <set>

#include "Archive.h"

namespace zqx {

namespace {

constexpr uint32_t kVolumeMagicValue = 0x56465376;  // "VFSv"
constexpr uint32_t kBlkS = 0x426C6B53;
constexpr uint32_t kBlkE = 0x426C6B45;
constexpr uint32_t kBMap = 0x424D6170;
constexpr uint32_t kFold = 0x666F6C64;
constexpr uint32_t kTemp = 0x74656D70;
constexpr uint32_t kRootID = 2;
constexpr uint64_t kHeader = 28;
constexpr uint64_t kOverhead = 32;

struct Block {
    uint64_t start;
    uint32_t fileID;
    uint32_t index;
    uint64_t size;
    double next;
    bool reached = false;
};

std::string Dec(uint64_t v) {
    char text[32];
    snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(v));
    return text;
}

std::string Num(double v) {
    char text[64];
    snprintf(text, sizeof text, "%.17g", v);
    return text;
}

bool IsWhole(double v) {
    return std::isfinite(v) && v >= 0.0 && v == std::floor(v);
}

class Checker {
public:
    Checker(const unsigned char* bytes, size_t size) : b(bytes), n(size) {}

    CheckReport Run() {
        if (!Volume()) return r;
        Blocks();
        if (blocks.empty()) return r;
        Chains();
        VolumeInfo();
        Tree();
        return r;
    }

private:
    void Problem(int64_t offset, const std::string& message) {
        if (r.problems.size() < 10000) r.problems.push_back({offset, message});
    }

    uint32_t U32(uint64_t off, bool bigEndian = true) const {
        const unsigned char* p = b + off;
        return bigEndian
                   ? (uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3])
                   : (uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0]);
    }
    static double Double(const unsigned char* p, bool bigEndian) {
        uint64_t v = 0;
        for (int i = 0; i < 8; ++i) v = v << 8 | p[bigEndian ? i : 7 - i];
        double d;
        memcpy(&d, &v, sizeof d);
        return d;
    }

    bool Volume() {
        if (n < 8) {
            Problem(0, "file is " + Dec(n) + " bytes, too short for the 8-byte volume header");
            return false;
        }
        if (U32(0) != kVolumeMagicValue) {
            Problem(0, "bad volume magic (not \"VFSv\"): not a container");
            return false;
        }
        r.version = static_cast<int32_t>(U32(4));
        if (r.version < 1 || r.version > 3) {
            Problem(4, "format version " + std::to_string(r.version) + " is not 1 to 3");
            return false;
        }
        return true;
    }

    void Blocks() {
        const bool headerBE = r.version != 1;
        uint64_t off = 8;
        if (n == 8) Problem(8, "no blocks: the volume information block is missing");
        while (off < n) {
            if (n - off < kOverhead) {
                Problem(int64_t(off), Dec(n - off) + " stray bytes after the last block");
                break;
            }
            if (U32(off) != kBlkS) {
                Problem(int64_t(off), "block at " + Dec(off) +
                                          ": bad block magic (not \"BlkS\"); blocks after it "
                                          "can't be found");
                break;
            }
            const double size = Double(b + off + 12, headerBE);
            const double next = Double(b + off + 20, headerBE);
            if (!IsWhole(size) || size < double(kOverhead)) {
                Problem(int64_t(off + 12), "block at " + Dec(off) + ": size " + Num(size) +
                                               " is below the 32 bytes of header and trailer");
                break;
            }
            if (off + size > double(n)) {
                Problem(int64_t(off + 12), "block at " + Dec(off) + ": size " + Num(size) +
                                               " runs past the end of the file (" + Dec(n) +
                                               " bytes): truncated?");
                break;
            }
            Block blk{off, U32(off + 4), U32(off + 8), uint64_t(size), next};
            if (U32(off + blk.size - 4) != kBlkE)
                Problem(int64_t(off + blk.size - 4),
                        "block at " + Dec(off) + ": trailer is not \"BlkE\"");
            if (!(next == 0.0) && (!IsWhole(next) || next < 8.0))
                Problem(int64_t(off + 20),
                        "block at " + Dec(off) + ": next block " + Num(next) + " is no offset");
            index[off] = blocks.size();
            blocks.push_back(blk);
            if (blk.fileID == 0) ++r.freeBlocks;
            off += blk.size;
        }
        r.blocks = uint32_t(blocks.size());
        if (blocks.empty()) return;
        const Block& first = blocks[0];
        if (first.fileID != 1 || first.index != 0)
            Problem(8, "the first block belongs to file " + std::to_string(first.fileID) +
                           " (index " + std::to_string(first.index) +
                           "), not to the volume information file 1");
        else if (first.size < 36)
            Problem(20, "the first block is " + Dec(first.size) + " bytes, below 36");
    }

    void Chains() {
        std::map<uint32_t, std::vector<size_t>> heads;
        for (size_t i = 0; i < blocks.size(); ++i)
            if (blocks[i].fileID != 0 && blocks[i].index == 0) heads[blocks[i].fileID].push_back(i);
        for (auto& [id, list] : heads) {
            if (list.size() > 1)
                Problem(int64_t(blocks[list[1]].start),
                        "file " + std::to_string(id) + " has " + std::to_string(list.size()) +
                            " first blocks (index 0); the one at " + Dec(blocks[list[0]].start) +
                            " is used");
            std::vector<size_t>& chain = chains[id];
            std::set<size_t> visited;
            size_t at = list[0];
            for (;;) {
                visited.insert(at);
                blocks[at].reached = true;
                chain.push_back(at);
                const Block& blk = blocks[at];
                if (!(blk.next > 0.0) || !IsWhole(blk.next)) break;
                // Compared as a double first: a whole number beyond any offset can't be
                // converted to one.
                if (blk.next + double(kOverhead) > double(n)) {
                    Problem(int64_t(blk.start + 20),
                            "file " + std::to_string(id) + ": block at " + Dec(blk.start) +
                                " points to " + Num(blk.next) + ", past the end of the file");
                    break;
                }
                const uint64_t next = uint64_t(blk.next);
                const std::string who = "file " + std::to_string(id) + ": block at " +
                                        Dec(blk.start) + " points to " + Dec(next);
                auto found = index.find(next);
                if (found == index.end()) {
                    Problem(int64_t(blk.start + 20), who + ", which is not the start of a block");
                    break;
                }
                const Block& nb = blocks[found->second];
                if (visited.count(found->second)) {
                    Problem(int64_t(blk.start + 20),
                            who + ", already in the chain: the chain loops");
                    break;
                }
                if (nb.fileID != id) {
                    Problem(int64_t(blk.start + 20),
                            who + ", a block of file " + std::to_string(nb.fileID));
                    break;
                }
                if (nb.index != blk.index + 1)
                    Problem(int64_t(nb.start + 8), "file " + std::to_string(id) + ": block at " +
                                                       Dec(nb.start) + " has index " +
                                                       std::to_string(nb.index) + ", expected " +
                                                       std::to_string(blk.index + 1));
                at = found->second;
            }
        }
        r.files = uint32_t(heads.size());
        for (const Block& blk : blocks)
            if (blk.fileID != 0 && !blk.reached)
                Problem(int64_t(blk.start), "block at " + Dec(blk.start) + " (file " +
                                                std::to_string(blk.fileID) + ", index " +
                                                std::to_string(blk.index) +
                                                ") is on no chain of its file");
    }

    // Reads `len` bytes at file position `pos` of file `id`; false when the chain is short.
    bool Read(uint32_t id, uint64_t pos, size_t len, unsigned char* out) const {
        auto it = chains.find(id);
        if (it == chains.end()) return false;
        uint64_t base = 0;
        for (size_t bi : it->second) {
            const Block& blk = blocks[bi];
            const uint64_t data = blk.size - kOverhead;
            while (len > 0 && pos >= base && pos < base + data) {
                const uint64_t in = pos - base;
                const size_t take = size_t(std::min<uint64_t>(len, data - in));
                memcpy(out, b + blk.start + kHeader + in, take);
                out += take;
                pos += take;
                len -= take;
            }
            if (len == 0) return true;
            base += data;
        }
        return len == 0;
    }
    uint64_t Capacity(uint32_t id) const {
        auto it = chains.find(id);
        uint64_t total = 0;
        if (it != chains.end())
            for (size_t bi : it->second) total += blocks[bi].size - kOverhead;
        return total;
    }

    void VolumeInfo() {
        unsigned char head[8];
        if (!Read(1, 0, 8, head)) {
            Problem(36, "the volume information file is shorter than 8 bytes");
            return;
        }
        const uint32_t nextID = U32Of(head, true);
        const uint32_t mapLength = U32Of(head + 4, true);
        uint32_t highest = 1;
        for (const auto& [id, chain] : chains) highest = std::max(highest, id);
        if (nextID <= highest)
            Problem(36, "next file id " + std::to_string(nextID) +
                            " is not above the highest id in use, " + std::to_string(highest));
        if (mapLength == 0) {
            r.notes.push_back("no saved block map (it is rebuilt from the blocks on opening)");
            return;
        }
        if (mapLength < 8 || uint64_t(mapLength) + 8 > Capacity(1)) {
            Problem(40, "saved map length " + std::to_string(mapLength) +
                            " does not fit the volume information file");
            return;
        }
        std::vector<unsigned char> map(mapLength);
        if (!Read(1, 8, mapLength, map.data())) {
            Problem(40, "saved map cut short");
            return;
        }
        if (U32Of(map.data(), true) != kBMap) {
            Problem(44, "saved map has a bad magic (not \"BMap\")");
            return;
        }
        const uint32_t count = U32Of(map.data() + 4, true);
        if (uint64_t(count) * 12 + 8 != mapLength) {
            Problem(48, "saved map lists " + std::to_string(count) + " entries but is " +
                            std::to_string(mapLength) + " bytes long");
            return;
        }
        std::set<uint64_t> listed;
        for (uint32_t i = 0; i < count; ++i) {
            const unsigned char* e = map.data() + 8 + 12 * size_t(i);
            const uint32_t start = U32Of(e, true), id = U32Of(e + 4, true),
                           idx = U32Of(e + 8, true);
            const std::string who =
                "saved map entry " + std::to_string(i) + " (block at " + Dec(start) + ")";
            auto found = index.find(start);
            if (found == index.end()) {
                Problem(-1, who + ": there is no block there");
                continue;
            }
            if (!listed.insert(start).second) Problem(-1, who + ": block listed twice");
            const Block& blk = blocks[found->second];
            if (blk.fileID != id)
                Problem(-1, who + ": map says file " + std::to_string(id) + ", block says file " +
                                std::to_string(blk.fileID));
            else if (id != 0 && blk.index != idx)
                Problem(-1, who + ": map says index " + std::to_string(idx) +
                                ", block says index " + std::to_string(blk.index));
        }
        // The first block need not be listed: file 1 is found by walking from offset 8.
        for (const Block& blk : blocks)
            if (blk.start != 8 && !listed.count(blk.start))
                Problem(int64_t(blk.start),
                        "block at " + Dec(blk.start) + " is missing from the saved map");
    }

    static uint32_t U32Of(const unsigned char* p, bool bigEndian) {
        return bigEndian
                   ? (uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3])
                   : (uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0]);
    }

    void Tree() {
        const bool be = r.version > 2;
        if (!chains.count(kRootID)) {
            Problem(-1, "no root folder (file 2)");
            return;
        }
        std::set<uint32_t> seen{kRootID};
        struct Pending {
            uint32_t id;
            uint32_t parent;
            std::string path;
        };
        std::vector<Pending> stack{{kRootID, 0, "/"}};
        while (!stack.empty()) {
            const Pending item = stack.back();
            stack.pop_back();
            ++r.items;
            const std::string who = "item " + std::to_string(item.id) + " (" + item.path + ")";
            unsigned char h[256];
            if (!Read(item.id, 0, 256, h)) {
                Problem(-1, who + ": its blocks hold less than the 256-byte item header");
                continue;
            }
            const double length = Double(h, be);
            const uint32_t type = U32Of(h + 8, be);
            const uint32_t parent = U32Of(h + 12, be);
            const uint64_t capacity = Capacity(item.id);
            bool lengthOK = IsWhole(length) && 256.0 + length <= double(capacity);
            if (!lengthOK)
                Problem(-1, who + ": length " + Num(length) + " exceeds the " +
                                Dec(capacity - 256) + " content bytes its blocks hold");
            if (parent != item.parent)
                Problem(-1,
                        who + ": parent is " + std::to_string(parent) + ", but it is listed in " +
                            (item.parent ? "item " + std::to_string(item.parent) : "no folder"));
            const std::string raw(reinterpret_cast<const char*>(h + 32), 224);
            if (item.id == kRootID) {
                if (raw[0] != '/' || raw[1] != '\0')
                    Problem(-1, who + ": the root folder is not named \"/\"");
            } else if (raw[223] != '\0') {
                Problem(-1, who + ": name is not NUL-terminated within 223 bytes");
            } else if (const std::string why = UnsafeNameReason(raw); !why.empty()) {
                Problem(-1, who + ": " + why);
            }
            if (type == 0) Problem(-1, who + ": type is 0 (no item)");
            if (type == kTemp) Problem(-1, who + ": an unfinished folder (type \"temp\")");
            if (type != kFold) continue;
            unsigned char c[4];
            if (!lengthOK || length < 4 || !Read(item.id, 256, 4, c)) {
                Problem(-1, who + ": folder without a child count");
                continue;
            }
            const uint32_t count = U32Of(c, be);
            if (double(count) > length / 4.0) {
                Problem(-1, who + ": child count " + std::to_string(count) +
                                " is more than its length " + Num(length) +
                                " holds (read as empty)");
                continue;
            }
            if (double(count) * 4.0 + 4.0 > length)
                Problem(-1, who + ": child count " + std::to_string(count) +
                                " leaves no room for the list in its length " + Num(length));
            std::vector<unsigned char> list(size_t(count) * 4);
            if (count && !Read(item.id, 260, list.size(), list.data())) {
                Problem(-1, who + ": child list cut short");
                continue;
            }
            std::vector<Pending> kids;
            for (uint32_t i = 0; i < count; ++i) {
                const uint32_t child = U32Of(list.data() + 4 * size_t(i), be);
                const std::string childWho =
                    who + ": child " + std::to_string(i) + ", item " + std::to_string(child);
                if (child < kRootID || !chains.count(child)) {
                    Problem(-1, childWho + ", does not exist");
                    continue;
                }
                if (!seen.insert(child).second) {
                    Problem(-1, childWho + ", is listed a second time (a cycle or shared item)");
                    continue;
                }
                unsigned char nameField[224] = {};
                std::string name = "?";
                if (Read(child, 32, 224, nameField))
                    name = std::string(reinterpret_cast<char*>(nameField),
                                       strnlen(reinterpret_cast<char*>(nameField), 224));
                kids.push_back({child, item.id, (item.path == "/" ? "" : item.path) + "/" + name});
            }
            stack.insert(stack.end(), kids.rbegin(), kids.rend());
        }
        for (const auto& [id, chain] : chains)
            if (id > kRootID && !seen.count(id))
                Problem(int64_t(blocks[chain[0]].start),
                        "item " + std::to_string(id) + " is in no folder");
    }

    const unsigned char* b;
    size_t n;
    CheckReport r;
    std::vector<Block> blocks;
    std::map<uint64_t, size_t> index;                // block start -> blocks[]
    std::map<uint32_t, std::vector<size_t>> chains;  // file id -> its chain
};

}  // namespace

CheckReport CheckContainer(const unsigned char* bytes, size_t size) {
    return Checker(bytes, size).Run();
}

}  // namespace zqx
