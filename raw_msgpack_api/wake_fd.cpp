#include "raw_msgpack_api/wake_fd.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vek::engine {

WakeFd::WakeFd() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (fd_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

WakeFd::~WakeFd() { close(fd_); }

// Neither call can fail in a way that matters: a full counter is readable, an empty one is clear.
void WakeFd::signal() const noexcept { (void)eventfd_write(fd_, 1); }

void WakeFd::clear() const noexcept {
  eventfd_t count = 0;
  (void)eventfd_read(fd_, &count);
}

}  // namespace vek::engine
