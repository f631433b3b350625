// SegmentFile: records of the spool in a file without a segment's header, and what is read of them.
#ifndef VEK_TESTS_RAW_MSGPACK_API_SEGMENT_FILE_H
#define VEK_TESTS_RAW_MSGPACK_API_SEGMENT_FILE_H

#include <memory>
#include <string>

#include "raw_msgpack_api/spool_format.h"
#include "raw_msgpack_api/spool_reader.h"
#include "raw_msgpack_api/spool_segment.h"
#include "tests/raw_msgpack_api/failing_ops.h"
#include "tests/raw_msgpack_api/spool_fixture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {

inline std::string text_of(engine::Bytes bytes) { return {bytes.begin(), bytes.end()}; }

inline std::string frame_of_record(uint64_t sequence) {
  const auto record = spool_record(sequence);
  return text_of(engine::spool::make_frame_header(sequence, record)) + text_of(record);
}

class SegmentFile {
 public:
  explicit SegmentFile(const std::string& bytes) : end_(bytes.size()) {
    dir_.write("records", bytes);
    folder_ = engine::SpoolFolder::open(dir_.path(), "[t]", ops);
    folder_->open_file("records", file_);
    ops.reads = 0;
  }
  engine::SegmentReader reader(uint64_t bytes_that_are_gone = 0) const {
    return {*folder_, *file_, end_ + bytes_that_are_gone};
  }
  engine::SegmentScan scan() const { return engine::scan_segment(*folder_, *file_, 0, end_, 0, 0); }
  // What a new reader makes of its first bytes, behind this number.
  engine::SegmentReader::Step first_step(uint64_t sequence) const {
    return reader().read(0, sequence);
  }

  FailingOps ops;

 private:
  TempDir dir_;
  uint64_t end_;
  std::unique_ptr<engine::SpoolFolder> folder_;
  engine::SharedFile file_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_RAW_MSGPACK_API_SEGMENT_FILE_H
