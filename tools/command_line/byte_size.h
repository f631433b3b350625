// Options that take a number of bytes.
#ifndef VEK_TOOLS_COMMAND_LINE_BYTE_SIZE_H
#define VEK_TOOLS_COMMAND_LINE_BYTE_SIZE_H

#include <cstdint>
#include <string>

#include "tools/command_line/command_line.h"

namespace vek::tools {

// An option that takes "500", "64KiB", "10MiB", "1GiB" (k, M, G for short), and refuses anything
// else and nothing at all.
Option add_byte_size(Verb& verb, const char* name, uint64_t& target, const std::string& help);

}  // namespace vek::tools

#endif  // VEK_TOOLS_COMMAND_LINE_BYTE_SIZE_H
