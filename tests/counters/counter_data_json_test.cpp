#include <gtest/gtest.h>

#include <cstdlib>

#include "counters/counter_data.h"
#include "json/json_owned.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

constexpr char kTemplate[] =
    R"({"name" : "", "description" : "", "units" : "", "data_type" : "", "counting_type" : ""})";

struct Freed {
  void operator()(vek_counter_info_t* counter) const {
    vek_destroy_counter_info(counter);
    std::free(counter);
  }
};
using Counter = std::unique_ptr<vek_counter_info_t, Freed>;

Counter read(const char* text) {
  const JsonValue json(json_parse_string(text));
  EXPECT_TRUE(json) << text;
  return Counter(vek_counter_info_from_json(json.get()));
}

std::string written(const vek_counter_info_t* counter) {
  const JsonValue json(vek_counter_info_jsonify(counter));
  const JsonText text(json_serialize_to_string(json.get()));
  return text ? text.get() : "";
}

TEST(CounterInfoJson, IsWrittenInItsOrder) {
  char name[] = "rx";
  char description[] = "received";
  char units[] = "bytes";
  const vek_counter_info_t counter = {
      name, description, units, VEK_DATA_TYPE_STRING, VEK_COUNTING_RUNNING_SUM, 24, 16,
      7,    true,        false};
  EXPECT_EQ(written(&counter),
            R"({"name":"rx","description":"received","units":"bytes","data_type":"STRING",)"
            R"("length":16,"offset":24,"hidden":1,"mandatory":0,"counting_type":"RUNNING_SUM"})");
}

TEST(CounterInfoJson, ComesBackAsItWasWritten) {
  const char* text =
      R"({"name":"rx","description":"","units":"u","data_type":"FP64","length":8,"offset":40,)"
      R"("hidden":0,"mandatory":1,"counting_type":"ABSOLUTE"})";
  const Counter counter = read(text);
  ASSERT_TRUE(counter);
  EXPECT_EQ(counter->data_type, 2u);
  EXPECT_EQ(counter->reserved, 0u);
  EXPECT_FALSE(counter->hidden);
  EXPECT_TRUE(counter->mandatory);
  EXPECT_EQ(written(counter.get()), text);
}

TEST(CounterInfoJson, AbsentNumbersAreZero) {
  const Counter counter = read(
      R"({"name":"a","description":"","units":"","data_type":"UINT64","counting_type":"ABSOLUTE"})");
  ASSERT_TRUE(counter);
  EXPECT_EQ(counter->offset, 0u);
  EXPECT_EQ(counter->length, 0u);
  EXPECT_FALSE(counter->hidden);
  EXPECT_FALSE(counter->mandatory);
}

TEST(CounterInfoJson, UnknownNamesReadAsNotFound) {
  const Counter counter = read(R"({"name":"a","description":"","units":"","data_type":"UINT32",)"
                               R"("counting_type":"ABSOLUTE_MONOTONIC"})");
  ASSERT_TRUE(counter);
  EXPECT_EQ(counter->data_type, 4294967295u);
  EXPECT_EQ(counter->counting_type, 4294967295u);
  // What has no name is left out of the text.
  EXPECT_EQ(written(counter.get()),
            R"({"name":"a","description":"","units":"","length":0,"offset":0,"hidden":0,)"
            R"("mandatory":0})");
}

TEST(CounterInfoJson, NumbersOutOfRangeTakeTheNearestEnd) {
  const Counter counter = read(
      R"({"name":"a","description":"","units":"","data_type":"UINT64","counting_type":"ABSOLUTE",)"
      R"("offset":-5,"length":1e300,"hidden":-0.5,"mandatory":2})");
  ASSERT_TRUE(counter);
  EXPECT_EQ(counter->offset, 0u);
  EXPECT_EQ(counter->length, 4294967295u);
  EXPECT_TRUE(counter->hidden);
  EXPECT_TRUE(counter->mandatory);
}

TEST(CounterInfoJson, IsRefusedWhenAKeyIsMissingOrOfAnotherType) {
  const char* documents[] = {
      R"({})",
      R"([])",
      R"({"description":"","units":"","data_type":"UINT64","counting_type":"ABSOLUTE"})",
      R"({"name":"a","units":"","data_type":"UINT64","counting_type":"ABSOLUTE"})",
      R"({"name":"a","description":"","data_type":"UINT64","counting_type":"ABSOLUTE"})",
      R"({"name":"a","description":"","units":"","counting_type":"ABSOLUTE"})",
      R"({"name":"a","description":"","units":"","data_type":"UINT64"})",
      R"({"name":1,"description":"","units":"","data_type":"UINT64","counting_type":"ABSOLUTE"})",
      R"({"name":"a","description":"","units":"","data_type":1,"counting_type":"ABSOLUTE"})",
  };
  for (const char* document : documents) {
    const LogCapture log;
    EXPECT_FALSE(read(document)) << document;
    EXPECT_TRUE(log.has(3, std::string("JSON does not match schema '") + kTemplate + "'"));
  }
}

TEST(CounterInfoJson, OfNullIsNull) {
  const LogCapture log;
  EXPECT_EQ(vek_counter_info_jsonify(nullptr), nullptr);
  EXPECT_EQ(vek_counter_info_from_json(nullptr), nullptr);
}

}  // namespace
}  // namespace vek::test
