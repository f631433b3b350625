#include <gmock/gmock.h>

#include "tests/field_set/events_fixture.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

class SchemaBinding : public EventsTest {};

std::string id_of(const vek_schema_t* schema) {
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(schema->digest, text);
  return text;
}

TEST_F(SchemaBinding, NamesNestedFieldsByPath) {
  type("inner", {{"c", "uint8_t"}, {"d", "uint32_t"}});
  const uint8_t outer = type("outer", {{"x", "uint16_t"}, {"b", "inner"}});
  bind();
  const auto all = fields(outer);
  EXPECT_THAT(all_names(all), ElementsAre("x", "b.c", "b.d"));
  EXPECT_EQ(all[0].offset, 0u);
  EXPECT_EQ(all[1].offset, 2u);
  EXPECT_EQ(all[2].offset, 3u);
  EXPECT_EQ(all[2].name_len, 3u);
  EXPECT_STREQ(all[2].type_name, "uint32_t");
  EXPECT_EQ(all[2].field_type, VEK_TYPE_UINT32);
  EXPECT_EQ(all[2].data_str_len, 0u);
}

TEST_F(SchemaBinding, NumbersTheElementsOfArrays) {
  const uint8_t index =
      type("t", {{"a", "uint8_t"}, {"ports", "uint32_t", 3, VEK_VALUE_RUNNING_SUM}});
  bind();
  const auto all = fields(index);
  EXPECT_THAT(all_names(all), ElementsAre("a", "ports.0", "ports.1", "ports.2"));
  EXPECT_EQ(all[1].offset, 1u);
  EXPECT_EQ(all[2].offset, 5u);
  EXPECT_EQ(all[3].offset, 9u);
  EXPECT_EQ(all[3].array_length, 3u);
  EXPECT_EQ(all[3].counting_mode, 1u);
}

TEST_F(SchemaBinding, NumbersTheElementsOfNestedArrays) {
  type("pair", {{"k", "uint8_t"}, {"v", "uint16_t", 2}});
  const uint8_t index = type("t", {{"h", "uint64_t"}, {"p", "pair", 2}});
  bind();
  const auto all = fields(index);
  EXPECT_THAT(all_names(all),
              ElementsAre("h", "p.0.k", "p.0.v.0", "p.0.v.1", "p.1.k", "p.1.v.0", "p.1.v.1"));
  EXPECT_EQ(all[4].offset, 8u + 5u);
  EXPECT_EQ(all[6].offset, 8u + 5u + 3u);
}

TEST_F(SchemaBinding, TakesTextsAsOneField) {
  const uint8_t index =
      type("t", {{"s", "char", 16}, {"u", "unsigned char", 4}, {"c", "char"}, {"none", "char", 0}});
  bind();
  const auto all = fields(index);
  EXPECT_THAT(all_names(all), ElementsAre("s", "u", "c", "none"));
  EXPECT_EQ(all[0].array_length, 16u);
  EXPECT_EQ(all[3].array_length, 0u);
}

TEST_F(SchemaBinding, ArrayOfLengthZeroHasNoFields) {
  type("inner", {{"c", "uint8_t"}});
  const uint8_t index = type("t", {{"x", "uint32_t", 0}, {"y", "inner", 0}, {"z", "bool"}});
  bind();
  EXPECT_THAT(all_names(fields(index)), ElementsAre("z"));
}

TEST_F(SchemaBinding, WithoutTokensIncludesEverythingInOrder) {
  const uint8_t index = type("t", {{"a", "bool"}, {"b", "bool"}});
  bind();
  const auto all = fields(index);
  EXPECT_THAT(included_names(all), ElementsAre("a", "b"));
  EXPECT_EQ(all[0].order, 1u);
  EXPECT_EQ(all[1].order, 2u);
}

struct TokensCase {
  const char* name;
  Lines lines;
  std::vector<std::string> included;
};

class Tokens : public EventsTest, public ::testing::WithParamInterface<TokensCase> {};

TEST_P(Tokens, Select) {
  const uint8_t index = type(
      "link",
      {{"port", "uint8_t"}, {"port_rate", "uint8_t"}, {"state", "uint8_t"}, {"Reason", "uint8_t"}});
  bind(GetParam().lines);
  EXPECT_EQ(included_names(fields(index)), GetParam().included);
}

