// vek::FluentBitExportersArray: the plug-in object, with one exporter per enabled ".exp" file.
//
// All configuration is read by the constructor and never again. One thread at a time.
#ifndef VEK_EXPORTER_EXPORTERS_ARRAY_H
#define VEK_EXPORTER_EXPORTERS_ARRAY_H

#include <msgpack.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "data/data_page.h"
#include "data/exporter_schema_manager.h"
#include "data/type_system.h"
#include "exporter/exp_config.h"
#include "exporter/fluentbit_exporter.h"
#include "exporter/kix_exporter.h"
#include "utils/dictionary.h"
#include "utils/owned.h"

namespace vek {

// Gives an exporter what its file says; borrows texts of the configuration.
void configure_exporter(FluentBitExporter& exporter, const fluentbit_exporter_config_t& config);

using ExporterConfig = Owned<fluentbit_exporter_config_t, destroy_config>;

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
  vek_dict_t* customOptions() const { return custom_options_.get(); }
  int32_t exportInterval() const { return export_interval_; }
  // One per ".exp" file that could be read, disabled ones included, in directory order.
  const std::vector<ExporterConfig>& configs() const { return configs_; }
  size_t numExporters() const { return exporters_.size(); }

  // False when the directory cannot be opened.
  bool getExpFilesNames();
  bool parseExpFilesToConfigs();
  bool parseExpFileToConfig(std::string& file_name);
  // True when `line` begins with `key`, whatever becomes of the value. The text behind the key,
  // less one character, replaces *value (malloc'd) unless it is empty; *value of the integer form
  // becomes its leading number, or 0. White space is cut from `line` in place.
  bool parseExportFileLine(char* line, const char* key, char** value);
  bool parseExportFileLineToInt(char* line, const char* key, int* value);
  bool initEnabledExporters();

  // Both stop at the first exporter that fails.
  bool connectEnabledExporters();
  bool disconnectExporters();
  void exportDataPage(const vek_data_page_t* page,
                      const vek_exporter_schema_manager_t* schema_manager);
  void exportMsgpackBuffer(const msgpack_sbuffer* buffer);
  // Tells every exporter of the schemas to come, so that connecting announces counters.
  void updateSetsWithTypeSystem(const vek_type_system_t* type_system);

 private:
  void fillCustomOptions();

  std::vector<std::unique_ptr<FluentBitExporter>> exporters_;
  std::vector<ExporterConfig> configs_;  // outlive the exporters, which refer to their strings
  std::string config_dir_;
  std::vector<std::string> exp_files_names_;
  bool failed_to_init_ = false;
  Owned<vek_dict_t, vek_dict_delete> custom_options_;
  int32_t export_interval_;
};

}  // namespace vek

#endif  // VEK_EXPORTER_EXPORTERS_ARRAY_H
