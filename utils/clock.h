// Real-time clock in microseconds, and the "once per ten seconds" rule for repeated messages.
#ifndef VEK_UTILS_CLOCK_H
#define VEK_UTILS_CLOCK_H

#include <cstdint>

namespace vek {

// Microseconds since the Unix epoch (seconds * 1000000 + nanoseconds / 1000).
uint64_t realtime_us() noexcept;

// Lets a message through when at least ten seconds have passed since it was last let through.
// Unsynchronised on purpose where callers keep one per process: a lost race repeats a line.
class LogRateLimit {
 public:
  static constexpr uint64_t kIntervalUs = 10'000'000;

  // True when the message is due; remembers the time only then. A clock that went backwards
  // counts as due.
  bool due(uint64_t now_us) noexcept {
    if (now_us - last_us_ < kIntervalUs) return false;
    last_us_ = now_us;
    return true;
  }

  // Reads the clock only when a message of this priority would be emitted at all.
  bool due_at_level(int priority) noexcept;

 private:
  uint64_t last_us_ = 0;
};

}  // namespace vek

#endif  // VEK_UTILS_CLOCK_H
