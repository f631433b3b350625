// The worked examples of docs/formats are what the code writes and reads.
#include <gtest/gtest.h>

#include <sstream>

#include "counters/counters_msgpack.h"
#include "data/opaque_events_writer.h"
#include "data/page_view.h"
#include "data/page_writer.h"
#include "data/type_system.h"
#include "field_set/field_set.h"
#include "tests/support/msgpack_json.h"
#include "tests/support/temp_dir.h"
#include "utils/owned.h"

namespace vek {
namespace {

using Dump = std::vector<uint8_t>;

constexpr uint64_t kTime = 1767225600500000;
constexpr char kSchema[] = R"({"version":"1.5.0","counter_groups":[{"granularity":"NODE",
  "num_counters":3,"num_counter_sets":1,"counters":[
  {"name":"rx_bytes","description":"","units":"","data_type":"UINT64","counting_type":"RUNNING_SUM"},
  {"name":"temperature","description":"","units":"","data_type":"FP64","counting_type":"ABSOLUTE"},
  {"name":"firmware_version","description":"","units":"","data_type":"STRING","length":8,
   "counting_type":"ABSOLUTE"}]}]})";

// The hexadecimal dumps of a page, in order: indented lines "[offset] bytes | comment"; "*" stands
// for lines like the one above it.
std::vector<Dump> dumps_of(const std::string& name) {
  std::istringstream text(test::read_file(std::string(VEK_SOURCE_DIR "/docs/formats/") + name));
  std::vector<Dump> dumps;
  bool inside = false;
  for (std::string line; std::getline(text, line);) {
    const size_t bar = line.find('|');
    const bool star = line == "    *";
    if (!star && (!line.starts_with("    ") || bar == std::string::npos)) {
      inside = false;
      continue;
    }
    if (!inside) dumps.emplace_back();
    inside = true;
    if (star) continue;
    std::istringstream words(line.substr(0, bar));
    Dump& dump = dumps.back();
    for (std::string word; words >> word;) {
      const unsigned long value = std::stoul(word, nullptr, 16);
      if (word.size() == 2) {
        dump.push_back(static_cast<uint8_t>(value));
        continue;
      }
      EXPECT_GE(value, dump.size()) << line;
      while (dump.size() < value) dump.push_back(dump[dump.size() - 16]);
    }
  }
  return dumps;
}

Dump identifier(bool upwards) {
  Dump id;
  for (int i = 0; i < 16; ++i) id.push_back(static_cast<uint8_t>(0x11 * (upwards ? i : 15 - i)));
  return id;
}

Dump example_page() {
  PageWriter page("leaf01", "hall_a");
  page.set_counters_schema_id(identifier(true).data());
  Dump values(24);
  const uint64_t bytes = 1'000'000;
  const double degrees = 51.5;
  std::memcpy(values.data(), &bytes, 8);
  std::memcpy(values.data() + 8, &degrees, 8);
  std::memcpy(values.data() + 16, "4.12", 4);
  page.counters_block(kTime, values);
  return page.finish();
}

TEST(FormatPages, ThePageExampleIsWhatTheWriterWrites) {
  const std::vector<Dump> dumps = dumps_of("page.md");
  ASSERT_EQ(dumps.size(), 3u);
  EXPECT_EQ(test::to_hex(dumps[0]), test::to_hex(example_page()));
}

TEST(FormatPages, TheSchemasAndEventsExamplesAreWhatTheWriterWrites) {
  const std::vector<Dump> dumps = dumps_of("page.md");
  ASSERT_EQ(dumps.size(), 3u);
  PageWriter page("", "");
  const std::vector<Dump> ids{identifier(true), identifier(false)};
  page.schemas_block(ids);
  page.events_block(kTime, 1, 3, 2, Dump{7, 0, 0, 0, 1, 0, 8, 0, 0, 0, 0, 0});
  const Dump image = page.finish();
  Dump both = dumps[1];
  both.insert(both.end(), dumps[2].begin(), dumps[2].end());
  EXPECT_EQ(test::to_hex(Dump(image.begin() + 720, image.end())), test::to_hex(both));
}

