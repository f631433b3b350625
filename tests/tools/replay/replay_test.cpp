// What the plug-in sees of a replay, with a plug-in that writes it down.
#include "tools/replay/replay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sstream>

#include "data/page_writer.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

using Words = std::vector<std::string>;

std::string image_of(PageWriter& page) {
  const std::vector<uint8_t> image = page.finish();
  return {image.begin(), image.end()};
}

// A page of one counters block with eight bytes of value, all `fill`.
std::string small_page(uint8_t fill, uint64_t time_us = 1'000'000) {
  PageWriter page("source", "tag");
  page.counters_block(time_us, std::vector<uint8_t>(8, fill));
  return image_of(page);
}

// A page without a block has no time.
std::string image_of_no_time() {
  PageWriter page("source", "tag");
  return image_of(page);
}

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class ReplayScriptTest : public testing::Test {
 protected:
  ReplayScriptTest() {
    dir_.write("config/a.exp", "name = a\n");
    std::filesystem::create_directory(dir_.file("schemas"));
    dir_.write("ts.json", R"({"version":"1.5.0","counter_groups":[]})");
  }

  std::string pages(const std::string& contents, const std::string& name = "pages.bin") {
    return dir_.write(name, contents);
  }

  ChildResult replay(Words words, const std::string& script = "", ToolSetting setting = {}) {
    setting.environment.emplace_back("VEK_SCRIPT", script);
    setting.environment.emplace_back("VEK_SCRIPT_LOG", dir_.file("calls"));
    Words all{"replay", "--plugin", VEK_SCRIPTED_PLUGIN_PATH, "--config", dir_.file("config")};
    if (std::find(words.begin(), words.end(), "--type-system") == words.end()) {
      all.insert(all.end(), {"--schema-dir", dir_.file("schemas")});
    }
    all.insert(all.end(), words.begin(), words.end());
    return run_tool(all, setting);
  }

  Words calls() const {
    std::istringstream text(read_file(dir_.file("calls")));
    Words lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
  }

  TempDir dir_;
};

TEST_F(ReplayScriptTest, CallsThePluginInTheOrderOfACollector) {
  const ChildResult result = replay({pages(small_page(1) + small_page(2))});
  EXPECT_EQ(result.exit_code, 0) << result.standard_error;
  EXPECT_EQ(calls(), (Words{"init " + dir_.file("config"), "connect object",
                            "page source tag 744 bytes sum 451 by manager",
                            "page source tag 744 bytes sum 459 by manager", "disconnect",
                            "destroy object"}));
  EXPECT_EQ(result.standard_output, "");
}

TEST_F(ReplayScriptTest, ATypeSystemIsHandedOverInsteadOfAManager) {
  replay({"--type-system", dir_.file("ts.json"), pages(small_page(1))});
  ASSERT_EQ(calls().size(), 5u);
  EXPECT_EQ(calls()[2], "page source tag 744 bytes sum 451 by type system");
}

TEST_F(ReplayScriptTest, TheSummaryCountsPagesBytesFailuresAndRecords) {
  const ChildResult result = replay({pages(small_page(1) + small_page(2))});
  EXPECT_TRUE(has(result.standard_error, "pages               2\n"));
  EXPECT_TRUE(has(result.standard_error, "bytes               1488 (1.5 KiB)\n"));
  EXPECT_TRUE(has(result.standard_error, "failed pages        0\n"));
  EXPECT_TRUE(has(result.standard_error, "records offered     2\n"));
  EXPECT_TRUE(has(result.standard_error, "records per second  "));
}

TEST_F(ReplayScriptTest, RepeatSendsEveryFileAgainInOrder) {
  const std::string first = pages(small_page(1), "1.bin");
  const std::string second = pages(small_page(2), "2.bin");
  EXPECT_EQ(replay({"--repeat", "2", first, second}).exit_code, 0);
  const Words all = calls();
  ASSERT_EQ(all.size(), 8u);
  EXPECT_EQ(all[2], all[4]);
  EXPECT_EQ(all[3], all[5]);
  EXPECT_NE(all[2], all[3]);
}

TEST_F(ReplayScriptTest, PagesComeFromStandardInput) {
  ToolSetting setting;
  setting.stdin_path = pages(small_page(1) + small_page(2));
  EXPECT_EQ(replay({"-"}, "", setting).exit_code, 0);
  EXPECT_EQ(calls().size(), 6u);
}

