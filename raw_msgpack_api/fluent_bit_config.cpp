#include "raw_msgpack_api/fluent_bit_config.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "raw_msgpack_api/frame_source.h"
#include "raw_msgpack_api/parameter_reader.h"
#include "raw_msgpack_api/spool_folder.h"
#include "utils/logger.h"
#include "utils/output_rules.h"

namespace vek::engine {
namespace {

constexpr size_t kLastPort = 65535;

bool is_property_name(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '.';
  });
}

bool refuse(std::string_view name, const char* why) {
  VEK_LOGE("[raw msgpack API] the value of '%.*s' cannot be handed to Fluent Bit: %s",
           static_cast<int>(name.size()), name.data(), why);
  return false;
}

// What a line of Fluent Bit's configuration can say without meaning something else.
bool is_plain(std::string_view name, std::string_view value, bool expands) {
  if (std::any_of(value.begin(), value.end(),
                  [](char c) { return static_cast<unsigned char>(c) < ' ' && c != '\t'; })) {
    return refuse(name, "it has a line break or a control character");
  }
  if (!expands && value.find("${") != std::string_view::npos) {
    return refuse(name,
                  "it would replace ${...} from the environment; vek.expand_env = on allows that");
  }
  return true;
}

bool names_an_output(const std::string& name) {
  if (is_property_name(name)) return true;
  VEK_LOGE("[raw msgpack API] '%s' is no name of an output", name.c_str());
  return false;
}

bool has(const Properties& properties, std::string_view name) {
  return std::any_of(properties.begin(), properties.end(),
                     [&](const auto& p) { return equals_ignoring_case(p.first, name); });
}

// Host and port as the destination has them, then the parameters, every one of equal names.
bool read_output(const Settings& settings, const Parameters& parameters, bool expands,
                 FluentBitConfig& config) {
  ParameterReader reader(parameters);
  size_t port = 0;
  reader.read_number("Port", 1, kLastPort, port);
  if (!reader.good()) return false;
  const std::string host = reader.has("Host") ? reader.text("Host") : settings.host;
  const std::string port_text = port > 0 ? std::to_string(port) : settings.port;
  Properties& out = config.output_properties;
  if (!host.empty()) out.emplace_back("host", host);
  if (!port_text.empty() && port_text != "0") out.emplace_back("port", port_text);
  for (const auto& [name, value] : parameters.all()) {
    config.secrets.add(name, value);
    if (is_engine_parameter(name) || value.empty()) continue;
    if (!is_property_name(name)) return refuse(name, "its name is none of Fluent Bit's");
    out.emplace_back(name, value);
  }
  if (!has(out, "retry_limit")) out.emplace_back("retry_limit", "no_limits");
  if (!has(out, "storage.total_limit_size")) out.emplace_back("storage.total_limit_size", "1G");
  return std::all_of(out.begin(), out.end(),
                     [&](const auto& p) { return is_plain(p.first, p.second, expands); });
}

// Fluent Bit's own "file" starts without its folder, and then loses everything.
bool file_has_its_folder(const FluentBitConfig& config, const Parameters& parameters) {
  if (!equals_ignoring_case(config.output, "file")) return true;
  const std::string path(parameters.text("path", ""));
  struct stat status {};
  if (path.empty() || parameters.find("mkdir")) return true;
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return true;
  VEK_LOGE("[raw msgpack API] path = '%s' cannot be used; it takes a folder that exists",
           path.c_str());
  return false;
}

bool make_folder(const std::string& path) {
  if (mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) return true;
  VEK_LOGE("[raw msgpack API] cannot make the folder '%s': %s", path.c_str(), std::strerror(errno));
  return false;
}

// Beside the spool's, which has our name alone.
bool place_storage(const Settings& settings, const Parameters& parameters,
                   const PrivateFolder& folder, FluentBitConfig& config) {
  const std::string root(parameters.text("storage.path", ""));
  config.storage_path = folder.file("chunks");
  if (root.empty()) return true;
  config.storage_path = root + '/' + safe_folder_name(settings.name) + "~fluent-bit";
  return make_folder(root) && make_folder(config.storage_path);
}

std::string whole_seconds(std::chrono::milliseconds time) {
  return std::to_string(
      std::max<int64_t>(1, std::chrono::ceil<std::chrono::seconds>(time).count()));
}

void fill_service(FluentBitConfig& config) {
  constexpr size_t kFramesInBuffer = 4;
  config.service = {{"flush", "0.5"},
                    {"grace", whole_seconds(config.grace)},
                    {"log_level", "info"},
                    {"http_server", "off"},
                    {"storage.path", config.storage_path},
                    {"storage.sync", "full"},
                    {"storage.checksum", "off"},
                    {"scheduler.base", "1"},
                    {"scheduler.cap", "30"}};
  config.input = {
      {"unix_path", config.unix_path},
      {"unix_perm", "0600"},
      {"tag", config.tag},
      {"storage.type", "filesystem"},
      {"threaded", "off"},
      {"buffer_chunk_size", "1000000"},
      {"buffer_max_size", std::to_string(kFramesInBuffer * FrameSource::kLargestFrame)}};
}

void append(const char* section, const char* plugin, const Properties& properties,
            std::string& out) {
  out += '[';
  out += section;
  out += "]\n";
  if (plugin) (out += "    name ") += std::string(plugin) + '\n';
  for (const auto& [name, value] : properties) {
    out.append("    ").append(name).append(" ").append(value).append("\n");
  }
}

}  // namespace

std::optional<FluentBitConfig> read_fluent_bit_config(std::string_view output,
                                                      const Settings& settings,
                                                      const Parameters& parameters,
                                                      const PrivateFolder& folder) {
  FluentBitConfig config;
  config.name = settings.name;
  config.output = output;
  config.tag = settings.tag;
  config.grace = settings.grace;
  config.unix_path = folder.file("in");
  config.log_path = folder.file("log");
  ParameterReader reader(parameters);
  bool expands = false;
  config.engine_path = reader.text("vek.engine_path");
  reader.read("vek.expand_env", expands);
  reader.read_seconds("vek.start_timeout", config.start_timeout);
  reader.read_seconds("vek.retry_base", config.retry_base);
  reader.read_seconds("vek.retry_cap", config.retry_cap);
  if (!reader.good() || !names_an_output(config.output)) return std::nullopt;
  if (!is_plain("Tag", config.tag, false)) return std::nullopt;
  if (!read_output(settings, parameters, expands, config)) return std::nullopt;
  if (!file_has_its_folder(config, parameters)) return std::nullopt;
  if (!place_storage(settings, parameters, folder, config)) return std::nullopt;
  fill_service(config);
  return config;
}

std::string classic_text(const FluentBitConfig& config) {
  std::string text;
  append("SERVICE", nullptr, config.service, text);
  append("INPUT", "forward", config.input, text);
  append("OUTPUT", config.output.c_str(), config.output_properties, text);
  text += "    match *\n";
  return text;
}

}  // namespace vek::engine
