#include "counters/counters_msgpack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <limits>

#include "tests/counters/counters_fixture.h"
#include "tests/counters/record.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

constexpr uint64_t kTime = 1700000000250000;  // exactly 1700000000.25 seconds

Set whole_set(const Schema& schema) {
  return Set(vek_schema_to_counter_set(schema.get(), nullptr));
}

std::string record_text(const Set& set, const Block& block, const char* source,
                        const char* layout) {
  return Record(block.data(), set.get(), source, layout).text();
}

// One counter's bytes, behind everything else in the record.
std::string packed_value(const char* name, uint32_t data_type, uint64_t bits) {
  const Schema schema = make_schema({{name, data_type}});
  Block block(schema.get(), kTime);
  block.put(schema.get(), name, bits);
  const std::string record = Record(block.data(), whole_set(schema).get(), "", "custom").hex();
  const std::string key = to_hex(name, std::strlen(name));
  return record.substr(record.rfind(key) + key.size());
}

struct NumberCase {
  uint64_t value;
  const char* hex;
};

constexpr NumberCase kUnsigned[] = {
    {0, "00"},
    {1, "01"},
    {127, "7f"},
    {128, "cc80"},
    {255, "ccff"},
    {256, "cd0100"},
    {65535, "cdffff"},
    {65536, "ce00010000"},
    {4294967295, "ceffffffff"},
    {4294967296, "cf0000000100000000"},
    {9223372036854775807u, "cf7fffffffffffffff"},
    {9223372036854775808u, "cf8000000000000000"},
    {18446744073709551615u, "cfffffffffffffffff"},
};

TEST(CounterRecord, PacksUnsignedNumbersInTheirSmallestForm) {
  for (const auto& [value, hex] : kUnsigned) {
    EXPECT_EQ(packed_value("c", VEK_DATA_TYPE_UINT64, value), hex) << value;
    EXPECT_EQ(packed_value("c", VEK_DATA_TYPE_BIT64, value), hex) << value;
  }
}

TEST(CounterRecord, PacksSignedNumbersInTheirSmallestForm) {
  const std::pair<int64_t, const char*> cases[] = {
      {-1, "ff"},
      {-32, "e0"},
      {-33, "d0df"},
      {-128, "d080"},
      {-129, "d1ff7f"},
      {-32768, "d18000"},
      {-32769, "d2ffff7fff"},
      {-2147483648, "d280000000"},
      {-2147483649, "d3ffffffff7fffffff"},
      {std::numeric_limits<int64_t>::min(), "d38000000000000000"},
      {200, "ccc8"},
  };
  for (const auto& [value, hex] : cases) {
    EXPECT_EQ(packed_value("c", VEK_DATA_TYPE_INT64, std::bit_cast<uint64_t>(value)), hex) << value;
  }
  for (const auto& [value, hex] : kUnsigned) {
    if (value > 9223372036854775807u) continue;
    EXPECT_EQ(packed_value("c", VEK_DATA_TYPE_INT64, value), hex) << value;
  }
}

TEST(CounterRecord, PacksDoublesBitForBit) {
  for (const uint64_t bits :
       {std::bit_cast<uint64_t>(0.0), std::bit_cast<uint64_t>(-0.0), std::bit_cast<uint64_t>(1.5),
        uint64_t{0x7ff0000000000000}, uint64_t{0xfff8000000000001}, uint64_t{1}}) {
    const uint64_t swapped = __builtin_bswap64(bits);
    EXPECT_EQ(packed_value("c", VEK_DATA_TYPE_FP64, bits), "cb" + to_hex(&swapped, 8));
  }
}

TEST(CounterRecord, PacksGuidsAsHexadecimalText) {
  for (const char* name : {"port_guid", "node_guid", "GUID"}) {
    for (const uint32_t type : {VEK_DATA_TYPE_UINT64, VEK_DATA_TYPE_BIT64}) {
      EXPECT_EQ(packed_value(name, type, 255), "a4" + to_hex("0xff", 4));
      EXPECT_EQ(packed_value(name, type, 5), "a3" + to_hex("0x5", 3));
      EXPECT_EQ(packed_value(name, type, 0), "a3" + to_hex("0x0", 3));
      EXPECT_EQ(packed_value(name, type, UINT64_MAX), "b2" + to_hex("0xffffffffffffffff", 18));
    }
    EXPECT_EQ(packed_value(name, VEK_DATA_TYPE_INT64, 5), "05") << "only of unsigned types";
  }
  for (const char* name : {"guid", "port_guid2", "Port_guid", "GUI"}) {
    EXPECT_EQ(packed_value(name, VEK_DATA_TYPE_UINT64, 5), "05") << name;
  }
}

