#include <gtest/gtest.h>

#include "tests/data/cpu_time.h"
#include "tests/data/schema_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "utils/version.h"

namespace {

using vek::JsonValue;
using vek::OwnedSchema;
using vek::test::add_type;
using vek::test::compact_of;
using vek::test::FailAllocation;
using vek::test::field;
using vek::test::field_text;
using vek::test::LogCapture;
using vek::test::schema_document;
using vek::test::SchemaWithBuiltins;
using vek::test::TempDir;
using vek::test::type_text;

using Lines = std::vector<std::string>;

OwnedSchema read(const std::string& text) {
  const JsonValue json(json_parse_string(text.c_str()));
  EXPECT_NE(json, nullptr) << text;
  return OwnedSchema(vek_schema_from_json(json.get()));
}

std::string many_types(int count) {
  std::string types;
  for (int i = 0; i < count; ++i) types += (i ? "," : "") + type_text("t" + std::to_string(i));
  return types;
}

TEST(SchemaJson, IsWrittenInItsFixedOrderWithoutTheParentsTypes) {
  SchemaWithBuiltins schema;
  schema->provider_version = VEK_VERSION_ENCODE(2, 31, 4095);
  ASSERT_EQ(add_type(schema.get(), "a", {}), 0);
  ASSERT_EQ(add_type(schema.get(), "b", {field("x", "bool")}), 0);
  EXPECT_EQ(
      compact_of(vek_schema_jsonify(schema.get())),
      R"({"title":"Vekora schema","vek_version":"1.5.0","provider_name":"provider",)"
      R"("provider_version":"2.31.4095","types":[)"
      R"({"name":"a","size":0,"fields":[],"type_index":0},)"
      R"({"name":"b","size":1,"fields":[{"field_name":"x","description":"","type_name":"bool",)"
      R"("counting_mode":"ABSOLUTE","offset":0,"type_size":1,"index":0}],"type_index":1}]})");
}

TEST(SchemaJson, WithoutTypesThereIsNone) {
  SchemaWithBuiltins schema;
  EXPECT_EQ(vek_schema_jsonify(schema.get()), nullptr);
  EXPECT_EQ(vek_schema_jsonify(nullptr), nullptr);
  uint8_t digest[16] = {1};
  EXPECT_FALSE(vek_schema_extract_id(schema.get(), digest));
  EXPECT_EQ(digest[0], 1);
}

TEST(SchemaJson, ASchemaWithoutNameHasNoNameKey) {
  const OwnedSchema schema(vek_create_schema(nullptr, 1));
  ASSERT_EQ(add_type(schema.get(), "a", {}), 0);
  EXPECT_EQ(compact_of(vek_schema_jsonify(schema.get())).find("provider_name"), std::string::npos);
}

TEST(SchemaJson, IsReadWithTypesAtTheirPositions) {
  const OwnedSchema schema =
      read(R"({"vek_version":"1.5.0","provider_name":"p","provider_version":"3.7.300","types":[)"
           R"({"name":"z","size":2,"fields":[],"type_index":1},)"
           R"({"name":"a","size":3,"fields":[],"type_index":0}]})");
  ASSERT_NE(schema, nullptr);
  EXPECT_STREQ(schema->provider_name, "p");
  EXPECT_EQ(schema->provider_version, VEK_VERSION_ENCODE(3, 7, 300));
  ASSERT_EQ(schema->num_types, 2);
  EXPECT_STREQ(schema->types[0]->name, "z") << "type_index keys are not looked at";
  EXPECT_STREQ(schema->types[1]->name, "a");
  EXPECT_TRUE(vek_schema_id_is_unset(schema->digest));
}

TEST(SchemaJson, ReferencesStayUnresolved) {
  LogCapture log;
  const OwnedSchema schema = read(schema_document(type_text("t", field_text("f", "unknown"))));
  ASSERT_NE(schema, nullptr);
  EXPECT_EQ(schema->types[0]->fields[0]->type, nullptr);
  EXPECT_TRUE(log.errors().empty());
}

TEST(SchemaJson, OtherDocumentsAreClassifiedNotComplainedAbout) {
  for (const char* text :
       {"[]", "{}", R"({"provider_name":"p","provider_version":"1.0","types":[]})",
        R"({"vek_version":"1.5.0","provider_version":"1.0","types":[]})",
        R"({"vek_version":"1.5.0","provider_name":"p","types":[]})",
        R"({"vek_version":"1.5.0","provider_name":"p","provider_version":"1.0"})",
        R"({"vek_version":1.5,"provider_name":"p","provider_version":"1.0","types":[]})",
        R"({"vek_version":"1.5.0","provider_name":"p","provider_version":"1.0","types":{}})"}) {
    LogCapture log;
    EXPECT_EQ(read(text), nullptr) << text;
    EXPECT_EQ(log.lines(), (std::vector<vek::test::LogLine>{{6, "Not an event schema"}})) << text;
  }
}

TEST(SchemaJson, ItsFormatVersionHasToBeCompatible) {
  const struct {
    const char* version;
    bool compatible;
  } cases[] = {{"1.5.0", true},  {"1.5.99", true}, {"1.0", true},  {"1.5", true}, {"1.6.0", false},
               {"2.5.0", false}, {"0.5.0", false}, {"one", false}, {"", false},   {"1", false}};
  for (const auto& c : cases) {
    LogCapture log;
    const OwnedSchema schema = read(schema_document("", c.version));
    EXPECT_EQ(schema != nullptr, c.compatible) << c.version;
    if (!c.compatible) {
      EXPECT_EQ(log.errors(), Lines{"Schema version " + std::string(c.version) +
                                    " is incompatible with current version 1.5.0"});
    }
  }
}

TEST(SchemaJson, AnInvalidTypeIsNamedByItsPosition) {
  LogCapture log;
  EXPECT_EQ(read(schema_document(type_text("a") + "," + type_text("b", "", "0"))), nullptr);
  EXPECT_EQ(log.errors(), Lines{"Failed to deserialize type #1 from JSON array"});
}

TEST(SchemaJson, HoldsAsManyTypesAsThereAreSlotsAndNoMore) {
  const OwnedSchema most = read(schema_document(many_types(254)));
  ASSERT_NE(most, nullptr);
  EXPECT_EQ(most->num_types, 254);

  LogCapture log;
  EXPECT_EQ(read(schema_document(many_types(255))), nullptr);
  EXPECT_EQ(log.errors(), Lines{"Schema 'p' has 255 types, more than VEK_MAX_TYPES = 254"});
}

TEST(SchemaJson, AHundredThousandTypesAreRefusedAtOnce) {
  const std::string text = schema_document(many_types(100000));
  const vek::test::CpuTime time;
  LogCapture log;
  EXPECT_EQ(read(text), nullptr);
  EXPECT_EQ(log.errors().size(), 1u);
  EXPECT_LT(time.seconds(), vek::test::kLinearSeconds);
}

TEST(SchemaJson, WithoutMemoryNothingIsLeft) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const JsonValue json(
      json_parse_string(schema_document(type_text("t", field_text("f", "int"))).c_str()));
  // What is made on the first use only and can be done without has messages of its own.
  const OwnedSchema first(vek_schema_from_json(json.get()));
  Lines seen;
  for (unsigned n = 1;; ++n) {
    LogCapture log(6);
    FailAllocation failing(n);
    const OwnedSchema schema(vek_schema_from_json(json.get()));
    if (!failing.disarm()) break;
    const Lines errors = log.errors();
    EXPECT_TRUE(schema ? errors.empty() : !log.lines().empty()) << n;
    seen.insert(seen.end(), errors.begin(), errors.end());
  }
  EXPECT_NE(std::find(seen.begin(), seen.end(),
                      "Failed to initialize 'p' schema: Cannot allocate memory"),
            seen.end());
}

