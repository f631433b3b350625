// The command line: verbs, their options, help, and what a wrong command line gets.
//
// A verb lives in a folder of its own and adds itself with one function; cli.cpp lists them.
// Parsing only chooses an action, which then runs outside the parser. Help goes to standard output;
// every parser error goes to standard error, suggests the nearest name where there is one, and ends
// with ExitStatus::kUsage.
#ifndef VEK_TOOLS_CLI_H
#define VEK_TOOLS_CLI_H

#include "tools/base/exit_status.h"

namespace vek::tools {

// Parses and runs; never throws.
ExitStatus run_command_line(int argc, const char* const* argv);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CLI_H
