#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <string>

#include "utils/strings.h"

namespace {

// What a conversion makes of a text: its number as text, or "refused". A refusal that touches the
// output is called out.
template <typename T>
std::string converted(bool (*convert)(const char*, T*), const char* text) {
  constexpr T kUntouched = 99;
  T out = kUntouched;
  if (convert(text, &out)) return std::to_string(out);
  return out == kUntouched ? "refused" : "refused, but stored " + std::to_string(out);
}

struct NumberCase {
  const char* text;
  const char* result;
};

// What holds for every conversion of the family.
const NumberCase kCommonCases[] = {
    {"0", "0"},           {"42", "42"},
    {"0x10", "16"},       {"0X1f", "31"},
    {"010", "8"},         {"+7", "7"},
    {" 7", "7"},          {"\t\n7", "7"},
    {"7 ", "refused"},    {"7\n", "refused"},
    {"", "refused"},      {" ", "refused"},
    {"abc", "refused"},   {"12abc", "refused"},
    {"1.5", "refused"},   {"0x", "refused"},
    {"08", "refused"},    {"--1", "refused"},
    {"0xg", "refused"},   {"- 1", "refused"},
    {nullptr, "refused"}, {"99999999999999999999999999", "refused"},
};

template <typename T>
void expect_common(bool (*convert)(const char*, T*)) {
  for (const NumberCase& c : kCommonCases) {
    EXPECT_EQ(converted(convert, c.text), c.result) << (c.text ? c.text : "(null)");
  }
}

TEST(StringConversions, ShareTheRulesForWhatIsANumber) {
  expect_common(string_to_long);
  expect_common(string_to_unsigned_long);
  expect_common(string_to_long_long);
  expect_common(string_to_unsigned_long_long);
  expect_common(string_to_sizet);
  expect_common(string_to_u64);
  expect_common(string_to_u32);
  expect_common(string_to_u16);
  expect_common(string_to_u8);
}

TEST(StringToLong, TakesTheWholeSignedRangeAndNothingBeyond) {
  const NumberCase cases[] = {
      {"9223372036854775807", "9223372036854775807"},
      {"9223372036854775808", "refused"},
      {"-9223372036854775808", "-9223372036854775808"},
      {"-9223372036854775809", "refused"},
      {"-1", "-1"},
  };
  for (const NumberCase& c : cases) {
    EXPECT_EQ(converted(string_to_long, c.text), c.result) << c.text;
    EXPECT_EQ(converted(string_to_long_long, c.text), c.result) << c.text;
  }
}

TEST(StringToUnsignedLong, AcceptsALeadingMinusAsTheLibraryDoes) {
  const NumberCase cases[] = {
      {"18446744073709551615", "18446744073709551615"},
      {"18446744073709551616", "refused"},
      {"0xffffffffffffffff", "18446744073709551615"},
      {"-1", "18446744073709551615"},
      {"-5", "18446744073709551611"},
  };
  for (const NumberCase& c : cases) {
    EXPECT_EQ(converted(string_to_unsigned_long, c.text), c.result) << c.text;
    EXPECT_EQ(converted(string_to_unsigned_long_long, c.text), c.result) << c.text;
    EXPECT_EQ(converted(string_to_sizet, c.text), c.result) << c.text;
    EXPECT_EQ(converted(string_to_u64, c.text), c.result) << c.text;
  }
}

TEST(StringToSmallUnsigned, RefusesWhatDoesNotFit) {
  EXPECT_EQ(converted(string_to_u8, "255"), "255");
  EXPECT_EQ(converted(string_to_u8, "256"), "refused");
  EXPECT_EQ(converted(string_to_u16, "65535"), "65535");
  EXPECT_EQ(converted(string_to_u16, "65536"), "refused");
  EXPECT_EQ(converted(string_to_u32, "4294967295"), "4294967295");
  EXPECT_EQ(converted(string_to_u32, "4294967296"), "refused");
  EXPECT_EQ(converted(string_to_u8, "-1"), "refused") << "as unsigned it is far too large";
  EXPECT_EQ(converted(string_to_u8, "-18446744073709551615"), "1");
}

TEST(StringConversions, IgnoreAnErrorThatWasThereBefore) {
  errno = ERANGE;
  EXPECT_EQ(converted(string_to_long, "9223372036854775807"), "9223372036854775807");
  errno = EINVAL;
  EXPECT_EQ(converted(string_to_u64, "0"), "0");
}

TEST(StringConversions, RefuseANullOutput) {
  EXPECT_FALSE(string_to_long("1", nullptr));
  EXPECT_FALSE(string_to_u8("1", nullptr));
  EXPECT_FALSE(bounded_string_to_int("1", 1, nullptr));
}

TEST(BoundedStringToInt, ConvertsThatManyCharacters) {
  const struct {
    const char* text;
    size_t length;
    int expected;  // 99: refused
  } cases[] = {
      {"12345", 3, 123},
      {"12345", 5, 12345},
      {"12345", 100, 12345},
      {"12 45", 2, 12},
      {"12 45", 3, 99},
      {"12x", 3, 99},
      {"12x", 2, 12},
      {"12", 0, 99},
      {"-7", 2, -7},
      {"0x1F", 4, 31},
      {"2147483647", 10, INT_MAX},
      {"2147483648", 10, 99},
      {"-2147483648", 11, INT_MIN},
      {"-2147483649", 11, 99},
      {nullptr, 3, 99},
  };
  for (const auto& c : cases) {
    int out = 99;
    EXPECT_EQ(bounded_string_to_int(c.text, c.length, &out), c.expected != 99)
        << (c.text ? c.text : "(null)") << " " << c.length;
    EXPECT_EQ(out, c.expected) << (c.text ? c.text : "(null)") << " " << c.length;
  }
}

TEST(StringToBoolean, IsTrueForThreeTextsAndNull) {
  for (const char* text : {"1", "True", "true", static_cast<const char*>(nullptr)}) {
    EXPECT_TRUE(vek_string_to_boolean(text)) << (text ? text : "(null)");
  }
  for (const char* text :
       {"TRUE", "yes", "on", "", "0", "false", " true", "true ", "1 ", "11", "tRUE", "t"}) {
    EXPECT_FALSE(vek_string_to_boolean(text)) << text;
  }
}

TEST(BooleanToString, IsTheLowerCaseWord) {
  EXPECT_STREQ(boolean_to_string(true), "true");
  EXPECT_STREQ(boolean_to_string(false), "false");
}

TEST(HexCharToInt, KnowsTwentyTwoCharacters) {
  const std::string digits = "0123456789abcdef";
  const std::string capitals = "ABCDEF";
  for (int c = -128; c < 128; ++c) {
    const char ch = static_cast<char>(c);
    uint32_t expected = 4294967295u;
    if (const size_t at = digits.find(ch); at != std::string::npos) {
      expected = static_cast<uint32_t>(at);
    } else if (const size_t capital = capitals.find(ch); capital != std::string::npos) {
      expected = static_cast<uint32_t>(capital + 10);
    }
    EXPECT_EQ(hex_char_to_int(ch), expected) << c;
  }
}

using Guid = std::array<uint8_t, 16>;
constexpr Guid kGuid = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                        0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};

