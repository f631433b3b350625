#include "bench/counter_samples.h"

#include <bit>
#include <cstring>
#include <random>

#include "bench/record_pool.h"
#include "bench/sample_values.h"
#include "tests/support/temp_dir.h"

namespace vek::bench {
namespace {

constexpr size_t kBytesPerCounter = 28;  // of a record, about
constexpr uint64_t kFirstTime = 1700000000123456;
constexpr uint32_t kTextLength = 16;

struct Kind {
  const char* name;
  uint32_t data_type;
};

constexpr Kind kUsual[] = {
    {"port_rcv_data", VEK_DATA_TYPE_UINT64},
    {"port_xmit_data", VEK_DATA_TYPE_UINT64},
    {"rx_vport_unicast_packets", VEK_DATA_TYPE_UINT64},
    {"tx_discards", VEK_DATA_TYPE_UINT64},
    {"temperature", VEK_DATA_TYPE_FP64},
    {"symbol_errors", VEK_DATA_TYPE_UINT64},
    {"link_flags", VEK_DATA_TYPE_BIT64},
    {"queue_drift", VEK_DATA_TYPE_INT64},
    {"rx_csum_complete", VEK_DATA_TYPE_UINT64},
    {"state", VEK_DATA_TYPE_STRING},
};
constexpr size_t kGuid = 3;  // the counter that is an identifier
constexpr Kind kText = {"state", VEK_DATA_TYPE_STRING};
constexpr Kind kHex = {"port_guid", VEK_DATA_TYPE_UINT64};

Kind kind_of(size_t index, CounterMix mix) {
  if (mix == CounterMix::kTexts) return kText;
  if (mix == CounterMix::kHex || index == kGuid) return kHex;
  return kUsual[index % std::size(kUsual)];
}

bool add_counter(vek_counter_group_t* group, size_t index, CounterMix mix) {
  const Kind kind = kind_of(index, mix);
  std::string name = kind.name;
  if (kind.name != kHex.name) name += "_" + std::to_string(index);
  char empty[] = "";
  vek_counter_info_t counter = {};
  counter.name = name.data();
  counter.description = empty;
  counter.units = empty;
  counter.data_type = kind.data_type;
  counter.length = kind.data_type == VEK_DATA_TYPE_STRING ? kTextLength : 8;
  return vek_add_counter_to_group(group, &counter);
}

void fill_value(const vek_counter_info_t& counter, uint64_t bits, uint8_t* at) {
  const double real = 20 + static_cast<double>(bits % 8000) / 100;
  switch (counter.data_type) {
    case VEK_DATA_TYPE_FP64:
      std::memcpy(at, &real, sizeof(real));
      break;
    case VEK_DATA_TYPE_STRING:
      // A state changes when its number's size does.
      std::memcpy(at, "active_and_up", static_cast<size_t>(std::bit_width(bits)) % 14);
      break;
    default:
      std::memcpy(at, &bits, sizeof(bits));
      break;
  }
}

std::vector<uint8_t> make_block(const vek_counters_schema_t* schema,
                                const std::vector<uint64_t>& values, uint64_t time_us) {
  std::vector<uint8_t> block(sizeof(vek_counters_block_t) + schema->size_of_counters);
  std::memcpy(block.data(), "VEKD", 4);
  std::memcpy(block.data() + 8, &time_us, sizeof(time_us));
  const vek_counter_group_t* group = schema->groups[0];
  for (uint32_t i = 0; i < group->num_counters; ++i) {
    const vek_counter_info_t& counter = *group->counters[i];
    fill_value(counter, values[i], block.data() + sizeof(vek_counters_block_t) + counter.offset);
  }
  return block;
}

}  // namespace

CounterSamples::CounterSamples(const CounterSampleOptions& options)
    : type_system_(vek_create_type_system()) {
  vek_counters_schema_t* schema = vek_create_counters_schema();
  type_system_->counters_schema = schema;
  vek_counter_group_t* group = vek_create_counter_group(nullptr, nullptr);
  group->num_counter_sets = 1;
  for (size_t i = 0; i < options.num_counters; ++i) add_counter(group, i, options.mix);
  vek_counters_schema_append_group(schema, group);
  vek_counters_schema_update_counter_offsets(schema);
  schema->size_of_counters = vek_counters_schema_size_of_counters(schema);

  const test::TempDir folder;
  std::string rules;
  for (const std::string& rule : options.rules) rules += rule + "\n";
  const std::string file = folder.write("bench.cset", rules);
  set_.reset(vek_schema_to_counter_set(schema, rules.empty() ? nullptr : file.c_str()));

  const size_t count = samples_for(kBytesPerCounter * options.num_counters);
  std::mt19937_64 random(options.num_counters);
  std::vector<uint64_t> values = draw_values(options.num_counters, random);
  for (size_t i = 0; i < count; ++i) {
    blocks_.push_back(make_block(schema, values, kFirstTime + i * 1'000'000));
    go_on(values, options.values, kGuid, random);
  }
}

}  // namespace vek::bench
