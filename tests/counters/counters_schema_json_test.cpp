#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "counters/counters_schema.h"
#include "json/json_owned.h"
#include "tests/counters/counters_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kGroup[] =
    R"({"granularity":"NODE","num_counters":0,"num_counter_sets":1,"counters":[)"
    R"({"name":"a","description":"","units":"","data_type":"INT64","counting_type":"ABSOLUTE",)"
    R"("length":4,"offset":999}]})";

std::string document(const std::string& version, const std::string& groups) {
  return R"({"version":")" + version + R"(","counter_groups":[)" + groups + "]}";
}

Schema read(const std::string& text) {
  return Schema(vek_counters_schema_deserialize(text.c_str()));
}

// Identifiers are digests of this text: every byte of it counts.
TEST(CountersSchemaJson, IsThisTextToTheByte) {
  const Schema schema = make_schema({{"a"}, {"t", VEK_DATA_TYPE_STRING, 16, "x/y"}});
  const JsonText text(vek_counters_schema_serialize(schema.get()));
  EXPECT_STREQ(text.get(), R"({
    "title": "Vekora performance counters collector",
    "version": "1.5.0",
    "counter_groups": [
        {
            "granularity": "NODE",
            "name": "group0",
            "num_counter_sets": 1,
            "num_counters": 2,
            "counters": [
                {
                    "name": "a",
                    "description": "",
                    "units": "",
                    "data_type": "UINT64",
                    "length": 0,
                    "offset": 0,
                    "hidden": 0,
                    "mandatory": 0,
                    "counting_type": "ABSOLUTE"
                },
                {
                    "name": "t",
                    "description": "x\/y",
                    "units": "",
                    "data_type": "STRING",
                    "length": 16,
                    "offset": 8,
                    "hidden": 0,
                    "mandatory": 0,
                    "counting_type": "ABSOLUTE"
                }
            ]
        }
    ]
})");
}

TEST(CountersSchemaJson, ComesBackAsItWasWritten) {
  const Schema schema =
      make_schema({{{"a"}, {"t", VEK_DATA_TYPE_STRING, 5}}, {{"b", VEK_DATA_TYPE_FP64}}, {}});
  const JsonText text(vek_counters_schema_serialize(schema.get()));
  const Schema again = read(text.get());
  ASSERT_TRUE(again);
  const JsonText text_again(vek_counters_schema_serialize(again.get()));
  EXPECT_STREQ(text.get(), text_again.get());
  EXPECT_EQ(again->size_of_counters, schema->size_of_counters);
}

TEST(CountersSchemaJson, ComputesOffsetsAndSizeWhenRead) {
  const Schema schema = read(document("1.5.0", std::string(kGroup) + "," + kGroup));
  ASSERT_TRUE(schema);
  ASSERT_EQ(schema->num_groups, 2u);
  EXPECT_EQ(schema->groups[0]->counters[0]->offset, 0u);
  EXPECT_EQ(schema->groups[1]->counters[0]->offset, 4u);
  EXPECT_EQ(schema->size_of_counters, 16u);
}

TEST(CountersSchemaJson, ReadsADocumentOfAnotherVersionAndTellsIt) {
  for (const char* version : {"2.0.0", "1.6.0", "abc"}) {
    const LogCapture log;
    EXPECT_TRUE(read(document(version, kGroup))) << version;
    EXPECT_THAT(log.errors(),
                ElementsAre(std::string("Version '") + version +
                            "' of parsing schema is incompatible with current schema version "
                            "'1.5.0'"));
  }
  for (const char* version : {"1.5.0", "1.5.9", "1.0.0"}) {
    const LogCapture log;
    EXPECT_TRUE(read(document(version, kGroup)));
    EXPECT_THAT(log.errors(), IsEmpty());
  }
}

TEST(CountersSchemaJson, MayHaveNoGroups) {
  const Schema schema = read(document("1.5.0", ""));
  ASSERT_TRUE(schema);
  EXPECT_EQ(schema->num_groups, 0u);
  EXPECT_EQ(schema->size_of_counters, 0u);
}

TEST(CountersSchemaJson, IsRefusedWhenAKeyIsMissingOrOfAnotherType) {
  for (const char* text :
       {"{}", "[]", R"({"version":"1.5.0"})", R"({"counter_groups":[]})",
        R"({"version":1,"counter_groups":[]})", R"({"version":"1.5.0","counter_groups":{}})"}) {
    const LogCapture log;
    EXPECT_FALSE(read(text)) << text;
    EXPECT_THAT(log.errors(), ElementsAre("JSON does not match schema "
                                          "'{\"version\" : \"\", \"counter_groups\" : []}'"));
  }
}

