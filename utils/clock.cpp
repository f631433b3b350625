#include "utils/clock.h"

#include <ctime>

#include "utils/logger.h"

namespace vek {

uint64_t realtime_us() noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1'000'000 + static_cast<uint64_t>(now.tv_nsec) / 1000;
}

bool LogRateLimit::due_at_level(int priority) noexcept {
  return VEK_LOG_ENABLED(priority) && due(realtime_us());
}

}  // namespace vek
