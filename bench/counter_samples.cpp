#include "bench/counter_samples.h"

#include <cstring>
#include <random>
#include <string>

namespace vek::bench {
namespace {

constexpr size_t kBlocks = 32;
constexpr uint64_t kFirstTime = 1700000000123456;
constexpr uint32_t kTextLength = 16;

struct Kind {
  const char* name;
  uint32_t data_type;
};

constexpr Kind kKinds[] = {
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

bool add_counter(vek_counter_group_t* group, size_t index) {
  const Kind& kind = kKinds[index % std::size(kKinds)];
  std::string name = index == 3 ? "port_guid" : kind.name + ("_" + std::to_string(index));
  char empty[] = "";
  vek_counter_info_t counter = {};
  counter.name = name.data();
  counter.description = empty;
  counter.units = empty;
  counter.data_type = kind.data_type;
  counter.length = kind.data_type == VEK_DATA_TYPE_STRING ? kTextLength : 8;
  return vek_add_counter_to_group(group, &counter);
}

void fill_value(const vek_counter_info_t& counter, std::mt19937_64& random, uint8_t* at) {
  const uint64_t bits = random() >> random() % 64;
  const double real = 20 + static_cast<double>(bits % 8000) / 100;
  switch (counter.data_type) {
    case VEK_DATA_TYPE_FP64:
      std::memcpy(at, &real, sizeof(real));
      break;
    case VEK_DATA_TYPE_STRING:
      std::memcpy(at, "active_and_up", bits % 14);
      break;
    default:
      std::memcpy(at, &bits, sizeof(bits));
      break;
  }
}

std::vector<uint8_t> make_block(const vek_counters_schema_t* schema, std::mt19937_64& random,
                                uint64_t time_us) {
  std::vector<uint8_t> block(sizeof(vek_counters_block_t) + schema->size_of_counters);
  std::memcpy(block.data(), "VEKD", 4);
  std::memcpy(block.data() + 8, &time_us, sizeof(time_us));
  const vek_counter_group_t* group = schema->groups[0];
  for (uint32_t i = 0; i < group->num_counters; ++i) {
    const vek_counter_info_t& counter = *group->counters[i];
    fill_value(counter, random, block.data() + sizeof(vek_counters_block_t) + counter.offset);
  }
  return block;
}

}  // namespace

CounterSamples::CounterSamples(size_t num_counters) : schema_(vek_create_counters_schema()) {
  vek_counter_group_t* group = vek_create_counter_group(nullptr, nullptr);
  group->num_counter_sets = 1;
  for (size_t i = 0; i < num_counters; ++i) add_counter(group, i);
  vek_counters_schema_append_group(schema_.get(), group);
  vek_counters_schema_update_counter_offsets(schema_.get());
  schema_->size_of_counters = vek_counters_schema_size_of_counters(schema_.get());
  set_.reset(vek_schema_to_counter_set(schema_.get(), nullptr));

  std::mt19937_64 random(num_counters);
  for (size_t i = 0; i < kBlocks; ++i) {
    blocks_.push_back(make_block(schema_.get(), random, kFirstTime + i * 1'000'000));
  }
}

}  // namespace vek::bench
