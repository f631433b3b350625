#include "data/schema.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/data/schema_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"

namespace {

using vek::OwnedField;
using vek::OwnedSchema;
using vek::OwnedType;
using vek::test::add_type;
using vek::test::FailAllocation;
using vek::test::field;
using vek::test::LogCapture;
using vek::test::SchemaWithBuiltins;

TEST(ValueType, NamesAndNumbersAreAPair) {
  EXPECT_STREQ(vek_value_type_string(0), "ABSOLUTE");
  EXPECT_STREQ(vek_value_type_string(1), "RUNNING_SUM");
  EXPECT_EQ(vek_value_type_string(2), nullptr);
  EXPECT_EQ(vek_value_type_string(4294967295u), nullptr);
  EXPECT_EQ(vek_value_type_from_string("ABSOLUTE"), 0u);
  EXPECT_EQ(vek_value_type_from_string("RUNNING_SUM"), 1u);
  EXPECT_EQ(vek_value_type_from_string("running_sum"), 4294967295u);
  EXPECT_EQ(vek_value_type_from_string(""), 4294967295u);
  EXPECT_EQ(vek_value_type_from_string(nullptr), 4294967295u);
}

TEST(ValueType, AbsoluteMonotonicMeansRunningSum) {
  EXPECT_EQ(vek_value_type_from_string("ABSOLUTE_MONOTONIC"), 1u);
}

TEST(FieldDefinition, IsCreatedZeroed) {
  const OwnedField created(vek_create_type_field_definition());
  const vek_type_field_definition_t zero{};
  EXPECT_EQ(std::memcmp(created.get(), &zero, sizeof(zero)), 0);
}

TEST(FieldDefinition, FromInfoCopiesTextsAndTakesNumbersAsGiven) {
  char name[] = "name";
  const vek_type_field_info_t info = {name, "what it is", "int", 7, 0};
  const OwnedField made(vek_type_field_definition_from_info(&info));
  name[0] = '!';
  EXPECT_STREQ(made->field_name, "name");
  EXPECT_STREQ(made->description, "what it is");
  EXPECT_STREQ(made->type_name, "int");
  EXPECT_EQ(made->counting_mode, 7u);
  EXPECT_EQ(made->array_length, 0u) << "0 stays 0";
  EXPECT_EQ(made->type, nullptr);
}

TEST(FieldDefinition, FromInfoLeavesAbsentTextsNull) {
  const vek_type_field_info_t info = {"name", nullptr, nullptr, 0, 1};
  const OwnedField made(vek_type_field_definition_from_info(&info));
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->description, nullptr);
  EXPECT_EQ(made->type_name, nullptr);
  EXPECT_EQ(vek_type_field_definition_from_info(nullptr), nullptr);
}

TEST(FieldDefinition, FromInfoIsNullWhenAnyCopyFails) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const vek_type_field_info_t info = {"name", "description", "int", 0, 1};
  for (unsigned n = 1; n <= 4; ++n) {
    FailAllocation failing(n);
    vek_type_field_definition_t* made = vek_type_field_definition_from_info(&info);
    ASSERT_TRUE(failing.disarm()) << n;
    EXPECT_EQ(made, nullptr) << n;
  }
}

TEST(Schema, IsCreatedEmptyWithoutIdentifier) {
  LogCapture log;
  const OwnedSchema schema(vek_create_schema("name", 0x00050201));
  char expected[64];
  std::snprintf(expected, sizeof(expected), "clearing md5_digest of schema: %p",
                static_cast<void*>(schema.get()));
  EXPECT_TRUE(log.has(7, expected));
  EXPECT_STREQ(schema->provider_name, "name");
  EXPECT_EQ(schema->provider_version, 0x00050201u);
  EXPECT_EQ(schema->num_types, 0);
  EXPECT_EQ(schema->parent, nullptr);
  EXPECT_TRUE(vek_schema_id_is_unset(schema->digest));
  EXPECT_STREQ(schema->id_string, "");
}

