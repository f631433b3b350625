#include "dict_reader/packed_record.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "utils/release_memory.h"

namespace {

// Paths of the roots.
constexpr uint32_t kRootDict = 1u << 30;
constexpr uint32_t kRootList = 1u << 31;
constexpr size_t kFirstRoom = 4096;
constexpr size_t kFirstContainers = 16;
// Below these, memory is not worth giving back.
constexpr size_t kMostKept = 64 << 10;
constexpr size_t kMostContainersKept = 4096;
// A record much smaller than the memory: the large one before it was an exception.
constexpr size_t kMuchSmaller = 8;

char* putHeader(char* p, const PackedRecord::Container& container) {
  return container.is_dict ? vek::put_map_header(p, container.count)
                           : vek::put_array_header(p, container.count);
}

}  // namespace

bool PackedRecord::begin(uint64_t timestamp_us, bool is_dict) noexcept {
  if (!buffer_.restart(std::max(buffer_.capacity(), kFirstRoom))) return false;
  cursor_.begin = cursor_.at = cursor_.end = buffer_.data();
  cursor_.next = cursor_.first;
  if (cursor_.next == cursor_.limit && !reserveContainer()) return false;
  cursor_.at = putSeconds(cursor_.begin, timestamp_us);
  cursor_.widths = widths_.data();
  const uint32_t path = is_dict ? kRootDict : kRootList;
  const uint8_t width = widthOf(widths_[slotOf(path)], path);
  *cursor_.next = {static_cast<uint64_t>(cursor_.at - cursor_.begin), 0, path, 0, width, is_dict};
  cursor_.innermost = cursor_.next++;
  cursor_.at += width;
  cursor_.end = cursor_.begin + buffer_.capacity();
  cursor_.count = 0;
  cursor_.fits = true;
  return true;
}

void PackedRecord::Cursor::rememberWidth(const Container& closed) noexcept {
  fits = false;
  const uint8_t width = containerHeaderWidth(closed.count);
  uint32_t& entry = widths[slotOf(closed.path)];
  // Of a path that is not remembered, the least is taken.
  if (width != 1) {
    entry = closed.path | width;
  } else if (((entry ^ closed.path) & ~kWidthMask) == 0) {
    entry = 1;
  }
}

bool PackedRecord::reserve(size_t bytes) noexcept {
  const auto used = static_cast<size_t>(cursor_.at - cursor_.begin);
  if (buffer_.capacity() - used >= bytes) return true;
  if (!buffer_.grow(used, bytes)) return false;
  cursor_.begin = buffer_.data();
  cursor_.at = cursor_.begin + used;
  cursor_.end = cursor_.begin + buffer_.capacity();
  return true;
}

bool PackedRecord::reserveContainer() noexcept try {
  const auto used = static_cast<size_t>(cursor_.next - cursor_.first);
  if (used < containers_.size()) return true;
  const auto innermost = cursor_.innermost ? cursor_.innermost - cursor_.first : 0;
  containers_.resize(std::max(2 * used, kFirstContainers));
  cursor_.first = containers_.data();
  cursor_.next = cursor_.first + used;
  cursor_.limit = cursor_.first + containers_.size();
  if (cursor_.innermost) cursor_.innermost = cursor_.first + innermost;
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

std::string_view PackedRecord::finish() noexcept {
  cursor_.close();
  cursor_.innermost = nullptr;
  const std::string_view record(cursor_.begin, static_cast<size_t>(cursor_.at - cursor_.begin));
  const bool fits = cursor_.fits;
  cursor_.end = cursor_.at;  // no room where no record is open
  return fits ? record : moved();
}

// The record with each header as wide as it has to be.
std::string_view PackedRecord::moved() noexcept {
  const auto used = static_cast<size_t>(cursor_.at - cursor_.begin);
  const auto containers = static_cast<size_t>(cursor_.next - cursor_.first);
  if (!spare_.restart(std::bit_ceil(used + containers * kMostHeader))) return {};
  const char* from = cursor_.begin;
  char* to = spare_.data();
  const auto move = [&](const char* until) {
    std::memcpy(to, from, static_cast<size_t>(until - from));
    to += until - from;
  };
  for (const Container* at = cursor_.first; at != cursor_.next; ++at) {
    if (containerHeaderWidth(at->count) == at->width) continue;
    const char* const header = cursor_.begin + at->offset;
    move(header);
    to = putHeader(to, *at);
    from = header + at->width;
  }
  move(cursor_.at);
  return {spare_.data(), static_cast<size_t>(to - spare_.data())};
}

bool PackedRecord::trim(size_t record_size) noexcept {
  const bool is_small = buffer_.capacity() <= kMostKept && spare_.capacity() <= kMostKept &&
                        containers_.size() <= kMostContainersKept;
  if (is_small) [[likely]]
    return false;
  const size_t most = std::max(kMostKept, kMuchSmaller * record_size);
  const auto containers = static_cast<size_t>(cursor_.next - cursor_.first);
  const size_t most_containers = std::max(kMostContainersKept, kMuchSmaller * containers);
  const bool trims_buffer = buffer_.capacity() > most;
  const bool trims_containers = containers_.size() > most_containers;
  if (trims_buffer) {
    buffer_.release();
    cursor_.at = cursor_.end = cursor_.begin = nullptr;
  }
  if (spare_.capacity() > most) spare_.release();
  if (trims_containers) {
    vek::release_memory(containers_);
    cursor_.first = cursor_.next = cursor_.limit = nullptr;
  }
  return trims_buffer || trims_containers;
}
