#include "utils/string_array.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/fail_allocation.h"
#include "tests/support/guarded_bytes.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "utils/owned.h"

namespace vek::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Strings = std::vector<std::string>;

// Owns an array whose address functions want.
struct Array {
  vek_string_array_t* block = nullptr;

  Array() = default;
  explicit Array(vek_string_array_t* owned) : block(owned) {}
  explicit Array(const Strings& strings) {
    for (const std::string& text : strings) {
      EXPECT_TRUE(vek_append_string_array(&block, text.c_str()));
    }
  }
  ~Array() { vek_free_string_array(block); }
  Array(const Array&) = delete;
  Array& operator=(const Array&) = delete;

  Strings strings() const {
    Strings all;
    for (uint64_t i = 0; block && i < block->count; ++i) all.emplace_back(block->strings[i]);
    return all;
  }
};

Strings split(const std::string& text, size_t length = std::string::npos) {
  const Array array(vek_string_array_from_comma_separated_string(
      text.c_str(), length == std::string::npos ? text.size() : length));
  EXPECT_NE(array.block, nullptr);
  return array.strings();
}

TEST(StringArray, StartsEmpty) {
  const Array array(vek_init_string_array());
  ASSERT_NE(array.block, nullptr);
  EXPECT_EQ(array.block->count, 0u);
  vek_free_string_array(nullptr);
}

TEST(StringArray, IsACountFollowedByItsStrings) {
  const Array array(Strings{"a", "b"});
  EXPECT_EQ(*reinterpret_cast<const uint64_t*>(array.block), 2u);
  EXPECT_STREQ(reinterpret_cast<char* const*>(array.block)[2], "b");
}

TEST(StringArray, AppendsCopiesToAnArrayOrToNone) {
  Array array;
  char text[] = "first";
  EXPECT_TRUE(vek_append_string_array(&array.block, text));
  text[0] = '?';
  EXPECT_TRUE(vek_append_string_array(&array.block, ""));
  EXPECT_TRUE(vek_append_string_array(&array.block, array.block->strings[0]));
  EXPECT_THAT(array.strings(), ElementsAre("first", "", "first"));
}

TEST(StringArray, RefusesANullText) {
  Array array(Strings{"a"});
  EXPECT_FALSE(vek_append_string_array(&array.block, nullptr));
  EXPECT_FALSE(vek_append_string_array(nullptr, "a"));
  EXPECT_THAT(array.strings(), ElementsAre("a"));
}

TEST(StringArray, IsUnchangedByAnAppendWithoutMemory) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer has its own allocator";
  for (unsigned n : {1u, 2u}) {
    Array array(Strings{"a"});
    FailAllocation failing(n);
    EXPECT_FALSE(vek_append_string_array(&array.block, "b"));
    EXPECT_TRUE(failing.disarm());
    EXPECT_THAT(array.strings(), ElementsAre("a"));
  }
}

TEST(StringArrayLog, ListsEachElementAtTheGivenPriority) {
  const LogCapture log(4);
  const Array array(Strings{"a", "b c"});
  vek_log_string_array(4, array.block, "tags");
  vek_log_string_array(6, array.block, "suppressed");
  vek_log_string_array(4, nullptr, "none");
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{4, "tags[0] = a"}, LogLine{4, "tags[1] = b c"}));
}

TEST(StringArrayJoin, AppendsCopies) {
  Array dst(Strings{"a"});
  {
    const Array src(Strings{"b", "a"});
    EXPECT_TRUE(vek_string_array_join(&dst.block, src.block));
    EXPECT_THAT(src.strings(), ElementsAre("b", "a"));
  }
  EXPECT_THAT(dst.strings(), ElementsAre("a", "b", "a"));
  EXPECT_TRUE(vek_string_array_join(&dst.block, nullptr));
  EXPECT_EQ(dst.block->count, 3u);
}

TEST(StringArrayJoin, OntoItselfDoublesTheArray) {
  Array array(Strings{"a", "b"});
  EXPECT_TRUE(vek_string_array_join(&array.block, array.block));
  EXPECT_THAT(array.strings(), ElementsAre("a", "b", "a", "b"));
}

