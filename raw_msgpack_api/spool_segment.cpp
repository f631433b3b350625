#include "raw_msgpack_api/spool_segment.h"

#include <algorithm>

#include "raw_msgpack_api/spool_format.h"
#include "raw_msgpack_api/spool_reader.h"

namespace vek::engine {
namespace {

using Step = SegmentReader::Step;

class Scan {
 public:
  Scan(SegmentReader& reader, uint64_t offset, uint64_t sequence, uint64_t settled)
      : reader_(reader), offset_(offset), settled_(settled) {
    scan_.last = sequence;
    scan_.sound_end = offset;
  }

  SegmentScan run(uint64_t end) {
    for (;;) {
      const Step step = reader_.read(offset_, scan_.last);
      if (step == Step::kEnd) return std::move(scan_);
      if (step == Step::kError) {
        scan_.error = reader_.error();
        return std::move(scan_);
      }
      if (step == Step::kRecord) {
        take_record();
      } else if (step == Step::kRefused) {
        pass_refused();
      } else if (!pass_damage(step, end)) {
        return std::move(scan_);
      }
    }
  }

 private:
  void take_record() {
    const bool is_due = reader_.sequence() > settled_;
    const bool joins = !scan_.ranges.empty() && scan_.ranges.back().end == offset_;
    if (is_due && joins) {
      scan_.ranges.back().end = reader_.next_offset();
    } else if (is_due) {
      scan_.ranges.push_back({offset_, reader_.next_offset()});
    }
    if (is_due) ++scan_.records;
    step_over();
  }

  void pass_refused() {
    scan_.is_damaged = true;
    if (reader_.sequence() > settled_) {
      ++scan_.lost;
      ++scan_.refused;
    }
    step_over();
  }

  void step_over() {
    scan_.last = reader_.sequence();
    offset_ = reader_.next_offset();
    scan_.sound_end = offset_;
  }

  // False when nothing whole lies behind the damage.
  bool pass_damage(Step step, uint64_t end) {
    const auto next = reader_.find(offset_ + 1, scan_.last);
    if (reader_.error() != 0) {
      scan_.error = reader_.error();
      return false;
    }
    if (!next) {
      (step == Step::kTorn ? scan_.is_torn : scan_.is_damaged) = true;
      // How many there were, nobody can tell; at least the one that began here.
      if (step == Step::kDamaged && end > offset_) ++scan_.lost;
      return false;
    }
    scan_.is_damaged = true;
    const uint64_t before = std::max(scan_.last, settled_);
    reader_.read(*next, scan_.last);
    if (reader_.sequence() > before) {
      const uint64_t most = (*next - offset_) / (spool::kFrameHeaderSize + 1) + 1;
      scan_.lost += std::min(reader_.sequence() - before - 1, most);
    }
    offset_ = *next;
    return true;
  }

  SegmentReader& reader_;
  uint64_t offset_;
  const uint64_t settled_;
  SegmentScan scan_;
};

}  // namespace

SegmentScan scan_segment(const SpoolFolder& folder, const OpenFile& file, uint64_t offset,
                         uint64_t end, uint64_t sequence, uint64_t settled) {
  SegmentReader reader(folder, file, end);
  return Scan(reader, offset, sequence, settled).run(end);
}

}  // namespace vek::engine
