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
// signalled only when the consumer has said that it sleeps, and for how many bytes.
//
// With a spool behind it, nothing gives way while the disk has room. Records are in one of these
// places, in this order: in flight (some of them on disk as well), waiting in memory, on disk only,
// and, while the disk takes nothing, behind those in memory. A record that comes goes to memory,
// and to the disk where memory is full, where others wait on disk, or always, if that is asked for.
// What is taken from the disk counts as queued from then on; what is left over at the end goes
// there.
//
// Batches are recycled, so that a steady flow allocates nothing; a consumer that calls provide()
// allocates those that a growing queue needs, so that the producer does not.
#ifndef VEK_RAW_MSGPACK_API_RECORD_QUEUE_H
#define VEK_RAW_MSGPACK_API_RECORD_QUEUE_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "raw_msgpack_api/account.h"
#include "raw_msgpack_api/record_batch.h"
#include "raw_msgpack_api/spool.h"
#include "raw_msgpack_api/stop_signal.h"
#include "raw_msgpack_api/wake_fd.h"

namespace vek::engine {

// How records are kept in memory: as they came or, those that are one, as events (record_batch.h).
enum class RecordForm : uint8_t { kAsGiven, kAsEvents };

class RecordQueue {
 public:
  // `limit_bytes` bounds the records in memory, those in flight included. `spool`, if any, outlives
  // the queue, which counts what it holds as accepted; `spool_first` sends every record through it.
  explicit RecordQueue(size_t limit_bytes, Spool* spool = nullptr, bool spool_first = false,
                       RecordForm form = RecordForm::kAsGiven);
  RecordQueue(const RecordQueue&) = delete;
  RecordQueue& operator=(const RecordQueue&) = delete;

  // Producer
  // ---------------------------------------------------------------------------------------

  struct PushResult {
    DropReason reason = DropReason::kQueueFull;
    size_t dropped = 0;  // records that gave way for that reason, this one perhaps
    bool fits = true;    // push_like() alone: false when the record was not accepted
  };
  // Accepts one sound record. Never throws: a record that memory has no room for is dropped. Only
  // with a spool does this write to a disk.
  PushResult push(const RecordView& record, bool mended, uint64_t pairs) noexcept;
  // The same of a record that is sound if it is like `layout`, which it begins like. That is found
  // out while it is copied; one that is not is not accepted.
  // It is what nearly all records go through, and made one piece of code for that.
  [[gnu::flatten]] PushResult push_like(const RecordLayout& layout,
                                        const FoundRecord& record) noexcept;
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
  // Has memory ready for records that come, and is signalled where it does not last until the next
  // call. True when records had used some of it.
  bool provide() noexcept;

  // Bytes that it may hold.
  size_t limit() const { return limit_bytes_; }

  // Any thread
  // -------------------------------------------------------------------------------------

  Account account() const;
  // To be called now and then where there is a spool: brings a consumer back to a disk that could
  // not be read.
  void look_again() noexcept;
  // When the consumer is gone: what is left goes to the spool, as much as can be written until the
  // deadline.
  void spool_rest(Clock::time_point deadline) noexcept;
  // When the consumer is gone: what is left in memory is lost.
  void drop_rest(DropReason reason) noexcept;

 private:
  // A record on its way in.
  struct Incoming {
    const RecordView& record;
    bool mended;
    uint64_t pairs;
    const EventHead* head;  // given: it is kept as an event
    size_t size;            // as it is kept
    uint64_t number;
    const RecordLayout* layout;  // that it has to fit; null: it is known to be sound
  };
  // What settling took from memory.
  struct Forgotten {
    size_t bytes = 0;
    size_t spooled = 0;               // records that the spool holds too
    std::vector<RecordBatch> excess;  // not needed any more: to be freed without the lock
  };
  // Whom to wake, when the lock is gone: who wakes would wait for it.
  struct Wake {
    bool waiter = false;
    const WakeFd* sleeper = nullptr;
  };

  size_t room() const;
  bool make_room(size_t bytes, PushResult& result);
  Incoming look_at(const RecordView& record, bool mended, uint64_t pairs) noexcept;
  PushResult accept(Incoming& incoming) noexcept;
  bool keep(const Incoming& incoming, PushResult& result);
  bool append(std::deque<RecordBatch>& batches, const Incoming& incoming);
  Wake whom_to_wake(bool was_idle);
  void wake(const Wake& whom) noexcept;
  RecordBatch fresh_batch();
  size_t forget_first(RecordBatch& batch, size_t count);
  Forgotten forget_taken(size_t count);
  void recycle(RecordBatch&& batch, std::vector<RecordBatch>* excess = nullptr);
  size_t available() const;

  bool take_next(std::unique_lock<std::mutex>& lock);
  void take_oldest();

  bool goes_to_spool(size_t bytes) const;
  bool store(uint64_t number, const RecordView& record, bool mended, uint64_t pairs,
             PushResult& result);
  void store_behind(PushResult& result);
  bool can_load() const;
  bool load(std::unique_lock<std::mutex>& lock);
  bool spool_batch(const RecordBatch& batch, Clock::time_point deadline);

  const size_t limit_bytes_;
  Spool* const spool_;
  const bool spool_first_;
  const RecordForm form_;
  EventHeads heads_;  // the producer's
  StopSignal stop_;
  mutable std::mutex mutex_;  // guards everything below
  std::condition_variable wake_;
  std::deque<RecordBatch> waiting_;
  std::deque<RecordBatch> behind_;  // younger than what is on disk only
  std::deque<RecordBatch> taken_;  // changed by the consumer alone, so it may read without the lock
  std::vector<RecordBatch> spare_;
  size_t waiting_bytes_ = 0;
  size_t behind_bytes_ = 0;
  size_t taken_bytes_ = 0;
  uint64_t next_number_ = 0;  // 0: records have none, there is no spool
  bool is_blocked_ = false;   // the disk could not be read
  const WakeFd* sleeper_ = nullptr;
  size_t sleeps_until_ = 0;  // bytes that wait; 0: the consumer is awake
  bool provides_ = false;    // the consumer did, and was not signalled since
  bool is_closed_ = false;
  Account account_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_RECORD_QUEUE_H
