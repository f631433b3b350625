// Opaque events: pages tagged "fluent_aggr", whose events are msgpack already.
#include "exporter/fluent_aggr.h"
#include "exporter/fluentbit_exporter.h"
#include "utils/logger.h"

namespace vek {

bool FluentBitExporter::StartOpaqueProcessing() {
  vek_opaque_events_extractor_recipient_t recipient{};
  recipient.on_event = ProcessOpaqueEventClb;
  recipient.context = reinterpret_cast<vek_opaque_events_extractor_recipient_ctx*>(this);
  opaque_extractor_.reset(vek_opaque_events_extractor_create(kFluentAggrAppId.data(), &recipient));
  if (opaque_extractor_) return true;
  // Operators' alerts know this line under another exporter's name.
  VEK_LOGE("[Prometheus Aggr Exporter] Unable to allocate opaque events exporter");
  return false;
}

bool FluentBitExporter::exportOpaqueDataPage(const vek_data_page_t* page,
                                             const vek_exporter_schema_manager_t* schema_manager) {
  vek_opaque_type_lookup_t lookup{};
  if (schema_manager) lookup = {schema_manager->find_event_type, schema_manager->context};
  return vek_opaque_events_extractor_process_data_page(opaque_extractor_.get(), page, &lookup);
}

bool FluentBitExporter::ProcessOpaqueEventClb(vek_opaque_events_extractor_recipient_ctx* recipient,
                                              const char* /*source_id*/, const char* /*tag*/,
                                              const vek_custom_options* options,
                                              const unsigned char* /*app_id*/,
                                              unsigned long /*first_word*/,
                                              unsigned long /*second_word*/, const void* data,
                                              unsigned int size) {
  if (!vek_dict_get(options, kFluentAggrTagOption)) {
    VEK_LOGW("[Fluent Aggr Exporter] An event without endpoint_url");
  }
  // Handed on even when there is nothing in it: the engine, not this plug-in, judges the contents.
  const auto* exporter = reinterpret_cast<const FluentBitExporter*>(recipient);
  if (exporter->api_.add_data && exporter->flb_ctx_) {
    exporter->api_.add_data(exporter->flb_ctx_, data, size);
  }
  return true;
}

}  // namespace vek
