#include <gtest/gtest.h>

#include <algorithm>

#include "data/type_system.h"
#include "tests/data/cpu_time.h"
#include "tests/data/schema_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"

namespace {

using vek::JsonText;
using vek::JsonValue;
using vek::OwnedTypeSystem;
using vek::test::add_type;
using vek::test::FailAllocation;
using vek::test::field_text;
using vek::test::golden;
using vek::test::hex_id;
using vek::test::LogCapture;
using vek::test::schema_document;
using vek::test::type_text;

using Lines = std::vector<std::string>;

OwnedTypeSystem read(const std::string& text) {
  return OwnedTypeSystem(vek_type_system_deserialize(text.c_str()));
}

std::string document(const std::string& members) {
  return R"({"version":"1.5.0",)" + members + "}";
}

std::string schemas(const std::string& elements) {
  return document(R"("schemas":[)" + elements + "]");
}

TEST(TypeSystemJson, IsWrittenAsItWasRead) {
  const std::string text = golden("type_system");
  const OwnedTypeSystem ts = read(text);
  ASSERT_NE(ts, nullptr);
  EXPECT_EQ(ts->num_schemas, 2);
  EXPECT_EQ(JsonText(vek_type_system_serialize(ts.get(), true)).get(), text);
}

TEST(TypeSystemJson, IsWrittenCompactOnDemand) {
  const OwnedTypeSystem ts(vek_create_type_system());
  EXPECT_STREQ(JsonText(vek_type_system_serialize(ts.get(), false)).get(),
               R"({"name":"Vekora type system","version":"1.5.0","counters_schema":)"
               R"({"title":"Vekora performance counters collector","version":"1.5.0",)"
               R"("counter_groups":[]},"schemas":[]})");
}

TEST(TypeSystemJson, ATypeSystemWithoutCountersHasNoSuchKey) {
  const OwnedTypeSystem ts = read(schemas(""));
  ASSERT_NE(ts, nullptr);
  EXPECT_STREQ(JsonText(vek_type_system_serialize(ts.get(), false)).get(),
               R"({"name":"Vekora type system","version":"1.5.0","schemas":[]})");
}

TEST(TypeSystemJson, SchemasWithoutTypesAreLeftOut) {
  const OwnedTypeSystem ts = read(schemas(""));
  (void)vek_type_system_add_schema(ts.get(), "empty", 0, nullptr);
  vek_schema_t* schema = vek_type_system_add_schema(ts.get(), "full", 0, nullptr);
  ASSERT_EQ(add_type(schema, "t", {}), 0);
  (void)vek_type_system_add_schema(ts.get(), "empty", 0, nullptr);
  LogCapture log;
  const JsonValue json(vek_type_system_jsonify(ts.get()));
  const JSON_Array* array = json_object_get_array(json_value_get_object(json.get()), "schemas");
  ASSERT_EQ(json_array_get_count(array), 1u);
  EXPECT_STREQ(json_object_get_string(json_array_get_object(array, 0), "provider_name"), "full");
  EXPECT_TRUE(log.lines().empty());
}

TEST(TypeSystemJson, CountersThatCannotBeWrittenLeaveNoText) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const OwnedTypeSystem ts(vek_create_type_system());
  Lines seen;
  for (unsigned n = 1;; ++n) {
    LogCapture log;
    FailAllocation failing(n);
    const JsonText text(vek_type_system_serialize(ts.get(), true));
    if (!failing.disarm()) break;
    const Lines errors = log.errors();
    seen.insert(seen.end(), errors.begin(), errors.end());
  }
  EXPECT_NE(std::find(seen.begin(), seen.end(), "[ts] failed to serialize counters schema"),
            seen.end());
}

TEST(TypeSystemJson, NothingHasNoJson) {
  EXPECT_EQ(vek_type_system_jsonify(nullptr), nullptr);
  EXPECT_EQ(vek_type_system_serialize(nullptr, true), nullptr);
}

TEST(TypeSystemRead, RefusesWhatIsNoJson) {
  for (const char* text : {"", "{", "version"}) {
    LogCapture log;
    EXPECT_EQ(read(text), nullptr);
    EXPECT_EQ(log.errors(), Lines{"Failed parsing schema JSON string"});
  }
  EXPECT_EQ(vek_type_system_deserialize(nullptr), nullptr);
}

TEST(TypeSystemRead, RefusesWhatIsNoObject) {
  for (const char* text : {"[]", "1", "null", "\"version\""}) {
    LogCapture log;
    EXPECT_EQ(read(text), nullptr) << text;
    EXPECT_EQ(log.errors(), Lines{"[ts] Failed to deserialize: schema is not a JSON object"});
  }
}

