#include "raw_msgpack_api/byte_sink.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace vek::engine {

FdSink::FdSink(int fd) : fd_(fd) {
  struct stat status {};
  const bool known = fstat(fd, &status) == 0;
  is_file_ = known && S_ISREG(status.st_mode);
  is_socket_ = known && S_ISSOCK(status.st_mode);
}

FdSink::~FdSink() { close(fd_); }

// At most one PIPE_BUF where a reader may be slow: a pipe that polls writable has room for that, so
// the thread never sleeps inside write(), where the end of the grace would not reach it.
long FdSink::write_some(std::string_view bytes) const {
  if (is_socket_) return send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (!is_file_ && bytes.size() > PIPE_BUF) bytes = bytes.substr(0, PIPE_BUF);
  return ::write(fd_, bytes.data(), bytes.size());
}

bool FdSink::wait_writable() const {
  constexpr int kStepMs = 50;  // how late the end of the grace may be noticed
  pollfd request{fd_, POLLOUT, 0};
  // Errors and hang-ups count as writable: write() names them.
  return poll(&request, 1, kStepMs) > 0;
}

WriteResult FdSink::write(std::string_view bytes, const StopSignal& stop) {
  WriteResult result;
  while (result.written < bytes.size()) {
    if (!is_file_ && !wait_writable()) {
      if (!stop.expired()) continue;
      result.error = ETIMEDOUT;
      return result;
    }
    const long count = write_some(bytes.substr(result.written));
    if (count >= 0) {
      result.written += static_cast<size_t>(count);
    } else if (errno == EAGAIN || errno == EINTR) {
      // Another writer was faster; poll again. A descriptor that always says so must not hold up
      // finalize.
      if (!stop.expired()) continue;
      result.error = ETIMEDOUT;
      return result;
    } else {
      result.error = errno;
      return result;
    }
  }
  return result;
}

}  // namespace vek::engine
