#include "utils/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "utils/limits.h"
#include "utils/logger.h"

namespace vek {
namespace {

// 0, or the error number that says why such a file is not read.
int refusal_of(const struct stat& status) noexcept {
  constexpr unsigned kNullMajor = 1;  // of /dev/null, as the kernel documents its device numbers
  constexpr unsigned kNullMinor = 3;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (S_ISCHR(status.st_mode) && status.st_rdev == makedev(kNullMajor, kNullMinor)) return 0;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  return static_cast<size_t>(status.st_size) > limits::kFileBytes ? EFBIG : 0;
}

std::FILE* open_checked(const char* path) noexcept {
  // Without O_NONBLOCK, opening a pipe waits for its writer.
  const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) return nullptr;
  struct stat status {};
  const int refusal = fstat(fd, &status) != 0 ? errno : refusal_of(status);
  std::FILE* file = refusal == 0 ? fdopen(fd, "r") : nullptr;
  if (file) return file;
  const int why = refusal != 0 ? refusal : errno;
  close(fd);
  VEK_LOGD("[open_input_file] '%s' is not read: %s", path, std::strerror(why));
  errno = why;
  return nullptr;
}

}  // namespace

File open_input_file(const char* path) noexcept {
  return File(path ? open_checked(path) : nullptr);
}

char* InputLines::next() noexcept {
  const ssize_t length = getline(&line_, &capacity_, file_);
  if (length < 0) return nullptr;
  length_ = static_cast<size_t>(length);
  return line_;
}

}  // namespace vek
