// ContainerCheck.h - structural verification of a container's bytes, both layers.
//
// Reads the raw bytes itself rather than through the volume classes, which repair what
// they can (a damaged block map is rebuilt silently): the point here is to see the damage.
// Block layer: magic and version, every block's header and trailer, chains that end, stay
// inside the file, keep one file and consecutive indexes and never loop, the saved map
// against the blocks present, the next-id counter. Directory layer: item headers, lengths
// against the blocks that hold them, child counts, parents matching, every item reached
// once. Every walk is bounded by the file's size.
// Not here: repairing anything, reading contents for the commands.
#ifndef ZYNE_TOOLS_ZQX_CONTAINER_CHECK_H
#define ZYNE_TOOLS_ZQX_CONTAINER_CHECK_H

#include <cstdint>
#include <string>
#include <vector>

namespace zqx {

struct CheckProblem {
    int64_t offset;       // stream offset the problem is at; -1 when it has none
    std::string message;  // what is wrong, naming the block, file or item
};

struct CheckReport {
    std::vector<CheckProblem> problems;  // empty for a sound container
    std::vector<std::string> notes;      // facts worth knowing that are not damage
    int32_t version = 0;                 // format version read; 0 when none
    uint32_t blocks = 0;                 // blocks found walking the stream
    uint32_t freeBlocks = 0;             // of those, free ones
    uint32_t files = 0;                  // block-layer files with a first block
    uint32_t items = 0;                  // directory-layer items reached from the root
};

/// Checks `size` bytes of a container. Never fails: what can't be checked is a problem.
CheckReport CheckContainer(const unsigned char* bytes, size_t size);

}  // namespace zqx

#endif  // ZYNE_TOOLS_ZQX_CONTAINER_CHECK_H
