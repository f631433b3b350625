// Pacer: waits until a page is due when pages are sent at the pace of their recording.
#ifndef VEK_TOOLS_PACER_H
#define VEK_TOOLS_PACER_H

#include <chrono>
#include <cstdint>
#include <optional>

namespace vek::tools {

class Pacer {
 public:
  using Clock = std::chrono::steady_clock;
  // A longer gap is a clock that was set, not a pause: it is not waited for.
  static constexpr std::chrono::hours kLongestGap{1};

  // How long after the page before it a page is due. Pages without a time, and pages whose time
  // lies before the latest one so far (another source's), are due at once.
  Clock::duration gap_before(std::optional<uint64_t> time_us);

  // Sleeps; false when a signal asked to stop.
  bool wait_for(std::optional<uint64_t> time_us);
  // Another round over the same pages begins.
  void restart() { latest_us_.reset(); }

 private:
  std::optional<uint64_t> latest_us_;
  std::optional<Clock::time_point> due_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_PACER_H
