// How much memory this process has, and has had.
#ifndef VEK_TOOLS_BENCH_PEAK_MEMORY_H
#define VEK_TOOLS_BENCH_PEAK_MEMORY_H

#include <cstdint>

namespace vek::tools {

// Bytes that are in memory now; 0 when that cannot be known.
uint64_t resident_memory();
// The most since the process started, or since the last reset where the kernel allows one.
uint64_t peak_memory();
void reset_peak_memory();

}  // namespace vek::tools

#endif  // VEK_TOOLS_BENCH_PEAK_MEMORY_H
