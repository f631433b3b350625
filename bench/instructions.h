// Instructions instead of time: the same on a busy machine as on an idle one.
#ifndef VEK_BENCH_INSTRUCTIONS_H
#define VEK_BENCH_INSTRUCTIONS_H

#include "bench/table.h"

namespace vek::bench {

// Runs this program again under valgrind's callgrind, which counts them, and returns the table of
// "ours", "plain" and, for pages, "floor" of the workloads that have a goal. `filter`: part of a
// workload's name, or empty. Ends the program with a message where valgrind is missing.
Table count_instructions(const char* program, const std::string& filter);

// What the second run does: each workload in turn, its instructions dumped under its name.
void run_under_callgrind(const std::string& filter);

}  // namespace vek::bench

#endif  // VEK_BENCH_INSTRUCTIONS_H
