#include "tools/generate.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "counters/counter_set.h"
#include "data/md5.h"
#include "data/type_system.h"
#include "json/json_owned.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"
#include "tools/demo_pages.h"
#include "tools/page_file.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

using test::ChildResult;
using test::LogCapture;
using test::read_file;
using test::run_tool;
using test::TempDir;

namespace fs = std::filesystem;
using Schema = Owned<vek_counters_schema_t, vek_destroy_counters_schema>;

class GenerateTest : public testing::Test {
 protected:
  std::string make(const std::string& name, const std::vector<std::string>& more = {}) {
    std::vector<std::string> words{"generate", "--output", dir_.file(name)};
    words.insert(words.end(), more.begin(), more.end());
    result_ = run_tool(words);
    EXPECT_EQ(result_.exit_code, 0) << result_.standard_error;
    return dir_.file(name);
  }

  static std::map<std::string, std::string> files(const std::string& dir) {
    std::map<std::string, std::string> contents;
    for (const auto& entry : fs::recursive_directory_iterator(dir)) {
      const std::string path = entry.path().string();
      if (entry.is_regular_file()) contents[path.substr(dir.size() + 1)] = read_file(path);
    }
    return contents;
  }

  static std::string schema_path(const std::string& dir) {
    for (const auto& entry : fs::directory_iterator(dir + "/schemas")) return entry.path();
    return {};
  }

  TempDir dir_;
  ChildResult result_;
};

TEST_F(GenerateTest, SaysWhatItMadeAndFromWhichSeed) {
  const std::string out = make("d", {"--seed", "42", "--pages", "12"});
  const std::string& text = result_.standard_output;
  EXPECT_EQ(text.find("seed 42: 12 pages, "), 0u) << text;
  for (const auto& [name, contents] : files(out)) {
    EXPECT_NE(text.find(fs::canonical(out).string() + "/" + name), std::string::npos) << name;
  }
  EXPECT_EQ(result_.standard_error, "");
}

TEST_F(GenerateTest, TheSameSeedGivesTheSameBytes) {
  const auto first = files(make("d", {"--seed", "7"}));
  fs::remove_all(dir_.file("d"));
  EXPECT_EQ(files(make("d", {"--seed", "7"})), first);
  fs::remove_all(dir_.file("d"));
  const auto other = files(make("d", {"--seed", "8"}));
  EXPECT_NE(other.at("pages.bin"), first.at("pages.bin"));
  EXPECT_EQ(other.at("type_system.json"), first.at("type_system.json"));
}

TEST_F(GenerateTest, PagesDoNotDependOnTheDirectoryAndFewerAreAPrefix) {
  const std::string many = files(make("a", {"--pages", "20"})).at("pages.bin");
  const std::string few = files(make("b", {"--pages", "5"})).at("pages.bin");
  EXPECT_EQ(many.substr(0, few.size()), few);
}

TEST_F(GenerateTest, TheSchemaFileIsNamedAfterItsMd5) {
  const std::string path = schema_path(make("d"));
  std::array<uint8_t, 16> digest{};
  std::array<char, 33> text{};
  ASSERT_TRUE(vek_get_schema_id_from_pretty_json_string(read_file(path).c_str(), digest.data()));
  vek_schema_id_to_schema_string(digest.data(), text.data());
  EXPECT_EQ(fs::path(path).filename(), std::string("schema_") + text.data() + ".json");

  const Schema schema(
      vek_counters_load_schema_from_dir(digest.data(), (dir_.file("d") + "/schemas").c_str()));
  ASSERT_NE(schema, nullptr);
  std::array<uint8_t, 16> again{};
  ASSERT_TRUE(vek_calc_counters_schema_id(again.data(), schema.get()));
  EXPECT_EQ(again, digest);
}

TEST_F(GenerateTest, TheTypeSystemHoldsTheSameSchema) {
  const std::string out = make("d");
  const Owned<vek_type_system_t, vek_destroy_type_system> type_system(
      vek_type_system_deserialize(read_file(out + "/type_system.json").c_str()));
  ASSERT_NE(type_system, nullptr);
  const JsonText text(vek_counters_schema_serialize(type_system->counters_schema));
  EXPECT_EQ(std::string(text.get()), read_file(schema_path(out)));
}

