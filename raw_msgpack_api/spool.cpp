#include "raw_msgpack_api/spool.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <exception>
#include <utility>

#include "raw_msgpack_api/spool_format.h"
#include "utils/logger.h"
#include "utils/release_memory.h"

namespace vek::engine {
namespace {

constexpr uint64_t kLargestSegment = 16'000'000;
constexpr uint64_t kSegmentsToALimit = 8;  // so that little goes at once when the spool is full
constexpr std::chrono::seconds kPeaceAfterFailure{1};

uint64_t segment_limit(uint64_t spool_limit) {
  return std::min(spool_limit / kSegmentsToALimit, kLargestSegment);
}

uint64_t unread_bytes_of(const SpoolSegment& segment) {
  uint64_t bytes = 0;
  for (const SpoolSegment::Range& range : segment.ranges) bytes += range.end - range.begin;
  return bytes - std::min(bytes, segment.unread * spool::kFrameHeaderSize);
}

}  // namespace

std::unique_ptr<Spool> Spool::open(SpoolSettings settings, FileOps& ops) {
  auto folder = SpoolFolder::open(settings.folder, settings.label, ops);
  if (!folder) return nullptr;
  RecoveredSpool recovered;
  if (!recover_spool(*folder, settings.label, recovered)) return nullptr;
  if (recovered.records > 0) {
    VEK_LOGW("%s %" PRIu64 " record(s) of a former run wait in '%s' and are sent first",
             settings.label.c_str(), recovered.records, folder->path().c_str());
  }
  return std::unique_ptr<Spool>(
      new Spool(std::move(settings), std::move(folder), std::move(recovered)));
}

Spool::Spool(SpoolSettings settings, std::unique_ptr<SpoolFolder> folder, RecoveredSpool recovered)
    : settings_(std::move(settings)),
      folder_(std::move(folder)),
      lost_at_open_(recovered.lost),
      next_sequence_(recovered.next_sequence),
      segments_(std::move(recovered.segments)) {
  for (const SpoolSegment& segment : segments_) {
    disk_bytes_ += segment.size;
    unread_ += segment.unread;
    unread_bytes_ += unread_bytes_of(segment);
  }
}

Spool::~Spool() {
  {
    const std::lock_guard lock(mutex_);
    end_segment();
  }
  if (cursor_ && settings_.syncs) folder_->sync(*cursor_);
  sync();
}

bool Spool::is_ready() const noexcept {
  const std::lock_guard lock(mutex_);
  return Clock::now() >= retry_at_;
}

Spool::StoreResult Spool::store(uint64_t sequence, const RecordView& record, bool mended,
                                uint64_t pairs) noexcept {
  const std::lock_guard lock(mutex_);
  try {
    return store_locked(sequence, record, mended, pairs);
  } catch (const std::exception&) {  // no memory
    return {};
  }
}

Spool::StoreResult Spool::store_locked(uint64_t sequence, const RecordView& record, bool mended,
                                       uint64_t pairs) {
  using spool::kFrameHeaderSize;
  using spool::kSegmentHeaderSize;
  StoreResult result;
  const uint64_t most = kSegmentHeaderSize + kFrameHeaderSize + uint64_t{record.bytes.size()};
  if (record.bytes.size() > spool::kMaxRecordSize || most > settings_.limit) {
    result.outcome = Outcome::kTooLarge;
    return result;
  }
  if (Clock::now() < retry_at_) return result;
  make_frame(sequence, record, mended, pairs);
  result.given_up = make_room(most);
  if (writing_) {
    const uint64_t size = segment_at(writing_first_)->size;
    const bool is_full = size + frame_.size() > segment_limit(settings_.limit);
    if (is_full || sequence != last_stored_ + 1) end_segment();
  }
  int error = writing_ ? 0 : begin_segment(sequence);
  if (error == 0) error = write_frame();
  if (error == 0) {
    last_stored_ = sequence;
    result.outcome = Outcome::kStored;
    return result;
  }
  retry_at_ = Clock::now() + kPeaceAfterFailure;
  if (write_limit_.due_at_level(VEK_LOG_ERROR)) {
    VEK_LOGE("%s cannot write to the spool '%s': %s", settings_.label.c_str(), folder().c_str(),
             std::strerror(error));
  }
  return result;
}

void Spool::make_frame(uint64_t sequence, const RecordView& record, bool mended, uint64_t pairs) {
  constexpr size_t kKeptCapacity = 1'000'000;  // one huge record must not keep its memory for ever
  if (frame_.capacity() > kKeptCapacity) release_memory(frame_);
  frame_.resize(spool::kFrameHeaderSize);
  frame_.insert(frame_.end(), record.bytes.begin(), record.bytes.end());
  const auto copy = std::span(frame_).subspan(spool::kFrameHeaderSize);
  if (mended) set_map_count(copy.subspan(record.body_offset), pairs);
  const spool::FrameHeader header = spool::make_frame_header(sequence, copy);
  std::copy(header.begin(), header.end(), frame_.begin());
}

// Lets the oldest segments go until `bytes` more fit; answers how many records that cost.
uint64_t Spool::make_room(uint64_t bytes) {
  uint64_t given_up = 0;
  while (bytes > settings_.limit - std::min(disk_bytes_, settings_.limit)) {
    const auto oldest = std::find_if(segments_.begin(), segments_.end(),
                                     [](const SpoolSegment& s) { return !s.is_gone; });
    if (oldest == segments_.end()) break;
    given_up += drop_oldest(*oldest);
    if (oldest->in_flight == 0) segments_.erase(oldest);
  }
  return given_up;
}

// What is in flight goes on in memory; what was not read yet is lost.
uint64_t Spool::drop_oldest(SpoolSegment& segment) {
  const uint64_t given_up = segment.unread;
  set_unread(segment, 0, {});
  if (writing_ && writing_first_ == segment.first) writing_.reset();
  retire(segment);
  disk_bytes_ -= segment.size;
  segment.is_gone = true;
  return given_up;
}

int Spool::begin_segment(uint64_t sequence) {
  SpoolSegment segment;
  segment.first = sequence;
  segment.name = spool::segment_name(sequence);
  segment.size = spool::kSegmentHeaderSize;
  segment.last = sequence - 1;
  const auto behind = std::find_if(segments_.begin(), segments_.end(),
                                   [&](const SpoolSegment& s) { return s.first > sequence; });
  const auto place = segments_.insert(behind, std::move(segment));
  SharedFile file;
  int error = folder_->create(place->name, file);
  if (error == 0) {
    error = folder_->write(*file, 0, spool::make_segment_header(sequence));
    if (error != 0) folder_->remove(place->name);
  }
  if (error != 0) {
    segments_.erase(place);
    return error;
  }
  disk_bytes_ += place->size;
  folder_is_unsynced_ = true;
  writing_ = std::move(file);
  writing_first_ = sequence;
  last_stored_ = sequence - 1;
  return 0;
}

int Spool::write_frame() {
  SpoolSegment& segment = *segment_at(writing_first_);
  // Everything that needs memory comes before the write.
  segment.ranges.reserve(segment.ranges.size() + 1);
  if (settings_.syncs && (unsynced_.empty() || unsynced_.back() != writing_)) {
    unsynced_.push_back(writing_);
  }
  const uint64_t begin = segment.size;
  if (const int error = folder_->write(*writing_, begin, frame_); error != 0) {
    // A beginning without an end would make the next record unreadable.
    if (folder_->truncate(*writing_, begin) != 0) end_segment();
    return error;
  }
  segment.size += frame_.size();
  disk_bytes_ += frame_.size();
  if (segment.ranges.empty() || segment.ranges.back().end != begin) {
    segment.ranges.push_back({begin, segment.size, 0});
  } else {
    segment.ranges.back().end = segment.size;
  }
  ++segment.unread;
  ++unread_;
  unread_bytes_ += frame_.size() - spool::kFrameHeaderSize;
  return 0;
}

void Spool::end_segment() noexcept {
  writing_.reset();
  SpoolSegment done;
  while (take_finished(done)) retire(done);
}

bool Spool::sync() noexcept {
  std::vector<SharedFile> files;
  bool folder_too = false;
  {
    const std::lock_guard lock(mutex_);
    if (!settings_.syncs) return true;
    files.swap(unsynced_);
    folder_too = std::exchange(folder_is_unsynced_, false);
  }
  if (sync_files(files, folder_too)) return true;
  // The system forgets what it could not write, so nothing more is put behind it.
  const std::lock_guard lock(mutex_);
  end_segment();
  return false;
}

bool Spool::sync_files(const std::vector<SharedFile>& files, bool folder_too) noexcept {
  int error = 0;
  for (const SharedFile& file : files) {
    if (const int failed = folder_->sync(*file); failed != 0) error = failed;
  }
  if (folder_too) {
    if (const int failed = folder_->sync_folder(); failed != 0) error = failed;
  }
  if (error != 0 && sync_limit_.due_at_level(VEK_LOG_ERROR)) {
    VEK_LOGE(
        "%s cannot sync the spool '%s', what was just stored may not survive a loss of power: %s",
        settings_.label.c_str(), folder().c_str(), std::strerror(error));
  }
  return error == 0;
}

// One step each, as both are read without the lock.
void Spool::set_unread(SpoolSegment& segment, uint64_t records,
                       std::vector<SpoolSegment::Range> ranges) {
  const uint64_t records_before = segment.unread;
  const uint64_t bytes_before = unread_bytes_of(segment);
  segment.unread = records;
  segment.ranges = std::move(ranges);
  unread_ += records - records_before;
  unread_bytes_ += unread_bytes_of(segment) - bytes_before;
}

SpoolSegment* Spool::segment_at(uint64_t first) {
  for (SpoolSegment& segment : segments_) {
    if (segment.first == first) return &segment;
  }
  return nullptr;
}

// Takes a segment out whose records are all settled and that gets no more.
bool Spool::take_finished(SpoolSegment& out) {
  for (auto it = segments_.begin(); it != segments_.end(); ++it) {
    const bool is_written = writing_ && writing_first_ == it->first;
    if (is_written || it->unread > 0 || it->in_flight > 0) continue;
    out = std::move(*it);
    segments_.erase(it);
    if (!out.is_gone) disk_bytes_ -= out.size;
    return true;
  }
  return false;
}

// Never stops anything: a file that stays is met again, and passed over, at the next start.
void Spool::retire(const SpoolSegment& segment) const noexcept {
  if (segment.is_gone) return;
  try {
    if (segment.is_damaged) {
      set_segment_aside(*folder_, settings_.label, segment.name, spool::kDamagedSuffix,
                        "its sound records have served");
    } else if (const int error = folder_->remove(segment.name); error != 0) {
      VEK_LOGD("%s cannot remove '%s/%s': %s", settings_.label.c_str(), folder().c_str(),
               segment.name.c_str(), std::strerror(error));
    }
  } catch (const std::exception& error) {
    VEK_LOGD("%s %s", settings_.label.c_str(), error.what());
  }
}

}  // namespace vek::engine
