#include "utils/strings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <printf.h>

#include <climits>
#include <cstring>
#include <string>

#include "tests/support/fail_allocation.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"
#include "utils/owned.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string text_of(char* owned) {
  const CString text(owned);
  return text ? text.get() : "(null)";
}

TEST(TrimWhiteSpace, CutsBothEndsInPlace) {
  const struct {
    const char* text;
    const char* trimmed;
  } cases[] = {
      {"text", "text"},           {"  text", "text"}, {"text  ", "text"}, {" a b ", "a b"},
      {"\t\v\f\r\n x\r\n", "x"},  {"", ""},           {"   ", ""},        {"\n", ""},
      {"\xA0x\xA0", "\xA0x\xA0"},
  };
  for (const auto& c : cases) {
    std::string buffer = c.text;
    char* trimmed = trim_white_space(buffer.data());
    EXPECT_STREQ(trimmed, c.trimmed) << c.text;
    EXPECT_GE(trimmed, buffer.data());
    EXPECT_LE(trimmed, buffer.data() + buffer.size());
  }
  EXPECT_EQ(trim_white_space(nullptr), nullptr);
}

TEST(ExpandStringTemplate, AllocatesTheFormattedText) {
  EXPECT_EQ(text_of(vek_expand_string_template("%s-%05d", "a", 42)), "a-00042");
  EXPECT_EQ(text_of(vek_expand_string_template("%s", "")), "");
  const std::string large(1 << 20, 'x');
  EXPECT_EQ(text_of(vek_expand_string_template("%s", large.c_str())), large);
}

TEST(ExpandStringTemplate, SaysThatALengthCannotBeCalculated) {
  const LogCapture log;
  const wchar_t no_character[] = {static_cast<wchar_t>(0x110000), 0};
  EXPECT_EQ(vek_expand_string_template("%ls", no_character), nullptr);
  EXPECT_THAT(log.errors(), ElementsAre("Failed to calculate length of expanded string template"));
}

TEST(ExpandStringTemplate, SaysThatMemoryRanOut) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer has its own allocator";
  const LogCapture log;
  FailAllocation failing(1);
  char* expanded = vek_expand_string_template("%s", "hello");
  EXPECT_TRUE(failing.disarm());
  EXPECT_EQ(expanded, nullptr);
  EXPECT_THAT(log.errors(), ElementsAre("Failed to allocate buffer for expanded string of size 6: "
                                        "Cannot allocate memory"));
}

// A conversion of the test's own, "%Y", that prints one letter more at each use.
int print_growing(FILE* stream, const printf_info* /*info*/, const void* const* /*args*/) {
  static int uses = 0;
  ++uses;
  for (int i = 0; i < uses; ++i) (void)std::fputc('x', stream);
  return uses;
}

int takes_no_argument(const printf_info* /*info*/, size_t /*n*/, int* /*types*/, int* /*sizes*/) {
  return 0;
}

TEST(ExpandStringTemplate, SaysThatTheTextChangedItsLength) {
  register_printf_specifier('Y', print_growing, takes_no_argument);
  const LogCapture log;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"  // the compiler does not know "%Y"
  EXPECT_EQ(vek_expand_string_template("%Y"), nullptr);
#pragma GCC diagnostic pop
  register_printf_specifier('Y', nullptr, nullptr);
  EXPECT_THAT(log.errors(), ElementsAre("Failed to expand file string template"));
}

TEST(StringConcat, IsTheOneThenTheOther) {
  EXPECT_EQ(text_of(string_concat("ab", "cd")), "abcd");
  EXPECT_EQ(text_of(string_concat("", "cd")), "cd");
  EXPECT_EQ(text_of(string_concat("ab", "")), "ab");
  EXPECT_EQ(text_of(string_concat("", "")), "");
}

TEST(StringConcatCommaSeparatedToken, PutsACommaOnlyBehindSomething) {
  EXPECT_EQ(text_of(string_concat_comma_separated_token("a", "b")), "a,b");
  EXPECT_EQ(text_of(string_concat_comma_separated_token("a,b", "c")), "a,b,c");
  EXPECT_EQ(text_of(string_concat_comma_separated_token("", "b")), "b");
  EXPECT_EQ(text_of(string_concat_comma_separated_token(nullptr, "b")), "b");
  EXPECT_EQ(text_of(string_concat_comma_separated_token("a", "")), "a,");
}

