#include "counters/counter_data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "tests/counters/counters_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"
#include "utils/clock.h"

namespace vek::test {
namespace {

using testing::MatchesRegex;

vek_counter_info_t* new_counter(const char* name, const char* description, const char* units) {
  auto* counter = static_cast<vek_counter_info_t*>(std::calloc(1, sizeof(vek_counter_info_t)));
  counter->name = name ? strdup(name) : nullptr;
  counter->description = description ? strdup(description) : nullptr;
  counter->units = units ? strdup(units) : nullptr;
  return counter;
}

TEST(DataTypeNames, GoBothWays) {
  const char* names[] = {"Undefined", "UINT64", "FP64", "BIT64", "INT64", "STRING"};
  for (uint32_t value = 0; value < 6; ++value) {
    EXPECT_STREQ(vek_data_type_string(value), names[value]);
    EXPECT_EQ(vek_data_type_from_string(names[value]), value);
  }
  EXPECT_EQ(vek_data_type_string(6), nullptr);
  EXPECT_EQ(vek_data_type_string(4294967295u), nullptr);
  EXPECT_EQ(vek_data_type_from_string("uint64"), 4294967295u);
  EXPECT_EQ(vek_data_type_from_string(""), 4294967295u);
}

TEST(GranularityNames, GoBothWays) {
  const char* names[] = {"NODE", "CPU", "PACKAGE"};
  for (uint32_t value = 0; value < 3; ++value) {
    EXPECT_STREQ(vek_granularity_string(value), names[value]);
    EXPECT_EQ(vek_granularity_from_string(names[value]), value);
  }
  EXPECT_EQ(vek_granularity_string(3), nullptr);
  EXPECT_EQ(vek_granularity_from_string("Node"), 4294967295u);
}

TEST(CountingTypeNames, GoBothWays) {
  EXPECT_STREQ(vek_counting_type_string(0), "ABSOLUTE");
  EXPECT_STREQ(vek_counting_type_string(1), "RUNNING_SUM");
  EXPECT_EQ(vek_counting_type_string(2), nullptr);
  EXPECT_EQ(vek_counting_type_from_string("ABSOLUTE"), 0u);
  EXPECT_EQ(vek_counting_type_from_string("RUNNING_SUM"), 1u);
}

TEST(CountingTypeNames, DoNotKnowTheAliasOfFieldValueTypes) {
  EXPECT_EQ(vek_counting_type_from_string("ABSOLUTE_MONOTONIC"), 4294967295u);
}

TEST(DestroyCounterInfo, FreesTheTextsAndLeavesTheRecord) {
  vek_counter_info_t* counter = new_counter("n", "d", "u");
  const LogCapture log;
  vek_destroy_counter_info(counter);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(counter->name, nullptr);
  std::free(counter);
}

TEST(DestroyCounterInfo, WarnsOfEachTextThatIsNull) {
  vek_counter_info_t* counter = new_counter(nullptr, "d", nullptr);
  const LogCapture log;
  vek_destroy_counter_info(counter);
  const auto warnings = log.warnings();
  ASSERT_EQ(warnings.size(), 2u);
  for (const std::string& warning : warnings) {
    EXPECT_THAT(warning, MatchesRegex("on counter_data, vek_destroy_counter_info [1-9][0-9]* "
                                      "attempted to free NULL ptr"));
  }
  EXPECT_NE(warnings[0], warnings[1]) << "the line tells which text it was";
  std::free(counter);
}

TEST(DestroyCounterInfo, AcceptsNull) { vek_destroy_counter_info(nullptr); }

TEST(CounterInfoDeepCopy, CopiesEverything) {
  vek_counter_info_t* counter = new_counter("n", "d", "u");
  counter->data_type = VEK_DATA_TYPE_STRING;
  counter->counting_type = VEK_COUNTING_RUNNING_SUM;
  counter->offset = 3;
  counter->length = 4;
  counter->reserved = 5;
  counter->hidden = true;
  counter->mandatory = true;
  vek_counter_info_t* copy = vek_counter_info_deep_copy(counter);
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy->name, counter->name);
  EXPECT_STREQ(copy->name, "n");
  EXPECT_STREQ(copy->description, "d");
  EXPECT_STREQ(copy->units, "u");
  EXPECT_EQ(copy->data_type, 5u);
  EXPECT_EQ(copy->counting_type, 1u);
  EXPECT_EQ(copy->offset, 3u);
  EXPECT_EQ(copy->length, 4u);
  EXPECT_EQ(copy->reserved, 5u);
  EXPECT_TRUE(copy->hidden);
  EXPECT_TRUE(copy->mandatory);
  for (vek_counter_info_t* each : {counter, copy}) {
    vek_destroy_counter_info(each);
    std::free(each);
  }
}

TEST(CounterInfoDeepCopy, IsNullWhenACopyFails) {
  if (!FailAllocation::available()) GTEST_SKIP();
  vek_counter_info_t* counter = new_counter("n", "d", "u");
  for (unsigned n = 1; n <= 4; ++n) {
    FailAllocation failing(n);
    EXPECT_EQ(vek_counter_info_deep_copy(counter), nullptr) << n;
    EXPECT_TRUE(failing.disarm()) << n;
  }
  vek_destroy_counter_info(counter);
  std::free(counter);
}

TEST(CounterInfoDeepCopy, OfNullIsNull) { EXPECT_EQ(vek_counter_info_deep_copy(nullptr), nullptr); }

TEST(CountersDataReset, WritesMagicPaddingAndTime) {
  vek_counters_block_t block;
  std::memset(&block, 0xff, sizeof(block));
  const uint64_t before = realtime_us();
  vek_counters_data_reset(&block);
  const uint64_t after = realtime_us();
  EXPECT_EQ(std::memcmp(&block, "VEKD\0\0\0\0", 8), 0);
  EXPECT_GE(block.timestamp, before);
  EXPECT_LE(block.timestamp, after);
  vek_counters_data_reset(nullptr);
}

}  // namespace
}  // namespace vek::test
