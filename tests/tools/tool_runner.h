// Runs the built tool in a process of its own, as a shell does.
#ifndef VEK_TESTS_TOOLS_TOOL_RUNNER_H
#define VEK_TESTS_TOOLS_TOOL_RUNNER_H

#include <string>
#include <utility>
#include <vector>

#include "tests/support/child_process.h"

namespace vek::test {

struct ToolSetting {
  std::string stdin_path = "/dev/null";
  // Beside the engine's path and an empty log level; an empty value unsets the variable.
  std::vector<std::pair<std::string, std::string>> environment;
};

ChildResult run_tool(const std::vector<std::string>& arguments, const ToolSetting& setting = {});

// False on machines without pseudo-terminals, such as a bare change of root.
bool can_open_terminal();
// The same with a terminal of 80 columns behind standard error; standard_error is what it was sent.
ChildResult run_tool_on_terminal(const std::vector<std::string>& arguments,
                                 const ToolSetting& setting = {});

// Runs a command line of the shell, in which "$TOOL" is the tool.
ChildResult run_shell(const std::string& script, const ToolSetting& setting = {});

}  // namespace vek::test

#endif  // VEK_TESTS_TOOLS_TOOL_RUNNER_H
