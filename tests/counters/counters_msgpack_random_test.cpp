// Random schemas, sets and values: the conversion against the plain packer, byte for byte.
#include <gtest/gtest.h>

#include <random>

#include "tests/counters/counters_fixture.h"
#include "tests/counters/plain_packer.h"
#include "tests/counters/record.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}

  uint64_t below(uint64_t end) { return engine_() % end; }
  bool one_in(uint64_t n) { return below(n) == 0; }
  // Numbers of every width, and those around the edges of the forms.
  uint64_t number() {
    const uint64_t width = below(65);
    const uint64_t bits = width == 64 ? engine_() : engine_() & ((uint64_t{1} << width) - 1);
    const uint64_t edge = (width == 64 ? 0 : uint64_t{1} << width) + below(3) - 1;
    const uint64_t value = one_in(2) ? bits : edge;
    return one_in(2) ? value : ~value;
  }
  std::string name() {
    static constexpr const char* kKnown[] = {"timestamp", "source",    "type", "values",
                                             "port_guid", "node_guid", "GUID", "guid"};
    if (one_in(12)) return kKnown[below(std::size(kKnown))];
    const size_t size = one_in(40) ? below(400) : below(40);
    return text(size + 1);
  }
  std::string text(size_t size) {
    std::string result(size, ' ');
    for (char& c : result) c = static_cast<char>('a' + below(26));
    return result;
  }

 private:
  std::mt19937_64 engine_;
};

Schema random_schema(Random& random) {
  std::vector<std::vector<CounterSpec>> groups(1 + random.below(3));
  for (auto& group : groups) {
    const size_t count = random.one_in(20) ? 200 : random.below(20);
    for (size_t i = 0; i < count; ++i) {
      CounterSpec spec{random.name()};
      spec.data_type =
          static_cast<uint32_t>(random.one_in(30) ? random.below(9) : random.below(5) + 1);
      spec.length = static_cast<uint32_t>(spec.data_type == VEK_DATA_TYPE_STRING
                                              ? 1 + random.below(random.one_in(9) ? 600 : 40)
                                              : random.below(4) * 4);
      group.push_back(spec);
    }
  }
  return make_schema(groups);
}

Set random_set(Random& random, const vek_counters_schema_t* schema) {
  if (random.one_in(4)) return Set(vek_schema_to_counter_set(schema, nullptr));
  std::string lines;
  const auto some_name = [&] {
    const Set all(vek_schema_to_counter_set(schema, nullptr));
    if (all->num_counters == 0 || random.one_in(5)) return random.name();
    return std::string(all->counters[random.below(all->num_counters)].name);
  };
  for (uint64_t i = random.below(8); i > 0; --i) {
    switch (random.below(5)) {
      case 0:
        lines += random.text(1) + "\n";
        break;
      case 1:
        lines += random.name() + "=" + random.text(1) + "\n";
        break;
      case 2:
        lines += "-" + random.text(2) + "\n";
        break;
      case 3:
        lines += "meta_field_alias:" + some_name() + "=" + random.name() + "\n";
        break;
      default:
        lines += "meta_field_add:" + random.name() + "=" + random.text(random.below(300)) + "\n";
        break;
    }
  }
  Set set = set_from_lines(schema, lines);
  // Hosts switch single counters by hand.
  for (uint64_t i = 0; i < set->num_counters; ++i) {
    if (!random.one_in(10)) continue;
    set->skip[i] ^= 1;
    if (set->skip[i]) {
      --set->num_exported;
    } else {
      ++set->num_exported;
    }
  }
  return set;
}

Block random_block(Random& random, const vek_counters_schema_t* schema, uint64_t extent) {
  const uint64_t size = std::max<uint64_t>(extent - 16, schema->size_of_counters);
  Block block(size, random.number());
  for (uint64_t i = 16; i + 8 <= block.size(); i += 8) {
    const uint64_t value = random.number();
    std::memcpy(block.data() + i, &value, 8);
  }
  for (uint32_t g = 0; g < schema->num_groups; ++g) {
    for (uint32_t c = 0; c < schema->groups[g]->num_counters; ++c) {
      const vek_counter_info_t& counter = *schema->groups[g]->counters[c];
      if (16 + uint64_t{counter.offset} + 8 > block.size()) continue;
      if (counter.data_type == VEK_DATA_TYPE_STRING) continue;
      const uint64_t value = random.number();
      std::memcpy(block.data() + 16 + counter.offset, &value, 8);
    }
  }
  return block;
}

TEST(CounterRecordOfRandomSchemas, EqualsThePlainPackers) {
  const LogCapture quiet(0);
  uint64_t records = 0;
  for (uint64_t seed = 1; seed <= 1500; ++seed) {
    Random random(seed);
    const Schema schema = random_schema(random);
    const Set set = random_set(random, schema.get());
    const uint64_t extent = vek_counter_set_block_extent(set.get());
    const Block block = random_block(random, schema.get(), extent);
    const GuardedBytes guarded(block.bytes().first(extent));
    for (const char* source : {"", "node1", "a source of more than thirty-one bytes"}) {
      for (const char* layout : {"flb_std", "custom"}) {
        const Record ours(guarded.data(), set.get(), source, layout);
        const Record plain(guarded.data(), set.get(), source, layout, plain_pack);
        ASSERT_EQ(ours.hex(), plain.hex())
            << "seed " << seed << ", source '" << source << "', layout " << layout;
        records += ours.buffer().size > 0;
      }
    }
  }
  EXPECT_GT(records, 5000u) << "most of the random sets export something";
}

}  // namespace
}  // namespace vek::test
