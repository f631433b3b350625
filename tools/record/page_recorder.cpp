#include "tools/record/page_recorder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

#include "tools/pages/page_file.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

constexpr std::string_view kSuffix = ".bin";
constexpr size_t kSequenceDigits = 6;

using Folder = Owned<DIR, closedir>;

std::string file_name(const std::string& name, uint64_t sequence, uint64_t now_us) {
  const auto seconds = static_cast<time_t>(now_us / 1'000'000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 48> text{};
  std::array<char, 24> time{};
  std::strftime(time.data(), time.size(), "%Y%m%dT%H%M%SZ", &utc);
  std::snprintf(text.data(), text.size(), "-%0*lu-%s%.*s", static_cast<int>(kSequenceDigits),
                sequence, time.data(), static_cast<int>(kSuffix.size()), kSuffix.data());
  return name + text.data();
}

// The number in "NAME-000001-...bin"; 0 for other names.
uint64_t sequence_of(std::string_view file, std::string_view name) {
  if (!file.starts_with(name) || !file.ends_with(kSuffix)) return 0;
  file.remove_prefix(name.size());
  uint64_t sequence = 0;
  if (file.size() < kSequenceDigits + 2 || file.front() != '-') return 0;
  const char* const first = file.data() + 1;
  const auto [end, error] = std::from_chars(first, file.data() + file.size(), sequence);
  const bool is_number = error == std::errc() && end - first >= 6 && *end == '-';
  return is_number ? sequence : 0;
}

}  // namespace

PageRecorder::PageRecorder(std::string dir, std::string name, const RecordingLimits& limits,
                           OnFile on_file)
    : dir_(std::move(dir)), name_(std::move(name)), limits_(limits), on_file_(std::move(on_file)) {}

PageRecorder::~PageRecorder() {
  for (const int fd : {fd_, lock_fd_, dir_fd_}) {
    if (fd >= 0) close(fd);
  }
}

bool PageRecorder::fail(const std::string& path, const char* what) {
  problem_ = path + ": " + what + ": " + std::strerror(errno);
  return false;
}

bool PageRecorder::open() {
  if (mkdir(dir_.c_str(), 0700) != 0 && errno != EEXIST) return fail(dir_, "cannot be made");
  dir_fd_ = ::open(dir_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir_fd_ < 0) return fail(dir_, "cannot be opened");
  if (!lock()) return false;
  take_up_what_was_left();
  return true;
}

// Two recorders of one name would take each other's files for left ones.
bool PageRecorder::lock() {
  const std::string name = "." + name_ + ".lock";
  constexpr int kFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
  lock_fd_ = openat(dir_fd_, name.c_str(), kFlags, 0600);
  if (lock_fd_ < 0) return fail(dir_ + "/" + name, "cannot be made");
  if (flock(lock_fd_, LOCK_EX | LOCK_NB) == 0) return true;
  if (errno != EWOULDBLOCK) return fail(dir_ + "/" + name, "cannot be locked");
  problem_ = dir_ + ": another recorder writes files named '" + name_ + "' there";
  return false;
}

std::vector<std::string> PageRecorder::list(bool finished) const {
  std::vector<std::pair<uint64_t, std::string>> found;
  const Folder folder(fdopendir(openat(dir_fd_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
  while (const dirent* entry = folder ? readdir(folder.get()) : nullptr) {
    const std::string_view file = entry->d_name;
    if (file.starts_with('.') == finished) continue;
    const uint64_t sequence = sequence_of(finished ? file : file.substr(1), name_);
    if (sequence > 0) found.emplace_back(sequence, file);
  }
  std::sort(found.begin(), found.end());
  std::vector<std::string> names;
  names.reserve(found.size());
  for (auto& [sequence, name] : found) names.push_back(std::move(name));
  return names;
}

void PageRecorder::take_up_what_was_left() {
  for (const bool finished : {true, false}) {
    for (const std::string& file : list(finished)) {
      sequence_ = std::max(sequence_, sequence_of(finished ? file : file.substr(1), name_));
    }
  }
  for (const std::string& part : list(false)) {
    PageFile pages;
    RecordedFile file;
    file.reason = "left behind";
    if (!pages.open(dir_ + "/" + part)) continue;
    while (pages.next() == PageFile::Result::kPage) {
      ++file.pages;
      file.bytes += pages.image().size();
    }
    const int fd = openat(dir_fd_, part.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) continue;
    const bool is_cut_off = ftruncate(fd, static_cast<off_t>(file.bytes)) == 0;
    close(fd);
    if (file.pages == 0) {
      unlinkat(dir_fd_, part.c_str(), 0);
    } else if (is_cut_off) {
      give_name(part, file);
    }
  }
  remove_old_files();
}

bool PageRecorder::begin_file(uint64_t now_us) {
  part_ = "." + file_name(name_, ++sequence_, now_us);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  fd_ = openat(dir_fd_, part_.c_str(), kFlags, 0600);
  if (fd_ < 0) return fail(dir_ + "/" + part_, "cannot be made");
  file_ = {};
  begun_us_ = now_us;
  return true;
}

bool PageRecorder::add(Bytes image, uint64_t now_us) {
  tick(now_us);
  if (fd_ >= 0 && file_.bytes + image.size() > limits_.file_bytes) end_file("size");
  if (fd_ < 0 && !begin_file(now_us)) {
    ++lost_pages_;
    return false;
  }
  size_t done = 0;
  while (done < image.size()) {
    const ssize_t written = write(fd_, image.data() + done, image.size() - done);
    if (written > 0) {
      done += static_cast<size_t>(written);
    } else if (errno != EINTR) {
      ++lost_pages_;
      fail(dir_ + "/" + part_, "cannot be written");
      const auto whole = static_cast<off_t>(file_.bytes);
      if (ftruncate(fd_, whole) != 0 || lseek(fd_, whole, SEEK_SET) != whole) end_file("end");
      return false;
    }
  }
  ++file_.pages;
  file_.bytes += image.size();
  ++pages_;
  bytes_ += image.size();
  if (file_.bytes >= limits_.file_bytes) end_file("size");
  return true;
}

void PageRecorder::tick(uint64_t now_us) {
  // A clock that was set back counts as no time at all.
  if (fd_ >= 0 && now_us > begun_us_ && now_us - begun_us_ >= limits_.file_age_us) end_file("time");
}

void PageRecorder::finish() { end_file("end"); }

void PageRecorder::end_file(const char* reason) {
  if (fd_ < 0) return;
  fsync(fd_);
  close(fd_);
  fd_ = -1;
  if (file_.pages == 0) {
    unlinkat(dir_fd_, part_.c_str(), 0);
    return;
  }
  file_.reason = reason;
  give_name(part_, file_);
  remove_old_files();
}

void PageRecorder::give_name(const std::string& part, RecordedFile file) {
  const std::string name = part.substr(1);
  file.path = dir_ + "/" + name;
  if (renameat2(dir_fd_, part.c_str(), dir_fd_, name.c_str(), RENAME_NOREPLACE) != 0 &&
      (errno != EINVAL || renameat(dir_fd_, part.c_str(), dir_fd_, name.c_str()) != 0)) {
    fail(file.path, "cannot be given its name");
    return;
  }
  fsync(dir_fd_);
  ++files_;
  if (on_file_) on_file_(file);
}

void PageRecorder::remove_old_files() {
  if (limits_.keep == 0) return;
  const std::vector<std::string> names = list(true);
  for (size_t i = 0; i + limits_.keep < names.size(); ++i) {
    if (unlinkat(dir_fd_, names[i].c_str(), 0) == 0) ++removed_;
  }
}

}  // namespace vek::tools
