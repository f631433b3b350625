// RecordQueue: what stands between add_data and a destination, and the account of both.
//
// One producer (the collector's thread) pushes copies and never waits for the destination: when the
// queue is full the oldest records give way, counted. One consumer (the context's thread) takes
// batches, and settles every record that it took. Statistics may be read from any thread.
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

  // The oldest batch, which stays in the queue's care; waits for one. Null when the queue is closed
  // and everything is settled, or its deadline has passed.
  const RecordBatch* take();
  // The first `count` records of the taken batch arrived.
  void settle_delivered(size_t count) noexcept;
  // The first `count` records of the taken batch are lost.
  void settle_dropped(size_t count, DropReason reason) noexcept;
  // All of the taken batch that is not settled yet.
  void drop_taken(DropReason reason) noexcept;
  void count_retried(size_t count) noexcept;
  // Waits, less long when the queue is closed meanwhile.
  void pause(std::chrono::milliseconds duration);
  const StopSignal& stop() const { return stop_; }

  // Any thread
  // -------------------------------------------------------------------------------------

  Account account() const;
  // When the consumer is gone: what is left is lost.
  void drop_rest(DropReason reason) noexcept;

 private:
  size_t make_room(size_t bytes);
  void append(const RecordView& record, bool mended, uint64_t pairs);
  void forget_first(RecordBatch& batch, size_t count);
  void lose_taken(size_t count, DropReason reason);
  void recycle(RecordBatch&& batch);

  const size_t limit_bytes_;
  StopSignal stop_;
  mutable std::mutex mutex_;  // guards everything below
  std::condition_variable wake_;
  std::deque<RecordBatch> waiting_;
  RecordBatch taken_;
  std::vector<RecordBatch> spare_;
  size_t bytes_ = 0;  // of records waiting and taken
  bool is_closed_ = false;
  Account account_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_RECORD_QUEUE_H
