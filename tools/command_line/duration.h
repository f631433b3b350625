// Options that take a span of time.
#ifndef VEK_TOOLS_COMMAND_LINE_DURATION_H
#define VEK_TOOLS_COMMAND_LINE_DURATION_H

#include <cstdint>
#include <string>

#include "tools/command_line/command_line.h"

namespace vek::tools {

// An option that takes "250us", "500ms", "1s", "5m", "1h" as microseconds, and refuses anything
// else and nothing at all.
Option add_duration(Verb& verb, const char* name, uint64_t& target_us, const std::string& help);

}  // namespace vek::tools

#endif  // VEK_TOOLS_COMMAND_LINE_DURATION_H
