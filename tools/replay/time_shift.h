// TimeShift: moves the times of recorded pages, so that the first one of a run is as of now.
//
// The times of counters and events blocks move; what lies inside events (a time in a dictionary, a
// field that is one) stays as it was recorded.
#ifndef VEK_TOOLS_REPLAY_TIME_SHIFT_H
#define VEK_TOOLS_REPLAY_TIME_SHIFT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vek::tools {

class TimeShift {
 public:
  // Moves the 64-bit times at these places of the image; `first_us` is the page's own time and
  // `now_us` what the run's first one becomes.
  void apply(std::span<uint8_t> image, const std::vector<size_t>& places,
             std::optional<uint64_t> first_us, uint64_t now_us);
  // Another round over the same pages begins.
  void restart() { distance_us_.reset(); }

 private:
  std::optional<uint64_t> distance_us_;  // modulo 2^64: the past is a large distance
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_TIME_SHIFT_H
