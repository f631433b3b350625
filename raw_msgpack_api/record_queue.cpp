#include "raw_msgpack_api/record_queue.h"

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

namespace vek::engine {
namespace {

constexpr size_t kMaxSpareBatches = 8;

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
  const size_t size = record.bytes.size();
  if (size > limit_bytes_ || size > limit_bytes_ - taken_bytes_) {
    result = {size > limit_bytes_ ? DropReason::kTooLarge : DropReason::kQueueFull, 1};
    ++account_.dropped_for(result.reason);
    return result;
  }
  try {
    result.dropped = make_room(size);
    const bool was_idle = waiting_.empty();
    append(record, mended, pairs);
    waiting_bytes_ += size;
    ++account_.queued;
    if (was_idle) wake_.notify_one();
    if (sleeps_until_ > 0 && waiting_bytes_ >= sleeps_until_) {
      sleeps_until_ = 0;
      sleeper_->signal();
    }
  } catch (const std::bad_alloc&) {
    result = {DropReason::kOutOfMemory, 1};
    ++account_.dropped_for(DropReason::kOutOfMemory);
  }
  return result;
}

// Lets the oldest waiting records go until `bytes` more fit.
size_t RecordQueue::make_room(size_t bytes) {
  size_t dropped = 0;
  while (bytes > limit_bytes_ - taken_bytes_ - waiting_bytes_) {
    RecordBatch& oldest = waiting_.front();
    waiting_bytes_ -= forget_first(oldest, 1);
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

size_t RecordQueue::forget_first(RecordBatch& batch, size_t count) {
  size_t bytes = 0;
  for (size_t i = 0; i < count; ++i) bytes += batch[i].bytes.size();
  batch.drop_first(count);
  return bytes;
}

// The bytes of the first `count` records in flight, which are settled.
size_t RecordQueue::forget_taken(size_t count) {
  size_t bytes = 0;
  account_.queued -= count;
  while (count > 0) {
    RecordBatch& oldest = taken_.front();
    const size_t here = std::min(count, oldest.size());
    bytes += forget_first(oldest, here);
    count -= here;
    if (oldest.empty()) {
      recycle(std::move(oldest));
      taken_.pop_front();
    }
  }
  taken_bytes_ -= bytes;
  return bytes;
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
  if (sleeper_) sleeper_->signal();
}

const RecordBatch* RecordQueue::take_oldest() {
  const size_t bytes = waiting_.front().bytes();
  taken_.push_back(std::move(waiting_.front()));
  waiting_.pop_front();
  waiting_bytes_ -= bytes;
  taken_bytes_ += bytes;
  return &taken_.back();
}

const RecordBatch* RecordQueue::take() {
  std::unique_lock lock(mutex_);
  while (taken_.empty()) {
    if (!waiting_.empty()) {
      take_oldest();
    } else if (is_closed_) {
      return nullptr;
    } else {
      wake_.wait(lock);
    }
  }
  return stop_.expired() ? nullptr : &taken_.front();
}

const RecordBatch* RecordQueue::take_more() {
  const std::lock_guard lock(mutex_);
  return waiting_.empty() || stop_.expired() ? nullptr : take_oldest();
}

RecordView RecordQueue::in_flight(size_t index) const {
  auto batch = taken_.begin();
  for (; index >= batch->size(); ++batch) index -= batch->size();
  return (*batch)[index];
}

void RecordQueue::settle_delivered(size_t count) noexcept {
  const std::lock_guard lock(mutex_);
  account_.bytes += forget_taken(count);
  account_.delivered += count;
}

void RecordQueue::settle_dropped(size_t count, DropReason reason) noexcept {
  const std::lock_guard lock(mutex_);
  forget_taken(count);
  account_.dropped_for(reason) += count;
}

void RecordQueue::drop_taken(DropReason reason) noexcept {
  const std::lock_guard lock(mutex_);
  size_t count = 0;
  for (const RecordBatch& batch : taken_) count += batch.size();
  forget_taken(count);
  account_.dropped_for(reason) += count;
}

void RecordQueue::count_retried(size_t count) noexcept {
  const std::lock_guard lock(mutex_);
  account_.retried += count;
}

void RecordQueue::count_clamped(size_t count) noexcept {
  const std::lock_guard lock(mutex_);
  account_.clamped += count;
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

bool RecordQueue::is_over() const noexcept {
  const std::lock_guard lock(mutex_);
  return stop_.expired() || (is_closed_ && account_.queued == 0);
}

void RecordQueue::set_wake(const WakeFd* wake) noexcept {
  const std::lock_guard lock(mutex_);
  sleeper_ = wake;
  sleeps_until_ = 0;
}

bool RecordQueue::may_sleep(size_t bytes) noexcept {
  const std::lock_guard lock(mutex_);
  const bool may = waiting_bytes_ < bytes;
  sleeps_until_ = may && sleeper_ ? bytes : 0;
  return may;
}

size_t RecordQueue::waiting_bytes() const noexcept {
  const std::lock_guard lock(mutex_);
  return waiting_bytes_;
}

Account RecordQueue::account() const {
  const std::lock_guard lock(mutex_);
  return account_;
}

void RecordQueue::drop_rest(DropReason reason) noexcept {
  const std::lock_guard lock(mutex_);
  account_.dropped_for(reason) += account_.queued;
  account_.queued = 0;
  waiting_bytes_ = 0;
  taken_bytes_ = 0;
  waiting_.clear();
  taken_.clear();
}

}  // namespace vek::engine
