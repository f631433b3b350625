// Counters schemas, their sets, and blocks with values of many magnitudes.
#ifndef VEK_BENCH_COUNTER_SAMPLES_H
#define VEK_BENCH_COUNTER_SAMPLES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/sample_values.h"
#include "counters/counter_set.h"
#include "data/type_system.h"
#include "utils/owned.h"

namespace vek::bench {

enum class CounterMix {
  kUsual,  // of a network card: mostly UINT64, some INT64 and FP64, a few short texts, one GUID
  kTexts,  // STRING only
  kHex     // counters that are called "port_guid" only
};

struct CounterSampleOptions {
  size_t num_counters = 100;
  Values values = Values::kSteady;
  CounterMix mix = CounterMix::kUsual;
  std::vector<std::string> rules = {};  // lines of a counter-set file; none: the whole set
};

// As many blocks as a pool of records takes. The same for the same options in every run.
class CounterSamples {
 public:
  explicit CounterSamples(const CounterSampleOptions& options);

  // It has the counters' schema.
  const vek_type_system_t* type_system() const { return type_system_.get(); }
  const vek_counter_set_t* set() const { return set_.get(); }
  const std::vector<std::vector<uint8_t>>& blocks() const { return blocks_; }
  const uint8_t* next_block() {
    if (++current_ == blocks_.size()) current_ = 0;
    return blocks_[current_].data();
  }

 private:
  Owned<vek_type_system_t, vek_destroy_type_system> type_system_;
  Owned<vek_counter_set_t, vek_free_counter_set> set_;
  std::vector<std::vector<uint8_t>> blocks_;
  size_t current_ = 0;
};

}  // namespace vek::bench

#endif  // VEK_BENCH_COUNTER_SAMPLES_H
