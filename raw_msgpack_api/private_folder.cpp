#include "raw_msgpack_api/private_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

namespace vek::engine {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = "vek-fluent-bit-";
constexpr const char* kLockName = "lock";

Socket open_lock(const std::string& folder, int flags) {
  const std::string path = folder + '/' + kLockName;
  Socket lock(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, 0600));
  if (lock && flock(lock.fd(), LOCK_EX | LOCK_NB) != 0) lock.reset();
  return lock;
}

bool is_own_folder(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == geteuid() && (status.st_mode & 0077) == 0;
}

void remove(const std::string& path) {
  std::error_code ignored;  // what cannot be removed is of no use to anybody else
  fs::remove_all(path, ignored);
}

// Folders of hosts that were killed.
void sweep(const std::string& parent) {
  std::error_code error;
  std::vector<std::string> left;
  for (fs::directory_iterator it(parent, error), end; !error && it != end; it.increment(error)) {
    const std::string name = it->path().filename();
    if (name.starts_with(kPrefix) && is_own_folder(it->path())) left.push_back(it->path());
  }
  for (const std::string& path : left) {
    if (const Socket lock = open_lock(path, 0)) remove(path);
  }
}

std::vector<std::string> parents() {
  std::vector<std::string> all;
  const char* own = secure_getenv("TMPDIR");
  if (own && own[0] == '/') all.emplace_back(own);
  all.emplace_back("/tmp");
  return all;
}

}  // namespace

std::unique_ptr<PrivateFolder> PrivateFolder::make(std::string& why) {
  constexpr size_t kLongestName = 16;  // of the files in it that are bound
  for (const std::string& parent : parents()) {
    std::string path = parent + '/' + std::string(kPrefix) + "XXXXXX";
    if (path.size() + 1 + kLongestName > kLongestPath) {
      why = "the name of '" + parent + "' is too long";
      continue;
    }
    sweep(parent);
    if (!mkdtemp(path.data())) {
      why = "no folder in '" + parent + "': " + std::strerror(errno);
      continue;
    }
    Socket lock = open_lock(path, O_CREAT | O_EXCL);
    if (lock) return std::unique_ptr<PrivateFolder>(new PrivateFolder(path, std::move(lock)));
    why = "no lock in '" + path + "': " + std::strerror(errno);
    remove(path);
  }
  return nullptr;
}

PrivateFolder::~PrivateFolder() { remove(path_); }

bool PrivateFolder::write(std::string_view name, std::string_view text) const {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
  const Socket out(open(file(name).c_str(), kFlags, 0600));
  if (!out) return false;
  while (!text.empty()) {
    const ssize_t count = ::write(out.fd(), text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    text.remove_prefix(static_cast<size_t>(count));
  }
  return true;
}

}  // namespace vek::engine
