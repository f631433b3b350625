#include "counters/counters_msgpack.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string_view>

#include "counters/counter_plan.h"
#include "data/data_page.h"
#include "utils/msgpack_buffer.h"
#include "utils/record_packer.h"

namespace {

// The set's plan, or one in `made` for a set that was put together or changed by hand.
const vek_counter_plan* plan_of(const vek_counter_set_t& set,
                                std::unique_ptr<vek_counter_plan>& made) noexcept {
  if (set.plan && set.plan->fits(set)) return set.plan;
  made = vek::make_counter_plan(set);
  return made.get();
}

[[gnu::cold, gnu::noinline]] std::string_view pack_by_own_plan(vek::RecordPacker& packer,
                                                               const void* block,
                                                               const vek_counter_set_t& set,
                                                               std::string_view source,
                                                               vek::RecordLayout layout) noexcept {
  const std::unique_ptr<vek_counter_plan> plan = vek::make_counter_plan(set);
  if (!plan) return {};
  const vek::CountersRecord record(*plan, set, block, source, layout);
  return packer.pack_once(record.head, record.body, record.input);
}

constexpr size_t kFirstCapacity = 8192;  // bytes; hosts count on room for a normal record

bool packs_something(const void* block, const vek_counter_set_t* set) noexcept {
  return block && set && set->num_exported > 0;
}

// UINT64_MAX when the end overflows.
uint64_t end_of(const vek_counter_set_element_t& counter) noexcept {
  const uint64_t size = counter.data_type == VEK_DATA_TYPE_STRING ? counter.length : 8;
  constexpr uint64_t kMax = std::numeric_limits<uint64_t>::max();
  return counter.offset > kMax - size ? kMax : counter.offset + size;
}

}  // namespace

void vek_counter_block_to_msgpack_filtered(msgpack_sbuffer* out, const void* block,
                                           const vek_counter_set_t* set, const char* source,
                                           const char* layout) {
  if (!out) return;
  msgpack_sbuffer_init(out);
  if (!packs_something(block, set)) return;
  std::unique_ptr<vek_counter_plan> made;
  const vek_counter_plan* plan = plan_of(*set, made);
  if (!plan) return;
  const vek::CountersRecord record(*plan, *set, block, source ? source : std::string_view(),
                                   vek::layout_named(layout));
  vek::MsgpackBuffer buffer;
  const size_t size =
      vek::pack_record(buffer, record.head, record.body, record.input, kFirstCapacity);
  if (size > 0) buffer.hand_over(size, *out);
}

std::string_view vek::pack_counters_block(RecordPacker& packer, const void* block,
                                          const vek_counter_set_t* set, std::string_view source,
                                          RecordLayout layout) noexcept {
  if (!packs_something(block, set)) return {};
  if (!set->plan || !set->plan->counts_fit(*set)) [[unlikely]] {
    return pack_by_own_plan(packer, block, *set, source, layout);
  }
  const CountersRecord record(*set->plan, *set, block, source, layout);
  return packer.pack(record.head, record.body, record.input);
}

uint64_t vek_counter_set_block_extent(const vek_counter_set_t* set) {
  uint64_t extent = sizeof(vek_counters_block_t);
  if (!set) return extent;
  for (uint64_t i = 0; i < set->num_counters; ++i) {
    if (!set->skip[i]) extent = std::max(extent, end_of(set->counters[i]));
  }
  for (uint64_t i = 0; i < set->num_meta; ++i) {
    const vek_counter_set_meta_element_t& meta = set->meta[i];
    if (!meta.skip && meta.kind == VEK_META_COUNTER_ALIAS) {
      extent = std::max(extent, end_of(meta.element));
    }
  }
  return extent;
}