TEST(Schema, NeedsNoName) {
  const OwnedSchema schema(vek_create_schema(nullptr, 0));
  ASSERT_NE(schema, nullptr);
  EXPECT_EQ(schema->provider_name, nullptr);
}

TEST(Schema, DestroyingNothingIsAllowed) {
  vek_destroy_schema(nullptr);
  vek_destroy_type_definition(nullptr);
  vek_destroy_type_field_definition(nullptr);
}

TEST(Schema, DestroyingItLeavesItsParent) {
  const OwnedSchema parent(vek_create_schema("parent", 0));
  vek_schema_t* child = vek_create_schema("child", 0);
  child->parent = parent.get();
  vek_destroy_schema(child);
  EXPECT_STREQ(parent->provider_name, "parent");
}

TEST(SchemaFind, SearchesTheSchemaThenItsParents) {
  const OwnedSchema top(vek_create_schema("top", 0));
  const OwnedSchema middle(vek_create_schema("middle", 0));
  const OwnedSchema bottom(vek_create_schema("bottom", 0));
  bottom->parent = middle.get();
  middle->parent = top.get();
  ASSERT_EQ(add_type(top.get(), "far", {}), 0);
  ASSERT_EQ(add_type(bottom.get(), "near", {}), 0);
  EXPECT_EQ(vek_schema_find_type_definition(bottom.get(), "far"), top->types[0]);
  EXPECT_EQ(vek_schema_find_type_definition(bottom.get(), "near"), bottom->types[0]);
  EXPECT_EQ(vek_schema_find_type_definition(top.get(), "near"), nullptr);
  EXPECT_EQ(vek_schema_find_type_definition(bottom.get(), "Far"), nullptr);
  EXPECT_EQ(vek_schema_find_type_definition(bottom.get(), nullptr), nullptr);
  EXPECT_EQ(vek_schema_find_type_definition(nullptr, "far"), nullptr);
}

TEST(SchemaFind, TheFirstMatchWins) {
  const OwnedSchema parent(vek_create_schema("parent", 0));
  const OwnedSchema child(vek_create_schema("child", 0));
  ASSERT_EQ(add_type(parent.get(), "same", {}), 0);
  ASSERT_EQ(add_type(child.get(), "same", {}), 0);
  child->parent = parent.get();
  EXPECT_EQ(vek_schema_find_type_definition(child.get(), "same"), child->types[0]);
}

TEST(SchemaSizeof, IsTheFoundTypesSize) {
  SchemaWithBuiltins schema;
  ASSERT_EQ(add_type(schema.get(), "pair", {field("a", "int"), field("b", "char")}), 0);
  EXPECT_EQ(vek_schema_sizeof_type(schema.get(), "pair"), 5u);
  EXPECT_EQ(vek_schema_sizeof_type(schema.get(), "double"), 8u);
  EXPECT_EQ(vek_schema_sizeof_type(schema.get(), "none"), 0u);
}

TEST(SchemaReferences, AreResolvedByName) {
  SchemaWithBuiltins schema;
  ASSERT_EQ(add_type(schema.get(), "pair", {field("a", "int")}), 0);
  vek_type_definition_t* type = schema.type("pair");
  type->fields[0]->type = nullptr;
  EXPECT_TRUE(vek_schema_adjust_field_type_references(schema.get(), type));
  EXPECT_EQ(type->fields[0]->type, schema.type("int"));
}

TEST(SchemaReferences, TheFirstUnknownNameFails) {
  SchemaWithBuiltins schema;
  ASSERT_EQ(add_type(schema.get(), "pair", {field("a", "int"), field("b", "char")}), 0);
  schema->parent = nullptr;
  LogCapture log;
  EXPECT_FALSE(vek_schema_adjust_field_type_references(schema.get(), schema.type("pair")));
  EXPECT_EQ(log.errors(), std::vector<std::string>{
                              "Definition of type int not found within the schema provider"});
}

}  // namespace
