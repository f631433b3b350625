// "plugin_" keys against the engine that will read them: names and values that stop the start.
#ifndef VEK_TOOLS_CHECK_ENGINE_PARAMETER_CHECK_H
#define VEK_TOOLS_CHECK_ENGINE_PARAMETER_CHECK_H

#include <vector>

#include "tools/config/configuration.h"
#include "tools/config/finding.h"

namespace vek::tools {

// By the engine's own code, and in its words. Of an output that is Fluent Bit's, what the engine
// keeps to itself. Every parameter of every enabled destination, not only the first that is wrong.
void check_engine_parameters(const std::vector<ConfiguredDestination>& destinations,
                             Findings& findings);

// Files and folders that parameters name, and that have to be there when the engine starts.
void check_parameter_files(const ConfiguredDestination& destination, Findings& findings);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_ENGINE_PARAMETER_CHECK_H
