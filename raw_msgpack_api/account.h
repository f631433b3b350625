// Account: where every record of a context is, exactly.
//
// At every moment accepted = delivered + spooled + queued + the sum of dropped; a record in flight
// is queued. A plain record: its owner (RecordQueue) guards it.
#ifndef VEK_RAW_MSGPACK_API_ACCOUNT_H
#define VEK_RAW_MSGPACK_API_ACCOUNT_H

#include <array>
#include <cstdint>
#include <string>

#include "raw_msgpack_api/drop_reason.h"

namespace vek::engine {

struct Account {
  uint64_t accepted = 0;   // records that add_data was given, sound or not
  uint64_t delivered = 0;  // taken by the destination
  uint64_t spooled = 0;    // on disk
  uint64_t queued = 0;     // in memory, in flight included
  std::array<uint64_t, kDropReasons.size()> dropped{};
  uint64_t mended = 0;   // of the accepted: map counts set right
  uint64_t clamped = 0;  // of the accepted: times that the wire cannot say, sent as its last
  uint64_t retried = 0;  // attempts that were repeated, in records
  uint64_t bytes = 0;    // of msgpack in delivered records

  uint64_t& dropped_for(DropReason reason) { return dropped[static_cast<size_t>(reason)]; }
  uint64_t dropped_for(DropReason reason) const { return dropped[static_cast<size_t>(reason)]; }
  // Sound records that did not arrive.
  uint64_t given_up() const;
  uint64_t dropped_sum() const;
};

// One JSON object; "dropped" names the reasons that occurred.
std::string account_json(const Account& account);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_ACCOUNT_H
