// vektool preview: what leaves, why, and what changes.
#include "tools/preview/preview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Words = std::vector<std::string>;

class PreviewTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    demo_ = new TempDir;
    ASSERT_EQ(run_tool({"generate", "--output", demo_->file("d"), "--pages", "40"}).exit_code, 0);
  }
  static void TearDownTestSuite() { delete demo_; }
  static std::string demo(const std::string& name) { return demo_->file("d/" + name); }

  static ChildResult preview(const Words& more, const std::string& config = demo("config")) {
    Words words{"preview", "--config", config, "--schema-dir", demo("schemas")};
    words.insert(words.end(), more.begin(), more.end());
    return run_tool(words);
  }

  // The records of one destination, as they stand behind its name.
  static std::string records_of(const std::string& text, const std::string& name) {
    std::istringstream lines(text);
    std::string out;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(name + ": ")) out += line.substr(name.size() + 2) + "\n";
    }
    return out;
  }

  static TempDir* demo_;
  TempDir dir_;
};

TempDir* PreviewTest::demo_ = nullptr;

TEST_F(PreviewTest, ShowsExactlyTheRecordsThatAReplayDelivers) {
  const ChildResult shown = preview({demo("pages.bin")});
  ASSERT_EQ(shown.exit_code, 0) << shown.standard_error;
  ASSERT_FALSE(std::filesystem::exists(demo("records/events.json")));  // nothing was sent
  ASSERT_EQ(run_tool({"replay", "--plugin", VEK_PLUGIN_PATH, "--config", demo("config"),
                      "--schema-dir", demo("schemas"), demo("pages.bin")})
                .exit_code,
            0);
  for (const char* name : {"all-counters", "events", "port-traffic"}) {
    const std::string sent = demo(std::string("records/") + name + ".json");
    EXPECT_EQ(records_of(shown.standard_output, name), read_file(sent)) << name;
    std::filesystem::remove(sent);
  }
  EXPECT_THAT(shown.standard_error, HasSubstr(" bytes, of 40 pages\n"));
}

TEST_F(PreviewTest, DictionariesAndAggregatedRecordsAreShownToo) {
  const ChildResult shown = preview({demo("streams.bin")}, demo("streams"));
  EXPECT_EQ(shown.exit_code, 0) << shown.standard_error;
  EXPECT_THAT(shown.standard_output, HasSubstr("dictionaries: [1767225600.011,{\"host\":"));
  EXPECT_THAT(shown.standard_output, HasSubstr("aggregated: [1767225600.05,{\"source\":"));
}

TEST_F(PreviewTest, ATypeSystemWorksAsWell) {
  const ChildResult by_system = run_tool({"preview", "--config", demo("config"), "--type-system",
                                          demo("type_system.json"), demo("pages.bin")});
  EXPECT_EQ(by_system.standard_output, preview({demo("pages.bin")}).standard_output);
}

TEST_F(PreviewTest, ALimitAndADestinationNarrowIt) {
  const ChildResult shown =
      preview({"--destination", "events", "--limit", "2", "--json", demo("pages.bin")});
  EXPECT_EQ(std::count(shown.standard_output.begin(), shown.standard_output.end(), '\n'), 2);
  EXPECT_THAT(
      shown.standard_output,
      StartsWith(R"({"schema_version":1,"destination":"events","output":"file","record":[)"));
}

TEST_F(PreviewTest, AnUnknownDestinationIsBadAndTheNearestIsNamed) {
  const ChildResult shown = preview({"--destination", "event", demo("pages.bin")});
  EXPECT_EQ(shown.exit_code, 1);
  EXPECT_THAT(shown.standard_error,
              HasSubstr("has no enabled destination 'event'; did you mean 'events'?"));
}

