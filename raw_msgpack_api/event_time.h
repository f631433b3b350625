// The time of a record, to the nanosecond.
#ifndef VEK_RAW_MSGPACK_API_EVENT_TIME_H
#define VEK_RAW_MSGPACK_API_EVENT_TIME_H

#include <array>
#include <cstdint>

#include "raw_msgpack_api/record_walk.h"

namespace vek::engine {

struct EventTime {
  uint64_t seconds = 0;  // since the Unix epoch
  uint32_t nanoseconds = 0;

  bool operator==(const EventTime&) const = default;
};

EventTime now() noexcept;

// The record's seconds; for a bare map the microseconds under its "timestamp" key. `fallback` where
// there is none, or one that no clock shows: negative, not a number, beyond 64 bits.
EventTime time_of(const RecordView& record, EventTime fallback) noexcept;
// The same with the present as the fallback, which is asked for only where it is needed.
EventTime time_of(const RecordView& record) noexcept;

// The latest time that an EventTime on the wire can say and still be a record's: its seconds end in
// 2106, and receivers take the last two as marks of their own, acknowledge them and forget them.
inline constexpr EventTime kLatestOnWire = {0xfffffffd, 999'999'999};
inline constexpr bool fits_on_wire(EventTime time) { return time.seconds <= kLatestOnWire.seconds; }

// What stands in front of an event's body on the wire: an array of two, and an EventTime.
inline constexpr size_t kEventHeadSize = 11;
using EventHead = std::array<uint8_t, kEventHeadSize>;
EventHead event_head(EventTime time) noexcept;

// Heads of events for records one after the other, of which those of a page have one time.
class EventHeads {
 public:
  // For a record that is no list; null where its time does not fit on the wire. Good until the next
  // call.
  const EventHead* of(const RecordView& record) noexcept;

 private:
  static constexpr size_t kRealSize = 9;  // of a time as a 64-bit float, which most are
  using Real = std::array<uint8_t, kRealSize>;

  Real last_{};  // of head_; no time at first
  EventHead head_{};
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_EVENT_TIME_H
