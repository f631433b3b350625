// The part of RecordQueue that a spool makes necessary.
//
// The producer writes to the disk under the queue's lock: only it would wait for that. The consumer
// lets go of the lock before it touches the disk, so that add_data never waits for a read.
#include <algorithm>
#include <exception>

#include "raw_msgpack_api/record_queue.h"

namespace vek::engine {

bool RecordQueue::goes_to_spool(size_t bytes) const {
  if (!spool_ || !behind_.empty()) return false;
  return spool_first_ || spool_->unread() > 0 || bytes > room();
}

// False when the record is not on the disk.
bool RecordQueue::store(uint64_t number, const RecordView& record, bool mended, uint64_t pairs,
                        PushResult& result) {
  const Spool::StoreResult stored = spool_->store(number, record, mended, pairs);
  if (stored.given_up > 0) {
    account_.spooled -= stored.given_up;
    account_.dropped_for(DropReason::kSpoolFull) += stored.given_up;
    result = {DropReason::kSpoolFull, static_cast<size_t>(stored.given_up)};
  }
  if (stored.outcome != Spool::Outcome::kStored) return false;
  ++account_.spooled;
  return true;
}

// The disk may take again what memory holds for it.
void RecordQueue::store_behind(PushResult& result) {
  if (!spool_->is_ready()) return;
  while (!behind_.empty()) {
    RecordBatch& oldest = behind_.front();
    while (!oldest.empty()) {
      if (!store(oldest.first_number(), oldest[0], false, 0, result)) return;
      --account_.queued;
      behind_bytes_ -= forget_first(oldest, 1);
    }
    recycle(std::move(oldest));
    behind_.pop_front();
  }
}

bool RecordQueue::can_load() const {
  if (is_blocked_) return false;
  return taken_.empty() || RecordBatch::kTargetBytes <= room();
}

// Takes the oldest records on disk into flight, without the lock meanwhile.
bool RecordQueue::load(std::unique_lock<std::mutex>& lock) {
  if (!can_load()) return false;
  Spool::LoadResult loaded;
  taken_.push_back(fresh_batch());
  RecordBatch& batch = taken_.back();
  lock.unlock();
  try {
    loaded = spool_->load(batch);
  } catch (const std::exception&) {  // no memory; there may be some later
    loaded.is_blocked = true;
  }
  lock.lock();
  is_blocked_ = loaded.is_blocked;
  account_.spooled -= loaded.lost + batch.size();
  account_.dropped_for(DropReason::kSpoolDamaged) += loaded.lost;
  if (batch.empty()) {
    recycle(std::move(batch));
    taken_.pop_back();
    return false;
  }
  batch.set_spooled();
  account_.queued += batch.size();
  taken_bytes_ += batch.bytes();
  return true;
}

void RecordQueue::look_again() noexcept {
  const std::lock_guard lock(mutex_);
  if (!is_blocked_) return;
  is_blocked_ = false;
  wake_.notify_one();
  if (sleeper_ && sleeps_until_ > 0) {
    sleeps_until_ = 0;
    sleeper_->signal();
  }
}

void RecordQueue::spool_rest(Clock::time_point deadline) noexcept {
  const std::lock_guard lock(mutex_);
  // Of those in flight that are on disk already, the oldest may have had to go from there.
  const uint64_t gone = spool_->in_flight_gone();
  account_.queued -= gone;
  account_.dropped_for(DropReason::kSpoolFull) += gone;
  uint64_t on_disk = 0;
  bool in_time = true;
  for (const auto* batches : {&taken_, &waiting_, &behind_}) {
    for (const RecordBatch& batch : *batches) {
      if (batch.is_spooled()) {
        on_disk += batch.size();
      } else {
        in_time = in_time && spool_batch(batch, deadline);
      }
    }
  }
  account_.queued -= on_disk - gone;
  account_.spooled += on_disk - gone;
}

// False when the deadline has passed. What the spool does not take stays queued.
bool RecordQueue::spool_batch(const RecordBatch& batch, Clock::time_point deadline) {
  if (Clock::now() >= deadline) return false;
  PushResult ignored;
  for (size_t i = 0; i < batch.size(); ++i) {
    if (store(batch.first_number() + i, batch[i], false, 0, ignored)) --account_.queued;
  }
  return true;
}

}  // namespace vek::engine
