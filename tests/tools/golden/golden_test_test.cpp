// vektool test: cases that pass, fail, and are written.
#include "tools/golden/golden_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Words = std::vector<std::string>;

class GoldenTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    demo_ = new TempDir;
    ASSERT_EQ(run_tool({"generate", "--output", demo_->file("d"), "--pages", "20"}).exit_code, 0);
  }
  static void TearDownTestSuite() { delete demo_; }

  GoldenTest() {
    fs::create_directories(dir());
    fs::copy(demo_->file("d/pages.bin"), dir() + "/pages.bin");
    fs::copy(demo_->file("d/schemas"), dir() + "/schemas", fs::copy_options::recursive);
    temp_.write("case/config/a.exp", "name = a\ncounterset = " + dir() + "/config/f\n");
    temp_.write("case/config/f", "^rx_bytes$\n");
  }

  std::string dir() const { return temp_.file("case"); }
  ChildResult test(const Words& more = {}) {
    Words words{"test", dir()};
    words.insert(words.end(), more.begin(), more.end());
    return run_tool(words);
  }

  static TempDir* demo_;
  TempDir temp_;
};

TempDir* GoldenTest::demo_ = nullptr;

TEST_F(GoldenTest, AcceptWritesWhatLaterPasses) {
  EXPECT_EQ(test().exit_code, 1);
  const ChildResult written = test({"--accept"});
  EXPECT_EQ(written.exit_code, 0);
  EXPECT_THAT(written.standard_output, StartsWith("written " + dir() + " ("));
  EXPECT_THAT(read_file(dir() + "/expected/a.ndjson"), HasSubstr("\"rx_bytes\":"));
  const ChildResult passed = test();
  EXPECT_EQ(passed.exit_code, 0);
  EXPECT_THAT(passed.standard_output, StartsWith("passed  " + dir() + " ("));
}

TEST_F(GoldenTest, AChangedRecordFailsWithBothSides) {
  test({"--accept"});
  temp_.write("case/config/f", "in=^rx_bytes$\n");
  const ChildResult failed = test();
  EXPECT_EQ(failed.exit_code, 1);
  EXPECT_THAT(failed.standard_output, StartsWith("failed  " + dir()));
  EXPECT_THAT(failed.standard_output, HasSubstr("    a, record 1:\n      expected ..."));
  EXPECT_THAT(failed.standard_output, HasSubstr("\"rx_bytes\":"));
  EXPECT_THAT(failed.standard_output, HasSubstr("\"in\":"));
}

TEST_F(GoldenTest, MissingRecordsAndGoneDestinationsFail) {
  test({"--accept"});
  const std::string expected = read_file(dir() + "/expected/a.ndjson");
  temp_.write("case/expected/a.ndjson", expected + "{}\n");
  EXPECT_THAT(test().standard_output, HasSubstr("expected {}\n      found    (none)\n"));
  temp_.write("case/expected/a.ndjson", expected);
  temp_.write("case/expected/gone.ndjson", "{}\n");
  EXPECT_THAT(test().standard_output, HasSubstr("gone, record 1:"));
  test({"--accept"});
  EXPECT_FALSE(fs::exists(dir() + "/expected/gone.ndjson"));
}

TEST_F(GoldenTest, RulesThatNothingExercisesAreListed) {
  temp_.write("case/config/f", "^rx_bytes$\nno_such_counter\n");
  test({"--accept"});
  const ChildResult passed = test();
  EXPECT_EQ(passed.exit_code, 0);
  EXPECT_THAT(passed.standard_output, HasSubstr("    never exercised: " + dir() +
                                                "/config/f:2: 'no_such_counter' takes no"));
}

TEST_F(GoldenTest, RulesForWhatNoRecordingHoldsAreListed) {
  temp_.write("case/config/a.exp",
              "name = a\ncounterset = " + dir() + "/config/f\nfieldset = " + dir() + "/config/e\n");
  temp_.write("case/config/e", "[alarm]\ncode\n");
  EXPECT_THAT(test().standard_output, Not(HasSubstr("never exercised")));
  const std::string idle = "    never exercised: " + dir() + "/config/e";
  temp_.write("case/config/e", "[alarm]\ncode\n[opaque_event_128]\ndata\n");
  EXPECT_THAT(test().standard_output,
              HasSubstr(idle + ":3: the recordings have no event of the type "
                               "'opaque_event_128'\n"));
  fs::resize_file(dir() + "/pages.bin", 1560);  // one page of counters
  EXPECT_THAT(test().standard_output, HasSubstr(idle + ": the recordings have no events\n"));
}

TEST_F(GoldenTest, WhatIsMissingIsNamed) {
  EXPECT_EQ(run_tool({"test", temp_.file("none")}).exit_code, 4);
  fs::remove(dir() + "/pages.bin");
  const ChildResult result = test();
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_THAT(result.standard_output, HasSubstr(": has no pages (*.bin)\n"));
}

TEST_F(GoldenTest, ResultsComeAsJunitAndAsJson) {
  const std::string junit = temp_.file("junit.xml");
  EXPECT_EQ(test({"--junit", junit}).exit_code, 1);
  EXPECT_THAT(read_file(junit), HasSubstr("tests=\"1\" failures=\"1\">"));
  EXPECT_THAT(read_file(junit), HasSubstr("<failure message=\"a: no file of expected records\"/>"));
  test({"--accept"});
  EXPECT_EQ(test({"--junit", junit}).exit_code, 0);
  EXPECT_THAT(read_file(junit), HasSubstr("tests=\"1\" failures=\"0\">"));
  EXPECT_THAT(test({"--json"}).standard_output,
              StartsWith(R"({"schema_version":1,"case":")" + dir() + R"(","passed":true,)"));
}

}  // namespace
}  // namespace vek::test