TEST_F(GenerateTest, TheSchemaHasAHundredCountersOfEveryKindInThreeGroups) {
  const Schema schema(vek_counters_schema_load(schema_path(make("d")).c_str()));
  ASSERT_NE(schema, nullptr);
  EXPECT_EQ(schema->num_groups, 3u);
  EXPECT_EQ(vek_counters_schema_number_of_counters(schema.get()), 100u);
  std::map<uint32_t, int> kinds;
  std::map<std::string, int> names;
  for (uint32_t g = 0; g < schema->num_groups; ++g) {
    for (uint32_t c = 0; c < schema->groups[g]->num_counters; ++c) {
      const vek_counter_info_t& counter = *schema->groups[g]->counters[c];
      ++kinds[counter.data_type];
      ++names[counter.name];
    }
  }
  for (uint32_t kind = VEK_DATA_TYPE_UINT64; kind <= VEK_DATA_TYPE_STRING; ++kind) {
    EXPECT_GT(kinds[kind], 0) << vek_data_type_string(kind);
  }
  EXPECT_EQ(names.size(), 100u) << "names repeat";
  EXPECT_EQ(names.count("port_guid"), 1u);
  EXPECT_EQ(names.count("firmware_version"), 1u);
}

TEST_F(GenerateTest, PagesComeFromSeveralSourcesSomeWithSeveralBlocksSomeWithoutTag) {
  const std::string out = make("d");
  PageFile file;
  ASSERT_TRUE(file.open(out + "/pages.bin"));
  std::map<std::string, int> sources;
  std::map<std::string, int> tags;
  int pages = 0;
  int batches = 0;
  PageFile::Result result = PageFile::Result::kPage;
  while ((result = file.next()) == PageFile::Result::kPage) {
    const vek_data_page_t page = *file.page();
    ++pages;
    ++sources[page.data_source.source_id];
    ++tags[page.data_source.tag];
    EXPECT_LE(page.filled, page.total);
    if (page.block_size != 0 && page.filled - 720 > 2 * page.block_size) ++batches;
  }
  EXPECT_EQ(result, PageFile::Result::kEnd) << file.problem();
  EXPECT_EQ(pages, 300);
  EXPECT_EQ(sources.size(), 5u);
  EXPECT_EQ(tags.size(), 4u);
  EXPECT_GT(tags[""], 10);
  EXPECT_GT(batches, 10);
}

TEST_F(GenerateTest, TheCounterSetFileSelectsAndRenames) {
  const std::string out = make("d");
  const Schema schema(vek_counters_schema_load(schema_path(out).c_str()));
  const LogCapture log;
  const std::string file = out + "/config/port-traffic.cset";
  const Owned<vek_counter_set_t, vek_free_counter_set> set(
      vek_schema_to_counter_set(schema.get(), file.c_str()));
  ASSERT_NE(set, nullptr);
  EXPECT_TRUE(log.errors().empty());
  EXPECT_TRUE(log.warnings().empty());
  EXPECT_EQ(set->num_shown_meta, 3u);
  std::map<std::string, bool> exported;
  for (uint64_t i = 0; i < set->num_counters; ++i) {
    exported[set->counters[i].name] = set->skip[i] == 0;
  }
  EXPECT_TRUE(exported["received_bytes"]);
  EXPECT_TRUE(exported["rx_discards"]);
  EXPECT_TRUE(exported["firmware"]);
  EXPECT_TRUE(exported["port_guid"]);
  EXPECT_FALSE(exported["rx_prio0_packets"]);
  EXPECT_FALSE(exported["rx_multicast_packets"]);
  EXPECT_FALSE(exported["temperature_cpu"]);
  EXPECT_EQ(exported.count("rx_bytes"), 0u);
  EXPECT_GT(set->num_exported, 15u);
  EXPECT_LT(set->num_exported, 50u);
}

