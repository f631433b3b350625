// Progress of a run over page files: a bar on the status line, redrawn at most ten times a second.
//
// Nothing is drawn where standard error is no terminal, and nothing stays behind.
#ifndef VEK_TOOLS_BASE_PROGRESS_H
#define VEK_TOOLS_BASE_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace vek::tools {

class Progress {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kInterval{100};

  // `total_bytes` 0 means that the end is not known: a counter is drawn instead of a bar.
  explicit Progress(uint64_t total_bytes);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void update(uint64_t pages, uint64_t bytes);
  void finish();

 private:
  bool enabled_;
  uint64_t total_bytes_;
  Clock::time_point start_;
  Clock::time_point next_draw_;
};

// The text of the status line; `seconds` since the start.
std::string progress_text(uint64_t pages, uint64_t bytes, uint64_t total_bytes, double seconds);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_PROGRESS_H
