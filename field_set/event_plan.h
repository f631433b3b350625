// EventPlan: everything about the records of one bound event type that does not change from event
// to event.
//
// Plans (utils/packing_plan.h) are made in event_plan.cpp, which alone knows the rules of record
// contents, and carried out in event_writer.cpp. A plan is used by one thread at a time.
#ifndef VEK_FIELD_SET_EVENT_PLAN_H
#define VEK_FIELD_SET_EVENT_PLAN_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "utils/guid_text.h"
#include "utils/msgpack_buffer.h"
#include "utils/packing_plan.h"
#include "utils/record_layout.h"
#include "utils/record_packer.h"

namespace vek {

struct BoundType;
struct FieldSetTables;

// Lengths are counted with 16 bits: longer texts are cut there.
inline constexpr uint32_t kMaxTextLength = 65535;

class EventPlan {
 public:
  // Bytes of one event.
  uint64_t record_size() const { return record_size_; }
  // True when no field is exported: such events make no records.
  bool packs_nothing() const { return included_ == 0; }

  // Writes the record of an event of record_size() bytes from the start of the buffer; its size, or
  // 0 when nothing is to be sent or memory runs out. A source at null: there is none.
  size_t pack(MsgpackBuffer& buffer, const uint8_t* event, uint64_t timestamp_us,
              std::string_view source, RecordLayout layout) const;
  // The record, valid until the next call of the same plan; empty likewise.
  std::string_view pack_next(const uint8_t* event, uint64_t timestamp_us, std::string_view source,
                             RecordLayout layout);

 private:
  friend class EventPlanBuilder;

  // The identifier that names the source, and its text.
  struct NamedSource {
    explicit NamedSource(uint64_t guid);
    uint64_t guid;
    GuidText text;
  };

  // An event whose empty texts are left out is copied for as long as it is packed: the record says
  // first how many there are, and a producer may still be writing the page.
  bool needs_copy(RecordLayout layout) const {
    return skip_empty_strings_ && layout == RecordLayout::kFlbStd;
  }
  // `named` is renewed where it is another identifier's.
  template <typename Pack>
  auto with_input(const uint8_t* event, uint64_t timestamp_us, std::string_view source,
                  RecordLayout layout, std::optional<NamedSource>& named, Pack pack) const;

  uint64_t record_size_ = 0;
  uint64_t included_ = 0;
  bool skip_empty_strings_ = false;
  std::optional<uint64_t> guid_offset_;           // of the field that names the source
  std::optional<uint64_t> own_timestamp_offset_;  // of the field that dates "custom" records
  PlanSection flb_std_head_;                      // to the last constant
  PlanSection custom_head_;                       // to the map header of "values"
  PlanSection fields_;
  // Of such events of pages. Takes memory when there is one: schemas can tell of sizes that no page
  // has.
  MsgpackBuffer copy_;
  RecordPacker packer_;
  std::optional<NamedSource> named_;  // by the event before
};

std::unique_ptr<EventPlan> makeEventPlan(const BoundType& type, const FieldSetTables& tables);

}  // namespace vek

#endif  // VEK_FIELD_SET_EVENT_PLAN_H
