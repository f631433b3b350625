#include "field_set/flattening.h"

#include <gmock/gmock.h>

#include "field_set/schema_binder.h"
#include "tests/field_set/events_fixture.h"
#include "tests/support/log_capture.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Flattening : public EventsTest {
 protected:
  vek_type_definition_t& definition(uint8_t index) { return *schema_->types[index]; }
  vek_type_field_definition_t& field(uint8_t type, size_t position) {
    return *definition(type).fields[position];
  }
  // Binds; the one error it gives. The type has no fields and makes no records then.
  std::string refusal(uint8_t index) {
    const LogCapture log(3);
    bind();
    EXPECT_THAT(fields(index), IsEmpty());
    EXPECT_THAT(pack(index, Record(definition(index).size)), IsEmpty());
    return log.errors().size() == 1 ? log.errors()[0] : "not one error";
  }
};

TEST_F(Flattening, CollectsEveryTypeNameInside) {
  type("inner", {{"a", "char", 4}, {"n", "float", 0}});
  const uint8_t outer = type("outer", {{"i", "inner", 2}});
  BoundType bound;
  std::set<std::string> names{"there before"};
  EXPECT_TRUE(Flattener(bound).GetAllTypeNames(definition(outer), names));
  EXPECT_THAT(names, ElementsAre("char", "float", "inner", "there before"));
}

TEST_F(Flattening, EmptiesWhatWasThere) {
  const uint8_t index = type("t", {{"a", "bool"}});
  BoundType bound;
  std::set<std::string> names;
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(Flattener(bound).GetAllTypeNames(definition(index), names));
    EXPECT_THAT(all_names(bound.field_set.fields), ElementsAre("a"));
  }
}

TEST_F(Flattening, RefusesAFieldOutsideTheRecord) {
  const uint8_t index = type("t", {{"a", "uint32_t"}, {"b", "uint32_t"}});
  field(index, 1).offset = 5;
  EXPECT_EQ(refusal(index),
            "[FieldSet] type 't' is left without fields: its field 'b' lies outside the record");
}

TEST_F(Flattening, RefusesATextOutsideTheRecord) {
  const uint8_t index = type("t", {{"a", "char", 8}});
  field(index, 0).array_length = 9;
  EXPECT_EQ(refusal(index),
            "[FieldSet] type 't' is left without fields: its field 'a' lies outside the record");
}

TEST_F(Flattening, RefusesOffsetsThatWrap) {
  type("inner", {{"x", "uint8_t"}});
  const uint8_t scalar = type("t", {{"i", "inner"}});
  field(scalar, 0).offset = UINT64_MAX;
  field(0, 0).offset = 1;
  definition(0).size = 2;
  EXPECT_EQ(refusal(scalar),
            "[FieldSet] type 't' is left without fields: its field 'i.x' lies outside the record");
}

// Wrapping could lead back into the record, to the wrong place.
TEST_F(Flattening, RefusesElementsWhoseOffsetsWrap) {
  type("inner", {{"x", "uint8_t"}});
  const uint8_t index = type("t", {{"i", "inner", 2}});
  field(index, 0).offset = UINT64_MAX;
  field(index, 0).type_size = 1;
  field(0, 0).offset = 1;
  definition(0).size = 2;
  EXPECT_EQ(refusal(index),
            "[FieldSet] type 't' is left without fields: its field 'i.0.x' lies outside the "
            "record");
}

TEST_F(Flattening, RefusesStridesThatWrap) {
  const uint8_t index = type("t", {{"a", "uint32_t", 3}});
  field(index, 0).type_size = UINT64_MAX / 2;
  EXPECT_EQ(refusal(index),
            "[FieldSet] type 't' is left without fields: its field 'a.1' lies outside the record");
}

TEST_F(Flattening, TakesOffsetsAsTheSchemaGivesThem) {
  const uint8_t index = type("t", {{"a", "uint32_t", 2}, {"b", "uint8_t"}});
  field(index, 0).type_size = 1;  // overlapping elements
  field(index, 1).offset = 0;
  bind();
  const auto all = fields(index);
  EXPECT_EQ(all[1].offset, 1u);
  EXPECT_EQ(all[2].offset, 0u);
}

TEST_F(Flattening, RefusesATypeThatContainsItself) {
  const uint8_t index = type("t", {{"a", "uint32_t"}, {"b", "uint32_t"}});
  field(index, 1).type = schema_->types[index];
  EXPECT_EQ(refusal(index), "[FieldSet] type 't' is left without fields: type 't' contains itself");
}

TEST_F(Flattening, RefusesTypesThatContainEachOther) {
  type("inner", {{"x", "uint32_t"}});
  const uint8_t outer = type("outer", {{"i", "inner", 2}});
  const LogCapture log(3);
  field(0, 0).type = schema_->types[outer];
  bind();
  EXPECT_THAT(
      log.errors(),
      ElementsAre("[FieldSet] type 'inner' is left without fields: type 'inner' contains itself",
                  "[FieldSet] type 'outer' is left without fields: type 'outer' contains "
                  "itself"));
}

TEST_F(Flattening, RefusesAnUnresolvedType) {
  const uint8_t index = type("t", {{"a", "uint32_t"}});
  field(index, 0).type = nullptr;
  EXPECT_EQ(refusal(index),
            "[FieldSet] type 't' is left without fields: type 'uint32_t' of its field 'a' is "
            "unknown");
}

