// PageRecorder: pages into files of a directory, a new one when the last is large or old enough.
//
// A file is written under a name that begins with a dot and gets its own when it is whole, so that
// whoever takes files away never sees half a one. Names are "NAME-000001-20260101T000000Z.bin":
// they sort in the order of recording, whatever the clock does. Files belong to their owner alone
// and are never written through a symbolic link. Only whole pages stand in them: what a full disk
// cuts is cut off. A recorder that was killed leaves its last file; the next one gives it its name.
#ifndef VEK_TOOLS_RECORD_PAGE_RECORDER_H
#define VEK_TOOLS_RECORD_PAGE_RECORDER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "data/byte_reader.h"

namespace vek::tools {

struct RecordingLimits {
  uint64_t file_bytes = uint64_t{64} << 20;  // a larger page gets a file of its own
  uint64_t file_age_us = uint64_t{3600} * 1'000'000;
  uint64_t keep = 16;  // finished files, the newest; 0: all
};

struct RecordedFile {
  std::string path;
  uint64_t pages = 0;
  uint64_t bytes = 0;
  const char* reason = "";  // "size", "time", "end", "left behind"
};

class PageRecorder {
 public:
  using OnFile = std::function<void(const RecordedFile&)>;

  PageRecorder(std::string dir, std::string name, const RecordingLimits& limits, OnFile on_file);
  ~PageRecorder();
  PageRecorder(const PageRecorder&) = delete;
  PageRecorder& operator=(const PageRecorder&) = delete;

  // Makes the directory where there is none, takes its lock, and finishes what was left behind.
  // False with problem() set.
  bool open();
  // False, with problem() set, when the page could not be written.
  bool add(Bytes image, uint64_t now_us);
  // Ends a file that is old enough. Call it now and then.
  void tick(uint64_t now_us);
  // Ends the file at hand.
  void finish();

  uint64_t pages() const { return pages_; }
  uint64_t bytes() const { return bytes_; }
  uint64_t files() const { return files_; }
  uint64_t removed_files() const { return removed_; }
  uint64_t lost_pages() const { return lost_pages_; }
  const std::string& problem() const { return problem_; }

 private:
  bool lock();
  void take_up_what_was_left();
  bool begin_file(uint64_t now_us);
  void end_file(const char* reason);
  void give_name(const std::string& part, RecordedFile file);
  void remove_old_files();
  bool fail(const std::string& path, const char* what);
  // The names of finished files, or of unfinished ones, in their order.
  std::vector<std::string> list(bool finished) const;

  std::string dir_;
  std::string name_;
  RecordingLimits limits_;
  OnFile on_file_;
  std::string problem_;
  int dir_fd_ = -1;
  int lock_fd_ = -1;
  int fd_ = -1;
  std::string part_;       // the name of the file at hand
  uint64_t sequence_ = 0;  // of the last file
  uint64_t begun_us_ = 0;
  RecordedFile file_;
  uint64_t pages_ = 0;
  uint64_t bytes_ = 0;
  uint64_t files_ = 0;
  uint64_t removed_ = 0;
  uint64_t lost_pages_ = 0;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_RECORD_PAGE_RECORDER_H
