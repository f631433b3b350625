// Pages from files that appear in a directory.
#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <deque>
#include <tuple>

#include "tools/base/console.h"
#include "tools/record/page_assembler.h"
#include "tools/record/page_intake.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

class DirectoryIntake final : public PageIntake {
 public:
  DirectoryIntake(std::string dir, bool remove) : dir_(std::move(dir)), remove_(remove) {}
  ~DirectoryIntake() override {
    if (fd_ >= 0) ::close(fd_);
    if (dir_fd_ >= 0) ::close(dir_fd_);
  }

  bool open() override {
    dir_fd_ = ::open(dir_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    fd_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (dir_fd_ < 0 || fd_ < 0 ||
        inotify_add_watch(fd_, dir_.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR) < 0) {
      problem_ = dir_ + ": cannot be watched: " + std::strerror(errno);
      return false;
    }
    if (remove_) list();
    return true;
  }

  void add_waits(std::vector<pollfd>& waits) const override { waits.push_back({fd_, POLLIN, 0}); }

  void take(const OnPage& on_page) override {
    read_names();
    while (!names_.empty()) {
      const std::string name = std::move(names_.front());
      names_.pop_front();
      take_file(name, on_page);
    }
  }

  void close() override {}

 private:
  void read_names() {
    alignas(inotify_event) std::array<char, 64 << 10> events{};
    ssize_t got = 0;
    while ((got = read(fd_, events.data(), events.size())) > 0) {
      for (ssize_t at = 0; at < got;) {
        const auto* event = reinterpret_cast<const inotify_event*>(events.data() + at);
        if ((event->mask & IN_Q_OVERFLOW) != 0) note_overflow();
        if (event->len > 0) note(event->name);
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      }
    }
  }

  void note(const std::string& name) {
    // Not yet whole, or nobody's business.
    if (name.starts_with('.') || name.ends_with(".tmp") || name.ends_with(".part")) return;
    if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.push_back(name);
  }

  // The kernel tells of so many files at once; what it forgot is still there.
  void note_overflow() {
    if (remove_) return list();
    say_warning("%s: files came faster than they were recorded; some were missed", dir_.c_str());
  }

  // The oldest first.
  void list() {
    std::vector<std::pair<timespec, std::string>> found;
    const Owned<DIR, closedir> folder(
        fdopendir(openat(dir_fd_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    while (const dirent* entry = folder ? readdir(folder.get()) : nullptr) {
      struct stat status {};
      if (fstatat(dir_fd_, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) continue;
      if (S_ISREG(status.st_mode)) found.emplace_back(status.st_mtim, entry->d_name);
    }
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
      return std::tie(a.first.tv_sec, a.first.tv_nsec, a.second) <
             std::tie(b.first.tv_sec, b.first.tv_nsec, b.second);
    });
    for (const auto& [time, name] : found) note(name);
  }

  void take_file(const std::string& name, const OnPage& on_page) {
    constexpr int kFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const int fd = openat(dir_fd_, name.c_str(), kFlags);
    struct stat status {};
    if (fd < 0 || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
      if (fd >= 0) ::close(fd);
      return;  // taken away again, or a link, a pipe
    }
    ++counts_.inputs;
    constexpr size_t kPiece = 1 << 20;
    PageAssembler pages;
    bool is_kept = true;
    uint64_t taken = 0;
    bool good = true;
    ssize_t got = 0;
    while (good && (got = read(fd, pages.room(kPiece), kPiece)) > 0) {
      good = pages.took(static_cast<size_t>(got), [&](Bytes page) {
        taken += page.size();
        is_kept = on_page(page) && is_kept;
      });
    }
    ::close(fd);
    const auto size = static_cast<uint64_t>(status.st_size);
    if (!good || pages.pending() > 0 || got < 0) {
      ++counts_.bad_inputs;
      counts_.lost_bytes += size > taken ? size - taken : pages.pending();
      say_warning("%s/%s: behind byte %llu there is no whole page%s%s; the file stays",
                  dir_.c_str(), name.c_str(), static_cast<unsigned long long>(taken),
                  good ? "" : ": ", pages.problem().c_str());
    } else if (remove_ && is_kept) {
      unlinkat(dir_fd_, name.c_str(), 0);
    }
  }

  std::string dir_;
  bool remove_;
  int dir_fd_ = -1;
  int fd_ = -1;
  std::deque<std::string> names_;
};

}  // namespace

std::unique_ptr<PageIntake> make_directory_intake(const std::string& dir, bool remove) {
  return std::make_unique<DirectoryIntake>(dir, remove);
}

}  // namespace vek::tools
