#include "tools/pacer.h"

#include <ctime>

#include "tools/signals.h"

namespace vek::tools {

Pacer::Clock::duration Pacer::gap_before(std::optional<uint64_t> time_us) {
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
  // Counted from when the page before it was due, not from when it was sent: the time that sending
  // takes must not stretch the recording.
  due_ = due_.value_or(Clock::now()) + gap_before(time_us);
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
