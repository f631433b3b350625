// vektool bench: how fast pages become records, with the operator's own pages and configuration.
#ifndef VEK_TOOLS_BENCH_BENCH_H
#define VEK_TOOLS_BENCH_BENCH_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/bench/bench_run.h"
#include "tools/command_line/command_line.h"
#include "tools/command_line/common_options.h"

namespace vek::tools {

struct BenchOptions {
  std::string config_dir;
  std::string schema_dir;   // one of the two
  std::string type_system;  //
  std::string destination;  // its name alone; empty: all
  BenchPlan plan;
  std::string baseline;  // a file with the output of --json
  JsonOptions json;
  std::vector<std::string> pages;
};

void add_bench(CommandLine& line, Action& action);

// kBad when it is slower than the baseline, beyond the spread of both.
ExitStatus bench(const BenchOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BENCH_BENCH_H