TEST_F(PreviewTest, ExplainsWhichLineOfWhichFileDidIt) {
  const ChildResult shown = preview({"--explain", "rx_bytes"});
  EXPECT_EQ(shown.exit_code, 0);
  EXPECT_EQ(records_of(shown.standard_output, "all-counters"), "counter rx_bytes leaves\n");
  EXPECT_THAT(shown.standard_output, HasSubstr("all-counters: counter rx_bytes leaves\n    no "
                                               "counter-set file, so all leave\n"));
  EXPECT_THAT(
      shown.standard_output,
      HasSubstr("port-traffic: counter rx_bytes leaves as received_bytes\n    " +
                demo("config/port-traffic.cset") + ":11: 'received_bytes=^rx_bytes$' takes it\n"));
  EXPECT_THAT(shown.standard_output,
              HasSubstr("events: counter rx_bytes does not leave: no line takes it\n"));
  // By the name at the receiver, too.
  EXPECT_THAT(preview({"--explain", "received_bytes"}).standard_output,
              StartsWith("port-traffic: counter rx_bytes leaves as received_bytes\n"));
}

TEST_F(PreviewTest, ExplainsShadowedExcludedAndRepeatedNames) {
  dir_.write("c/a.exp", "name = a\ncounterset = " + dir_.file("c/f") +
                            "\nfieldset = " + dir_.file("c/g") + "\n");
  dir_.write("c/f", "rx_\nmine=^rx_bytes$\n-rx_packets\nmeta_field_alias:rx_bytes=again\n");
  dir_.write("c/g", "[alarm]\nwhat=code\n^code$\n-code\n");
  const std::string counter = preview({"--explain", "rx_bytes"}, dir_.file("c")).standard_output;
  const std::string file = "    " + dir_.file("c/f");
  EXPECT_EQ(counter, "a: counter rx_bytes leaves, and as again\n" + file + ":1: 'rx_' takes it\n" +
                         file + ":2: 'mine=^rx_bytes$' would take it, but an earlier line did\n" +
                         file + ":3: '-rx_packets' would take it, but an earlier line did\n" +
                         file + ":4: 'meta_field_alias:rx_bytes=again' sends it once more\n");
  EXPECT_THAT(preview({"--explain", "rx_packets"}, dir_.file("c")).standard_output,
              HasSubstr(":3: '-rx_packets' excludes it\n"));
  const std::string field = preview({"--explain", "code"}, dir_.file("c")).standard_output;
  EXPECT_THAT(field, StartsWith("a: field alarm.code does not leave\n    " + dir_.file("c/g") +
                                ":2: 'what=code' takes it\n"));
  EXPECT_THAT(field, HasSubstr(":3: '^code$' would take it, but an earlier line did\n"));
  EXPECT_THAT(field, HasSubstr(":4: '-code' excludes it\n"));
}

TEST_F(PreviewTest, AnUnknownNameIsBadAndTheNearestIsNamed) {
  const ChildResult shown = preview({"--explain", "rx_bites"});
  EXPECT_EQ(shown.exit_code, 1);
  EXPECT_EQ(shown.standard_output, "");
  EXPECT_THAT(shown.standard_error,
              HasSubstr("no schema has a counter or field 'rx_bites'; did you mean 'rx_bytes'?"));
}

TEST_F(PreviewTest, UnmatchedListsWhatNoLineTakesAndNotWhatIsExcluded) {
  dir_.write("c/a.exp", "name = a\ncounterset = " + dir_.file("c/f") + "\n");
  dir_.write("c/f", "-rx_packets+none\nrx_bytes\n");
  const std::string shown = preview({"--unmatched"}, dir_.file("c")).standard_output;
  EXPECT_THAT(shown, HasSubstr("a: counter tx_bytes does not leave: no line takes it\n"));
  EXPECT_THAT(shown, Not(HasSubstr("counter rx_bytes ")));
  dir_.write("c/f", "-rx_packets\n");
  EXPECT_EQ(preview({"--unmatched"}, dir_.file("c")).standard_output, "");
}

