#include "raw_msgpack_api/dead_letter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "raw_msgpack_api/file_ops.h"

namespace vek::engine {
namespace {

int write_all(int fd, Bytes bytes, off_t offset) {
  FileOps& ops = FileOps::of_system();
  while (!bytes.empty()) {
    const ssize_t put = ops.write_at(fd, bytes.data(), bytes.size(), offset);
    if (put < 0 && errno == EINTR) continue;
    if (put <= 0) return put < 0 ? errno : ENOSPC;
    bytes = bytes.subspan(static_cast<size_t>(put));
    offset += put;
  }
  return 0;
}

int append_to(int fd, Bytes record, uint64_t limit) {
  struct stat status {};
  if (fstat(fd, &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  const auto size = static_cast<uint64_t>(status.st_size);
  if (size > limit || record.size() > limit - size) return EFBIG;
  const int error = write_all(fd, record, status.st_size);
  if (error != 0 && ftruncate(fd, status.st_size) != 0) return errno;
  return error;
}

}  // namespace

int DeadLetter::append(Bytes record) const noexcept {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
  const int fd = open(path_.c_str(), kFlags, 0600);
  if (fd < 0) return errno;
  const int error = append_to(fd, record, limit_);
  close(fd);
  return error;
}

}  // namespace vek::engine
