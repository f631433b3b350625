#include <gtest/gtest.h>

#include "counters/counter_group.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

std::string values_table(const vek_counter_group_t* group, const void* values) {
  return printed([&](std::FILE* out) { vek_print_counter_group_values(group, values, out); });
}

TEST(PrintCounterGroup, ListsTheCounters) {
  const Group group = make_group(
      "g", {{"rx", VEK_DATA_TYPE_UINT64, 0, "received"},
            {"a_name_longer_than_twenty", VEK_DATA_TYPE_UINT64, 0, std::string(45, 'd')}});
  group->granularity = VEK_GRANULARITY_CPU;
  EXPECT_EQ(printed([&](std::FILE* out) { vek_print_counter_group(group.get(), out); }),
            "------------------------------------------\n"
            "| Granularity per CPU (1 counter sets) \n"
            "------------------------------------------\n"
            "|  # | Active counter       | Description                             \n"
            "------------------------------------------\n"
            "|  0 | rx                   | received                                \n"
            "|  1 | a_name_longer_than_twenty | dddddddddddddddddddddddddddddddddddddddd\n"
            "------------------------------------------\n");
}

TEST(PrintCounterGroupValues, PrintsASlotForEachCounterOfEachSet) {
  const Group group = make_group("g", {{"a", VEK_DATA_TYPE_INT64}, {"b", VEK_DATA_TYPE_INT64}}, 2);
  // The counters' offsets play no part.
  group->counters[1]->offset = 4096;
  const int64_t values[] = {1, 2, 3, 4};
  const GuardedBytes guarded(values, sizeof(values));
  const std::string rule = std::string(23 * 2 + 1 + 4 + 3, '-') + "\n";
  EXPECT_EQ(values_table(group.get(), guarded.data()),
            rule + "| Counter values per NODE                            |\n" + rule +
                "| NODE |                    a |                    b |\n" + rule +
                "|    0 |                    1 |                    2 |\n"
                "|    1 |                    3 |                    4 |\n" +
                rule);
}

TEST(PrintCounterGroupValues, HasNoSetColumnWithoutSets) {
  const Group group = make_group("g", named({"a"}), 0);
  const std::string rule = std::string(24, '-') + "\n";
  EXPECT_EQ(values_table(group.get(), "x"), rule + "| Counter values per N |\n" + rule +
                                                "|                    a |\n" + rule + rule);
}

TEST(PrintCounterGroupValues, NeverReadsATextPastTheLastSlot) {
  const Group group = make_group("g", {{"t", VEK_DATA_TYPE_STRING, 16}});
  const GuardedBytes guarded("abcdefgh", 8);
  EXPECT_NE(values_table(group.get(), guarded.data()).find("|             abcdefgh |"),
            std::string::npos);
}

TEST(PrintCounterGroup, PrintsNothingForNull) {
  const Group group = make_group("g", {});
  EXPECT_EQ(printed([&](std::FILE* out) {
              vek_print_counter_group(nullptr, out);
              vek_print_counter_group_values(nullptr, "x", out);
              vek_print_counter_group_values(group.get(), nullptr, out);
            }),
            "");
  vek_print_counter_group(group.get(), nullptr);
  vek_print_counter_group_values(group.get(), "x", nullptr);
}

}  // namespace
}  // namespace vek::test
