#include "raw_msgpack_api/file_config.h"

#include "utils/logger.h"

namespace vek::engine {
namespace {

// Empty when neither a folder nor a name is given.
std::string file_path(const Settings& settings, const Parameters& parameters) {
  const std::string folder(parameters.text("path", ""));
  const std::string_view file = parameters.text("file", "");
  if (folder.empty()) return std::string(file);
  const std::string name(file.empty() ? std::string_view(settings.tag) : file);
  return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

}  // namespace

std::optional<FileConfig> read_file_config(const Settings& settings, const Parameters& parameters) {
  FileConfig config;
  const std::string_view format = parameters.text("format", "json");
  config.is_json = equals_ignoring_case(format, "json");
  if (!config.is_json && !equals_ignoring_case(format, "msgpack")) {
    VEK_LOGE("[raw msgpack API] output 'file' has no format '%.*s'; use 'json' or 'msgpack'",
             static_cast<int>(format.size()), format.data());
    return std::nullopt;
  }
  config.path = file_path(settings, parameters);
  if (config.path.empty()) {
    VEK_LOGE("[raw msgpack API] output 'file' needs plugin_path or plugin_file");
    return std::nullopt;
  }
  return config;
}

}  // namespace vek::engine
