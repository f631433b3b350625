#include "raw_msgpack_api/file_ops.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace vek::engine {

int FileOps::open_at(int folder, const char* name, int flags, mode_t mode) {
  return openat(folder, name, flags, mode);
}

ssize_t FileOps::read_at(int fd, void* out, size_t size, off_t offset) {
  return pread(fd, out, size, offset);
}

ssize_t FileOps::write_at(int fd, const void* bytes, size_t size, off_t offset) {
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
      static_cast<rlim_t>(offset) + size > limit.rlim_cur) {
    errno = EFBIG;
    return -1;
  }
  return pwrite(fd, bytes, size, offset);
}

int FileOps::truncate(int fd, off_t size) { return ftruncate(fd, size); }

int FileOps::sync(int fd) { return fsync(fd); }

int FileOps::rename_at(int folder, const char* from, const char* to) {
  return renameat(folder, from, folder, to);
}

int FileOps::remove_at(int folder, const char* name) { return unlinkat(folder, name, 0); }

FileOps& FileOps::of_system() {
  static FileOps& ops = *new FileOps;  // never destroyed: hosts may outlive statics
  return ops;
}

}  // namespace vek::engine
