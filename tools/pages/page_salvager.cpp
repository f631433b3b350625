#include "tools/pages/page_salvager.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "data/page_view.h"
#include "tools/pages/page_file.h"

namespace vek::tools {
namespace {

using Outcome = InputFile::Outcome;

constexpr uint64_t kStep = uint64_t{1} << 20;
constexpr uint64_t kNoEnd = UINT64_MAX;
constexpr uint64_t kHeaderAndMagic = VEK_PAGE_HEADER_SIZE + 4;

uint64_t total_of(const uint8_t* header) {
  uint64_t total = 0;
  std::memcpy(&total, header + offsetof(vek_data_page_t, total), sizeof(total));
  return total;
}

bool is_possible_length(uint64_t total) {
  return total >= VEK_PAGE_HEADER_SIZE && total <= PageFile::kMaxPageBytes;
}

// A name as collectors give them: printable, and nothing but zeros behind it.
bool is_name(const uint8_t* field, size_t size) {
  const auto* end = std::find(field, field + size, uint8_t{0});
  return std::all_of(field, end, [](uint8_t c) { return c >= ' ' && c != 0x7f; }) &&
         std::all_of(end, field + size, [](uint8_t c) { return c == 0; });
}

bool is_magic(const uint8_t* bytes) {
  constexpr std::string_view kLetters = "DESBPX";
  return std::memcmp(bytes, "VEK", 3) == 0 &&
         kLetters.find(static_cast<char>(bytes[3])) != std::string_view::npos;
}

}  // namespace

bool PageSalvager::open(const std::string& path) {
  window_.clear();
  window_start_ = next_offset_ = page_offset_ = page_size_ = page_number_ = 0;
  end_.reset();
  problem_.clear();
  return file_.open(path, problem_);
}

Bytes PageSalvager::image() const {
  if (page_size_ == 0) return {};
  return {at(page_offset_), page_size_};
}

uint64_t PageSalvager::have(uint64_t offset, uint64_t wanted) {
  while (!end_ && window_start_ + window_.size() < offset + wanted) {
    const size_t before = window_.size();
    window_.resize(before + kStep);
    size_t got = 0;
    const Outcome outcome = file_.read(window_.data() + before, kStep, got);
    window_.resize(before + got);
    if (outcome == Outcome::kBytes) continue;
    error_ = errno;
    end_ = outcome;
  }
  const uint64_t end = window_start_ + window_.size();
  return offset >= end ? 0 : std::min(end - offset, wanted);
}

void PageSalvager::forget_before(uint64_t offset) {
  const uint64_t count = std::min<uint64_t>(offset - window_start_, window_.size());
  window_.erase(window_.begin(), window_.begin() + static_cast<ptrdiff_t>(count));
  window_start_ += count;
}

bool PageSalvager::is_followed_well(uint64_t end) { return have(end, 1) == 0 || begins_at(end); }

bool PageSalvager::begins_at(uint64_t offset) {
  const uint64_t there = have(offset, kHeaderAndMagic);
  if (there < VEK_PAGE_HEADER_SIZE || !is_possible_length(total_of(at(offset)))) return false;
  vek_data_page_t header;
  std::memcpy(&header, at(offset), sizeof(header));
  const bool fits =
      header.filled >= VEK_PAGE_HEADER_SIZE && header.filled <= header.total &&
      header.block_size <= header.total &&
      is_name(at(offset) + offsetof(vek_data_page_t, data_source.source_id),
              VEK_PAGE_SOURCE_ID_SIZE) &&
      is_name(at(offset) + offsetof(vek_data_page_t, data_source.tag), VEK_PAGE_TAG_SIZE);
  if (!fits) return false;
  if (header.filled > VEK_PAGE_HEADER_SIZE) {
    return there == kHeaderAndMagic && is_magic(at(offset) + VEK_PAGE_HEADER_SIZE);
  }
  // An empty page has no magic value to know it by.
  return header.version == 1 &&
         std::all_of(std::begin(header.reserved_2), std::end(header.reserved_2),
                     [](uint8_t byte) { return byte == 0; });
}

// The first header in [from, end). Without an end, what is behind is forgotten on the way.
std::optional<uint64_t> PageSalvager::find_page(uint64_t from, uint64_t end) {
  for (uint64_t offset = from; offset < end; ++offset) {
    if (have(offset, VEK_PAGE_HEADER_SIZE) < VEK_PAGE_HEADER_SIZE) return std::nullopt;
    if (end == kNoEnd && offset - window_start_ > 4 * kStep) forget_before(offset);
    if (is_possible_length(total_of(at(offset))) && begins_at(offset)) return offset;
  }
  return std::nullopt;
}

PageSalvager::Result PageSalvager::next() {
  page_size_ = 0;
  page_offset_ = next_offset_;
  if (next_offset_ > window_start_ + kStep || next_offset_ == window_start_ + window_.size()) {
    forget_before(next_offset_);
  }
  const uint64_t there = have(next_offset_, VEK_PAGE_HEADER_SIZE);
  if (there == 0) return *end_ == Outcome::kEnd ? Result::kEnd : failed();
  const uint64_t total = there == VEK_PAGE_HEADER_SIZE ? total_of(at(next_offset_)) : 0;
  if (there < VEK_PAGE_HEADER_SIZE) {
    return lose(next_offset_ + there, false, "the file ends inside a page header");
  }
  if (!is_possible_length(total)) {
    const auto found = find_page(next_offset_ + 1, kNoEnd);
    return lose(found.value_or(window_start_ + window_.size()), false, length_problem(total));
  }
  const uint64_t whole = have(next_offset_, total);
  const uint64_t end = next_offset_ + whole;
  if (whole == total && is_followed_well(end)) return take_page(total);
  // Something is missing here, or wrong behind it, or the next page only looks odd.
  const auto found = find_page(next_offset_ + 1, end);
  if (whole == total && !found) return take_page(total);
  const uint64_t intact = found.value_or(end) - next_offset_;
  return lose(
      found.value_or(end), true,
      (found ? "the next page begins inside this one: " : "the file ends inside the page: ") +
          std::to_string(intact) + " of " + std::to_string(total) + " bytes are there");
}

PageSalvager::Result PageSalvager::take_page(uint64_t total) {
  page_size_ = total;
  ++page_number_;
  next_offset_ += total;
  return Result::kPage;
}

PageSalvager::Result PageSalvager::lose(uint64_t end, bool is_cut_page, std::string why) {
  if (end_ && *end_ != Outcome::kEnd) return failed();
  lost_ = {next_offset_, end - next_offset_, is_cut_page, std::move(why)};
  if (is_cut_page) ++page_number_;
  problem_ = name() + ": " + std::to_string(lost_.bytes) + " bytes at byte " +
             std::to_string(lost_.offset) + " are lost: " + lost_.why;
  next_offset_ = end;
  return Result::kDamaged;
}

PageSalvager::Result PageSalvager::failed() {
  if (*end_ == Outcome::kInterrupted) return Result::kInterrupted;
  problem_ = name() + ": cannot be read behind byte " +
             std::to_string(window_start_ + window_.size()) + ": " + std::strerror(error_);
  return Result::kReadFailed;
}

}  // namespace vek::tools
