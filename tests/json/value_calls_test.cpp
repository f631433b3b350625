#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/json/json_support.h"

namespace vek::test {
namespace {

TEST(InitString, AcceptsValidUtf8Only) {
  const std::vector<std::pair<std::string, bool>> cases = {
      {"", true},
      {"plain", true},
      {"\x01\x1f\x7f", true},
      {"\xc2\x80", true},
      {"\xdf\xbf", true},
      {"\xe0\xa0\x80", true},
      {"\xed\x9f\xbf", true},
      {"\xee\x80\x80", true},
      {"\xef\xbf\xbf", true},
      {"\xf0\x90\x80\x80", true},
      {"\xf4\x8f\xbf\xbf", true},
      {"\x80", false},              // a continuation byte alone
      {"\xc2", false},              // cut
      {"\xe2\x82", false},          // cut
      {"\xf0\x9f\x98", false},      // cut
      {"\xc2\x41", false},          // no continuation
      {"\xe2\x82\x41", false},      // no continuation
      {"\xc0\x80", false},          // overlong
      {"\xc1\xbf", false},          // overlong
      {"\xe0\x9f\xbf", false},      // overlong
      {"\xf0\x8f\xbf\xbf", false},  // overlong
      {"\xed\xa0\x80", false},      // surrogate
      {"\xed\xbf\xbf", false},      // surrogate
      {"\xf4\x90\x80\x80", false},  // above U+10FFFF
      {"\xf5\x80\x80\x80", false},
      {"\xf8\x88\x80\x80\x80", false},  // five bytes
      {"\xfe", false},
      {"\xff", false},
      {"good \xc3\xa9, then bad \xe9", false},
  };
  for (const auto& [text, valid] : cases) {
    const JsonValue value(json_value_init_string(text.c_str()));
    EXPECT_EQ(value != nullptr, valid) << testing::PrintToString(text);
    if (value) {
      EXPECT_EQ(json_value_get_string(value.get()), text);
    }
  }
  EXPECT_EQ(json_value_init_string(nullptr), nullptr);
}

TEST(InitNumber, RefusesWhatJsonCannotSay) {
  EXPECT_EQ(json_value_init_number(std::nan("")), nullptr);
  EXPECT_EQ(json_value_init_number(std::numeric_limits<double>::infinity()), nullptr);
  EXPECT_EQ(json_value_init_number(-std::numeric_limits<double>::infinity()), nullptr);
  EXPECT_TRUE(JsonValue(json_value_init_number(std::numeric_limits<double>::max())));
}

TEST(InitBoolean, TakesAnythingButZeroForTrue) {
  for (const int number : {1, 2, -1, 256}) {
    EXPECT_EQ(json_value_get_boolean(JsonValue(json_value_init_boolean(number)).get()), 1);
  }
  EXPECT_EQ(json_value_get_boolean(JsonValue(json_value_init_boolean(0)).get()), 0);
}

TEST(GetType, NamesEveryKind) {
  const std::vector<std::pair<const char*, JSON_Value_Type>> cases = {
      {"null", JSONNull}, {"\"\"", JSONString}, {"0", JSONNumber},
      {"{}", JSONObject}, {"[]", JSONArray},    {"true", JSONBoolean}};
  for (const auto& [text, type] : cases) {
    EXPECT_EQ(json_value_get_type(parse(text).get()), type) << text;
  }
  EXPECT_EQ(json_value_get_type(nullptr), JSONError);
}

TEST(Getters, AnswerNothingForOtherTypes) {
  for (const char* text : {"null", "\"a\"", "1", "{}", "[]", "true"}) {
    const auto value = parse(text);
    const JSON_Value_Type type = json_value_get_type(value.get());
    EXPECT_EQ(json_value_get_object(value.get()) != nullptr, type == JSONObject) << text;
    EXPECT_EQ(json_value_get_array(value.get()) != nullptr, type == JSONArray) << text;
    EXPECT_EQ(json_value_get_string(value.get()) != nullptr, type == JSONString) << text;
    EXPECT_EQ(json_value_get_string_len(value.get()), type == JSONString ? 1u : 0u) << text;
    EXPECT_EQ(json_value_get_number(value.get()), type == JSONNumber ? 1 : 0) << text;
    EXPECT_EQ(json_value_get_boolean(value.get()), type == JSONBoolean ? 1 : -1) << text;
  }
}

TEST(Getters, AcceptNull) {
  EXPECT_EQ(json_value_get_object(nullptr), nullptr);
  EXPECT_EQ(json_value_get_array(nullptr), nullptr);
  EXPECT_EQ(json_value_get_string(nullptr), nullptr);
  EXPECT_EQ(json_value_get_string_len(nullptr), 0u);
  EXPECT_EQ(json_value_get_number(nullptr), 0);
  EXPECT_EQ(json_value_get_boolean(nullptr), -1);
  json_value_free(nullptr);
}

TEST(DeepCopy, SharesNothingWithItsSource) {
  const std::string text =
      R"({"a":[1,{"b":"c\u0000d"},null],"e":true,"f":{},"g":[],"h":-0,"i":"\/"})";
  auto source = parse(text);
  const JsonValue copy(json_value_deep_copy(source.get()));
  JSON_Object* object = json_value_get_object(source.get());
  json_array_append_string(json_object_get_array(object, "a"), "more");
  json_object_remove(object, "e");
  source.reset();
  EXPECT_EQ(compact(copy.get()), text);
}

TEST(DeepCopy, OfAPartHasNoParent) {
  const auto source = parse(R"({"a":[1]})");
  const JSON_Value* part = json_object_get_value(json_value_get_object(source.get()), "a");
  JsonValue copy(json_value_deep_copy(part));
  const JsonValue target(json_value_init_array());
  EXPECT_EQ(json_array_append_value(json_value_get_array(target.get()), copy.get()), JSONSuccess);
  static_cast<void>(copy.release());
  EXPECT_EQ(compact(target.get()), "[[1]]");
}

TEST(DeepCopy, OfNothingIsNothing) { EXPECT_EQ(json_value_deep_copy(nullptr), nullptr); }

TEST(DeepCopy, FindsMembersOfLargeObjects) {
  std::string members;
  for (int i = 0; i < 1000; i++) {
    members += "\"key" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  }
  const JsonValue copy(json_value_deep_copy(parse("{" + members + "}").get()));
  const JSON_Object* object = json_value_get_object(copy.get());
  for (int i = 0; i < 1000; i++) {
    EXPECT_EQ(json_object_get_number(object, ("key" + std::to_string(i)).c_str()), i);
  }
}

}  // namespace
}  // namespace vek::test
