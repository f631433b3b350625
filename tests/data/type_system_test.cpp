#include "data/type_system.h"

#include <gtest/gtest.h>

#include <array>

#include "tests/data/schema_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"

namespace {

using vek::OwnedTypeSystem;
using vek::data::SchemaId;
using vek::test::add_type;
using vek::test::FailAllocation;
using vek::test::field;
using vek::test::field_text;
using vek::test::LogCapture;
using vek::test::schema_document;
using vek::test::type_text;

using Lines = std::vector<std::string>;

OwnedTypeSystem create() { return OwnedTypeSystem(vek_create_type_system()); }

std::string counters_document(const std::string& name) {
  return R"({"version":"1.5.0","counter_groups":[{"granularity":"NODE","num_counters":1,)"
         R"("num_counter_sets":1,"counters":[{"name":")" +
         name +
         R"(","description":"","units":"","data_type":"UINT64","counting_type":"ABSOLUTE"}]}]})";
}

TEST(TypeSystem, IsCreatedWithBuiltinTypesAndAnEmptyCountersSchema) {
  const OwnedTypeSystem ts = create();
  ASSERT_NE(ts, nullptr);
  EXPECT_STREQ(ts->builtin->provider_name, "<built-in>");
  EXPECT_EQ(ts->builtin->provider_version, 1281u);
  EXPECT_EQ(ts->builtin->num_types, 22);
  EXPECT_EQ(ts->num_schemas, 0);
  ASSERT_NE(ts->counters_schema, nullptr);
  EXPECT_EQ(ts->counters_schema->num_groups, 0u);
  EXPECT_TRUE(vek_schema_id_is_unset(ts->counters_schema_digest));
}

TEST(TypeSystem, DestroyingNothingIsAllowed) { vek_destroy_type_system(nullptr); }

TEST(TypeSystem, WithoutMemoryThereIsNoneAndAReason) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  Lines seen;
  for (unsigned n = 1;; ++n) {
    LogCapture log(3);  // its own lines take memory too
    FailAllocation failing(n);
    vek_type_system_t* ts = vek_create_type_system();
    if (!failing.disarm()) {
      vek_destroy_type_system(ts);
      break;
    }
    EXPECT_EQ(ts, nullptr) << n;
    for (const std::string& line : log.errors()) {
      if (seen.empty() || seen.back() != line) seen.push_back(line);
    }
  }
  EXPECT_EQ(seen, (Lines{"Failed to register built-in types", "failed to allocate schema",
                         "Failed to create counters schema object"}));
}

TEST(TypeSystemAddSchema, MakesAnEmptySchemaBelowTheBuiltinTypes) {
  const OwnedTypeSystem ts = create();
  uint8_t index = 99;
  vek_schema_t* schema = vek_type_system_add_schema(ts.get(), "first", 0x0201, &index);
  ASSERT_NE(schema, nullptr);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(ts->num_schemas, 1);
  EXPECT_EQ(ts->schemas[0], schema);
  EXPECT_STREQ(schema->provider_name, "first");
  EXPECT_EQ(schema->provider_version, 0x0201u);
  EXPECT_EQ(schema->parent, ts->builtin);
  EXPECT_TRUE(vek_schema_id_is_unset(schema->digest));
  EXPECT_EQ(schema->id_string, std::string(32, '0'));
  EXPECT_EQ(add_type(schema, "int", {}), 2) << "known from the built-in schema";
  EXPECT_NE(vek_type_system_add_schema(ts.get(), nullptr, 0, nullptr), nullptr);
  EXPECT_EQ(ts->num_schemas, 2);
}

TEST(TypeSystemAddSchema, RefusesWhenAllSlotsAreTaken) {
  const OwnedTypeSystem ts = create();
  for (int i = 0; i < 255; ++i) {
    ASSERT_NE(vek_type_system_add_schema(ts.get(), "s", 0, nullptr), nullptr) << i;
  }
  uint8_t index = 99;
  EXPECT_EQ(vek_type_system_add_schema(ts.get(), "s", 0, &index), nullptr);
  EXPECT_EQ(index, 99);
  EXPECT_EQ(ts->num_schemas, 255);
}

