// OpaqueRunTaker: takes whole opaque events many at a time, where a call for each would cost more
// than what is done with it.
//
// It is offered what lies ahead in a block and takes events from the front, as many as it likes.
// The next event then goes the ordinary way, through the recipient's callback, and what follows is
// offered again: whatever is unusual is left to the ordinary way, which has one meaning for all.
#ifndef VEK_DATA_OPAQUE_RUNS_H
#define VEK_DATA_OPAQUE_RUNS_H

#include <cstdint>

#include "data/byte_reader.h"
#include "data/opaque_events_extractor.h"
#include "data/page_view.h"

namespace vek {

class OpaqueRunTaker {
 public:
  struct Taken {
    uint64_t events;  // from the front
    bool handled;     // false: the last of them was refused, and the page fails
  };
  // Events back to back, each of `event_size` bytes. Kind and data size are not checked yet.
  virtual Taken take(const PageView& page, Bytes events, uint64_t event_size) = 0;

 protected:
  ~OpaqueRunTaker() = default;
};

// The taker is borrowed; null for none. It is asked only by an extractor that accepts every
// application, and only while nothing is logged of events that go well.
void set_opaque_run_taker(vek_opaque_events_extractor_t* extractor, OpaqueRunTaker* taker);

}  // namespace vek

#endif  // VEK_DATA_OPAQUE_RUNS_H
