// Pacer: waits until a page is due: at once, by the pages' own times, or at a steady rate.
#ifndef VEK_TOOLS_REPLAY_PACER_H
#define VEK_TOOLS_REPLAY_PACER_H

#include <chrono>
#include <cstdint>
#include <optional>

namespace vek::tools {

struct Pace {
  double speed = 0;  // times as fast as recorded; 0: not by the pages' times
  double rate = 0;   // pages a second; 0: no such rule

  bool is_max() const { return speed == 0 && rate == 0; }
};

class Pacer {
 public:
  using Clock = std::chrono::steady_clock;
  // A longer recorded gap is a clock that was set, not a pause: it is not waited for.
  static constexpr std::chrono::hours kLongestGap{1};

  explicit Pacer(const Pace& pace) : pace_(pace) {}

  // How long after the page before it a page is due. By recorded times, pages without a time, and
  // pages whose time lies before the latest one so far (another source's), are due at once.
  Clock::duration gap_before(std::optional<uint64_t> time_us);

  // Sleeps; false when a signal asked to stop.
  bool wait_for(std::optional<uint64_t> time_us);
  // Another round over the same pages begins.
  void restart() { latest_us_.reset(); }

 private:
  Clock::duration recorded_gap(std::optional<uint64_t> time_us);

  Pace pace_;
  std::optional<uint64_t> latest_us_;
  std::optional<Clock::time_point> due_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_PACER_H
