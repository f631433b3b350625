// RecordEvents: the events that a record is for receivers which know only [time, map].
//
// A map is one event, and a list of maps one event per map, all of the record's time. Any other
// list, an empty one too, is handed out whole: nothing that was sent may vanish.
#ifndef VEK_RAW_MSGPACK_API_RECORD_EVENTS_H
#define VEK_RAW_MSGPACK_API_RECORD_EVENTS_H

#include <cstdint>

#include "raw_msgpack_api/record_walk.h"

namespace vek::engine {

class RecordEvents {
 public:
  // Of a record that a RecordWalk found sound.
  explicit RecordEvents(const RecordView& record) noexcept;

  // The body of the next event, inside the record; false when there are no more.
  bool next(Bytes& body) noexcept;
  // True when the only body is a list, not a map.
  bool is_list() const { return is_list_; }

 private:
  Bytes rest_;
  uint64_t left_ = 1;
  bool is_list_ = false;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_RECORD_EVENTS_H
