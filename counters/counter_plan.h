// How the blocks of one counter set become records, worked out once. Internal to the folder.
#ifndef VEK_COUNTERS_COUNTER_PLAN_H
#define VEK_COUNTERS_COUNTER_PLAN_H

#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "counters/counter_set.h"
#include "utils/packing_plan.h"
#include "utils/record_layout.h"

struct vek_counter_plan {
  vek::PlanSection flb_std_head;
  vek::PlanSection custom_head;
  vek::PlanSection custom_head_without_source;
  vek::PlanSection body;  // meta fields, then counters; the same in every layout

  // What the set showed when the plan was made.
  uint64_t num_exported = 0;
  uint64_t num_shown_meta = 0;
  std::vector<uint8_t> skip;

  // False for a set whose choice of counters was changed by hand since.
  bool fits(const vek_counter_set_t& set) const noexcept {
    return num_exported == set.num_exported && num_shown_meta == set.num_shown_meta &&
           skip.size() == set.num_counters &&
           (skip.empty() || std::memcmp(skip.data(), set.skip, skip.size()) == 0);
  }
};

namespace vek {

// Null when memory runs out.
std::unique_ptr<vek_counter_plan> make_counter_plan(const vek_counter_set_t& set) noexcept;

// What a block's record is packed from. Refers to everything that it is made of.
struct CountersRecord {
  CountersRecord(const vek_counter_plan& plan, const vek_counter_set_t& set, const void* block,
                 std::string_view source, RecordLayout layout) noexcept;

  PlanInput input;
  const PlanSection& head;
  const PlanSection& body;

 private:
  const PlanSection& head_for(const vek_counter_plan& plan, RecordLayout layout) const noexcept;
};

}  // namespace vek

#endif  // VEK_COUNTERS_COUNTER_PLAN_H
