// Packing by plan against packing rule by rule: the same bytes, whatever the schema, the field-set
// file and the event.
#include "field_set/event_plan.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "data/builtin_types.h"
#include "tests/field_set/events_fixture.h"
#include "tests/field_set/plain_events.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

class Chance {
 public:
  explicit Chance(uint32_t seed) : engine_(seed) {}

  uint32_t below(uint32_t n) { return std::uniform_int_distribution<uint32_t>(0, n - 1)(engine_); }
  bool one_in(uint32_t n) { return below(n) == 0; }
  template <typename T>
  const T& of(const std::vector<T>& choices) {
    return choices[below(static_cast<uint32_t>(choices.size()))];
  }
  uint8_t byte() { return static_cast<uint8_t>(below(256)); }

 private:
  std::mt19937 engine_;
};

// Few names, so that files, shadowing, aliases and duplicates meet often.
const std::vector<std::string> kNames{"timestamp",
                                      "type",
                                      "type_name",
                                      "source",
                                      "port_guid",
                                      "GUID",
                                      "node_guid",
                                      "Guid",
                                      "a",
                                      "b",
                                      "c",
                                      "d",
                                      "x",
                                      "text",
                                      "len",
                                      "time",
                                      "a_name_that_is_longer_than_thirty_one_characters",
                                      "alias"};
const std::vector<std::string> kTypeNames{
    "link", "power", "kelvra_smi_event", "kelvra_smi_event_x", "alarm", "abc"};
const std::vector<std::string> kSections{
    "default",           "link",     "li*",   "*",    "alarm", "abc",
    "kelvra_smi_event*", "uint64_t", "power", "inner"};

std::vector<FieldSpec> random_fields(Chance& chance, const std::vector<std::string>& defined) {
  std::vector<FieldSpec> fields;
  const uint32_t count = 1 + chance.below(12);
  for (uint32_t i = 0; i < count; ++i) {
    FieldSpec field{chance.of(kNames), vek_builtin_type_name(1 + chance.below(22))};
    if (!defined.empty() && chance.one_in(5)) field.type = chance.of(defined);
    if (chance.one_in(4)) field.type = chance.one_in(6) ? "unsigned char" : "char";
    if (field.type == "char" || chance.one_in(6)) field.array_length = chance.below(12);
    // The last two positions of a type may repeat names, and the schema takes that.
    bool repeats = false;
    for (const FieldSpec& other : fields) repeats |= other.name == field.name;
    if (repeats) {
      if (i + 1 != count) continue;
    }
    fields.push_back(field);
  }
  return fields;
}

std::string random_line(Chance& chance) {
  const std::string name = chance.of(kNames);
  switch (chance.below(9)) {
    case 0:
      return "[" + chance.of(kSections) + "]";
    case 1:
      return "[" + chance.of(kSections) + "," + chance.of(kSections) + "]";
    case 2:
      return chance.of(kNames) + "=^" + name + "$";
    case 3:
      return "meta_field_alias:" + name + "=" + chance.of(kNames);
    case 4:
      return "meta_field_add:" + name + "=" + chance.of(kNames);
    case 5:
      return "-" + name;
    case 6:
      return name + "-" + chance.of(kNames);
    case 7:
      return chance.one_in(3) ? "=" + name : "alias=" + name + ".0";
    default:
      return name.substr(0, 1 + chance.below(3));
  }
}

Record random_event(Chance& chance, size_t size) {
  Record event(size);
  const uint32_t style = chance.below(4);
  for (uint8_t& byte : event) {
    byte = style == 0 ? 0 : style == 1 ? 0xff : chance.one_in(3) ? 0 : chance.byte();
  }
  return event;
}

class Differential : public ::testing::TestWithParam<uint32_t> {
 protected:
  static constexpr uint32_t kSeedsEach = 25;

  // Everything of one seed: a schema, a field-set file, some events of every type.
  void run(uint32_t seed);
  void compare(FieldSet& set, PlainFieldSet& plain, const PlainType& type, uint16_t index,
               Chance& chance);

  size_t records_ = 0;
};

void Differential::compare(FieldSet& set, PlainFieldSet& plain, const PlainType& type,
                           uint16_t index, Chance& chance) {
  const vek_event_header_t header =
      header_of(index, chance.one_in(8) ? 0 : uint64_t{chance.below(UINT32_MAX)} * 524287);
  ASSERT_EQ(set.GetTypeSize(&header), type.size);
  const GuardedBytes event(random_event(chance, type.size));
  const char* source = chance.one_in(6) ? nullptr : chance.one_in(6) ? "" : "host-1";
  for (const char* layout : {"flb_std", "custom"}) {
    msgpack_sbuffer expected;
    msgpack_sbuffer_init(&expected);
    plain.pack(&expected, type, event.data(), header.timestamp, source, layout);
    msgpack_sbuffer actual;
    set.MsgPackToSimpleBuffer(&actual, event.data(), &header, source, layout);
    EXPECT_EQ(to_hex(actual.data, actual.size), to_hex(expected.data, expected.size))
        << layout << "\n"
        << msgpack_to_text(actual.data, actual.size) << "\n"
        << msgpack_to_text(expected.data, expected.size);
    records_ += actual.size > 0;
    std::free(actual.data);
    msgpack_sbuffer_destroy(&expected);
  }
}

void Differential::run(uint32_t seed) {
  Chance chance(seed);
  const TypeSystem ts(vek_create_type_system());
  vek_schema_t* schema = vek_type_system_add_schema(ts.get(), "p", 1, nullptr);
  std::vector<std::string> defined;
  for (const char* inner : {"inner", "inner2"}) {
    add_type(schema, inner, random_fields(chance, defined));
    defined.emplace_back(inner);
  }
  for (const std::string& name : kTypeNames) add_type(schema, name, random_fields(chance, defined));
  vek_type_system_update_md5_hashes(ts.get());

  Lines lines;
  for (uint32_t i = chance.below(20); i > 0; --i) lines.push_back(random_line(chance));
  SCOPED_TRACE(::testing::PrintToString(lines));
  FieldSet set;
  set.loadFromLines(lines);
  set.UpdateTypesOfInterest();
  PlainFieldSet plain({set.tokens_by_type(), set.meta_fields_aliases_by_type(),
                       set.meta_fields_constants_by_type(), set.types_of_interest()});
  set.updateWithNewSchemas(ts.get(), false);
  SchemasBlock block(ts.get());
  set.SaveLastSchemaBlock(block.get());

  std::vector<PlainType> types;
  for (uint16_t i = 0; i < schema->num_types; ++i) types.push_back(plain.bind(*schema->types[i]));
  for (int round = 0; round < 6; ++round) {
    for (uint16_t i = 0; i < schema->num_types; ++i) {
      SCOPED_TRACE(types[i].name);
      compare(set, plain, types[i], i, chance);
      if (HasFailure()) return;
    }
  }
}

TEST_P(Differential, PlansWriteWhatTheRulesSay) {
  // Files with an empty alias report it for every event.
  const LogCapture quiet(2);
  for (uint32_t seed = GetParam(); seed < GetParam() + kSeedsEach && !HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    run(seed);
  }
  EXPECT_GT(records_, kSeedsEach * 30);  // most events make records
}

INSTANTIATE_TEST_SUITE_P(Seeds, Differential, ::testing::Range(0u, 400u, 25u));

}  // namespace
}  // namespace vek::test
