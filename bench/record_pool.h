// Finished records, and the copying of one after the other: the floor of every packing.
#ifndef VEK_BENCH_RECORD_POOL_H
#define VEK_BENCH_RECORD_POOL_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

#include "bench/workload.h"

namespace vek::bench {

// Bytes of records that a workload goes over: about 2 MB, so that neither values nor records stay
// in the nearest cache. Where instructions are counted, caches do not matter, and less will do.
inline size_t g_pool_bytes = 2'000'000;

// How many samples make that much.
inline size_t samples_for(size_t record_bytes) {
  return std::max<size_t>(16, g_pool_bytes / record_bytes);
}

class RecordPool {
 public:
  void add(std::string_view record) {
    bytes_.insert(bytes_.end(), record.begin(), record.end());
    ends_.push_back(bytes_.size());
    largest_ = std::max(largest_, record.size());
  }
  double mean_bytes() const {
    return static_cast<double>(bytes_.size()) / static_cast<double>(ends_.size());
  }

  void copy(size_t count) {
    target_.resize(largest_);
    for (size_t i = 0; i < count; ++i) {
      if (current_ == ends_.size()) current_ = 0;
      const size_t begin = current_ == 0 ? 0 : ends_[current_ - 1];
      std::memcpy(target_.data(), bytes_.data() + begin, ends_[current_] - begin);
      benchmark::DoNotOptimize(target_.data());
      benchmark::ClobberMemory();
      ++current_;
    }
  }

 private:
  std::vector<char> bytes_;
  std::vector<size_t> ends_;
  std::vector<char> target_;
  size_t largest_ = 0;
  size_t current_ = 0;
};

}  // namespace vek::bench

#endif  // VEK_BENCH_RECORD_POOL_H