INSTANTIATE_TEST_SUITE_P(
    FieldSet, Tokens,
    ::testing::Values(
        TokensCase{"substring", {"port"}, {"port", "port_rate"}},
        TokensCase{"anchored", {"^port$"}, {"port"}},
        TokensCase{"any_case", {"reason", "STATE"}, {"state", "Reason"}},
        TokensCase{"and", {"+port+rate"}, {"port_rate"}},
        TokensCase{"include_with_exclude", {"port-rate"}, {"port"}},
        // Nothing is included to exclude from.
        TokensCase{"only_exclude", {"-port"}, {}},
        TokensCase{"exclude_after_include", {"port", "-rate"}, {"port"}},
        // Excluded for good: the token that follows does not bring it back.
        TokensCase{"exclude_before_include", {"-rate", "port"}, {"port"}},
        TokensCase{"empty_token", {"x="}, {}}, TokensCase{"lone_sign", {"-", "state"}, {"state"}},
        TokensCase{"trailing_blank_matches_nothing", {"port "}, {}},
        TokensCase{"section", {"[link]", "state"}, {"state"}},
        TokensCase{"section_and_default", {"port$", "[link]", "state"}, {"port"}},
        TokensCase{"alias", {"p=^port$"}, {"port"}},
        TokensCase{"other_section", {"[other]", "state"}, {}},
        TokensCase{
            "own_and_default", {"^port$", "[aaa]", "x", "[link]", "state"}, {"port", "state"}},
        TokensCase{"only_meta", {"meta_field_add:k=v"}, {"port", "port_rate", "state", "Reason"}}),
    [](const auto& test) { return std::string(test.param.name); });

// "[link]" sorts behind "default", so that every type is of interest and own tokens do not count.
TEST_F(SchemaBinding, OwnTokensCountOnlyWhereTypesAreChosen) {
  const uint8_t index = type("link", {{"a", "bool"}, {"b", "bool"}});
  bind({"[default]", "a", "[link]", "b"});
  EXPECT_THAT(set_.types_of_interest(), IsEmpty());
  EXPECT_THAT(included_names(fields(index)), ElementsAre("a"));
}

TEST_F(SchemaBinding, OrderOfAnExcludedFieldIsNotWithdrawn) {
  const uint8_t index = type("t", {{"a", "bool"}, {"b", "bool"}, {"c", "bool"}});
  bind({"a", "b", "c", "-b"});
  const auto all = fields(index);
  EXPECT_THAT(included_names(all), ElementsAre("a", "c"));
  EXPECT_EQ(all[0].order, 1u);
  EXPECT_EQ(all[1].order, 2u);  // excluded, but numbered
  EXPECT_EQ(all[2].order, 2u);
}

TEST_F(SchemaBinding, FilterThatCannotBeSplitHasNoEffect) {
  std::string too_many;
  for (int i = 0; i < 33; ++i) too_many += "+a";
  const uint8_t index = type("t", {{"a", "bool"}, {"b", "bool"}});
  const LogCapture log;
  bind({too_many, "b"});
  EXPECT_THAT(included_names(fields(index)), ElementsAre("b"));
  EXPECT_TRUE(log.has(3, "Cannot handle more than 32 tokens"));
}

TEST_F(SchemaBinding, WildcardHandsItsTablesToTheType) {
  const uint8_t index = type("port_counters", {{"a", "bool"}, {"b", "bool"}});
  bind({"[port*]", "x=^a$", "meta_field_add:k=v"});
  EXPECT_THAT(included_names(fields(index)), ElementsAre("a"));
  EXPECT_THAT(set_.tokens_by_type().at("port_counters"), ElementsAre("^a$"));
  EXPECT_EQ(set_.meta_fields_aliases_by_type().at("port_counters").at("a"), "x");
  EXPECT_EQ(set_.meta_fields_constants_by_type().at("port_counters").at("k"), "v");
  EXPECT_THAT(set_.types_of_interest(), ElementsAre("port*"));
}

// The first entry that matches decides, and a hit replaces what the type's own section said.
TEST_F(SchemaBinding, WildcardThatComesFirstReplacesTheTypesOwnTables) {
  const uint8_t index = type("port_x", {{"a", "bool"}, {"b", "bool"}});
  bind({"[port*]", "a", "[port_x]", "b"});
  EXPECT_THAT(set_.types_of_interest(), ElementsAre("port*", "port_x"));
  EXPECT_THAT(included_names(fields(index)), ElementsAre("a"));
  EXPECT_THAT(set_.tokens_by_type().at("port_x"), ElementsAre("a"));
}

TEST_F(SchemaBinding, LoneAsteriskTakesEveryType) {
  const uint8_t index = type("anything", {{"a", "bool"}, {"b", "bool"}});
  bind({"[*]", "b"});
  EXPECT_THAT(included_names(fields(index)), ElementsAre("b"));
}

