#include "counters/counters_schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/counters/counters_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<uint32_t> offsets(const Schema& schema) {
  std::vector<uint32_t> result;
  for (uint32_t g = 0; g < schema->num_groups; ++g) {
    for (uint32_t c = 0; c < schema->groups[g]->num_counters; ++c) {
      result.push_back(schema->groups[g]->counters[c]->offset);
    }
  }
  return result;
}

TEST(CountersSchema, StartsEmpty) {
  const Schema schema(vek_create_counters_schema());
  EXPECT_EQ(schema->size_of_counters, 0u);
  EXPECT_EQ(schema->num_groups, 0u);
  EXPECT_EQ(schema->groups, nullptr);
  EXPECT_EQ(vek_counters_schema_number_of_counters(schema.get()), 0u);
}

TEST(CountersSchema, KeepsGroupsInOrder) {
  const Schema schema = make_schema({named({"a"}), named({"b"}), named({"c"})});
  ASSERT_EQ(schema->num_groups, 3u);
  EXPECT_STREQ(schema->groups[0]->name, "group0");
  EXPECT_STREQ(schema->groups[2]->name, "group2");
}

TEST(CountersSchema, TellsWhenAllocationFails) {
  if (!FailAllocation::available()) GTEST_SKIP();
  const LogCapture log;
  FailAllocation first(1);
  EXPECT_EQ(vek_create_counters_schema(), nullptr);
  first.disarm();
  const Schema schema = make_schema({named({"a"}), named({"b"})});
  const Group group = make_group("g", {});
  FailAllocation second(1);
  EXPECT_FALSE(vek_counters_schema_append_group(schema.get(), group.get()));
  second.disarm();
  EXPECT_THAT(log.errors(),
              ElementsAre("failed to allocate schema",
                          "Failed allocating memory for 3's group: Cannot allocate memory"));
  EXPECT_EQ(schema->num_groups, 2u);
}

TEST(CountersSchema, FindsTheFirstCounterOfAName) {
  const Schema schema = make_schema({named({"a", "b"}), named({"b", "c"})});
  EXPECT_EQ(vek_counters_schema_get_counter_by_name(schema.get(), "b"),
            schema->groups[0]->counters[1]);
  EXPECT_EQ(vek_counters_schema_get_counter_by_name(schema.get(), "c"),
            schema->groups[1]->counters[1]);
  EXPECT_EQ(vek_counters_schema_get_counter_by_name(schema.get(), "B"), nullptr);
  EXPECT_EQ(vek_counters_schema_get_counter_by_name(schema.get(), ""), nullptr);
  EXPECT_EQ(vek_counters_schema_get_counter_by_name(schema.get(), nullptr), nullptr);
}

TEST(CountersSchema, CountsItsCounters) {
  const Schema schema = make_schema({named({"a", "b"}), named({"c"})});
  EXPECT_EQ(vek_counters_schema_number_of_counters(schema.get()), 3u);
  EXPECT_EQ(vek_counters_schema_total_number_of_counters(schema.get()), 3u);
}

TEST(CountersSchema, HasNoPlainCountWhenAGroupCarriesSeveralSets) {
  const Schema schema = make_schema({named({"a", "b"}), named({"c"}), named({"d"})});
  schema->groups[1]->num_counter_sets = 2;
  schema->groups[2]->num_counter_sets = 0;
  const LogCapture log;
  EXPECT_EQ(vek_counters_schema_number_of_counters(schema.get()), 0u);
  EXPECT_THAT(log.errors(), ElementsAre("[vek_counters_schema_number_of_counters] "
                                        "num_counter_sets should be 1, not 2"));
  EXPECT_EQ(vek_counters_schema_total_number_of_counters(schema.get()), 4u);
}

