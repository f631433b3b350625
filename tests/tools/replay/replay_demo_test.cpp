// Replays through the built plug-in and the built engine.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>

#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

using Words = std::vector<std::string>;

size_t count_lines(const std::string& text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class ReplayDemoTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    demo_ = new TempDir;
    ASSERT_EQ(run_tool({"generate", "--output", demo_->file("d"), "--pages", "60"}).exit_code, 0);
  }
  static void TearDownTestSuite() { delete demo_; }

  static std::string demo(const std::string& name) { return demo_->file("d/" + name); }

  static Words replay_words(const std::string& config, const Words& more) {
    Words words{"replay", "--plugin", VEK_PLUGIN_PATH, "--config", config};
    words.insert(words.end(), more.begin(), more.end());
    return words;
  }

  // A configuration that prints records as they stand.
  std::string printing_config() {
    dir_.write("print/p.exp", "plugin_name = stdout_raw\n");
    return dir_.file("print");
  }

  static TempDir* demo_;
  TempDir dir_;
};

TempDir* ReplayDemoTest::demo_ = nullptr;

TEST_F(ReplayDemoTest, DemonstrationRecordsReachEveryDestination) {
  const ChildResult result =
      run_tool(replay_words(demo("config"), {"--schema-dir", demo("schemas"), demo("pages.bin")}));
  ASSERT_EQ(result.exit_code, 0) << result.standard_error;
  EXPECT_EQ(result.standard_output, "");
  const std::string all = read_file(demo("records/all-counters.json"));
  const std::string events = read_file(demo("records/events.json"));
  EXPECT_TRUE(
      has(result.standard_error,
          "records offered     " + std::to_string(count_lines(all) + count_lines(events)) + "\n"));
  EXPECT_FALSE(has(all, "\"type\":\"events\""));
  EXPECT_FALSE(has(events, "\"type\":\"counters\""));
  for (const char* problem : {"[error]", "[warning]"}) {
    EXPECT_FALSE(has(result.standard_error, problem)) << result.standard_error;
  }
  EXPECT_TRUE(has(all, "\"source\":\"spine01.core\""));
  EXPECT_TRUE(has(all, "\"firmware_version\":\"4.12."));
  EXPECT_TRUE(has(all, "\"port_guid\":\"0x2005efffe0000"));
  const std::string some = read_file(demo("records/port-traffic.json"));
  EXPECT_GT(count_lines(some), 20u);
  EXPECT_LT(count_lines(some), count_lines(all));
  EXPECT_TRUE(has(some, "\"received_bytes\":"));
  EXPECT_TRUE(has(some, "\"site\":\"lab1\""));
  EXPECT_TRUE(has(some, "\"GUID\":\"0x"));
  EXPECT_TRUE(has(some, "\"source\":\"bench-node\""));  // no tag, let in by "counters"
  EXPECT_FALSE(has(some, "spine01"));
  EXPECT_FALSE(has(some, "hall-b"));
}

// What a line of events.json looks like, by type: its keys, in order, and what they hold.
std::map<std::string, std::regex> shapes_of_events() {
  const std::string head = R"re(\[[0-9.]+,\{"timestamp":([0-9]+),"type":"events","type_name":")re";
  const std::string middle = R"re(","source":"(?:fabric-manager|spine01\.core)","site":"lab1",)re";
  const std::string number = "-?[0-9]+(?:\\.[0-9]+)?(?:e-[0-9]+)?";
  const std::string link =
      head + R"re(link_state_change","source":"(0x2005efffe0000[0-9a-f]{2})",)re"
             R"re("reported_at_us":\1,"port_guid":"\2","site":"lab1","port\.guid":[0-9]{18},)re"
             R"re("port\.number":[0-9]+,"up":(?:true|false),"reason":"[a-z ]+"\}\])re";
  const std::string alarm = head + "alarm" + middle +
                            R"re("code":[0-9]{4},"severity":[123],"value":)re" + number +
                            R"re(,"ports\.0":[0-9]+,"ports\.1":[0-9]+,"message":"[a-z ]+"\}\])re";
  const std::string process = head + "process_start" + middle +
                              R"re("started_at":[0-9]{16},"pid":[0-9]+,"parent_pid":[0-9]+,)re"
                              R"re("user_id":[0-9]+,"command":"[^"]+"\}\])re";
  const std::string health = head + "kelvra_smi_event_health" + middle +
                             R"re("device":[0-7],"temperature":[0-9]+,)re" +
                             R"re("power_watts":)re" + number +
                             R"re((?:,"throttle_reason":"[^"]+")?(?:,"last_error":"[^"]+")?\}\])re";
  return {{"link_state_change", std::regex(link)},
          {"alarm", std::regex(alarm)},
          {"process_start", std::regex(process)},
          {"kelvra_smi_event_health", std::regex(health)}};
}

