#include "raw_msgpack_api/record_queue.h"

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

namespace vek::engine {
namespace {

constexpr size_t kFewBatches = 16;
constexpr size_t kReadyBatches = 4;
constexpr size_t kTooFewBatches = 2;
constexpr size_t kMaxSpareBatches = 256;

}  // namespace

RecordQueue::RecordQueue(size_t limit_bytes, Spool* spool, bool spool_first, RecordForm form)
    : limit_bytes_(limit_bytes), spool_(spool), spool_first_(spool_first), form_(form) {
  spare_.reserve(kMaxSpareBatches);
  if (!spool_) return;
  next_number_ = spool_->next_sequence();
  account_.spooled = spool_->unread();
  account_.dropped_for(DropReason::kSpoolDamaged) = spool_->lost_at_open();
  account_.accepted = account_.spooled + spool_->lost_at_open();
}

// A list may be several events, and a time that the wire cannot say is counted when it is sent:
// such records stay as they are.
RecordQueue::Incoming RecordQueue::look_at(const RecordView& record, bool mended,
                                           uint64_t pairs) noexcept {
  Incoming incoming = {record, mended, pairs, nullptr, record.bytes.size(), 0, nullptr};
  if (form_ == RecordForm::kAsGiven || record.shape == RecordShape::kTimedList) return incoming;
  incoming.head = heads_.of(record);
  if (!incoming.head) return incoming;
  incoming.size = kEventHeadSize + record.bytes.size() - record.body_offset;
  return incoming;
}

RecordQueue::PushResult RecordQueue::push(const RecordView& record, bool mended,
                                          uint64_t pairs) noexcept {
  Incoming incoming = look_at(record, mended, pairs);
  return accept(incoming);
}

RecordQueue::PushResult RecordQueue::push_like(const RecordLayout& layout,
                                               const FoundRecord& record) noexcept {
  Incoming incoming = look_at(record.view, record.mended, record.pairs);
  if (incoming.head && !spool_) {
    incoming.layout = &layout;
  } else if (!layout.fits(record.view.bytes)) {
    PushResult result;
    result.fits = false;
    return result;
  }
  return accept(incoming);
}

RecordQueue::PushResult RecordQueue::accept(Incoming& incoming) noexcept {
  std::unique_lock lock(mutex_);
  PushResult result;
  // What will not be copied has to be looked at before it is counted.
  const bool is_lost = incoming.size > limit_bytes_ - std::min(limit_bytes_, taken_bytes_);
  if (is_lost && incoming.layout && !incoming.layout->fits(incoming.record.bytes)) {
    result.fits = false;
    return result;
  }
  ++account_.accepted;
  if (incoming.mended) ++account_.mended;
  if (incoming.size > limit_bytes_) {
    result = {DropReason::kTooLarge, 1};
    ++account_.dropped_for(result.reason);
    return result;
  }
  if (spool_) incoming.number = next_number_++;
  const bool was_idle = available() == 0;
  try {
    result.fits = keep(incoming, result);
    const Wake whom = whom_to_wake(was_idle);
    lock.unlock();
    wake(whom);
  } catch (const std::bad_alloc&) {
    result = {DropReason::kOutOfMemory, 1};
    ++account_.dropped_for(DropReason::kOutOfMemory);
  }
  return result;
}

// False, and nothing is counted, when the record does not fit its layout.
bool RecordQueue::keep(const Incoming& incoming, PushResult& result) {
  const auto& [record, mended, pairs, head, size, number, layout] = incoming;
  if (!behind_.empty()) store_behind(result);
  if (goes_to_spool(size) && store(number, record, mended, pairs, result)) return true;
  if (!make_room(size, result)) return true;
  const bool is_behind = !behind_.empty() || (spool_ && spool_->unread() > 0);
  if (!append(is_behind ? behind_ : waiting_, incoming)) {
    --account_.accepted;
    if (mended) --account_.mended;
    return false;
  }
  (is_behind ? behind_bytes_ : waiting_bytes_) += size;
  ++account_.queued;
  return true;
}

// Bytes that memory still takes. What was loaded from a disk may go beyond the limit by a batch.
size_t RecordQueue::room() const {
  return limit_bytes_ - std::min(limit_bytes_, taken_bytes_ + waiting_bytes_ + behind_bytes_);
}

// Lets the oldest waiting records go until `bytes` more fit. Where all that could is in flight, the
// new record is the one that is dropped.
bool RecordQueue::make_room(size_t bytes, PushResult& result) {
  const auto drop_one = [&] {
    result.reason = DropReason::kQueueFull;
    ++account_.dropped_for(DropReason::kQueueFull);
    ++result.dropped;
  };
  if (bytes > limit_bytes_ - std::min(limit_bytes_, taken_bytes_)) {
    drop_one();
    return false;
  }
  while (bytes > room()) {
    const bool is_behind = waiting_.empty();
    std::deque<RecordBatch>& batches = is_behind ? behind_ : waiting_;
    RecordBatch& oldest = batches.front();
    (is_behind ? behind_bytes_ : waiting_bytes_) -= forget_first(oldest, 1);
    --account_.queued;
    drop_one();
    if (oldest.empty()) {
      recycle(std::move(oldest));
      batches.pop_front();
    }
  }
  return true;
}

RecordQueue::Wake RecordQueue::whom_to_wake(bool was_idle) {
  Wake whom;
  const size_t now = available();
  whom.waiter = was_idle && now > 0;
  if (sleeps_until_ > 0 && now >= sleeps_until_) {
    sleeps_until_ = 0;
    whom.sleeper = sleeper_;
  }
  if (provides_ && spare_.size() < kTooFewBatches) {
    provides_ = false;
    whom.sleeper = sleeper_;
  }
  return whom;
}

void RecordQueue::wake(const Wake& whom) noexcept {
  if (whom.waiter) wake_.notify_one();
  if (whom.sleeper) whom.sleeper->signal();
}

bool RecordQueue::provide() noexcept {
  std::unique_lock lock(mutex_);
  bool was_missing = false;
  while (spare_.size() < kReadyBatches) {
    was_missing = true;
    lock.unlock();
    RecordBatch batch;
    try {
      batch.prepare();
    } catch (const std::bad_alloc&) {
      return true;  // whoever adds records will see whether there is some
    }
    lock.lock();
    spare_.push_back(std::move(batch));
  }
  provides_ = sleeper_ != nullptr;
  return was_missing;
}

RecordBatch RecordQueue::fresh_batch() {
  if (spare_.empty()) return {};
  RecordBatch batch = std::move(spare_.back());
  spare_.pop_back();
  return batch;
}

// False when the record does not fit its layout.
bool RecordQueue::append(std::deque<RecordBatch>& batches, const Incoming& incoming) {
  const auto& [record, mended, pairs, head, size, number, layout] = incoming;
  if (batches.empty() || !batches.back().has_room_for(size) ||
      !batches.back().takes_number(number)) {
    batches.push_back(fresh_batch());
    batches.back().set_first_number(number);
  }
  RecordBatch& batch = batches.back();
  bool fits = true;
  try {
    if (layout) {
      fits = batch.append_event_like(*layout, *head, record, mended, pairs);
    } else if (head) {
      batch.append_event(*head, record, mended, pairs);
    } else {
      batch.append(record, mended, pairs);
    }
  } catch (...) {
    if (batch.empty()) batches.pop_back();
    throw;
  }
  if (!fits && batch.empty()) {
    recycle(std::move(batch));
    batches.pop_back();
  }
  return fits;
}

size_t RecordQueue::forget_first(RecordBatch& batch, size_t count) {
  const size_t before = batch.bytes();
  batch.drop_first(count);
  return before - batch.bytes();
}

// Lets go of the first `count` records in flight, which are settled.
RecordQueue::Forgotten RecordQueue::forget_taken(size_t count) {
  Forgotten forgotten;
  account_.queued -= count;
  while (count > 0) {
    RecordBatch& oldest = taken_.front();
    const size_t here = std::min(count, oldest.size());
    if (oldest.is_spooled()) forgotten.spooled += here;
    forgotten.bytes += forget_first(oldest, here);
    count -= here;
    if (oldest.empty()) {
      recycle(std::move(oldest), &forgotten.excess);
      taken_.pop_front();
    }
  }
  taken_bytes_ -= forgotten.bytes;
  return forgotten;
}

// As many are spare as are in use, and a few: what a flow has in flight goes round, and what was
// needed while a receiver was down is given back when it is not.
void RecordQueue::recycle(RecordBatch&& batch, std::vector<RecordBatch>* excess) {
  const size_t most = std::min(spare_.capacity(), kFewBatches + waiting_.size() + taken_.size());
  batch.clear();
  if (spare_.size() < most) spare_.push_back(std::move(batch));
  if (spare_.size() <= most) return;
  try {
    if (excess) excess->push_back(std::move(spare_.back()));
  } catch (const std::bad_alloc&) {
    // It is freed here, then.
  }
  spare_.pop_back();
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

void RecordQueue::take_oldest() {
  const size_t bytes = waiting_.front().bytes();
  taken_.push_back(std::move(waiting_.front()));
  waiting_.pop_front();
  waiting_bytes_ -= bytes;
  taken_bytes_ += bytes;
}

// Moves the oldest batch that is not in flight there; false when there is none to be had now.
bool RecordQueue::take_next(std::unique_lock<std::mutex>& lock) {
  if (waiting_.empty() && spool_ && spool_->unread() > 0) return load(lock);
  if (waiting_.empty()) {
    waiting_.swap(behind_);
    std::swap(waiting_bytes_, behind_bytes_);
  }
  if (waiting_.empty()) return false;
  take_oldest();
  return true;
}

const RecordBatch* RecordQueue::take() {
  std::unique_lock lock(mutex_);
  while (taken_.empty() && !take_next(lock)) {
    if (is_closed_ && (account_.queued + account_.spooled == 0 || stop_.expired())) return nullptr;
    if (available() > 0) continue;
    if (is_closed_) {
      constexpr std::chrono::milliseconds kStep{50};
      wake_.wait_for(lock, kStep);
    } else {
      wake_.wait(lock);
    }
  }
  return stop_.expired() ? nullptr : &taken_.front();
}

const RecordBatch* RecordQueue::take_more() {
  std::unique_lock lock(mutex_);
  return !stop_.expired() && take_next(lock) ? &taken_.back() : nullptr;
}

RecordView RecordQueue::in_flight(size_t index) const {
  auto batch = taken_.begin();
  for (; index >= batch->size(); ++batch) index -= batch->size();
  return (*batch)[index];
}

void RecordQueue::settle_delivered(size_t count) noexcept {
  std::unique_lock lock(mutex_);
  const Forgotten forgotten = forget_taken(count);
  account_.bytes += forgotten.bytes;
  account_.delivered += count;
  lock.unlock();
  if (forgotten.spooled > 0) spool_->settle(forgotten.spooled);
}

void RecordQueue::settle_dropped(size_t count, DropReason reason) noexcept {
  std::unique_lock lock(mutex_);
  const Forgotten forgotten = forget_taken(count);
  account_.dropped_for(reason) += count;
  lock.unlock();
  if (forgotten.spooled > 0) spool_->settle(forgotten.spooled);
}

void RecordQueue::drop_taken(DropReason reason) noexcept {
  size_t count = 0;
  for (const RecordBatch& batch : taken_) count += batch.size();
  settle_dropped(count, reason);
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
  return stop_.expired() || (is_closed_ && account_.queued + account_.spooled == 0);
}

void RecordQueue::set_wake(const WakeFd* wake) noexcept {
  const std::lock_guard lock(mutex_);
  sleeper_ = wake;
  sleeps_until_ = 0;
  provides_ = false;
}

bool RecordQueue::may_sleep(size_t bytes) noexcept {
  const std::lock_guard lock(mutex_);
  const bool may = available() < bytes;
  sleeps_until_ = may && sleeper_ ? bytes : 0;
  return may;
}

size_t RecordQueue::waiting_bytes() const noexcept {
  const std::lock_guard lock(mutex_);
  return available();
}

// Bytes that take_more() would find, those on disk as far as they could be loaded now.
size_t RecordQueue::available() const {
  if (!spool_ || spool_->unread() == 0) return waiting_bytes_ + behind_bytes_;
  return waiting_bytes_ + (can_load() ? static_cast<size_t>(spool_->unread_bytes()) : 0);
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
  behind_bytes_ = 0;
  taken_bytes_ = 0;
  waiting_.clear();
  behind_.clear();
  taken_.clear();
}

}  // namespace vek::engine
