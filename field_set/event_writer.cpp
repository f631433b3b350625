// Carries plans out: what an event brings along, then one pass over the steps.
#include <array>
#include <cstring>

#include "field_set/event_plan.h"
#include "field_set/meta_fields.h"
#include "utils/guid_text.h"
#include "utils/unaligned.h"

namespace vek {
namespace {

constexpr size_t kLeastSourceDigits = 12;

void note_empty_alias(const void*, uint64_t) { logEmptyMetaAlias(); }

// Null when memory runs out.
const uint8_t* copied(const uint8_t* event, size_t size, MsgpackBuffer& copy) noexcept {
  if (!copy.restart(size)) {
    report_lost_record();
    return nullptr;
  }
  std::memcpy(copy.data(), event, size);
  return reinterpret_cast<const uint8_t*>(copy.data());
}

// A copy on the stack, or in `large` where that has no room for it.
class ShortCopy {
 public:
  const uint8_t* of(const uint8_t* event, size_t size, MsgpackBuffer& large) noexcept {
    if (size > bytes_.size()) return copied(event, size, large);
    std::memcpy(bytes_.data(), event, size);
    return bytes_.data();
  }

 private:
  std::array<uint8_t, 2048> bytes_;
};

}  // namespace

EventPlan::NamedSource::NamedSource(uint64_t named)
    : guid(named), text(named, kLeastSourceDigits) {}

template <typename Pack>
[[gnu::always_inline]] inline auto EventPlan::with_input(
    const uint8_t* event, uint64_t timestamp_us, std::string_view source, RecordLayout layout,
    std::optional<NamedSource>& named, Pack pack) const {
  PlanInput in;
  in.bytes = reinterpret_cast<const char*>(event);
  in.time_us = timestamp_us;
  in.has_source = source.data() != nullptr;
  in.source = source;
  in.note = note_empty_alias;
  if (guid_offset_) {
    const auto guid = load_unaligned<uint64_t>(in.bytes + *guid_offset_);
    in.source_is_new = !named || named->guid != guid;
    if (in.source_is_new) named.emplace(guid);
    in.source = named->text.view();
    in.has_source = true;
  }
  if (layout == RecordLayout::kFlbStd) {
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
                       std::string_view source, RecordLayout layout) const {
  if (packs_nothing()) return 0;
  ShortCopy copy;
  MsgpackBuffer large;
  if (needs_copy(layout)) event = copy.of(event, record_size_, large);
  if (!event) return 0;
  std::optional<NamedSource> named;
  return with_input(event, timestamp_us, source, layout, named,
                    [&](const PlanSection& head, const PlanInput& in) {
                      return pack_record(buffer, head, fields_, in);
                    });
}

std::string_view EventPlan::pack_next(const uint8_t* event, uint64_t timestamp_us,
                                      std::string_view source, RecordLayout layout) {
  if (packs_nothing()) return {};
  if (needs_copy(layout)) event = copied(event, record_size_, copy_);
  if (!event) return {};
  return with_input(event, timestamp_us, source, layout, named_,
                    [&](const PlanSection& head, const PlanInput& in) {
                      return packer_.pack(head, fields_, in);
                    });
}

}  // namespace vek