TEST_F(SchemaBinding, TypeOfAFieldMakesATypeOfInterest) {
  type("inner", {{"x", "uint64_t"}});
  const uint8_t direct = type("direct", {{"y", "uint64_t"}});
  const uint8_t nested = type("nested", {{"i", "inner"}});
  const uint8_t none = type("none", {{"z", "uint32_t"}});
  bind({"[uint64_t]"});
  EXPECT_THAT(included_names(fields(direct)), ElementsAre("y"));
  EXPECT_THAT(included_names(fields(nested)), ElementsAre("i.x"));
  EXPECT_THAT(included_names(fields(none)), IsEmpty());
}

TEST_F(SchemaBinding, TypeNotOfInterestExportsNothing) {
  const uint8_t index = type("t", {{"a", "bool"}});
  bind({"[abc]"});
  const auto all = fields(index);
  ASSERT_EQ(all.size(), 1u);
  EXPECT_TRUE(all[0].skip);
  EXPECT_THAT(pack(index, {1}), IsEmpty());
}

TEST_F(SchemaBinding, SaysWhatIsOfInterestExceptForPower) {
  type("inner", {{"d", "bool"}});
  type("link", {{"x", "uint8_t"}, {"i", "inner"}});
  type("power", {{"x", "uint32_t"}});
  const LogCapture log;
  bind({"[link]"});
  EXPECT_TRUE(log.has(7, "types for td=link"));
  EXPECT_TRUE(log.has(7, "link contains bool"));
  EXPECT_TRUE(log.has(7, "link contains inner"));
  EXPECT_TRUE(log.has(7, "link contains uint8_t"));
  EXPECT_TRUE(log.has(7, "type [link] is type of interest"));
  EXPECT_TRUE(log.has(7, "type [inner] is not type of interest"));
  EXPECT_TRUE(log.has(7, "types for td=power"));
  EXPECT_FALSE(log.has(7, "type [power] is not type of interest"));
}

TEST_F(SchemaBinding, PowerOfInterestIsQuietToo) {
  type("power", {{"x", "bool"}});
  const LogCapture log;
  bind();
  EXPECT_FALSE(log.has(7, "type [power] is type of interest"));
}

TEST_F(SchemaBinding, LogsNewSchemasOnce) {
  type("t", {{"a", "bool"}});
  vek_type_system_update_md5_hashes(ts_.get());
  const std::string id = id_of(schema_);
  const LogCapture log;
  set_.updateWithNewSchemas(ts_.get(), false);
  set_.updateWithNewSchemas(ts_.get(), false);
  EXPECT_EQ(log.count(7, "[updateWithNewSchemas] need to add schema '" + id + "'"), 1u);
  EXPECT_EQ(log.count(7, "[updateWithNewSchemas] updating fset with 1 new schemas"), 1u);
  EXPECT_EQ(log.count(7, "[GetSchemaId] new_schm_id = 0, adding schema = " + id), 1u);
}

TEST_F(SchemaBinding, FindsASchemaThatTakesThePlaceOfOneThatWasKnown) {
  type("t", {{"a", "bool"}});
  bind();
  for (int page = 0; page < 3; ++page) set_.updateWithNewSchemas(ts_.get(), false);
  add_type(schema_, "u", {{"b", "bool"}});
  std::fill(std::begin(schema_->digest), std::end(schema_->digest), uint8_t{0});
  vek_type_system_update_md5_hashes(ts_.get());
  EXPECT_EQ(set_.GetSchemaId(schema_), -1);
  set_.updateWithNewSchemas(ts_.get(), false);
  EXPECT_EQ(set_.GetSchemaId(schema_), 1);
}

TEST_F(SchemaBinding, FindsASchemaThatJoinsThoseThatWereKnown) {
  type("t", {{"a", "bool"}});
  bind();
  for (int page = 0; page < 3; ++page) set_.updateWithNewSchemas(ts_.get(), false);
  vek_schema_t* second = vek_type_system_add_schema(ts_.get(), "second", 1, nullptr);
  add_type(second, "u", {{"b", "bool"}});
  vek_type_system_update_md5_hashes(ts_.get());
  set_.updateWithNewSchemas(ts_.get(), false);
  EXPECT_EQ(set_.GetSchemaId(second), 1);
}

TEST_F(SchemaBinding, ForcedRebindingKeepsTheCacheId) {
  type("t", {{"a", "bool"}});
  vek_schema_t* second = vek_type_system_add_schema(ts_.get(), "second", 1, nullptr);
  add_type(second, "u", {{"b", "bool"}});
  bind();
  ASSERT_EQ(set_.GetSchemaId(schema_), 0);
  ASSERT_EQ(set_.GetSchemaId(second), 1);
  set_.loadFromLines({"nothing"});
  set_.updateWithNewSchemas(ts_.get(), false);
  EXPECT_THAT(included_names(fields(0)), ElementsAre("a"));
  set_.updateWithNewSchemas(ts_.get(), true);
  EXPECT_THAT(included_names(fields(0)), IsEmpty());
  EXPECT_EQ(set_.GetSchemaId(schema_), 0);
  EXPECT_EQ(set_.GetSchemaId(second), 1);
}

