// SegmentReader: the records of one segment file, each proven before it is handed out: its checksum
// is right, its number is greater than the one before, and RecordWalk takes it. What lies on the
// disk is believed no more than what comes from outside.
//
// Reads through a window of moderate size; only a record that is larger widens it.
#ifndef VEK_RAW_MSGPACK_API_SPOOL_READER_H
#define VEK_RAW_MSGPACK_API_SPOOL_READER_H

#include <cstdint>
#include <optional>
#include <vector>

#include "raw_msgpack_api/record_walk.h"
#include "raw_msgpack_api/spool_folder.h"

namespace vek::engine {

class SegmentReader {
 public:
  enum class Step : uint8_t {
    kRecord,
    kRefused,  // whole and undamaged, but no record of ours
    kTorn,     // the file ends inside it, as a write that was cut short leaves it
    kDamaged,
    kEnd,
    kError  // error() is the errno
  };

  // `end` is where the file's bytes end. The file must outlive the reader.
  SegmentReader(const SpoolFolder& folder, const OpenFile& file, uint64_t end)
      : folder_(folder), file_(file), end_(end), search_left_(4 * end) {}

  // What begins at `offset`, if its number is above `sequence`. kRecord and kRefused fill the
  // members below; the record's bytes are borrowed until the next call.
  Step read(uint64_t offset, uint64_t sequence);
  // The next offset from `offset` on at which read() would find something whole; none when there is
  // nothing (or the search became too long: files made to be searched for ever end it).
  std::optional<uint64_t> find(uint64_t offset, uint64_t sequence);

  const RecordView& record() const { return record_; }
  uint64_t sequence() const { return sequence_; }
  uint64_t next_offset() const { return next_offset_; }
  int error() const { return error_; }

 private:
  bool window(uint64_t offset, uint64_t size);
  const uint8_t* at(uint64_t offset) const { return &window_[offset - window_offset_]; }
  Step classify_tail(uint64_t offset, uint64_t sequence);
  bool only_zeros(uint64_t offset);

  const SpoolFolder& folder_;
  const OpenFile& file_;
  const uint64_t end_;
  uint64_t search_left_;  // bytes that find() may still sum up
  std::vector<uint8_t> window_;
  uint64_t window_offset_ = 0;
  RecordView record_;
  uint64_t sequence_ = 0;
  uint64_t next_offset_ = 0;
  int error_ = 0;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SPOOL_READER_H