TEST_F(ReplayScriptTest, ADamagedFileIsNamedAndItsIntactPagesAreSent) {
  const std::string whole = small_page(1) + small_page(2);
  const std::string cut = pages(whole.substr(0, whole.size() - 1), "cut.bin");
  const std::string next = pages(small_page(3), "next.bin");
  const ChildResult result = replay({cut, next});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_error,
                  "vektool: error: " + cut +
                      ": page 2 at byte 744: ends inside the page: 743 of 744 bytes are there\n"
                      "The 1 page before it was sent; nothing behind that byte was.\n"))
      << result.standard_error;
  EXPECT_TRUE(has(result.standard_error, "pages               2\n"));
  EXPECT_EQ(calls().size(), 6u);  // the next file is sent all the same
}

TEST_F(ReplayScriptTest, DamageInStandardInputNamesIt) {
  ToolSetting setting;
  setting.stdin_path = pages(std::string(800, '\0'));
  const ChildResult result = replay({"-"}, "", setting);
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_error,
                  "vektool: error: standard input: page 1 at byte 0: the header says that the "
                  "page is 0 bytes long"));
}

TEST_F(ReplayScriptTest, DamageIsReportedOnceHoweverOftenTheFileIsSent) {
  const ChildResult result = replay({"--repeat", "3", pages(small_page(1) + "x")});
  EXPECT_EQ(result.exit_code, 1);
  const size_t first = result.standard_error.find("page 2 at byte 744");
  ASSERT_NE(first, std::string::npos);
  EXPECT_EQ(result.standard_error.find("page 2 at byte 744", first + 1), std::string::npos);
  EXPECT_TRUE(has(result.standard_error, "pages               3\n"));
}

struct FailureCase {
  const char* script;
  int exit_code;
  const char* message;
};

class ReplayFailureTest : public ReplayScriptTest,
                          public testing::WithParamInterface<FailureCase> {};

TEST_P(ReplayFailureTest, GetsItsExitStatusAndMessage) {
  const ChildResult result =
      replay({pages(small_page(1) + small_page(2) + small_page(3))}, GetParam().script);
  EXPECT_EQ(result.exit_code, GetParam().exit_code);
  EXPECT_TRUE(has(result.standard_error, GetParam().message)) << result.standard_error;
}

INSTANTIATE_TEST_SUITE_P(
    Scripts, ReplayFailureTest,
    testing::Values(FailureCase{"no record", 4, "vek_exporter_get_api returned no record"},
                    FailureCase{
                        "another version", 4,
                        "speaks version 2 of the exporter interface; this tool speaks version 1"},
                    FailureCase{"no entry points", 4, "its API record lacks entry points"},
                    FailureCase{"init fails", 4, "set FLUENT_BIT_EXPORT_API_SO to the path of"},
                    FailureCase{"connect fails", 5, "not everything was delivered"},
                    FailureCase{"connect logs an error", 5, "cannot reach anything"},
                    FailureCase{"second page answers 0", 5, "failed pages        1\n"},
                    FailureCase{"second page logs a failure", 5, "failed pages        1\n"},
                    FailureCase{"disconnect logs an error", 5, "errors logged       1\n"}));

TEST_F(ReplayScriptTest, AFailedPageDoesNotStopTheOthers) {
  replay({pages(small_page(1) + small_page(2) + small_page(3))}, "second page answers 0");
  EXPECT_EQ(calls().size(), 7u);
}

TEST_F(ReplayScriptTest, FailuresAreCountedAlsoWhereTheLogLevelHidesThem) {
  ToolSetting quiet;
  quiet.environment = {{"VEK_API_LOG_LEVEL", "0"}};
  const ChildResult result =
      replay({pages(small_page(1) + small_page(2))}, "second page logs a failure", quiet);
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_FALSE(has(result.standard_error, "export for vek data page failed"));
  EXPECT_TRUE(has(result.standard_error, "(VEK_API_LOG_LEVEL=4 shows them)"));
}

TEST_F(ReplayScriptTest, ShowsThePluginsLinesUpToTheEnvironmentsLevel) {
  const struct {
    const char* variable;
    const char* level;
    size_t shown;
  } kCases[] = {{"VEK_API_LOG_LEVEL", "", 2},  {"VEK_API_LOG_LEVEL", "3", 1},
                {"VEK_API_LOG_LEVEL", "6", 3}, {"VEK_API_LOG_LEVEL", "7", 4},
                {"API_LOG_LEVEL", "7", 4},     {"VEK_API_LOG_LEVEL", "x", 0}};
  const Words lines{"[error] an error", "[warning] a warning", "[info] some information",
                    "[debug] a detail"};
  for (const auto& row : kCases) {
    SCOPED_TRACE(std::string(row.variable) + "=" + row.level);
    ToolSetting setting;
    setting.environment = {{row.variable, row.level}};
    const ChildResult result = replay({pages(small_page(1))}, "talks", setting);
    for (size_t i = 0; i < lines.size(); ++i) {
      EXPECT_EQ(has(result.standard_error, lines[i]), i < row.shown) << lines[i];
    }
  }
}

