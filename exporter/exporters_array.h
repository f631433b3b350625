// vek::FluentBitExportersArray: the plug-in object, with one exporter per enabled ".exp" file.
#ifndef VEK_EXPORTER_EXPORTERS_ARRAY_H
#define VEK_EXPORTER_EXPORTERS_ARRAY_H

#include <msgpack.h>

#include <cstdint>
#include <string>
#include <vector>

#include "data/data_page.h"
#include "data/exporter_schema_manager.h"
#include "data/type_system.h"
#include "exporter/exp_config.h"
#include "exporter/fluentbit_exporter.h"
#include "exporter/kix_exporter.h"
#include "utils/dictionary.h"

namespace vek {

class VEK_API FluentBitExportersArray : public kix::exp::ExporterSwitcher<FluentBitExportersArray> {
 public:
  // Reads every ".exp" file of the directory and makes the enabled exporters.
  FluentBitExportersArray(const std::string& config_dir, int export_interval);
  ~FluentBitExportersArray() override;
  FluentBitExportersArray(const FluentBitExportersArray&) = delete;
  FluentBitExportersArray& operator=(const FluentBitExportersArray&) = delete;

  std::string id() const override;
  void append(const kix::ClientId& client, const vek_type_system_t* type_system,
              const vek_data_page_t* page) override;
  void append_kix(const kix::ClientId& client, const vek_data_page_t* page,
                  SchemaManager* schema_manager) override;

  // True when an enabled configuration could not become an exporter.
  bool failedToInit() const { return failed_to_init_; }
  vek_dict_t* customOptions() const { return custom_options_; }
  int32_t exportInterval() const { return export_interval_; }

  bool getExpFilesNames();
  bool parseExpFilesToConfigs();
  bool parseExpFileToConfig(std::string& file_name);
  // True when `line` begins with `key`; see exp_config.cpp for what becomes of the value.
  bool parseExportFileLine(char* line, const char* key, char** value);
  bool parseExportFileLineToInt(char* line, const char* key, int* value);
  bool initEnabledExporters();

  bool connectEnabledExporters();
  bool disconnectExporters();
  void exportDataPage(const vek_data_page_t* page,
                      const vek_exporter_schema_manager_t* schema_manager);
  void exportMsgpackBuffer(const msgpack_sbuffer* buffer);
  void updateSetsWithTypeSystem(const vek_type_system_t* type_system);

 private:
  std::vector<FluentBitExporter*> exporters_;         // owned
  std::vector<fluentbit_exporter_config_t*> configs_;  // owned; outlive the exporters
  std::string config_dir_;
  std::vector<std::string> exp_files_names_;
  bool failed_to_init_ = false;
  vek_dict_t* custom_options_ = nullptr;  // owned
  int32_t export_interval_;
};

}  // namespace vek

#endif  // VEK_EXPORTER_EXPORTERS_ARRAY_H
