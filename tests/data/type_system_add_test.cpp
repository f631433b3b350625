#include <gtest/gtest.h>

#include "data/type_system.h"
#include "tests/data/schema_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace {

using vek::OwnedTypeSystem;
using vek::test::field_text;
using vek::test::golden;
using vek::test::hex_id;
using vek::test::LogCapture;
using vek::test::schema_document;
using vek::test::TempDir;
using vek::test::type_text;

using Lines = std::vector<std::string>;

class AddSerializedSchema : public testing::Test {
 protected:
  uint32_t add(const std::string& text) {
    index_ = 99;
    return vek_type_system_add_schema_from_serialized_json(ts_.get(), text.c_str(), &index_);
  }

  OwnedTypeSystem ts_{vek_create_type_system()};
  uint8_t index_ = 99;
};

TEST_F(AddSerializedSchema, KeepsTheDigestOfTheTextAsReceived) {
  LogCapture log;
  ASSERT_EQ(add(golden("events_nested")), 0u);
  EXPECT_TRUE(log.has(7, "FOUND EVENTS SCHEMA"));
  EXPECT_EQ(index_, 0);
  ASSERT_EQ(ts_->num_schemas, 1);
  const vek_schema_t* schema = ts_->schemas[0];
  EXPECT_STREQ(schema->id_string, "9d1da838ee7b8d0f046a61b9e15f6163");
  EXPECT_EQ(hex_id(schema->digest), schema->id_string);
  EXPECT_EQ(schema->parent, ts_->builtin);
  EXPECT_EQ(schema->types[1]->fields[0]->type, schema->types[0]);
  EXPECT_EQ(schema->types[0]->fields[0]->type,
            vek_schema_find_type_definition(ts_->builtin, "uint64_t"));
}

TEST_F(AddSerializedSchema, TheSameTextTwiceIsKeptOnce) {
  ASSERT_EQ(add(golden("events_point")), 0u);
  ASSERT_EQ(add(golden("events_nested")), 0u);
  EXPECT_EQ(index_, 1);
  LogCapture log;
  ASSERT_EQ(add(golden("events_point")), 0u);
  EXPECT_EQ(index_, 0) << "the slot of the first";
  EXPECT_TRUE(log.has(7, "Schema already exists"));
  EXPECT_FALSE(log.has(7, "FOUND EVENTS SCHEMA"));
  EXPECT_EQ(ts_->num_schemas, 2);
}

TEST_F(AddSerializedSchema, OtherWhiteSpaceMakesAnotherSchema) {
  ASSERT_EQ(add(golden("events_point")), 0u);
  ASSERT_EQ(add(golden("events_point") + "\n"), 0u);
  EXPECT_EQ(index_, 1);
  EXPECT_EQ(ts_->num_schemas, 2);
  EXPECT_STRNE(ts_->schemas[0]->id_string, ts_->schemas[1]->id_string);
}

TEST_F(AddSerializedSchema, TheSlotNeedsNotBeAskedFor) {
  EXPECT_EQ(vek_type_system_add_schema_from_serialized_json(
                ts_.get(), golden("events_point").c_str(), nullptr),
            0u);
  EXPECT_EQ(vek_type_system_add_schema_from_serialized_json(
                ts_.get(), golden("counters_empty").c_str(), nullptr),
            0u);
}

TEST_F(AddSerializedSchema, AFieldOfAnUnknownTypeIsLetThrough) {
  EXPECT_EQ(add(schema_document(type_text("t", field_text("f", "what")))), 0u);
  EXPECT_EQ(ts_->num_schemas, 1);
  EXPECT_EQ(ts_->schemas[0]->types[0]->fields[0]->type, nullptr);
}

TEST_F(AddSerializedSchema, ACountersSchemaReplacesTheOldOne) {
  LogCapture log;
  ASSERT_EQ(add(golden("counters_one_group")), 0u);
  EXPECT_EQ(index_, 255);
  EXPECT_TRUE(log.has(7, "FOUND COUNTERS SCHEMA"));
  EXPECT_EQ(ts_->counters_schema->num_groups, 1u);
  ASSERT_EQ(add(golden("counters_every_type")), 0u);
  EXPECT_EQ(ts_->counters_schema->num_groups, 3u);
  EXPECT_EQ(ts_->num_schemas, 0);
}

