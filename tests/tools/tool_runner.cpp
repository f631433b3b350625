#include "tests/tools/tool_runner.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace vek::test {
namespace {

// Only in the child: replaces it by the program.
void become(const std::string& program, const std::vector<std::string>& arguments,
            const ToolSetting& setting) {
  setenv("FLUENT_BIT_EXPORT_API_SO", VEK_ENGINE_PATH, 1);
  setenv("TOOL", VEK_TOOL_PATH, 1);
  setenv("TERM", "xterm", 1);
  for (const char* name : {"VEK_API_LOG_LEVEL", "API_LOG_LEVEL", "NO_COLOR", "VEK_ROOT"}) {
    unsetenv(name);
  }
  for (const auto& [name, value] : setting.environment) {
    if (value.empty()) {
      unsetenv(name.c_str());
    } else {
      setenv(name.c_str(), value.c_str(), 1);
    }
  }
  const int input = open(setting.stdin_path.c_str(), O_RDONLY);
  dup2(input, STDIN_FILENO);
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  execv(program.c_str(), argv.data());
  _exit(127);
}

}  // namespace

ChildResult run_tool(const std::vector<std::string>& arguments, const ToolSetting& setting) {
  return run_in_child([&] { become(VEK_TOOL_PATH, arguments, setting); });
}

ChildResult run_shell(const std::string& script, const ToolSetting& setting) {
  return run_in_child([&] { become("/bin/bash", {"-c", script}, setting); });
}

bool can_open_terminal() {
  int terminal = -1;
  int other_side = -1;
  if (openpty(&terminal, &other_side, nullptr, nullptr, nullptr) != 0) return false;
  close(terminal);
  close(other_side);
  return true;
}

ChildResult run_tool_on_terminal(const std::vector<std::string>& arguments,
                                 const ToolSetting& setting) {
  int terminal = -1;
  int tool_side = -1;
  winsize size{};
  size.ws_row = 24;
  size.ws_col = 80;
  if (openpty(&terminal, &tool_side, nullptr, nullptr, &size) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    const int nothing = open("/dev/null", O_WRONLY);
    dup2(nothing, STDOUT_FILENO);
    dup2(tool_side, STDERR_FILENO);
    close(terminal);
    become(VEK_TOOL_PATH, arguments, setting);
  }
  close(tool_side);
  ChildResult result;
  std::array<char, 4096> piece{};
  ssize_t got = 0;
  // The end shows as an error once the other side is closed.
  while ((got = read(terminal, piece.data(), piece.size())) > 0) {
    result.standard_error.append(piece.data(), static_cast<size_t>(got));
  }
  close(terminal);
  int status = 0;
  waitpid(child, &status, 0);
  result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return result;
}

}  // namespace vek::test
