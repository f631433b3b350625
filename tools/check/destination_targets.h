// Where a destination sends to, as far as its configuration says.
#ifndef VEK_TOOLS_CHECK_DESTINATION_TARGETS_H
#define VEK_TOOLS_CHECK_DESTINATION_TARGETS_H

#include <string>
#include <tuple>
#include <vector>

#include "tools/config/configuration.h"

namespace vek::tools {

struct Target {
  std::string host;  // empty: `port` is the path of a unix socket
  std::string port;
  bool operator<(const Target& other) const {
    return std::tie(host, port) < std::tie(other.host, other.port);
  }
  std::string text() const { return host.empty() ? port : host + ":" + port; }
};

// `key` gets the key that names them. None for outputs that stay on this machine.
std::vector<Target> targets_of(const ConfiguredDestination& destination, std::string& key);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_DESTINATION_TARGETS_H
