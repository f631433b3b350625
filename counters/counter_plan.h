// How the blocks of one counter set become records, worked out once. Internal to the folder.
#ifndef VEK_COUNTERS_COUNTER_PLAN_H
#define VEK_COUNTERS_COUNTER_PLAN_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "counters/counter_set.h"
#include "data/data_page.h"
#include "utils/packing_plan.h"
#include "utils/record_layout.h"
#include "utils/unaligned.h"

struct vek_counter_plan {
  vek::PlanSection flb_std_head;
  vek::PlanSection custom_head;
  vek::PlanSection custom_head_without_source;
  vek::PlanSection body;  // meta fields, then counters; the same in every layout

  // What the set showed when the plan was made.
  uint64_t num_exported = 0;
  uint64_t num_shown_meta = 0;
  std::vector<uint8_t> skip;

  // False for a set of which more or fewer is shown since, which is seen without a look at every
  // counter.
  bool counts_fit(const vek_counter_set_t& set) const noexcept {
    return num_exported == set.num_exported && num_shown_meta == set.num_shown_meta;
  }
  // False for a set whose choice of counters was changed by hand since.
  bool fits(const vek_counter_set_t& set) const noexcept {
    return counts_fit(set) && skip.size() == set.num_counters &&
           (skip.empty() || std::memcmp(skip.data(), set.skip, skip.size()) == 0);
  }
};

namespace vek {

// Null when memory runs out.
std::unique_ptr<vek_counter_plan> make_counter_plan(const vek_counter_set_t& set) noexcept;

// Tells of the counter, or behind them the meta field, whose type nobody knows.
void log_unknown_type_of(const void* set_of_counters, uint64_t index);

// What a block's record is packed from. Refers to everything that it is made of.
struct CountersRecord {
  CountersRecord(const vek_counter_plan& plan, const vek_counter_set_t& set, const void* block,
                 std::string_view source, RecordLayout layout) noexcept
      : input{.bytes = static_cast<const char*>(block),
              .time_us = load_unaligned<uint64_t>(static_cast<const char*>(block) +
                                                  offsetof(vek_counters_block_t, timestamp)),
              .source = source,
              .has_source = !source.empty(),
              .note = log_unknown_type_of,
              .context = &set},
        head(layout == RecordLayout::kFlbStd ? plan.flb_std_head
             : input.has_source              ? plan.custom_head
                                             : plan.custom_head_without_source),
        body(plan.body) {}

  PlanInput input;
  const PlanSection& head;
  const PlanSection& body;
};

}  // namespace vek

#endif  // VEK_COUNTERS_COUNTER_PLAN_H