TEST(TypeSystemRead, NeedsAVersionText) {
  for (const char* text : {R"({"schemas":[]})", R"({"version":1.5,"schemas":[]})",
                           R"({"version":null,"schemas":[]})"}) {
    LogCapture log;
    EXPECT_EQ(read(text), nullptr) << text;
    EXPECT_EQ(log.errors(), Lines{"[ts] Failed to deserialize: missing Vekora schema version"});
  }
}

TEST(TypeSystemRead, RefusesVersionsBelowTheLowest) {
  const struct {
    const char* version;
    const char* shown;  // null when accepted
  } cases[] = {{"1.4.0", nullptr}, {"1.4", nullptr},   {"1.5.0", nullptr}, {"1.200.0", nullptr},
               {"2.0.0", nullptr}, {"1.3.9", "1.3.9"}, {"0.9.0", "0.9.0"}, {"1.0.7", "1.0.7"},
               {"what", "0.0.0"},  {"", "0.0.0"}};
  for (const auto& c : cases) {
    LogCapture log;
    const OwnedTypeSystem ts =
        read(R"({"version":")" + std::string(c.version) + R"(","schemas":[]})");
    EXPECT_EQ(ts == nullptr, c.shown != nullptr) << c.version;
    if (!c.shown) continue;
    EXPECT_EQ(log.errors(),
              Lines{"[ts] Failed to deserialize: schema version " + std::string(c.shown) +
                    " is incompatible with the deserializer, the minimal supported schema version "
                    "is 1.4.0"});
  }
}

TEST(TypeSystemRead, EmbeddedSchemasAnswerForTheirOwnVersion) {
  const std::string types = type_text("t");
  EXPECT_NE(read(R"({"version":"2.0.0","schemas":[)" + schema_document(types) + "]}"), nullptr);
  LogCapture log;
  EXPECT_EQ(read(schemas(schema_document(types, "1.6.0"))), nullptr);
  EXPECT_EQ(log.errors(), (Lines{"Schema version 1.6.0 is incompatible with current version 1.5.0",
                                 "[ts] Failed to deserialize: unable to decode type schema"}));
}

TEST(TypeSystemRead, ABareCountersSchemaIsATypeSystemWithoutEvents) {
  const OwnedTypeSystem ts = read(R"({"version":"1.5.0","counter_groups":[]})");
  ASSERT_NE(ts, nullptr);
  EXPECT_NE(ts->counters_schema, nullptr);
  EXPECT_EQ(ts->num_schemas, 0);
  EXPECT_EQ(read(golden("counters_every_type"))->counters_schema->num_groups, 3u);
}

TEST(TypeSystemRead, CountersAloneAreComplete) {
  const OwnedTypeSystem ts = read(document(R"("counters_schema":)" + golden("counters_one_group")));
  ASSERT_NE(ts, nullptr);
  EXPECT_EQ(ts->counters_schema->num_groups, 1u);
  EXPECT_EQ(ts->num_schemas, 0);
}

TEST(TypeSystemRead, SchemasAloneLeaveNoCountersSchema) {
  const OwnedTypeSystem ts = read(schemas(golden("events_point")));
  ASSERT_NE(ts, nullptr);
  EXPECT_EQ(ts->counters_schema, nullptr);
  EXPECT_EQ(ts->num_schemas, 1);
  EXPECT_EQ(ts->schemas[0]->parent, ts->builtin);
  EXPECT_STREQ(ts->schemas[0]->types[0]->fields[0]->type->name, "int");
}

TEST(TypeSystemRead, SchemasThatAreNoArrayCountAsAbsent) {
  LogCapture log;
  EXPECT_NE(read(document(R"("schemas":{},"counters_schema":)" + golden("counters_empty"))),
            nullptr);
  EXPECT_NE(read(document(R"("schemas":"none","counter_groups":[])")), nullptr);
  EXPECT_TRUE(log.errors().empty());
  EXPECT_EQ(read(document(R"("schemas":1)")), nullptr);
  EXPECT_EQ(log.errors(), Lines{"[schema writer] schema was not recognized neither as type system "
                                "nor as counters schema"});
}

TEST(TypeSystemRead, NeitherCountersNorSchemasIsNotRecognised) {
  for (const char* members : {R"("name":"x")", R"("counter_groups":{})"}) {
    LogCapture log;
    EXPECT_EQ(read(document(members)), nullptr);
    EXPECT_EQ(log.errors(), Lines{"[schema writer] schema was not recognized neither as type "
                                  "system nor as counters schema"});
  }
}

