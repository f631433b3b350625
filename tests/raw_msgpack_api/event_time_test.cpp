#include "raw_msgpack_api/event_time.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>

#include "tests/raw_msgpack_api/pack.h"

namespace vek::engine {

std::ostream& operator<<(std::ostream& out, const EventTime& time) {
  return out << time.seconds << " s " << time.nanoseconds << " ns";
}

namespace {

using test::Pack;
constexpr EventTime kFallback{7, 8};

EventTime time_in(const Pack& pack) {
  RecordWalk walk(Bytes{pack.data(), pack.size()});
  EXPECT_EQ(walk.next(), RecordWalk::Step::kRecord);
  return time_of(walk.record(), kFallback);
}

TEST(TimeOf, ReadsSecondsToTheNanosecond) {
  EXPECT_EQ(time_in(Pack().array(2).f64(1700000000.5).map(0)), (EventTime{1700000000, 500000000}));
  EXPECT_EQ(time_in(Pack().array(2).f64(0.25).array(0)), (EventTime{0, 250000000}));
  EXPECT_EQ(time_in(Pack().array(2).f32(2.5f).map(0)), (EventTime{2, 500000000}));
  EXPECT_EQ(time_in(Pack().array(2).u(42).map(0)), (EventTime{42, 0}));
  EXPECT_EQ(time_in(Pack().array(2).ext(0, {"\0\0\0\x02\0\0\0\x03", 8}).map(0)), (EventTime{2, 3}));
}

TEST(TimeOf, CarriesAFractionThatRoundsToAWholeSecond) {
  EXPECT_EQ(time_in(Pack().array(2).f64(std::nextafter(3.0, 0.0)).map(0)), (EventTime{3, 0}));
}

TEST(TimeOf, FallsBackWhereNoClockShowsSuchATime) {
  for (const double odd : {-1.0, std::nan(""), std::numeric_limits<double>::infinity(), 1e30}) {
    EXPECT_EQ(time_in(Pack().array(2).f64(odd).map(0)), kFallback) << odd;
  }
  EXPECT_EQ(time_in(Pack().array(2).i(-1).map(0)), kFallback);
  EXPECT_EQ(time_in(Pack().array(2).ext(0, {"\0\0\0\x02\xff\xff\xff\xff", 8}).map(0)), kFallback);
}

TEST(TimeOf, FindsTheTimestampOfABareMap) {
  EXPECT_EQ(time_in(Pack().map(1).str("timestamp").u(1700000000123456)),
            (EventTime{1700000000, 123456000}));
  EXPECT_EQ(
      time_in(Pack().map(2).map(1).nil().array(1).nil().str("x").str("timestamp").u(5'000'001)),
      (EventTime{5, 1000}));
}

TEST(TimeOf, IgnoresTimestampsThatAreNone) {
  EXPECT_EQ(time_in(Pack().map(0)), kFallback);
  EXPECT_EQ(time_in(Pack().map(1).str("timestamp").str("now")), kFallback);
  EXPECT_EQ(time_in(Pack().map(1).str("timestamps").u(1)), kFallback);
  EXPECT_EQ(time_in(Pack().map(1).str("in").map(1).str("timestamp").u(1)), kFallback);
  EXPECT_EQ(time_in(Pack().map(1).bin("timestamp").u(1)), kFallback);
}

}  // namespace
}  // namespace vek::engine
