// The pages of the demonstration data: five devices, a sample a second each.
#ifndef VEK_TOOLS_DEMO_PAGES_H
#define VEK_TOOLS_DEMO_PAGES_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "data/page_writer.h"
#include "tools/demo_source.h"

namespace vek::tools {

struct DemoDevice {
  std::string_view source_id;
  std::string_view tag;  // empty: an agent that knows no tags
  uint32_t samples_per_page;
};

// The devices, in the order in which their samples are taken within a second.
const std::vector<DemoDevice>& demo_devices();

class DemoPages {
 public:
  // Microseconds since the epoch of the first sample: 2026-01-01 00:00:00 UTC.
  static constexpr uint64_t kStartUs = 1'767'225'600'000'000;

  // `schema_id` is the 16-byte identifier of `schema`; all arguments are borrowed.
  DemoPages(uint64_t seed, const std::vector<DemoGroup>& groups,
            const vek_counters_schema_t& schema, const uint8_t* schema_id);

  // The next page image; pages are in the order of their last samples.
  std::vector<uint8_t> next();
  uint64_t records() const { return records_; }  // counters blocks in the pages so far

 private:
  struct Agent {
    const DemoDevice* device;
    DemoSource source;
    PageWriter page;
    uint32_t samples;  // in `page`
  };

  PageWriter new_page(const DemoDevice& device) const;
  bool sample(Agent& agent, uint64_t time_us);  // true when its page is complete

  const uint8_t* schema_id_;
  uint64_t block_size_;
  std::vector<Agent> agents_;
  size_t turn_ = 0;      // the agent whose sample is next
  uint64_t second_ = 0;  // since the start
  uint64_t records_ = 0;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_DEMO_PAGES_H
