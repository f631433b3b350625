// Schemas, sets and blocks for the tests of this folder.
#ifndef VEK_TESTS_COUNTERS_COUNTERS_FIXTURE_H
#define VEK_TESTS_COUNTERS_COUNTERS_FIXTURE_H

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "counters/counter_set.h"
#include "counters/counters_schema.h"
#include "utils/owned.h"
#include "utils/string_array.h"

namespace vek::test {

using Schema = Owned<vek_counters_schema_t, vek_destroy_counters_schema>;
using Group = Owned<vek_counter_group_t, vek_destroy_counter_group>;
using Set = Owned<vek_counter_set_t, vek_free_counter_set>;
using Strings = Owned<vek_string_array_t, vek_free_string_array>;

struct CounterSpec {
  std::string name;
  uint32_t data_type = VEK_DATA_TYPE_UINT64;
  uint32_t length = 0;
  std::string description = {};
};

Group make_group(const std::string& name, const std::vector<CounterSpec>& counters,
                 uint32_t num_counter_sets = 1);
// One group for each list; offsets and size_of_counters are in place.
Schema make_schema(const std::vector<std::vector<CounterSpec>>& groups);
inline Schema make_schema(const std::vector<CounterSpec>& counters) {
  return make_schema(std::vector<std::vector<CounterSpec>>{counters});
}
std::vector<CounterSpec> named(const std::vector<std::string>& names);

Strings strings_of(const std::vector<std::string>& texts);
// A set as the lines of a counter-set file make it.
Set set_from_lines(const vek_counters_schema_t* schema, const std::string& contents);
std::vector<std::string> exported_names(const vek_counter_set_t* set);
std::vector<std::string> shown_meta_names(const vek_counter_set_t* set);

// The bytes of a counters block.
class Block {
 public:
  Block(const vek_counters_schema_t* schema, uint64_t timestamp_us)
      : Block(schema->size_of_counters, timestamp_us) {}
  Block(size_t size_of_values, uint64_t timestamp_us);

  // Puts a value where the schema has the counter.
  template <typename T>
  Block& put(const vek_counters_schema_t* schema, const char* counter, T value) {
    return put_bytes(schema, counter, &value, sizeof(value));
  }
  Block& put_text(const vek_counters_schema_t* schema, const char* counter,
                  const std::string& text) {
    return put_bytes(schema, counter, text.data(), text.size());
  }
  const uint8_t* data() const { return bytes_.data(); }
  uint8_t* data() { return bytes_.data(); }
  size_t size() const { return bytes_.size(); }
  std::span<const uint8_t> bytes() const { return bytes_; }

 private:
  Block& put_bytes(const vek_counters_schema_t* schema, const char* counter, const void* data,
                   size_t size);

  std::vector<uint8_t> bytes_;
};

// What a function prints to the stream that it is given.
std::string printed(const std::function<void(std::FILE*)>& print);

}  // namespace vek::test

#endif  // VEK_TESTS_COUNTERS_COUNTERS_FIXTURE_H
