// How often this program has asked for memory.
#ifndef VEK_TOOLS_BENCH_ALLOCATION_COUNT_H
#define VEK_TOOLS_BENCH_ALLOCATION_COUNT_H

#include <cstdint>

namespace vek::tools {

// Calls of malloc, calloc, realloc and what rests on them, by any thread since the start; 0 for
// ever under sanitizers, which bring an allocator of their own. Null in programs that are linked
// without it.
[[gnu::weak]] uint64_t allocation_count() noexcept;

}  // namespace vek::tools

#endif  // VEK_TOOLS_BENCH_ALLOCATION_COUNT_H