TEST(StringToGuid, ReadsThirtyTwoDigitsAndSkipsEveryDash) {
  for (const char* text :
       {"00112233-4455-6677-8899-aabbccddeeff", "00112233445566778899AABBCCDDEEFF",
        "--0-0112233445566778899aabbccddeef-f--"}) {
    Guid out{};
    EXPECT_TRUE(string_to_guid(text, out.data())) << text;
    EXPECT_EQ(out, kGuid) << text;
  }
}

TEST(StringToGuid, RefusesAnythingElseAndLeavesTheOutputAlone) {
  for (const char* text :
       {"00112233-4455-6677-8899-aabbccddeef", "00112233-4455-6677-8899-aabbccddee",
        "00112233-4455-6677-8899-aabbccddeeff0", "00112233-4455-6677-8899-aabbccddeeff00",
        "00112233-4455-6677-8899-aabbccddeefg", "00112233 4455 6677 8899 aabbccddeeff",
        "{00112233-4455-6677-8899-aabbccddeeff}", "00112233-4455-6677-8899-aabbccddeeff ", "", "-",
        static_cast<const char*>(nullptr)}) {
    Guid out;
    out.fill(0x77);
    const Guid untouched = out;
    EXPECT_FALSE(string_to_guid(text, out.data())) << (text ? text : "(null)");
    EXPECT_EQ(out, untouched) << (text ? text : "(null)");
  }
}

}  // namespace
