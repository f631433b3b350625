// What a spool does with the files that it finds when it starts.
//
// Records that were not settled are found again, in order. A write that was cut short at a file's
// end costs the record that was being written. Other damage costs the records that it touches; the
// file is set aside once the sound ones around it have served. Nothing but what a spool wrote
// itself and has no more use for is ever removed.
#ifndef VEK_RAW_MSGPACK_API_SPOOL_RECOVERY_H
#define VEK_RAW_MSGPACK_API_SPOOL_RECOVERY_H

#include <deque>
#include <string>

#include "raw_msgpack_api/spool_segment.h"

namespace vek::engine {

struct RecoveredSpool {
  std::deque<SpoolSegment> segments;  // with something to read, in order
  uint64_t records = 0;               // in them
  uint64_t lost = 0;                  // records known to be lost
  uint64_t settled = 0;               // number up to which everything is settled
  uint64_t next_sequence = 1;         // above every number and name in the folder
};

// False after an error line that begins with `label`. Throws std::bad_alloc.
bool recover_spool(const SpoolFolder& folder, const std::string& label, RecoveredSpool& out);

// Takes a file that has served, or cannot, out of the way; warns with `why`.
void set_segment_aside(const SpoolFolder& folder, const std::string& label, const std::string& name,
                       std::string_view suffix, const char* why);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SPOOL_RECOVERY_H
