// Finding and reading ".exp" files: the configuration members of FluentBitExportersArray.
#include "exporter/exp_file_reader.h"
#include "exporter/exporters_array.h"
#include "utils/logger.h"

namespace vek {
namespace {

// Pieces for which memory ran out are null.
bool is_whole(const fluentbit_exporter_config_t& config) {
  return config.name && config.plugin_name && config.host && config.msgpack_data_layout &&
         config.source_tag_list && config.params;
}

}  // namespace

bool FluentBitExportersArray::getExpFilesNames() {
  if (list_exp_files(config_dir_, exp_files_names_)) return true;
  VEK_LOGE("[FluentBitExporter] [%s] Cannot open dir_path \"%s\"", "getExpFilesNames",
           config_dir_.c_str());
  return false;
}

bool FluentBitExportersArray::parseExpFilesToConfigs() {
  for (std::string& name : exp_files_names_) parseExpFileToConfig(name);
  return true;
}

bool FluentBitExportersArray::parseExpFileToConfig(std::string& file_name) {
  const std::string path = exp_file_path(config_dir_, file_name);
  ExporterConfig config(vek_create_exporter_config());
  if (!config || !is_whole(*config)) {
    VEK_LOGE("[FluentBitExportersArray] out of memory: '%s' is not read", path.c_str());
    return false;
  }
  if (!read_exp_file(path, *config)) {
    VEK_LOGE("[FluentBitExportersArray] [%s] Cannot open config file '%s'", "parseExpFileToConfig",
             path.c_str());
    return false;
  }
  configs_.push_back(std::move(config));
  return true;
}

bool FluentBitExportersArray::parseExportFileLine(char* line, const char* key, char** value) {
  return take_exp_text(line, key, value);
}

bool FluentBitExportersArray::parseExportFileLineToInt(char* line, const char* key, int* value) {
  return take_exp_number(line, key, value);
}

}  // namespace vek
