#include "tools/replay/pacer.h"

#include <gtest/gtest.h>

namespace vek::tools {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr uint64_t kStart = 1'767'225'600'000'000;

TEST(Pacer, TheFirstPageIsDueAtOnce) {
  Pacer pacer(Pace{1, 0});
  EXPECT_EQ(pacer.gap_before(kStart).count(), 0);
}

TEST(Pacer, LaterPagesAreDueAsTheyWereRecorded) {
  Pacer pacer(Pace{1, 0});
  pacer.gap_before(kStart);
  EXPECT_EQ(pacer.gap_before(kStart + 37'000), microseconds(37'000));
  EXPECT_EQ(pacer.gap_before(kStart + 1'000'000), microseconds(963'000));
  EXPECT_EQ(pacer.gap_before(kStart + 1'000'000), microseconds(0));
}

TEST(Pacer, AnEarlierTimeOrNoneIsNotWaitedForAndChangesNothing) {
  Pacer pacer(Pace{1, 0});
  pacer.gap_before(kStart);
  EXPECT_EQ(pacer.gap_before(kStart - 5'000'000), microseconds(0));
  EXPECT_EQ(pacer.gap_before(std::nullopt), microseconds(0));
  EXPECT_EQ(pacer.gap_before(kStart + 1), microseconds(1));
}

TEST(Pacer, AGapBeyondAnHourIsAClockThatWasSet) {
  constexpr uint64_t kHourUs = 3'600'000'000;
  Pacer pacer(Pace{1, 0});
  pacer.gap_before(kStart);
  EXPECT_EQ(pacer.gap_before(kStart + kHourUs), microseconds(kHourUs));
  EXPECT_EQ(pacer.gap_before(kStart + 2 * kHourUs + 1), microseconds(0));
  EXPECT_EQ(pacer.gap_before(kStart + 2 * kHourUs + 8), microseconds(7));
  EXPECT_EQ(pacer.gap_before(UINT64_MAX), microseconds(0));
}

TEST(Pacer, ARestartForgetsTheTimesOfTheRoundBefore) {
  Pacer pacer(Pace{1, 0});
  pacer.gap_before(kStart + 1'000'000);
  pacer.restart();
  EXPECT_EQ(pacer.gap_before(kStart), microseconds(0));
  EXPECT_EQ(pacer.gap_before(kStart + 5), microseconds(5));
}

TEST(Pacer, WaitsFromWhenThePageBeforeItWasDue) {
  Pacer pacer(Pace{1, 0});
  const auto start = Pacer::Clock::now();
  EXPECT_TRUE(pacer.wait_for(kStart));
  EXPECT_TRUE(pacer.wait_for(kStart + 30'000));
  EXPECT_TRUE(pacer.wait_for(kStart + 60'000));
  EXPECT_GE(Pacer::Clock::now() - start, milliseconds(60));
}

TEST(Pacer, ASpeedDividesTheRecordedGaps) {
  Pacer fast(Pace{10, 0});
  fast.gap_before(kStart);
  EXPECT_EQ(fast.gap_before(kStart + 1'000'000), milliseconds(100));
  Pacer slow(Pace{0.5, 0});
  slow.gap_before(kStart);
  EXPECT_EQ(slow.gap_before(kStart + 1'000'000), milliseconds(2000));
}

TEST(Pacer, ARateGivesEveryPageTheSameGapWhateverItsTime) {
  Pacer pacer(Pace{0, 250});
  EXPECT_EQ(pacer.gap_before(kStart), milliseconds(4));
  EXPECT_EQ(pacer.gap_before(kStart + 1'000'000), milliseconds(4));
  EXPECT_EQ(pacer.gap_before(std::nullopt), milliseconds(4));
}

TEST(Pacer, WithoutARuleNothingIsWaitedFor) {
  Pacer pacer(Pace{});
  EXPECT_TRUE(pacer.wait_for(kStart));
  EXPECT_EQ(pacer.gap_before(kStart + 1'000'000), microseconds(0));
}

}  // namespace
}  // namespace vek::tools
