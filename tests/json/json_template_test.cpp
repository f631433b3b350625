#include "json/json_template.h"

#include <gtest/gtest.h>

#include "tests/json/json_support.h"

namespace vek::test {
namespace {

TEST(JsonMatchesTemplate, NeedsEveryKeyWithItsType) {
  const auto document = parse(R"({"version":"1.5.0","counter_groups":[],"title":"t"})");
  EXPECT_TRUE(json_matches_template(document.get(), R"({"version" : "", "counter_groups" : []})"));
  EXPECT_FALSE(json_matches_template(document.get(), R"({"version" : 0})"));
  EXPECT_FALSE(json_matches_template(document.get(), R"({"types" : []})"));
}

TEST(JsonMatchesTemplate, IsFalseForNothingAndForAMalformedTemplate) {
  EXPECT_FALSE(json_matches_template(nullptr, "{}"));
  EXPECT_FALSE(json_matches_template(parse("{}").get(), "{"));
}

}  // namespace
}  // namespace vek::test
