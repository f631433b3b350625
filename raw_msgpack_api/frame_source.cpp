#include "raw_msgpack_api/frame_source.h"

#include <new>

#include "raw_msgpack_api/record_events.h"
#include "utils/logger.h"

namespace vek::engine {

FrameSource::FrameSource(const ForwardConfig& config, RecordQueue& queue)
    : config_(config), queue_(queue), writer_(config.tag, config.compress) {}

// The next record that is in no frame; null when none waits.
const RecordView* FrameSource::peek() {
  if (left_ == 0) {
    batch_ = queue_.take_more();
    if (!batch_) return nullptr;
    left_ = batch_->size();
  }
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

void FrameSource::finish(Frame& frame) {
  frame.chunk = ids_.next();
  writer_.finish(config_.acknowledged ? std::optional(frame.chunk) : std::nullopt, frame.bytes);
}

bool FrameSource::next(Frame& frame) {
  arrival_ = now();
  try {
    fill(frame);
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
