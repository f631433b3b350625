// The ledger at the end of a replay, from the built engine and from one that misbehaves.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "data/page_writer.h"
#include "json/json.h"
#include "json/json_owned.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"

namespace vek::test {
namespace {

using Words = std::vector<std::string>;

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class ReplayLedgerTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    demo_ = new TempDir;
    ASSERT_EQ(run_tool({"generate", "--output", demo_->file("d"), "--pages", "40"}).exit_code, 0);
  }
  static void TearDownTestSuite() { delete demo_; }

  ChildResult replay(const std::string& config, const Words& more, ToolSetting setting = {}) {
    Words words{"replay", "--plugin",     VEK_PLUGIN_PATH,         "--config",
                config,   "--schema-dir", demo_->file("d/schemas")};
    words.insert(words.end(), more.begin(), more.end());
    words.push_back(demo_->file("d/pages.bin"));
    return run_tool(words, setting);
  }

  static ToolSetting telling(const std::string& ledger) {
    ToolSetting setting;
    setting.environment = {{"FLUENT_BIT_EXPORT_API_SO", VEK_LEDGER_ENGINE_PATH},
                           {"VEK_LEDGER", ledger}};
    return setting;
  }

  static std::string account(const std::string& numbers) {
    return R"([{"name":"n","output":"null","finalized":true,"account":{)" + numbers + "}}]";
  }

  static TempDir* demo_;
  TempDir dir_;
};

TempDir* ReplayLedgerTest::demo_ = nullptr;

TEST_F(ReplayLedgerTest, NamesEachDestinationAsItsFileDoesAndBalances) {
  dir_.write("c/a.exp", "name = first\nplugin_name = null\n");
  dir_.write("c/b.exp", "name = off\nenable = 0\nplugin_name = null\n");
  dir_.write("c/c.exp", "name = second\nplugin_name = file\nplugin_path = " + dir_.path() +
                            "\nplugin_file = out\n");
  const ChildResult result = replay(dir_.file("c"), {"--json"});
  EXPECT_EQ(result.exit_code, 0) << result.standard_error;
  EXPECT_TRUE(has(result.standard_error, "  destination  output         in  delivered"));
  EXPECT_TRUE(has(result.standard_error, "\n  first        null "));
  EXPECT_TRUE(has(result.standard_error, "\n  second       file "));
  EXPECT_FALSE(has(result.standard_error, "  off  "));
  EXPECT_TRUE(has(result.standard_output, R"({"schema_version":1,"pages":40,)"));
  EXPECT_TRUE(has(result.standard_output, R"({"name":"first","output":"null","in":)"));
  EXPECT_TRUE(has(result.standard_output,
                  R"("dropped":{},"filtered":{},"mended":0,"retried":0,"balances":true})"));
  EXPECT_TRUE(has(result.standard_output, R"("all_delivered":true,)"));
}

// Offered = filtered + in, for every destination.
TEST_F(ReplayLedgerTest, SaysWhatEachDestinationFiltered) {
  dir_.write("c/a.exp", "name = all\nplugin_name = null\n");
  dir_.write("c/b.exp", "name = hall\nplugin_name = null\nsource_tag = hall_b\n");
  dir_.write("c/c.exp", "name = few\nplugin_name = null\nsource_tag = hall_b,events\nfieldset = " +
                            dir_.write("alarms", "[alarm]\ncode\n") + "\n");
  const ChildResult result = replay(dir_.file("c"), {"--json"});
  EXPECT_EQ(result.exit_code, 0) << result.standard_error;
  EXPECT_TRUE(has(result.standard_error, "\n    filtered as source_tag: "))
      << result.standard_error;
  const JsonValue root(json_parse_string(result.standard_output.c_str()));
  const JSON_Object* summary = json_value_get_object(root.get());
  const JSON_Array* destinations = json_object_get_array(summary, "destinations");
  ASSERT_EQ(json_array_get_count(destinations), 3u);
  const std::map<std::string, Words> reasons = {
      {"all", {}}, {"hall", {"source_tag"}}, {"few", {"source_tag", "not_exported"}}};
  for (size_t i = 0; i < reasons.size(); ++i) {
    const JSON_Object* destination = json_array_get_object(destinations, i);
    const JSON_Object* filtered = json_object_get_object(destination, "filtered");
    const Words& expected = reasons.at(json_object_get_string(destination, "name"));
    ASSERT_EQ(json_object_get_count(filtered), expected.size());
    double sum = json_object_get_number(destination, "in");
    EXPECT_GT(sum, 0);
    for (const std::string& reason : expected) {
      EXPECT_GT(json_object_get_number(filtered, reason.c_str()), 0) << reason;
      sum += json_object_get_number(filtered, reason.c_str());
    }
    EXPECT_EQ(sum, json_object_get_number(summary, "records_offered"));
  }
}

