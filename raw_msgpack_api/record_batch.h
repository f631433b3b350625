// RecordBatch: records side by side in one block of memory, oldest first.
//
// Records are kept as they come or, where the destination speaks the Forward protocol, as the
// events that they are on its wire, [EventTime, map]. A run of events is sent out of this memory,
// which spares one copy of every byte.
#ifndef VEK_RAW_MSGPACK_API_RECORD_BATCH_H
#define VEK_RAW_MSGPACK_API_RECORD_BATCH_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "raw_msgpack_api/event_time.h"
#include "raw_msgpack_api/record_layout.h"
#include "raw_msgpack_api/record_walk.h"

namespace vek::engine {

class RecordBatch {
 public:
  // A larger record gets a batch of its own.
  static constexpr size_t kTargetBytes = 65'536;

  bool empty() const { return first_ == entries_.size(); }
  size_t size() const { return entries_.size() - first_; }
  // Record `index` of those still in it.
  RecordView operator[](size_t index) const {
    const Entry& entry = entries_[first_ + index];
    return {{&bytes_[entry.offset], entry.size},
            entry.shape,
            entry.time_offset,
            entry.body_offset,
            entry.depth};
  }
  bool has_room_for(size_t bytes) const {
    return entries_.empty() || used_ + bytes <= kTargetBytes;
  }

  // Of the records still in it.
  size_t bytes() const { return bytes_of_last(size()); }
  size_t bytes_of_last(size_t count) const {
    return count == 0 ? 0 : used_ - entries_[entries_.size() - count].offset;
  }

  // Number of the first record still in it; they follow one another. Zero: they have none.
  uint64_t first_number() const { return number_ == 0 ? 0 : number_ + first_; }
  // Whether `number` may follow the records in it.
  bool takes_number(uint64_t number) const {
    return entries_.empty() || (number_ == 0 ? number == 0 : number == number_ + entries_.size());
  }
  void set_first_number(uint64_t number) { number_ = number; }
  // Whether a spool holds them too.
  bool is_spooled() const { return is_spooled_; }
  void set_spooled() { is_spooled_ = true; }

  // True when every record of it is an event, byte for byte as it is sent.
  bool holds_events_only() const { return events_ == entries_.size(); }
  // The most containers that are open at once in the body of one of them.
  size_t depth() const { return depth_; }
  // Of its last `left` records, the first ones that take at most `most` bytes together.
  size_t count_within(size_t left, size_t most) const;
  // Those bytes: of `count` records, the first of its last `left`.
  Bytes bytes_of(size_t left, size_t count) const;

  // A copy; `pairs` becomes its map's count when `mended`. Throws std::bad_alloc, unchanged then.
  void append(const RecordView& record, bool mended, uint64_t pairs);
  // The same as an event that begins so. The record is no list.
  void append_event(const EventHead& head, const RecordView& record, bool mended, uint64_t pairs);
  // The same of a record that begins like `layout`. False, unchanged, when it does not fit it.
  bool append_event_like(const RecordLayout& layout, const EventHead& head,
                         const RecordView& record, bool mended, uint64_t pairs);
  void drop_first(size_t count) { first_ += count; }
  // Takes the memory that a batch of small records needs, and touches it, so that append() does not
  // wait until the system has pages for it. For an empty one; throws std::bad_alloc.
  void prepare();
  // Empty again, with its memory kept.
  void clear();

 private:
  struct Entry {
    size_t offset;
    size_t size;
    RecordShape shape;
    uint8_t time_offset;
    uint8_t body_offset;
    uint8_t depth;
  };
  size_t end_of(size_t index) const { return entries_[index].offset + entries_[index].size; }
  void reserve(size_t bytes) {
    if (bytes > capacity_) grow(bytes);
  }
  void grow(size_t bytes);
  uint8_t* begin_entry(const Entry& entry);
  uint8_t* begin_event(const EventHead& head, const RecordView& record);
  void finish_entry(bool mended, uint64_t pairs);

  std::unique_ptr<uint8_t[]> bytes_;
  size_t capacity_ = 0;  // of bytes_
  size_t used_ = 0;
  std::vector<Entry> entries_;
  size_t first_ = 0;
  size_t events_ = 0;  // of entries_
  size_t depth_ = 0;
  uint64_t number_ = 0;  // of entries_[0]
  bool is_spooled_ = false;
};

// Here for the sake of the one caller that has to be quick.

// Makes room for all of it first: what follows cannot fail. Where its bytes go.
inline uint8_t* RecordBatch::begin_entry(const Entry& entry) {
  reserve(entry.offset + entry.size);
  entries_.push_back(entry);
  used_ += entry.size;
  return &bytes_[entry.offset];
}

inline void RecordBatch::finish_entry(bool mended, uint64_t pairs) {
  const Entry& entry = entries_.back();
  depth_ = std::max(depth_, size_t{entry.depth});
  if (mended) {
    const std::span all(bytes_.get(), used_);
    set_map_count(all.subspan(entry.offset + entry.body_offset), pairs);
  }
}

// Where its body goes.
inline uint8_t* RecordBatch::begin_event(const EventHead& head, const RecordView& record) {
  const size_t size = head.size() + record.bytes.size() - record.body_offset;
  uint8_t* const out = begin_entry({used_, size, RecordShape::kTimedMap, /*time_offset=*/1,
                                    /*body_offset=*/kEventHeadSize, record.depth});
  std::memcpy(out, head.data(), head.size());
  return out + head.size();
}

inline bool RecordBatch::append_event_like(const RecordLayout& layout, const EventHead& head,
                                           const RecordView& record, bool mended, uint64_t pairs) {
  if (!layout.copy(record.bytes, record.body_offset, begin_event(head, record))) {
    used_ = entries_.back().offset;
    entries_.pop_back();
    return false;
  }
  ++events_;
  finish_entry(mended, pairs);
  return true;
}

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_RECORD_BATCH_H
