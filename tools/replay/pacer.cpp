#include "tools/replay/pacer.h"

#include <ctime>

#include "tools/base/signals.h"

namespace vek::tools {

Pacer::Clock::duration Pacer::gap_before(std::optional<uint64_t> time_us) {
  if (pace_.rate > 0) {
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(1.0 / pace_.rate));
  }
  if (pace_.speed <= 0) return {};
  return std::chrono::duration_cast<Clock::duration>(recorded_gap(time_us) / pace_.speed);
}

Pacer::Clock::duration Pacer::recorded_gap(std::optional<uint64_t> time_us) {
  if (!time_us) return {};
  const std::optional<uint64_t> latest = latest_us_;
  if (latest && *time_us <= *latest) return {};
  latest_us_ = time_us;
  if (!latest) return {};
  constexpr uint64_t kLongestUs = std::chrono::microseconds(kLongestGap).count();
  const uint64_t gap_us = *time_us - *latest;
  return gap_us > kLongestUs ? Clock::duration{} : std::chrono::microseconds(gap_us);
}

bool Pacer::wait_for(std::optional<uint64_t> time_us) {
  if (pace_.is_max()) return !stop_requested();
  // Counted from when the page before it was due, not from when it was sent: the time that sending
  // takes must not stretch the recording.
  const Clock::duration gap = gap_before(time_us);
  due_ = due_ ? *due_ + gap : Clock::now();
  while (!stop_requested()) {
    const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(*due_ - Clock::now());
    if (left.count() <= 0) return true;
    timespec span{};
    span.tv_sec = left.count() / 1'000'000'000;
    span.tv_nsec = left.count() % 1'000'000'000;
    nanosleep(&span, nullptr);  // a signal ends it early, and the loop looks again
  }
  return false;
}

}  // namespace vek::tools