TEST_F(ReplayDemoTest, EventsLeaveAsTheFieldSetFileSays) {
  const ChildResult result = run_tool(
      replay_words(demo("config"), {"--type-system", demo("type_system.json"), demo("pages.bin")}));
  ASSERT_EQ(result.exit_code, 0) << result.standard_error;
  const std::map<std::string, std::regex> shapes = shapes_of_events();
  const std::regex type_name(R"re("type_name":"(\w+)")re");
  std::map<std::string, int> counts;
  std::istringstream lines(read_file(demo("records/events.json")));
  for (std::string line; std::getline(lines, line);) {
    std::smatch type;
    ASSERT_TRUE(std::regex_search(line, type, type_name)) << line;
    ASSERT_EQ(shapes.count(type[1]), 1u) << line;
    EXPECT_TRUE(std::regex_match(line, shapes.at(type[1]))) << line;
    ++counts[type[1]];
  }
  EXPECT_EQ(counts.size(), shapes.size());
}

TEST_F(ReplayDemoTest, BothWaysToTheSchemasGiveTheSameRecords) {
  const std::string config = printing_config();
  const ChildResult by_dir =
      run_tool(replay_words(config, {"--schema-dir", demo("schemas"), demo("pages.bin")}));
  const ChildResult by_document = run_tool(
      replay_words(config, {"--type-system", demo("type_system.json"), demo("pages.bin")}));
  EXPECT_EQ(by_dir.exit_code, 0) << by_dir.standard_error;
  EXPECT_GT(count_lines(by_dir.standard_output), 60u);
  EXPECT_TRUE(has(by_dir.standard_output, "\"type_name\":\"alarm\""));
  EXPECT_TRUE(has(by_dir.standard_output, "\"type_name\":\"process_start\""));
  EXPECT_EQ(by_dir.standard_output, by_document.standard_output);
}

TEST_F(ReplayDemoTest, StandardInputGivesTheSameRecordsAsTheFile) {
  const std::string config = printing_config();
  const std::string command = "\"$TOOL\" replay --plugin " VEK_PLUGIN_PATH " --config " + config +
                              " --schema-dir " + demo("schemas") + " ";
  const ChildResult from_file = run_shell(command + demo("pages.bin"));
  const ChildResult from_pipe = run_shell("cat " + demo("pages.bin") + " | " + command + "-");
  EXPECT_EQ(from_pipe.exit_code, 0) << from_pipe.standard_error;
  EXPECT_EQ(from_pipe.standard_output, from_file.standard_output);
}

TEST_F(ReplayDemoTest, RecordsBeforeADamagedPageArrive) {
  const std::string whole = read_file(demo("pages.bin"));
  const std::string cut = dir_.write("cut.bin", whole.substr(0, whole.size() - 100));
  const ChildResult result =
      run_tool(replay_words(printing_config(), {"--schema-dir", demo("schemas"), cut}));
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_TRUE(has(result.standard_error, cut + ": page 60 at byte ")) << result.standard_error;
  EXPECT_GT(count_lines(result.standard_output), 55u);
}

TEST_F(ReplayDemoTest, AMissingEngineIsExplained) {
  ToolSetting setting;
  setting.environment = {
      {"FLUENT_BIT_EXPORT_API_SO", ""}, {"LD_LIBRARY_PATH", ""}, {"VEK_ROOT", dir_.path()}};
  const ChildResult result = run_tool(
      replay_words(demo("config"), {"--schema-dir", demo("schemas"), demo("pages.bin")}), setting);
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_TRUE(has(result.standard_error, "set FLUENT_BIT_EXPORT_API_SO to the path of"));
  EXPECT_TRUE(has(result.standard_error, "Failed to init enabled exporters"));
}

