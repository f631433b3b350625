// StopSignal: tells a destination's thread until when it may go on. Unset while the context lives;
// "finalize" sets the moment at which its grace ends.
#ifndef VEK_RAW_MSGPACK_API_STOP_SIGNAL_H
#define VEK_RAW_MSGPACK_API_STOP_SIGNAL_H

#include <atomic>
#include <chrono>
#include <cstdint>

namespace vek::engine {

using Clock = std::chrono::steady_clock;

class StopSignal {
 public:
  void set_deadline(Clock::time_point deadline) noexcept {
    deadline_.store(deadline.time_since_epoch().count(), std::memory_order_relaxed);
  }
  bool is_set() const noexcept { return deadline_.load(std::memory_order_relaxed) != kUnset; }
  // The latest moment there is while it is unset.
  Clock::time_point deadline() const noexcept {
    return Clock::time_point(Clock::duration(deadline_.load(std::memory_order_relaxed)));
  }
  // True once the grace is over.
  bool expired() const noexcept {
    const auto deadline = deadline_.load(std::memory_order_relaxed);
    return deadline != kUnset && Clock::now().time_since_epoch().count() >= deadline;
  }

 private:
  static constexpr Clock::rep kUnset = INT64_MAX;
  std::atomic<Clock::rep> deadline_{kUnset};
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_STOP_SIGNAL_H
