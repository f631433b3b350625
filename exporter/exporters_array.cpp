#include "exporter/exporters_array.h"

#include "utils/logger.h"

namespace vek {
namespace {

constexpr const char* kClassName = "FluentBitExportersArray";

}  // namespace

void configure_exporter(FluentBitExporter& exporter, const fluentbit_exporter_config_t& config) {
  exporter.setPluginWithDefaultHostAndPort(config.plugin_name);
  exporter.setHostAndPort(config.host, static_cast<uint16_t>(config.port));
  exporter.setExportParams(config.params);
  exporter.setMsgpackDataLayout(config.msgpack_data_layout);
  exporter.setCountersetFile(config.counterset);
  exporter.setFieldsetFile(config.fieldset);
  exporter.setBatchMode(config.batch_mode != 0);
  if (config.source_tag_list && config.source_tag_list->count > 0) {
    exporter.setSourceTagList(config.source_tag_list);
  }
  exporter.createFieldSet(nullptr, config.fieldset);
}

FluentBitExportersArray::FluentBitExportersArray(const std::string& config_dir, int export_interval)
    : config_dir_(config_dir), export_interval_(export_interval) {
  fillCustomOptions();
  getExpFilesNames();
  parseExpFilesToConfigs();
  if (!initEnabledExporters()) {
    VEK_LOGE("[%s] Failed to init enabled exporters", kClassName);
    failed_to_init_ = true;
  }
}

FluentBitExportersArray::~FluentBitExportersArray() {
  VEK_LOGD("[%s]", "~FluentBitExportersArray");
  for (auto& exporter : exporters_) exporter.reset();
  exporters_.clear();
  for (ExporterConfig& config : configs_) config.reset();
  configs_.clear();
}

void FluentBitExportersArray::fillCustomOptions() {
  custom_options_.reset(vek_dict_create());
  if (!custom_options_) VEK_LOGE("[%s] Unable to create custom options", kClassName);
  if (!vek_dict_add(custom_options_.get(), "fluentbit-config-dir", config_dir_.c_str())) {
    VEK_LOGE("[%s] Unable to fill custom options", kClassName);
  }
}

std::string FluentBitExportersArray::id() const { return "fluentbit"; }

// The aggregator offers pages here too; this plug-in takes them through its API record alone.
void FluentBitExportersArray::append(const kix::ClientId&, const vek_type_system_t*,
                                     const vek_data_page_t*) {}
void FluentBitExportersArray::append_kix(const kix::ClientId&, const vek_data_page_t*,
                                         SchemaManager*) {}

bool FluentBitExportersArray::initEnabledExporters() {
  for (const ExporterConfig& config : configs_) {
    VEK_LOGD("[%s] config->plugin_name = %s, config->enabled = %d", "initEnabledExporters",
             config->plugin_name, config->enable);
    if (config->enable == 0) continue;
    auto exporter = std::make_unique<FluentBitExporter>();
    if (!exporter->SharedObjectAPILoaded()) {
      VEK_LOGE("[FluentBitExportersArray] Cannot initialize Fluent Bit exporter for config: '%s'",
               config->name);
      return false;
    }
    configure_exporter(*exporter, *config);
    exporter->OpenDumpFile();
    exporters_.push_back(std::move(exporter));
  }
  return true;
}

bool FluentBitExportersArray::connectEnabledExporters() {
  for (auto& exporter : exporters_) {
    if (!exporter->connectToFlb()) {
      VEK_LOGE("[FluentBitExportersArray] [%s] Cannot connect to internal Fluent Bit",
               "connectEnabledExporters");
      return false;
    }
  }
  return true;
}

bool FluentBitExportersArray::disconnectExporters() {
  for (auto& exporter : exporters_) {
    if (!exporter->closeConnection()) {
      VEK_LOGE("[FluentBitExportersArray] [%s] Cannot disconnect from internal Fluent Bit",
               "disconnectExporters");
      return false;
    }
  }
  return true;
}

void FluentBitExportersArray::exportDataPage(const vek_data_page_t* page,
                                             const vek_exporter_schema_manager_t* schema_manager) {
  for (auto& exporter : exporters_) exporter->exportDataPage(page, schema_manager);
}

void FluentBitExportersArray::exportMsgpackBuffer(const msgpack_sbuffer* buffer) {
  for (auto& exporter : exporters_) {
    if (!exporter->exportMsgpackBuffer(buffer)) {
      VEK_LOGE("[FluentBitExportersArray] [%s] Cannot export msgpack buffer",
               "exportMsgpackBuffer");
    }
  }
}

void FluentBitExportersArray::updateSetsWithTypeSystem(const vek_type_system_t* type_system) {
  for (auto& exporter : exporters_) exporter->updateSetsWithTypeSystem(type_system);
}

}  // namespace vek
