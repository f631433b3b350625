#include "raw_msgpack_api/frame_source.h"

#include <algorithm>
#include <new>
#include <utility>

#include "raw_msgpack_api/record_events.h"
#include "utils/logger.h"

namespace vek::engine {

size_t Frame::size() const {
  size_t size = own.size();
  for (const Bytes entries : borrowed) size += entries.size();
  return size;
}

void Frame::unwritten(std::vector<Bytes>& pieces) const {
  pieces.clear();
  size_t skip = written;
  const auto add = [&](Bytes piece) {
    const size_t skipped = std::min(skip, piece.size());
    skip -= skipped;
    if (skipped < piece.size()) pieces.push_back(piece.subspan(skipped));
  };
  add(Bytes(own).first(front));
  for (const Bytes entries : borrowed) add(entries);
  add(Bytes(own).subspan(front));
}

void Frame::keep() {
  std::vector<uint8_t> all;
  all.reserve(size());
  all.insert(all.end(), own.begin(), own.begin() + static_cast<ptrdiff_t>(front));
  for (const Bytes entries : borrowed) all.insert(all.end(), entries.begin(), entries.end());
  all.insert(all.end(), own.begin() + static_cast<ptrdiff_t>(front), own.end());
  own = std::move(all);
  borrowed.clear();
  front = 0;
}

FrameSource::FrameSource(const ForwardConfig& config, RecordQueue& queue)
    : config_(config), queue_(queue), writer_(config.tag, config.compress) {}

// False when no record waits that is in no frame.
bool FrameSource::peek_batch() {
  if (left_ > 0) return true;
  batch_ = queue_.take_more();
  if (!batch_) return false;
  left_ = batch_->size();
  return true;
}

// The next record that is in no frame; null when none waits.
const RecordView* FrameSource::peek() {
  if (!peek_batch()) return nullptr;
  // Counted from the end, where settled records do not shift it.
  record_ = (*batch_)[batch_->size() - left_];
  return &record_;
}

bool FrameSource::is_too_deep(const RecordView& record) const {
  if (record.depth < config_.max_depth) return false;
  if (record.shape != RecordShape::kTimedList) return record.depth > config_.max_depth;
  // Of a list of maps each map is an event; any other list gets a map around it.
  const bool is_list = RecordEvents(record).is_list();
  return size_t{record.depth} + (is_list ? 1 : 0) > config_.max_depth + (is_list ? 0 : 1);
}

FrameSource::Taken FrameSource::add(const RecordView& record, Frame& frame) {
  if (is_too_deep(record)) {
    frame.reason = DropReason::kTooDeep;
    return Taken::kLost;
  }
  const bool fits_on_wire = writer_.add(record, arrival_);
  if (writer_.size() > config_.frame_size && frame.records > 0) {
    writer_.take_back();
    return Taken::kFull;
  }
  if (writer_.size() > kLargestFrame) {
    writer_.take_back();
    frame.reason = DropReason::kTooLargeToSend;
    return Taken::kLost;
  }
  if (!fits_on_wire) {
    queue_.count_clamped(1);
    if (clamped_limit_.due_at_level(VEK_LOG_WARNING)) {
      VEK_LOGW(
          "[raw msgpack API] [%s] a record's time lies beyond 2106; sent as the last that can "
          "be sent",
          config_.name.c_str());
    }
  }
  return Taken::kAdded;
}

void FrameSource::fill(Frame& frame) {
  while (const RecordView* record = peek()) {
    const Taken taken = add(*record, frame);
    // What is lost is settled alone, behind what is in this frame already.
    if (taken == Taken::kFull || (taken == Taken::kLost && frame.records > 0)) return;
    ++frame.records;
    --left_;
    if (taken == Taken::kLost) {
      frame.fate = Frame::Fate::kLost;
      return;
    }
    if (writer_.size() >= config_.frame_size) return;
  }
}

// Makes the frame of what stands in the queue's memory as it is sent; false where that is not so.
bool FrameSource::borrow(Frame& frame) {
  if (config_.compress) return false;
  frame.borrowed.reserve(kMostPieces);
  size_t room = config_.frame_size;
  while (frame.borrowed.size() < kMostPieces && peek_batch()) {
    if (!batch_->holds_events_only() || batch_->depth() > config_.max_depth) break;
    size_t count = batch_->count_within(left_, room);
    if (frame.records == 0) count = std::max<size_t>(count, 1);
    if (count == 0) break;
    const Bytes entries = batch_->bytes_of(left_, count);
    if (entries.size() > kLargestFrame) break;
    frame.borrowed.push_back(entries);
    frame.records += count;
    left_ -= count;
    room -= std::min(room, entries.size());
    if (left_ > 0) break;
  }
  return frame.records > 0;
}

void FrameSource::finish(Frame& frame) {
  frame.chunk = ids_.next();
  const auto chunk = config_.acknowledged ? std::optional(frame.chunk) : std::nullopt;
  if (frame.borrowed.empty()) {
    writer_.finish(chunk, frame.own);
  } else {
    frame.front = writer_.write_around(static_cast<uint32_t>(frame.records), chunk, frame.own);
  }
}

bool FrameSource::next(Frame& frame) {
  arrival_ = now();
  try {
    if (!borrow(frame)) fill(frame);
    if (frame.records == 0) return false;
    if (frame.fate == Frame::Fate::kOpen) finish(frame);
  } catch (const std::bad_alloc&) {
    // The record that memory was missing for must not stand in the way of those behind it.
    if (left_ > 0 && frame.records == 0) {
      --left_;
      ++frame.records;
    }
    writer_.clear();
    frame.fate = Frame::Fate::kLost;
    frame.reason = DropReason::kOutOfMemory;
    return frame.records > 0;
  }
  return true;
}

void FrameSource::rebuild(Frame& frame, size_t first, size_t count) {
  arrival_ = now();
  frame.records = count;
  try {
    for (size_t i = 0; i < count; ++i) writer_.add(queue_.in_flight(first + i), arrival_);
    finish(frame);
  } catch (const std::bad_alloc&) {
    writer_.clear();
    throw;
  }
}

}  // namespace vek::engine