TEST(StringArrayJoin, FreesTheDestinationWhenACopyFails) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer has its own allocator";
  Array dst(Strings{"a"});
  const Array src(Strings{"b", "c"});
  FailAllocation failing(3);  // the copy of "c"
  EXPECT_FALSE(vek_string_array_join(&dst.block, src.block));
  EXPECT_TRUE(failing.disarm());
  EXPECT_EQ(dst.block, nullptr);
  EXPECT_THAT(src.strings(), ElementsAre("b", "c"));
}

TEST(StringArrayContains, ComparesWholeTexts) {
  const Array array(Strings{"port", ""});
  EXPECT_TRUE(vek_string_array_contains(array.block, "port"));
  EXPECT_TRUE(vek_string_array_contains(array.block, ""));
  for (const char* text : {"Port", "por", "ports", " port"}) {
    EXPECT_FALSE(vek_string_array_contains(array.block, text)) << text;
  }
  EXPECT_FALSE(vek_string_array_contains(array.block, nullptr));
  EXPECT_FALSE(vek_string_array_contains(nullptr, "port"));
}

TEST(StringArrayFromCommaSeparated, HasNoEmptyTokens) {
  EXPECT_THAT(split("a,,b,"), ElementsAre("a", "b"));
  EXPECT_THAT(split(",,,a"), ElementsAre("a"));
  EXPECT_THAT(split("a"), ElementsAre("a"));
  EXPECT_THAT(split(""), IsEmpty());
  EXPECT_THAT(split(",,,"), IsEmpty());
}

TEST(StringArrayFromCommaSeparated, TrimsNoBlanks) {
  EXPECT_THAT(split(" a ,\tb, "), ElementsAre(" a ", "\tb", " "));
}

TEST(StringArrayFromCommaSeparated, ReadsOnlyTheFirstCharacters) {
  EXPECT_THAT(split("abc,def,g", 5), ElementsAre("abc", "d"));
  EXPECT_THAT(split("abc,def", 4), ElementsAre("abc"));
  EXPECT_THAT(split("abc,def", 0), IsEmpty());
  EXPECT_THAT(split("abc,def", 100), ElementsAre("abc", "def")) << "the text ends earlier";
  const GuardedBytes unterminated("ab,cd", 5);
  const Array array(vek_string_array_from_comma_separated_string(unterminated.as<char>(), 5));
  EXPECT_THAT(array.strings(), ElementsAre("ab", "cd"));
}

TEST(StringArrayFromCommaSeparated, TakesTokensOfAnyLength) {
  const std::string token(1 << 20, 't');
  EXPECT_EQ(split("a," + token + ",b"), (Strings{"a", token, "b"}));
}

TEST(StringArrayFromCommaSeparated, SaysThatMemoryRanOut) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer has its own allocator";
  const LogCapture log;
  for (unsigned n = 1; n <= 5; ++n) {
    FailAllocation failing(n);
    EXPECT_EQ(vek_string_array_from_comma_separated_string("a,b", 3), nullptr) << n;
  }
  EXPECT_THAT(log.errors(), ElementsAre("Unable to create string array", "Unable to append string",
                                        "Unable to append string", "Unable to append string",
                                        "Unable to append string"));
}

TEST(StringArrayRemoveDuplicates, KeepsTheFirstOfEachRun) {
  const struct {
    Strings before;
    Strings after;
  } cases[] = {
      {{"a", "a", "b", "c", "c", "c"}, {"a", "b", "c"}},
      {{"a", "a", "a"}, {"a"}},
      {{"a", "b"}, {"a", "b"}},
      {{"a"}, {"a"}},
      {{"b", "a", "b"}, {"b", "a", "b"}},  // not sorted after all: only neighbours are compared
      {{"", "", "A", "a"}, {"", "A", "a"}},
  };
  for (const auto& c : cases) {
    Array array(c.before);
    EXPECT_TRUE(vek_string_array_remove_duplicates(&array.block, true));
    EXPECT_EQ(array.strings(), c.after);
  }
  Array empty(vek_init_string_array());
  EXPECT_TRUE(vek_string_array_remove_duplicates(&empty.block, true));
  EXPECT_THAT(empty.strings(), IsEmpty());
}

