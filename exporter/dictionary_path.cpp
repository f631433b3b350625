// Dictionary events: pages whose tag begins with "dict_".
#include "exporter/fluentbit_exporter.h"
#include "utils/logger.h"

namespace vek {

bool FluentBitExporter::exportDictionaryDataPage(const vek_data_page_t*,
                                                 const vek_exporter_schema_manager_t*) {
  if (!custom_layout_allowed_) {
    VEK_LOGD("[Fluent Bit Export] [%s] No export made - unsupported output format",
             "exportDictionaryDataPage");
    return true;
  }
  // There is no reader for such a page.
  VEK_LOGE("[Fluent bit Export] Could not create dict reader");
  return false;
}

}  // namespace vek
