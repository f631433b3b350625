// The Fluent Bit program: where it is, how old it is, and what it thinks of a configuration.
#ifndef VEK_RAW_MSGPACK_API_FLUENT_BIT_PROGRAM_H
#define VEK_RAW_MSGPACK_API_FLUENT_BIT_PROGRAM_H

#include <optional>
#include <string>
#include <vector>

#include "raw_msgpack_api/fluent_bit_config.h"

namespace vek::engine {

struct FluentBitProgram {
  std::string path;
  std::string version;  // "5.1.1"

  // The first of `candidates` that can be used. None, with what became of each in `why`.
  static std::optional<FluentBitProgram> find(const std::vector<std::string>& candidates,
                                              std::string& why);
  // Empty when it takes the configuration in that file, otherwise what is wrong with it.
  std::string check(const std::string& config_path, const FluentBitConfig& config) const;
};

// Of "Fluent Bit v5.1.1\nGit commit: ..."; empty when there is none.
std::string version_in(const std::string& text);
// False for versions before 2.1, and for what is none.
bool is_served_version(const std::string& version);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FLUENT_BIT_PROGRAM_H
