// Values of counters and fields, from record to record.
#ifndef VEK_BENCH_SAMPLE_VALUES_H
#define VEK_BENCH_SAMPLE_VALUES_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace vek::bench {

enum class Values {
  kSteady,  // grown by a little, as real counters do
  kRandom   // drawn anew, of any magnitude
};

inline std::vector<uint64_t> draw_values(size_t count, std::mt19937_64& random) {
  std::vector<uint64_t> values(count);
  for (uint64_t& value : values) value = random() >> random() % 64;
  return values;
}

// What the next record has. The value at `identifier` does not grow.
inline void go_on(std::vector<uint64_t>& values, Values how, size_t identifier,
                  std::mt19937_64& random) {
  if (how == Values::kRandom) {
    values = draw_values(values.size(), random);
  } else {
    // Within the same power of two mostly, as a counter's next sample is.
    for (size_t i = 0; i < values.size(); ++i) {
      if (i != identifier) values[i] += values[i] >> 16;
    }
  }
}

}  // namespace vek::bench

#endif  // VEK_BENCH_SAMPLE_VALUES_H