TEST(FormatPages, ThePageExampleReadsAsItIsDescribed) {
  const std::vector<Dump> dumps = dumps_of("page.md");
  ASSERT_FALSE(dumps.empty());
  const PageView view(reinterpret_cast<const vek_data_page_t*>(dumps[0].data()));
  EXPECT_EQ(view.version, 1);
  EXPECT_EQ(view.minor_version, 7);
  EXPECT_EQ(view.total, 760u);
  EXPECT_EQ(view.filled, 760u);
  EXPECT_EQ(view.block_size, 0u);
  EXPECT_EQ(view.source_text(), "leaf01");
  EXPECT_EQ(view.tag_text(), "hall_a");
  EXPECT_EQ(view.blocks.size(), 40u);
}

TEST(FormatRecords, TheRecordExamplesAreWhatThePageBecomes) {
  std::vector<Dump> dumps = dumps_of("records.md");
  ASSERT_EQ(dumps.size(), 4u);
  dumps.resize(2);  // the others are of events
  const Owned<vek_counters_schema_t, vek_destroy_counters_schema> schema(
      vek_counters_schema_deserialize(kSchema));
  ASSERT_NE(schema, nullptr);
  const Owned<vek_counter_set_t, vek_free_counter_set> set(
      vek_schema_to_counter_set(schema.get(), nullptr));
  const Dump page = example_page();
  const char* layouts[] = {"flb_std", "custom"};
  for (size_t i = 0; i < dumps.size(); ++i) {
    msgpack_sbuffer out{};
    vek_counter_block_to_msgpack_filtered(&out, page.data() + 720, set.get(), "leaf01", layouts[i]);
    EXPECT_EQ(test::to_hex(out.data, out.size), test::to_hex(dumps[i])) << layouts[i];
    std::free(out.data);
  }
}

TEST(FormatOpaqueEvents, TheExampleIsWhatTheWriterWrites) {
  const std::vector<Dump> dumps = dumps_of("opaque_events.md");
  ASSERT_EQ(dumps.size(), 1u);
  OpaqueEventsWriter writer({.source_id = "leaf01",
                             .tag = "hall_a",
                             .app_id = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16},
                             .event_size = 64,
                             .timestamp_us = kTime});
  const std::string payload = "telemetry, in pieces";
  ASSERT_TRUE(
      writer.extended(7, {5, 6}, {{"fmt", "txt"}},
                      Bytes(reinterpret_cast<const uint8_t*>(payload.data()), payload.size())));
  const std::vector<Dump> pages = writer.take_pages();
  ASSERT_EQ(pages.size(), 1u);
  EXPECT_EQ(test::to_hex(Bytes(pages[0]).subspan(720)), test::to_hex(dumps[0]));
}

TEST(FormatRecords, TheEventExamplesAreWhatThePagesEventBecomes) {
  const std::vector<Dump> dumps = dumps_of("records.md");
  ASSERT_EQ(dumps.size(), 4u);
  const Owned<vek_type_system_t, vek_destroy_type_system> types(vek_create_type_system());
  vek_schema_t* schema = vek_type_system_add_schema(types.get(), "provider", 1, nullptr);
  const vek_type_field_info_t fields[] = {{"port", "", "uint32_t", VEK_VALUE_ABSOLUTE, 1},
                                          {"up", "", "bool", VEK_VALUE_ABSOLUTE, 1},
                                          {"retries", "", "uint8_t", VEK_VALUE_ABSOLUTE, 1}};
  for (const char* name : {"a", "b", "c", "link_state_change"}) {
    ASSERT_EQ(vek_schema_add_type(schema, name, fields, 3, nullptr), 0);
  }
  vek_type_system_update_md5_hashes(types.get());
  FieldSet set;
  ASSERT_TRUE(set.initializeFromFile(types.get(), nullptr));

  PageWriter page("", "");
  const std::vector<Dump> ids{identifier(true), Dump(schema->digest, schema->digest + 16)};
  page.schemas_block(ids);
  const Dump image = page.finish();
  set.SaveLastSchemaBlock(reinterpret_cast<const vek_schema_block_t*>(image.data() + 720));
  const Dump block = dumps_of("page.md").at(2);
  vek_event_header_t header;
  ASSERT_GE(block.size(), sizeof(header) + 6);
  std::memcpy(&header, block.data(), sizeof(header));
  const char* layouts[] = {"flb_std", "custom"};
  for (size_t i = 0; i < std::size(layouts); ++i) {
    msgpack_sbuffer out{};
    set.MsgPackToSimpleBuffer(&out, block.data() + sizeof(header), &header, "leaf01", layouts[i]);
    EXPECT_EQ(test::to_hex(out.data, out.size), test::to_hex(dumps[2 + i])) << layouts[i];
    std::free(out.data);
  }
}

}  // namespace
}  // namespace vek
