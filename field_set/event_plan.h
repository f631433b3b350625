// EventPlan: everything about the records of one bound event type that does not change from event
// to event.
//
// A plan is a list of steps. Each step is constant bytes, ready-made (keys, constants, whole
// pairs), followed by one value that is read from the event at a fixed place. Packing is then one
// pass: copy, encode, copy, encode, into a buffer whose room was checked once. Plans are made in
// event_plan.cpp, which alone knows the rules of record contents, and carried out in
// event_writer.cpp, which knows none.
//
// A plan is used by one thread at a time: it keeps the lengths of the event's texts in passing.
#ifndef VEK_FIELD_SET_EVENT_PLAN_H
#define VEK_FIELD_SET_EVENT_PLAN_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "utils/msgpack_buffer.h"

namespace vek {

struct BoundType;
struct FieldSetTables;

// Lengths are counted with 16 bits: longer texts are cut there.
inline constexpr uint32_t kMaxTextLength = 65535;

enum class StepValue : uint8_t {
  kNone,  // constant bytes only
  kBool,
  kUint8,
  kUint16,
  kUint32,
  kUint64,
  kInt8,
  kInt16,
  kInt32,
  kInt64,
  kFloat,
  kDouble,
  kHex,              // an unsigned 64-bit number as the text "0x%lx"
  kText,             // the step has its text's length
  kTextUnlessEmpty,  // with its key left out where empty texts are skipped
  kTime,             // of the record, in microseconds
  kSource,           // with its key left out when there is no source
  kNoAlias           // a meta field whose alias is empty: nothing but a message
};

struct PlanStep {
  uint64_t offset = 0;        // of the value, from the start of the event
  uint32_t literal_size = 0;  // constant bytes before the value
  uint16_t text_limit = 0;    // longest text that the field holds
  StepValue value = StepValue::kNone;
};
static_assert(sizeof(PlanStep) == 16);

// A run of steps and their constant bytes, back to back in the order of the steps.
struct PlanSection {
  std::vector<PlanStep> steps;
  std::string literals;         // kLiteralPadding bytes longer than the literals
  std::vector<PlanStep> texts;  // the steps that have a text, again
  size_t room = 0;              // most bytes that all but texts and sources take
  size_t sources = 0;           // steps that write the source
  static constexpr size_t kLiteralPadding = 32;
};

class EventPlan {
 public:
  // Bytes of one event.
  uint64_t record_size() const { return record_size_; }
  // True when no field is exported: such events make no records.
  bool packs_nothing() const { return included_ == 0; }

  // Writes the record of an event of record_size() bytes from the start of the buffer; its size, or
  // 0 when nothing is to be sent or memory runs out. `source` may be null.
  size_t pack(MsgpackBuffer& buffer, const uint8_t* event, uint64_t timestamp_us,
              const char* source, bool is_flb_std) const;

 private:
  friend class EventPlanBuilder;

  uint64_t record_size_ = 0;
  uint64_t included_ = 0;
  uint64_t pairs_ = 0;  // of a "flb_std" record, empty texts included
  bool skip_empty_strings_ = false;
  std::optional<uint64_t> guid_offset_;           // of the field that names the source
  std::optional<uint64_t> own_timestamp_offset_;  // of the field that dates "custom" records
  PlanSection flb_std_head_;                      // from the first meta field to the last constant
  PlanSection custom_head_;                       // from the map header to the one of "values"
  PlanSection fields_;
  mutable std::vector<uint32_t> text_lengths_;  // of the event being packed
};

std::unique_ptr<EventPlan> makeEventPlan(const BoundType& type, const FieldSetTables& tables);

// The text of a "guid" field as a source: "0x" and at least 12 digits.
class SourceGuid {
 public:
  explicit SourceGuid(uint64_t value) noexcept;
  std::string_view view() const noexcept { return {text_, size_}; }

 private:
  char text_[18] = {'0', 'x'};
  size_t size_ = 0;
};

}  // namespace vek

#endif  // VEK_FIELD_SET_EVENT_PLAN_H
