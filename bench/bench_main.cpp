// Runs the benchmarks with repetitions that are interleaved, so that a machine that slows down
// slows all of them, and ends with a table of those that belong together.
//
// Every flag of Google Benchmark works; what is given on the command line wins over the defaults.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/summary.h"

int main(int argc, char** argv) {
  std::vector<std::string> defaults = {
      argv[0],
      "--benchmark_repetitions=11",
      "--benchmark_min_time=0.02",
      "--benchmark_enable_random_interleaving=true",
      "--benchmark_report_aggregates_only=true",
  };
  std::vector<char*> arguments;
  for (std::string& text : defaults) arguments.push_back(text.data());
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);

  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
  vek::bench::SummaryReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  reporter.print_summary();
  return 0;
}
