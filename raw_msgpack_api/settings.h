// Settings that every destination has.
#ifndef VEK_RAW_MSGPACK_API_SETTINGS_H
#define VEK_RAW_MSGPACK_API_SETTINGS_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "raw_msgpack_api/parameters.h"

namespace vek::engine {

// What "init" was called with, beside the parameters.
struct Target {
  std::string_view plugin;
  std::string_view host;
  std::string_view port;
  std::string_view kind;
};

struct Settings {
  std::string name;                       // for log lines: "Alias", else the output's name
  std::string host;                       // where to, as "init" was called
  std::string port;                       // decimal text
  std::string tag;                        // "Tag", else the data kind that the plug-in announced
  size_t mem_buf_limit = 64'000'000;      // bytes; "Mem_Buf_Limit"
  std::chrono::milliseconds grace{5000};  // "vek.grace"
};

// None, with an error line, when a value cannot be used.
std::optional<Settings> read_settings(const Parameters& parameters, const Target& target);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SETTINGS_H
