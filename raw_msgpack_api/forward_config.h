// ForwardConfig: what a configuration says about one "forward" destination.
#ifndef VEK_RAW_MSGPACK_API_FORWARD_CONFIG_H
#define VEK_RAW_MSGPACK_API_FORWARD_CONFIG_H

#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "raw_msgpack_api/forward_handshake.h"
#include "raw_msgpack_api/parameters.h"
#include "raw_msgpack_api/settings.h"
#include "raw_msgpack_api/tls_client.h"

namespace vek::engine {

struct ForwardConfig {
  using Duration = std::chrono::milliseconds;

  std::string name;  // for log lines
  std::string tag;
  std::string host;
  std::string port;
  std::string unix_path;  // instead of host and port, unless empty
  std::optional<TlsOptions> tls;
  Credentials credentials;

  bool acknowledged = true;
  bool compress = false;
  size_t frame_size = 256'000;     // bytes of entries
  size_t window_size = 8'000'000;  // bytes of frames in flight
  size_t max_depth = 28;           // containers open at once in an event
  std::optional<uint64_t> retry_limit;

  Duration connect_timeout{10'000};    // of each address, and of the look-up
  Duration handshake_timeout{10'000};  // of TLS, then of HELO, PING and PONG
  Duration ack_timeout{60'000};
  Duration retry_base{1'000};
  Duration retry_cap{30'000};

  std::string dead_letter_path;  // empty: such records are not kept
};

// The parameters that are read here.
inline constexpr std::array<std::string_view, 25> kForwardParameters = {"Host",
                                                                        "Port",
                                                                        "Unix_Path",
                                                                        "Compress",
                                                                        "Shared_Key",
                                                                        "Require_ack_response",
                                                                        "Username",
                                                                        "Password",
                                                                        "Self_Hostname",
                                                                        "Retry_Limit",
                                                                        "tls",
                                                                        "tls.verify",
                                                                        "tls.ca_file",
                                                                        "tls.crt_file",
                                                                        "tls.key_file",
                                                                        "tls.key_passwd",
                                                                        "tls.vhost",
                                                                        "net.connect_timeout",
                                                                        "storage.path",
                                                                        "vek.depth",
                                                                        "vek.handshake_timeout",
                                                                        "vek.frame_size",
                                                                        "vek.retry_base",
                                                                        "vek.ack_timeout",
                                                                        "vek.retry_cap"};

// None, after an error line that names the parameter and what it takes.
std::optional<ForwardConfig> read_forward_config(const Settings& settings,
                                                 const Parameters& parameters);
// Of the way to a Fluent Bit of our own, behind a unix socket: every parameter but the engine's
// belongs to that one's output.
std::optional<ForwardConfig> read_feed_config(const Settings& settings,
                                              const Parameters& parameters,
                                              const std::string& unix_path);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FORWARD_CONFIG_H
