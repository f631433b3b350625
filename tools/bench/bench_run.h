// BenchRun: pages through the plug-in's exporters into engines that count, timed.
//
// Pages lie in memory before the clock runs. A pass is every page once, through every exporter; a
// repeat is as many passes as take long enough for the clock. Time is that of this thread on a
// processor, so that what else the machine does disturbs little.
#ifndef VEK_TOOLS_BENCH_BENCH_RUN_H
#define VEK_TOOLS_BENCH_BENCH_RUN_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/base/exit_status.h"
#include "tools/config/configuration.h"
#include "tools/config/own_schemas.h"

namespace vek::tools {

struct BenchPlan {
  uint64_t warm_up_us = 300'000;
  uint64_t repeats = 15;
  uint64_t repeat_us = 100'000;  // at least
};

struct Spread {
  double median = 0;
  double least = 0;
  double deviation = 0;  // the median of the distances from the median
};

Spread spread_of(std::vector<double> values);

struct BenchResult {
  uint64_t destinations = 0;
  // Of one pass:
  uint64_t pages = 0;
  uint64_t page_bytes = 0;
  uint64_t failed_pages = 0;  // by any exporter
  uint64_t records = 0;
  uint64_t record_bytes = 0;

  uint64_t repeats = 0;
  uint64_t passes = 0;  // of each
  Spread ns_per_record;
  std::optional<double> allocations_per_record;  // none where they cannot be counted
  uint64_t memory_before = 0;  // bytes that the process had before its first record, pages included
  uint64_t peak_memory = 0;

  double records_per_second() const { return 1e9 / ns_per_record.median; }
  double page_bytes_per_second() const {
    return records_per_second() * static_cast<double>(page_bytes) / static_cast<double>(records);
  }
};

class BenchRun {
 public:
  // All outlive the run.
  BenchRun(const std::vector<ConfiguredDestination>& destinations,
           const vek_exporter_schema_manager_t& schemas);
  ~BenchRun();
  BenchRun(const BenchRun&) = delete;
  BenchRun& operator=(const BenchRun&) = delete;

  // Other than kGood with problem() set.
  ExitStatus load(const std::vector<std::string>& files);
  ExitStatus measure(const BenchPlan& plan);

  const BenchResult& result() const { return result_; }
  const std::string& problem() const { return problem_; }

 private:
  class Exporter;

  ExitStatus fail(ExitStatus status, std::string problem);
  uint64_t pass();  // failures
  bool count_records();
  // Passes until so much time has gone; their number and the time, 0 when interrupted.
  uint64_t passes_for(uint64_t time_us, uint64_t& taken_ns);

  const vek_exporter_schema_manager_t& schemas_;
  std::vector<std::unique_ptr<Exporter>> exporters_;
  std::vector<uint8_t> bytes_;
  std::vector<size_t> places_;  // of pages in `bytes_`
  BenchResult result_;
  std::string problem_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_BENCH_BENCH_RUN_H
