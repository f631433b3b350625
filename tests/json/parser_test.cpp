#include <gtest/gtest.h>

#include <vector>

#include "tests/json/json_support.h"

namespace vek::test {
namespace {

struct Case {
  std::string text;
  std::optional<std::string> printed;  // nothing: refused
};

void expect_all(const std::vector<Case>& cases) {
  for (const Case& c : cases) EXPECT_EQ(reprint(c.text), c.printed) << c.text.substr(0, 60);
}

TEST(Parse, ReadsEveryKindOfValue) {
  expect_all({{"null", "null"},
              {"true", "true"},
              {"false", "false"},
              {"1", "1"},
              {"\"a\"", "\"a\""},
              {"[]", "[]"},
              {"{}", "{}"},
              {R"([1,"a",true,null,{"b":[]},[{}]])", R"([1,"a",true,null,{"b":[]},[{}]])"}});
}

TEST(Parse, RefusesWhatIsNoValue) {
  expect_all({{"", {}},
              {" ", {}},
              {"tru", {}},
              {"True", {}},
              {"nul", {}},
              {"fals", {}},
              {"a", {}},
              {"'a'", {}},
              {"]", {}},
              {"}", {}},
              {",", {}},
              {":", {}}});
}

TEST(Parse, IgnoresTextBehindTheFirstValue) {
  expect_all({{"[] x", "[]"},
              {"truex", "true"},
              {"nullx", "null"},
              {"0 1", "0"},
              {"{}}", "{}"},
              {"[1],", "[1]"},
              {"\"a\"b", "\"a\""},
              {"[truex]", {}}});
}

TEST(Parse, AcceptsOneTrailingComma) {
  expect_all({{"[1,]", "[1]"},
              {"[1 , \n]", "[1]"},
              {R"({"a":1,})", R"({"a":1})"},
              {R"({"a":[1,],})", R"({"a":[1]})"},
              {"[1,,]", {}},
              {"[,]", {}},
              {"[,1]", {}},
              {"{,}", {}},
              {R"({"a":1,,})", {}},
              {R"({,"a":1})", {}}});
}

TEST(Parse, RefusesMalformedContainers) {
  expect_all({{"[", {}},
              {"[1", {}},
              {"[1,", {}},
              {"[1 2]", {}},
              {"[1}", {}},
              {"[1;2]", {}},
              {"{", {}},
              {"{a:1}", {}},
              {"{'a':1}", {}},
              {"{1:2}", {}},
              {R"({"a")", {}},
              {R"({"a"})", {}},
              {R"({"a":})", {}},
              {R"({"a"1})", {}},
              {R"({"a",1})", {}},
              {R"({"a":1]})", {}},
              {R"({"a":1 "b":2})", {}},
              {R"({"a":1)", {}}});
}

TEST(Parse, RefusesComments) {
  expect_all({{"//c\n1", {}}, {"/*c*/1", {}}, {"[1/*c*/]", {}}, {"# c\n1", {}}});
}

TEST(Parse, SkipsAByteOrderMarkAtTheVeryStart) {
  expect_all({{"\xef\xbb\xbf[]", "[]"},
              {"\xef\xbb\xbf []", "[]"},
              {" \xef\xbb\xbf[]", {}},
              {"\xef\xbb\xbf\xef\xbb\xbf[]", {}},
              {"\xef\xbb[]", {}},
              {"\xef\xbb\xbf", {}}});
}

TEST(Parse, RefusesDuplicateKeys) {
  expect_all({{R"({"a":1,"a":1})", {}},
              {R"({"":1,"":2})", {}},
              {R"({"a":1,"\u0061":2})", {}},
              {R"({"a":1,"b":{"c":1,"c":2}})", {}},
              {R"({"a":1,"A":2})", R"({"a":1,"A":2})"},
              {R"({"a":{"a":{"a":1}}})", R"({"a":{"a":{"a":1}}})"}});
}

TEST(Parse, RefusesADuplicateKeyAmongMany) {
  for (const size_t count : {15u, 16u, 17u, 18u, 100u, 5000u}) {
    std::string members;
    for (size_t i = 0; i < count; i++) members += "\"key" + std::to_string(i) + "\":1,";
    EXPECT_TRUE(parse("{" + members + "}")) << count;
    for (const size_t twice : {size_t{0}, count / 2, count - 1}) {
      EXPECT_FALSE(parse("{" + members + "\"key" + std::to_string(twice) + "\":1}")) << count;
    }
  }
}

TEST(Parse, RefusesKeysWithAnEmbeddedNul) {
  expect_all({{R"({"a\u0000b":1})", {}}, {R"({"\u0000":1})", {}}, {R"({"":1})", R"({"":1})"}});
}

TEST(Parse, KeepsTheOrderOfMembers) {
  EXPECT_EQ(reprint(R"({"z":1,"a":2,"m":3,"":4,"\n":5})"), R"({"z":1,"a":2,"m":3,"":4,"\n":5})");
}

TEST(Parse, RefusesAValueInsideMoreThan2048Containers) {
  for (const std::string inner : {"1", "\"a\"", "null", "[]", "{}"}) {
    for (const std::string& open : {std::string("["), std::string("{\"a\":")}) {
      const std::string close = open == "[" ? "]" : "}";
      EXPECT_TRUE(parse(repeat(open, 2048) + inner + repeat(close, 2048))) << inner << open;
      EXPECT_FALSE(parse(repeat(open, 2049) + inner + repeat(close, 2049))) << inner << open;
    }
  }
}

// Depth counts containers that are open, not those that were.
TEST(Parse, CountsTheDepthAnewBehindClosedContainers) {
  const std::string deep = repeat("[", 2048) + repeat("]", 2048);
  EXPECT_TRUE(parse("[" + deep + "," + deep + "," + deep + "]"));
}

TEST(Parse, RefusesMillionsOfOpenBracketsQuickly) {
  EXPECT_FALSE(parse(std::string(10'000'000, '[')));
  EXPECT_FALSE(parse(repeat("{\"a\":", 1'000'000)));
}

TEST(Parse, RefusesADocumentThatIsCutAnywhere) {
  const std::string whole = R"({"a":[1,{"b":"c\n"},true,null],"d":{"e":-1.5e3}})";
  ASSERT_TRUE(parse(whole));
  for (size_t size = 0; size < whole.size(); size++) {
    EXPECT_FALSE(parse(whole.substr(0, size))) << size;
  }
}

TEST(Parse, ReadsAGroupArrayOf100000Elements) {
  std::string text = "[";
  for (int i = 0; i < 100'000; i++) {
    text += R"({"name":"group)" + std::to_string(i) + R"(","counters":[],"id":)" +
            std::to_string(i) + "},";
  }
  const auto value = parse(text + "]");
  const JSON_Array* groups = json_value_get_array(value.get());
  ASSERT_EQ(json_array_get_count(groups), 100'000u);
  EXPECT_EQ(json_object_get_number(json_array_get_object(groups, 99'999), "id"), 99'999);
}

#ifndef VEK_HAVE_PARSON
// A check of each key against all before it would take minutes here.
TEST(Parse, ReadsAnObjectOf300000Members) {
  std::string text = "{";
  for (int i = 0; i < 300'000; i++) text += "\"key" + std::to_string(i) + "\":1,";
  const auto value = parse(text + "}");
  EXPECT_EQ(json_object_get_count(json_value_get_object(value.get())), 300'000u);
}
#endif

}  // namespace
}  // namespace vek::test
