#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "counters/counter_data.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

template <typename T>
std::string value_text(uint32_t data_type, int width, T value) {
  // One byte off, so that the value lies unaligned.
  char bytes[1 + sizeof(value)];
  std::memcpy(bytes + 1, &value, sizeof(value));
  vek_counter_info_t counter = {};
  counter.data_type = data_type;
  return printed([&](std::FILE* out) { vek_print_counter_value(out, &counter, width, bytes + 1); });
}

TEST(PrintCounterValue, ShowsEachTypeItsWay) {
  EXPECT_EQ(value_text(VEK_DATA_TYPE_UINT64, 6, uint64_t{42}), "     42(u) |");
  EXPECT_EQ(value_text(VEK_DATA_TYPE_UINT64, 6, UINT64_MAX), " 18446744073709551615(u) |");
  EXPECT_EQ(value_text(VEK_DATA_TYPE_FP64, 10, 1.5), "  1.500 |");
  EXPECT_EQ(value_text(VEK_DATA_TYPE_BIT64, 6, uint64_t{0xabc}), "    ABC |");
  EXPECT_EQ(value_text(VEK_DATA_TYPE_INT64, 6, int64_t{-7}), "     -7 |");
  EXPECT_EQ(value_text(VEK_DATA_TYPE_INT64, 8, int64_t{12345}), "     12 k |");
  EXPECT_EQ(value_text(VEK_DATA_TYPE_UNDEFINED, 6, int64_t{999}), "    999 |");
  EXPECT_EQ(value_text(77, 6, int64_t{5}), "      5 |");
}

TEST(PrintCounterValue, UsesTheWidthAsPrecisionOfTexts) {
  vek_counter_info_t counter = {};
  counter.data_type = VEK_DATA_TYPE_STRING;
  const auto text = [&](int width, const char* value) {
    return printed([&](std::FILE* out) { vek_print_counter_value(out, &counter, width, value); });
  };
  EXPECT_EQ(text(6, "abc"), "    abc |");
  EXPECT_EQ(text(3, "abcdef"), " abc |");
}

TEST(PrintCounterValue, EndsATextWithoutNulAtItsLength) {
  const GuardedBytes bytes("abcd", 4);
  vek_counter_info_t counter = {};
  counter.data_type = VEK_DATA_TYPE_STRING;
  counter.length = 4;
  EXPECT_EQ(
      printed([&](std::FILE* out) { vek_print_counter_value(out, &counter, 20, bytes.data()); }),
      "                 abcd |");
}

TEST(PrintCounterValue, PrintsNothingForNull) {
  const vek_counter_info_t counter = {};
  EXPECT_EQ(printed([&](std::FILE* out) {
              vek_print_counter_value(out, nullptr, 20, &counter);
              vek_print_counter_value(out, &counter, 20, nullptr);
            }),
            "");
  vek_print_counter_value(nullptr, &counter, 20, &counter);
}

TEST(PrintStructLayout, ShowsTheBlockHeaderAndWhereValuesBegin) {
  EXPECT_EQ(printed([](std::FILE* out) { vek_counters_data_print_struct_layout(out); }),
            " field                 offset    size\n"
            " header.magic          0         4\n"
            " padding               4         4\n"
            " timestamp             8         8\n"
            " values[]              16        (size_of_counters)\n");
  vek_counters_data_print_struct_layout(nullptr);
}

TEST(PrintInfo, ShowsMagicAndTime) {
  const vek_counters_block_t block = {{'V', 'E', 'K', 'D'}, {}, 1700000000123456};
  EXPECT_EQ(printed([&](std::FILE* out) { vek_counters_data_print_info(out, &block); }),
            "Data block\n"
            " magic number         = VEKD\n"
            " last timestamp       = 1700000000123456\n");
  vek_counters_data_print_info(nullptr, &block);
  vek_counters_data_print_info(stdout, nullptr);
}

}  // namespace
}  // namespace vek::test
