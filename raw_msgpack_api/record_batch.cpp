#include "raw_msgpack_api/record_batch.h"

#include <algorithm>

namespace vek::engine {

// Makes room for all of it first: what follows cannot fail.
void RecordBatch::begin_entry(const Entry& entry) {
  bytes_.reserve(std::max(kTargetBytes, entry.offset + entry.size));
  entries_.push_back(entry);
}

void RecordBatch::finish_entry(bool mended, uint64_t pairs) {
  const Entry& entry = entries_.back();
  depth_ = std::max(depth_, size_t{entry.depth});
  if (mended) set_map_count(std::span(bytes_).subspan(entry.offset + entry.body_offset), pairs);
}

void RecordBatch::append(const RecordView& record, bool mended, uint64_t pairs) {
  begin_entry({bytes_.size(), record.bytes.size(), record.shape, record.time_offset,
               record.body_offset, record.depth});
  bytes_.insert(bytes_.end(), record.bytes.begin(), record.bytes.end());
  finish_entry(mended, pairs);
}

void RecordBatch::append_event(const RecordView& record, EventTime time, bool mended,
                               uint64_t pairs) {
  const EventHead head = event_head(time);
  const Bytes body = record.body();
  begin_entry({bytes_.size(), head.size() + body.size(), RecordShape::kTimedMap, /*time_offset=*/1,
               /*body_offset=*/kEventHeadSize, record.depth});
  bytes_.insert(bytes_.end(), head.begin(), head.end());
  bytes_.insert(bytes_.end(), body.begin(), body.end());
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
  return Bytes(bytes_).subspan(begin, end_of(first + count - 1) - begin);
}

void RecordBatch::clear() {
  // One huge record must not keep its memory for ever.
  if (bytes_.capacity() > kTargetBytes) bytes_ = {};
  bytes_.clear();
  entries_.clear();
  first_ = 0;
  events_ = 0;
  depth_ = 0;
  number_ = 0;
  is_spooled_ = false;
}

}  // namespace vek::engine
