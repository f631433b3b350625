#include "raw_msgpack_api/dead_letter_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "utils/logger.h"

namespace vek::engine {

DeadLetterFile::DeadLetterFile(std::string name, std::string path)
    : name_(std::move(name)), path_(std::move(path)) {}

bool DeadLetterFile::write(Bytes record) const {
  // The folder and the file are for their owner alone: records may say more than others should see.
  const std::string folder = path_.substr(0, path_.rfind('/'));
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return false;
  const int fd = open(path_.c_str(),
                      O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
  if (fd < 0) return false;
  const off_t start = lseek(fd, 0, SEEK_END);
  if (start < 0 || static_cast<size_t>(start) + record.size() > kMostBytes) {
    const int error = start < 0 ? errno : EFBIG;
    close(fd);
    errno = error;
    return false;
  }
  const ssize_t written = ::write(fd, record.data(), record.size());
  const bool whole = written >= 0 && static_cast<size_t>(written) == record.size();
  const int error = written < 0 ? errno : ENOSPC;
  // Half a record would hide the ones behind it.
  if (!whole && written > 0 && ftruncate(fd, start) != 0) {
    VEK_LOGD("[raw msgpack API] [%s] cannot cut a partial record", name_.c_str());
  }
  close(fd);
  errno = error;
  return whole;
}

void DeadLetterFile::append(Bytes record) {
  if (path_.empty()) return;
  if (write(record)) {
    if (!kept_limit_.due_at_level(VEK_LOG_WARNING)) return;
    VEK_LOGW("[raw msgpack API] [%s] a record that the receiver does not take is kept in '%s'",
             name_.c_str(), path_.c_str());
    return;
  }
  const int error = errno;
  if (!error_limit_.due_at_level(VEK_LOG_ERROR)) return;
  if (error == EFBIG) {
    VEK_LOGE(
        "[raw msgpack API] [%s] '%s' is full; records that the receiver does not take are lost "
        "until it is moved away",
        name_.c_str(), path_.c_str());
  } else {
    VEK_LOGE("[raw msgpack API] [%s] cannot write '%s': %s", name_.c_str(), path_.c_str(),
             std::strerror(error));
  }
}

}  // namespace vek::engine
