// KeptMemory.h - marking memory kept on purpose for the life of the process.
//
// A few blocks are never freed by design: a guest or the host may keep pointing into
// them after the library that made them is unloaded. In sanitizer builds the leak
// checker is told so where each is made; elsewhere the mark costs nothing.
#ifndef ZYNE_CORE_KEPT_MEMORY_H
#define ZYNE_CORE_KEPT_MEMORY_H

#if defined(__SANITIZE_ADDRESS__)
#define ZYNE_LEAK_CHECKED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZYNE_LEAK_CHECKED 1
#endif
#endif

#ifdef ZYNE_LEAK_CHECKED
#include <sanitizer/lsan_interface.h>
#endif

/// Marks `block` (a heap block, or null) as kept for the life of the process.
inline void KeepForProcessLifetime(const void* block) {
#ifdef ZYNE_LEAK_CHECKED
    if (block != nullptr) __lsan_ignore_object(block);
#else
    (void)block;
#endif
}

#endif  // ZYNE_CORE_KEPT_MEMORY_H
