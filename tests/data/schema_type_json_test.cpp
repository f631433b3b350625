#include <gtest/gtest.h>

#include "tests/data/schema_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"

namespace {

using vek::JsonText;
using vek::JsonValue;
using vek::OwnedType;
using vek::test::add_type;
using vek::test::FailAllocation;
using vek::test::field;
using vek::test::field_text;
using vek::test::LogCapture;
using vek::test::SchemaWithBuiltins;
using vek::test::type_text;

using Lines = std::vector<std::string>;

constexpr char kMismatch[] =
    R"(Type definition JSON does not match schema '{"name" : "", "size" : 0, "fields" : []}')";

OwnedType read(const std::string& text) {
  const JsonValue json(json_parse_string(text.c_str()));
  EXPECT_NE(json, nullptr) << text;
  return OwnedType(vek_type_definition_from_json(json.get()));
}

TEST(TypeJson, IsWrittenInItsFixedOrder) {
  SchemaWithBuiltins schema;
  ASSERT_EQ(add_type(schema.get(), "t", {field("a", "int")}), 0);
  const JsonText text(vek_schema_serialize_type_definition(schema.get(), "t", false));
  EXPECT_STREQ(
      text.get(),
      R"({"name":"t","size":4,"fields":[{"field_name":"a","description":"",)"
      R"("type_name":"int","counting_mode":"ABSOLUTE","offset":0,"type_size":4,"index":0}]})");
}

TEST(TypeJson, IsWrittenPrettyOnDemand) {
  SchemaWithBuiltins schema;
  ASSERT_EQ(add_type(schema.get(), "t", {}), 0);
  const JsonText text(vek_type_definition_serialize(schema.type("t"), true));
  EXPECT_STREQ(text.get(), "{\n    \"name\": \"t\",\n    \"size\": 0,\n    \"fields\": []\n}");
}

TEST(TypeJson, ParentsTypesAreWrittenByNameToo) {
  SchemaWithBuiltins schema;
  const JsonText text(vek_schema_serialize_type_definition(schema.get(), "int", false));
  EXPECT_STREQ(text.get(), R"({"name":"int","size":4,"fields":[]})");
}

TEST(TypeJson, AnUnknownNameHasNoText) {
  SchemaWithBuiltins schema;
  EXPECT_EQ(vek_schema_serialize_type_definition(schema.get(), "none", true), nullptr);
  EXPECT_EQ(vek_type_definition_serialize(nullptr, false), nullptr);
}

TEST(TypeJson, AFieldThatCannotBeWrittenLeavesNoText) {
  SchemaWithBuiltins schema;
  ASSERT_EQ(add_type(schema.get(), "t", {field("caf\xE9", "int")}), 0);
  EXPECT_EQ(vek_type_definition_serialize(schema.type("t"), false), nullptr);
}

TEST(TypeJson, IsReadInOrderWithItsSizeAsGiven) {
  const OwnedType type =
      read(type_text("t", field_text("b", "int") + "," + field_text("a", "char"), "77"));
  ASSERT_NE(type, nullptr);
  EXPECT_STREQ(type->name, "t");
  EXPECT_EQ(type->id, 0u);
  EXPECT_EQ(type->size, 77u);
  ASSERT_EQ(type->num_fields, 2);
  EXPECT_STREQ(type->fields[0]->field_name, "b");
  EXPECT_STREQ(type->fields[1]->field_name, "a");
}

TEST(TypeJson, ASizeOfZeroIsInvalidWithoutAMessage) {
  for (const char* size : {"0", "-3", "0.5"}) {
    LogCapture log;
    EXPECT_EQ(read(type_text("t", "", size)), nullptr) << size;
    EXPECT_TRUE(log.lines().empty());
  }
}

TEST(TypeJson, EachKeyIsNeededWithItsType) {
  for (const char* text :
       {R"({"size":1,"fields":[]})", R"({"name":"t","fields":[]})", R"({"name":"t","size":1})",
        R"({"name":1,"size":1,"fields":[]})", R"({"name":"t","size":"1","fields":[]})",
        R"({"name":"t","size":1,"fields":{}})", R"([])", R"("t")"}) {
    LogCapture log;
    EXPECT_EQ(read(text), nullptr) << text;
    EXPECT_EQ(log.errors(), Lines{kMismatch}) << text;
  }
}

TEST(TypeJson, OneBadFieldMakesItInvalid) {
  LogCapture log;
  EXPECT_EQ(read(type_text("t", field_text("a", "int") + R"(,{"field_name":"b"})")), nullptr);
  EXPECT_EQ(log.errors(),
            Lines{"Field definition JSON does not match schema with or without 'index'."});
}

TEST(TypeJson, HoldsAsManyFieldsAsItCanCountAndNoMore) {
  std::string fields = field_text("f", "int");
  for (int i = 1; i < 65535; ++i) fields += "," + field_text("f", "int");
  const JsonValue json(json_parse_string(type_text("t", fields).c_str()));
  const OwnedType most(vek_type_definition_from_json(json.get()));
  ASSERT_NE(most, nullptr);
  EXPECT_EQ(most->num_fields, 65535);

  JSON_Array* array = json_object_get_array(json_value_get_object(json.get()), "fields");
  ASSERT_EQ(json_array_append_value(array, json_parse_string(field_text("f", "int").c_str())),
            JSONSuccess);
  LogCapture log;
  EXPECT_EQ(vek_type_definition_from_json(json.get()), nullptr);
  EXPECT_EQ(log.errors(), Lines{"Type 't' has 65536 fields, more than 65535"});
}

TEST(TypeJson, WithoutMemoryThereIsNoTypeAndAReason) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const JsonValue json(json_parse_string(type_text("t", field_text("a", "int")).c_str()));
  // What is made on the first use only and can be done without has messages of its own.
  const OwnedType first(vek_type_definition_from_json(json.get()));
  Lines seen;
  for (unsigned n = 1;; ++n) {
    LogCapture log;
    FailAllocation failing(n);
    const OwnedType type(vek_type_definition_from_json(json.get()));
    if (!failing.disarm()) break;
    const Lines errors = log.errors();
    EXPECT_EQ(errors.size(), type ? 0u : 1u) << n;
    seen.insert(seen.end(), errors.begin(), errors.end());
  }
  const std::string no_type = "Failed to allocate type definition object: Cannot allocate memory";
  EXPECT_GE(std::count(seen.begin(), seen.end(), no_type), 3);
}

}  // namespace
