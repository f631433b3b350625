#include "raw_msgpack_api/spool_recovery.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "raw_msgpack_api/spool_format.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

using spool::HeaderStatus;
using spool::kSegmentHeaderSize;

bool is_known_name(std::string_view name) {
  return name == spool::kLockName || name == spool::kCursorName ||
         name.find(spool::kDamagedSuffix) != std::string_view::npos ||
         name.find(spool::kUnknownSuffix) != std::string_view::npos;
}

class Recovery {
 public:
  Recovery(const SpoolFolder& folder, const std::string& label, RecoveredSpool& out)
      : folder_(folder), label_(label), out_(out) {}

  bool run() {
    std::vector<SpoolFolder::Entry> entries;
    if (const int error = folder_.list(entries); error != 0) return fail("", error);
    read_cursor();
    out_.next_sequence = out_.settled + 1;
    for (const SpoolFolder::Entry& entry : entries) {
      if (!examine(entry)) return false;
    }
    warn_of_strangers();
    return true;
  }

 private:
  // A cursor that is missing or damaged costs repetitions, not records.
  void read_cursor() {
    SharedFile file;
    std::array<uint8_t, spool::kCursorSize + 1> bytes;
    size_t count = 0;
    if (folder_.open_file(std::string(spool::kCursorName), file) != 0) return;
    if (folder_.read(*file, 0, bytes, count) != 0) return;
    if (const auto settled = spool::read_cursor(Bytes(bytes).first(count))) {
      out_.settled = *settled;
    } else {
      VEK_LOGW("%s the cursor in '%s' is damaged; records may be sent a second time",
               label_.c_str(), folder_.path().c_str());
    }
  }

  bool examine(const SpoolFolder::Entry& entry) {
    const auto first = spool::first_of(entry.name);
    if (first) out_.next_sequence = std::max(out_.next_sequence, *first + 1);
    if (!first || !entry.is_file) {
      if (!entry.is_file || !is_known_name(entry.name)) add_stranger(entry.name);
      return true;
    }
    SharedFile file;
    const int error = folder_.open_file(entry.name, file);
    if (error != 0) return fail(entry.name, error);
    SpoolSegment segment;
    segment.first = *first;
    segment.name = entry.name;
    segment.size = entry.size;
    return examine_segment(std::move(segment), *file);
  }

  bool examine_segment(SpoolSegment segment, const OpenFile& file) {
    std::array<uint8_t, kSegmentHeaderSize> header;
    size_t count = 0;
    if (const int error = folder_.read(file, 0, header, count); error != 0) {
      return fail(segment.name, error);
    }
    if (was_never_begun(Bytes(header).first(count), segment.first)) {
      remove(segment.name);
      return true;
    }
    const HeaderStatus status =
        spool::check_segment_header(Bytes(header).first(count), segment.first);
    if (status == HeaderStatus::kOtherVersion) {
      set_segment_aside(folder_, label_, segment.name, spool::kUnknownSuffix,
                        "it was written by another version");
      return true;
    }
    segment.is_damaged = status == HeaderStatus::kDamaged;
    const uint64_t begin = std::min<uint64_t>(kSegmentHeaderSize, segment.size);
    const uint64_t before = std::max<uint64_t>(segment.first, 1) - 1;
    const SegmentScan scan = scan_segment(folder_, file, begin, segment.size, before, out_.settled);
    if (scan.error != 0) return fail(segment.name, scan.error);
    segment.is_damaged |= scan.is_damaged;
    if (scan.is_torn && !segment.is_damaged) cut_tail(segment, file, scan.sound_end);
    keep(std::move(segment), scan);
    return true;
  }

  // The beginning of a header, or zeros in its place: the system went down while it was written.
  static bool was_never_begun(Bytes bytes, uint64_t first) {
    if (bytes.size() == kSegmentHeaderSize) return false;
    const spool::SegmentHeader whole = spool::make_segment_header(first);
    return std::equal(bytes.begin(), bytes.end(), whole.begin()) ||
           std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte == 0; });
  }

  void cut_tail(SpoolSegment& segment, const OpenFile& file, uint64_t sound_end) {
    VEK_LOGW("%s '%s/%s' ends inside a record; its last %" PRIu64 " bytes are cut off",
             label_.c_str(), folder_.path().c_str(), segment.name.c_str(),
             segment.size - sound_end);
    if (folder_.truncate(file, sound_end) == 0) segment.size = sound_end;
  }

  void keep(SpoolSegment segment, const SegmentScan& scan) {
    out_.lost += scan.lost;
    out_.records += scan.records;
    out_.next_sequence = std::max(out_.next_sequence, scan.last + 1);
    if (segment.is_damaged) {
      VEK_LOGE("%s '%s/%s' is damaged: %" PRIu64 " record(s) in it are lost, %" PRIu64
               " are sent before it is set aside",
               label_.c_str(), folder_.path().c_str(), segment.name.c_str(), scan.lost,
               scan.records);
    }
    if (scan.records == 0) {
      if (segment.is_damaged) {
        set_segment_aside(folder_, label_, segment.name, spool::kDamagedSuffix, "it is damaged");
      } else {
        remove(segment.name);
      }
      return;
    }
    segment.ranges = scan.ranges;
    segment.unread = scan.records;
    segment.last = std::max<uint64_t>(segment.first, 1) - 1;
    out_.segments.push_back(std::move(segment));
  }

  void remove(const std::string& name) {
    if (const int error = folder_.remove(name); error != 0 && error != ENOENT) {
      VEK_LOGW("%s cannot remove '%s/%s': %s", label_.c_str(), folder_.path().c_str(), name.c_str(),
               std::strerror(error));
    }
  }

  void add_stranger(const std::string& name) {
    constexpr size_t kNamed = 5;
    if (++strangers_ > kNamed) return;
    if (!stranger_names_.empty()) stranger_names_ += ", ";
    stranger_names_ += '\'' + name + '\'';
  }

  void warn_of_strangers() const {
    if (strangers_ == 0) return;
    VEK_LOGW("%s %zu file(s) in '%s' are none of the spool's and left alone: %s", label_.c_str(),
             strangers_, folder_.path().c_str(), stranger_names_.c_str());
  }

  bool fail(const std::string& name, int error) const {
    VEK_LOGE("%s cannot read '%s/%s': %s", label_.c_str(), folder_.path().c_str(), name.c_str(),
             std::strerror(error));
    return false;
  }

  const SpoolFolder& folder_;
  const std::string& label_;
  RecoveredSpool& out_;
  size_t strangers_ = 0;
  std::string stranger_names_;
};

}  // namespace

bool recover_spool(const SpoolFolder& folder, const std::string& label, RecoveredSpool& out) {
  return Recovery(folder, label, out).run();
}

void set_segment_aside(const SpoolFolder& folder, const std::string& label, const std::string& name,
                       std::string_view suffix, const char* why) {
  std::string new_name;
  if (const int error = folder.set_aside(name, suffix, new_name); error != 0) {
    VEK_LOGW("%s cannot set '%s/%s' aside: %s", label.c_str(), folder.path().c_str(), name.c_str(),
             std::strerror(error));
    return;
  }
  VEK_LOGW("%s '%s/%s' is set aside as '%s': %s", label.c_str(), folder.path().c_str(),
           name.c_str(), new_name.c_str(), why);
}

}  // namespace vek::engine
