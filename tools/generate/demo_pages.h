// The pages of the demonstration data: five devices, a sample a second each, one of which adds
// events to its pages, and a manager that reports events only.
#ifndef VEK_TOOLS_GENERATE_DEMO_PAGES_H
#define VEK_TOOLS_GENERATE_DEMO_PAGES_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "data/page_writer.h"
#include "tools/generate/demo_event_source.h"
#include "tools/generate/demo_source.h"

namespace vek::tools {

struct DemoDevice {
  std::string_view source_id;
  std::string_view tag;            // empty: an agent that knows no tags
  uint32_t samples_per_page;       // 0: it has no counters
  uint32_t event_blocks_per_page;  // behind the samples
};

// What the pages are made by; all borrowed.
struct DemoSchemas {
  const std::vector<DemoGroup>& groups;
  const vek_counters_schema_t& counters;  // of `groups`
  const uint8_t* counters_id;             // 16 bytes
  const vek_type_system_t& type_system;   // begins with those of add_demo_events()
};

// The devices, in the order in which they have their turns within a second.
const std::vector<DemoDevice>& demo_devices();

class DemoPages {
 public:
  // Microseconds since the epoch of the first sample: 2026-01-01 00:00:00 UTC.
  static constexpr uint64_t kStartUs = 1'767'225'600'000'000;

  DemoPages(uint64_t seed, const DemoSchemas& schemas);

  // The next page image; pages are in the order of their last samples.
  std::vector<uint8_t> next();
  // In the pages so far:
  uint64_t samples() const { return samples_; }  // counters blocks
  uint64_t events() const { return events_; }

 private:
  struct Agent {
    const DemoDevice* device;
    DemoSource source;
    DemoEventSource event_source;
    PageWriter page;
    uint32_t samples;  // in `page`
  };

  PageWriter new_page(const DemoDevice& device) const;
  void sample(Agent& agent, uint64_t time_us);
  void report(Agent& agent, uint64_t time_us);

  const uint8_t* counters_id_;
  std::vector<std::vector<uint8_t>> event_schema_ids_;
  uint64_t block_size_;
  std::vector<Agent> agents_;
  size_t turn_ = 0;      // the agent whose turn is next
  uint64_t second_ = 0;  // since the start
  uint64_t samples_ = 0;
  uint64_t events_ = 0;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_DEMO_PAGES_H