TEST_F(AddSerializedSchema, ADocumentThatIsBothIsACountersSchema) {
  std::string both = schema_document(type_text("t"));
  both.pop_back();
  both += R"(,"version":"1.5.0","counter_groups":[]})";
  LogCapture log;
  ASSERT_EQ(add(both), 0u);
  EXPECT_EQ(index_, 255);
  EXPECT_EQ(ts_->num_schemas, 0);
  EXPECT_TRUE(log.has(7, "FOUND COUNTERS SCHEMA"));
  EXPECT_FALSE(log.has(7, "FOUND EVENTS SCHEMA"));
}

TEST_F(AddSerializedSchema, TextThatIsNoJsonIsRefused) {
  for (const char* text : {"", "not JSON", "{\"types\":["}) {
    LogCapture log;
    EXPECT_EQ(add(text), 4294967295u) << text;
    EXPECT_EQ(log.errors(), Lines{"Failed to read schemas as JSON"});
    EXPECT_EQ(index_, 99);
  }
  EXPECT_EQ(vek_type_system_add_schema_from_serialized_json(ts_.get(), nullptr, nullptr),
            4294967295u);
}

TEST_F(AddSerializedSchema, JsonThatIsNoSchemaIsRefused) {
  LogCapture log;
  EXPECT_EQ(add("{}"), 4294967295u);
  EXPECT_TRUE(log.has(6, "Not an event schema"));
  EXPECT_EQ(log.errors().back(),
            "Failed to convert schema from JSON to internal memory representation");
  EXPECT_NE(ts_->counters_schema, nullptr) << "the old one stays";
}

TEST_F(AddSerializedSchema, RefusesWhenAllSlotsAreTaken) {
  for (int i = 0; i < 255; ++i) (void)vek_type_system_add_schema(ts_.get(), "s", 0, nullptr);
  LogCapture log;
  EXPECT_EQ(add(golden("events_point")), 4294967295u);
  EXPECT_EQ(add(golden("counters_one_group")), 4294967295u) << "counters schemas too";
  EXPECT_TRUE(log.lines().empty());
}

class LoadSchema : public testing::Test {
 protected:
  vek_schema_t* load(const std::string& path) {
    return vek_type_system_load_schema(ts_.get(), path.c_str());
  }

  TempDir dir_;
  OwnedTypeSystem ts_{vek_create_type_system()};
};

TEST_F(LoadSchema, StoresTheFilesSchemaWithoutAnIdentifier) {
  const vek_schema_t* schema = load(vek::test::golden_path("events_point"));
  ASSERT_NE(schema, nullptr);
  EXPECT_EQ(ts_->schemas[0], schema);
  EXPECT_EQ(ts_->num_schemas, 1);
  EXPECT_EQ(schema->parent, ts_->builtin);
  EXPECT_STREQ(schema->types[0]->fields[0]->type->name, "int");
  EXPECT_TRUE(vek_schema_id_is_unset(schema->digest));
  EXPECT_STREQ(schema->id_string, "");
}

TEST_F(LoadSchema, ReportsFilesThatAreNoJson) {
  for (const std::string& path :
       {dir_.file("absent.json"), dir_.write("bad.json", "{"), dir_.path()}) {
    LogCapture log;
    EXPECT_EQ(load(path), nullptr);
    EXPECT_EQ(log.errors(), Lines{"Failed reading schema JSON from file '" + path + "'"});
  }
  EXPECT_EQ(vek_type_system_load_schema(ts_.get(), nullptr), nullptr);
}

TEST_F(LoadSchema, AddsNoMessageToTheSchemasOwn) {
  const std::string path = dir_.write("counters.json", golden("counters_empty"));
  LogCapture log;
  EXPECT_EQ(load(path), nullptr);
  EXPECT_EQ(log.lines(), (std::vector<vek::test::LogLine>{{6, "Not an event schema"}}));
}

TEST_F(LoadSchema, RefusesAFieldOfAnUnknownType) {
  const std::string path =
      dir_.write("s.json", schema_document(type_text("t", field_text("f", "what"))));
  LogCapture log;
  EXPECT_EQ(load(path), nullptr);
  EXPECT_EQ(log.errors(), (Lines{"Definition of type what not found within the schema p",
                                 "Failed to adjust type fields within schema p"}));
  EXPECT_EQ(ts_->num_schemas, 0);
}

TEST_F(LoadSchema, RefusesWhenAllSlotsAreTaken) {
  for (int i = 0; i < 255; ++i) (void)vek_type_system_add_schema(ts_.get(), "s", 0, nullptr);
  LogCapture log;
  EXPECT_EQ(load(vek::test::golden_path("events_point")), nullptr);
  EXPECT_EQ(log.errors(), Lines{"Failed to load schema: schema limit exceeded '255'"});
}

}  // namespace
