// Why a record did not arrive: one table of names, severities and advice.
#ifndef VEK_RAW_MSGPACK_API_DROP_REASON_H
#define VEK_RAW_MSGPACK_API_DROP_REASON_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "utils/logger.h"

namespace vek::engine {

enum class DropReason : uint8_t {
  kWrongShape,
  kTooDeep,
  kBroken,
  kCut,
  kTooLarge,
  kQueueFull,
  kWriteFailed,
  kGraceOver,
  kOutOfMemory,
  kTooLargeToSend,
  kRefused,
  kRetriesOver,
  kSpoolFull,
  kSpoolDamaged,
  kSpoolFailed
};

struct DropReasonRow {
  const char* name;    // key in the statistics
  bool is_malformed;   // the sender's fault: "finalize" does not report it as given up
  const char* advice;  // ends the log line
};

inline constexpr std::array<DropReasonRow, 15> kDropReasons = {{
    {"wrong_shape", true, "it is neither [seconds, map], a map nor [seconds, array]"},
    {"too_deep", true, "it nests more containers than receivers take"},
    {"broken", true, "it is not msgpack; the rest of its buffer is dropped with it"},
    {"cut", true, "its buffer ends inside it"},
    {"too_large", false, "it is larger than Mem_Buf_Limit; raise that"},
    {"queue_full", false,
     "the destination is slower than the records come; the oldest go first, Mem_Buf_Limit can be "
     "raised"},
    {"write_failed", false, "the destination does not take data"},
    {"grace_over", false, "finalize had no more time; vek.grace can be raised"},
    {"out_of_memory", false, "memory ran out"},
    {"too_large_to_send", false, "receivers take no frame of its size"},
    {"refused", false,
     "the receiver closes the connection on it and takes others; with storage.path such records "
     "are "
     "kept in a dead-letter file there"},
    {"retries_over", false, "it was sent as often as Retry_Limit says"},
    {"spool_full", false,
     "the spool is full; the oldest go first, storage.total_limit_size can be raised"},
    {"spool_damaged", false, "it was damaged on disk"},
    {"spool_failed", false, "finalize could not write it to the spool, or not in time"},
}};

inline const DropReasonRow& drop_reason_row(DropReason reason) {
  return kDropReasons[static_cast<size_t>(reason)];
}

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_DROP_REASON_H
