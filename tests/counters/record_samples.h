// Blocks and their records, for the tests of the packing.
#ifndef VEK_TESTS_COUNTERS_RECORD_SAMPLES_H
#define VEK_TESTS_COUNTERS_RECORD_SAMPLES_H

#include <string>

#include "tests/counters/counters_fixture.h"
#include "tests/counters/record.h"

namespace vek::test {

inline constexpr uint64_t kTime = 1700000000250000;  // exactly 1700000000.25 seconds

inline Set whole_set(const Schema& schema) {
  return Set(vek_schema_to_counter_set(schema.get(), nullptr));
}

inline std::string record_text(const Set& set, const Block& block, const char* source,
                               const char* layout) {
  return Record(block.data(), set.get(), source, layout).text();
}

// A block with a counter of every data type.
struct EveryType {
  Schema schema = make_schema({{"u", VEK_DATA_TYPE_UINT64},
                               {"text", VEK_DATA_TYPE_STRING, 5},
                               {"b", VEK_DATA_TYPE_BIT64},
                               {"f", VEK_DATA_TYPE_FP64},
                               {"i", VEK_DATA_TYPE_INT64},
                               {"port_guid", VEK_DATA_TYPE_UINT64}});
  Block block = Block(schema.get(), kTime);

  EveryType() {
    const auto* s = schema.get();
    block.put(s, "u", uint64_t{300}).put_text(s, "text", "up").put(s, "b", uint64_t{7});
    block.put(s, "f", -2.5).put(s, "i", int64_t{-40}).put(s, "port_guid", uint64_t{0xbeef});
  }
};

}  // namespace vek::test

#endif  // VEK_TESTS_COUNTERS_RECORD_SAMPLES_H
