#include <gtest/gtest.h>

#include "counters/counter_group.h"
#include "json/json_owned.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

constexpr char kCounter[] =
    R"({"name":"a","description":"","units":"","data_type":"UINT64","counting_type":"ABSOLUTE"})";

std::string written(const vek_counter_group_t* group) {
  const JsonValue json(vek_counter_group_jsonify(group));
  const JsonText text(json_serialize_to_string(json.get()));
  return text ? text.get() : "";
}

Group read(const std::string& text) {
  const JsonValue json(json_parse_string(text.c_str()));
  EXPECT_TRUE(json) << text;
  return Group(vek_counter_group_from_json(json.get()));
}

TEST(CounterGroupJson, IsWrittenInItsOrder) {
  const Group group = make_group("g", named({"a"}), 3);
  group->granularity = VEK_GRANULARITY_CPU;
  group->provider_name = strdup("p");
  EXPECT_EQ(written(group.get()),
            R"({"granularity":"CPU","name":"g","provider":"p","num_counter_sets":3,)"
            R"("num_counters":1,"counters":[{"name":"a","description":"","units":"",)"
            R"("data_type":"UINT64","length":0,"offset":0,"hidden":0,"mandatory":0,)"
            R"("counting_type":"ABSOLUTE"}]})");
}

TEST(CounterGroupJson, TakesTheNameOfTheProviderForWantOfAnother) {
  vek_counter_provider_t provider = {};
  provider.name = "prov";
  vek_counter_group_t group = {};
  group.provider = &provider;
  EXPECT_EQ(written(&group),
            R"({"granularity":"NODE","name":"prov","num_counter_sets":0,"num_counters":0,)"
            R"("counters":[]})");
  group.provider = nullptr;
  EXPECT_EQ(written(&group),
            R"({"granularity":"NODE","num_counter_sets":0,"num_counters":0,"counters":[]})");
}

TEST(CounterGroupJson, CountsWhatItReadsNotWhatIsAnnounced) {
  const Group group = read(std::string(R"({"granularity":"PACKAGE","num_counters":7,)") +
                           R"("num_counter_sets":2,"counters":[)" + kCounter + "," + kCounter +
                           "," + kCounter + "]}");
  ASSERT_TRUE(group);
  EXPECT_EQ(group->num_counters, 3u);
  EXPECT_EQ(group->num_counter_sets, 2u);
  EXPECT_EQ(group->granularity, 2u);
  EXPECT_EQ(group->name, nullptr);
  EXPECT_EQ(group->provider_name, nullptr);
  EXPECT_EQ(group->provider, nullptr);
  EXPECT_EQ(group->info, nullptr);
}

TEST(CounterGroupJson, KeepsNameAndProvider) {
  const Group group =
      read(R"({"granularity":"X","num_counters":0,"num_counter_sets":1,"counters":[],)"
           R"("name":"n","provider":"p"})");
  ASSERT_TRUE(group);
  EXPECT_STREQ(group->name, "n");
  EXPECT_STREQ(group->provider_name, "p");
  EXPECT_EQ(group->granularity, 4294967295u);
}

TEST(CounterGroupJson, IsRefusedWhenOneCounterIsBad) {
  const LogCapture log;
  EXPECT_FALSE(read(std::string(R"({"granularity":"NODE","num_counters":2,)") +
                    R"("num_counter_sets":1,"counters":[)" + kCounter + ",{}]}"));
  EXPECT_EQ(log.errors().size(), 1u);
}

TEST(CounterGroupJson, IsRefusedWhenAKeyIsMissingOrOfAnotherType) {
  const char* documents[] = {
      R"({"num_counters":0,"num_counter_sets":1,"counters":[]})",
      R"({"granularity":"NODE","num_counter_sets":1,"counters":[]})",
      R"({"granularity":"NODE","num_counters":0,"counters":[]})",
      R"({"granularity":"NODE","num_counters":0,"num_counter_sets":1})",
      R"({"granularity":"NODE","num_counters":0,"num_counter_sets":"1","counters":[]})",
      R"({"granularity":"NODE","num_counters":0,"num_counter_sets":1,"counters":{}})",
      R"(null)",
  };
  for (const char* document : documents) {
    const LogCapture log;
    EXPECT_FALSE(read(document)) << document;
    EXPECT_EQ(log.errors().size(), 1u);
  }
}

TEST(CounterGroupJson, OfNullIsNull) {
  const LogCapture log;
  EXPECT_EQ(vek_counter_group_jsonify(nullptr), nullptr);
  EXPECT_EQ(vek_counter_group_from_json(nullptr), nullptr);
}

}  // namespace
}  // namespace vek::test
