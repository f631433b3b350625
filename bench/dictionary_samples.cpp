#include "bench/dictionary_samples.h"

#include <random>

namespace vek::bench {
namespace {

constexpr uint32_t kDeepLevels = 50;
constexpr uint32_t kDeepKey = 999'999;  // of the dictionary one level below

template <typename T>
std::string bytes_of(T value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

uint32_t values_of(Shape shape) {
  if (shape == Shape::kSmall) return 10;
  return shape == Shape::kWide ? 1000 : 2 * kDeepLevels;
}

// Mostly numbers, some short texts, a flag now and then.
StreamEvent value(uint32_t key_id, std::mt19937_64& random) {
  switch (key_id % 5) {
    case 0:
      return {PYTHON_STRING, key_id, "state-" + std::to_string(random() % 1'000'000'000'000)};
    case 1:
      return {PYTHON_DOUBLE, key_id, bytes_of(static_cast<double>(random() % 10'000) / 7)};
    case 2:
      return {random() % 2 ? PYTHON_BOOL_TRUE : PYTHON_BOOL_FALSE, key_id, ""};
    default:
      return {PYTHON_LONG, key_id, bytes_of(static_cast<int64_t>(random() >> (random() % 63)))};
  }
}

}  // namespace

Stream dictionary_keys(Shape shape) {
  Stream stream;
  for (uint32_t i = 0; i < values_of(shape); ++i) {
    stream.push_back({PYTHON_ID, i, "interface_counter_" + std::to_string(i)});
  }
  stream.push_back({PYTHON_ID, kDeepKey, "next_level"});
  return stream;
}

Stream dictionary_collection(Shape shape, uint32_t seed) {
  std::mt19937_64 random(seed);
  const uint32_t levels = shape == Shape::kDeep ? kDeepLevels : 1;
  const uint32_t values = values_of(shape);
  Stream stream = {
      {PYTHON_NEW_COLLECTION, kNoKeyId, bytes_of(1'700'000'000'000'000 + random() % 1'000'000)}};
  uint32_t key_id = 0;
  for (uint32_t level = 0; level < levels; ++level) {
    stream.push_back({PYTHON_DICT_START, level == 0 ? kNoKeyId : kDeepKey, ""});
    for (uint32_t i = 0; i < values / levels; ++i) stream.push_back(value(key_id++, random));
  }
  for (uint32_t level = 0; level < levels; ++level) {
    stream.push_back({PYTHON_DICT_END, kNoKeyId, ""});
  }
  return stream;
}

}  // namespace vek::bench