TEST_F(ReplayDemoTest, ADestinationThatCannotBeMadeMeansNotEverythingWasDelivered) {
  dir_.write("config/x.exp", "plugin_name = no_such_output\n");
  const ChildResult result = run_tool(
      replay_words(dir_.file("config"), {"--schema-dir", demo("schemas"), demo("pages.bin")}));
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_TRUE(has(result.standard_error, "[Fluent Bit Exporter] cannot initialize API"));
}

TEST_F(ReplayDemoTest, DictionariesLeaveThroughTheOutputThatTakesThem) {
  const ChildResult result = run_tool(
      replay_words(demo("streams"), {"--schema-dir", demo("schemas"), demo("streams.bin")}));
  ASSERT_EQ(result.exit_code, 0) << result.standard_error;
  for (const char* problem : {"[error]", "[warning]"}) {
    EXPECT_FALSE(has(result.standard_error, problem)) << result.standard_error;
  }
  const std::string& out = result.standard_output;
  const std::regex dictionary(
      R"re(\[1767225[0-9]{3}\.[0-9]+,\{"host":"trainer0[12]","job":"nightly-1[78]","command":)re"
      R"re("python3 -m train [^"]+","step":[0-9]+,"loss":1?[0-9.]+,"checkpointed":(true|false),)re"
      R"re("error":null,"accelerators":\[(\{"index":[012],"watts":[0-9.]+,"degrees":[0-9]+\},?){3}\],)re"
      R"re("seconds":\{"load":[0-9.]+,"forward":[0-9.]+,"backward":[0-9.]+\},"warnings":\[[^\]]*\]\}\])re");
  const std::regex aggregated(
      R"re(\[1767225[0-9]{3}\.[0-9]+,\{"source":"aggregator","window_seconds":10,)re"
      R"re("pages_seen":[0-9]+,"busiest":\[("leaf0[1-8]\.hall-[abc]",?){3}\]\}\])re");
  std::istringstream lines(out);
  int dictionaries = 0;
  std::string records;
  for (std::string line; std::getline(lines, line);) {
    if (!std::regex_match(line, dictionary)) {
      EXPECT_TRUE(std::regex_match(line, aggregated)) << line;
      records += line + "\n";
    } else {
      ++dictionaries;
    }
  }
  EXPECT_EQ(dictionaries, 16);
  // A file takes no dictionaries, and every record that an aggregator made.
  EXPECT_EQ(count_lines(records), 8u);
  EXPECT_EQ(read_file(demo("records/aggregated.json")), records);
}

TEST_F(ReplayDemoTest, AClosedPipeBehindARecordPrintingDestinationEndsTheRunQuietly) {
  const std::string command = "\"$TOOL\" replay --plugin " VEK_PLUGIN_PATH " --config " +
                              printing_config() + " --schema-dir " + demo("schemas") +
                              " --repeat 100000 " + demo("pages.bin");
  for (const char* inherited : {"", "trap '' PIPE; "}) {
    SCOPED_TRACE(inherited);
    const ChildResult result =
        run_shell(inherited + command + " | head -n 1 >/dev/null; echo ${PIPESTATUS[0]}");
    EXPECT_EQ(result.standard_output, "141\n");
    EXPECT_EQ(result.standard_error, "");
  }
}

TEST_F(ReplayDemoTest, EveryRecordPassesThroughAPipeToASlowReader) {
  const std::string command = "\"$TOOL\" replay --plugin " VEK_PLUGIN_PATH " --config " +
                              printing_config() + " --schema-dir " + demo("schemas") +
                              " --repeat 5 " + demo("pages.bin");
  const ChildResult result = run_shell(command + " | { sleep 0.5; cat; } | wc -l");
  const ChildResult once = run_shell(command + " > " + dir_.file("out"));
  EXPECT_EQ(once.exit_code, 0);
  EXPECT_EQ(result.standard_output,
            std::to_string(count_lines(read_file(dir_.file("out")))) + "\n");
}

}  // namespace
}  // namespace vek::test
