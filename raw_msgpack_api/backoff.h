// Backoff: how long to wait before the next attempt: a random time up to a bound that doubles with
// every failure, so that many senders do not come back all at once.
#ifndef VEK_RAW_MSGPACK_API_BACKOFF_H
#define VEK_RAW_MSGPACK_API_BACKOFF_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>

namespace vek::engine {

class Backoff {
 public:
  using Duration = std::chrono::milliseconds;

  Backoff(Duration base, Duration cap, uint32_t seed)
      : base_(std::min(base, cap)), cap_(cap), bound_(base_), random_(seed) {}

  // Of the delay after one more failure.
  Duration next() {
    std::uniform_int_distribution<Duration::rep> any(0, bound_.count());
    bound_ = std::min(bound_ * 2, cap_);
    return Duration(any(random_));
  }
  void reset() { bound_ = base_; }

 private:
  Duration base_;
  Duration cap_;
  Duration bound_;
  std::minstd_rand random_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_BACKOFF_H
