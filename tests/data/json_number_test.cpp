#include "data/json_number.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace {

using vek::json_number_to;

TEST(JsonNumber, CutsFractionsOff) {
  EXPECT_EQ(json_number_to<uint32_t>(0.99), 0u);
  EXPECT_EQ(json_number_to<uint32_t>(7.99), 7u);
  EXPECT_EQ(json_number_to<uint64_t>(4294967296.5), 4294967296u);
}

TEST(JsonNumber, NegativeNumbersAndNoNumberAreZero) {
  for (const double number : {-0.0, -0.5, -1.0, -1e300, -HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(json_number_to<uint16_t>(number), 0) << number;
    EXPECT_EQ(json_number_to<uint64_t>(number), 0u) << number;
  }
}

TEST(JsonNumber, HugeNumbersAreTheLargestInteger) {
  EXPECT_EQ(json_number_to<uint8_t>(255.0), 255);
  EXPECT_EQ(json_number_to<uint8_t>(256.0), 255);
  EXPECT_EQ(json_number_to<uint16_t>(65535.9), 65535);
  EXPECT_EQ(json_number_to<uint32_t>(4294967295.0), 4294967295u);
  EXPECT_EQ(json_number_to<uint32_t>(4294967296.0), 4294967295u);
  EXPECT_EQ(json_number_to<uint64_t>(18446744073709549568.0), 18446744073709549568u);
  EXPECT_EQ(json_number_to<uint64_t>(18446744073709551616.0), UINT64_MAX);
  EXPECT_EQ(json_number_to<uint64_t>(1e300), UINT64_MAX);
  EXPECT_EQ(json_number_to<uint64_t>(HUGE_VAL), UINT64_MAX);
}

}  // namespace
