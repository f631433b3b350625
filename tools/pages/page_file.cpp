#include "tools/pages/page_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/base/console.h"

namespace vek::tools {

using Outcome = InputFile::Outcome;

bool PageFile::open(const std::string& path) {
  have_ = image_size_ = offset_ = page_number_ = 0;
  problem_.clear();
  return file_.open(path, problem_);
}

PageFile::Result PageFile::next() {
  offset_ += image_size_;
  image_size_ = have_ = 0;
  const Outcome header = fill(VEK_PAGE_HEADER_SIZE);
  if (header == Outcome::kEnd && have_ == 0) return Result::kEnd;
  if (header != Outcome::kBytes) {
    return stopped(header, "ends inside the page header: " + std::to_string(have_) + " of " +
                               std::to_string(VEK_PAGE_HEADER_SIZE) + " bytes are there");
  }
  uint64_t total = 0;
  std::memcpy(&total, buffer_.data() + offsetof(vek_data_page_t, total), sizeof(total));
  const std::string bad_length = length_problem(total);
  if (!bad_length.empty()) return damaged(bad_length);
  const Outcome whole = fill(total);
  if (whole != Outcome::kBytes) {
    return stopped(whole, "ends inside the page: " + std::to_string(have_) + " of " +
                              std::to_string(total) + " bytes are there");
  }
  image_size_ = total;
  ++page_number_;
  return Result::kPage;
}

// The buffer grows as bytes arrive, so that a header alone never claims much memory.
Outcome PageFile::fill(uint64_t size) {
  constexpr uint64_t kLeast = uint64_t{16} << 10;
  while (have_ < size) {
    const uint64_t wanted = std::min(size - have_, std::max(have_, kLeast));
    if (buffer_.size() < have_ + wanted) {
      buffer_.reserve(have_ + wanted);  // not twice as much again
      buffer_.resize(have_ + wanted);
    }
    size_t got = 0;
    const Outcome outcome = file_.read(buffer_.data() + have_, wanted, got);
    if (outcome != Outcome::kBytes) return outcome;
    have_ += got;
  }
  return Outcome::kBytes;
}

PageFile::Result PageFile::damaged(const std::string& what) {
  problem_ = name() + ": page " + std::to_string(page_number_ + 1) + " at byte " +
             std::to_string(offset_) + ": " + what;
  return Result::kDamaged;
}

PageFile::Result PageFile::stopped(Outcome outcome, const std::string& what) {
  if (outcome == Outcome::kInterrupted) return Result::kInterrupted;
  if (outcome == Outcome::kEnd) return damaged(what);
  problem_ = name() + ": cannot be read behind byte " + std::to_string(offset_ + have_) + ": " +
             std::strerror(errno);
  return Result::kReadFailed;
}

std::string length_problem(uint64_t total) {
  if (total >= VEK_PAGE_HEADER_SIZE && total <= PageFile::kMaxPageBytes) return {};
  const std::string says =
      "the header says that the page is " + std::to_string(total) + " bytes long";
  if (total < VEK_PAGE_HEADER_SIZE) {
    return says + ", which is less than the header itself (" +
           std::to_string(VEK_PAGE_HEADER_SIZE) + ")";
  }
  return says + "; more than " + readable_size(static_cast<double>(PageFile::kMaxPageBytes)) +
         " cannot be a page";
}

}  // namespace vek::tools
