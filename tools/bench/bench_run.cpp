#include "tools/bench/bench_run.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "exporter/exporters_array.h"
#include "exporter/fluentbit_exporter.h"
#include "tools/base/console.h"
#include "tools/base/signals.h"
#include "tools/bench/allocation_count.h"
#include "tools/bench/peak_memory.h"
#include "tools/conversion/capture_engine.h"
#include "tools/conversion/record_reader.h"
#include "tools/pages/page_file.h"
#include "utils/logger.h"

namespace vek::tools {
namespace {

constexpr uint64_t kMostPageBytes = uint64_t{1} << 30;

uint64_t thread_time_ns() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<uint64_t>(now.tv_nsec);
}

uint64_t allocations_so_far() { return allocation_count ? allocation_count() : 0; }

double median_of(std::vector<double>& values) {
  const size_t half = values.size() / 2;
  std::sort(values.begin(), values.end());
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

}  // namespace

Spread spread_of(std::vector<double> values) {
  Spread spread;
  if (values.empty()) return spread;
  spread.median = median_of(values);
  spread.least = values.front();
  for (double& value : values) value = std::abs(value - spread.median);
  spread.deviation = median_of(values);
  return spread;
}

class BenchRun::Exporter : public RecordSink {
 public:
  explicit Exporter(const ConfiguredDestination& destination) : exporter_(capture_engine(*this)) {
    configure_exporter(exporter_, *destination.config);
    exporter_.connectToFlb();
  }

  void on_records(Bytes buffer) override {
    bytes_ += buffer.size();
    if (counts_records_) count(buffer);
  }

  bool take(const vek_data_page_t* page, const vek_exporter_schema_manager_t& schemas) {
    return exporter_.exportDataPage(page, &schemas);
  }
  // Reading records takes longer than making them, so it is done once.
  void count_records(bool on) { counts_records_ = on; }
  uint64_t records() const { return records_; }
  uint64_t bytes() const { return bytes_; }

 private:
  void count(Bytes buffer) {
    RecordReader reader(buffer);
    std::string json;
    while (reader.next(json)) ++records_;
  }

  bool counts_records_ = false;
  uint64_t records_ = 0;
  uint64_t bytes_ = 0;
  FluentBitExporter exporter_;  // last: it hands records over until it goes
};

BenchRun::BenchRun(const std::vector<ConfiguredDestination>& destinations,
                   const vek_exporter_schema_manager_t& schemas)
    : schemas_(schemas) {
  for (const ConfiguredDestination& destination : destinations) {
    if (destination.is_enabled()) exporters_.push_back(std::make_unique<Exporter>(destination));
  }
  result_.destinations = exporters_.size();
}

BenchRun::~BenchRun() = default;

ExitStatus BenchRun::fail(ExitStatus status, std::string problem) {
  problem_ = std::move(problem);
  return status;
}

ExitStatus BenchRun::load(const std::vector<std::string>& files) {
  PageFile file;
  for (const std::string& path : files) {
    if (!file.open(path)) return fail(ExitStatus::kEnvironment, file.problem());
    PageFile::Result result = PageFile::Result::kPage;
    while ((result = file.next()) == PageFile::Result::kPage) {
      const Bytes image = file.image();
      if (bytes_.size() + image.size() > kMostPageBytes) {
        return fail(ExitStatus::kEnvironment,
                    file.name() + ": pages of more than 1 GiB are not measured; take fewer");
      }
      constexpr size_t kAlignment = 64;  // as collectors' pages lie
      bytes_.resize((bytes_.size() + kAlignment - 1) / kAlignment * kAlignment);
      places_.push_back(bytes_.size());
      result_.page_bytes += image.size();
      bytes_.insert(bytes_.end(), image.begin(), image.end());
    }
    if (result == PageFile::Result::kInterrupted) return fail(ExitStatus::kBad, "interrupted");
    if (result == PageFile::Result::kReadFailed) {
      return fail(ExitStatus::kEnvironment, file.problem());
    }
    if (result == PageFile::Result::kDamaged) return fail(ExitStatus::kBad, file.problem());
  }
  result_.pages = places_.size();
  return ExitStatus::kGood;
}

uint64_t BenchRun::pass() {
  uint64_t failures = 0;
  for (const size_t place : places_) {
    const auto* page = reinterpret_cast<const vek_data_page_t*>(bytes_.data() + place);
    for (const auto& exporter : exporters_) failures += exporter->take(page, schemas_) ? 0 : 1;
  }
  return failures;
}

// The second pass counts: dictionaries that the recording's beginning lacks go on from its end.
bool BenchRun::count_records() {
  pass();
  for (const auto& exporter : exporters_) {
    result_.record_bytes -= exporter->bytes();
    exporter->count_records(true);
  }
  result_.failed_pages = pass();
  for (const auto& exporter : exporters_) {
    exporter->count_records(false);
    result_.records += exporter->records();
    result_.record_bytes += exporter->bytes();
  }
  return result_.records > 0;
}

uint64_t BenchRun::passes_for(uint64_t time_us, uint64_t& taken_ns) {
  const uint64_t start = thread_time_ns();
  uint64_t passes = 0;
  do {
    if (stop_requested()) return 0;
    pass();
    ++passes;
    taken_ns = thread_time_ns() - start;
  } while (taken_ns < time_us * 1000);
  return passes;
}

ExitStatus BenchRun::measure(const BenchPlan& plan) {
  reset_peak_memory();
  result_.memory_before = resident_memory();
  if (!count_records()) {
    return fail(ExitStatus::kBad, "no record leaves; 'vektool preview' shows why");
  }
  // What there is to say of these pages has been said.
  const uint32_t level = vek_log_level;
  vek_set_log_level(0);
  uint64_t taken_ns = 0;
  const uint64_t warm_up = passes_for(plan.warm_up_us, taken_ns);
  std::vector<double> ns_per_record;
  if (warm_up > 0) {
    const double ns_per_pass = static_cast<double>(taken_ns) / static_cast<double>(warm_up);
    result_.passes = static_cast<uint64_t>(
        std::ceil(static_cast<double>(plan.repeat_us) * 1000.0 / std::max(ns_per_pass, 1.0)));
  }
  const uint64_t allocations = allocations_so_far();
  const auto records = static_cast<double>(result_.passes * result_.records);
  while (result_.repeats < plan.repeats && warm_up > 0 && !stop_requested()) {
    const uint64_t start = thread_time_ns();
    for (uint64_t i = 0; i < result_.passes; ++i) pass();
    ns_per_record.push_back(static_cast<double>(thread_time_ns() - start) / records);
    ++result_.repeats;
    show_status_line("repeat " + std::to_string(result_.repeats) + " of " +
                     std::to_string(plan.repeats));
  }
  const uint64_t allocated = allocations_so_far() - allocations;
  clear_status_line();
  vek_set_log_level(level);
  if (result_.repeats < plan.repeats) return fail(ExitStatus::kBad, "interrupted");
  result_.ns_per_record = spread_of(std::move(ns_per_record));
  result_.peak_memory = peak_memory();
  if (allocations > 0) {
    result_.allocations_per_record =
        static_cast<double>(allocated) / (records * static_cast<double>(plan.repeats));
  }
  return ExitStatus::kGood;
}

}  // namespace vek::tools
