#include <gtest/gtest.h>

#include "tests/data/cpu_time.h"
#include "tests/data/schema_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"

namespace {

using vek::OwnedSchema;
using vek::test::add_type;
using vek::test::FailAllocation;
using vek::test::field;
using vek::test::Infos;
using vek::test::LogCapture;
using vek::test::SchemaWithBuiltins;

using Lines = std::vector<std::string>;

TEST(SchemaAddType, PacksFieldsBackToBack) {
  SchemaWithBuiltins schema;
  uint8_t index = 99;
  ASSERT_EQ(
      add_type(schema.get(), "packed",
               {field("a", "uint8_t"), field("b", "uint64_t"), field("c", "char", 4)}, &index),
      0);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(schema->num_types, 1);
  const vek_type_definition_t* type = schema->types[0];
  EXPECT_STREQ(type->name, "packed");
  EXPECT_EQ(type->id, 0u);
  EXPECT_EQ(type->size, 13u);
  ASSERT_EQ(type->num_fields, 3);
  EXPECT_EQ(type->fields[0]->offset, 0u);
  EXPECT_EQ(type->fields[1]->offset, 1u);
  EXPECT_EQ(type->fields[2]->offset, 9u);
  EXPECT_EQ(type->fields[1]->type_size, 8u);
  EXPECT_EQ(type->fields[1]->type, schema.type("uint64_t"));
  EXPECT_EQ(type->fields[2]->array_length, 4u);
}

TEST(SchemaAddType, TypesMayContainEarlierOnes) {
  SchemaWithBuiltins schema;
  ASSERT_EQ(add_type(schema.get(), "inner", {field("a", "short")}), 0);
  uint8_t index = 0;
  ASSERT_EQ(add_type(schema.get(), "outer", {field("all", "inner", 3)}, &index), 0);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(schema.type("outer")->size, 6u);
  EXPECT_EQ(schema.type("outer")->fields[0]->type, schema.type("inner"));
}

TEST(SchemaAddType, AnArrayLengthOfZeroAddsNothing) {
  SchemaWithBuiltins schema;
  ASSERT_EQ(add_type(schema.get(), "t", {field("none", "double", 0), field("one", "char")}), 0);
  EXPECT_EQ(schema.type("t")->size, 1u);
  EXPECT_EQ(schema.type("t")->fields[1]->offset, 0u);
}

TEST(SchemaAddType, ATypeMayHaveNoFields) {
  SchemaWithBuiltins schema;
  EXPECT_EQ(vek_schema_add_type(schema.get(), "empty", nullptr, 0, nullptr), 0);
  EXPECT_EQ(schema.type("empty")->size, 0u);
}

TEST(SchemaAddType, TheIdentifierIsNotRecomputed) {
  SchemaWithBuiltins schema;
  ASSERT_EQ(add_type(schema.get(), "t", {field("a", "int")}), 0);
  EXPECT_TRUE(vek_schema_id_is_unset(schema->digest));
}

TEST(SchemaAddType, RefusesAFullSchema) {
  SchemaWithBuiltins schema;
  for (int i = 0; i < 254; ++i) {
    ASSERT_EQ(add_type(schema.get(), ("t" + std::to_string(i)).c_str(), {}), 0);
  }
  LogCapture log;
  uint8_t index = 77;
  EXPECT_EQ(add_type(schema.get(), "t0", {field("a", "nonsense")}, &index), 5)
      << "fullness is looked at first";
  EXPECT_EQ(log.errors(), Lines{"[vek_schema_add_type] Unable to add new type, reached "
                                "VEK_MAX_TYPES. schema->num_types = 254"});
  EXPECT_EQ(index, 77);
  EXPECT_EQ(schema->num_types, 254);
}

TEST(SchemaAddType, RefusesAKnownName) {
  SchemaWithBuiltins schema;
  LogCapture log;
  EXPECT_EQ(add_type(schema.get(), "int", {}), 2) << "known from the parent";
  ASSERT_EQ(add_type(schema.get(), "own", {}), 0);
  EXPECT_EQ(add_type(schema.get(), "own", {field("a", "nonsense")}), 2) << "before field types";
  EXPECT_EQ(log.errors(), (Lines{"Schema 'provider' already contains type 'int'",
                                 "Schema 'provider' already contains type 'own'"}));
  EXPECT_EQ(schema->num_types, 1);
}

TEST(SchemaAddType, ASchemaWithoutNameIsCalledUndefined) {
  const OwnedSchema schema(vek_create_schema(nullptr, 0));
  ASSERT_EQ(add_type(schema.get(), "t", {}), 0);
  LogCapture log;
  EXPECT_EQ(add_type(schema.get(), "t", {}), 2);
  EXPECT_EQ(log.errors(), Lines{"Schema '<undefined>' already contains type 't'"});
}

TEST(SchemaAddType, RefusesTheFirstUndefinedFieldType) {
  SchemaWithBuiltins schema;
  LogCapture log;
  EXPECT_EQ(add_type(schema.get(), "t", {field("a", "int"), field("b", "what"), field("c", "who")}),
            3);
  EXPECT_EQ(log.errors(),
            Lines{"Unable to register type 't': type 'what' of the field 'b' is undefined"});
  EXPECT_EQ(add_type(schema.get(), "self", {field("a", "self")}), 3);
  EXPECT_EQ(schema->num_types, 0);
}

TEST(SchemaAddType, UndefinedFieldTypesComeBeforeRepeatedNames) {
  SchemaWithBuiltins schema;
  EXPECT_EQ(add_type(schema.get(), "t", {field("a", "int"), field("a", "int"), field("b", "what")}),
            3);
}

// Positions 1 to count - 2 are compared with those before them; the last field never is.
TEST(SchemaAddType, ComparesFieldNamesButTheLast) {
  const struct {
    std::vector<const char*> names;
    int result;
    const char* repeated;
  } cases[] = {
      {{"a"}, 0, ""},
      {{"a", "a"}, 0, ""},
      {{"a", "b", "a"}, 0, ""},
      {{"a", "a", "b"}, 2, "a"},
      {{"a", "b", "c", "a"}, 0, ""},
      {{"a", "b", "b", "a"}, 2, "b"},
      {{"a", "b", "a", "b", "c"}, 2, "a"},
      {{"", "", "c"}, 2, ""},
  };
  for (const auto& c : cases) {
    SchemaWithBuiltins schema;
    Infos infos;
    for (const char* name : c.names) infos.push_back(field(name, "int"));
    LogCapture log;
    EXPECT_EQ(add_type(schema.get(), "t", infos), c.result);
    if (c.result == 0) continue;
    EXPECT_EQ(log.errors(), Lines{"[vek_schema_add_type] Failed to register new type 't': field "
                                  "name '" +
                                  std::string(c.repeated) + "' occurs more than once."});
    EXPECT_EQ(schema->num_types, 0);
  }
}

TEST(SchemaAddType, TakesAsManyFieldsAsATypeCanCount) {
  SchemaWithBuiltins schema;
  std::vector<std::string> names(65536);
  Infos infos;
  for (size_t i = 0; i < names.size(); ++i) {
    names[i] = "field_" + std::to_string(i);
    infos.push_back(field(names[i].c_str(), "bool"));
  }
  const vek::test::CpuTime time;
  LogCapture log;
  EXPECT_EQ(add_type(schema.get(), "too_many", infos), 1);
  EXPECT_EQ(log.errors(),
            Lines{"[vek_schema_add_type] cannot allocate fields for type definition"});
  infos.pop_back();
  EXPECT_EQ(add_type(schema.get(), "most", infos), 0);
  EXPECT_EQ(schema.type("most")->num_fields, 65535);
  EXPECT_EQ(schema.type("most")->size, 65535u);
  EXPECT_LT(time.seconds(), vek::test::kLinearSeconds);
}

TEST(SchemaAddType, RefusesSizesBeyondSixtyFourBits) {
  SchemaWithBuiltins schema;
  ASSERT_EQ(add_type(schema.get(), "big", {field("a", "uint64_t", UINT32_MAX)}), 0);
  EXPECT_EQ(schema.type("big")->size, 34359738360u);
  EXPECT_EQ(add_type(schema.get(), "wraps", {field("a", "big", UINT32_MAX)}), 1);
  EXPECT_EQ(add_type(schema.get(), "adds_up",
                     {field("a", "big", 400000000), field("b", "big", 400000000)}),
            1);
  EXPECT_EQ(schema->num_types, 1);
}

TEST(SchemaAddType, WithoutMemoryTheSchemaStaysAsItWas) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  SchemaWithBuiltins schema;
  const Infos infos = {field("a", "int"), field("b", "char", 3)};
  std::vector<std::string> seen;
  for (unsigned n = 1;; ++n) {
    LogCapture log;
    uint8_t index = 77;
    FailAllocation failing(n);
    const int result = add_type(schema.get(), "t", infos, &index);
    if (!failing.disarm()) {
      EXPECT_EQ(result, 0);
      break;
    }
    EXPECT_EQ(result, 1) << n;
    EXPECT_EQ(schema->num_types, 0) << n;
    EXPECT_EQ(index, 77) << n;
    ASSERT_EQ(log.errors().size(), 1u) << n;
    if (seen.empty() || seen.back() != log.errors()[0]) seen.push_back(log.errors()[0]);
  }
  EXPECT_EQ(seen, (Lines{"[vek_schema_add_type] cannot allocate type definition",
                         "[vek_schema_add_type] cannot allocate fields for type definition",
                         "[vek_schema_add_type] cannot get type definition from fields_info[0]",
                         "[vek_schema_add_type] cannot get type definition from fields_info[1]"}));
}

}  // namespace
