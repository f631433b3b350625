#include "tools/demo_pages.h"

#include <utility>

namespace vek::tools {

const std::vector<DemoDevice>& demo_devices() {
  static const std::vector<DemoDevice> devices{
      {"leaf01.hall-a", "hall_a", 1}, {"leaf02.hall-a", "hall_a", 1},
      {"leaf01.hall-b", "hall_b", 1}, {"spine01.core", "core", 3},
      {"bench-node", "", 1},
  };
  return devices;
}

DemoPages::DemoPages(uint64_t seed, const std::vector<DemoGroup>& groups,
                     const vek_counters_schema_t& schema, const uint8_t* schema_id)
    : schema_id_(schema_id) {
  constexpr uint64_t kAlignment = 64;  // collectors keep blocks on cache lines
  const uint64_t block = VEK_BLOCK_HEADER_SIZE + schema.size_of_counters;
  block_size_ = (block + kAlignment - 1) / kAlignment * kAlignment;
  uint32_t number = 0;
  for (const DemoDevice& device : demo_devices()) {
    agents_.push_back({&device, DemoSource(seed, ++number, groups, schema), new_page(device), 0});
  }
}

PageWriter DemoPages::new_page(const DemoDevice& device) const {
  // A page of one block needs no boundaries.
  PageWriter page(device.source_id, device.tag, device.samples_per_page > 1 ? block_size_ : 0);
  page.set_counters_schema_id(schema_id_);
  return page;
}

bool DemoPages::sample(Agent& agent, uint64_t time_us) {
  agent.source.advance();
  if (agent.samples > 0) agent.page.next_block();
  agent.page.counters_block(time_us, agent.source.values());
  ++agent.samples;
  return agent.samples == agent.device->samples_per_page;
}

std::vector<uint8_t> DemoPages::next() {
  for (;;) {
    Agent& agent = agents_[turn_];
    const uint64_t time_us = kStartUs + second_ * 1'000'000 + turn_ * 37'000;
    turn_ = (turn_ + 1) % agents_.size();
    if (turn_ == 0) ++second_;
    if (!sample(agent, time_us)) continue;
    std::vector<uint8_t> image = agent.page.finish();
    records_ += agent.samples;
    agent.page = new_page(*agent.device);
    agent.samples = 0;
    return image;
  }
}

}  // namespace vek::tools
