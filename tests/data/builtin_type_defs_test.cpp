#include <gtest/gtest.h>

#include <array>

#include "data/builtin_types.h"
#include "tests/data/schema_fixture.h"
#include "tests/support/fail_allocation.h"

namespace {

using vek::OwnedSchema;
using vek::OwnedTypeSystem;
using vek::test::FailAllocation;

using Types = std::array<vek_type_definition_t*, 30>;

void destroy(Types& types) {
  for (auto*& type : types) {
    vek_destroy_type_definition(type);
    type = nullptr;
  }
}

TEST(BuiltinTypeDefs, AreOnePerRowWithoutFields) {
  Types types{};
  ASSERT_EQ(vek_builtin_type_get_type_defs(types.data(), 30), 22u);
  EXPECT_EQ(types[22], nullptr);
  for (uint32_t i = 0; i < 22; ++i) {
    EXPECT_EQ(types[i]->id, i + 1);
    EXPECT_STREQ(types[i]->name, vek_builtin_type_name(i + 1));
    EXPECT_EQ(types[i]->size, vek_builtin_type_size(i + 1));
    EXPECT_EQ(types[i]->num_fields, 0);
    EXPECT_EQ(types[i]->fields, nullptr);
  }
  destroy(types);
}

TEST(BuiltinTypeDefs, StopAtTheGivenNumber) {
  Types types{};
  EXPECT_EQ(vek_builtin_type_get_type_defs(types.data(), 0), 0u);
  EXPECT_EQ(types[0], nullptr);
  EXPECT_EQ(vek_builtin_type_get_type_defs(types.data(), 5), 5u);
  EXPECT_EQ(types[5], nullptr);
  destroy(types);
}

TEST(BuiltinTypeDefs, WithoutMemoryTheOnesMadeSoFarStay) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  Types types{};
  FailAllocation failing(4);  // two allocations a definition
  const uint32_t count = vek_builtin_type_get_type_defs(types.data(), 30);
  ASSERT_TRUE(failing.disarm());
  EXPECT_EQ(count, 4294967295u);
  EXPECT_NE(types[0], nullptr);
  EXPECT_EQ(types[1], nullptr);
  destroy(types);
}

TEST(BuiltinTypeDefs, RegisterInASchema) {
  const OwnedSchema schema(vek_create_schema("s", 0));
  EXPECT_TRUE(vek_schema_register_builtin_types(schema.get()));
  EXPECT_EQ(schema->num_types, 22);
  EXPECT_EQ(schema->types[21]->id, 22u);
}

TEST(BuiltinTypeDefs, RegisteringInASchemaFailsWithoutMemory) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const OwnedSchema schema(vek_create_schema("s", 0));
  FailAllocation failing(4);
  EXPECT_FALSE(vek_schema_register_builtin_types(schema.get()));
  EXPECT_TRUE(failing.disarm());
  EXPECT_EQ(schema->num_types, 0) << "and what was made is released with the schema";
}

TEST(BuiltinTypeDefs, RegisterInATypeSystem) {
  const OwnedTypeSystem ts(vek_create_type_system());
  EXPECT_EQ(ts->builtin->num_types, 22) << "a new type system has them already";
  EXPECT_TRUE(vek_builtin_type_register_types(ts.get())) << "appended, not looked up";
  EXPECT_EQ(ts->builtin->num_types, 44);
}

TEST(BuiltinTypeDefs, RegisteringStopsAtTheLastSlot) {
  const OwnedTypeSystem ts(vek_create_type_system());
  for (int i = 0; i < 10; ++i) ASSERT_TRUE(vek_builtin_type_register_types(ts.get()));
  ASSERT_EQ(ts->builtin->num_types, 242);
  EXPECT_FALSE(vek_builtin_type_register_types(ts.get())) << "the table does not fit";
  EXPECT_EQ(ts->builtin->num_types, 254);
  EXPECT_FALSE(vek_builtin_type_register_types(ts.get())) << "full";
  EXPECT_EQ(ts->builtin->num_types, 254);
}

}  // namespace
