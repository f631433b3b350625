#include <gtest/gtest.h>

#include "tests/data/schema_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/log_capture.h"

namespace {

using vek::JsonValue;
using vek::OwnedField;
using vek::test::compact_of;
using vek::test::FailAllocation;
using vek::test::LogCapture;

using Lines = std::vector<std::string>;

OwnedField read(const std::string& text) {
  const JsonValue json(json_parse_string(text.c_str()));
  EXPECT_NE(json, nullptr) << text;
  return OwnedField(vek_type_field_definition_from_json(json.get()));
}

std::string document(const std::string& more = "") {
  return R"({"field_name":"f","description":"d","type_name":"int","counting_mode":"ABSOLUTE",)"
         R"("offset":12,"type_size":4)" +
         more + "}";
}

TEST(FieldJson, IsWrittenInItsFixedOrder) {
  vek_type_field_info_t info = {"name", "text", "char", VEK_VALUE_RUNNING_SUM, 4};
  OwnedField field(vek_type_field_definition_from_info(&info));
  field->offset = 9;
  field->type_size = 1;
  field->index = 2;
  EXPECT_EQ(
      compact_of(vek_type_field_definition_jsonify(field.get())),
      R"({"field_name":"name","description":"text","type_name":"char",)"
      R"("counting_mode":"RUNNING_SUM","array_length":4,"offset":9,"type_size":1,"index":2})");
}

TEST(FieldJson, ArrayLengthIsWrittenOnlyAboveOneAndIndexAlways) {
  for (const uint32_t length : {0u, 1u}) {
    vek_type_field_info_t info = {"n", "", "int", VEK_VALUE_ABSOLUTE, length};
    const OwnedField field(vek_type_field_definition_from_info(&info));
    EXPECT_EQ(compact_of(vek_type_field_definition_jsonify(field.get())),
              R"({"field_name":"n","description":"","type_name":"int","counting_mode":"ABSOLUTE",)"
              R"("offset":0,"type_size":0,"index":0})");
  }
}

TEST(FieldJson, AbsentTextsHaveNoKey) {
  const OwnedField field(vek_create_type_field_definition());
  field->counting_mode = 9;
  EXPECT_EQ(compact_of(vek_type_field_definition_jsonify(field.get())),
            R"({"offset":0,"type_size":0,"index":0})");
  EXPECT_EQ(vek_type_field_definition_jsonify(nullptr), nullptr);
}

TEST(FieldJson, ATextThatIsNotUtf8CannotBeWritten) {
  vek_type_field_info_t info = {"caf\xE9", "", "int", VEK_VALUE_ABSOLUTE, 1};
  const OwnedField field(vek_type_field_definition_from_info(&info));
  EXPECT_EQ(vek_type_field_definition_jsonify(field.get()), nullptr);
}

TEST(FieldJson, IsReadAsGiven) {
  const OwnedField field = read(document(R"(,"array_length":3,"index":2,"other":[1])"));
  ASSERT_NE(field, nullptr);
  EXPECT_STREQ(field->field_name, "f");
  EXPECT_STREQ(field->description, "d");
  EXPECT_STREQ(field->type_name, "int");
  EXPECT_EQ(field->counting_mode, 0u);
  EXPECT_EQ(field->offset, 12u);
  EXPECT_EQ(field->type_size, 4u);
  EXPECT_EQ(field->array_length, 3u);
  EXPECT_EQ(field->index, 2);
  EXPECT_EQ(field->type, nullptr);
}

TEST(FieldJson, WithoutIndexIsReadAsNoIndexField) {
  LogCapture log;
  const OwnedField field = read(document());
  ASSERT_NE(field, nullptr);
  EXPECT_EQ(field->index, 0);
  EXPECT_TRUE(log.lines().empty());
}

TEST(FieldJson, AnIndexOfAnotherTypeCountsAsAbsentInTheTemplate) {
  const OwnedField field = read(document(R"(,"index":"2")"));
  ASSERT_NE(field, nullptr) << "the form without index allows extra keys";
  EXPECT_EQ(field->index, 0);
}

TEST(FieldJson, ArrayLengthIsCutToSixteenBitsAndNeverZero) {
  const struct {
    const char* text;
    uint32_t length;
  } cases[] = {{"", 1},
               {R"(,"array_length":0)", 1},
               {R"(,"array_length":1)", 1},
               {R"(,"array_length":2.9)", 2},
               {R"(,"array_length":65535)", 65535},
               {R"(,"array_length":65536)", 1},
               {R"(,"array_length":65537)", 1},
               {R"(,"array_length":70000)", 4464},
               {R"(,"array_length":4294967297)", 1},
               {R"(,"array_length":-5)", 1},
               {R"(,"array_length":1e300)", 65535},
               {R"(,"array_length":"8")", 1}};
  for (const auto& c : cases) {
    const OwnedField field = read(document(c.text));
    ASSERT_NE(field, nullptr);
    EXPECT_EQ(field->array_length, c.length) << c.text;
  }
}

TEST(FieldJson, NumbersOutsideTheirRangeAreBroughtToItsEnds) {
  const OwnedField field =
      read(R"({"field_name":"f","description":"d","type_name":"int","counting_mode":"ABSOLUTE",)"
           R"("offset":-1,"type_size":1e30,"index":70000})");
  ASSERT_NE(field, nullptr);
  EXPECT_EQ(field->offset, 0u);
  EXPECT_EQ(field->type_size, UINT64_MAX);
  EXPECT_EQ(field->index, 65535);
}

TEST(FieldJson, AbsoluteMonotonicIsReadAndWrittenBackAsRunningSum) {
  const OwnedField field =
      read(R"({"field_name":"f","description":"","type_name":"int","counting_mode":)"
           R"("ABSOLUTE_MONOTONIC","offset":0,"type_size":4,"index":0})");
  ASSERT_NE(field, nullptr);
  EXPECT_EQ(field->counting_mode, 1u);
  EXPECT_NE(compact_of(vek_type_field_definition_jsonify(field.get()))
                .find(R"("counting_mode":"RUNNING_SUM")"),
            std::string::npos);
}

TEST(FieldJson, AnUnknownCountingModeIsKeptAsUnknown) {
  const OwnedField field =
      read(R"({"field_name":"f","description":"","type_name":"int","counting_mode":"WHAT",)"
           R"("offset":0,"type_size":4})");
  ASSERT_NE(field, nullptr);
  EXPECT_EQ(field->counting_mode, 4294967295u);
}

TEST(FieldJson, EveryOtherKeyIsNeededWithItsType) {
  const struct {
    const char* key;
    const char* member;
    const char* wrong;
  } members[] = {{"field_name", R"("field_name":"f")", R"("field_name":1)"},
                 {"description", R"("description":"d")", R"("description":null)"},
                 {"type_name", R"("type_name":"int")", R"("type_name":[])"},
                 {"counting_mode", R"("counting_mode":"ABSOLUTE")", R"("counting_mode":0)"},
                 {"offset", R"("offset":0)", R"("offset":"0")"},
                 {"type_size", R"("type_size":4)", R"("type_size":true)"}};
  for (const auto& left_out : members) {
    std::string absent = R"({"index":0)";
    std::string wrong = absent;
    for (const auto& member : members) {
      const bool same = member.key == left_out.key;
      if (!same) absent += std::string(",") + member.member;
      wrong += std::string(",") + (same ? member.wrong : member.member);
    }
    for (const std::string& text : {absent + "}", wrong + "}"}) {
      LogCapture log;
      EXPECT_EQ(read(text), nullptr) << text;
      EXPECT_EQ(log.errors(),
                Lines{"Field definition JSON does not match schema with or without 'index'."});
    }
  }
}

TEST(FieldJson, WhatIsNoObjectIsNoField) {
  LogCapture log;
  EXPECT_EQ(read("[]"), nullptr);
  EXPECT_EQ(vek_type_field_definition_from_json(nullptr), nullptr);
  EXPECT_EQ(log.errors().size(), 2u);
}

TEST(FieldJson, WithoutMemoryThereIsNoFieldAndAReason) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const JsonValue json(json_parse_string(document().c_str()));
  (void)OwnedField(vek_type_field_definition_from_json(json.get()));  // parses the templates
  Lines seen;
  for (unsigned n = 1;; ++n) {
    LogCapture log;
    FailAllocation failing(n);
    const OwnedField made(vek_type_field_definition_from_json(json.get()));
    if (!failing.disarm()) break;
    const Lines errors = log.errors();
    EXPECT_EQ(errors.size(), made ? 0u : 1u) << n;
    seen.insert(seen.end(), errors.begin(), errors.end());
  }
  EXPECT_GE(std::count(seen.begin(), seen.end(),
                       "Failed to allocate field definition: Cannot allocate memory"),
            4);
}

// In a process that reads its first field while memory is short, too.
TEST(FieldJson, MemoryThatRanOutOnceIsForgotten) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const JsonValue json(json_parse_string(document().c_str()));
  for (unsigned n = 1;; ++n) {
    LogCapture log;
    FailAllocation failing(n);
    const OwnedField made(vek_type_field_definition_from_json(json.get()));
    if (!failing.disarm()) break;
    log.clear();
    EXPECT_TRUE(OwnedField(vek_type_field_definition_from_json(json.get()))) << n;
    EXPECT_TRUE(log.errors().empty()) << n;
  }
}

}  // namespace
