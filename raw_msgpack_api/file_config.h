// FileConfig: what a configuration says about one "file" destination.
#ifndef VEK_RAW_MSGPACK_API_FILE_CONFIG_H
#define VEK_RAW_MSGPACK_API_FILE_CONFIG_H

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "raw_msgpack_api/parameters.h"
#include "raw_msgpack_api/settings.h"

namespace vek::engine {

struct FileConfig {
  bool is_json = true;  // otherwise msgpack
  std::string path;
};

// The parameters that are read here.
inline constexpr std::array<std::string_view, 3> kFileParameters = {"path", "file", "format"};

// None, after an error line.
std::optional<FileConfig> read_file_config(const Settings& settings, const Parameters& parameters);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FILE_CONFIG_H