TEST(TypeSystemRead, CountersThatCannotBeReadFailIt) {
  for (const char* counters : {"{}", "null", "[]"}) {
    LogCapture log;
    EXPECT_EQ(read(document(R"("counters_schema":)" + std::string(counters))), nullptr);
    EXPECT_EQ(log.errors().back(), "[ts] Failed to deserialize: unable to decode counters schema");
  }
  LogCapture log;
  EXPECT_EQ(read(document(R"("counter_groups":[1])")), nullptr);
  EXPECT_EQ(log.errors().back(),
            "[ts] Failed to deserialize: unable to decode JSON as counters schema");
}

TEST(TypeSystemRead, OneBadSchemaLeavesNothing) {
  LogCapture log;
  EXPECT_EQ(read(schemas(golden("events_point") + ",{}")), nullptr);
  EXPECT_EQ(log.errors(), Lines{"[ts] Failed to deserialize: unable to decode type schema"});
  log.clear();
  EXPECT_EQ(read(schemas(schema_document(type_text("t", field_text("f", "what"))))), nullptr);
  EXPECT_EQ(log.errors(),
            (Lines{"Definition of type what not found within the schema p",
                   "[ts] Failed to deserialize: unable to adjust type fields of schema p"}));
}

std::string many_schemas(size_t count) {
  const std::string one = schema_document(type_text("t"));
  std::string all = one;
  for (size_t i = 1; i < count; ++i) all += "," + one;
  return schemas(all);
}

TEST(TypeSystemRead, KeepsTheFirst255Schemas) {
  LogCapture log;
  EXPECT_EQ(read(many_schemas(255))->num_schemas, 255);
  EXPECT_TRUE(log.errors().empty());
  const OwnedTypeSystem ts = read(many_schemas(256));
  ASSERT_NE(ts, nullptr);
  EXPECT_EQ(ts->num_schemas, 255);
  EXPECT_EQ(log.errors(),
            Lines{"[ts] Failed to deserialize: number of schemas 256 exceeds limit 255"});
}

TEST(TypeSystemRead, SchemasBehindTheFirst255AreNotLookedAt) {
  std::string text = many_schemas(255);
  text.resize(text.size() - 2);
  EXPECT_NE(read(text + ",{\"no\":\"schema\"}]}"), nullptr);
}

TEST(TypeSystemRead, AHundredThousandSchemasTakeBoundedTime) {
  std::string text = R"({"version":"1.5.0","schemas":[)" + schema_document(type_text("t"));
  for (int i = 1; i < 255; ++i) text += "," + schema_document(type_text("t"));
  for (int i = 255; i < 100000; ++i) text += ",{}";
  const vek::test::CpuTime time;
  LogCapture log;
  const OwnedTypeSystem ts = read(text + "]}");
  ASSERT_NE(ts, nullptr);
  EXPECT_EQ(ts->num_schemas, 255);
  EXPECT_LT(time.seconds(), vek::test::kLinearSeconds);
}

TEST(TypeSystemRead, AHundredThousandCounterGroupsTakeBoundedTime) {
  const std::string group =
      R"({"granularity":"NODE","num_counters":0,"num_counter_sets":1,"counters":[]})";
  std::string text = R"({"version":"1.5.0","counter_groups":[)" + group;
  for (int i = 1; i < 100000; ++i) text += "," + group;
  const vek::test::CpuTime time;
  const OwnedTypeSystem ts = read(text + "]}");
  ASSERT_NE(ts, nullptr);
  EXPECT_EQ(ts->counters_schema->num_groups, 100000u);
  EXPECT_LT(time.seconds(), vek::test::kLinearSeconds);
}

TEST(TypeSystemRead, CutAtAnyLengthItIsRefused) {
  const std::string text = golden("type_system");
  for (size_t length = 0; length < text.size(); ++length) {
    LogCapture log(3);
    ASSERT_EQ(read(text.substr(0, length)), nullptr) << length;
    ASSERT_EQ(log.errors(), Lines{"Failed parsing schema JSON string"}) << length;
  }
}

TEST(TypeSystemRead, WithoutMemoryNothingIsLeftBehind) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const JsonValue json(json_parse_string(schemas(golden("events_point")).c_str()));
  Lines seen;
  for (unsigned n = 1;; ++n) {
    LogCapture log(3);
    FailAllocation failing(n);
    const OwnedTypeSystem ts(vek_type_system_from_json(json.get()));
    if (!failing.disarm()) break;
    const Lines errors = log.errors();
    seen.insert(seen.end(), errors.begin(), errors.end());
  }
  for (const char* line : {"[ts] Failed to deserialize: unable to create type system object",
                           "[ts] Failed to fill schema 'geometry' md5 digest"}) {
    EXPECT_NE(std::find(seen.begin(), seen.end(), line), seen.end()) << line;
  }
}

}  // namespace