TEST(StringConcat, SaysThatMemoryRanOut) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer has its own allocator";
  const LogCapture log;
  {
    FailAllocation failing(1);
    EXPECT_EQ(string_concat("a", "b"), nullptr);
  }
  {
    FailAllocation failing(1);
    EXPECT_EQ(string_concat_comma_separated_token("a", "b"), nullptr);
  }
  {
    FailAllocation failing(1);
    EXPECT_EQ(string_concat_comma_separated_token(nullptr, "b"), nullptr);
  }
  EXPECT_THAT(log.errors(), ElementsAre("[string_concat] Failed in malloc",
                                        "[string_concat_comma_separated_token] Failed in malloc",
                                        "[string_concat_comma_separated_token] Failed in malloc"));
}

TEST(FindIthSubstr, CountsOccurrencesAtEveryPosition) {
  constexpr size_t kNone = 99;
  const struct {
    const char* text;
    const char* needle;
    size_t index;
    size_t position;
  } cases[] = {
      {"aaa", "aa", 0, 0},    {"aaa", "aa", 1, 1},       {"aaa", "aa", 2, kNone},
      {"a.b.c", ".", 0, 1},   {"a.b.c", ".", 1, 3},      {"a.b.c", ".", 2, kNone},
      {"abc", "abc", 0, 0},   {"abc", "abcd", 0, kNone}, {"", "a", 0, kNone},
      {"ab", "", 0, 0},       {"ab", "", 2, 2},          {"ab", "", 3, kNone},
      {"abc", "B", 0, kNone},
  };
  for (const auto& c : cases) {
    size_t position = kNone;
    EXPECT_EQ(find_ith_substr(c.text, c.needle, c.index, &position), c.position != kNone)
        << c.text << " " << c.needle << " " << c.index;
    EXPECT_EQ(position, c.position) << c.text << " " << c.needle << " " << c.index;
  }
}

TEST(FindIthSubstr, SaysThatAnArgumentIsNull) {
  const LogCapture log;
  size_t position = 0;
  EXPECT_FALSE(find_ith_substr(nullptr, "a", 0, &position));
  EXPECT_FALSE(find_ith_substr("a", nullptr, 0, &position));
  EXPECT_FALSE(find_ith_substr("a", "a", 0, nullptr));
  EXPECT_EQ(log.count(3, "[find_ith_substr] invalid input"), 3u);
}

TEST(GetAllocatedBasename, IsWhatFollowsTheLastSlash) {
  EXPECT_EQ(text_of(get_allocated_basename("/a/b.txt")), "b.txt");
  EXPECT_EQ(text_of(get_allocated_basename("b.txt")), "b.txt");
  EXPECT_EQ(text_of(get_allocated_basename("a/b/")), "");
  EXPECT_EQ(text_of(get_allocated_basename("/")), "");
  EXPECT_EQ(get_allocated_basename(""), nullptr);
  EXPECT_EQ(get_allocated_basename(nullptr), nullptr);
}

TEST(StringEndsWith, ComparesTheEnd) {
  EXPECT_TRUE(vek_string_ends_with("file.exp", ".exp"));
  EXPECT_TRUE(vek_string_ends_with(".exp", ".exp"));
  EXPECT_TRUE(vek_string_ends_with("file", ""));
  EXPECT_TRUE(vek_string_ends_with("", ""));
  EXPECT_FALSE(vek_string_ends_with("file.EXP", ".exp"));
  EXPECT_FALSE(vek_string_ends_with("exp", ".exp"));
  EXPECT_FALSE(vek_string_ends_with("file.exp~", ".exp"));
  EXPECT_FALSE(vek_string_ends_with(nullptr, ".exp"));
  EXPECT_FALSE(vek_string_ends_with("file", nullptr));
}

TEST(VekStrncpy, CopiesWhatFitsAndAlwaysTerminates) {
  const struct {
    size_t dst_size;
    size_t n;
    size_t count;
    const char* copied;
  } cases[] = {
      {8, 3, 3, "abc"}, {8, 6, 6, "abcdef"}, {4, 3, 3, "abc"}, {3, 3, 2, "ab"},
      {3, 6, 2, "ab"},  {1, 6, 0, ""},       {8, 0, 0, ""},
  };
  for (const auto& c : cases) {
    char dst[16];
    std::memset(dst, '?', sizeof dst);
    EXPECT_EQ(vek_strncpy(dst, c.dst_size, "abcdef", c.n), c.count);
    EXPECT_STREQ(dst, c.copied);
    EXPECT_EQ(dst[c.count + 1], '?') << "nothing behind the terminator";
  }
}

