#include "raw_msgpack_api/record_queue.h"

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

namespace vek::engine {
namespace {

constexpr size_t kMaxSpareBatches = 4;

}  // namespace

RecordQueue::RecordQueue(size_t limit_bytes) : limit_bytes_(limit_bytes) {
  spare_.reserve(kMaxSpareBatches);
}

RecordQueue::PushResult RecordQueue::push(const RecordView& record, bool mended,
                                          uint64_t pairs) noexcept {
  const std::lock_guard lock(mutex_);
  ++account_.accepted;
  if (mended) ++account_.mended;
  PushResult result;
  if (record.bytes.size() > limit_bytes_) {
    result = {DropReason::kTooLarge, 1};
    ++account_.dropped_for(DropReason::kTooLarge);
    return result;
  }
  try {
    result.dropped = make_room(record.bytes.size());
    const bool was_idle = waiting_.empty();
    append(record, mended, pairs);
    bytes_ += record.bytes.size();
    ++account_.queued;
    if (was_idle) wake_.notify_one();
  } catch (const std::bad_alloc&) {
    result = {DropReason::kOutOfMemory, 1};
    ++account_.dropped_for(DropReason::kOutOfMemory);
  }
  return result;
}

// Lets the oldest waiting records go until `bytes` more fit. Records in flight can't be called
// back, so the newest may go beyond the limit by as much as one batch.
size_t RecordQueue::make_room(size_t bytes) {
  size_t dropped = 0;
  while (bytes > limit_bytes_ - std::min(bytes_, limit_bytes_) && !waiting_.empty()) {
    RecordBatch& oldest = waiting_.front();
    forget_first(oldest, 1);
    --account_.queued;
    ++account_.dropped_for(DropReason::kQueueFull);
    ++dropped;
    if (oldest.empty()) {
      recycle(std::move(oldest));
      waiting_.pop_front();
    }
  }
  return dropped;
}

void RecordQueue::append(const RecordView& record, bool mended, uint64_t pairs) {
  if (waiting_.empty() || !waiting_.back().has_room_for(record.bytes.size())) {
    if (spare_.empty()) {
      waiting_.emplace_back();
    } else {
      waiting_.push_back(std::move(spare_.back()));
      spare_.pop_back();
    }
  }
  try {
    waiting_.back().append(record, mended, pairs);
  } catch (...) {
    if (waiting_.back().empty()) waiting_.pop_back();
    throw;
  }
}

void RecordQueue::forget_first(RecordBatch& batch, size_t count) {
  for (size_t i = 0; i < count; ++i) bytes_ -= batch[i].bytes.size();
  batch.drop_first(count);
}

void RecordQueue::recycle(RecordBatch&& batch) {
  batch.clear();
  if (spare_.size() < kMaxSpareBatches) spare_.push_back(std::move(batch));
}

void RecordQueue::drop_malformed(DropReason reason) noexcept {
  const std::lock_guard lock(mutex_);
  ++account_.accepted;
  ++account_.dropped_for(reason);
}

void RecordQueue::close(Clock::time_point deadline) noexcept {
  const std::lock_guard lock(mutex_);
  stop_.set_deadline(deadline);
  is_closed_ = true;
  wake_.notify_one();
}

const RecordBatch* RecordQueue::take() {
  std::unique_lock lock(mutex_);
  while (taken_.empty()) {
    if (!waiting_.empty()) {
      recycle(std::exchange(taken_, std::move(waiting_.front())));
      waiting_.pop_front();
    } else if (is_closed_) {
      return nullptr;
    } else {
      wake_.wait(lock);
    }
  }
  return stop_.expired() ? nullptr : &taken_;
}

void RecordQueue::settle_delivered(size_t count) noexcept {
  const std::lock_guard lock(mutex_);
  const size_t before = bytes_;
  forget_first(taken_, count);
  account_.bytes += before - bytes_;
  account_.delivered += count;
  account_.queued -= count;
}

void RecordQueue::settle_dropped(size_t count, DropReason reason) noexcept {
  const std::lock_guard lock(mutex_);
  lose_taken(count, reason);
}

void RecordQueue::drop_taken(DropReason reason) noexcept {
  const std::lock_guard lock(mutex_);
  lose_taken(taken_.size(), reason);
}

void RecordQueue::lose_taken(size_t count, DropReason reason) {
  forget_first(taken_, count);
  account_.dropped_for(reason) += count;
  account_.queued -= count;
}

void RecordQueue::count_retried(size_t count) noexcept {
  const std::lock_guard lock(mutex_);
  account_.retried += count;
}

void RecordQueue::pause(std::chrono::milliseconds duration) {
  constexpr std::chrono::milliseconds kWhenClosed{50};
  std::unique_lock lock(mutex_);
  const auto until = Clock::now() + duration;
  while (!is_closed_ && Clock::now() < until) wake_.wait_until(lock, until);
  if (!is_closed_) return;
  lock.unlock();
  // Short steps, so that the grace is used and not overrun.
  std::this_thread::sleep_for(std::min(duration, kWhenClosed));
}

Account RecordQueue::account() const {
  const std::lock_guard lock(mutex_);
  return account_;
}

void RecordQueue::drop_rest(DropReason reason) noexcept {
  const std::lock_guard lock(mutex_);
  account_.dropped_for(reason) += account_.queued;
  account_.queued = 0;
  bytes_ = 0;
  waiting_.clear();
  taken_ = {};
}

}  // namespace vek::engine