TEST_F(ReplayScriptTest, NothingIsSentWhenAnInputIsMissing) {
  const std::string good = pages(small_page(1));
  const ChildResult result = replay({good, dir_.file("none.bin")});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_EQ(result.standard_error, "vektool: error: " + dir_.file("none.bin") +
                                       ": cannot be opened: No such file or directory\n");
  EXPECT_FALSE(std::filesystem::exists(dir_.file("calls")));
}

TEST_F(ReplayScriptTest, ADirectoryInPlaceOfPagesIsNamed) {
  const ChildResult result = replay({dir_.path()});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_TRUE(has(result.standard_error, dir_.path() + ": is a directory, not a page file"));
}

TEST_F(ReplayScriptTest, MissingDirectoriesAndDocumentsAreNamed) {
  const std::string good = pages(small_page(1));
  std::filesystem::remove_all(dir_.file("schemas"));
  ChildResult result = replay({good});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_TRUE(has(result.standard_error, dir_.file("schemas") + ": is no directory"));
  result = replay({"--type-system", dir_.file("none.json"), good});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_TRUE(has(result.standard_error, "none.json: cannot be opened: No such file"));
  result = replay({"--type-system", dir_.write("bad.json", "{"), good});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_error, "bad.json: is no type system document"));
  std::filesystem::remove_all(dir_.file("config"));
  result = replay({good});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_TRUE(has(result.standard_error, dir_.file("config") + ": is no configuration directory"));
}

TEST_F(ReplayScriptTest, AConfigurationWithoutDestinationsIsWarnedOf) {
  std::filesystem::remove(dir_.file("config/a.exp"));
  const ChildResult result = replay({pages(small_page(1))});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_TRUE(has(result.standard_error, "vektool: warning: " + dir_.file("config") +
                                             ": holds no .exp file, so there is no destination"));
}

TEST_F(ReplayScriptTest, RecordedPaceKeepsTheTimesOfThePages) {
  const std::string file = pages(small_page(1, 5'000'000) + small_page(2, 5'200'000) +
                                 small_page(3, 5'100'000) + small_page(4, 5'400'000));
  const auto timed = [&](const char* pace) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(replay({"--pace", pace, file}).exit_code, 0);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count();
  };
  EXPECT_GE(timed("recorded"), 0.4);
  EXPECT_EQ(calls().size(), 8u);
}

TEST_F(ReplayScriptTest, AnInterruptedRunStopsInOrderAndSaysSo) {
  const std::string file = pages(small_page(1, 1'000'000) + small_page(2, 60'000'000));
  ToolSetting setting;
  setting.environment = {{"VEK_SCRIPT_LOG", dir_.file("calls")}};
  const ChildResult result = run_shell(
      "\"$TOOL\" replay --pace recorded --plugin " VEK_SCRIPTED_PLUGIN_PATH " --config " +
          dir_.file("config") + " --schema-dir " + dir_.file("schemas") + " " + file +
          " & for i in $(seq 100); do grep -q ^page " + dir_.file("calls") +
          " 2>/dev/null && break; sleep 0.05; done; kill -TERM $!; wait $!; echo status $?",
      setting);
  EXPECT_EQ(result.standard_output, "status 5\n");
  EXPECT_TRUE(has(result.standard_error, "pages               1\n"));
  EXPECT_TRUE(has(result.standard_error, "interrupted: only the pages counted above were sent"));
  ASSERT_EQ(calls().size(), 5u);
  EXPECT_EQ(calls()[3], "disconnect");
  EXPECT_EQ(calls()[4], "destroy object");
}

TEST_F(ReplayScriptTest, ProgressShowsOnATerminalOnlyAndIsGoneAtTheEnd) {
  if (!can_open_terminal()) GTEST_SKIP() << "no pseudo-terminals here";
  const std::string file =
      pages(small_page(1, 1'000'000) + small_page(2, 1'250'000) + small_page(3, 1'500'000));
  ToolSetting setting;
  setting.environment = {{"VEK_SCRIPT_LOG", dir_.file("calls")}};
  const Words words{"replay",
                    "--plugin",
                    VEK_SCRIPTED_PLUGIN_PATH,
                    "--config",
                    dir_.file("config"),
                    "--schema-dir",
                    dir_.file("schemas"),
                    "--pace",
                    "recorded",
                    file};
  const std::string seen = run_tool_on_terminal(words, setting).standard_error;
  EXPECT_TRUE(has(seen, "\r\033[K[################........]  67%  2 pages, ")) << seen;
  const size_t last_bar = seen.rfind("pages/s");
  const size_t summary = seen.find("pages               3");
  ASSERT_NE(summary, std::string::npos);
  EXPECT_EQ(seen.substr(last_bar, summary - last_bar), "pages/s\r\r\033[K");
  // Ten updates a second at most: the bars of half a second.
  size_t bars = 0;
  for (size_t at = 0; (at = seen.find("pages/s", at)) != std::string::npos; ++at) ++bars;
  EXPECT_LE(bars, 7u);
  EXPECT_FALSE(has(run_tool(words, setting).standard_error, "pages/s"));
}

