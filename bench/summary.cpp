#include "bench/summary.h"

#include <cstdio>

namespace vek::bench {
namespace {

// The median over repetitions or, where there was only one, that one.
bool counts(const benchmark::BenchmarkReporter::Run& run) {
  if (run.error_occurred) return false;
  if (run.run_type == benchmark::BenchmarkReporter::Run::RT_Aggregate) {
    return run.aggregate_name == "median";
  }
  return run.repetitions <= 1;
}

double figure(const benchmark::BenchmarkReporter::Run& run, const char* name) {
  const auto found = run.counters.find(name);
  return found == run.counters.end() ? 0 : found->second.value;
}

}  // namespace

void SummaryReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (!counts(run)) continue;
    const std::string& name = run.run_name.function_name;
    const size_t slash = name.rfind('/');
    if (slash == std::string::npos) continue;
    const std::string key = name.substr(0, slash);
    cases_[key][name.substr(slash + 1)] = {run.GetAdjustedCPUTime(), figure(run, "allocs"),
                                           figure(run, "bytes")};
  }
  ConsoleReporter::ReportRuns(runs);
}

void SummaryReporter::print_summary() const {
  bool headed = false;
  for (const auto& [key, variants] : cases_) {
    const auto ours = variants.find("ours");
    const auto plain = variants.find("plain");
    const auto copy = variants.find("memcpy");
    if (ours == variants.end() || plain == variants.end() || copy == variants.end()) continue;
    if (!headed) {
      std::printf(
          "\nMedians of one record, over interleaved repetitions\n%-24s %8s %10s %10s %10s %12s "
          "%12s %8s\n",
          "case", "bytes", "ours ns", "plain ns", "memcpy ns", "plain/ours", "ours/memcpy",
          "allocs");
      headed = true;
    }
    std::printf("%-24s %8.0f %10.0f %10.0f %10.0f %12.2f %12.2f %8.2f\n", key.c_str(),
                ours->second.bytes, ours->second.nanoseconds, plain->second.nanoseconds,
                copy->second.nanoseconds, plain->second.nanoseconds / ours->second.nanoseconds,
                ours->second.nanoseconds / copy->second.nanoseconds, ours->second.allocations);
  }
}

}  // namespace vek::bench