TEST(TypeSystemRemoveLast, TakesSchemasFromTheEnd) {
  const OwnedTypeSystem ts = create();
  vek_type_system_remove_last_schema(ts.get());
  EXPECT_EQ(ts->num_schemas, 0);
  (void)vek_type_system_add_schema(ts.get(), "a", 0, nullptr);
  (void)vek_type_system_add_schema(ts.get(), "b", 0, nullptr);
  vek_type_system_remove_last_schema(ts.get());
  EXPECT_EQ(ts->num_schemas, 1);
  EXPECT_EQ(ts->schemas[1], nullptr);
  EXPECT_STREQ(ts->schemas[0]->provider_name, "a");
}

TEST(TypeSystemFind, ComparesIdentifierTextsInSlotOrder) {
  const OwnedTypeSystem ts = create();
  (void)vek_type_system_add_schema(ts.get(), "empty", 0, nullptr);
  vek_schema_t* schema = vek_type_system_add_schema(ts.get(), "s", 0, nullptr);
  ASSERT_EQ(add_type(schema, "t", {field("a", "int")}), 0);
  vek_type_system_update_md5_hashes(ts.get());
  const std::string text = schema->id_string;

  LogCapture log;
  uint8_t index = 99;
  EXPECT_TRUE(vek_type_system_find_schema(ts.get(), text.c_str(), &index));
  EXPECT_EQ(index, 1);
  EXPECT_TRUE(log.has(7, "Schema already exists " + text));
  EXPECT_TRUE(vek_type_system_find_schema(ts.get(), std::string(32, '0').c_str(), &index));
  EXPECT_EQ(index, 0);
  EXPECT_TRUE(vek_type_system_find_schema(ts.get(), text.c_str(), nullptr));
  index = 99;
  EXPECT_FALSE(vek_type_system_find_schema(ts.get(), "0123", &index));
  EXPECT_FALSE(vek_type_system_find_schema(ts.get(), nullptr, &index));
  EXPECT_EQ(index, 99);
}

TEST(TypeSystemFind, FindsSchemasOfATypeSystemDocumentByTheirDigest) {
  const std::string document = R"({"version":"1.5.0","schemas":[)" +
                               vek::test::golden("events_point") + "," +
                               vek::test::golden("events_nested") + "]}";
  const OwnedTypeSystem ts(vek_type_system_deserialize(document.c_str()));
  ASSERT_NE(ts, nullptr);
  EXPECT_STREQ(ts->schemas[1]->id_string, "") << "such schemas carry the digest alone";
  uint8_t index = 99;
  EXPECT_TRUE(vek_type_system_find_schema(ts.get(), "9d1da838ee7b8d0f046a61b9e15f6163", &index));
  EXPECT_EQ(index, 1);
}

TEST(TypeSystemReferences, AreResolvedAgainstTheBuiltinTypes) {
  const OwnedTypeSystem ts = create();
  vek_schema_t* schema = vek_type_system_add_schema(ts.get(), "s", 0, nullptr);
  ASSERT_EQ(add_type(schema, "t", {field("a", "int")}), 0);
  schema->parent = nullptr;
  schema->types[0]->fields[0]->type = nullptr;
  EXPECT_TRUE(vek_type_system_adjust_type_references(ts.get(), schema));
  EXPECT_EQ(schema->parent, ts->builtin);
  EXPECT_STREQ(schema->types[0]->fields[0]->type->name, "int");
}

