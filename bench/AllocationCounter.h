// AllocationCounter.h - zyne-bench's count of heap allocations, by interposing malloc.
//
// The bench executable defines malloc, calloc and realloc itself; each counts one
// allocation and hands the request to the C library's own allocator. The bridge's
// static archive is linked into the same executable, so its calls bind here, and so
// do the C++ runtime's (operator new calls malloc) and the C library's own (glibc
// calls malloc through its interposable symbol, so iconv_open's allocations count).
// Not counted: aligned allocations (memalign and friends). One thread only: the
// count is a plain integer, as the benchmarks run on the main thread.
#ifndef ZYNE_BENCH_ALLOCATION_COUNTER_H
#define ZYNE_BENCH_ALLOCATION_COUNTER_H

#include <cstdint>

/// Allocations (malloc, calloc, and realloc calls that were given a size) since start.
uint64_t AllocationCount();

/// Whether the interposer sees the bridge's allocations: false when a string block
/// could be made without the count moving, so that counts must not be reported.
bool AllocationCountingWorks();

#endif  // ZYNE_BENCH_ALLOCATION_COUNTER_H
