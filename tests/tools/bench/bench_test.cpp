#include "tools/bench/bench.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"
#include "tools/bench/bench_baseline.h"

namespace vek::tools {
namespace {

using test::ChildResult;
using test::run_tool;
using test::TempDir;
using Words = std::vector<std::string>;

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(SpreadOf, IsTheMedianTheLeastAndTheMedianDistance) {
  const Spread odd = spread_of({5, 1, 100, 3, 4});
  EXPECT_EQ(odd.median, 4);
  EXPECT_EQ(odd.least, 1);
  EXPECT_EQ(odd.deviation, 1);
  const Spread even = spread_of({1, 2, 3, 10});
  EXPECT_EQ(even.median, 2.5);
  EXPECT_EQ(even.deviation, 1);
  EXPECT_EQ(spread_of({}).median, 0);
}

BenchResult of(double median, double deviation) {
  BenchResult result;
  result.ns_per_record = {median, median, deviation};
  return result;
}

TEST(BenchVerdict, IsAboutWhatLiesBeyondTheSpreadOfBoth) {
  using Kind = Verdict::Kind;
  EXPECT_EQ(compare(of(100, 1), of(105, 1)).kind, Kind::kSame);
  EXPECT_EQ(compare(of(100, 1), of(107, 1)).kind, Kind::kSlower);
  EXPECT_EQ(compare(of(100, 1), of(93, 1)).kind, Kind::kFaster);
  EXPECT_EQ(compare(of(100, 0), of(101.9, 0)).kind, Kind::kSame);
  EXPECT_EQ(compare(of(100, 0), of(102.1, 0)).kind, Kind::kSlower);
  EXPECT_NEAR(compare(of(100, 1), of(107, 1)).change, 0.07, 1e-9);
}

class BenchTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new TempDir;
    ASSERT_EQ(run_tool({"generate", "--output", dir_->file("d"), "--pages", "12"}).exit_code, 0);
  }
  static void TearDownTestSuite() { delete dir_; }

  static ChildResult bench(Words more, const std::string& config = "config") {
    const Words words{"bench",
                      "--config",
                      dir_->file("d/" + config),
                      "--schema-dir",
                      dir_->file("d/schemas"),
                      "--repeats",
                      "3",
                      "--warm-up",
                      "1ms",
                      "--repeat-time",
                      "1ms"};
    more.insert(more.begin(), words.begin(), words.end());
    return run_tool(more);
  }
  static std::string pages() { return dir_->file("d/pages.bin"); }

  static TempDir* dir_;
};

TempDir* BenchTest::dir_ = nullptr;

TEST_F(BenchTest, CountsWhatThePreviewShows) {
  const ChildResult preview = run_tool({"preview", "--config", dir_->file("d/config"),
                                        "--schema-dir", dir_->file("d/schemas"), pages()});
  const auto records =
      std::count(preview.standard_output.begin(), preview.standard_output.end(), '\n');
  const ChildResult result = bench({"--json", pages()});
  EXPECT_EQ(result.exit_code, 0) << result.standard_error;
  EXPECT_TRUE(has(result.standard_output,
                  "{\"schema_version\":1,\"destinations\":3,\"pages\":12,\"page_bytes\":" +
                      std::to_string(std::filesystem::file_size(pages())) +
                      ",\"failed_pages\":0,\"records\":" + std::to_string(records) + ","))
      << result.standard_output;
  EXPECT_TRUE(has(result.standard_output, ",\"verdict\":null}\n"));
}

TEST_F(BenchTest, SaysHowFastItIsAndWhatItTakes) {
  const ChildResult result = bench({"--destination", "port-traffic", pages()});
  EXPECT_EQ(result.exit_code, 0) << result.standard_error;
  for (const char* name :
       {"destinations            1\n", "ns a record             ", "records a second        ",
        "pages a second          ", "peak memory             "}) {
    EXPECT_TRUE(has(result.standard_output, name)) << name << result.standard_output;
  }
  EXPECT_TRUE(has(result.standard_output, " (least ")) << result.standard_output;
}

TEST_F(BenchTest, DictionariesAreMeasuredToo) {
  const ChildResult result = bench({"--json", dir_->file("d/streams.bin")}, "streams");
  EXPECT_EQ(result.exit_code, 0) << result.standard_error;
  EXPECT_TRUE(has(result.standard_output, "\"records\":32,")) << result.standard_output;
}

TEST_F(BenchTest, ABaselineGivesAVerdictAndAStatus) {
  const std::string now = bench({"--json", pages()}).standard_output;
  const size_t at = now.find("\"median\":") + 9;
  const size_t end = now.find(',', at);
  const auto with_median = [&](const std::string& median) {
    return dir_->write("baseline.json", now.substr(0, at) + median + now.substr(end));
  };
  ChildResult result = bench({"--baseline", with_median("0.5"), pages()});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_output, "verdict                 slower: +"))
      << result.standard_output;
  result = bench({"--json", "--baseline", with_median("1e9"), pages()});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_TRUE(has(result.standard_output, "\"verdict\":\"faster\",\"change\":-0.99"))
      << result.standard_output;
}

TEST_F(BenchTest, ABaselineOfSomethingElseIsRefusedOrToldOf) {
  const std::string now = bench({"--json", "--int64", "string", pages()}).standard_output;
  const std::string baseline = dir_->write("baseline.json", now);
  ChildResult result = bench({"--baseline", baseline, pages(), pages()});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_EQ(result.standard_error,
            "vektool: error: " + baseline + ": was measured with other pages\n");
  result = bench({"--baseline", baseline, "--destination", "events", pages()});
  EXPECT_TRUE(has(result.standard_error, " for 3 destinations: another configuration\n"))
      << result.standard_error;
  for (const std::string& bad : {dir_->file("none"), dir_->write("bad.json", "{}")}) {
    result = bench({"--baseline", bad, pages()});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_TRUE(has(result.standard_error, "is not what 'vektool bench --json' prints"));
  }
}

TEST_F(BenchTest, WithoutRecordsThereIsNothingToMeasure) {
  ChildResult result = bench({dir_->write("empty.bin", "")});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_error, "no record leaves; 'vektool preview' shows why"));
  result = bench({pages(), "--destination", "evnts"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_error, "did you mean 'events'?")) << result.standard_error;
  EXPECT_EQ(bench({dir_->file("none")}).exit_code, 4);
  EXPECT_EQ(bench({dir_->write("cut.bin", "x")}).exit_code, 1);
  EXPECT_EQ(bench({"--repeats", "2", pages()}).exit_code, 2);
}

}  // namespace
}  // namespace vek::tools
