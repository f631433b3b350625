// The half of Spool that reads: on the thread that sends, without the lock while it waits for the
// disk. What the other thread changed meanwhile is seen when the lock is taken again.
#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <utility>

#include "raw_msgpack_api/spool.h"
#include "raw_msgpack_api/spool_format.h"
#include "raw_msgpack_api/spool_reader.h"
#include "utils/logger.h"

namespace vek::engine {

Spool::LoadResult Spool::load(RecordBatch& batch) {
  try {
    return load_some(batch);
  } catch (...) {
    batch.clear();
    throw;
  }
}

Spool::LoadResult Spool::load_some(RecordBatch& batch) {
  LoadResult result;
  Position position;
  while (batch.empty() && find_unread(position)) {
    int error = open_for_reading(position);
    Stop stop = Stop::kError;
    if (error == 0) stop = read_records(position, batch, error);
    if (!batch.empty()) {
      read_failures_ = 0;
      if (!note_loaded(position)) batch.clear();
    } else if (stop == Stop::kError && !give_reading_up(error)) {
      result.is_blocked = true;
      return result;
    } else {
      result.lost += stop == Stop::kError ? lose_segment(position) : rescan(position);
    }
  }
  return result;
}

bool Spool::find_unread(Position& out) const {
  const std::lock_guard lock(mutex_);
  for (const SpoolSegment& segment : segments_) {
    if (segment.unread == 0) continue;
    out.segment = segment.first;
    out.name = segment.name;
    out.offset = segment.ranges.front().begin;
    out.end = segment.ranges.front().end;
    out.last = segment.last;
    out.unread = segment.unread;
    out.file_end = segment.size;
    return true;
  }
  return false;
}

int Spool::open_for_reading(const Position& position) {
  if (reading_ && reading_first_ == position.segment) return 0;
  reading_.reset();
  reading_first_ = position.segment;
  return folder_->open_file(position.name, reading_);
}

// Moves `position` behind what it read into the batch.
Spool::Stop Spool::read_records(Position& position, RecordBatch& batch, int& error) {
  SegmentReader reader(*folder_, *reading_, position.end);
  loaded_.clear();
  while (position.offset < position.end && batch.size() < position.unread) {
    const SegmentReader::Step step = reader.read(position.offset, position.last);
    if (step == SegmentReader::Step::kError) {
      error = reader.error();
      return Stop::kError;
    }
    if (step != SegmentReader::Step::kRecord) return Stop::kDamage;
    if (!batch.has_room_for(reader.record().bytes.size())) return Stop::kFull;
    batch.append(reader.record(), false, 0);
    const bool follows = !loaded_.empty() && reader.sequence() == position.last + 1;
    if (!follows) loaded_.push_back({reader.sequence(), 0});
    ++loaded_.back().count;
    position.last = reader.sequence();
    position.offset = reader.next_offset();
  }
  return Stop::kFull;
}

// False when the records had to give way while they were read: they are counted as lost then.
bool Spool::note_loaded(const Position& position) {
  const std::lock_guard lock(mutex_);
  SpoolSegment* segment = segment_at(position.segment);
  if (!segment || segment->is_gone) return false;
  in_flight_.insert(in_flight_.end(), loaded_.begin(), loaded_.end());
  uint64_t count = 0;
  for (const Run& run : loaded_) count += run.count;
  segment->last = position.last;
  segment->in_flight += count;
  segment->unread -= count;
  SpoolSegment::Range& range = segment->ranges.front();
  const uint64_t read = position.offset - range.begin;
  range.begin = position.offset;
  if (range.begin == range.end) segment->ranges.erase(segment->ranges.begin());
  unread_ -= count;
  unread_bytes_ -= read - count * spool::kFrameHeaderSize;
  return true;
}

// The file changed since it was last read through: finds out what is left of it.
uint64_t Spool::rescan(const Position& position) {
  const SegmentScan scan =
      scan_segment(*folder_, *reading_, position.offset, position.file_end, position.last, 0);
  if (scan.error != 0) return lose_segment(position);
  SpoolSegment done;
  uint64_t lost = 0;
  {
    const std::lock_guard lock(mutex_);
    SpoolSegment* segment = segment_at(position.segment);
    if (!segment || segment->is_gone) return 0;
    const uint64_t left = std::min(scan.records, position.unread);
    lost = position.unread - left;
    std::vector<SpoolSegment::Range> ranges = scan.ranges;
    if (left == 0) ranges.clear();
    // What was stored meanwhile stands behind.
    if (segment->size > position.file_end) ranges.push_back({position.file_end, segment->size});
    set_unread(*segment, segment->unread - lost, std::move(ranges));
    segment->is_damaged = true;
    if (!take_finished(done)) done.is_gone = true;
  }
  VEK_LOGE("%s '%s/%s' was damaged while it waited: %" PRIu64 " record(s) in it are lost",
           settings_.label.c_str(), folder().c_str(), position.name.c_str(), lost);
  retire(done);
  return lost;
}

uint64_t Spool::lose_segment(const Position& position) {
  SpoolSegment done;
  uint64_t lost = 0;
  {
    const std::lock_guard lock(mutex_);
    SpoolSegment* segment = segment_at(position.segment);
    if (!segment || segment->is_gone) return 0;
    if (writing_ && writing_first_ == position.segment) writing_.reset();
    lost = segment->unread;
    set_unread(*segment, 0, {});
    segment->is_damaged = true;
    if (!take_finished(done)) done.is_gone = true;
  }
  reading_.reset();
  VEK_LOGE("%s '%s/%s' cannot be read: %" PRIu64 " record(s) in it are lost",
           settings_.label.c_str(), folder().c_str(), position.name.c_str(), lost);
  retire(done);
  return lost;
}

// True when the file will never be readable: it is no longer there, or the disk fails again and
// again. Everything else (too many open files, no memory) passes.
bool Spool::give_reading_up(int error) noexcept {
  constexpr unsigned kTries = 3;
  const bool is_final = error == ENOENT || (error == EIO && ++read_failures_ >= kTries);
  if (is_final) {
    read_failures_ = 0;
  } else if (read_limit_.due_at_level(VEK_LOG_ERROR)) {
    VEK_LOGE("%s cannot read the spool '%s': %s", settings_.label.c_str(), folder().c_str(),
             std::strerror(error));
  }
  return is_final;
}

void Spool::settle(uint64_t count) noexcept {
  for (bool more = true; more;) {
    SpoolSegment done;
    uint64_t settled = 0;
    {
      const std::lock_guard lock(mutex_);
      for (SpoolSegment& segment : segments_) {
        const uint64_t here = std::min(segment.in_flight, count);
        segment.in_flight -= here;
        count -= here;
        uint64_t left = here;
        while (left > 0) {
          Run& run = in_flight_.front();
          const uint64_t part = std::min(run.count, left);
          run.first += part;
          run.count -= part;
          left -= part;
          settled = run.first - 1;
          if (run.count == 0) in_flight_.pop_front();
        }
      }
      more = take_finished(done);
    }
    if (settled > 0) write_cursor(settled);
    if (more) retire(done);
  }
}

uint64_t Spool::in_flight_gone() const noexcept {
  const std::lock_guard lock(mutex_);
  uint64_t count = 0;
  for (const SpoolSegment& segment : segments_) {
    if (segment.is_gone) count += segment.in_flight;
  }
  return count;
}

// Not synced: a cursor that is older than the truth costs repetitions only.
void Spool::write_cursor(uint64_t settled) noexcept {
  try {
    const std::string name(spool::kCursorName);
    if (!cursor_ && folder_->open_file(name, cursor_) != 0 && folder_->create(name, cursor_) != 0) {
      return;
    }
    if (folder_->write(*cursor_, 0, spool::make_cursor(settled)) != 0) cursor_.reset();
  } catch (const std::exception&) {
    cursor_.reset();
  }
}

}  // namespace vek::engine