TEST_F(GenerateTest, TheConfigurationNamesItsFilesByAbsolutePaths) {
  const std::string out = fs::canonical(make("d")).string();
  const std::string exp = read_file(out + "/config/port-traffic.exp");
  EXPECT_NE(exp.find("counterset = " + out + "/config/port-traffic.cset\n"), std::string::npos);
  EXPECT_NE(exp.find("plugin_path = " + out + "/records\n"), std::string::npos);
  EXPECT_NE(exp.find("source_tag = hall_a,counters\n"), std::string::npos);
  EXPECT_EQ(read_file(out + "/config/all-counters.exp").find("counterset"), std::string::npos);
}

TEST_F(GenerateTest, RefusesADirectoryThatIsInUseUnlessForced) {
  dir_.write("used/precious.txt", "keep me");
  const std::vector<std::string> words{"generate", "--output", dir_.file("used")};
  const ChildResult refused = run_tool(words);
  EXPECT_EQ(refused.exit_code, 4);
  EXPECT_EQ(refused.standard_error, "vektool: error: " + dir_.file("used") +
                                        ": is there already and not an empty directory; --force "
                                        "writes into it\n");
  EXPECT_EQ(files(dir_.file("used")).size(), 1u);
  make("used", {"--force"});
  EXPECT_EQ(read_file(dir_.file("used/precious.txt")), "keep me");
  EXPECT_EQ(files(dir_.file("used")).count("pages.bin"), 1u);
}

TEST_F(GenerateTest, RefusesPathsThatExporterFilesCannotExpress) {
  for (const char* name : {"with#hash", "with=sign"}) {
    const ChildResult result = run_tool({"generate", "--output", dir_.file(name)});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_NE(result.standard_error.find("which exporter files cannot express"), std::string::npos);
  }
  const ChildResult long_path =
      run_tool({"generate", "--output", dir_.file(std::string(120, 'x'))});
  EXPECT_EQ(long_path.exit_code, 4);
  EXPECT_NE(long_path.standard_error.find("the path is too long"), std::string::npos);
}

TEST_F(GenerateTest, SaysWhyADirectoryCannotBeMade) {
  const std::string file = dir_.write("file", "");
  const ChildResult result = run_tool({"generate", "--output", file + "/below"});
  EXPECT_EQ(result.exit_code, 4);
  EXPECT_EQ(result.standard_error,
            "vektool: error: " + file + "/below: cannot be made: Not a directory\n");
}

// A device's values as its samples go by.
class DemoSourceTest : public testing::Test {
 protected:
  DemoSourceTest() : groups_(demo_groups()), schema_(demo_counters_schema(groups_)) {}

  template <typename T>
  T value(const DemoSource& source, const char* name) {
    const vek_counter_info_t* counter =
        vek_counters_schema_get_counter_by_name(schema_.get(), name);
    T out{};
    EXPECT_TRUE(ByteReader(source.values()).read(counter->offset, out));
    return out;
  }

  std::vector<DemoGroup> groups_;
  OwnedCountersSchema schema_;
};

TEST_F(DemoSourceTest, SumsRiseTemperaturesStayPlausibleTextsStay) {
  DemoSource source(3, 1, groups_, *schema_);
  auto bytes = value<uint64_t>(source, "rx_bytes");
  auto uptime = value<uint64_t>(source, "uptime_seconds");
  for (int second = 0; second < 500; ++second) {
    source.advance();
    const auto more = value<uint64_t>(source, "rx_bytes");
    ASSERT_GT(more, bytes);
    ASSERT_LE(more - bytes, 14'000'000'000u);  // a port's speed
    bytes = more;
    ASSERT_EQ(value<uint64_t>(source, "uptime_seconds"), ++uptime);
    const auto degrees = value<double>(source, "temperature_asic");
    ASSERT_GT(degrees, 45.0);
    ASSERT_LT(degrees, 70.0);
    ASSERT_LT(value<int64_t>(source, "rx_power_mdbm"), -1000);
  }
  EXPECT_EQ(value<uint64_t>(source, "port_guid"), value<uint64_t>(source, "node_guid") + 1);
  const auto firmware = value<std::array<char, 24>>(source, "firmware_version");
  EXPECT_STREQ(firmware.data(), "4.12.1187");
}

}  // namespace
}  // namespace vek::tools
