// AllocationCounter.cpp - the malloc interposer behind AllocationCount.
//
// glibc exports its allocator under __libc_* names as well, which is what lets a
// program replace malloc and still reach the real one. The definitions are given
// default visibility (the build hides everything else) so that shared libraries
// loaded with the executable bind to them too.
#include "AllocationCounter.h"

#include <cstddef>
#include <cstdlib>

#include "core/string.h"

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* pointer, size_t size);
}

namespace {

uint64_t gAllocations = 0;  // calls that asked for memory; never reset

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void* malloc(size_t size) noexcept {
    ++gAllocations;
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(size_t count, size_t size) noexcept {
    ++gAllocations;
    return __libc_calloc(count, size);
}

// realloc(p, 0) frees; only a call that asks for memory counts.
__attribute__((visibility("default"))) void* realloc(void* pointer, size_t size) noexcept {
    if (size != 0) ++gAllocations;
    return __libc_realloc(pointer, size);
}

}  // extern "C"

uint64_t AllocationCount() {
    return gAllocations;
}

bool AllocationCountingWorks() {
    const uint64_t before = AllocationCount();
    {
        // A string made from a C text always gets a fresh block from malloc.
        const string probe("allocation probe");
        if (probe.IsEmpty()) return false;
    }
    return AllocationCount() > before;
}
