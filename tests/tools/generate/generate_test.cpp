#include "tools/generate/generate.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "counters/counter_set.h"
#include "data/md5.h"
#include "data/type_system.h"
#include "exporter/block_walk.h"
#include "field_set/field_set.h"
#include "json/json_owned.h"
#include "schema_manager/schema_manager.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"
#include "tests/tools/tool_runner.h"
#include "tools/generate/demo_pages.h"
#include "tools/pages/page_file.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

using test::ChildResult;
using test::LogCapture;
using test::read_file;
using test::run_tool;
using test::TempDir;

namespace fs = std::filesystem;
using TypeSystem = Owned<vek_type_system_t, vek_destroy_type_system>;
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

  // The file of the counters schema; the others are of events.
  static std::string schema_path(const std::string& dir) {
    for (const auto& entry : fs::directory_iterator(dir + "/schemas")) {
      if (read_file(entry.path()).find("counter_groups") != std::string::npos) return entry.path();
    }
    return {};
  }

  static TypeSystem type_system(const std::string& dir) {
    return TypeSystem(vek_type_system_deserialize(read_file(dir + "/type_system.json").c_str()));
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
  EXPECT_NE(other.at("streams.bin"), first.at("streams.bin"));
  EXPECT_EQ(other.at("type_system.json"), first.at("type_system.json"));
}

TEST_F(GenerateTest, PagesDoNotDependOnTheDirectoryAndFewerAreAPrefix) {
  const std::string many = files(make("a", {"--pages", "20"})).at("pages.bin");
  const std::string few = files(make("b", {"--pages", "5"})).at("pages.bin");
  EXPECT_EQ(many.substr(0, few.size()), few);
}

TEST_F(GenerateTest, EverySchemaFileIsNamedAfterItsMd5) {
  const std::string out = make("d");
  std::array<uint8_t, 16> digest{};
  int schemas = 0;
  for (const auto& entry : fs::directory_iterator(out + "/schemas")) {
    std::array<char, 33> text{};
    ASSERT_TRUE(
        vek_get_schema_id_from_pretty_json_string(read_file(entry.path()).c_str(), digest.data()));
    vek_schema_id_to_schema_string(digest.data(), text.data());
    EXPECT_EQ(entry.path().filename(), std::string("schema_") + text.data() + ".json");
    ++schemas;
  }
  EXPECT_EQ(schemas, 4);
}

TEST_F(GenerateTest, TheCountersSchemaLoadsByItsIdentifier) {
  const std::string path = schema_path(make("d"));
  std::array<uint8_t, 16> digest{};
  ASSERT_TRUE(vek_get_schema_id_from_pretty_json_string(read_file(path).c_str(), digest.data()));

  const Schema schema(
      vek_counters_load_schema_from_dir(digest.data(), (dir_.file("d") + "/schemas").c_str()));
  ASSERT_NE(schema, nullptr);
  std::array<uint8_t, 16> again{};
  ASSERT_TRUE(vek_calc_counters_schema_id(again.data(), schema.get()));
  EXPECT_EQ(again, digest);
}

TEST_F(GenerateTest, TheTypeSystemHoldsTheSameSchema) {
  const std::string out = make("d");
  const TypeSystem document = type_system(out);
  ASSERT_NE(document, nullptr);
  const JsonText text(vek_counters_schema_serialize(document->counters_schema));
  EXPECT_EQ(std::string(text.get()), read_file(schema_path(out)));
}

// A document's schemas get the digest of their element, a file's the digest of its content written
// again. Pages carry one identifier, so all of them must agree.
TEST_F(GenerateTest, EventsSchemasHaveOneIdentifierHoweverTheyAreRead) {
  const std::string out = make("d");
  const TypeSystem document = type_system(out);
  ASSERT_NE(document, nullptr);
  ASSERT_EQ(document->num_schemas, 3);
  SchemaManager manager;
  manager.setSchemaDir(out + "/schemas");
  for (uint8_t i = 0; i < document->num_schemas; ++i) {
    const vek_schema_t& in_document = *document->schemas[i];
    const data::SchemaId id(in_document.digest);
    EXPECT_TRUE(fs::exists(out + "/schemas/schema_" + id.str() + ".json")) << id.str();
    const std::shared_ptr<vek_schema_t> in_file = manager.getEventsSchema(id);
    ASSERT_NE(in_file, nullptr);
    EXPECT_EQ(data::SchemaId(in_file->digest).str(), id.str());
    EXPECT_STREQ(in_file->provider_name, in_document.provider_name);
    EXPECT_EQ(in_file->num_types, in_document.num_types);
  }
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
  EXPECT_EQ(sources.size(), 6u);
  EXPECT_EQ(tags.size(), 5u);
  EXPECT_GT(tags[""], 10);
  EXPECT_GT(batches, 10);
}

// What the blocks of all pages are, found by the document's schemas.
struct EventCensus {
  std::map<std::string, int> events;  // by type
  int pages_of_both = 0;              // with counters and events
  int pages_of_events = 0;
  int most_blocks = 0;  // events blocks of one page
};

