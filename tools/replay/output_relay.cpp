#include "tools/replay/output_relay.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>

#include "tools/base/signals.h"

namespace vek::tools {
namespace {

bool output_can_break() {
  struct stat status {};
  if (fstat(STDOUT_FILENO, &status) != 0) return false;
  return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode);
}

void write_all(int fd, const char* data, size_t size) {
  while (size > 0) {
    const ssize_t written = write(fd, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && errno == EAGAIN) {
      pollfd ready{fd, POLLOUT, 0};
      poll(&ready, 1, -1);
      continue;
    }
    // EPIPE and ECONNRESET: the reader has gone.
    if (written < 0) end_of_closed_pipe();
    data += written;
    size -= static_cast<size_t>(written);
  }
}

void close_all(std::array<int, 4> fds) {
  for (const int fd : fds) {
    if (fd >= 0) close(fd);
  }
}

}  // namespace

OutputRelay::OutputRelay() {
  if (!output_can_break()) return;
  std::array<int, 2> data{-1, -1};
  std::array<int, 2> stop{-1, -1};
  const int real = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  if (real < 0 || pipe2(data.data(), O_CLOEXEC) != 0 || pipe2(stop.data(), O_CLOEXEC) != 0 ||
      dup2(data[1], STDOUT_FILENO) < 0) {
    // Without it the tool still works; only a closed pipe is noisier.
    close_all({real, data[0], data[1], stop[0]});
    return;
  }
  close(data[1]);
  read_end_ = data[0];
  stop_read_ = stop[0];
  stop_write_ = stop[1];
  real_output_ = real;
  // Requests to stop belong to the main thread, whose sleeps and reads they end.
  sigset_t requests;
  sigset_t before;
  sigemptyset(&requests);
  sigaddset(&requests, SIGINT);
  sigaddset(&requests, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &requests, &before);
  thread_ = std::thread([this] { pass_on(); });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

OutputRelay::~OutputRelay() {
  if (real_output_ < 0) return;
  std::fflush(stdout);
  dup2(real_output_, STDOUT_FILENO);
  close(stop_write_);
  thread_.join();
  close_all({real_output_, read_end_, stop_read_, -1});
}

// Ends when standard output has been given back and nothing is left in the pipe. A process that
// inherited the pipe may still hold it, so its end is not waited for.
void OutputRelay::pass_on() const {
  std::array<char, 65536> piece{};
  for (;;) {
    std::array<pollfd, 2> ends{pollfd{read_end_, POLLIN, 0}, pollfd{stop_read_, POLLIN, 0}};
    if (poll(ends.data(), ends.size(), -1) < 0) continue;
    if ((ends[0].revents & POLLIN) != 0) {
      const ssize_t got = read(read_end_, piece.data(), piece.size());
      if (got > 0) write_all(real_output_, piece.data(), static_cast<size_t>(got));
    } else if (ends[1].revents != 0 || ends[0].revents != 0) {
      return;
    }
  }
}

}  // namespace vek::tools
