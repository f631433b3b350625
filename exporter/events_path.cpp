// Events: an events block on its way out.
#include "exporter/block_path.h"
#include "exporter/fluentbit_exporter.h"
#include "utils/logger.h"

namespace vek {

// Without a field set nothing tells which fields may leave: the page is refused, so that nothing is
// sent that the operator meant to filter.
bool FluentBitExporter::exportEventsBlock(const BlockPath& path) {
  if (path.field_set_limit().due_at_level(VEK_LOG_ERROR)) {
    VEK_LOGE("[Fluent Bit Export] [%s] field_set_ is not set. Skipping data page.", path.name());
  }
  return false;
}

}  // namespace vek