TEST(TypeSystemUpdateHashes, MakesEveryIdentifierFromTheSchemaItself) {
  const OwnedTypeSystem ts = create();
  vek_schema_t* schema = vek_type_system_add_schema(ts.get(), "geometry", 1, nullptr);
  vek_schema_t* empty = vek_type_system_add_schema(ts.get(), "empty", 1, nullptr);
  const std::array<vek_type_field_info_t, 2> infos = {
      {{"x", "horizontal", "int", 0, 1}, {"y", "vertical", "int", 0, 1}}};
  ASSERT_EQ(vek_schema_add_type(schema, "point", infos.data(), 2, nullptr), 0);
  EXPECT_EQ(schema->id_string, std::string(32, '0')) << "types do not change it by themselves";
  vek_type_system_update_md5_hashes(ts.get());
  EXPECT_STREQ(schema->id_string, "ac96503c45c56c7e25af9b37bc0dc569");
  EXPECT_EQ(vek::test::hex_id(schema->digest), schema->id_string);
  EXPECT_EQ(empty->id_string, std::string(32, '0'));
}

// Both type systems own a cloned schema; this one is made to let go before it is destroyed.
void detach(vek_type_system_t* ts) {
  for (vek_schema_t*& schema : ts->schemas) schema = nullptr;
  ts->num_schemas = 0;
}

TEST(TypeSystemClone, SharesTheSchemaObjects) {
  const OwnedTypeSystem src = create();
  const OwnedTypeSystem dst = create();
  (void)vek_type_system_add_schema(dst.get(), "own", 0, nullptr);
  for (const char* name : {"a", "b"}) {
    vek_schema_t* schema = vek_type_system_add_schema(src.get(), name, 0, nullptr);
    ASSERT_EQ(add_type(schema, "t", {field("x", "int")}), 0);
  }
  uint8_t index = 99;
  EXPECT_EQ(vek_type_system_clone_schemas(dst.get(), src.get(), &index), 0u);
  EXPECT_EQ(index, 2) << "the last new slot";
  EXPECT_EQ(dst->num_schemas, 3);
  EXPECT_EQ(dst->schemas[1], src->schemas[0]);
  EXPECT_EQ(dst->schemas[2], src->schemas[1]);
  EXPECT_EQ(dst->schemas[1]->parent, dst->builtin);
  EXPECT_EQ(dst->schemas[1]->types[0]->fields[0]->type,
            vek_schema_find_type_definition(dst->builtin, "int"));
  detach(src.get());
}

TEST(TypeSystemClone, OfNothingSucceeds) {
  const OwnedTypeSystem src = create();
  const OwnedTypeSystem dst = create();
  uint8_t index = 99;
  EXPECT_EQ(vek_type_system_clone_schemas(dst.get(), src.get(), &index), 0u);
  EXPECT_EQ(index, 99);
}

TEST(TypeSystemClone, StopsAtASchemaThatCannotBeRebound) {
  const OwnedTypeSystem src = create();
  const OwnedTypeSystem dst = create();
  vek_schema_t* schema = vek_type_system_add_schema(src.get(), "s", 0, nullptr);
  ASSERT_EQ(add_type(schema, "t", {field("x", "int")}), 0);
  std::free(schema->types[0]->fields[0]->type_name);
  schema->types[0]->fields[0]->type_name = strdup("what");
  LogCapture log;
  EXPECT_EQ(vek_type_system_clone_schemas(dst.get(), src.get(), nullptr), 4294967295u);
  EXPECT_EQ(log.errors(), (Lines{"Definition of type what not found within the schema s",
                                 "Cannot add schema to type system"}));
  EXPECT_EQ(dst->num_schemas, 0);
}

TEST(TypeSystemClone, NeverWritesBehindTheLastSlot) {
  const OwnedTypeSystem src = create();
  const OwnedTypeSystem dst = create();
  for (int i = 0; i < 255; ++i) (void)vek_type_system_add_schema(dst.get(), "s", 0, nullptr);
  (void)vek_type_system_add_schema(src.get(), "one more", 0, nullptr);
  LogCapture log;
  EXPECT_EQ(vek_type_system_clone_schemas(dst.get(), src.get(), nullptr), 4294967295u);
  EXPECT_EQ(log.errors(), Lines{"Cannot add schema to type system"});
  EXPECT_EQ(dst->num_schemas, 255);
  EXPECT_EQ(src->schemas[0]->parent, src->builtin);
}

