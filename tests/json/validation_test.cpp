#include <gtest/gtest.h>

#include <vector>

#include "tests/json/json_support.h"

namespace vek::test {
namespace {

struct Case {
  const char* shape;
  const char* value;
  bool fits;
};

void expect_all(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    const JSON_Status status = json_validate(parse(c.shape).get(), parse(c.value).get());
    EXPECT_EQ(status, c.fits ? JSONSuccess : JSONFailure) << c.shape << " against " << c.value;
  }
}

TEST(Validate, ComparesTypesOfScalarsNotTheirContents) {
  expect_all({{"0", "17.5", true},
              {"\"\"", "\"text\"", true},
              {"true", "false", true},
              {"0", "\"1\"", false},
              {"\"\"", "0", false},
              {"true", "1", false},
              {"true", "null", false},
              {"0", "null", false},
              {"[]", "{}", false},
              {"{}", "[]", false},
              {"{}", "null", false}});
}

TEST(Validate, AcceptsAnythingForNull) {
  for (const char* value : {"null", "1", "\"\"", "true", "[1]", "{\"a\":1}"}) {
    expect_all({{"null", value, true}});
  }
}

TEST(Validate, AcceptsAnyContainerForAnEmptyOne) {
  expect_all({{"[]", "[]", true},
              {"[]", "[1,\"a\",{}]", true},
              {"{}", "{}", true},
              {"{}", R"({"a":1,"b":[]})", true}});
}

TEST(Validate, ChecksEveryElementAgainstTheFirstOfTheTemplate) {
  expect_all({{"[0]", "[]", true},
              {"[0]", "[1,2,3]", true},
              {"[0]", "[1,2,\"3\"]", false},
              {"[0,\"\"]", "[1,2]", true},
              {"[0,\"\"]", "[1,\"a\"]", false},
              {"[null]", "[1,\"a\",[],null]", true},
              {"[[0]]", "[[],[1],[2,3]]", true},
              {"[[0]]", "[[],[1],[true]]", false},
              {R"([{"a":""}])", R"([{"a":"x"},{"a":"y","b":1}])", true},
              {R"([{"a":""}])", R"([{"a":"x"},{"b":1}])", false}});
}

TEST(Validate, NeedsEveryKeyOfTheTemplateWithItsType) {
  expect_all({{R"({"a":0})", R"({"a":1})", true},
              {R"({"a":0})", R"({"b":2,"a":1,"c":3})", true},
              {R"({"a":0})", "{}", false},
              {R"({"a":0})", R"({"A":1})", false},
              {R"({"a":0})", R"({"a":"1"})", false},
              {R"({"a":0})", R"({"a":null})", false},
              {R"({"a":null})", R"({"a":null})", true},
              {R"({"a":null})", R"({"a":[1]})", true},
              {R"({"a":null})", R"({"b":1})", false},
              {R"({"a":0,"b":""})", R"({"b":"","a":0})", true},
              {R"({"a":0,"b":""})", R"({"a":0,"c":"","d":""})", false},
              {R"({"version" : "", "counter_groups" : []})",
               R"({"title":"t","version":"1.5.0","counter_groups":[{"x":1}]})", true},
              {R"({"a":{"b":{"c":[0]}}})", R"({"a":{"b":{"c":[1,2]}}})", true},
              {R"({"a":{"b":{"c":[0]}}})", R"({"a":{"b":{"c":[1,"2"]}}})", false},
              {R"({"a":{"b":{"c":[0]}}})", R"({"a":{"b":{}}})", false}});
}

TEST(Validate, FindsKeysInLargeObjects) {
  std::string members;
  for (int i = 0; i < 1000; i++) members += "\"key" + std::to_string(i) + "\":1,";
  const auto value = parse("{" + members + "}");
  EXPECT_EQ(json_validate(parse(R"({"key999":0})").get(), value.get()), JSONSuccess);
  EXPECT_EQ(json_validate(parse(R"({"key1000":0})").get(), value.get()), JSONFailure);
  EXPECT_EQ(json_validate(value.get(), value.get()), JSONSuccess);
}

TEST(Validate, FailsWithoutATemplateOrAValue) {
  const auto value = parse("null");
  EXPECT_EQ(json_validate(nullptr, value.get()), JSONFailure);
  EXPECT_EQ(json_validate(value.get(), nullptr), JSONFailure);
  EXPECT_EQ(json_validate(nullptr, nullptr), JSONFailure);
}

}  // namespace
}  // namespace vek::test