class SchemaFile : public testing::Test {
 protected:
  OwnedSchema load(const std::string& path) {
    return OwnedSchema(vek_schema_load_from_file(path.c_str(), builtins_.builtin()));
  }

  TempDir dir_;
  SchemaWithBuiltins builtins_;
};

TEST_F(SchemaFile, IsLoadedWithReferencesAndIdentifier) {
  const LogCapture log;
  const OwnedSchema schema = load(vek::test::golden_path("events_nested"));
  ASSERT_NE(schema, nullptr);
  EXPECT_TRUE(log.errors().empty());
  EXPECT_EQ(schema->parent, builtins_.builtin());
  EXPECT_EQ(schema->types[1]->fields[0]->type, schema->types[0]);
  EXPECT_STREQ(schema->id_string, "9d1da838ee7b8d0f046a61b9e15f6163");
  EXPECT_EQ(vek::test::hex_id(schema->digest), schema->id_string);
}

TEST_F(SchemaFile, WithoutTypesHasTheIdentifierOfZeros) {
  const OwnedSchema schema = load(dir_.write("empty.json", schema_document("")));
  ASSERT_NE(schema, nullptr);
  EXPECT_TRUE(vek_schema_id_is_unset(schema->digest));
  EXPECT_EQ(schema->id_string, std::string(32, '0'));
}

TEST_F(SchemaFile, ThatIsNoJsonIsReported) {
  const std::string path = dir_.write("bad.json", "not JSON");
  LogCapture log;
  EXPECT_EQ(load(path), nullptr);
  EXPECT_EQ(log.errors(), Lines{"Failed reading schema JSON from file '" + path + "'"});
}

TEST_F(SchemaFile, ThatCannotBeReadIsReported) {
  for (const std::string& path : {dir_.file("absent.json"), dir_.path(), std::string()}) {
    LogCapture log;
    EXPECT_EQ(load(path), nullptr);
    EXPECT_EQ(log.errors(), Lines{"Failed reading schema JSON from file '" + path + "'"});
  }
}

TEST_F(SchemaFile, WithAnUnknownTypeLeavesNothing) {
  const std::string path =
      dir_.write("s.json", schema_document(type_text("t", field_text("f", "what"))));
  LogCapture log;
  EXPECT_EQ(load(path), nullptr);
  EXPECT_EQ(log.errors(), Lines{"Definition of type what not found within the schema p"});
}

TEST_F(SchemaFile, CutAtAnyLengthIsRefusedOrComplete) {
  const std::string text = vek::test::golden("events_point");
  for (size_t length = 0; length < text.size(); ++length) {
    const std::string path = dir_.write("cut.json", text.substr(0, length));
    LogCapture log;
    EXPECT_EQ(load(path), nullptr) << length;
    EXPECT_EQ(log.errors(), Lines{"Failed reading schema JSON from file '" + path + "'"});
  }
}

}  // namespace