TEST(TypeSystemCountersId, IsMadeOnceAndKept) {
  const OwnedTypeSystem ts(vek_type_system_deserialize(counters_document("a").c_str()));
  ASSERT_NE(ts, nullptr);
  std::array<uint8_t, 16> expected{};
  ASSERT_TRUE(vek_calc_counters_schema_id(expected.data(), ts->counters_schema));
  SchemaId id;
  vek_type_system_fill_counter_schema_id(ts.get(), &id);
  EXPECT_EQ(id, SchemaId(expected.data()));
  EXPECT_EQ(vek_compare_schema_id(ts->counters_schema_digest, expected.data()), 0);

  ASSERT_EQ(vek_type_system_add_schema_from_serialized_json(
                ts.get(), counters_document("b").c_str(), nullptr),
            0u);
  SchemaId again;
  vek_type_system_fill_counter_schema_id(ts.get(), &again);
  EXPECT_EQ(again, id) << "hosts have announced it already";
}

TEST(TypeSystemCountersId, WithoutACountersSchemaNothingIsTouched) {
  const OwnedTypeSystem ts(vek_type_system_deserialize(R"({"version":"1.5.0","schemas":[]})"));
  ASSERT_NE(ts, nullptr);
  ASSERT_EQ(ts->counters_schema, nullptr);
  SchemaId id{std::string("before")};
  vek_type_system_fill_counter_schema_id(ts.get(), &id);
  EXPECT_EQ(id.str(), "before");
  std::array<uint8_t, 16> digest{};
  EXPECT_FALSE(vek_calc_counters_schema_id(digest.data(), nullptr));
}

TEST(TypeSystemSizes, TheLargestEventTypeLeavesOutBuiltinTypes) {
  const OwnedTypeSystem ts = create();
  EXPECT_EQ(vek_type_system_get_max_event_type_size(ts.get()), 0u);
  EXPECT_EQ(vek_type_system_max_type_size(ts.get()), 0u);
  vek_schema_t* first = vek_type_system_add_schema(ts.get(), "a", 0, nullptr);
  vek_schema_t* second = vek_type_system_add_schema(ts.get(), "b", 0, nullptr);
  ASSERT_EQ(add_type(first, "small", {field("x", "bool")}), 0);
  EXPECT_EQ(vek_type_system_get_max_event_type_size(ts.get()), 1u);
  ASSERT_EQ(add_type(second, "large", {field("x", "bool", 300)}), 0);
  ASSERT_EQ(add_type(second, "middle", {field("x", "bool", 200)}), 0);
  EXPECT_EQ(vek_type_system_get_max_event_type_size(ts.get()), 300u);
}

TEST(TypeSystemSizes, AreClampedToThirtyTwoBits) {
  const OwnedTypeSystem ts = create();
  vek_schema_t* schema = vek_type_system_add_schema(ts.get(), "a", 0, nullptr);
  ASSERT_EQ(add_type(schema, "huge", {field("x", "double", UINT32_MAX)}), 0);
  EXPECT_EQ(vek_type_system_get_max_event_type_size(ts.get()), 4294967295u);
  EXPECT_EQ(vek_type_system_max_type_size(ts.get()), 4294967295u);
}

TEST(TypeSystemSizes, CountersCountAsOneType) {
  const OwnedTypeSystem ts(vek_type_system_deserialize(counters_document("a").c_str()));
  ASSERT_NE(ts, nullptr);
  EXPECT_EQ(vek_type_system_max_type_size(ts.get()), 8u);
  EXPECT_EQ(vek_type_system_get_max_event_type_size(ts.get()), 0u);
  vek_schema_t* schema = vek_type_system_add_schema(ts.get(), "a", 0, nullptr);
  ASSERT_EQ(add_type(schema, "t", {field("x", "bool", 9)}), 0);
  EXPECT_EQ(vek_type_system_max_type_size(ts.get()), 9u);
}

}  // namespace
