// Carries plans out: one pass over the steps for each event.

#include <charconv>
#include <cstring>

#include "field_set/event_plan.h"
#include "field_set/meta_fields.h"
#include "utils/msgpack_encode.h"
#include "utils/unaligned.h"

namespace vek {
namespace {

constexpr uint64_t kUsPerSecond = 1'000'000;
constexpr size_t kMinGuidDigits = 12;
// Array header, time and map header of a "flb_std" record.
constexpr size_t kRecordRoom = 1 + kMsgpackMaxNumber + kMsgpackMaxHeader;

double secondsOf(uint64_t us) {
  const uint64_t whole = us / kUsPerSecond;
  return static_cast<double>(whole) +
         static_cast<double>(us % kUsPerSecond) / static_cast<double>(kUsPerSecond);
}

void note_empty_alias(const void*, uint64_t) { logEmptyMetaAlias(); }

}  // namespace

SourceGuid::SourceGuid(uint64_t value) noexcept {
  char digits[16];
  const char* end = std::to_chars(digits, digits + sizeof(digits), value, 16).ptr;
  const auto count = static_cast<size_t>(end - digits);
  const size_t zeros = count < kMinGuidDigits ? kMinGuidDigits - count : 0;
  std::memset(text_ + 2, '0', zeros);
  std::memcpy(text_ + 2 + zeros, digits, count);
  size_ = 2 + zeros + count;
}

size_t EventPlan::pack(MsgpackBuffer& buffer, const uint8_t* event, uint64_t timestamp_us,
                       const char* source, bool is_flb_std) const {
  if (packs_nothing()) return 0;
  PlanInput in;
  in.bytes = reinterpret_cast<const char*>(event);
  in.time_us = timestamp_us;
  in.has_source = source != nullptr;
  if (source) in.source = source;
  in.leave_out_empty = is_flb_std;
  in.note = note_empty_alias;
  std::optional<SourceGuid> guid;
  if (guid_offset_) {
    guid.emplace(load_unaligned<uint64_t>(in.bytes + *guid_offset_));
    in.source = guid->view();
    in.has_source = true;
  }

  const PlanSection& head = is_flb_std ? flb_std_head_ : custom_head_;
  if (!buffer.restart(kRecordRoom + section_room(head, in) + section_room(fields_, in))) return 0;
  char* p = buffer.data();
  if (is_flb_std) {
    const uint64_t left_out = skip_empty_strings_ ? count_empty_texts(fields_, in) : 0;
    p = put_array_header(p, 2);
    p = put_double(p, secondsOf(timestamp_us));
    p = put_map_header(p, static_cast<uint32_t>(pairs_ - left_out));
  } else {
    // All five entries are announced, so that a source that is not there is an empty one.
    in.has_source = true;
    const uint64_t own_time =
        own_timestamp_offset_ ? load_unaligned<uint64_t>(in.bytes + *own_timestamp_offset_) : 0;
    if (own_time != 0) in.time_us = own_time;
  }
  p = pack_section(p, head, in);
  p = pack_section(p, fields_, in);
  return static_cast<size_t>(p - buffer.data());
}

}  // namespace vek
