#include <gtest/gtest.h>

#include <cmath>
#include <limits>
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

TEST(Numbers, AreReadAsDoubles) {
  expect_all({
      {"0", "0"},
      {"-0", "-0"},
      {"-0.0", "-0"},
      {"7", "7"},
      {"-12", "-12"},
      {"0.5", "0.5"},
      {"1e5", "100000"},
      {"1E+5", "100000"},
      {"25e-1", "2.5"},
      {"9007199254740993", "9007199254740992"},
      {"123456789012345678901234567890", "1.2345678901234568e+29"},
      {"1.7976931348623157e308", "1.7976931348623157e+308"},
      {"5e-324", "4.9406564584124654e-324"},
      {"2e-310", "1.9999999999999939e-310"},
  });
}

TEST(Numbers, AreRefusedWithALeadingZero) {
  expect_all({{"00", {}}, {"01", {}}, {"-01", {}}, {"-00", {}}, {"[007]", {}}, {"00.5", {}}});
}

TEST(Numbers, AreRefusedWhenAnExponentFollowsALoneZero) {
  expect_all({{"0e5", {}}, {"0E5", {}}, {"-0e5", {}}, {"0.0e5", "0"}, {"0.e5", "0"}});
}

TEST(Numbers, AreRefusedInHexadecimal) {
  expect_all({{"0x10", {}}, {"0X1F", {}}, {"-0x10", {}}, {"[0x1]", {}}, {"[0x1p3]", {}}});
}

TEST(Numbers, AreRefusedOutOfRange) {
  expect_all({{"1e400", {}},
              {"-1e400", {}},
              {"[1.8e308]", {}},
              {"1" + std::string(309, '0'), {}},
              {"1" + std::string(308, '0'), "1e+308"}});
}

TEST(Numbers, BecomeZeroWhenTooSmall) {
  expect_all({{"1e-400", "0"}, {"-1e-400", "-0"}, {"0." + std::string(400, '0') + "1", "0"}});
}

TEST(Numbers, AreRefusedWhenSpelledOut) {
  expect_all({{"nan", {}},
              {"NaN", {}},
              {"inf", {}},
              {"-inf", {}},
              {"-nan", {}},
              {"-nan(1)", {}},
              {"Infinity", {}},
              {"-Infinity", {}}});
}

TEST(Numbers, MayLackDigitsBesideThePoint) {
  expect_all({{"1.", "1"}, {"[1.]", "[1]"}, {"-.5", "-0.5"}, {".5", {}}, {"+1", {}}});
}

// A reader that stops behind the longest number leaves the rest, and text behind the first value
// is nobody's business; inside a container the rest is in the way.
TEST(Numbers, EndWhereTheLongestNumberEnds) {
  expect_all({{"1e", "1"},
              {"[1e]", {}},
              {"1.5.5", "1.5"},
              {"1_000", "1"},
              {"0x", "0"},
              {"[0x]", {}},
              {"-0x", "-0"},
              {"[1p3]", {}},
              {"[1e5e5]", {}}});
}

TEST(Numbers, ReadALoneMinusAsZeroOutsideContainersOnly) {
  expect_all({{"-", "0"}, {"--1", "0"}, {"-abc", "0"}, {"- 5", "0"}, {"[-]", {}}, {"[- 5]", {}}});
}

TEST(Strings, ResolveEscapes) {
  const auto value = parse(R"("\" \\ \/ \b \f \n \r \t")");
  EXPECT_STREQ(json_value_get_string(value.get()), "\" \\ / \b \f \n \r \t");
}

TEST(Strings, ResolveUnicodeEscapesToUtf8) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {R"("\u0041")", "A"},
      {R"("\u007f\u0080")", "\x7f\xc2\x80"},
      {R"("\u07ff\u0800")", "\xdf\xbf\xe0\xa0\x80"},
      {R"("\u00e9\u20AC")", "\xc3\xa9\xe2\x82\xac"},
      {R"("\ud7ff\ue000")", "\xed\x9f\xbf\xee\x80\x80"},
      {R"("\uffff")", "\xef\xbf\xbf"},
      {R"("\ud800\udc00")", "\xf0\x90\x80\x80"},
      {R"("\uD83D\uDE00")", "\xf0\x9f\x98\x80"},
      {R"("\uDBFF\uDFFF")", "\xf4\x8f\xbf\xbf"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_STREQ(json_value_get_string(parse(text).get()), expected.c_str()) << text;
  }
}

TEST(Strings, AreRefusedWithALoneSurrogate) {
  for (const char* text :
       {R"("\ud800")", R"("\udbff")", R"("\udc00")", R"("\udfff")", R"("\ud83dx")",
        R"("\ud83d\u0041")", R"("\ud83d\ud83d")", R"("\udc00\ud800")", R"("\ud83d\n")",
        R"("\ud83d\ue000")", R"("\uD83D\UDE00")"}) {
    EXPECT_FALSE(parse(text)) << text;
  }
}

TEST(Strings, AreRefusedWithAMalformedEscape) {
  for (const char* text : {R"("\x")", R"("\u")", R"("\u12")", R"("\u004g")", R"("\u+123")",
                           R"("\u 041")", R"("\U0041")", R"("\'")", R"("\0")", R"("\N")"}) {
    EXPECT_FALSE(parse(text)) << text;
  }
}

TEST(Strings, AreRefusedWithRawControlCharacters) {
  for (char c = 1; c < 0x20; c++) {
    EXPECT_FALSE(parse(std::string("\"a") + c + "b\"")) << static_cast<int>(c);
  }
  EXPECT_EQ(reprint("\"\x7f\""), "\"\x7f\"");
}

TEST(Strings, AreRefusedWhenCutAnywhere) {
  const std::string whole = R"("a\"\\\u00e9\ud83d\ude00z")";
  ASSERT_TRUE(parse(whole));
  for (size_t size = 0; size < whole.size(); size++) {
    EXPECT_FALSE(parse(whole.substr(0, size))) << size;
  }
}

TEST(Strings, KeepBytesThatAreNotUtf8) {
  EXPECT_EQ(reprint("\"\xff\xed\xa0\x80\xc0\""), "\"\xff\xed\xa0\x80\xc0\"");
}

TEST(Strings, KeepAnEmbeddedNul) {
  const auto value = parse(R"("a\u0000b")");
  EXPECT_EQ(json_value_get_string_len(value.get()), 3u);
  EXPECT_EQ(std::string(json_value_get_string(value.get()), 4), std::string("a\0b\0", 4));
  EXPECT_EQ(compact(value.get()), R"("a\u0000b")");
}

TEST(WhiteSpace, IsThatOfC) {
  expect_all({{" \t\n\v\f\r[ \t\n\v\f\r1 \t\n\v\f\r,\v2\f] ", "[1,2]"},
              {"\v{\f\"a\"\v:\f1\v}", R"({"a":1})"},
              {"\xa0[]", {}},
              {"\x85[]", {}},
              {"\xc2\xa0[]", {}},
              {"\x1f[]", {}}});
}

}  // namespace
}  // namespace vek::test
