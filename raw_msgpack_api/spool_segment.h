// SpoolSegment: what is known of one segment file, and how that is found out.
#ifndef VEK_RAW_MSGPACK_API_SPOOL_SEGMENT_H
#define VEK_RAW_MSGPACK_API_SPOOL_SEGMENT_H

#include <cstdint>
#include <string>
#include <vector>

#include "raw_msgpack_api/spool_folder.h"

namespace vek::engine {

struct SpoolSegment {
  // Where records lie without a gap: the whole file, unless a part of it is damaged.
  struct Range {
    uint64_t begin = 0;
    uint64_t end = 0;
  };

  uint64_t first = 0;  // the number in its name
  std::string name;
  std::vector<Range> ranges;  // still to be read
  uint64_t size = 0;          // of the file
  uint64_t last = 0;          // number of the last record handed out, or given to it; orders them
  uint64_t unread = 0;        // records in `ranges`
  uint64_t in_flight = 0;     // handed out and not settled
  bool is_damaged = false;    // is set aside, not removed, when it has served
  bool is_gone = false;       // no longer on disk, though some of it is in flight
};

struct SegmentScan {
  std::vector<SpoolSegment::Range> ranges;
  uint64_t records = 0;     // in the ranges
  uint64_t last = 0;        // greatest number seen, at least `sequence`
  uint64_t lost = 0;        // records that were in damaged places, as far as numbers tell
  uint64_t refused = 0;     // of these: undamaged, but not valid records
  bool is_damaged = false;  // in the middle, or by something that no cut short write leaves
  bool is_torn = false;     // at its end
  uint64_t sound_end = 0;   // where the last whole record ends
  int error = 0;            // errno of what stopped the scan
};

// Reads what lies in [offset, end) of a segment. Records with numbers up to `settled` are passed
// over; numbers begin above `sequence`. Throws std::bad_alloc.
SegmentScan scan_segment(const SpoolFolder& folder, const OpenFile& file, uint64_t offset,
                         uint64_t end, uint64_t sequence, uint64_t settled);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SPOOL_SEGMENT_H
