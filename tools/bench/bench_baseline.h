// A measurement of before, and what became of it.
#ifndef VEK_TOOLS_BENCH_BENCH_BASELINE_H
#define VEK_TOOLS_BENCH_BENCH_BASELINE_H

#include <string>

#include "tools/base/json_writer.h"
#include "tools/bench/bench_run.h"

namespace vek::tools {

// What bench --json prints, and reads.
void write_bench(const BenchResult& result, JsonWriter& json);
// False with `problem` set when the file is none, or of other pages or another configuration than
// `now` has.
bool read_baseline(const std::string& path, const BenchResult& now, BenchResult& out,
                   std::string& problem);

struct Verdict {
  enum class Kind { kSame, kFaster, kSlower };
  Kind kind = Kind::kSame;
  double change = 0;  // of the median time of a record: 0.1 is ten hundredths more
  double spread = 0;  // what chance may make of it, likewise
};

// Slower or faster is what differs by more than three times the deviations of both, and by more
// than two hundredths, below which layout in memory alone moves measurements.
Verdict compare(const BenchResult& before, const BenchResult& now);
const char* verdict_name(Verdict::Kind kind);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BENCH_BENCH_BASELINE_H
