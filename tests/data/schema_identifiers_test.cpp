// Identifiers against digests that were worked out once, outside this system: the documents in
// golden/ are the pretty-printed texts, byte for byte, that providers digest.
#include <gtest/gtest.h>

#include <array>

#include "counters/counters_schema.h"
#include "data/type_system.h"
#include "tests/data/schema_fixture.h"
#include "tests/support/temp_dir.h"
#include "utils/version.h"

namespace {

using vek::JsonText;
using vek::JsonValue;
using vek::OwnedCountersSchema;
using vek::OwnedSchema;
using vek::OwnedTypeSystem;
using vek::test::golden;
using vek::test::golden_path;
using vek::test::hex_id;
using vek::test::Infos;
using vek::test::pretty;

struct Golden {
  const char* name;
  const char* digest;
};

constexpr Golden kEvents[] = {
    {"events_chain", "8694ed6cb22d362e7de61fb4c98cae20"},
    {"events_every_builtin", "2227fc2d38071fd9e106bab3dfb745ef"},
    {"events_nested", "9d1da838ee7b8d0f046a61b9e15f6163"},
    {"events_no_fields", "9a46085ffa95d8a0f2c328b0bb71711d"},
    {"events_odd_texts", "fdc105232cafdf79eb7719bf22841758"},
    {"events_point", "ac96503c45c56c7e25af9b37bc0dc569"},
    {"rules_rewritten", "d35f1f8d8b987f71c0cf74df1e2aec6c"},
};

constexpr Golden kCounters[] = {
    {"counters_empty", "0c2a03b43669e0030185218012eeae09"},
    {"counters_every_type", "432f16dbfcaf8cf8bf552faaa0d5fc7d"},
    {"counters_many_sets", "6fe5bafc8916815e265efa9d7a081324"},
    {"counters_one_group", "53863d26ecb9379797a363e96863f409"},
};

std::string digest_of(const std::string& text) {
  std::array<uint8_t, 16> digest{};
  EXPECT_TRUE(vek_get_schema_id_from_pretty_json_string(text.c_str(), digest.data()));
  return hex_id(digest.data());
}

TEST(SchemaIdentifiers, OfEventsSchemasAreTheGoldenDigests) {
  for (const Golden& g : kEvents) {
    ASSERT_EQ(digest_of(golden(g.name)), g.digest) << g.name << " has changed on disk";
    const OwnedTypeSystem ts(vek_create_type_system());
    const OwnedSchema schema(vek_schema_load_from_file(golden_path(g.name).c_str(), ts->builtin));
    ASSERT_NE(schema, nullptr) << g.name;
    EXPECT_EQ(pretty(JsonValue(vek_schema_jsonify(schema.get())).get()), golden(g.name));
    EXPECT_STREQ(schema->id_string, g.digest) << g.name;
  }
}

TEST(SchemaIdentifiers, OfCountersSchemasAreTheGoldenDigests) {
  for (const Golden& g : kCounters) {
    ASSERT_EQ(digest_of(golden(g.name)), g.digest) << g.name << " has changed on disk";
    const OwnedCountersSchema schema(vek_counters_schema_deserialize(golden(g.name).c_str()));
    ASSERT_NE(schema, nullptr) << g.name;
    EXPECT_EQ(JsonText(vek_counters_schema_serialize(schema.get())).get(), golden(g.name));
    std::array<uint8_t, 16> digest{};
    ASSERT_TRUE(vek_calc_counters_schema_id(digest.data(), schema.get()));
    EXPECT_EQ(hex_id(digest.data()), g.digest) << g.name;
  }
}

void expect_golden(vek_schema_t* schema, const char* name, const char* digest) {
  EXPECT_EQ(pretty(JsonValue(vek_schema_jsonify(schema)).get()), golden(name));
  std::array<uint8_t, 16> id{};
  ASSERT_TRUE(vek_schema_extract_id(schema, id.data()));
  EXPECT_EQ(hex_id(id.data()), digest);
}

TEST(SchemaIdentifiers, OfSchemasBuiltFieldByFieldAreTheSame) {
  const OwnedTypeSystem ts(vek_create_type_system());
  vek_schema_t* schema = vek_type_system_add_schema(ts.get(), "nested types",
                                                    VEK_VERSION_ENCODE(2, 31, 4095), nullptr);
  const Infos header = {{"id", "unique; indexed", "uint64_t", 0, 1}, {"tag", "", "char", 0, 8}};
  const Infos sample = {{"header", "nested", "header", 0, 1},
                        {"points", "array of nested", "header", 0, 3},
                        {"bytes", "", "unsigned char", 0, 65535},
                        {"ports", "", "uint16_t", 1, 2},
                        {"count", "a running sum", "uint32_t", 1, 1}};
  ASSERT_EQ(vek::test::add_type(schema, "header", header), 0);
  ASSERT_EQ(vek::test::add_type(schema, "sample", sample), 0);
  const char* const header_index[] = {"id", "tag"};
  const char* const sample_index[] = {"ports"};
  ASSERT_EQ(vek_schema_set_field_indexes(schema, 0, header_index, 2), 0);
  ASSERT_EQ(vek_schema_set_field_indexes(schema, 1, sample_index, 1), 0);
  schema->types[1]->fields[3]->index = 3;
  expect_golden(schema, "events_nested", "9d1da838ee7b8d0f046a61b9e15f6163");
}

TEST(SchemaIdentifiers, LargeNumbersAreWrittenWithSeventeenDigits) {
  const OwnedTypeSystem ts(vek_create_type_system());
  vek_schema_t* schema = vek_type_system_add_schema(ts.get(), "large_numbers", 0, nullptr);
  ASSERT_EQ(vek::test::add_type(schema, "big", {{"all", "", "uint64_t", 0, UINT32_MAX}}), 0);
  ASSERT_EQ(vek::test::add_type(schema, "bigger",
                                {{"all", "", "big", 0, 100000000},
                                 {"tail", "offset beyond 2^53", "uint8_t", 0, 1}}),
            0);
  expect_golden(schema, "events_large_numbers", "0af044a056a77c41b1946910e71cc5d7");
}

TEST(SchemaIdentifiers, EveryBuiltinTypeHasItsSize) {
  const OwnedTypeSystem ts(vek_create_type_system());
  vek_schema_t* schema =
      vek_type_system_add_schema(ts.get(), "every_builtin", VEK_VERSION_ENCODE(1, 2, 3), nullptr);
  std::array<std::string, 22> names;
  Infos infos;
  for (uint32_t id = 1; id <= 22; ++id) {
    names[id - 1] = "field_" + std::to_string(id);
    infos.push_back({names[id - 1].c_str(), "", vek_builtin_type_name(id), (id - 1) % 2, 1});
  }
  ASSERT_EQ(vek::test::add_type(schema, "every", infos), 0);
  expect_golden(schema, "events_every_builtin", "2227fc2d38071fd9e106bab3dfb745ef");
}

// One document, three identifiers, after the three ways in which it can enter. Providers send it
// with white space, key order, keys and forms that this system would not write itself.
TEST(SchemaIdentifiers, DependOnHowASchemaEntered) {
  constexpr char kAsReceived[] = "b1db3bb3b0420de2f12024a6d49020a8";
  constexpr char kOfTheElement[] = "d1c1daf21d9bfc0bfa83cc28aa3a2b18";
  constexpr char kRewritten[] = "d35f1f8d8b987f71c0cf74df1e2aec6c";
  const std::string sent = golden("rules_as_sent");

  const OwnedTypeSystem added(vek_create_type_system());
  ASSERT_EQ(vek_type_system_add_schema_from_serialized_json(added.get(), sent.c_str(), nullptr),
            0u);
  EXPECT_EQ(hex_id(added->schemas[0]->digest), kAsReceived);
  EXPECT_STREQ(added->schemas[0]->id_string, kAsReceived);

  const std::string document = R"({"version":"1.5.0","schemas":[)" + sent + "]}";
  const OwnedTypeSystem read(vek_type_system_deserialize(document.c_str()));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(hex_id(read->schemas[0]->digest), kOfTheElement);
  EXPECT_STREQ(read->schemas[0]->id_string, "");

  const OwnedSchema loaded(
      vek_schema_load_from_file(golden_path("rules_as_sent").c_str(), added->builtin));
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(hex_id(loaded->digest), kRewritten);
  EXPECT_STREQ(loaded->id_string, kRewritten);

  for (vek_type_system_t* ts : {added.get(), read.get()}) {
    vek_type_system_update_md5_hashes(ts);
    EXPECT_EQ(hex_id(ts->schemas[0]->digest), kRewritten);
    EXPECT_STREQ(ts->schemas[0]->id_string, kRewritten);
  }
}

TEST(SchemaIdentifiers, ElementsAreDigestedAsTheyStand) {
  const JsonValue json(json_parse_string(golden("rules_as_sent").c_str()));
  EXPECT_EQ(pretty(json.get()), golden("rules_element"));
}

}  // namespace