TEST_F(ReplayScriptTest, APipeCannotBeRepeatedUnderAnotherName) {
  const std::string file = pages(small_page(1));
  const ChildResult result = run_shell(
      "\"$TOOL\" replay --plugin " VEK_SCRIPTED_PLUGIN_PATH " --config " + dir_.file("config") +
      " --schema-dir " + dir_.file("schemas") + " --repeat 2 <(cat " + file + ")");
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_TRUE(has(result.standard_error, "is no regular file and can be read only once"));
}

TEST_F(ReplayScriptTest, ASpeedDividesTheRecordedPauses) {
  const std::string file = pages(small_page(1, 5'000'000) + small_page(2, 8'000'000));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(replay({"--speed", "10x", file}).exit_code, 0);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed.count(), 0.3);
  EXPECT_LT(elapsed.count(), 2.5);
}

TEST_F(ReplayScriptTest, ARateSpacesPagesEvenly) {
  const std::string file = pages(small_page(1) + small_page(2) + small_page(3) + small_page(4));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(replay({"--rate", "10", file}).exit_code, 0);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed.count(), 0.3);
}

TEST_F(ReplayScriptTest, FromAndToLeaveOtherTimesOut) {
  const std::string file = pages(small_page(1, 1'000'000) + small_page(2, 2'000'000) +
                                 small_page(3, 3'000'000) + image_of_no_time());
  const ChildResult result = replay({"--from", "1970-01-01T00:00:02Z", "--to", "3000000", file});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_TRUE(has(result.standard_error,
                  "pages               2\n"
                  "pages left out      2 (of other times)\n"))
      << result.standard_error;
  ASSERT_EQ(calls().size(), 6u);
  EXPECT_TRUE(has(calls()[2], " sum ")) << calls()[2];
}

TEST_F(ReplayScriptTest, ShiftedTimesBeginNowAndKeepTheirDistances) {
  const std::string file = pages(small_page(0, 1'000'000) + small_page(0, 1'500'000));
  const std::string other = pages(small_page(0, 1'000'000), "other.bin");
  EXPECT_EQ(replay({"--shift-time", "now", file}).exit_code, 0);
  const Words shifted = calls();
  ASSERT_EQ(shifted.size(), 6u);
  const auto time_of = [](const std::string& line) {
    return std::stoull(line.substr(line.find("time ") + 5));
  };
  const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
                       std::chrono::system_clock::now().time_since_epoch())
                       .count();
  EXPECT_NEAR(static_cast<double>(time_of(shifted[2])), static_cast<double>(now), 60e6);
  EXPECT_EQ(time_of(shifted[3]) - time_of(shifted[2]), 500'000u);
  // The file is as it was.
  EXPECT_EQ(read_file(file).substr(0, 744), read_file(other));
}

TEST_F(ReplayScriptTest, ALoopGoesOnUntilItIsInterruptedAndThatIsGood) {
  const std::string file = pages(small_page(1));
  ToolSetting setting;
  setting.environment = {{"VEK_SCRIPT_LOG", dir_.file("calls")}};
  const ChildResult result = run_shell(
      "\"$TOOL\" replay --loop --rate 100 --plugin " VEK_SCRIPTED_PLUGIN_PATH " --config " +
          dir_.file("config") + " --schema-dir " + dir_.file("schemas") + " " + file +
          " & for i in $(seq 100); do [ $(grep -c ^page " + dir_.file("calls") +
          " 2>/dev/null || echo 0) -ge 3 ] && break; sleep 0.05; done; kill -INT $!; wait $!; "
          "echo status $?",
      setting);
  EXPECT_EQ(result.standard_output, "status 0\n") << result.standard_error;
  EXPECT_GE(calls().size(), 7u);
}

TEST_F(ReplayScriptTest, ALoopOverNothingToSendEnds) {
  const std::string file = pages(small_page(1, 1'000'000));
  const ChildResult result = replay({"--loop", "--from", "2000000", file});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(calls().size(), 4u);
}

}  // namespace
}  // namespace vek::test
