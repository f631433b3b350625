#include "tools/readable_time.h"

#include <gtest/gtest.h>

namespace vek::tools {
namespace {

TEST(ReadableTime, TellsMicrosecondsInUtc) {
  EXPECT_EQ(readable_time(0), "1970-01-01T00:00:00.000000Z");
  EXPECT_EQ(readable_time(1767225600500001), "2026-01-01T00:00:00.500001Z");
  EXPECT_EQ(readable_time(253402300799999999), "9999-12-31T23:59:59.999999Z");
}

TEST(ReadableTime, NumbersThatAreNoTimesStayNumbers) {
  EXPECT_EQ(readable_time(253402300800000000), "253402300800000000");
  EXPECT_EQ(readable_time(UINT64_MAX), "18446744073709551615");
}

}  // namespace
}  // namespace vek::tools
