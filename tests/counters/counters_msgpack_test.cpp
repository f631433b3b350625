#include "counters/counters_msgpack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>
#include <utility>

#include "tests/counters/record_samples.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"
#include "tests/support/msgpack_json.h"
#include "utils/logger.h"
#include "utils/record_packer.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

TEST(CounterRecord, IsThisInEventForm) {
  const EveryType all;
  EXPECT_EQ(record_text(whole_set(all.schema), all.block, "node1", "flb_std"),
            R"([1700000000.25,{"timestamp":1700000000250000,"type":"counters","source":"node1",)"
            R"("u":300,"text":"up","b":7,"f":-2.5,"i":-40,"port_guid":"0xbeef"}])");
}

TEST(CounterRecord, IsThisInCustomForm) {
  const EveryType all;
  EXPECT_EQ(record_text(whole_set(all.schema), all.block, "node1", "custom"),
            R"({"timestamp":1700000000250000,"type":"counters","source":"node1","values":{)"
            R"("u":300,"text":"up","b":7,"f":-2.5,"i":-40,"port_guid":"0xbeef"}})");
}

TEST(CounterRecord, IsCustomForAnyOtherLayout) {
  const EveryType all;
  const std::string custom = record_text(whole_set(all.schema), all.block, "s", "custom");
  for (const char* layout : {"", "flb", "FLB_STD", "flb_std ", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(record_text(whole_set(all.schema), all.block, "s", layout), custom);
  }
}

TEST(CounterRecord, TellsSecondsAsWholePlusRemainder) {
  const Schema schema = make_schema(named({"c"}));
  const std::pair<uint64_t, const char*> cases[] = {
      {0, "0.0"},
      {999999, "0.99999899999999997"},
      {1000000, "1.0"},
      {1700000000123456, "1700000000.123456"},
      {UINT64_MAX, "18446744073709.551"},
  };
  for (const auto& [us, seconds] : cases) {
    const Block block(schema.get(), us);
    EXPECT_THAT(record_text(whole_set(schema), block, "s", "flb_std"),
                StartsWith("[" + std::string(seconds) + ",{\"timestamp\":" + std::to_string(us)));
  }
}

TEST(CounterRecord, LeavesOutSkippedCounters) {
  const EveryType all;
  const Set set = set_from_lines(all.schema.get(), "count=^u$\nf\n");
  EXPECT_EQ(record_text(set, all.block, "s", "custom"),
            R"({"timestamp":1700000000250000,"type":"counters","source":"s",)"
            R"("values":{"count":300,"f":-2.5}})");
}

// Hosts switch counters on and off between blocks.
TEST(CounterRecord, ReadsTheSetAsItStandsAtEachCall) {
  const EveryType all;
  const Set set = set_from_lines(all.schema.get(), "u\n");
  const std::string before = record_text(set, all.block, "", "custom");
  set->skip[3] = 0;
  ++set->num_exported;
  const std::string after = record_text(set, all.block, "", "custom");
  EXPECT_EQ(before.find("\"f\""), std::string::npos);
  EXPECT_NE(after.find("\"f\":-2.5"), std::string::npos);
}

TEST(CounterRecord, IsEmptyWhenNothingIsExported) {
  const EveryType all;
  const Set set = set_from_lines(all.schema.get(), "nothing\nmeta_field_add:site=lab1\n");
  ASSERT_EQ(set->num_shown_meta, 1u);
  for (const char* layout : {"flb_std", "custom"}) {
    const Record record(all.block.data(), set.get(), "s", layout);
    EXPECT_EQ(record.buffer().size, 0u);
    EXPECT_EQ(record.buffer().data, nullptr);
    EXPECT_EQ(record.buffer().alloc, 0u);
  }
}

TEST(CounterRecord, EmptiesWhatItIsGivenWithoutFreeingIt) {
  const EveryType all;
  char foreign[] = "not malloc'd";
  msgpack_sbuffer buffer = {sizeof(foreign), foreign, sizeof(foreign)};
  vek_counter_block_to_msgpack_filtered(&buffer, all.block.data(), nullptr, "s", "custom");
  EXPECT_EQ(buffer.size, 0u);
  EXPECT_EQ(buffer.data, nullptr);
  EXPECT_EQ(buffer.alloc, 0u);
}

TEST(CounterRecord, AcceptsNull) {
  const EveryType all;
  const Set set = whole_set(all.schema);
  vek_counter_block_to_msgpack_filtered(nullptr, all.block.data(), set.get(), "s", "custom");
  EXPECT_EQ(Record(nullptr, set.get(), "s", "custom").buffer().size, 0u);
  EXPECT_EQ(Record(all.block.data(), set.get(), nullptr, "custom").hex(),
            Record(all.block.data(), set.get(), "", "custom").hex());
  EXPECT_EQ(vek_counter_set_block_extent(nullptr), 16u);
}

TEST(CounterRecord, StartsWithEightKilobytes) {
  const EveryType all;
  EXPECT_EQ(Record(all.block.data(), whole_set(all.schema).get(), "s", "flb_std").buffer().alloc,
            8192u);
}

TEST(CounterRecord, GrowsWhenItMust) {
  std::vector<CounterSpec> specs;
  for (int i = 0; i < 3000; ++i) specs.push_back({"counter_number_" + std::to_string(i)});
  specs.push_back({"text", VEK_DATA_TYPE_STRING, 300'000});
  const Schema schema = make_schema(specs);
  Block block(schema.get(), kTime);
  block.put_text(schema.get(), "text", std::string(299'999, 't'));
  const std::string text = record_text(whole_set(schema), block, "s", "flb_std");
  EXPECT_THAT(text, testing::EndsWith("t\"}]"));
  EXPECT_NE(text.find("\"counter_number_2999\":0"), std::string::npos);
}

TEST(CounterRecord, WritesOnlyTheKeyOfAnUnknownType) {
  for (const uint32_t type : {0u, 6u, 4294967295u}) {
    const Schema schema = make_schema({{"odd", type}});
    const Block block(schema.get(), 5000000);
    const LogCapture log(VEK_LOG_ERROR);
    EXPECT_EQ(record_text(whole_set(schema), block, "", "custom"),
              R"({"timestamp":5000000,"type":"counters","values":{"odd":!cut}})");
    EXPECT_THAT(log.errors(), ElementsAre("[msgpack_counter] VEK_DATA_TYPE is unknown for counter "
                                          "'odd', should not be here!"));
  }
}

TEST(CounterRecord, IsEmptyWhenMemoryRunsOut) {
  if (!FailAllocation::available()) GTEST_SKIP();
  const Schema schema = make_schema({{"a"}, {"t", VEK_DATA_TYPE_STRING, 100'000}, {"b"}});
  Block block(schema.get(), 5000000);
  block.put_text(schema.get(), "t", std::string(100'000, 't'));
  const Set set = whole_set(schema);
  FailAllocation failing(1);
  const Record record(block.data(), set.get(), "s", "flb_std");
  EXPECT_TRUE(failing.disarm());
  EXPECT_EQ(record.buffer().size, 0u);
}

TEST(CounterRecord, FollowsASetThatIsChangedByHand) {
  const Schema schema = make_schema({{"a"}, {"b"}});
  const Set set = whole_set(schema);
  const Block block(schema.get(), 5000000);
  set->skip[0] = 1;
  set->num_exported = 1;
  EXPECT_THAT(record_text(set, block, "s", "flb_std"), testing::EndsWith(R"("s","b":0}])"));
  std::swap(set->skip[0], set->skip[1]);
  EXPECT_THAT(record_text(set, block, "s", "flb_std"), testing::EndsWith(R"("s","a":0}])"));
}

// Of pages too, as far as counts tell of it.
TEST(CounterRecord, OfAPageFollowsACounterThatIsSwitchedByHand) {
  const Schema schema = make_schema({{"a"}, {"b"}});
  const Set set = whole_set(schema);
  const Block block(schema.get(), 5000000);
  RecordPacker packer;
  const auto packed = [&] {
    const std::string_view record =
        pack_counters_block(packer, block.data(), set.get(), "s", RecordLayout::kFlbStd);
    return msgpack_to_text(record.data(), record.size());
  };
  EXPECT_THAT(packed(), testing::EndsWith(R"("s","a":0,"b":0}])"));
  set->skip[0] = 1;
  set->num_exported = 1;
  EXPECT_THAT(packed(), testing::EndsWith(R"("s","b":0}])"));
}

TEST(CounterRecord, ReadsValuesWhereverTheyLie) {
  const Schema schema = make_schema({{"s", VEK_DATA_TYPE_STRING, 1}, {"u"}});
  Block block(schema.get(), 5000000);
  block.put(schema.get(), "u", UINT64_MAX);
  std::vector<uint8_t> shifted(1);
  shifted.insert(shifted.end(), block.bytes().begin(), block.bytes().end());
  EXPECT_EQ(Record(shifted.data() + 1, whole_set(schema).get(), "x", "custom").text(),
            record_text(whole_set(schema), block, "x", "custom"));
}

}  // namespace
}  // namespace vek::test
