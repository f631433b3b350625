#include "tools/generate/demo_pages.h"

#include <utility>

namespace vek::tools {

const std::vector<DemoDevice>& demo_devices() {
  static const std::vector<DemoDevice> devices{
      {"leaf01.hall-a", "hall_a", 1, 0}, {"leaf02.hall-a", "hall_a", 1, 0},
      {"leaf01.hall-b", "hall_b", 1, 0}, {"spine01.core", "core", 3, 2},
      {"bench-node", "", 1, 0},          {"fabric-manager", "events", 0, 4},
  };
  return devices;
}

DemoPages::DemoPages(uint64_t seed, const DemoSchemas& schemas)
    : counters_id_(schemas.counters_id) {
  constexpr uint64_t kAlignment = 64;  // collectors keep blocks on cache lines
  const uint64_t block = VEK_BLOCK_HEADER_SIZE + schemas.counters.size_of_counters;
  block_size_ = (block + kAlignment - 1) / kAlignment * kAlignment;
  for (uint8_t i = 0; i < kDemoEventSchemas; ++i) {
    const uint8_t* id = schemas.type_system.schemas[i]->digest;
    event_schema_ids_.emplace_back(id, id + VEK_SCHEMA_ID_SIZE);
  }
  uint32_t with_counters = 0;
  for (const DemoDevice& device : demo_devices()) with_counters += device.samples_per_page > 0;
  uint32_t number = 0;
  for (const DemoDevice& device : demo_devices()) {
    ++number;
    agents_.push_back({&device, DemoSource(seed, number, schemas.groups, schemas.counters),
                       DemoEventSource(seed, number, with_counters), new_page(device), 0});
  }
}

PageWriter DemoPages::new_page(const DemoDevice& device) const {
  // A page of one block needs no boundaries.
  PageWriter page(device.source_id, device.tag, device.samples_per_page > 1 ? block_size_ : 0);
  if (device.samples_per_page > 0) page.set_counters_schema_id(counters_id_);
  return page;
}

void DemoPages::sample(Agent& agent, uint64_t time_us) {
  agent.source.advance();
  if (agent.samples > 0) agent.page.next_block();
  agent.page.counters_block(time_us, agent.source.values());
  ++agent.samples;
}

// Events blocks follow each other inside one block of the page.
void DemoPages::report(Agent& agent, uint64_t time_us) {
  if (agent.samples > 0) agent.page.next_block();
  agent.page.schemas_block(event_schema_ids_);
  for (uint32_t i = 0; i < agent.device->event_blocks_per_page; ++i) {
    const uint64_t block_time_us = time_us + uint64_t{i} * 1000;
    const DemoEventSource::Block block = agent.event_source.next(block_time_us);
    agent.page.events_block(block_time_us, block.type.schema, block.type.type, block.count,
                            block.events);
    events_ += block.count;
  }
}

std::vector<uint8_t> DemoPages::next() {
  for (;;) {
    Agent& agent = agents_[turn_];
    const uint64_t time_us = kStartUs + second_ * 1'000'000 + turn_ * 37'000;
    turn_ = (turn_ + 1) % agents_.size();
    if (turn_ == 0) ++second_;
    const DemoDevice& device = *agent.device;
    if (device.samples_per_page > 0) sample(agent, time_us);
    if (agent.samples < device.samples_per_page) continue;
    if (device.event_blocks_per_page > 0) report(agent, time_us);
    std::vector<uint8_t> image = agent.page.finish();
    samples_ += agent.samples;
    agent.page = new_page(device);
    agent.samples = 0;
    return image;
  }
}

}  // namespace vek::tools
