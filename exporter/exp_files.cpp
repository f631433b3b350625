// Finding and reading ".exp" files: the configuration members of FluentBitExportersArray.
//
// A line is "key = value" by prefix: a key takes every line that begins with it, tried in one fixed
// order, and whatever single character follows the key is dropped as its "=". Operators' files rely
// on both ("host:10.0.0.1" is as good as "host = 10.0.0.1").
#include <dirent.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "exporter/exporters_array.h"
#include "utils/logger.h"
#include "utils/owned.h"
#include "utils/strings.h"

namespace vek {
namespace {

using Directory = Owned<DIR, closedir>;

constexpr std::string_view kSuffix = ".exp";
constexpr std::string_view kParameterPrefix = "plugin_";
constexpr const char* kSourceTagKey = "source_tag";
constexpr size_t kMaxPathSize = 128;  // terminator included; longer paths are cut

bool isDirectory(const std::string& dir, const dirent& entry) {
  if (entry.d_type == DT_DIR) return true;
  // Some file systems do not tell, and a link tells nothing about what it leads to.
  if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK) return false;
  struct stat status {};
  const std::string path = dir + "/" + entry.d_name;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The value of a line that begins with `key`, cut out of `line` in place; null for another line.
char* valueOf(char* line, const char* key) {
  const size_t key_length = std::strlen(key);
  if (std::strncmp(line, key, key_length) != 0) return nullptr;
  char* value = trim_white_space(line + key_length);
  if (*value != '\0') ++value;  // the "=", or whatever stands for it
  return trim_white_space(value);
}

void appendSourceTags(vek_string_array_t** list, std::string_view tags) {
  while (true) {
    const size_t comma = tags.find(',');
    const std::string tag(tags.substr(0, comma));
    if (!vek_append_string_array(list, tag.c_str())) {
      VEK_LOGE("[FluentBitExportersArray] [%s] Failed to append source_tag '%s' to source_tag_list",
               "parseExpFileToConfig", tag.c_str());
    }
    if (comma == std::string_view::npos) return;
    tags.remove_prefix(comma + 1);
  }
}

// `text` is what follows "plugin_" in `line`.
void addParameter(fluentbit_export_parameters_t* params, const char* line, std::string_view text) {
  if (text.starts_with('=')) {
    VEK_LOGE("empty param name in line %s", line);
    return;
  }
  const size_t equals = text.find('=');
  std::string name(text.substr(0, equals));
  if (equals == std::string_view::npos) {
    push_parameter(params, name.c_str(), "");
    return;
  }
  text.remove_prefix(equals + 1);
  std::string value(text.substr(0, text.find('=')));
  push_parameter(params, trim_white_space(name.data()), trim_white_space(value.data()));
}

// The lines of a file, of any length. A line stays valid until the next one is read.
class LineReader {
 public:
  explicit LineReader(std::FILE* file) : file_(file) {}
  ~LineReader() { std::free(buffer_); }
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  char* next() { return getline(&buffer_, &capacity_, file_) < 0 ? nullptr : buffer_; }

 private:
  std::FILE* file_;
  char* buffer_ = nullptr;
  size_t capacity_ = 0;
};

// What is left of a line without its comment and the white space around it.
char* meaningOf(char* line) {
  if (char* comment = std::strchr(line, '#')) *comment = '\0';
  return trim_white_space(line);
}

}  // namespace

bool FluentBitExportersArray::getExpFilesNames() {
  const Directory directory(opendir(config_dir_.c_str()));
  if (!directory) {
    VEK_LOGE("[FluentBitExporter] [%s] Cannot open dir_path \"%s\"", "getExpFilesNames",
             config_dir_.c_str());
    return false;
  }
  exp_files_names_.clear();
  while (const dirent* entry = readdir(directory.get())) {
    if (!std::string_view(entry->d_name).ends_with(kSuffix)) continue;
    if (!isDirectory(config_dir_, *entry)) exp_files_names_.emplace_back(entry->d_name);
  }
  return true;
}

bool FluentBitExportersArray::parseExpFilesToConfigs() {
  for (std::string& name : exp_files_names_) parseExpFileToConfig(name);
  return true;
}

bool FluentBitExportersArray::parseExpFileToConfig(std::string& file_name) {
  const std::string path = (config_dir_ + "/" + file_name).substr(0, kMaxPathSize - 1);
  const File file(std::fopen(path.c_str(), "r"));
  if (!file) {
    VEK_LOGE("[FluentBitExportersArray] [%s] Cannot open config file '%s'", "parseExpFileToConfig",
             path.c_str());
    return false;
  }
  ExporterConfig config(vek_create_exporter_config());
  if (!config) return false;
  LineReader lines(file.get());
  while (char* line = lines.next()) parseLine(meaningOf(line), *config);
  configs_.push_back(std::move(config));
  return true;
}

void FluentBitExportersArray::parseLine(char* line, fluentbit_exporter_config_t& config) {
  // The order matters: "plugin_name" stands before the "plugin_" parameters, "name" behind it.
  if (parseExportFileLine(line, "msgpack_data_layout", &config.msgpack_data_layout) ||
      parseExportFileLine(line, "plugin_name", &config.plugin_name) ||
      parseExportFileLine(line, "name", &config.name) ||
      parseExportFileLine(line, "counterset", &config.counterset) ||
      parseExportFileLine(line, "fieldset", &config.fieldset) ||
      parseExportFileLine(line, "host", &config.host) ||
      parseExportFileLineToInt(line, "enable", &config.enable) ||
      parseExportFileLineToInt(line, "port", &config.port) ||
      parseExportFileLineToInt(line, "batch_mode", &config.batch_mode)) {
    return;
  }
  if (const char* tags = valueOf(line, kSourceTagKey)) {
    if (*tags != '\0') appendSourceTags(&config.source_tag_list, tags);
    return;
  }
  std::string_view text(line);
  if (text.starts_with(kParameterPrefix)) {
    text.remove_prefix(kParameterPrefix.size());
    addParameter(config.params, line, text);
  }
}

bool FluentBitExportersArray::parseExportFileLine(char* line, const char* key, char** value) {
  const char* text = valueOf(line, key);
  if (!text) return false;
  if (*text == '\0') return true;  // an empty value leaves the field as it was
  if (char* copy = strdup(text)) {
    std::free(*value);
    *value = copy;
  }
  return true;
}

bool FluentBitExportersArray::parseExportFileLineToInt(char* line, const char* key, int* value) {
  const char* text = valueOf(line, key);
  if (!text) return false;
  *value = static_cast<int>(std::strtol(text, nullptr, 10));
  return true;
}

}  // namespace vek
