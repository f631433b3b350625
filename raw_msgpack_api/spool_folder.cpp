#include "raw_msgpack_api/spool_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "raw_msgpack_api/crc32c.h"
#include "raw_msgpack_api/spool_format.h"
#include "utils/logger.h"
#include "utils/owned.h"

namespace vek::engine {
namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;

int refuse(const std::string& label, const std::string& path, const char* why) {
  VEK_LOGE("%s cannot use the spool folder '%s': %s", label.c_str(), path.c_str(), why);
  return -1;
}

std::string parent_of(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// Makes the folder where it is missing, to stay there after a loss of power as well.
bool make_folder(const std::string& path) {
  if (mkdir(path.c_str(), kFolderMode) != 0) return errno == EEXIST;
  const OpenFile parent(open(parent_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (parent.fd() >= 0) fsync(parent.fd());
  return true;
}

// Why the folder cannot be ours alone; null when it is.
const char* make_private(int fd) {
  struct stat status {};
  if (fstat(fd, &status) != 0) return std::strerror(errno);
  if (status.st_uid != geteuid()) return "it belongs to another user";
  const bool is_private = (status.st_mode & 07777) == kFolderMode || fchmod(fd, kFolderMode) == 0;
  return is_private ? nullptr : std::strerror(errno);
}

// The descriptor of a folder that is ours alone, or -1 after an error line.
int open_folder(const std::string& path, const std::string& label) {
  if (!make_folder(parent_of(path)) || !make_folder(path)) {
    return refuse(label, path, std::strerror(errno));
  }
  const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return refuse(label, path, std::strerror(errno));
  const char* const why = make_private(fd);
  if (!why) return fd;
  close(fd);
  return refuse(label, path, why);
}

}  // namespace

OpenFile::~OpenFile() {
  if (fd_ >= 0) close(fd_);
}

std::unique_ptr<SpoolFolder> SpoolFolder::open(const std::string& path, const std::string& label,
                                               FileOps& ops) {
  OpenFile opened(open_folder(path, label));
  if (opened.fd() < 0) return nullptr;
  std::unique_ptr<SpoolFolder> folder(new SpoolFolder(path, ops, std::move(opened)));
  if (!folder->lock(label)) return nullptr;
  return folder;
}

bool SpoolFolder::lock(const std::string& label) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
  lock_fd_ = openat(fd_.fd(), std::string(spool::kLockName).c_str(), kFlags, kFileMode);
  if (lock_fd_ < 0) {
    refuse(label, path_, std::strerror(errno));
    return false;
  }
  int result = 0;
  do {
    result = flock(lock_fd_, LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  if (result == 0) return true;
  refuse(label, path_,
         errno == EWOULDBLOCK
             ? "another destination or process uses it; give each an Alias or storage.path of its "
               "own"
             : std::strerror(errno));
  return false;
}

SpoolFolder::~SpoolFolder() {
  if (lock_fd_ < 0) return;
  flock(lock_fd_, LOCK_UN);  // at once, even where a forked child still has the descriptor
  close(lock_fd_);
}

int SpoolFolder::list(std::vector<Entry>& out) const {
  out.clear();
  const int copy = openat(fd_.fd(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (copy < 0) return errno;
  const Owned<DIR, closedir> stream(fdopendir(copy));
  if (!stream) {
    const int error = errno;
    close(copy);
    return error;
  }
  for (;;) {
    errno = 0;
    const dirent* found = readdir(stream.get());
    if (!found) break;
    const std::string_view name = found->d_name;
    if (name == "." || name == "..") continue;
    struct stat status {};
    const bool known = fstatat(fd_.fd(), found->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0;
    const bool is_file = known && S_ISREG(status.st_mode);
    out.push_back(
        {std::string(name), is_file, is_file ? static_cast<uint64_t>(status.st_size) : 0});
  }
  if (errno != 0) return errno;
  std::sort(out.begin(), out.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
  return 0;
}

int SpoolFolder::create(const std::string& name, SharedFile& out) const {
  constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  OpenFile file(ops_.open_at(fd_.fd(), name.c_str(), kFlags, kFileMode));
  if (file.fd() < 0) return errno;
  out = std::make_shared<const OpenFile>(std::move(file));
  return 0;
}

int SpoolFolder::open_file(const std::string& name, SharedFile& out) const {
  // O_NONBLOCK: a FIFO of that name must not be waited for.
  constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
  OpenFile file(ops_.open_at(fd_.fd(), name.c_str(), kFlags, 0));
  if (file.fd() < 0) return errno;
  struct stat status {};
  if (fstat(file.fd(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  out = std::make_shared<const OpenFile>(std::move(file));
  return 0;
}

int SpoolFolder::read(const OpenFile& file, uint64_t offset, std::span<uint8_t> out,
                      size_t& count) const {
  count = 0;
  while (count < out.size()) {
    const ssize_t got = ops_.read_at(file.fd(), out.data() + count, out.size() - count,
                                     static_cast<off_t>(offset + count));
    if (got == 0) return 0;
    if (got > 0) {
      count += static_cast<size_t>(got);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

int SpoolFolder::write(const OpenFile& file, uint64_t offset, Bytes bytes) const {
  while (!bytes.empty()) {
    const ssize_t put =
        ops_.write_at(file.fd(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (put > 0) {
      bytes = bytes.subspan(static_cast<size_t>(put));
      offset += static_cast<size_t>(put);
    } else if (put == 0) {
      return ENOSPC;
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

int SpoolFolder::truncate(const OpenFile& file, uint64_t size) const {
  while (ops_.truncate(file.fd(), static_cast<off_t>(size)) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

int SpoolFolder::sync(const OpenFile& file) const {
  while (ops_.sync(file.fd()) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

int SpoolFolder::sync_folder() const { return sync(fd_); }

int SpoolFolder::remove(const std::string& name) const {
  return ops_.remove_at(fd_.fd(), name.c_str()) == 0 ? 0 : errno;
}

int SpoolFolder::set_aside(const std::string& name, std::string_view suffix,
                           std::string& new_name) const {
  constexpr int kTries = 1000;
  const std::string stem = name + std::string(suffix);
  for (int i = 0; i < kTries; ++i) {
    new_name = i == 0 ? stem : stem + '.' + std::to_string(i);
    struct stat status {};
    if (fstatat(fd_.fd(), new_name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) continue;
    if (errno != ENOENT) return errno;
    return ops_.rename_at(fd_.fd(), name.c_str(), new_name.c_str()) == 0 ? 0 : errno;
  }
  return EEXIST;
}

std::string safe_folder_name(std::string_view name) {
  constexpr size_t kLongest = 64;
  std::string safe;
  for (const char c : name.substr(0, kLongest)) {
    const bool keeps = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '-' || c == '_' || (c == '.' && !safe.empty());
    safe += keeps ? c : '_';
  }
  if (safe.empty()) safe = '_';
  if (safe == name) return safe;
  char sum[10];
  std::snprintf(sum, sizeof sum, "-%08x",
                crc32c({reinterpret_cast<const uint8_t*>(name.data()), name.size()}));
  return safe + sum;
}

}  // namespace vek::engine
