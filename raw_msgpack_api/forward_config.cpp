#include "raw_msgpack_api/forward_config.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <utility>

#include "raw_msgpack_api/parameter_reader.h"
#include "raw_msgpack_api/spool_folder.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

constexpr size_t kLastPort = 65535;

// Not the bare name of the machine: a receiver on the same one would have it too.
std::string default_hostname() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  if (gethostname(name.data(), name.size() - 1) != 0) return "vekora";
  return std::string("vekora@") + name.data();
}

// The port that init was given, 0 and nothing both meaning the usual one; false when it is no port.
bool read_init_port(const std::string& text, size_t& port) {
  if (text.empty()) return true;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error == std::errc{} && *end == '\0' && port <= kLastPort) return true;
  VEK_LOGE("[raw msgpack API] port = '%s' cannot be used; it takes a number from 0 to 65535",
           text.c_str());
  return false;
}

bool read_place(const Settings& settings, ParameterReader& reader, ForwardConfig& config) {
  constexpr size_t kUsualPort = 24224;
  config.unix_path = reader.text("Unix_Path");
  SocketAddress address;
  if (!config.unix_path.empty() && !unix_address(config.unix_path, address)) {
    reader.refuse("Unix_Path", "a path of at most 107 bytes");
  }
  config.host = reader.has("Host") ? reader.text("Host") : settings.host;
  if (config.host.empty()) config.host = "127.0.0.1";
  size_t port = 0;
  if (!reader.has("Port") && !read_init_port(settings.port, port)) return false;
  reader.read_number("Port", 0, kLastPort, port);
  config.port = std::to_string(port == 0 ? kUsualPort : port);
  return reader.good();
}

void read_tls(ParameterReader& reader, ForwardConfig& config) {
  bool wanted = false;
  reader.read("tls", wanted);
  TlsOptions tls;
  reader.read("tls.verify", tls.verify);
  tls.ca_file = reader.text("tls.ca_file");
  tls.crt_file = reader.text("tls.crt_file");
  tls.key_file = reader.text("tls.key_file");
  tls.key_passphrase = reader.text("tls.key_passwd");
  tls.server_name = reader.has("tls.vhost") ? reader.text("tls.vhost") : config.host;
  if (!wanted) return;
  if (!config.unix_path.empty()) reader.refuse("tls", "off with Unix_Path");
  if (tls.crt_file.empty() && !tls.key_file.empty()) {
    reader.refuse("tls.crt_file", "the certificate of tls.key_file");
  }
  if (tls.key_file.empty() && !tls.crt_file.empty()) {
    reader.refuse("tls.key_file", "the key of tls.crt_file");
  }
  config.tls = std::move(tls);
}

void read_credentials(ParameterReader& reader, ForwardConfig& config) {
  Credentials& own = config.credentials;
  own.shared_key = reader.text("Shared_Key");
  own.username = reader.text("Username");
  own.password = reader.text("Password");
  own.hostname = reader.has("Self_Hostname") ? reader.text("Self_Hostname") : default_hostname();
  if (!own.password.empty() && own.username.empty()) {
    reader.refuse("Username", "the user whose Password it is");
  }
  if (!own.fit()) {
    reader.refuse(own.username.size() > own.hostname.size() ? "Username" : "Self_Hostname",
                  "a shorter text: receivers read at most 1023 bytes of a handshake");
  }
}

void read_retries(ParameterReader& reader, ForwardConfig& config) {
  const std::string text = reader.text("Retry_Limit");
  if (text.empty() || equals_ignoring_case(text, "no_limits")) return;
  size_t limit = 0;
  if (!equals_ignoring_case(text, "no_retries")) {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || *end != '\0' || number == 0) {
      reader.refuse("Retry_Limit", "no_limits, no_retries or a number from 1");
    }
    limit = number;
  }
  config.retry_limit = limit;
}

void read_frame_limits(ParameterReader& reader, size_t mem_buf_limit, ForwardConfig& config) {
  reader.read_size("vek.frame_size", 1'000, 1'000'000, config.frame_size);
  reader.read_number("vek.depth", 1, 60, config.max_depth);
  // What is in flight cannot give way to newer records, so it is not all that may wait.
  config.window_size = std::min(config.window_size, mem_buf_limit / 2);
}

void read_frames(ParameterReader& reader, size_t mem_buf_limit, ForwardConfig& config) {
  const std::string compression = reader.text("Compress");
  config.compress = equals_ignoring_case(compression, "gzip");
  if (!config.compress && !compression.empty() && !equals_ignoring_case(compression, "off")) {
    reader.refuse("Compress", "gzip or off");
  }
  if (config.compress && !config.unix_path.empty()) reader.refuse("Compress", "off with Unix_Path");
  reader.read("Require_ack_response", config.acknowledged);
  read_frame_limits(reader, mem_buf_limit, config);
}

void read_patience(ParameterReader& reader, ForwardConfig& config) {
  reader.read_seconds("vek.ack_timeout", config.ack_timeout);
  reader.read_seconds("vek.retry_base", config.retry_base);
  reader.read_seconds("vek.retry_cap", config.retry_cap);
}

void read_dead_letters(const Settings& settings, ParameterReader& reader, ForwardConfig& config) {
  if (!reader.has("storage.path")) return;
  config.dead_letter_path =
      reader.text("storage.path") + '/' + safe_folder_name(settings.name) + ".dead-letter.msgpack";
}

}  // namespace

std::optional<ForwardConfig> read_forward_config(const Settings& settings,
                                                 const Parameters& parameters) {
  ParameterReader reader(parameters);
  ForwardConfig config;
  config.name = settings.name;
  config.tag = settings.tag;
  if (!read_place(settings, reader, config)) return std::nullopt;
  read_tls(reader, config);
  read_credentials(reader, config);
  read_retries(reader, config);
  read_frames(reader, settings.mem_buf_limit, config);
  reader.read_seconds("net.connect_timeout", config.connect_timeout);
  reader.read_seconds("vek.handshake_timeout", config.handshake_timeout);
  read_patience(reader, config);
  read_dead_letters(settings, reader, config);
  if (!reader.good()) return std::nullopt;
  return config;
}

std::optional<ForwardConfig> read_feed_config(const Settings& settings,
                                              const Parameters& parameters,
                                              const std::string& unix_path) {
  constexpr size_t kDepthOfFluentBit = 60;
  ParameterReader reader(parameters);
  ForwardConfig config;
  config.name = settings.name;
  config.tag = settings.tag;
  config.unix_path = unix_path;
  config.max_depth = kDepthOfFluentBit;
  read_frame_limits(reader, settings.mem_buf_limit, config);
  read_patience(reader, config);
  read_dead_letters(settings, reader, config);
  if (!reader.good()) return std::nullopt;
  return config;
}

}  // namespace vek::engine
