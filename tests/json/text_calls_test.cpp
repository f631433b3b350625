#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/json/json_support.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

class ParseFile : public testing::Test {
 protected:
  std::optional<std::string> reprint_file(const std::string& contents) const {
    const std::string path = dir_.write("document.json", contents);
    return compact(JsonValue(json_parse_file(path.c_str())).get());
  }

  TempDir dir_;
};

TEST_F(ParseFile, ReadsAWholeFile) {
  EXPECT_EQ(reprint_file("\xef\xbb\xbf{ \"a\" : [ 1 ] }\r\n"), R"({"a":[1]})");
  const std::string long_text = "[" + repeat("123456,", 100'000);
  EXPECT_EQ(reprint_file(long_text + "7]"), long_text + "7]");
}

TEST_F(ParseFile, StopsAtANul) {
  EXPECT_EQ(reprint_file(std::string("[1]\0garbage", 11)), "[1]");
  EXPECT_EQ(reprint_file(std::string("[1\0]", 4)), std::nullopt);
  EXPECT_EQ(reprint_file(std::string("\0[1]", 4)), std::nullopt);
}

TEST_F(ParseFile, FailsOnWhatIsNoJson) {
  EXPECT_EQ(reprint_file(""), std::nullopt);
  EXPECT_EQ(reprint_file("{\"a\":"), std::nullopt);
  EXPECT_EQ(reprint_file("no json"), std::nullopt);
}

TEST_F(ParseFile, FailsOnWhatCannotBeRead) {
  EXPECT_EQ(json_parse_file(dir_.file("missing").c_str()), nullptr);
  EXPECT_EQ(json_parse_file(dir_.path().c_str()), nullptr);
  EXPECT_EQ(json_parse_file(""), nullptr);
  EXPECT_EQ(json_parse_file("/dev/null"), nullptr);
}

TEST_F(ParseFile, FailsOnAPipe) {
  const std::string path = dir_.file("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int pipe = open(path.c_str(), O_RDWR);
  ASSERT_GE(pipe, 0);
  EXPECT_EQ(write(pipe, "[1]", 3), 3);
  EXPECT_EQ(json_parse_file(path.c_str()), nullptr);
  close(pipe);
}

TEST(ParseString, FailsOnNull) { EXPECT_EQ(json_parse_string(nullptr), nullptr); }

TEST(FreeSerializedString, AcceptsNull) { json_free_serialized_string(nullptr); }

}  // namespace
}  // namespace vek::test