TEST_F(ReplayLedgerTest, TheJsonIsOneLineAndIntegersCanBeText) {
  dir_.write("c/a.exp", "plugin_name = null\n");
  const ChildResult result = replay(dir_.file("c"), {"--json", "--int64", "string"});
  EXPECT_EQ(result.standard_output.find('\n'), result.standard_output.size() - 1);
  EXPECT_TRUE(has(result.standard_output, R"({"schema_version":"1","pages":"40",)"));
}

TEST_F(ReplayLedgerTest, RecordsThatWereDroppedEndWithFive) {
  dir_.write("c/a.exp", "name = dead\nplugin_name = forward\nport = 1\nplugin_vek.grace = 0\n");
  const ChildResult result = replay(dir_.file("c"), {});
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_TRUE(has(result.standard_error, "    dropped as grace_over: ")) << result.standard_error;
  EXPECT_TRUE(has(result.standard_error, "vektool: error: dead: "));
  EXPECT_TRUE(has(result.standard_error, " records did not arrive\n"));
}

TEST_F(ReplayLedgerTest, RecordsThatWaitInTheSpoolAreNoLoss) {
  dir_.write("c/a.exp",
             "plugin_name = forward\nport = 1\nplugin_vek.grace = 0\n"
             "plugin_storage.path = " +
                 dir_.file("spool") + "\n");
  const ChildResult result = replay(dir_.file("c"), {"--json"});
  EXPECT_EQ(result.exit_code, 0) << result.standard_error;
  EXPECT_TRUE(has(result.standard_output, R"("delivered":0,"spooled":)"));
}

TEST_F(ReplayLedgerTest, ALedgerThatDoesNotBalanceEndsWithFive) {
  dir_.write("c/a.exp", "name = site\nplugin_name = null\n");
  const std::string lost = account(R"("accepted":9,"delivered":8,"dropped":{})");
  const ChildResult result = replay(dir_.file("c"), {}, telling(lost));
  EXPECT_EQ(result.exit_code, 5);
  EXPECT_TRUE(has(result.standard_error, "vektool: error: site: the ledger does not balance\n"))
      << result.standard_error;
  const std::string whole = account(R"("accepted":9,"delivered":9,"dropped":{})");
  EXPECT_EQ(replay(dir_.file("c"), {}, telling(whole)).exit_code, 0);
  const std::string queued = account(R"("accepted":9,"delivered":8,"queued":1,"dropped":{})");
  EXPECT_EQ(replay(dir_.file("c"), {}, telling(queued)).exit_code, 5);
}

TEST_F(ReplayLedgerTest, AnEngineWithoutALedgerIsSaid) {
  dir_.write("c/a.exp", "plugin_name = null\n");
  ToolSetting setting;
  setting.environment = {{"FLUENT_BIT_EXPORT_API_SO", VEK_SCRIPTED_ENGINE_PATH}};
  const ChildResult result = replay(dir_.file("c"), {"--json"}, setting);
  EXPECT_TRUE(has(result.standard_error, "no ledger: ")) << result.standard_error;
  EXPECT_TRUE(has(result.standard_error, "keeps no ledger (raw_msgpack_api_ledger)"));
  EXPECT_TRUE(has(result.standard_output, R"("destinations":null})"));
}

}  // namespace
}  // namespace vek::test