std::string packed_text(const std::string& text, uint32_t length) {
  const Schema schema = make_schema({{"c", VEK_DATA_TYPE_STRING, length}});
  Block block(schema.get(), kTime);
  block.put_text(schema.get(), "c", text);
  const GuardedBytes guarded(block.bytes());
  const std::string record = Record(guarded.data(), whole_set(schema).get(), "", "custom").hex();
  return record.substr(record.find("81a163") + 6);
}

TEST(CounterRecord, PacksTextsInTheirSmallestForm) {
  const std::pair<size_t, const char*> cases[] = {
      {0, "a0"},     {1, "a1"},       {31, "bf"},        {32, "d920"},
      {255, "d9ff"}, {256, "da0100"}, {65535, "daffff"}, {65536, "db00010000"},
  };
  for (const auto& [size, header] : cases) {
    const std::string text(size, 't');
    const std::string expected = header + to_hex(text.data(), text.size());
    EXPECT_EQ(packed_text(text, static_cast<uint32_t>(size + 1)), expected) << size;
    // A text that fills its field ends there; what lies behind cannot be read.
    if (size == 0) continue;
    EXPECT_EQ(packed_text(text, static_cast<uint32_t>(size)), expected) << size;
  }
}

TEST(CounterRecord, PacksKeysInTheirSmallestForm) {
  const std::pair<size_t, const char*> cases[] = {
      {31, "bf"},      {32, "d920"},      {255, "d9ff"},
      {256, "da0100"}, {65535, "daffff"}, {65536, "db00010000"},
  };
  for (const auto& [size, header] : cases) {
    const std::string name(size, 'k');
    const Schema schema = make_schema(named({name}));
    const Block block(schema.get(), kTime);
    const std::string hex = Record(block.data(), whole_set(schema).get(), "", "flb_std").hex();
    EXPECT_NE(hex.find(header + to_hex(name.data(), size) + "00"), std::string::npos) << size;
  }
}

TEST(CounterRecord, HasAMapHeaderOfEverySize) {
  const std::pair<size_t, const char*> cases[] = {
      {12, "8f"}, {13, "de0010"}, {65532, "deffff"}, {65533, "df00010000"}};
  for (const auto& [count, header] : cases) {
    const Schema schema = make_schema(std::vector<CounterSpec>(count, CounterSpec{"c"}));
    const Block block(schema.get(), kTime);
    EXPECT_THAT(Record(block.data(), whole_set(schema).get(), "s", "flb_std").hex(),
                StartsWith("92cb41d954fc40100000" + std::string(header)))
        << count;
  }
}

struct EveryType {
  Schema schema = make_schema({{"u", VEK_DATA_TYPE_UINT64},
                               {"text", VEK_DATA_TYPE_STRING, 5},
                               {"b", VEK_DATA_TYPE_BIT64},
                               {"f", VEK_DATA_TYPE_FP64},
                               {"i", VEK_DATA_TYPE_INT64},
                               {"port_guid", VEK_DATA_TYPE_UINT64}});
  Block block = Block(schema.get(), kTime);

  EveryType() {
    const auto* s = schema.get();
    block.put(s, "u", uint64_t{300}).put_text(s, "text", "up").put(s, "b", uint64_t{7});
    block.put(s, "f", -2.5).put(s, "i", int64_t{-40}).put(s, "port_guid", uint64_t{0xbeef});
  }
};

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

// --- entries that counters suppress, and the count of the source entry ---

std::string with_counters(const std::vector<std::string>& names, const char* source,
                          const char* layout) {
  const Schema schema = make_schema(named(names));
  const Block block(schema.get(), 5000000);
  return record_text(whole_set(schema), block, source, layout);
}

TEST(CounterRecord, GivesABuiltInEntrysPlaceToACounterOfItsName) {
  EXPECT_EQ(with_counters({"a", "type"}, "s", "flb_std"),
            R"([5.0,{"timestamp":5000000,"source":"s","a":0,"type":0}])");
  EXPECT_EQ(with_counters({"timestamp"}, "s", "flb_std"),
            R"([5.0,{"type":"counters","source":"s","timestamp":0}])");
  EXPECT_EQ(with_counters({"source"}, "s", "flb_std"),
            R"([5.0,{"timestamp":5000000,"type":"counters","source":0}])");
  EXPECT_EQ(with_counters({"type", "source", "timestamp"}, "s", "flb_std"),
            R"([5.0,{"type":0,"source":0,"timestamp":0}])");
}