TEST_F(SchemaBinding, OfATypeSystemWithoutSchemasDoesNothing) {
  const TypeSystem empty(vek_create_type_system());
  const LogCapture log;
  set_.updateWithNewSchemas(empty.get(), false);
  set_.updateWithNewSchemas(nullptr, true);
  set_.updateWithNewSchema(nullptr);
  set_.updateWithNewSchemas_kix(nullptr);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(SchemaBinding, SkipsEmptyTextsOfSomeTypesOnlyOverATypeSystem) {
  type("kelvra_smi_event", {{"a", "bool"}});
  type("kelvra_smi_event_v2", {{"a", "bool"}});
  type("a_kelvra_smi_event", {{"a", "bool"}});
  const LogCapture log;
  bind();
  EXPECT_TRUE(log.has(7, "[kelvra_smi_event] Fields with empty strings will be skipped"));
  EXPECT_TRUE(log.has(7, "[kelvra_smi_event_v2] Fields with empty strings will be skipped"));
  EXPECT_FALSE(log.has(7, "[a_kelvra_smi_event] Fields with empty strings will be skipped"));
  FieldSet single;
  single.updateWithNewSchema(schema_);
  EXPECT_EQ(log.count(7, "[kelvra_smi_event] Fields with empty strings will be skipped"), 1u);
}

TEST_F(SchemaBinding, ReportsMissingTypesAndGoesOn) {
  type("t", {{"a", "bool"}});
  type("u", {{"b", "bool"}});
  vek_type_system_update_md5_hashes(ts_.get());
  vek_type_definition_t* const hidden = schema_->types[0];
  schema_->types[0] = nullptr;
  {
    const LogCapture log;
    set_.updateWithNewSchema(schema_);
    EXPECT_THAT(log.errors(), ElementsAre("Type definition 0 not found"));
  }
  {
    FieldSet other;
    const LogCapture log;
    other.updateWithNewSchemas(ts_.get(), false);
    EXPECT_THAT(log.errors(), ElementsAre("Type definition 0:0 not found"));
  }
  EXPECT_THAT(fields(0), IsEmpty());
  EXPECT_THAT(all_names(fields(1)), ElementsAre("b"));
  schema_->types[0] = hidden;
}

TEST_F(SchemaBinding, OfOneSchemaBindsIt) {
  const uint8_t index = type("t", {{"a", "bool"}, {"b", "bool"}});
  vek_type_system_update_md5_hashes(ts_.get());
  set_.initializeFromLines(schema_, {"b"});
  EXPECT_EQ(set_.GetSchemaId(schema_), 0);
  EXPECT_THAT(included_names(fields(index)), ElementsAre("b"));
}

// Eight bits hold the id; beyond 256 schemas ids start again and places are shared.
TEST_F(SchemaBinding, CacheIdsWrapAfter256Schemas) {
  FieldSet set;
  std::vector<TypeSystem> systems;
  std::vector<vek_schema_t*> schemas;
  for (int i = 0; i < 258; ++i) {
    systems.emplace_back(vek_create_type_system());
    vek_schema_t* schema = vek_type_system_add_schema(systems.back().get(), "p", 1, nullptr);
    add_type(schema, "t", {{"f" + std::to_string(i), i == 256 ? "uint64_t" : "uint8_t"}});
    vek_type_system_update_md5_hashes(systems.back().get());
    set.updateWithNewSchemas(systems.back().get(), false);
    schemas.push_back(schema);
  }
  EXPECT_EQ(set.GetSchemaId(schemas[0]), 0);
  EXPECT_EQ(set.GetSchemaId(schemas[255]), 255);
  EXPECT_EQ(set.GetSchemaId(schemas[256]), 0);
  EXPECT_EQ(set.GetSchemaId(schemas[257]), 1);
  EXPECT_THAT(all_names(set.getFields(schemas[0], 0)), ElementsAre("f256"));
  EXPECT_THAT(all_names(set.getFields(schemas[2], 0)), ElementsAre("f2"));
  // Size and fields come from the same place, so that nothing is read beyond a record.
  SchemasBlock block({schemas[0]});
  set.SaveLastSchemaBlock(block.get());
  const vek_event_header_t header = header_of(0);
  EXPECT_EQ(set.GetTypeSize(&header), 8u);
}

}  // namespace
}  // namespace vek::test