TEST(StringArrayRemoveDuplicates, IsNotImplementedForUnsortedArrays) {
  const LogCapture log;
  Array array(Strings{"a", "a"});
  EXPECT_FALSE(vek_string_array_remove_duplicates(&array.block, false));
  EXPECT_THAT(array.strings(), ElementsAre("a", "a"));
  EXPECT_THAT(log.lines(),
              ElementsAre(LogLine{3, "[vek_string_array_remove_duplicates] not implemented"}));
}

TEST(StringArrayFileLines, AreTrimmedAndSkipCommentsAndEmptyLines) {
  const TempDir dir;
  const std::string path = dir.write("lines",
                                     "first\n\n  second \t\r\n# comment\n   # comment too\n"
                                     "third # kept\n \t \nlast without newline");
  const LogCapture log;
  Array array(Strings{"before"});
  EXPECT_TRUE(vek_string_array_append_file_lines(&array.block, path.c_str(), "tokens"));
  EXPECT_THAT(array.strings(),
              ElementsAre("before", "first", "second", "third # kept", "last without newline"));
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{6, "Loading tokens from " + path}));
}

TEST(StringArrayFileLines, CanHaveAnyLength) {
  const TempDir dir;
  const std::string line(1 << 20, 'l');
  Array array;
  EXPECT_TRUE(vek_string_array_append_file_lines(
      &array.block, dir.write("lines", line + "\nb\n").c_str(), nullptr));
  EXPECT_EQ(array.strings(), (Strings{line, "b"}));
}

TEST(StringArrayFileLines, EndAtANul) {
  const TempDir dir;
  Array array;
  EXPECT_TRUE(vek_string_array_append_file_lines(
      &array.block, dir.write("lines", std::string("ab\0cd\nef\n", 9)).c_str(), nullptr));
  EXPECT_THAT(array.strings(), ElementsAre("ab", "ef"));
}

TEST(StringArrayFileLines, SaysWhyAFileCannotBeOpened) {
  const TempDir dir;
  const std::string path = dir.file("missing");
  const LogCapture log;
  Array array(Strings{"before"});
  EXPECT_FALSE(vek_string_array_append_file_lines(&array.block, path.c_str(), "tokens"));
  EXPECT_FALSE(vek_string_array_append_file_lines(&array.block, path.c_str(), nullptr));
  EXPECT_THAT(
      log.lines(),
      ElementsAre(LogLine{6, "Failed to open tokens file " + path + ": No such file or directory"},
                  LogLine{6, "Failed to open  file " + path + ": No such file or directory"}));
  EXPECT_THAT(array.strings(), ElementsAre("before"));
}

TEST(StringArrayFileLines, OfAFolderFail) {
  const TempDir dir;
  Array array;
  EXPECT_FALSE(vek_string_array_append_file_lines(&array.block, dir.path().c_str(), nullptr));
  EXPECT_THAT(array.strings(), IsEmpty());
}

TEST(StringArrayFileLines, FailWhenMemoryRunsOut) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer has its own allocator";
  const TempDir dir;
  const std::string path = dir.write("lines", "a\nb\nc\n");
  unsigned failures = 0;
  for (unsigned n = 1;; ++n) {
    Array array;
    FailAllocation failing(n);
    const bool appended = vek_string_array_append_file_lines(&array.block, path.c_str(), nullptr);
    if (!failing.disarm()) {
      EXPECT_TRUE(appended);
      break;
    }
    ++failures;
    // Without a buffer of its own, the stream reads byte by byte and nothing is lost.
    EXPECT_TRUE(!appended || array.strings() == (Strings{"a", "b", "c"})) << n;
  }
  EXPECT_GE(failures, 6u);
}

}  // namespace
}  // namespace vek::test
