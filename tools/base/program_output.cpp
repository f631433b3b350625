#include "tools/base/program_output.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>

namespace vek::tools {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMostBytes = size_t{64} << 20;

// 0, or what posix_spawn() has against it.
int start(const std::string& path, const std::vector<std::string>& arguments, int out,
          pid_t& child) {
  std::vector<char*> words{const_cast<char*>(path.c_str())};
  for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  const int error = posix_spawn(&child, path.c_str(), &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

// Until the program closes its end; false when that lasts too long or is too much.
bool read_all(int fd, Clock::time_point deadline, std::string& text) {
  std::array<char, 65536> piece{};
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd request{fd, POLLIN, 0};
    const int ready = left.count() > 0 ? poll(&request, 1, static_cast<int>(left.count())) : 0;
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    const ssize_t got = read(fd, piece.data(), piece.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return true;
    text.append(piece.data(), static_cast<size_t>(got));
    if (text.size() > kMostBytes) return false;
  }
}

// False when it still ran at the deadline, and had to be killed.
bool await_end(pid_t child, Clock::time_point deadline, int& status) {
  for (;;) {
    const pid_t ended = waitpid(child, &status, WNOHANG);
    if (ended == child || (ended < 0 && errno != EINTR)) return true;
    if (Clock::now() >= deadline) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  kill(child, SIGKILL);
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return false;
}

std::string end_of(int status) {
  if (WIFSIGNALED(status)) return std::string("crashes: ") + strsignal(WTERMSIG(status));
  if (WEXITSTATUS(status) == 0) return {};
  return "ends with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

ProgramOutput run_program(const std::string& path, const std::vector<std::string>& arguments,
                          std::chrono::milliseconds patience) {
  ProgramOutput output;
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    output.problem = std::string("gets no pipe: ") + std::strerror(errno);
    return output;
  }
  const auto deadline = Clock::now() + patience;
  pid_t child = -1;
  const int error = start(path, arguments, ends[1], child);
  close(ends[1]);
  if (error == 0) {
    const bool is_whole = read_all(ends[0], deadline, output.text);
    int status = 0;
    const bool ended = await_end(child, is_whole ? deadline : Clock::now(), status);
    output.problem = is_whole && ended ? end_of(status) : "does not come to an end";
  } else {
    output.problem = std::string("cannot be run: ") + std::strerror(error);
  }
  close(ends[0]);
  return output;
}

std::string first_program(const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    if (access(path.c_str(), X_OK) == 0) return path;
  }
  return {};
}

}  // namespace vek::tools
