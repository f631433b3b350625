// Carries plans out: one pass over the steps for each event.

#include <algorithm>
#include <charconv>
#include <cstring>

#include "counters/counter_value.h"
#include "field_set/event_plan.h"
#include "field_set/meta_fields.h"
#include "utils/msgpack_encode.h"

namespace vek {
namespace {

constexpr uint64_t kUsPerSecond = 1'000'000;
constexpr size_t kMinGuidDigits = 12;
constexpr char kTrue = static_cast<char>(0xc3);
constexpr char kFalse = static_cast<char>(0xc2);

// Array header, time and map header of a "flb_std" record, and what encoders scribble on behind the
// last value.
constexpr size_t kRecordRoom =
    1 + kMsgpackMaxNumber + kMsgpackMaxHeader + kMsgpackMaxNumber + PlanSection::kLiteralPadding;

// What one event brings along.
struct EventInput {
  const char* bytes;
  uint64_t time_us;
  const char* source;  // null: none
  size_t source_size;
  bool leave_out_empty;
};

double secondsOf(uint64_t us) {
  const uint64_t whole = us / kUsPerSecond;
  return static_cast<double>(whole) +
         static_cast<double>(us % kUsPerSecond) / static_cast<double>(kUsPerSecond);
}

// Literals are padded, so that short ones are copied without a branch on their size.
char* putLiteral(char* p, const char* literal, size_t size) {
  constexpr size_t kPiece = PlanSection::kLiteralPadding;
  std::memcpy(p, literal, kPiece);
  if (size > kPiece) [[unlikely]] {
    std::memcpy(p + kPiece, literal + kPiece, size - kPiece);
  }
  return p + size;
}

template <typename T>
char* putUnsigned(char* p, const char* value) {
  return put_uint(p, load_unaligned<T>(value));
}

template <typename T>
char* putSigned(char* p, const char* value) {
  return put_int(p, load_unaligned<T>(value));
}

char* putText(char* p, std::string_view text) {
  return put_str(p, text.data(), static_cast<uint32_t>(text.size()));
}

// The value of a step that always has one.
char* putNumber(char* p, StepValue kind, const char* value) {
  switch (kind) {
    case StepValue::kBool:
      *p = *value != 0 ? kTrue : kFalse;
      return p + 1;
    case StepValue::kUint8:
      return putUnsigned<uint8_t>(p, value);
    case StepValue::kUint16:
      return putUnsigned<uint16_t>(p, value);
    case StepValue::kUint32:
      return putUnsigned<uint32_t>(p, value);
    case StepValue::kUint64:
      return putUnsigned<uint64_t>(p, value);
    case StepValue::kInt8:
      return putSigned<int8_t>(p, value);
    case StepValue::kInt16:
      return putSigned<int16_t>(p, value);
    case StepValue::kInt32:
      return putSigned<int32_t>(p, value);
    case StepValue::kInt64:
      return putSigned<int64_t>(p, value);
    case StepValue::kFloat:
      return put_float(p, load_unaligned<float>(value));
    case StepValue::kDouble:
      return put_double(p, load_unaligned<double>(value));
    default:
      return putText(p, GuidText(load_unaligned<uint64_t>(value)).view());
  }
}

// Writes the steps of a section; takes one length for each of its texts.
char* putSection(char* p, const PlanSection& section, const EventInput& in,
                 const uint32_t* lengths) {
  const char* literal = section.literals.data();
  for (const PlanStep& step : section.steps) {
    char* const start = p;
    p = putLiteral(p, literal, step.literal_size);
    literal += step.literal_size;
    switch (step.value) {
      case StepValue::kNone:
        break;
      case StepValue::kText:
        p = put_str(p, in.bytes + step.offset, *lengths++);
        break;
      case StepValue::kTextUnlessEmpty: {
        const uint32_t length = *lengths++;
        p = length == 0 && in.leave_out_empty ? start : put_str(p, in.bytes + step.offset, length);
        break;
      }
      case StepValue::kTime:
        p = put_uint(p, in.time_us);
        break;
      case StepValue::kSource:
        p = in.source ? putText(p, {in.source, in.source_size}) : start;
        break;
      case StepValue::kNoAlias:
        logEmptyMetaAlias();
        break;
      default:
        p = putNumber(p, step.value, in.bytes + step.offset);
        break;
    }
  }
  return p;
}

// Lengths of the section's texts into lengths[]; their sum.
size_t measureTexts(const PlanSection& section, const char* event, uint32_t* lengths,
                    uint64_t& empty) {
  size_t sum = 0;
  for (const PlanStep& step : section.texts) {
    const size_t length = strnlen(event + step.offset, step.text_limit);
    empty += length == 0 && step.value == StepValue::kTextUnlessEmpty;
    *lengths++ = static_cast<uint32_t>(length);
    sum += length;
  }
  return sum;
}

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
  EventInput in{reinterpret_cast<const char*>(event), timestamp_us, source,
                source ? std::strlen(source) : 0, is_flb_std};
  std::optional<SourceGuid> guid;
  if (guid_offset_) {
    guid.emplace(load_unaligned<uint64_t>(in.bytes + *guid_offset_));
    in.source = guid->view().data();
    in.source_size = guid->view().size();
  }

  const PlanSection& head = is_flb_std ? flb_std_head_ : custom_head_;
  uint32_t* const field_lengths = text_lengths_.data() + flb_std_head_.texts.size();
  uint64_t empty = 0;
  size_t room = kRecordRoom + head.room + fields_.room + head.sources * in.source_size;
  room += measureTexts(head, in.bytes, text_lengths_.data(), empty);
  room += measureTexts(fields_, in.bytes, field_lengths, empty);
  if (!buffer.restart(room)) return 0;

  char* p = buffer.data();
  if (is_flb_std) {
    p = put_array_header(p, 2);
    p = put_double(p, secondsOf(timestamp_us));
    p = put_map_header(p, static_cast<uint32_t>(pairs_ - empty));
  } else {
    // All five entries are announced, so that a source that is not there is an empty one.
    if (!in.source) in.source = "";
    const uint64_t own_time =
        own_timestamp_offset_ ? load_unaligned<uint64_t>(in.bytes + *own_timestamp_offset_) : 0;
    if (own_time != 0) in.time_us = own_time;
  }
  p = putSection(p, head, in, text_lengths_.data());
  p = putSection(p, fields_, in, field_lengths);
  return static_cast<size_t>(p - buffer.data());
}

}  // namespace vek
