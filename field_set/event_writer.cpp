// Carries plans out: what an event brings along, then one pass over the steps.

#include "field_set/event_plan.h"
#include "field_set/meta_fields.h"
#include "utils/guid_text.h"
#include "utils/unaligned.h"

namespace vek {
namespace {

constexpr size_t kLeastSourceDigits = 12;

void note_empty_alias(const void*, uint64_t) { logEmptyMetaAlias(); }

}  // namespace

template <typename Pack>
auto EventPlan::with_input(const uint8_t* event, uint64_t timestamp_us, const char* source,
                           bool is_flb_std, Pack pack) const {
  PlanInput in;
  in.bytes = reinterpret_cast<const char*>(event);
  in.time_us = timestamp_us;
  in.has_source = source != nullptr;
  if (source) in.source = source;
  in.note = note_empty_alias;
  std::optional<GuidText> guid;
  if (guid_offset_) {
    guid.emplace(load_unaligned<uint64_t>(in.bytes + *guid_offset_), kLeastSourceDigits);
    in.source = guid->view();
    in.has_source = true;
  }
  if (is_flb_std) {
    in.leave_out_empty = skip_empty_strings_;
    if (skip_empty_strings_) in.left_out = count_empty_texts(fields_, in);
    return pack(flb_std_head_, in);
  }
  // All five entries are announced, so that a source that is not there is an empty one.
  in.has_source = true;
  const uint64_t own_time =
      own_timestamp_offset_ ? load_unaligned<uint64_t>(in.bytes + *own_timestamp_offset_) : 0;
  if (own_time != 0) in.time_us = own_time;
  return pack(custom_head_, in);
}

size_t EventPlan::pack(MsgpackBuffer& buffer, const uint8_t* event, uint64_t timestamp_us,
                       const char* source, bool is_flb_std) const {
  if (packs_nothing()) return 0;
  return with_input(event, timestamp_us, source, is_flb_std,
                    [&](const PlanSection& head, const PlanInput& in) {
                      return pack_record(buffer, head, fields_, in);
                    });
}

std::string_view EventPlan::pack_next(const uint8_t* event, uint64_t timestamp_us,
                                      const char* source, bool is_flb_std) {
  if (packs_nothing()) return {};
  return with_input(event, timestamp_us, source, is_flb_std,
                    [&](const PlanSection& head, const PlanInput& in) {
                      return packer_.pack(head, fields_, in);
                    });
}

}  // namespace vek
