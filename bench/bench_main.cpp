// Runs the benchmarks in many short repetitions that are interleaved, so that a machine that slows
// down slows all of them, and ends with a table of the least of each.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/instructions.h"
#include "bench/plot.h"
#include "bench/table.h"
#include "bench/workload.h"

namespace vek::bench {
namespace {

constexpr char kUsage[] =
    "usage: vek_bench [--instructions] [--check] [--filter=TEXT] [--json=FILE] [--plot=FILE]\n"
    "                 [flags of Google Benchmark]\n"
    "  --instructions  count them, under valgrind, instead of measuring time\n"
    "  --check         fail when a goal is missed\n"
    "  --filter=TEXT   only workloads with TEXT in their name\n"
    "  --json=FILE     write the table as JSON\n"
    "  --plot=FILE     draw cost against the number of counters, as SVG\n";

struct Options {
  bool instructions = false;
  bool under_callgrind = false;  // the run whose instructions are counted
  bool check = false;
  std::string filter;
  std::string json;
  std::string plot;
  std::vector<std::string> others;  // Google Benchmark's
};

bool take_value(std::string_view argument, std::string_view name, std::string& value) {
  if (!argument.starts_with(name)) return false;
  value = argument.substr(name.size());
  return true;
}

Options read_options(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--instructions") {
      options.instructions = true;
    } else if (argument == "--help") {
      std::fputs(kUsage, stdout);
      std::exit(0);
    } else if (argument == "--under-callgrind") {
      options.under_callgrind = true;
    } else if (argument == "--check") {
      options.check = true;
    } else if (!take_value(argument, "--filter=", options.filter) &&
               !take_value(argument, "--json=", options.json) &&
               !take_value(argument, "--plot=", options.plot)) {
      options.others.emplace_back(argument);
    }
  }
  return options;
}

// Takes the minima of the repetitions.
class TableReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override {
    PrintBasicContext(&std::cerr, context);
    return true;
  }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.aggregate_name != "min") continue;
      const std::string& name = run.run_name.function_name;
      const size_t slash = name.rfind('/');
      table_.add(name.substr(0, slash), name.substr(slash + 1),
                 {run.GetAdjustedCPUTime(), run.counters.at("allocs"), run.counters.at("bytes")});
    }
  }
  const Table& table() const { return table_; }

 private:
  Table table_{Table::Unit::kNanoseconds};
};

// What is given on the command line wins over the defaults. False when a flag is unknown.
bool measure_time(const char* program, const Options& options, Table& table) {
  std::vector<std::string> flags = {
      program,
      "--benchmark_repetitions=25",
      "--benchmark_min_time=0.01",
      "--benchmark_enable_random_interleaving=true",
  };
  if (!options.filter.empty()) flags.push_back("--benchmark_filter=" + options.filter);
  flags.insert(flags.end(), options.others.begin(), options.others.end());
  std::vector<char*> arguments;
  for (std::string& flag : flags) arguments.push_back(flag.data());
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);

  register_benchmarks();
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return false;
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  // Random interleaving reports in an order of its own.
  for (const Workload& workload : workloads()) {
    if (const Figures* figures = reporter.table().find(workload.name, workload.variant)) {
      table.add(workload.name, workload.variant, *figures);
    }
  }
  return true;
}

template <typename Write>
void write_file(const std::string& path, Write write) {
  if (path.empty()) return;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "w"),
                                                             std::fclose);
  if (!file) fail(path, "cannot be written");
  write(file.get());
}

int run(int argc, char** argv) {
  const Options options = read_options(argc, argv);
  if (options.under_callgrind) {
    run_under_callgrind(options.filter);
    return 0;
  }
  Table table(options.instructions ? Table::Unit::kInstructions : Table::Unit::kNanoseconds);
  if (options.instructions) {
    table = count_instructions(argv[0], options.filter);
  } else if (!measure_time(argv[0], options, table)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  table.print(stdout);
  write_file(options.json, [&](std::FILE* out) { table.print_json(out); });
  write_file(options.plot, [&](std::FILE* out) { plot_counters(table, out); });
  return options.check && !table.check() ? 1 : 0;
}

}  // namespace
}  // namespace vek::bench

int main(int argc, char** argv) { return vek::bench::run(argc, argv); }
