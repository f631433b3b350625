// FluentBitConfig: what a Fluent Bit of our own is told: one input, a unix socket where it speaks
// the Forward protocol with us, and one output, which gets every parameter that is not ours.
#ifndef VEK_RAW_MSGPACK_API_FLUENT_BIT_CONFIG_H
#define VEK_RAW_MSGPACK_API_FLUENT_BIT_CONFIG_H

#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "raw_msgpack_api/parameters.h"
#include "raw_msgpack_api/private_folder.h"
#include "raw_msgpack_api/secret_filter.h"
#include "raw_msgpack_api/settings.h"

namespace vek::engine {

using Properties = std::vector<std::pair<std::string, std::string>>;

struct FluentBitConfig {
  std::string name;    // for log lines
  std::string output;  // the plug-in
  std::string tag;
  std::string engine_path;   // where to look first; may be empty
  std::string storage_path;  // of chunks that it has acknowledged and not sent
  std::string unix_path;     // where it listens
  std::string log_path;      // where the library writes its log
  Properties service;
  Properties input;
  Properties output_properties;  // in the order of the configuration
  SecretFilter secrets;
  std::chrono::milliseconds grace{5000};            // to send what it has, when its host is gone
  std::chrono::milliseconds start_timeout{10'000};  // until it acknowledges a probe
  std::chrono::milliseconds retry_base{1'000};      // before it is started again
  std::chrono::milliseconds retry_cap{30'000};
};

// The engine's parameters that mean something here.
inline constexpr std::array<std::string_view, 8> kFluentBitParameters = {
    "vek.engine_path", "vek.expand_env", "vek.start_timeout", "vek.depth",
    "vek.frame_size",  "vek.retry_base", "vek.retry_cap",     "vek.ack_timeout"};

// None, after an error line that names the parameter and what it takes. Makes the folder of the
// chunks, where "storage.path" asks for one; otherwise they lie in `folder`.
std::optional<FluentBitConfig> read_fluent_bit_config(std::string_view output,
                                                      const Settings& settings,
                                                      const Parameters& parameters,
                                                      const PrivateFolder& folder);

// As Fluent Bit's program reads it from a file.
std::string classic_text(const FluentBitConfig& config);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FLUENT_BIT_CONFIG_H
