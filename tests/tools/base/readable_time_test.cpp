#include "tools/base/readable_time.h"

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

TEST(ParseTime, ReadsDatesTimesAndMicroseconds) {
  const struct {
    const char* text;
    uint64_t us;
  } kCases[] = {{"1767225600500000", 1'767'225'600'500'000},
                {"0", 0},
                {"2026-01-01", 1'767'225'600'000'000},
                {"2026-01-01T00:01", 1'767'225'660'000'000},
                {"2026-01-01 00:00:02Z", 1'767'225'602'000'000},
                {"2026-01-01T00:00:00.5Z", 1'767'225'600'500'000},
                {"2026-01-01T00:00:00.000001", 1'767'225'600'000'001}};
  for (const auto& row : kCases) EXPECT_EQ(parse_time(row.text), row.us) << row.text;
  EXPECT_EQ(parse_time(readable_time(1'767'225'600'123'456)), 1'767'225'600'123'456u);
}

TEST(ParseTime, RefusesWhatIsNoTime) {
  for (const char* text :
       {"", "now", "-1", "2026-", "2026-1-1x", "2026-13-01", "2026-01-32", "2026-01-01T",
        "2026-01-01T24:00", "2026-01-01T00:60", "2026-01-01T00:00:00.",
        "2026-01-01T00:00:00.1234567", "2026-01-01T00:00:00ZZ", "2026-01-01T00:00:00+01:00",
        "18446744073709551616"}) {
    EXPECT_FALSE(parse_time(text)) << text;
  }
}

}  // namespace
}  // namespace vek::tools
