#include "raw_msgpack_api/frame_window.h"

#include <algorithm>
#include <limits>
#include <new>

#include "utils/logger.h"

namespace vek::engine {

FrameWindow::FrameWindow(const ForwardConfig& config, RecordQueue& queue)
    : config_(config),
      queue_(queue),
      report_(config.name),
      dead_letters_(config.name, config.dead_letter_path),
      source_(config, queue) {}

bool FrameWindow::is_full() const {
  return frames_.size() >= kMostFrames || bytes_ >= config_.window_size;
}

// True when a frame of less than full size is welcome: nothing else is on its way, or what is
// needs another one to be compared with.
bool FrameWindow::takes_any() const { return empty() || (has_suspect() && frames_.size() == 1); }

size_t FrameWindow::wants() const {
  if (is_full()) return std::numeric_limits<size_t>::max();
  if (takes_any()) return 1;
  // A few records wait for the answer to those before them: a frame each would cost both sides
  // more than the records do.
  const size_t left_over = source_.left_over();
  return left_over < config_.frame_size ? config_.frame_size - left_over : 1;
}

void FrameWindow::fill(bool flush) {
  while (!is_full()) {
    const size_t ready = source_.left_over() + queue_.waiting_bytes();
    if (ready == 0 || (!flush && !takes_any() && ready < config_.frame_size)) return;
    frames_.push_back(std::make_unique<Frame>());
    Frame& frame = *frames_.back();
    const bool any = source_.next(frame);
    if (!any) frames_.pop_back();
    if (!any) return;
    bytes_ += frame.size();
    settle();
  }
}

bool FrameWindow::has_suspect() const {
  return !frames_.empty() && frames_.front()->closes >= kClosesToSuspect;
}

// The next frame of this connection.
Frame* FrameWindow::choose() {
  if (has_suspect()) {
    // One at a time, so that it is clear what the receiver closes on.
    if (!sent_.empty()) return nullptr;
    if (arrived_ > 0) return frames_.front().get();
    if (!trial_) trial_ = choose_trial();
    return trial_ ? trial_ : frames_.front().get();
  }
  if (sent_.size() >= kMostFrames) return nullptr;
  const auto unsent = std::find_if(frames_.begin(), frames_.end(), [](const auto& frame) {
    return frame->fate == Frame::Fate::kOpen && frame->written == 0;
  });
  return unsent == frames_.end() ? nullptr : unsent->get();
}

// What should pass where the suspect does not; null: the suspect is tried alone.
Frame* FrameWindow::choose_trial() {
  if (last_) return last_.get();
  const Frame& suspect = *frames_.front();
  if (suspect.records > 1 || suspect.closes < kClosesWithoutProof) return nullptr;
  // Another one each time, as there may be more than one that the receiver can't stand.
  const size_t others = frames_.size() - 1;
  for (size_t i = 0; i < others; ++i) {
    Frame* frame = frames_[1 + trials_++ % others].get();
    if (frame->fate == Frame::Fate::kOpen) return frame;
  }
  return nullptr;
}

std::span<const Bytes> FrameWindow::next_to_write() {
  if (!writing_) {
    writing_ = choose();
    if (!writing_) return {};
    sent_.push_back(writing_);
    if (writing_->was_sent) queue_.count_retried(writing_->records);
    writing_->was_sent = true;
  }
  writing_->unwritten(pieces_);
  return pieces_;
}

void FrameWindow::wrote(size_t bytes) {
  writing_->written += bytes;
  if (writing_->written < writing_->size()) return;
  Frame& whole = *writing_;
  writing_ = nullptr;
  if (!config_.acknowledged) deliver(whole);
}

bool FrameWindow::acknowledge(std::string_view chunk) {
  if (sent_.empty() || sent_.front() == writing_) return false;
  if (chunk_text(sent_.front()->chunk) != chunk) return false;
  deliver(*sent_.front());
  return true;
}

void FrameWindow::deliver(Frame& frame) {
  sent_.pop_front();
  ++arrived_;
  if (&frame == last_.get()) return;  // for the second time
  frame.fate = Frame::Fate::kDelivered;
  settle();
}

// Tells the queue about the oldest frames whose fate is known.
void FrameWindow::settle() {
  while (!frames_.empty() && frames_.front()->fate != Frame::Fate::kOpen) {
    std::unique_ptr<Frame> frame = std::move(frames_.front());
    frames_.pop_front();
    bytes_ -= frame->size();
    if (frame->fate == Frame::Fate::kLost) {
      queue_.settle_dropped(frame->records, frame->reason);
      report_.dropped(queue_, frame->reason, frame->records);
      continue;
    }
    trial_ = nullptr;
    const size_t records = frame->records;
    remember(std::move(frame));
    queue_.settle_delivered(records);
  }
}

// Not each one: its records must be copied, as the queue lets go of them.
void FrameWindow::remember(std::unique_ptr<Frame> frame) {
  const bool is_due = !last_ || frame->borrowed.empty() || ++deliveries_ >= kKeptFor;
  if (!is_due || frame->size() > kLargestKept) return;
  try {
    frame->keep();
  } catch (const std::bad_alloc&) {
    return;  // the one before serves as well
  }
  last_ = std::move(frame);
  deliveries_ = 0;
}

void FrameWindow::give_up(Frame& frame, DropReason reason) {
  frame.fate = Frame::Fate::kLost;
  frame.reason = reason;
}

void FrameWindow::connection_ended(bool closed) {
  for (const auto& frame : frames_) frame->written = 0;
  if (last_) last_->written = 0;
  Frame* oldest = sent_.empty() ? nullptr : sent_.front();
  sent_.clear();
  writing_ = nullptr;
  if (oldest && oldest != last_.get()) {
    ++oldest->failures;
    if (config_.retry_limit && oldest->failures > *config_.retry_limit) {
      give_up(*oldest, DropReason::kRetriesOver);
    } else if (closed) {
      blame(*oldest);
    }
  }
  trial_ = nullptr;
  arrived_ = 0;
  settle();
}

// The receiver closed while this was the oldest frame on its way.
void FrameWindow::blame(Frame& frame) {
  ++frame.closes;
  const bool is_first = &frame == frames_.front().get();
  // It closes on others too, so the suspect is one no more.
  if (!is_first && &frame == trial_) frames_.front()->closes = 0;
  if (frame.closes < kClosesToSuspect) return;
  const bool is_proven = arrived_ > 0;
  if (frame.records > 1) {
    if (is_proven || !is_first || frame.closes >= kClosesWithoutProof) split(frame);
  } else if (is_proven && is_first) {
    dead_letters_.append(queue_.in_flight(0).bytes);
    give_up(frame, DropReason::kRefused);
  }
}

void FrameWindow::split(const Frame& frame) {
  size_t index = 0;
  size_t first = 0;
  for (; frames_[index].get() != &frame; ++index) first += frames_[index]->records;
  const size_t half = frame.records / 2;
  auto head = std::make_unique<Frame>();
  auto tail = std::make_unique<Frame>();
  try {
    source_.rebuild(*head, first, half);
    source_.rebuild(*tail, first + half, frame.records - half);
    frames_.insert(frames_.begin() + static_cast<ptrdiff_t>(index) + 1, nullptr);
  } catch (const std::bad_alloc&) {
    return;  // another time
  }
  for (Frame* part : {head.get(), tail.get()}) {
    part->was_sent = true;
    part->closes = frame.closes;
    part->failures = frame.failures;
  }
  VEK_LOGD("[raw msgpack API] [%s] the receiver closes on a frame of %zu records; it is split",
           config_.name.c_str(), frame.records);
  bytes_ += head->size() + tail->size() - frame.size();
  frames_[index + 1] = std::move(tail);
  frames_[index] = std::move(head);
}

}  // namespace vek::engine
