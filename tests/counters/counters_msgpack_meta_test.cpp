// Built-in entries of a record, and the meta fields beside them.
#include <gtest/gtest.h>

#include "tests/counters/record_samples.h"

namespace vek::test {
namespace {

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

}  // namespace
}  // namespace vek::test
