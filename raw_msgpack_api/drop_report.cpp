#include "raw_msgpack_api/drop_report.h"

#include <cinttypes>

namespace vek::engine {

void DropReport::dropped(const RecordQueue& queue, DropReason reason, size_t count) noexcept {
  if (!limits_[static_cast<size_t>(reason)].due_at_level(VEK_LOG_WARNING)) return;
  const DropReasonRow& row = drop_reason_row(reason);
  VEK_LOGW("[raw msgpack API] [%s] dropped %zu record(s), %" PRIu64 " so far (%s): %s",
           name_.c_str(), count, queue.account().dropped_for(reason), row.name, row.advice);
}

}  // namespace vek::engine
