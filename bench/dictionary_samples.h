// Dictionaries as the stream events in which they arrive.
#ifndef VEK_BENCH_DICTIONARY_SAMPLES_H
#define VEK_BENCH_DICTIONARY_SAMPLES_H

#include <cstdint>
#include <string>
#include <vector>

#include "dict_reader/dict_event.h"

namespace vek::bench {

struct StreamEvent {
  python_event_type_t type;
  uint32_t key_id;
  std::string data;
};
using Stream = std::vector<StreamEvent>;

enum class Shape { kSmall, kWide, kDeep };

// Key names, to be sent once: 10 values in one dictionary, 1000 values, or 50 levels with two
// values each.
Stream dictionary_keys(Shape shape);
// One collection with values of many magnitudes; `seed` tells collections of a shape apart.
Stream dictionary_collection(Shape shape, uint32_t seed);

}  // namespace vek::bench

#endif  // VEK_BENCH_DICTIONARY_SAMPLES_H
