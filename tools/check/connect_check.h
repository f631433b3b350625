// Whether destinations can be reached, for those who ask: a connection is opened and closed again,
// nothing is sent.
#ifndef VEK_TOOLS_CHECK_CONNECT_CHECK_H
#define VEK_TOOLS_CHECK_CONNECT_CHECK_H

#include <chrono>
#include <vector>

#include "tools/config/configuration.h"
#include "tools/config/finding.h"

namespace vek::tools {

// All at once, each in a child process, because looking a name up cannot be cut short otherwise.
void check_connections(const std::vector<ConfiguredDestination>& destinations, Findings& findings,
                       std::chrono::milliseconds patience = std::chrono::seconds(3));

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_CONNECT_CHECK_H
