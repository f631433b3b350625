#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "tests/json/json_support.h"

namespace vek::test {
namespace {

class Object : public testing::Test {
 protected:
  std::optional<std::string> text() const { return compact(value_.get()); }

  JsonValue value_{json_value_init_object()};
  JSON_Object* object_ = json_value_get_object(value_.get());
};

TEST_F(Object, KeepsMembersInTheOrderOfTheirFirstSetting) {
  EXPECT_EQ(json_object_set_string(object_, "title", "t"), JSONSuccess);
  EXPECT_EQ(json_object_set_number(object_, "size", 8), JSONSuccess);
  EXPECT_EQ(json_object_set_boolean(object_, "on", 3), JSONSuccess);
  EXPECT_EQ(json_object_set_null(object_, "none"), JSONSuccess);
  EXPECT_EQ(json_object_set_value(object_, "list", json_value_init_array()), JSONSuccess);
  EXPECT_EQ(json_object_set_number(object_, "title", 1), JSONSuccess);
  EXPECT_EQ(text(), R"({"title":1,"size":8,"on":true,"none":null,"list":[]})");
}

TEST_F(Object, KeepsAMemberWhoseNewValueIsRefused) {
  json_object_set_string(object_, "a", "old");
  EXPECT_EQ(json_object_set_string(object_, "a", "\xff"), JSONFailure);
  EXPECT_EQ(json_object_set_string(object_, "a", nullptr), JSONFailure);
  EXPECT_EQ(json_object_set_number(object_, "a", std::nan("")), JSONFailure);
  EXPECT_EQ(json_object_set_number(object_, "a", std::numeric_limits<double>::infinity()),
            JSONFailure);
  EXPECT_EQ(json_object_set_value(object_, "a", nullptr), JSONFailure);
  EXPECT_EQ(text(), R"({"a":"old"})");
}

TEST_F(Object, TakesAnyBytesForAName) {
  EXPECT_EQ(json_object_set_number(object_, "", 1), JSONSuccess);
  EXPECT_EQ(json_object_set_number(object_, "\xff", 2), JSONSuccess);
  EXPECT_EQ(json_object_set_number(object_, "a.b", 3), JSONSuccess);
  EXPECT_EQ(text(), "{\"\":1,\"\xff\":2,\"a.b\":3}");
}

TEST_F(Object, RefusesAValueThatHangsElsewhere) {
  JSON_Value* inner = json_value_init_number(1);
  ASSERT_EQ(json_object_set_value(object_, "a", inner), JSONSuccess);
  EXPECT_EQ(json_object_set_value(object_, "a", inner), JSONFailure);
  EXPECT_EQ(json_object_set_value(object_, "b", inner), JSONFailure);
  EXPECT_EQ(text(), R"({"a":1})");
}

TEST_F(Object, LeavesARefusedValueWithTheCaller) {
  const JsonValue mine(json_value_init_number(1));
  EXPECT_EQ(json_object_set_value(nullptr, "a", mine.get()), JSONFailure);
  EXPECT_EQ(json_object_set_value(object_, nullptr, mine.get()), JSONFailure);
  EXPECT_EQ(json_value_get_number(mine.get()), 1);
}

TEST_F(Object, MovesItsLastMemberIntoTheGapOfARemovedOne) {
  for (const char* name : {"a", "b", "c", "d"}) json_object_set_null(object_, name);
  EXPECT_EQ(json_object_remove(object_, "b"), JSONSuccess);
  EXPECT_EQ(text(), R"({"a":null,"d":null,"c":null})");
  EXPECT_EQ(json_object_remove(object_, "c"), JSONSuccess);
  EXPECT_EQ(text(), R"({"a":null,"d":null})");
  EXPECT_EQ(json_object_remove(object_, "c"), JSONFailure);
  EXPECT_EQ(json_object_remove(object_, "a"), JSONSuccess);
  EXPECT_EQ(json_object_remove(object_, "d"), JSONSuccess);
  EXPECT_EQ(text(), "{}");
  EXPECT_EQ(json_object_remove(nullptr, "a"), JSONFailure);
}

TEST_F(Object, IsReadByPosition) {
  json_object_set_number(object_, "a", 1);
  json_object_set_number(object_, "b", 2);
  EXPECT_EQ(json_object_get_count(object_), 2u);
  EXPECT_STREQ(json_object_get_name(object_, 0), "a");
  EXPECT_STREQ(json_object_get_name(object_, 1), "b");
  EXPECT_EQ(json_object_get_name(object_, 2), nullptr);
  EXPECT_EQ(json_value_get_number(json_object_get_value_at(object_, 1)), 2);
  EXPECT_EQ(json_object_get_value_at(object_, 2), nullptr);
  EXPECT_EQ(json_object_get_value_at(object_, static_cast<size_t>(-1)), nullptr);
}

TEST_F(Object, AnswersByTypeOnly) {
  const auto value = parse(R"({"s":"x","n":2,"b":false,"o":{},"a":[],"z":null})");
  const JSON_Object* object = json_value_get_object(value.get());
  EXPECT_STREQ(json_object_get_string(object, "s"), "x");
  EXPECT_EQ(json_object_get_string(object, "n"), nullptr);
  EXPECT_EQ(json_object_get_number(object, "n"), 2);
  EXPECT_EQ(json_object_get_number(object, "s"), 0);
  EXPECT_EQ(json_object_get_boolean(object, "b"), 0);
  EXPECT_EQ(json_object_get_boolean(object, "n"), -1);
  EXPECT_NE(json_object_get_object(object, "o"), nullptr);
  EXPECT_EQ(json_object_get_object(object, "a"), nullptr);
  EXPECT_NE(json_object_get_array(object, "a"), nullptr);
  EXPECT_EQ(json_object_get_array(object, "o"), nullptr);
  EXPECT_EQ(json_object_has_value(object, "z"), 1);
  EXPECT_EQ(json_object_has_value(object, "y"), 0);
  EXPECT_EQ(json_object_has_value_of_type(object, "z", JSONNull), 1);
  EXPECT_EQ(json_object_has_value_of_type(object, "z", JSONString), 0);
  EXPECT_EQ(json_object_has_value_of_type(object, "y", JSONError), 0);
}

TEST_F(Object, AcceptsNull) {
  EXPECT_EQ(json_object_get_count(nullptr), 0u);
  EXPECT_EQ(json_object_get_name(nullptr, 0), nullptr);
  EXPECT_EQ(json_object_get_value_at(nullptr, 0), nullptr);
  EXPECT_EQ(json_object_get_value(nullptr, "a"), nullptr);
  EXPECT_EQ(json_object_get_value(object_, nullptr), nullptr);
  EXPECT_EQ(json_object_get_string(nullptr, "a"), nullptr);
  EXPECT_EQ(json_object_get_object(nullptr, "a"), nullptr);
  EXPECT_EQ(json_object_get_array(nullptr, "a"), nullptr);
  EXPECT_EQ(json_object_get_number(nullptr, "a"), 0);
  EXPECT_EQ(json_object_get_boolean(nullptr, "a"), -1);
  EXPECT_EQ(json_object_has_value(nullptr, "a"), 0);
  EXPECT_EQ(json_object_has_value_of_type(nullptr, "a", JSONNull), 0);
  EXPECT_EQ(json_object_set_string(nullptr, "a", "b"), JSONFailure);
  EXPECT_EQ(json_object_set_number(nullptr, "a", 1), JSONFailure);
  EXPECT_EQ(json_object_set_boolean(nullptr, "a", 1), JSONFailure);
  EXPECT_EQ(json_object_set_null(nullptr, "a"), JSONFailure);
}

// The plain list that an object behaves like, whatever its size.
class Model {
 public:
  void set(const std::string& name, int number) {
    for (auto& member : members_) {
      if (member.first != name) continue;
      member.second = number;
      return;
    }
    members_.emplace_back(name, number);
  }
  bool remove(const std::string& name) {
    for (auto& member : members_) {
      if (member.first != name) continue;
      member = members_.back();
      members_.pop_back();
      return true;
    }
    return false;
  }
  std::string text() const {
    std::string text;
    for (const auto& [name, number] : members_) {
      text += (text.empty() ? "\"" : ",\"") + name + "\":" + std::to_string(number);
    }
    return "{" + text + "}";
  }

 private:
  std::vector<std::pair<std::string, int>> members_;
};

TEST_F(Object, BehavesTheSameAtEverySize) {
  std::mt19937 random(7);
  Model model;
  // Grows and shrinks, to and from the size at which look-ups change.
  for (int round = 0; round < 6; round++) {
    const unsigned of_ten_set = round % 2 == 0 ? 8 : 3;
    for (int step = 0; step < 400; step++) {
      const std::string name = "key" + std::to_string(random() % 60);
      if (random() % 10 < of_ten_set) {
        const int number = static_cast<int>(random() % 1000);
        ASSERT_EQ(json_object_set_number(object_, name.c_str(), number), JSONSuccess);
        model.set(name, number);
      } else {
        ASSERT_EQ(json_object_remove(object_, name.c_str()) == JSONSuccess, model.remove(name));
      }
      ASSERT_EQ(text(), model.text());
    }
  }
}

}  // namespace
}  // namespace vek::test