void take_census(const vek_data_page_t& image, const vek_type_system_t& document,
                 EventCensus& census) {
  const PageView page(&image);
  BlockWalk walk(page);
  int counters = 0;
  int blocks = 0;
  BlockRecord record;
  while (walk.current(record)) {
    if (record.type == VEK_SCHEMAS_BLOCK) {
      ASSERT_TRUE(walk.advance_schemas_block(record));
      const Bytes ids = walk.last_schemas_block().subspan(VEK_BLOCK_HEADER_SIZE);
      ASSERT_EQ(ids.size(), size_t{kDemoEventSchemas} * VEK_SCHEMA_ID_SIZE);
      for (uint8_t i = 0; i < kDemoEventSchemas; ++i) {
        ASSERT_EQ(std::memcmp(ids.data() + size_t{i} * VEK_SCHEMA_ID_SIZE,
                              document.schemas[i]->digest, VEK_SCHEMA_ID_SIZE),
                  0);
      }
    } else if (record.type == VEK_EVENTS_BLOCK) {
      vek_event_header_t header;
      ASSERT_TRUE(ByteReader(record.bytes).read(0, header));
      ASSERT_LT(header.schema_index, document.num_schemas);
      const vek_schema_t& schema = *document.schemas[header.schema_index];
      ASSERT_LT(header.type_index, schema.num_types);
      const vek_type_definition_t& type = *schema.types[header.type_index];
      census.events[type.name] += header.count;
      ++blocks;
      const size_t length = sizeof(header) + header.count * type.size;
      ASSERT_LE(length, record.bytes.size());
      if (!walk.advance(length)) walk.end_block();
    } else {
      counters += record.type == VEK_COUNTERS_BLOCK;
      walk.end_block();
    }
  }
  census.pages_of_both += counters > 0 && blocks > 0;
  census.pages_of_events += counters == 0 && blocks > 0;
  census.most_blocks = std::max(census.most_blocks, blocks);
}

TEST_F(GenerateTest, EventsOfEveryTypeLieInPagesOfTheirOwnAndBesideCounters) {
  const std::string out = make("d");
  const TypeSystem document = type_system(out);
  ASSERT_NE(document, nullptr);
  PageFile file;
  ASSERT_TRUE(file.open(out + "/pages.bin"));
  EventCensus census;
  while (file.next() == PageFile::Result::kPage) {
    ASSERT_NO_FATAL_FAILURE(take_census(*file.page(), *document, census));
  }
  EXPECT_EQ(census.events.size(), 4u);
  int events = 0;
  for (const auto& [type, count] : census.events) {
    EXPECT_GT(count, 20) << type;
    events += count;
  }
  EXPECT_GT(census.pages_of_both, 10);
  EXPECT_GT(census.pages_of_events, 20);
  EXPECT_EQ(census.most_blocks, 4);
  EXPECT_NE(result_.standard_output.find(", " + std::to_string(events) + " events, "),
            std::string::npos)
      << result_.standard_output;
}

std::vector<std::string> fields_that_leave(const FieldSet& set, const vek_schema_t* schema,
                                           const DemoEventType& type) {
  std::vector<std::string> names;
  for (const field_t& field : set.getFields(schema, static_cast<uint8_t>(type.type))) {
    if (!field.skip) names.emplace_back(field.name);
  }
  return names;
}

TEST_F(GenerateTest, TheFieldSetFileSelectsAndRenames) {
  using Names = std::vector<std::string>;
  const std::string out = make("d");
  const TypeSystem document = type_system(out);
  ASSERT_NE(document, nullptr);
  const LogCapture log;
  FieldSet set;
  ASSERT_TRUE(set.initializeFromFile(document.get(), (out + "/config/events.fset").c_str()));
  EXPECT_TRUE(log.errors().empty());
  EXPECT_TRUE(log.warnings().empty());
  const vek_schema_t* fabric = document->schemas[kAlarm.schema];
  const vek_schema_t* host = document->schemas[kProcessStart.schema];
  EXPECT_EQ(fields_that_leave(set, fabric, kLinkStateChange),
            (Names{"port.guid", "port.number", "up", "reason"}));
  EXPECT_EQ(fields_that_leave(set, fabric, kAlarm),
            (Names{"code", "severity", "value", "ports.0", "ports.1", "message"}));
  EXPECT_EQ(fields_that_leave(set, host, kProcessStart),
            (Names{"started_at", "pid", "parent_pid", "user_id", "command"}));
  EXPECT_EQ(fields_that_leave(set, host, kDeviceHealth),
            (Names{"device", "temperature", "power_watts", "throttle_reason", "last_error"}));
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
  EXPECT_NE(read_file(out + "/streams/aggregated.exp").find("plugin_path = " + out + "/records\n"),
            std::string::npos);
  const std::string events = read_file(out + "/config/events.exp");
  EXPECT_NE(events.find("fieldset = " + out + "/config/events.fset\n"), std::string::npos);
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
