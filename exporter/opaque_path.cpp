// Opaque events: pages tagged "fluent_aggr", whose events are msgpack already.
#include "exporter/fluentbit_exporter.h"

namespace vek {

// There is no extractor to take such a page.
bool FluentBitExporter::exportOpaqueDataPage(const vek_data_page_t*,
                                             const vek_exporter_schema_manager_t*) {
  return false;
}

}  // namespace vek
