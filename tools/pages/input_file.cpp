#include "tools/pages/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/base/signals.h"

namespace vek::tools {

void InputFile::close() {
  if (owns_fd_) ::close(fd_);
  owns_fd_ = false;
  fd_ = -1;
}

bool InputFile::open(const std::string& path, std::string& problem) {
  close();
  if (path == "-") {
    name_ = "standard input";
    fd_ = STDIN_FILENO;
  } else {
    name_ = path;
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    owns_fd_ = fd_ >= 0;
  }
  struct stat status {};
  if (fd_ < 0 || fstat(fd_, &status) != 0) {
    problem = name_ + ": cannot be opened: " + std::strerror(errno);
    return false;
  }
  if (S_ISDIR(status.st_mode)) {
    problem = name_ + ": is a directory, not a page file";
    return false;
  }
  return true;
}

InputFile::Outcome InputFile::read(uint8_t* to, size_t most, size_t& got) {
  for (;;) {
    const ssize_t answer = ::read(fd_, to, most);
    got = answer > 0 ? static_cast<size_t>(answer) : 0;
    if (answer > 0) return Outcome::kBytes;
    if (answer == 0) return Outcome::kEnd;
    if (errno != EINTR) return Outcome::kFailed;
    if (stop_requested()) return Outcome::kInterrupted;
  }
}

}  // namespace vek::tools
