// RecordQueue: what stands between add_data and a destination, and the account of both.
//
// One producer (the collector's thread) pushes copies and never waits for the destination: when the
// queue is full the oldest records give way, counted. One consumer (the context's thread) takes
// batches, one or as many as it wants to have in flight, and settles every record that it took,
// oldest first. What is in flight counts as queued and inside the memory bound, and never gives
// way: the consumer holds on to it. Where everything that the bound allows is in flight, it is the
// new record that is dropped. Statistics may be read from any thread.
//
// A consumer sleeps in take(), or in a poll(2) of its own, which a WakeFd ends; that one is
// signalled only when the consumer has said that it sleeps.
//
// Batches are recycled, so that a steady flow allocates nothing.
#ifndef VEK_RAW_MSGPACK_API_RECORD_QUEUE_H
#define VEK_RAW_MSGPACK_API_RECORD_QUEUE_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <vector>

#include "raw_msgpack_api/account.h"
#include "raw_msgpack_api/record_batch.h"
#include "raw_msgpack_api/stop_signal.h"
#include "raw_msgpack_api/wake_fd.h"

namespace vek::engine {

class RecordQueue {
 public:
  // `limit_bytes` bounds the records in memory, those in flight included.
  explicit RecordQueue(size_t limit_bytes);
  RecordQueue(const RecordQueue&) = delete;
  RecordQueue& operator=(const RecordQueue&) = delete;

  // Producer
  // ---------------------------------------------------------------------------------------

  struct PushResult {
    DropReason reason = DropReason::kQueueFull;
    size_t dropped = 0;  // records that gave way for that reason, this one perhaps
  };
  // Accepts one sound record. Never throws: a record that memory has no room for is dropped.
  PushResult push(const RecordView& record, bool mended, uint64_t pairs) noexcept;
  // Accepts and drops a record that is not sound.
  void drop_malformed(DropReason reason) noexcept;
  // No more records will come; the consumer may go on until the deadline.
  void close(Clock::time_point deadline) noexcept;

  // Consumer
  // ---------------------------------------------------------------------------------------

  // The oldest batch that is not settled, taken before or now; waits for one. Null when the queue
  // is closed and everything is settled, or its deadline has passed. Batches stay in the queue's
  // care, where they are, until their last record is settled.
  const RecordBatch* take();
  // The next batch that was not taken yet, behind those in flight. Never waits: null when there is
  // none, or the deadline has passed.
  const RecordBatch* take_more();
  // Record `index` of those in flight, oldest first, across batches; for the rare second look.
  RecordView in_flight(size_t index) const;
  // The first `count` records in flight arrived, of one batch or several.
  void settle_delivered(size_t count) noexcept;
  // The first `count` records in flight are lost.
  void settle_dropped(size_t count, DropReason reason) noexcept;
  // All that is in flight.
  void drop_taken(DropReason reason) noexcept;
  void count_retried(size_t count) noexcept;
  void count_clamped(size_t count) noexcept;
  // Waits, less long when the queue is closed meanwhile.
  void pause(std::chrono::milliseconds duration);
  const StopSignal& stop() const { return stop_; }
  // True when there is nothing left to do: what makes take() answer null.
  bool is_over() const noexcept;

  // For a consumer that sleeps in poll(2): close() signals `wake`, and so does a push after
  // may_sleep(). Null withdraws it; it must outlive its use here.
  void set_wake(const WakeFd* wake) noexcept;
  // True when fewer than `bytes` (at least 1) wait to be taken. The push that makes them so many
  // signals, once.
  bool may_sleep(size_t bytes) noexcept;
  // Bytes of the records that wait to be taken.
  size_t waiting_bytes() const noexcept;

  // Any thread
  // -------------------------------------------------------------------------------------

  Account account() const;
  // When the consumer is gone: what is left is lost.
  void drop_rest(DropReason reason) noexcept;

 private:
  size_t make_room(size_t bytes);
  void append(const RecordView& record, bool mended, uint64_t pairs);
  const RecordBatch* take_oldest();
  size_t forget_first(RecordBatch& batch, size_t count);
  size_t forget_taken(size_t count);
  void recycle(RecordBatch&& batch);

  const size_t limit_bytes_;
  StopSignal stop_;
  mutable std::mutex mutex_;  // guards everything below
  std::condition_variable wake_;
  std::deque<RecordBatch> waiting_;
  std::deque<RecordBatch> taken_;  // changed by the consumer alone, so it may read without the lock
  std::vector<RecordBatch> spare_;
  size_t waiting_bytes_ = 0;
  size_t taken_bytes_ = 0;
  const WakeFd* sleeper_ = nullptr;
  size_t sleeps_until_ = 0;  // bytes that wait; 0: the consumer is awake
  bool is_closed_ = false;
  Account account_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_RECORD_QUEUE_H
