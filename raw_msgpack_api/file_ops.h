// FileOps: the system calls that change or read files of the spool, in one place, so that full
// disks, short writes and the moments of a crash can be had at will.
//
// Each call is one system call with its result and errno. No call raises a signal.
#ifndef VEK_RAW_MSGPACK_API_FILE_OPS_H
#define VEK_RAW_MSGPACK_API_FILE_OPS_H

#include <sys/types.h>

#include <cstddef>

namespace vek::engine {

class FileOps {
 public:
  virtual ~FileOps() = default;
  virtual int open_at(int folder, const char* name, int flags, mode_t mode);
  virtual ssize_t read_at(int fd, void* out, size_t size, off_t offset);
  // EFBIG where the process's limit of file sizes would be passed: the kernel would raise SIGXFSZ,
  // which ends the host.
  virtual ssize_t write_at(int fd, const void* bytes, size_t size, off_t offset);
  virtual int truncate(int fd, off_t size);
  virtual int sync(int fd);
  virtual int rename_at(int folder, const char* from, const char* to);
  virtual int remove_at(int folder, const char* name);

  static FileOps& of_system();
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FILE_OPS_H
