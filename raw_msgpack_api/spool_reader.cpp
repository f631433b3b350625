#include "raw_msgpack_api/spool_reader.h"

#include <algorithm>
#include <cerrno>

#include "raw_msgpack_api/spool_format.h"
#include "utils/release_memory.h"

namespace vek::engine {
namespace {

using spool::kFrameHeaderSize;

constexpr uint64_t kWindowSize = 131'072;
// Numbers of one file lie close together; what claims to be further away is no record of it.
constexpr uint64_t kFarthest = uint64_t{1} << 32;

bool is_plausible(const spool::Frame& frame, uint64_t sequence) {
  return frame.size > 0 && frame.size <= spool::kMaxRecordSize && frame.sequence > sequence &&
         frame.sequence - sequence <= kFarthest && frame.sequence <= spool::kMaxSequence;
}

// The record, when these bytes are exactly one that needs no mending.
bool walk_one(Bytes bytes, RecordView& out) {
  RecordWalk walk(bytes);
  if (walk.next() != RecordWalk::Step::kRecord || walk.mended()) return false;
  out = walk.record();
  return out.bytes.size() == bytes.size();
}

}  // namespace

// Brings [offset, offset + size) into the window; false when it reaches past the end or cannot be
// read.
bool SegmentReader::window(uint64_t offset, uint64_t size) {
  if (offset > end_ || size > end_ - offset) return false;
  const uint64_t window_end = window_offset_ + window_.size();
  if (offset >= window_offset_ && offset + size <= window_end) return true;
  const uint64_t wanted = std::min(std::max(size, kWindowSize), end_ - offset);
  if (wanted <= kWindowSize && window_.capacity() > kWindowSize) release_memory(window_);
  window_.resize(wanted);
  window_offset_ = offset;
  size_t count = 0;
  error_ = folder_.read(file_, offset, window_, count);
  window_.resize(count);
  if (error_ == 0 && count < size) error_ = EIO;  // shorter than it was
  return error_ == 0;
}

SegmentReader::Step SegmentReader::read(uint64_t offset, uint64_t sequence) {
  error_ = 0;
  if (offset >= end_) return Step::kEnd;
  if (!window(offset, kFrameHeaderSize)) {
    return error_ != 0 ? Step::kError : Step::kTorn;
  }
  const spool::Frame frame = spool::read_frame_header(at(offset));
  if (!is_plausible(frame, sequence)) return classify_tail(offset, sequence);
  const uint64_t whole = kFrameHeaderSize + uint64_t{frame.size};
  if (!window(offset, whole)) return error_ != 0 ? Step::kError : Step::kTorn;
  if (!spool::sum_is_right(at(offset), frame.size)) return classify_tail(offset, sequence);
  sequence_ = frame.sequence;
  next_offset_ = offset + whole;
  return walk_one({at(offset) + kFrameHeaderSize, frame.size}, record_) ? Step::kRecord
                                                                        : Step::kRefused;
}

// A write that was cut short leaves a header whose record is not all there, or, where the system
// went down with it, zeros instead of bytes. Anything else is damage.
SegmentReader::Step SegmentReader::classify_tail(uint64_t offset, uint64_t sequence) {
  const spool::Frame frame = spool::read_frame_header(at(offset));
  const bool ends_the_file = offset + kFrameHeaderSize + frame.size == end_;
  if (is_plausible(frame, sequence) && ends_the_file) return Step::kTorn;
  const bool zeros = only_zeros(offset);
  if (error_ != 0) return Step::kError;
  return zeros ? Step::kTorn : Step::kDamaged;
}

bool SegmentReader::only_zeros(uint64_t offset) {
  while (offset < end_) {
    const uint64_t size = std::min<uint64_t>(kWindowSize, end_ - offset);
    if (!window(offset, size)) return false;
    if (std::any_of(at(offset), at(offset) + size, [](uint8_t byte) { return byte != 0; })) {
      return false;
    }
    offset += size;
  }
  return true;
}

std::optional<uint64_t> SegmentReader::find(uint64_t offset, uint64_t sequence) {
  error_ = 0;
  for (; window(offset, kFrameHeaderSize); ++offset) {
    const spool::Frame frame = spool::read_frame_header(at(offset));
    const uint64_t whole = kFrameHeaderSize + uint64_t{frame.size};
    if (!is_plausible(frame, sequence) || whole > end_ - offset) continue;
    if (whole > search_left_) return std::nullopt;
    search_left_ -= whole;
    if (!window(offset, whole)) return std::nullopt;
    if (spool::sum_is_right(at(offset), frame.size)) return offset;
  }
  return std::nullopt;
}

}  // namespace vek::engine
