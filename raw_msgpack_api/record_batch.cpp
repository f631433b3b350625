#include "raw_msgpack_api/record_batch.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vek::engine {

void RecordBatch::grow(size_t bytes) {
  const size_t capacity = std::max({kTargetBytes, bytes, used_ > 0 ? 2 * capacity_ : 0});
  auto larger = std::make_unique_for_overwrite<uint8_t[]>(capacity);
  if (used_ > 0) std::memcpy(larger.get(), bytes_.get(), used_);
  bytes_ = std::move(larger);
  capacity_ = capacity;
}

void RecordBatch::append(const RecordView& record, bool mended, uint64_t pairs) {
  uint8_t* const out = begin_entry({used_, record.bytes.size(), record.shape, record.time_offset,
                                    record.body_offset, record.depth});
  std::memcpy(out, record.bytes.data(), record.bytes.size());
  finish_entry(mended, pairs);
}

void RecordBatch::append_event(const EventHead& head, const RecordView& record, bool mended,
                               uint64_t pairs) {
  const Bytes body = record.body();
  std::memcpy(begin_event(head, record), body.data(), body.size());
  ++events_;
  finish_entry(mended, pairs);
}

size_t RecordBatch::count_within(size_t left, size_t most) const {
  const size_t first = entries_.size() - left;
  const size_t begin = entries_[first].offset;
  const auto fits = [&](const Entry& entry) { return entry.offset + entry.size - begin <= most; };
  const auto from = entries_.begin() + static_cast<ptrdiff_t>(first);
  return static_cast<size_t>(std::partition_point(from, entries_.end(), fits) - from);
}

Bytes RecordBatch::bytes_of(size_t left, size_t count) const {
  const size_t first = entries_.size() - left;
  const size_t begin = entries_[first].offset;
  return {&bytes_[begin], end_of(first + count - 1) - begin};
}

void RecordBatch::prepare() {
  constexpr size_t kSmallRecord = 128;
  reserve(kTargetBytes);
  std::memset(bytes_.get(), 0, kTargetBytes);
  entries_.resize(kTargetBytes / kSmallRecord);
  entries_.clear();
}

void RecordBatch::clear() {
  // One huge record must not keep its memory for ever.
  if (capacity_ > kTargetBytes) {
    bytes_.reset();
    capacity_ = 0;
  }
  used_ = 0;
  entries_.clear();
  first_ = 0;
  events_ = 0;
  depth_ = 0;
  number_ = 0;
  is_spooled_ = false;
}

}  // namespace vek::engine
