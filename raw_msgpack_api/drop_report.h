// DropReport: says that records were dropped and why, once per ten seconds and reason.
#ifndef VEK_RAW_MSGPACK_API_DROP_REPORT_H
#define VEK_RAW_MSGPACK_API_DROP_REPORT_H

#include <array>
#include <string>

#include "raw_msgpack_api/drop_reason.h"
#include "raw_msgpack_api/record_queue.h"
#include "utils/clock.h"

namespace vek::engine {

// For one thread.
class DropReport {
 public:
  explicit DropReport(std::string name) : name_(std::move(name)) {}

  // After the queue has counted them.
  void dropped(const RecordQueue& queue, DropReason reason, size_t count) noexcept;

 private:
  std::string name_;
  std::array<LogRateLimit, kDropReasons.size()> limits_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_DROP_REPORT_H
