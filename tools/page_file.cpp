#include "tools/page_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/console.h"
#include "tools/signals.h"

namespace vek::tools {

PageFile::~PageFile() { close(); }

void PageFile::close() {
  if (owns_fd_) ::close(fd_);
  owns_fd_ = false;
  fd_ = -1;
}

bool PageFile::open(const std::string& path) {
  close();
  have_ = image_size_ = offset_ = page_number_ = 0;
  problem_.clear();
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
    problem_ = name_ + ": cannot be opened: " + std::strerror(errno);
    return false;
  }
  if (S_ISDIR(status.st_mode)) {
    problem_ = name_ + ": is a directory, not a page file";
    return false;
  }
  return true;
}

PageFile::Result PageFile::next() {
  offset_ += image_size_;
  image_size_ = have_ = 0;
  const Fill header = fill(VEK_PAGE_HEADER_SIZE);
  if (header == Fill::kShort && have_ == 0) return Result::kEnd;
  if (header != Fill::kFull) {
    return stopped(header, "ends inside the page header: " + std::to_string(have_) + " of " +
                               std::to_string(VEK_PAGE_HEADER_SIZE) + " bytes are there");
  }
  uint64_t total = 0;
  std::memcpy(&total, buffer_.data() + offsetof(vek_data_page_t, total), sizeof(total));
  if (total < VEK_PAGE_HEADER_SIZE) {
    return damaged("the header says that the page is " + std::to_string(total) +
                   " bytes long, which is less than the header itself (" +
                   std::to_string(VEK_PAGE_HEADER_SIZE) + ")");
  }
  if (total > kMaxPageBytes) {
    return damaged("the header says that the page is " + std::to_string(total) +
                   " bytes long; more than " + readable_size(static_cast<double>(kMaxPageBytes)) +
                   " cannot be a page");
  }
  const Fill whole = fill(total);
  if (whole != Fill::kFull) {
    return stopped(whole, "ends inside the page: " + std::to_string(have_) + " of " +
                              std::to_string(total) + " bytes are there");
  }
  image_size_ = total;
  ++page_number_;
  return Result::kPage;
}

// The buffer grows as bytes arrive, so that a header alone never claims much memory.
PageFile::Fill PageFile::fill(uint64_t size) {
  constexpr uint64_t kLeast = uint64_t{16} << 10;
  while (have_ < size) {
    const uint64_t wanted = std::min(size - have_, std::max(have_, kLeast));
    if (buffer_.size() < have_ + wanted) {
      buffer_.reserve(have_ + wanted);  // not twice as much again
      buffer_.resize(have_ + wanted);
    }
    const ssize_t got = read(fd_, buffer_.data() + have_, wanted);
    if (got > 0) {
      have_ += static_cast<uint64_t>(got);
    } else if (got == 0) {
      return Fill::kShort;
    } else if (errno != EINTR) {
      return Fill::kFailed;
    } else if (stop_requested()) {
      return Fill::kInterrupted;
    }
  }
  return Fill::kFull;
}

PageFile::Result PageFile::damaged(const std::string& what) {
  problem_ = name_ + ": page " + std::to_string(page_number_ + 1) + " at byte " +
             std::to_string(offset_) + ": " + what;
  return Result::kDamaged;
}

PageFile::Result PageFile::stopped(Fill fill, const std::string& what) {
  if (fill == Fill::kInterrupted) return Result::kInterrupted;
  if (fill == Fill::kShort) return damaged(what);
  problem_ = name_ + ": cannot be read behind byte " + std::to_string(offset_ + have_) + ": " +
             std::strerror(errno);
  return Result::kReadFailed;
}

}  // namespace vek::tools
