// Where a destination sends to, as far as its configuration says.
#ifndef VEK_TOOLS_DESTINATION_TARGETS_H
#define VEK_TOOLS_DESTINATION_TARGETS_H

#include <compare>
#include <string>
#include <vector>

#include "tools/configuration.h"

namespace vek::tools {

struct Target {
  std::string host;  // empty: `port` is the path of a unix socket
  std::string port;
  auto operator<=>(const Target&) const = default;
  std::string text() const { return host.empty() ? port : host + ":" + port; }
};

// `key` gets the key that names them. None for outputs that stay on this machine.
std::vector<Target> targets_of(const ConfiguredDestination& destination, std::string& key);

}  // namespace vek::tools

#endif  // VEK_TOOLS_DESTINATION_TARGETS_H
