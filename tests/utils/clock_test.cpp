#include "utils/clock.h"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/support/log_capture.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

TEST(RealtimeUs, IsTheSystemClockInMicroseconds) {
  const auto now = [] {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                     std::chrono::system_clock::now().time_since_epoch())
                                     .count());
  };
  const uint64_t before = now();
  const uint64_t us = realtime_us();
  const uint64_t after = now();
  EXPECT_GE(us, before);
  EXPECT_LE(us, after);
}

TEST(LogRateLimit, LetsTheFirstThroughAndThenOneInTenSeconds) {
  constexpr uint64_t kStart = 1'769'860'800'000'000;
  LogRateLimit limit;
  EXPECT_TRUE(limit.due(kStart));
  EXPECT_FALSE(limit.due(kStart));
  EXPECT_FALSE(limit.due(kStart + 9'999'999));
  EXPECT_TRUE(limit.due(kStart + 10'000'000));
  EXPECT_FALSE(limit.due(kStart + 19'999'999)) << "counted from the one that was let through";
  EXPECT_TRUE(limit.due(kStart + 20'000'000));
}

TEST(LogRateLimit, IsDueWhenTheClockWentBackwards) {
  LogRateLimit limit;
  EXPECT_TRUE(limit.due(1'769'860'800'000'000));
  EXPECT_TRUE(limit.due(1'769'860'700'000'000));
}

TEST(LogRateLimit, IsNotUsedUpByMessagesThatAreSuppressed) {
  LogRateLimit limit;
  {
    const LogCapture log(VEK_LOG_ERROR);
    EXPECT_FALSE(limit.due_at_level(VEK_LOG_WARNING));
  }
  const LogCapture log(VEK_LOG_WARNING);
  EXPECT_TRUE(limit.due_at_level(VEK_LOG_WARNING));
  EXPECT_FALSE(limit.due_at_level(VEK_LOG_WARNING));
}

}  // namespace
}  // namespace vek::test