TEST(CounterRecord, KeepsBuiltInEntriesForASkippedCounterOfTheirName) {
  const Schema schema = make_schema(named({"type", "a"}));
  const Set set = set_from_lines(schema.get(), "a\n");
  const Block block(schema.get(), 5000000);
  EXPECT_EQ(record_text(set, block, "s", "flb_std"),
            R"([5.0,{"timestamp":5000000,"type":"counters","source":"s","a":0}])");
}

TEST(CounterRecord, KeepsBuiltInEntriesInCustomForm) {
  EXPECT_EQ(with_counters({"type"}, "s", "custom"),
            R"({"timestamp":5000000,"type":"counters","source":"s","values":{"type":0}})");
}

// The count stays one too high without a source: receivers of this layout reckon with it.
TEST(CounterRecord, CountsTheSourceEntryEvenWhenTheSourceIsEmpty) {
  EXPECT_EQ(with_counters({"a"}, "", "flb_std"),
            R"([5.0,{"timestamp":5000000,"type":"counters","a":0,...1 missing}])");
  // A counter named "source" takes the entry and the count with it.
  EXPECT_EQ(with_counters({"source"}, "", "flb_std"),
            R"([5.0,{"timestamp":5000000,"type":"counters","source":0}])");
  EXPECT_EQ(with_counters({"a"}, "", "custom"),
            R"({"timestamp":5000000,"type":"counters","values":{"a":0}})");
}

// --- meta fields ---

constexpr char kMetaLines[] =
    "^u$\n"
    "meta_field_add:site=lab1\n"
    "meta_field_alias:timestamp=t\n"
    "meta_field_alias:source=s\n"
    "meta_field_alias:type=k\n"
    "meta_field_alias:port_guid=guid\n"
    "meta_field_alias:port_guid=GUID\n"
    "meta_field_alias:text=title\n"
    "meta_field_alias:nowhere=hidden\n"
    "meta_field_add:type=hidden\n";

TEST(CounterRecord, WritesMetaFieldsBeforeCountersInEventForm) {
  const EveryType all;
  const Set set = set_from_lines(all.schema.get(), kMetaLines);
  EXPECT_EQ(record_text(set, all.block, "node1", "flb_std"),
            R"([1700000000.25,{"timestamp":1700000000250000,"type":"counters","source":"node1",)"
            R"("site":"lab1","t":1700000000250000,"s":"node1","k":"counters","guid":48879,)"
            R"("GUID":"0xbeef","title":"up","u":300}])");
}

// The meta fields stand directly behind the header of "values", which announces the counters
// alone: its pairs are taken from the front, and the rest belongs to the outer map.
TEST(CounterRecord, WritesMetaFieldsRightBehindTheValuesHeaderInCustomForm) {
  const EveryType all;
  const Set set = set_from_lines(all.schema.get(),
                                 "^u$\n^f$\nmeta_field_add:site=lab1\nmeta_field_alias:source=s\n");
  EXPECT_EQ(record_text(set, all.block, "node1", "custom"),
            R"({"timestamp":1700000000250000,"type":"counters","source":"node1",)"
            R"("values":{"site":"lab1","s":"node1"},"u":300,"f":-2.5})");
}

TEST(CounterRecord, WritesAnEmptySourceUnderItsAlias) {
  const EveryType all;
  const Set set = set_from_lines(all.schema.get(), "^u$\nmeta_field_alias:source=s\n");
  EXPECT_EQ(record_text(set, all.block, "", "custom"),
            R"({"timestamp":1700000000250000,"type":"counters","values":{"s":""},"u":300})");
}

// --- what should not be there ---

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

TEST(CounterRecord, IsIncompleteWhenMemoryRunsOut) {
  if (!FailAllocation::available()) GTEST_SKIP();
  const Schema schema = make_schema({{"a"}, {"t", VEK_DATA_TYPE_STRING, 100'000}, {"b"}});
  Block block(schema.get(), 5000000);
  block.put_text(schema.get(), "t", std::string(100'000, 't'));
  const Set set = whole_set(schema);
  {
    FailAllocation first(1);
    const Record record(block.data(), set.get(), "s", "flb_std");
    EXPECT_TRUE(first.disarm());
    EXPECT_EQ(record.buffer().size, 0u);
  }
  FailAllocation growing(2);
  const Record record(block.data(), set.get(), "s", "flb_std");
  EXPECT_TRUE(growing.disarm());
  // "b" would fit again, but nothing is written behind the gap.
  EXPECT_EQ(record.text(),
            R"([5.0,{"timestamp":5000000,"type":"counters","source":"s","a":0,...2 missing}])");
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

// --- the extent of a set ---

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
