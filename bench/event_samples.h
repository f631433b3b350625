// An event type, a field set bound to it, and events with values of many magnitudes.
#ifndef VEK_BENCH_EVENT_SAMPLES_H
#define VEK_BENCH_EVENT_SAMPLES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/sample_values.h"
#include "data/data_page.h"
#include "data/type_system.h"
#include "field_set/field_set.h"
#include "tests/field_set/plain_events.h"
#include "utils/owned.h"

namespace vek::bench {

enum class EventMix {
  kUsual,      // of link and process events: counters and flags of all widths, reals, texts, a GUID
  kEmptyTexts  // texts, every other one empty, of a type that leaves empty ones out
};

// With a field-set file that has an alias, a meta alias and a constant; as many events as a
// pool of records takes. The same for the same options in every run.
class EventSamples {
 public:
  EventSamples(size_t num_fields, Values values, EventMix mix);

  FieldSet& field_set() { return field_set_; }
  test::PlainFieldSet& plain_field_set() { return plain_; }
  const test::PlainType& plain_type() const { return plain_type_; }
  const vek_event_header_t& header() const { return header_; }
  const uint8_t* next_event() {
    if (++current_ == events_.size()) current_ = 0;
    return events_[current_].data();
  }
  const std::vector<std::vector<uint8_t>>& events() const { return events_; }

 private:
  Owned<vek_type_system_t, vek_destroy_type_system> type_system_;
  FieldSet field_set_;
  test::PlainFieldSet plain_{{}};
  test::PlainType plain_type_;
  std::vector<uint8_t> schemas_block_;
  vek_event_header_t header_{};
  std::vector<std::vector<uint8_t>> events_;
  size_t current_ = 0;
};

}  // namespace vek::bench

#endif  // VEK_BENCH_EVENT_SAMPLES_H
