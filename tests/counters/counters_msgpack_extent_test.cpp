#include <gtest/gtest.h>

#include "tests/counters/record_samples.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

TEST(BlockExtent, CoversEveryShownCounterAndNothingElse) {
  const Schema schema =
      make_schema({{"a"}, {"i", VEK_DATA_TYPE_INT64, 4}, {"t", VEK_DATA_TYPE_STRING, 5}, {"z"}});
  // Offsets 0, 8, 12 and 17 behind the header of 16 bytes.
  EXPECT_EQ(vek_counter_set_block_extent(set_from_lines(schema.get(), "nothing").get()), 16u);
  EXPECT_EQ(vek_counter_set_block_extent(set_from_lines(schema.get(), "^a").get()), 24u);
  EXPECT_EQ(vek_counter_set_block_extent(set_from_lines(schema.get(), "^i").get()), 32u)
      << "8 bytes are read, whatever the length says";
  EXPECT_EQ(vek_counter_set_block_extent(set_from_lines(schema.get(), "^t").get()), 33u);
  EXPECT_EQ(vek_counter_set_block_extent(whole_set(schema).get()), 41u);
}

TEST(BlockExtent, CoversAliasesOfCountersThatAreNotShown) {
  const Schema schema = make_schema(named({"a", "z"}));
  EXPECT_EQ(vek_counter_set_block_extent(
                set_from_lines(schema.get(), "^a\nmeta_field_alias:z=zz\n").get()),
            32u);
  EXPECT_EQ(vek_counter_set_block_extent(
                set_from_lines(schema.get(), "^a\nmeta_field_alias:z=type\n").get()),
            24u)
      << "an alias that is not shown is not read";
}

TEST(BlockExtent, SaturatesWhenAnOffsetOverflows) {
  const Schema schema = make_schema(named({"a"}));
  const Set set = whole_set(schema);
  set->counters[0].offset = UINT64_MAX - 7;
  EXPECT_EQ(vek_counter_set_block_extent(set.get()), UINT64_MAX);
  set->counters[0].offset = UINT64_MAX - 8;
  EXPECT_EQ(vek_counter_set_block_extent(set.get()), UINT64_MAX);
}

TEST(BlockExtent, IsAllThatARecordReads) {
  const EveryType all;
  for (const char* lines :
       {"^u$\n", "text\n", "^b$\n", "port_guid\n", "^u$\nmeta_field_alias:f=x"}) {
    const Set set = set_from_lines(all.schema.get(), lines);
    const uint64_t extent = vek_counter_set_block_extent(set.get());
    ASSERT_LE(extent, all.block.size());
    const GuardedBytes guarded(all.block.bytes().first(extent));
    EXPECT_EQ(Record(guarded.data(), set.get(), "s", "flb_std").text(),
              record_text(set, all.block, "s", "flb_std"));
  }
}

}  // namespace
}  // namespace vek::test
