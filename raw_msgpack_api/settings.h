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

struct Settings {
  std::string name;                       // for log lines: "Alias", else the output's name
  std::string tag;                        // "Tag", else the data kind that the plug-in announced
  size_t mem_buf_limit = 64'000'000;      // bytes; "Mem_Buf_Limit"
  std::chrono::milliseconds grace{5000};  // "vek.grace"
};

// None, with an error line, when a value cannot be used.
std::optional<Settings> read_settings(const Parameters& parameters, std::string_view plugin,
                                      std::string_view kind);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SETTINGS_H