TEST(CountersSchemaJson, IsRefusedWhenOneGroupIsBad) {
  const LogCapture log;
  EXPECT_FALSE(read(document("1.5.0", std::string(kGroup) + ",{}")));
  EXPECT_EQ(log.errors().back(), "Failed to decode counter group from JSON");
}

TEST(CountersSchemaJson, IsRefusedWhenItIsNotJson) {
  for (const char* text : {"", "{", "nonsense", R"({"version":"1.5.0","counter_groups":[{)"}) {
    const LogCapture log;
    EXPECT_FALSE(read(text)) << text;
    EXPECT_THAT(log.errors(), ElementsAre("Failed parsing counters schema JSON from string"));
  }
}

TEST(CountersSchemaJson, ReadsAHundredThousandGroups) {
  std::string groups;
  constexpr size_t kCount = 100'000;
  for (size_t i = 0; i < kCount; ++i) {
    if (i) groups += ',';
    groups += R"({"granularity":"CPU","num_counters":0,"num_counter_sets":1,"counters":[]})";
  }
  const Schema schema = read(document("1.5.0", groups));
  ASSERT_TRUE(schema);
  EXPECT_EQ(schema->num_groups, kCount);
}

TEST(CountersSchemaJson, OfNullIsNull) {
  const LogCapture log;
  EXPECT_EQ(vek_counters_schema_jsonify(nullptr), nullptr);
  EXPECT_EQ(vek_counters_schema_from_json(nullptr), nullptr);
  EXPECT_EQ(vek_counters_schema_serialize(nullptr), nullptr);
  EXPECT_EQ(vek_counters_schema_deserialize(nullptr), nullptr);
  EXPECT_THAT(log.errors(), Contains("Failed to JSONify counters schemaector schema"));
}

// Whatever allocation fails, nothing crashes and the caller learns of it: a document that lacks a
// text would have another's identifier.
TEST(CountersSchemaJson, SurvivesEveryFailingAllocation) {
  if (!FailAllocation::available()) GTEST_SKIP();
  const std::vector<std::vector<CounterSpec>> groups = {{{"a"}}, {{"b"}}};
  const Schema schema = make_schema(groups);
  schema->groups[1]->provider_name = strdup("a provider whose name needs memory");
  const JsonText whole(vek_counters_schema_serialize(schema.get()));
  std::vector<std::string> messages;
  unsigned failures = 0;
  for (unsigned n = 1;; ++n) {
    const LogCapture log(VEK_LOG_ERROR);
    FailAllocation failing(n);
    const JsonText text(vek_counters_schema_serialize(schema.get()));
    if (!failing.disarm()) {
      EXPECT_TRUE(text);
      break;
    }
    EXPECT_TRUE(!text || std::string_view(text.get()) == whole.get()) << n << text.get();
    ++failures;
    for (std::string& line : log.errors()) messages.push_back(std::move(line));
  }
  EXPECT_GT(failures, 20u);
  EXPECT_THAT(messages, Contains("[vek_counters_schema_jsonify] json_value_init_object() failed"));
  EXPECT_THAT(messages, Contains("Failed to JSONify counter group #0"));
  EXPECT_THAT(messages, Contains("Failed to append JSON array with counter group #0"));
  EXPECT_THAT(messages, Contains("Failed to serialize JSON counters schemaector schema"));
}

TEST(CountersSchemaJson, ReadingSurvivesEveryFailingAllocation) {
  if (!FailAllocation::available()) GTEST_SKIP();
  const JsonValue json(json_parse_string(document("1.5.0", kGroup).c_str()));
  std::vector<std::string> messages;
  for (unsigned n = 1;; ++n) {
    const LogCapture log(VEK_LOG_ERROR);
    FailAllocation failing(n);
    const Schema schema(vek_counters_schema_from_json(json.get()));
    if (!failing.disarm()) {
      EXPECT_TRUE(schema);
      break;
    }
    EXPECT_FALSE(schema) << n;
    for (std::string& line : log.errors()) messages.push_back(std::move(line));
  }
  EXPECT_THAT(messages, Contains("Failed to allocate schema object: Cannot allocate memory"));
  EXPECT_THAT(messages,
              Contains("Failed to allocate counter groups array: Cannot allocate memory"));
}

}  // namespace
}  // namespace vek::test