TEST(CountersSchema, PlacesAndSizesByTwoDifferentRules) {
  const Schema schema = make_schema({{"a", VEK_DATA_TYPE_UINT64, 0},
                                     {"b", VEK_DATA_TYPE_STRING, 16},
                                     {"c", VEK_DATA_TYPE_INT64, 4},
                                     {"d", VEK_DATA_TYPE_FP64, 12},
                                     {"e", VEK_DATA_TYPE_UINT64, 0}});
  EXPECT_THAT(offsets(schema), ElementsAre(0, 8, 24, 28, 40));
  // 8 for every counter but the text: not the 48 bytes that the offsets span.
  EXPECT_EQ(vek_counters_schema_size_of_counters(schema.get()), 8u + 16 + 8 + 8 + 8);
}

TEST(CountersSchema, GivesTheExampleOffsetsAndSize) {
  const Schema schema = make_schema({{"a", VEK_DATA_TYPE_UINT64, 0},
                                     {"b", VEK_DATA_TYPE_STRING, 16},
                                     {"c", VEK_DATA_TYPE_INT64, 4}});
  EXPECT_THAT(offsets(schema), ElementsAre(0, 8, 24));
  EXPECT_EQ(schema->size_of_counters, 32u);
}

TEST(CountersSchema, RunsOffsetsThroughAllGroups) {
  const Schema schema = make_schema({{{"a"}, {"s", VEK_DATA_TYPE_STRING, 3}}, {{"b"}}, {{"c"}}});
  EXPECT_THAT(offsets(schema), ElementsAre(0, 8, 11, 19));
}

TEST(CountersSchema, DoesNotMultiplyItsSizeBySets) {
  const Schema schema = make_schema({named({"a", "b"})});
  schema->groups[0]->num_counter_sets = 5;
  EXPECT_EQ(vek_counters_schema_size_of_counters(schema.get()), 16u);
}

TEST(CountersSchema, StopsPlacingAtATextWithoutLength) {
  const Schema schema = make_schema({{"a"}, {"b", VEK_DATA_TYPE_STRING, 8}, {"c"}, {"d"}});
  schema->groups[0]->counters[1]->length = 0;
  for (uint32_t i = 0; i < 4; ++i) schema->groups[0]->counters[i]->offset = 100 + i;
  const LogCapture log;
  vek_counters_schema_update_counter_offsets(schema.get());
  EXPECT_THAT(offsets(schema), ElementsAre(0, 101, 102, 103));
  EXPECT_THAT(log.errors(), ElementsAre("[vek_counters_schema_update_counter_offsets] Fail: "
                                        "received 0 length string counter b"));
}

TEST(CountersSchema, TellsPlacesAndSizesAtDebugLevel) {
  const Schema schema = make_schema({{"a"}, {"b", VEK_DATA_TYPE_STRING, 5}});
  const LogCapture log;
  vek_counters_schema_update_counter_offsets(schema.get());
  vek_counters_schema_size_of_counters(schema.get());
  EXPECT_THAT(log.at(7),
              ElementsAre("[schema] Set up counter a  size=8  offset=0",
                          "[schema] Set up counter b  size=5  offset=8",
                          "vek_counters_schema_size_of_counters group group0 has 1 counter sets",
                          "vek_counters_schema_size_of_counters returning 13 d"));
}

TEST(CountersSchema, AcceptsNull) {
  const LogCapture log;
  vek_destroy_counters_schema(nullptr);
  EXPECT_FALSE(vek_counters_schema_append_group(nullptr, nullptr));
  const Schema schema(vek_create_counters_schema());
  EXPECT_FALSE(vek_counters_schema_append_group(schema.get(), nullptr));
  EXPECT_EQ(vek_counters_schema_get_counter_by_name(nullptr, "a"), nullptr);
  EXPECT_EQ(vek_counters_schema_number_of_counters(nullptr), 0u);
  EXPECT_EQ(vek_counters_schema_total_number_of_counters(nullptr), 0u);
  EXPECT_EQ(vek_counters_schema_size_of_counters(nullptr), 0u);
  vek_counters_schema_update_counter_offsets(nullptr);
  EXPECT_THAT(log.errors(), IsEmpty());
}

}  // namespace
}  // namespace vek::test
