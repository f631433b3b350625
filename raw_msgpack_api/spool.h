// Spool: records on disk, in the order of their numbers, until they are settled.
//
// A folder with append-only segment files, written with plain write calls. Whoever stores a record
// gives it its number; a record that is loaded is in flight until it is settled, and loaded again
// after a restart if it was not. Bounded: when it is full, the oldest segment goes.
//
// Threads: one stores and one loads and settles; sync() and the numbers may be had from any.
// Loading and syncing keep nobody from storing while they wait for the disk.
#ifndef VEK_RAW_MSGPACK_API_SPOOL_H
#define VEK_RAW_MSGPACK_API_SPOOL_H

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "raw_msgpack_api/record_batch.h"
#include "raw_msgpack_api/spool_recovery.h"
#include "raw_msgpack_api/stop_signal.h"
#include "utils/clock.h"

namespace vek::engine {

struct SpoolSettings {
  static constexpr uint64_t kDefaultLimit = 1'000'000'000;

  std::string folder;
  std::string label;               // begins every log line
  uint64_t limit = kDefaultLimit;  // bytes of segments
  bool syncs = true;               // false: sync() leaves it to the system
};

class Spool {
 public:
  // Finds again what a former run left. Null after an error line. Throws std::bad_alloc.
  static std::unique_ptr<Spool> open(SpoolSettings settings, FileOps& ops = FileOps::of_system());
  // Removes what has served, syncs and unlocks the folder.
  ~Spool();
  Spool(const Spool&) = delete;
  Spool& operator=(const Spool&) = delete;

  const std::string& folder() const { return folder_->path(); }
  // Records found at the start that were damaged.
  uint64_t lost_at_open() const { return lost_at_open_; }
  // The smallest number that was never used.
  uint64_t next_sequence() const { return next_sequence_; }
  // Records that wait to be loaded.
  uint64_t unread() const { return unread_.load(std::memory_order_relaxed); }
  // Their bytes.
  uint64_t unread_bytes() const { return unread_bytes_.load(std::memory_order_relaxed); }

  // Storing
  // ----------------------------------------------------------------------------------------

  enum class Outcome : uint8_t { kStored, kTooLarge, kFailed };
  struct StoreResult {
    Outcome outcome = Outcome::kFailed;
    uint64_t given_up = 0;  // older records that went because the spool was full
  };
  // Stores a copy, with `pairs` as its map's count when `mended`. A number below those of other
  // records places it before them, in a segment of its own. After a failure the disk is left in
  // peace for a second, in which every call fails at once.
  StoreResult store(uint64_t sequence, const RecordView& record, bool mended,
                    uint64_t pairs) noexcept;
  // True when store() would try the disk.
  bool is_ready() const noexcept;

  // Loading
  // ----------------------------------------------------------------------------------------

  struct LoadResult {
    uint64_t lost = 0;        // records found damaged, which nobody will load
    bool is_blocked = false;  // the system could not read; the records are still there
  };
  // Fills the empty batch with the oldest unread records, 64 KB or one of them. Throws
  // std::bad_alloc, with nothing loaded.
  LoadResult load(RecordBatch& batch);
  // The oldest `count` records in flight need not be loaded again.
  void settle(uint64_t count) noexcept;
  // Records in flight that are on disk no more, because their segment had to go.
  uint64_t in_flight_gone() const noexcept;

  // Everything stored so far is on the disk when this returns true. Nothing to do costs nothing.
  bool sync() noexcept;

 private:
  // Records in flight whose numbers follow one another.
  struct Run {
    uint64_t first = 0;
    uint64_t count = 0;
  };
  // Where reading goes on, as it was when the lock was last held.
  struct Position {
    uint64_t segment = 0;  // its first number
    std::string name;
    uint64_t offset = 0;
    uint64_t end = 0;       // of the range
    uint64_t last = 0;      // number of the record in front
    uint64_t unread = 0;    // in the whole segment
    uint64_t file_end = 0;  // of what was written
  };
  enum class Stop : uint8_t { kFull, kDamage, kError };

  Spool(SpoolSettings settings, std::unique_ptr<SpoolFolder> folder, RecoveredSpool recovered);

  StoreResult store_locked(uint64_t sequence, const RecordView& record, bool mended,
                           uint64_t pairs);
  void make_frame(uint64_t sequence, const RecordView& record, bool mended, uint64_t pairs);
  uint64_t make_room(uint64_t bytes);
  uint64_t drop_oldest(SpoolSegment& segment);
  int begin_segment(uint64_t sequence);
  int write_frame();
  void end_segment() noexcept;
  bool sync_files(const std::vector<SharedFile>& files, bool folder_too) noexcept;

  LoadResult load_some(RecordBatch& batch);
  bool find_unread(Position& out) const;
  int open_for_reading(const Position& position);
  Stop read_records(Position& position, RecordBatch& batch, int& error);
  bool note_loaded(const Position& position);
  uint64_t rescan(const Position& position);
  uint64_t lose_segment(const Position& position);
  bool give_reading_up(int error) noexcept;

  void set_unread(SpoolSegment& segment, uint64_t records, std::vector<SpoolSegment::Range> ranges);
  SpoolSegment* segment_at(uint64_t first);
  bool take_finished(SpoolSegment& out);
  void retire(const SpoolSegment& segment) const noexcept;
  void write_cursor(uint64_t settled) noexcept;

  const SpoolSettings settings_;
  const std::unique_ptr<SpoolFolder> folder_;
  const uint64_t lost_at_open_;
  const uint64_t next_sequence_;
  std::atomic<uint64_t> unread_{0};
  std::atomic<uint64_t> unread_bytes_{0};

  mutable std::mutex mutex_;  // guards what follows
  std::deque<SpoolSegment> segments_;
  uint64_t disk_bytes_ = 0;  // of segments that are not gone
  std::deque<Run> in_flight_;
  SharedFile writing_;  // the file of segment writing_first_
  uint64_t writing_first_ = 0;
  uint64_t last_stored_ = 0;
  std::vector<uint8_t> frame_;  // reused
  std::vector<SharedFile> unsynced_;
  bool folder_is_unsynced_ = false;
  Clock::time_point retry_at_{};

  // Of the thread that loads and settles.
  SharedFile reading_;  // the file of segment reading_first_
  uint64_t reading_first_ = 0;
  unsigned read_failures_ = 0;  // in a row
  SharedFile cursor_;
  std::vector<Run> loaded_;  // by the load under way

  LogRateLimit write_limit_, sync_limit_, read_limit_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SPOOL_H