TEST_F(PreviewTest, ADifferenceNamesFieldsAndCountsRecordsAndBytes) {
  dir_.write("old/a.exp", "name = a\ncounterset = " + dir_.file("old/f") + "\n");
  dir_.write("old/f", "in=^rx_bytes$\n^rx_packets$\n");
  dir_.write("old/b.exp", "name = b\n");
  dir_.write("new/a.exp", "name = a\ncounterset = " + dir_.file("new/f") + "\n");
  dir_.write("new/f", "bytes_in=^rx_bytes$\n^tx_packets$\n");
  const Words words{"preview",      "--diff",        dir_.file("old"), dir_.file("new"),
                    "--schema-dir", demo("schemas"), demo("pages.bin")};
  const ChildResult shown = run_tool(words);
  EXPECT_EQ(shown.exit_code, 0) << shown.standard_error;
  EXPECT_THAT(shown.standard_output,
              StartsWith("a:\n  ~ in -> bytes_in (counters)\n  - rx_packets (counters)\n"
                         "  + tx_packets (counters)\n  records "));
  EXPECT_THAT(shown.standard_output, HasSubstr("%), bytes "));
  EXPECT_THAT(shown.standard_output, HasSubstr("b: is gone\n"));
  Words json = words;
  json.emplace_back("--json");
  EXPECT_THAT(run_tool(json).standard_output,
              HasSubstr(R"("changes":[{"change":"renamed","from":"counters","old":"in",)"
                        R"("new":"bytes_in"},)"));
}

TEST_F(PreviewTest, ARetypedFieldIsSaid) {
  dir_.write("old/a.exp", "name = a\ncounterset = " + dir_.file("old/f") + "\n");
  dir_.write("old/f", "^rx_bytes$\nmeta_field_add:v=text\n");
  dir_.write("new/a.exp", "name = a\ncounterset = " + dir_.file("new/f") + "\n");
  dir_.write("new/f", "^rx_bytes$\nmeta_field_alias:rx_bytes=v\n");
  const ChildResult shown = run_tool({"preview", "--diff", dir_.file("old"), dir_.file("new"),
                                      "--schema-dir", demo("schemas"), demo("pages.bin")});
  EXPECT_THAT(shown.standard_output, HasSubstr("  ! v: text -> integer\n"));
}

TEST_F(PreviewTest, CostGrowsWithNodesAndShrinksWithTheInterval) {
  const auto cost = [&](const char* nodes, const char* interval) {
    return preview({"--destination", "events", "--cost", "--nodes", nodes, "--interval", interval,
                    demo("pages.bin")})
        .standard_output;
  };
  EXPECT_THAT(cost("1", "1s"), StartsWith("events: "));
  EXPECT_THAT(cost("1", "1s"), HasSubstr(" series\n"));
  EXPECT_EQ(cost("100", "1s"), cost("100", "1000ms"));
  const auto records = [](const std::string& text) { return std::stod(text.substr(8)); };
  EXPECT_NEAR(records(cost("10000", "10s")), records(cost("1000", "1s")), 1);
  EXPECT_NEAR(records(cost("10000", "1s")), 10 * records(cost("1000", "1s")), 10);
}

TEST_F(PreviewTest, DamageAndFailedPagesAreBad) {
  const std::string pages = read_file(demo("pages.bin"));
  const std::string cut = dir_.write("cut.bin", pages.substr(0, pages.size() - 1));
  ChildResult shown = preview({cut});
  EXPECT_EQ(shown.exit_code, 1);
  EXPECT_THAT(shown.standard_error, HasSubstr("cut.bin: page 40 at byte "));
  EXPECT_NE(shown.standard_output, "");
  shown = preview({dir_.file("none")});
  EXPECT_EQ(shown.exit_code, 4);
}

TEST_F(PreviewTest, PagesComeFromStandardInput) {
  ToolSetting setting;
  setting.stdin_path = demo("pages.bin");
  const ChildResult shown = run_tool(
      {"preview", "--config", demo("config"), "--schema-dir", demo("schemas"), "-"}, setting);
  EXPECT_EQ(shown.standard_output, preview({demo("pages.bin")}).standard_output);
}

TEST_F(PreviewTest, AClosedPipeEndsQuietly) {
  const ChildResult shown =
      run_shell("set -o pipefail; \"$TOOL\" preview --config " + demo("config") + " --schema-dir " +
                demo("schemas") + " " + demo("pages.bin") +
                " 2>/dev/null | head -1 >/dev/null; "
                "echo $?");
  EXPECT_EQ(shown.standard_output, "141\n");
}

}  // namespace
}  // namespace vek::test
