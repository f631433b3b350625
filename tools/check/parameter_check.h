// "plugin_" keys of outputs that the engine hands to Fluent Bit, against the one that is installed.
#ifndef VEK_TOOLS_CHECK_PARAMETER_CHECK_H
#define VEK_TOOLS_CHECK_PARAMETER_CHECK_H

#include <vector>

#include "tools/config/configuration.h"
#include "tools/config/finding.h"

namespace vek::tools {

// Asks the library, in a child process, or the program, whichever the engine would take: whether it
// has the output, and each parameter. Says nothing where there is neither, or no destination that
// needs it.
void check_parameters(const std::vector<ConfiguredDestination>& destinations, Findings& findings);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_PARAMETER_CHECK_H
