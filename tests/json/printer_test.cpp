#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "tests/json/json_support.h"
#include "tests/support/child_process.h"
#include "tests/support/env_guard.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

std::optional<std::string> print_number(double number) {
  return compact(JsonValue(json_value_init_number(number)).get());
}

TEST(PrettyText, IndentsByFourSpacesAndEndsWithoutALineBreak) {
  const auto value = parse(R"({"a":1,"b":[true,"x",{"c":null}],"d":{"e":{"f":[[]]}}})");
  EXPECT_EQ(pretty(value.get()), R"({
    "a": 1,
    "b": [
        true,
        "x",
        {
            "c": null
        }
    ],
    "d": {
        "e": {
            "f": [
                []
            ]
        }
    }
})");
}

TEST(PrettyText, KeepsEmptyContainersOnOneLine) {
  EXPECT_EQ(pretty(parse("{ }").get()), "{}");
  EXPECT_EQ(pretty(parse("[ ]").get()), "[]");
  EXPECT_EQ(pretty(parse(R"({"a":{},"b":[]})").get()), "{\n    \"a\": {},\n    \"b\": []\n}");
  EXPECT_EQ(pretty(parse("[[],{}]").get()), "[\n    [],\n    {}\n]");
}

TEST(PrettyText, OfAScalarIsItsCompactText) {
  for (const char* text : {"null", "true", "false", "1.5", "\"a\""}) {
    EXPECT_EQ(pretty(parse(text).get()), text);
  }
}

TEST(CompactText, HasNoWhiteSpace) {
  EXPECT_EQ(reprint(" { \"a b\" : [ 1 , 2 ] , \"c\" : { } } "), R"({"a b":[1,2],"c":{}})");
}

TEST(Text, IsRefusedOfNothing) {
  EXPECT_EQ(compact(nullptr), std::nullopt);
  EXPECT_EQ(pretty(nullptr), std::nullopt);
}

TEST(Text, MayBePrintedFromTheMiddleOfADocument) {
  const auto value = parse(R"({"a":{"b":[1]}})");
  const JSON_Value* inner = json_object_get_value(json_value_get_object(value.get()), "a");
  EXPECT_EQ(pretty(inner), "{\n    \"b\": [\n        1\n    ]\n}");
}

TEST(PrintedStrings, EscapeWhatTheyMustAndSlashes) {
  std::string all;
  std::string expected = "\"";
  for (int c = 1; c < 0x20; c++) {
    all += static_cast<char>(c);
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
    switch (c) {
      case '\b':
        expected += "\\b";
        break;
      case '\f':
        expected += "\\f";
        break;
      case '\n':
        expected += "\\n";
        break;
      case '\r':
        expected += "\\r";
        break;
      case '\t':
        expected += "\\t";
        break;
      default:
        expected += escape;
    }
  }
  all += "\"\\/ \x7f'<>&\xc3\xa9\xf0\x9f\x98\x80";
  expected += "\\\"\\\\\\/ \x7f'<>&\xc3\xa9\xf0\x9f\x98\x80\"";
  EXPECT_EQ(compact(JsonValue(json_value_init_string(all.c_str())).get()), expected);
}

TEST(PrintedStrings, EscapeKeysAsWell) {
  const JsonValue value(json_value_init_object());
  json_object_set_null(json_value_get_object(value.get()), "a/\"b\"\n\x1f");
  EXPECT_EQ(compact(value.get()), R"({"a\/\"b\"\n\u001f":null})");
}

TEST(PrintedNumbers, HaveUpToSeventeenDigits) {
  const std::vector<std::pair<double, std::string>> cases = {
      {0.0, "0"},
      {-0.0, "-0"},
      {1, "1"},
      {-1, "-1"},
      {100, "100"},
      {0.1, "0.10000000000000001"},
      {0.5, "0.5"},
      {1.0 / 3, "0.33333333333333331"},
      {1.5e-5, "1.5e-05"},
      {0.0001, "0.0001"},
      {0.00001, "1.0000000000000001e-05"},
      {4294967295.0, "4294967295"},
      {9007199254740992.0, "9007199254740992"},
      {12345678901234567.0, "12345678901234568"},
      {1e16, "10000000000000000"},
      {1e17, "1e+17"},
      {18446744073709551615.0, "1.8446744073709552e+19"},
      {1e22, "1e+22"},
      {1e100, "1e+100"},
      {1.7976931348623157e308, "1.7976931348623157e+308"},
      {2.2250738585072014e-308, "2.2250738585072014e-308"},
      {5e-324, "4.9406564584124654e-324"},
  };
  for (const auto& [number, text] : cases) EXPECT_EQ(print_number(number), text);
}

TEST(PrintedNumbers, AreWhatPrintfGivesForAnyDouble) {
  std::mt19937_64 random(20240229);
  for (int i = 0; i < 20'000; i++) {
    const uint64_t bits = random();
    double number = 0;
    static_assert(sizeof number == sizeof bits);
    std::memcpy(&number, &bits, sizeof number);
    if (!std::isfinite(number)) continue;
    char expected[64];
    std::snprintf(expected, sizeof expected, "%1.17g", number);
    ASSERT_EQ(print_number(number), expected);
    ASSERT_EQ(json_value_get_number(parse(expected).get()), number) << expected;
  }
}

#ifndef VEK_HAVE_PARSON

// Compiles a locale with a decimal comma, so that the test needs none to be installed.
bool make_comma_locale(const TempDir& dir) {
  std::string charmap =
      "<code_set_name> ANSI_X3.4-1968\n<comment_char> %\n<escape_char> /\nCHARMAP\n";
  for (unsigned c = 0; c < 128; c++) {
    char line[32];
    std::snprintf(line, sizeof line, "<U%04X> /x%02x\n", c, c);
    charmap += line;
  }
  const std::string map = dir.write("ascii.map", charmap + "END CHARMAP\n");
  const std::string source = dir.write(
      "comma.src",
      "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping 3;3\nEND LC_NUMERIC\n");
  const std::string command = "localedef -c -f " + map + " -i " + source + " " + dir.file("xx_XX") +
                              " >/dev/null 2>&1; test -d " + dir.file("xx_XX");
  return std::system(command.c_str()) == 0;
}

TEST(NumbersUnderAHostsLocale, AreReadAndPrintedWithAPoint) {
  const TempDir dir;
  if (!make_comma_locale(dir)) GTEST_SKIP() << "localedef could not make a locale";
  const EnvGuard path("LOCPATH", dir.path().c_str());
  const ChildResult child = run_in_child([] {
    ASSERT_NE(std::setlocale(LC_NUMERIC, "xx_XX"), nullptr);
    char comma[8];
    std::snprintf(comma, sizeof comma, "%.1f", 1.5);
    ASSERT_STREQ(comma, "1,5");
    EXPECT_EQ(reprint("[1.5,-0.25,1e3]"), "[1.5,-0.25,1000]");
    EXPECT_EQ(reprint("[1,5]"), "[1,5]");
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output << child.standard_error;
}

TEST(Text, IsPrintedOfATreeDeeperThanAnyStack) {
  constexpr size_t kDepth = 300'000;
  JsonValue value(json_value_init_array());
  for (size_t i = 1; i < kDepth; i++) {
    JsonValue outer(json_value_init_array());
    ASSERT_EQ(json_array_append_value(json_value_get_array(outer.get()), value.release()),
              JSONSuccess);
    value = std::move(outer);
  }
  EXPECT_EQ(compact(value.get()), repeat("[", kDepth) + repeat("]", kDepth));
}

#endif  // VEK_HAVE_PARSON

}  // namespace
}  // namespace vek::test
