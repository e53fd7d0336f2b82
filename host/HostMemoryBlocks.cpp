// HostMemoryBlocks.cpp - the host's memory blocks and their services ("newMemoryBlock",
// "PtrToMemoryBlock", "memoryBlockGetPtr", "memoryBlockGetSize").
//
// A memory block is a host object of the class "MemoryBlock" whose data either owns a
// zeroed allocation of known size or wraps memory the plug-in owns, whose size the host
// cannot know (reported as 0). Owned bytes are freed with the last reference.
//
//   OFFSET   SIZE     FIELD   MEANING
//   6 words  1 word   bytes   the block's memory; never null for an owned block
//   7 words  1 word   size    byte count; 0 for a wrapped pointer
//   8 words  1 word   owned   1: bytes are the block's own
#include <cstdlib>
#include <cstring>

#include "HostState.h"

namespace zyne::host {

namespace {

struct BlockData {
    void* bytes;
    long size;
    long owned;
};

void DestroyBlock(ZYNEobject self);

ZYNEclassDefinition gMemoryBlockClass =
    detail::HostClassRecord("MemoryBlock", sizeof(BlockData), &DestroyBlock);

BlockData* DataOf(ZYNEobject block) {
    return reinterpret_cast<BlockData*>(reinterpret_cast<char*>(block) + gMemoryBlockClass.dataOffset);
}

// The data of a live block; null for anything else.
BlockData* LiveBlock(const detail::HostState& state, ZYNEobject object) {
    const ClassInfo* info = state.ClassInfoOf(object);
    return info != nullptr && info->record == &gMemoryBlockClass ? DataOf(object) : nullptr;
}

void DestroyBlock(ZYNEobject self) {
    BlockData* data = DataOf(self);
    if (data->owned != 0) std::free(data->bytes);
    *data = {};
}

// A new block (count 1) of `size` zero bytes; null when the size is negative.
ZYNEobject MakeBlock(detail::HostState& state, long size) {
    if (size < 0) return nullptr;
    void* bytes = std::calloc(1, static_cast<size_t>(size > 0 ? size : 1));
    if (bytes == nullptr) return nullptr;
    ZYNEobject block = state.NewObject(state.HostClassOf(&gMemoryBlockClass));
    if (block == nullptr || LiveBlock(state, block) == nullptr) {
        std::free(bytes);
        state.UnlockObject(block, "newMemoryBlock");
        return nullptr;
    }
    *DataOf(block) = {bytes, size, 1};
    return block;
}

BlockData* BlockArgument(detail::HostState& state, ZYNEobject block, const char* service) {
    if (block == nullptr) return nullptr;
    BlockData* data = LiveBlock(state, block);
    if (data == nullptr) state.Fault(std::string(service) + " on an object that is not a memory block");
    return data;
}

ZYNEobject NewMemoryBlock(int size) {
    detail::HostState& state = detail::CurrentState();
    state.Called("newMemoryBlock", size);
    return MakeBlock(state, size);
}

ZYNEobject PtrToMemoryBlock(void* bytes) {
    detail::HostState& state = detail::CurrentState();
    state.Called("PtrToMemoryBlock", bytes);
    if (bytes == nullptr) return nullptr;
    ZYNEobject block = state.NewObject(state.HostClassOf(&gMemoryBlockClass));
    if (LiveBlock(state, block) == nullptr) return block;
    *DataOf(block) = {bytes, 0, 0};
    return block;
}

void* MemoryBlockGetPtr(ZYNEobject block) {
    detail::HostState& state = detail::CurrentState();
    state.Called("memoryBlockGetPtr", block);
    const BlockData* data = BlockArgument(state, block, "memoryBlockGetPtr");
    return data != nullptr ? data->bytes : nullptr;
}

long MemoryBlockGetSize(ZYNEobject block) {
    detail::HostState& state = detail::CurrentState();
    state.Called("memoryBlockGetSize", block);
    const BlockData* data = BlockArgument(state, block, "memoryBlockGetSize");
    return data != nullptr ? data->size : 0;
}

const detail::ServiceRow kMemoryBlockServices[] = {
    {"newMemoryBlock", reinterpret_cast<void*>(&NewMemoryBlock)},
    {"PtrToMemoryBlock", reinterpret_cast<void*>(&PtrToMemoryBlock)},
    {"memoryBlockGetPtr", reinterpret_cast<void*>(&MemoryBlockGetPtr)},
    {"memoryBlockGetSize", reinterpret_cast<void*>(&MemoryBlockGetSize)},
};

}  // namespace

ZYNEclassDefinition& detail::MemoryBlockClassRecord() {
    return gMemoryBlockClass;
}

std::span<const detail::ServiceRow> detail::MemoryBlockServices() {
    return kMemoryBlockServices;
}

ZYNEobject ReferenceHost::NewMemoryBlock(std::string_view bytes) {
    ZYNEobject block = MakeBlock(*state_, static_cast<long>(bytes.size()));
    if (block != nullptr && !bytes.empty()) std::memcpy(DataOf(block)->bytes, bytes.data(), bytes.size());
    return block;
}

std::optional<std::string> ReferenceHost::MemoryBlockBytes(ZYNEobject block) const {
    const BlockData* data = LiveBlock(*state_, block);
    if (data == nullptr || data->owned == 0) return std::nullopt;
    return std::string(static_cast<const char*>(data->bytes), static_cast<size_t>(data->size));
}

}  // namespace zyne::host
