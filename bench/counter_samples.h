// A counters schema, its whole set, and blocks with values of many magnitudes.
#ifndef VEK_BENCH_COUNTER_SAMPLES_H
#define VEK_BENCH_COUNTER_SAMPLES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "counters/counter_set.h"
#include "counters/counters_schema.h"
#include "utils/owned.h"

namespace vek::bench {

// Names and types in the mix of a network card's counters: mostly UINT64, some INT64 and FP64, a
// few short texts, one GUID. The same for the same count in every run.
class CounterSamples {
 public:
  explicit CounterSamples(size_t num_counters);

  const vek_counter_set_t* set() const { return set_.get(); }
  // One block after the other, so that no value can be learnt by heart.
  const uint8_t* next_block() {
    current_ = (current_ + 1) % blocks_.size();
    return blocks_[current_].data();
  }
  const std::vector<std::vector<uint8_t>>& blocks() const { return blocks_; }

 private:
  Owned<vek_counters_schema_t, vek_destroy_counters_schema> schema_;
  Owned<vek_counter_set_t, vek_free_counter_set> set_;
  std::vector<std::vector<uint8_t>> blocks_;
  size_t current_ = 0;
};

}  // namespace vek::bench

#endif  // VEK_BENCH_COUNTER_SAMPLES_H
