// FailingOps: a disk that does as it is told.
#ifndef VEK_TESTS_RAW_MSGPACK_API_FAILING_OPS_H
#define VEK_TESTS_RAW_MSGPACK_API_FAILING_OPS_H

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "raw_msgpack_api/file_ops.h"

namespace vek::test {

class FailingOps : public engine::FileOps {
 public:
  int write_error = 0;
  size_t bytes_until_error = 0;  // written before write_error comes
  int truncate_error = 0;
  int sync_error = 0;
  int open_error = 0;
  int read_error = 0;
  int reads_until_error = 0;
  int read_errors_left = 1'000'000;
  size_t largest_write = SIZE_MAX;
  int interrupt_every = 0;
  int writes = 0;
  int reads = 0;

  int open_at(int folder, const char* name, int flags, mode_t mode) override {
    return open_error != 0 ? fail(open_error) : FileOps::open_at(folder, name, flags, mode);
  }
  ssize_t read_at(int fd, void* out, size_t size, off_t offset) override {
    ++reads;
    if (read_error != 0 && reads > reads_until_error && read_errors_left-- > 0) {
      return fail(read_error);
    }
    return FileOps::read_at(fd, out, size, offset);
  }
  ssize_t write_at(int fd, const void* bytes, size_t size, off_t offset) override {
    ++writes;
    if (interrupt_every > 0 && writes % interrupt_every == 0) return fail(EINTR);
    size = std::min(size, largest_write);
    if (write_error != 0) {
      size = std::min(size, bytes_until_error);
      if (size == 0) return fail(write_error);
      bytes_until_error -= size;
    }
    return FileOps::write_at(fd, bytes, size, offset);
  }
  int truncate(int fd, off_t size) override {
    return truncate_error != 0 ? fail(truncate_error) : FileOps::truncate(fd, size);
  }
  int sync(int fd) override { return sync_error != 0 ? fail(sync_error) : FileOps::sync(fd); }

 private:
  static int fail(int error) {
    errno = error;
    return -1;
  }
};

}  // namespace vek::test

#endif  // VEK_TESTS_RAW_MSGPACK_API_FAILING_OPS_H
