#include "tools/base/signals.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "tools/base/console.h"

namespace vek::tools {
namespace {

volatile std::sig_atomic_t stop_flag = 0;

// Only async-signal-safe calls from here on: poll, signal, raise, write.
void on_closed_pipe(int) {
  const int saved_errno = errno;
  std::array<pollfd, 2> ends{pollfd{STDOUT_FILENO, 0, 0}, pollfd{STDERR_FILENO, 0, 0}};
  if (poll(ends.data(), ends.size(), 0) > 0) {
    for (const pollfd& end : ends) {
      if ((end.revents & (POLLERR | POLLHUP)) != 0) end_of_closed_pipe();
    }
  }
  errno = saved_errno;
}

void on_stop(int) { stop_flag = 1; }

void install(int signal_number, void (*handler)(int), int flags) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigemptyset(&action.sa_mask);
  sigaction(signal_number, &action, nullptr);
}

}  // namespace

void install_signal_handlers() {
  install(SIGPIPE, on_closed_pipe, SA_RESTART);
  // No SA_RESTART: a read from a silent pipe or a wait for the recorded pace must end.
  install(SIGINT, on_stop, static_cast<int>(SA_RESETHAND));
  install(SIGTERM, on_stop, static_cast<int>(SA_RESETHAND));
}

void end_of_closed_pipe() {
  clear_status_line_from_signal();
  sigset_t pipe_signal;
  sigemptyset(&pipe_signal);
  sigaddset(&pipe_signal, SIGPIPE);
  std::signal(SIGPIPE, SIG_DFL);
  pthread_sigmask(SIG_UNBLOCK, &pipe_signal, nullptr);
  std::raise(SIGPIPE);
  _exit(128 + SIGPIPE);  // not reached: the default of SIGPIPE ends the process
}

bool stop_requested() { return stop_flag != 0; }

}  // namespace vek::tools