TEST(VekStrncpy, IntoNothingCopiesNothing) {
  char dst = '?';
  EXPECT_EQ(vek_strncpy(&dst, 0, "abc", 3), 0u);
  EXPECT_EQ(dst, '?');
}

TEST(VekStrncpy, NeverReadsPastTheEndOfItsSource) {
  const GuardedBytes ends_early("ab", 3);
  char dst[16];
  EXPECT_EQ(vek_strncpy(dst, sizeof dst, ends_early.as<char>(), 10), 10u);
  EXPECT_STREQ(dst, "ab");
  const GuardedBytes unterminated("abc", 3);
  EXPECT_EQ(vek_strncpy(dst, sizeof dst, unterminated.as<char>(), 3), 3u);
  EXPECT_STREQ(dst, "abc");
}

std::string visible(const char* src, size_t size) {
  std::string dst(size + 1, '?');
  strncpy_visible_ascii(dst.data(), src, size);
  EXPECT_EQ(dst[size], '?') << "written past the end";
  dst.resize(size);
  return dst;
}

TEST(StrncpyVisibleAscii, CopiesUpToTheFirstByteThatIsNotPrintable) {
  EXPECT_EQ(visible("abc", 6), std::string("abc\0\0\0", 6));
  EXPECT_EQ(visible("ab\tc", 6), std::string("ab\0\0\0\0", 6));
  EXPECT_EQ(visible("a\x7F", 4), std::string("a\0\0\0", 4));
  EXPECT_EQ(visible(" ~", 4), std::string(" ~\0\0", 4));
  EXPECT_EQ(visible("abcdef", 4), std::string("abc\0", 4));
  EXPECT_EQ(visible("", 3), std::string("\0\0\0", 3));
  EXPECT_EQ(visible("abc", 1), std::string("\0", 1));
}

TEST(StrncpyVisibleAscii, WritesNAForATextThatStartsUnreadably) {
  EXPECT_EQ(visible("\x01text", 6), std::string("N/A\0\0\0", 6));
  EXPECT_EQ(visible("\xC3\xA9", 4), std::string("N/A\0", 4));
  EXPECT_EQ(visible("\x7F", 4), std::string("N/A\0", 4));
}

// Callers with tiny buffers get what strncpy gives them: no terminator.
TEST(StrncpyVisibleAscii, CutsNAWithoutATerminator) {
  EXPECT_EQ(visible("\x01", 3), "N/A");
  EXPECT_EQ(visible("\x01", 2), "N/");
  EXPECT_EQ(visible("\x01", 1), "N");
}

TEST(StrncpyVisibleAscii, ReportsEachWrongArgumentOncePerTenSeconds) {
  const LogCapture log;
  char dst[4] = "abc";
  for (int i = 0; i < 3; ++i) {
    strncpy_visible_ascii(nullptr, "x", 4);
    strncpy_visible_ascii(dst, nullptr, 4);
    strncpy_visible_ascii(dst, "x", 0);
  }
  EXPECT_THAT(log.errors(), ElementsAre("strncpy_visible_ascii: Destination buffer is NULL",
                                        "strncpy_visible_ascii: Source string is NULL",
                                        "strncpy_visible_ascii: Length is 0"));
  EXPECT_STREQ(dst, "abc");
}

std::string printed(int width, long long value) {
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  print_si_prefixed_value(stream, width, value);
  (void)std::fclose(stream);
  return text_of(text);
}

TEST(PrintSiPrefixedValue, DividesFromAThousandOn) {
  EXPECT_EQ(printed(6, 0), "      0 |");
  EXPECT_EQ(printed(6, 999), "    999 |");
  EXPECT_EQ(printed(6, 1000), "    1 k |");
  EXPECT_EQ(printed(6, 1999), "    1 k |");
  EXPECT_EQ(printed(6, 1234567), " 1234 k |");
  EXPECT_EQ(printed(6, -5000), "  -5000 |");
  EXPECT_EQ(printed(6, LLONG_MAX), " 9223372036854775 k |");
}

}  // namespace
}  // namespace vek::test