// Records of a refused type are still stepped over.
TEST_F(Flattening, RefusedTypeKeepsItsSize) {
  const uint8_t index = type("t", {{"a", "uint32_t"}});
  field(index, 0).offset = 1;
  const LogCapture log(3);
  bind();
  const vek_event_header_t header = header_of(index);
  EXPECT_EQ(set_.GetTypeSize(&header), 4u);
}

TEST_F(Flattening, RefusesFieldsWithoutEnd) {
  type("a", {{"x", "uint8_t", 65535}});
  type("b", {{"x", "a", 65535}});
  const uint8_t index = type("c", {{"x", "b", 65535}});
  BoundType bound;
  std::set<std::string> names;
  Flattener flattener(bound);
  EXPECT_FALSE(flattener.GetAllTypeNames(definition(index), names));
  EXPECT_EQ(flattener.error(), "it has too many fields");
  EXPECT_THAT(bound.field_set.fields, IsEmpty());
}

TEST_F(Flattening, RefusesEmptyTypesWithoutEnd) {
  type("a", {{"x", "uint8_t", 0}});
  type("b", {{"x", "a", 65535}});
  type("c", {{"x", "b", 65535}});
  const uint8_t index = type("d", {{"x", "c", 65535}});
  BoundType bound;
  std::set<std::string> names;
  Flattener flattener(bound, {.steps = 100'000});
  EXPECT_FALSE(flattener.GetAllTypeNames(definition(index), names));
  EXPECT_EQ(flattener.error(), "it has too many fields");
  EXPECT_EQ(flattener.steps(), 100'001u);
}

// Types share what a field set may hold; one that is replaced gives its part back.
TEST_F(Flattening, HoldsTheLimitsOfAllTypesTogether) {
  type("t", {{"a", "uint8_t", 3}});
  type("u", {{"a", "uint8_t", 3}});
  vek_type_system_update_md5_hashes(ts_.get());
  const std::vector<SchemaBinder::Candidate> candidates{{"id", schema_, 0}};
  const FlatteningLimits exact{.fields = 6, .name_bytes = 18, .steps = 8};
  const std::string refused = "[FieldSet] type 'u' is left without fields: it has too many fields";
  for (int missing = 0; missing <= 3; ++missing) {
    FlatteningLimits limits = exact;
    if (missing == 1) --limits.fields;
    if (missing == 2) --limits.name_bytes;
    if (missing == 3) --limits.steps;
    FieldSetState state;
    const LogCapture log(3);
    SchemaBinder(state, SchemaBinder::Origin::kSchema, limits).bind(candidates);
    EXPECT_EQ(state.bound_fields, missing ? 3u : 6u);
    EXPECT_EQ(log.errors().size(), missing ? 1u : 0u);
    EXPECT_EQ(log.count(3, refused), missing ? 1u : 0u);
  }
  FieldSetState state;
  const FlatteningLimits roomy{.fields = 100, .name_bytes = 1000, .steps = 100};
  for (int round = 0; round < 3; ++round) {
    SchemaBinder(state, SchemaBinder::Origin::kSchema, roomy).bind(candidates);
    EXPECT_EQ(state.bound_fields, 6u);
    EXPECT_EQ(state.bound_name_bytes, 18u);
  }
}

TEST_F(Flattening, HoldsItsLimitsExactly) {
  const uint8_t index = type("t", {{"ab", "uint8_t", 3}});  // ab.0 ab.1 ab.2: 12 bytes, 4 steps
  struct Case {
    FlatteningLimits limits;
    bool fits;
  };
  const Case cases[] = {
      {{.fields = 3, .name_bytes = 12, .steps = 4, .depth = 1}, true},
      {{.fields = 2, .name_bytes = 12, .steps = 4, .depth = 1}, false},
      {{.fields = 3, .name_bytes = 11, .steps = 4, .depth = 1}, false},
      {{.fields = 3, .name_bytes = 12, .steps = 3, .depth = 1}, false},
      {{.fields = 3, .name_bytes = 12, .steps = 4, .depth = 0}, false},
  };
  for (const Case& c : cases) {
    BoundType bound;
    std::set<std::string> names;
    EXPECT_EQ(Flattener(bound, c.limits).GetAllTypeNames(definition(index), names), c.fits);
    EXPECT_EQ(bound.field_set.fields.size(), c.fits ? 3u : 0u);
  }
}

TEST_F(Flattening, TakesDeepNestingInItsStride) {
  type("t0", {{"x", "uint8_t"}});
  for (int i = 1; i < 250; ++i) {
    type("t" + std::to_string(i), {{"n", "t" + std::to_string(i - 1)}});
  }
  const LogCapture log(3);
  bind();
  EXPECT_THAT(log.errors(), IsEmpty());
  EXPECT_EQ(fields(249).size(), 1u);
}

TEST_F(Flattening, TypeWithoutFieldsHasNone) {
  const uint8_t index = type("t", {});
  const LogCapture log(3);
  bind();
  EXPECT_THAT(fields(index), IsEmpty());
  EXPECT_THAT(log.errors(), IsEmpty());
  const vek_event_header_t header = header_of(index);
  EXPECT_EQ(set_.GetTypeSize(&header), 0u);
}

}  // namespace
}  // namespace vek::test
