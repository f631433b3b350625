#include <gtest/gtest.h>

#include <cmath>

#include "tests/json/json_support.h"

namespace vek::test {
namespace {

class Array : public testing::Test {
 protected:
  std::optional<std::string> text() const { return compact(value_.get()); }

  JsonValue value_{json_value_init_array()};
  JSON_Array* array_ = json_value_get_array(value_.get());
};

TEST_F(Array, KeepsTheOrderOfItsElements) {
  EXPECT_EQ(json_array_append_number(array_, 1), JSONSuccess);
  EXPECT_EQ(json_array_append_string(array_, "a"), JSONSuccess);
  EXPECT_EQ(json_array_append_value(array_, json_value_init_object()), JSONSuccess);
  EXPECT_EQ(json_array_append_value(array_, json_value_init_null()), JSONSuccess);
  EXPECT_EQ(text(), R"([1,"a",{},null])");
}

TEST_F(Array, RefusesWhatJsonCannotSay) {
  EXPECT_EQ(json_array_append_string(array_, "\xff"), JSONFailure);
  EXPECT_EQ(json_array_append_string(array_, nullptr), JSONFailure);
  EXPECT_EQ(json_array_append_number(array_, std::nan("")), JSONFailure);
  EXPECT_EQ(json_array_append_value(array_, nullptr), JSONFailure);
  EXPECT_EQ(text(), "[]");
}

TEST_F(Array, RefusesAValueThatHangsElsewhere) {
  JSON_Value* inner = json_value_init_number(1);
  ASSERT_EQ(json_array_append_value(array_, inner), JSONSuccess);
  EXPECT_EQ(json_array_append_value(array_, inner), JSONFailure);
  const JsonValue other(json_value_init_object());
  EXPECT_EQ(json_object_set_value(json_value_get_object(other.get()), "a", inner), JSONFailure);
  EXPECT_EQ(text(), "[1]");
}

TEST_F(Array, RefusesPartsOfAParsedDocument) {
  const auto document = parse(R"({"a":[1]})");
  JSON_Value* part = json_object_get_value(json_value_get_object(document.get()), "a");
  EXPECT_EQ(json_array_append_value(array_, part), JSONFailure);
}

TEST_F(Array, IsReadByPositionAndType) {
  const auto value = parse(R"([1.5,"x",{"a":2}])");
  const JSON_Array* array = json_value_get_array(value.get());
  EXPECT_EQ(json_array_get_count(array), 3u);
  EXPECT_EQ(json_array_get_number(array, 0), 1.5);
  EXPECT_EQ(json_array_get_number(array, 1), 0);
  EXPECT_EQ(json_array_get_number(array, 3), 0);
  EXPECT_STREQ(json_array_get_string(array, 1), "x");
  EXPECT_EQ(json_array_get_string(array, 0), nullptr);
  EXPECT_EQ(json_array_get_string(array, 3), nullptr);
  EXPECT_EQ(json_object_get_number(json_array_get_object(array, 2), "a"), 2);
  EXPECT_EQ(json_array_get_object(array, 0), nullptr);
  EXPECT_EQ(json_array_get_object(array, 3), nullptr);
  EXPECT_EQ(json_array_get_value(array, 3), nullptr);
  EXPECT_EQ(json_array_get_value(array, static_cast<size_t>(-1)), nullptr);
}

TEST_F(Array, AcceptsNull) {
  EXPECT_EQ(json_array_get_count(nullptr), 0u);
  EXPECT_EQ(json_array_get_value(nullptr, 0), nullptr);
  EXPECT_EQ(json_array_get_string(nullptr, 0), nullptr);
  EXPECT_EQ(json_array_get_object(nullptr, 0), nullptr);
  EXPECT_EQ(json_array_get_number(nullptr, 0), 0);
  EXPECT_EQ(json_array_append_string(nullptr, "a"), JSONFailure);
  EXPECT_EQ(json_array_append_number(nullptr, 1), JSONFailure);
  const JsonValue mine(json_value_init_null());
  EXPECT_EQ(json_array_append_value(nullptr, mine.get()), JSONFailure);
}

}  // namespace
}  // namespace vek::test
