#include "tools/generate/demo_streams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "data/opaque_events_extractor.h"
#include "dict_reader/dict_event.h"
#include "dict_reader/dict_reader.h"
#include "exporter/fluent_aggr.h"
#include "tests/support/log_capture.h"
#include "tests/support/msgpack_json.h"
#include "tools/generate/demo_pages.h"

namespace vek::tools {
namespace {

const vek_data_page_t* page_of(const std::vector<uint8_t>& image) {
  return reinterpret_cast<const vek_data_page_t*>(image.data());
}

const vek_type_definition_t* only_type(void* type, const vek_schema_block_t*,
                                       const vek_event_header_t*) {
  return static_cast<const vek_type_definition_t*>(type);
}

// What an extractor finds, by source.
struct Census {
  int pieces = 0;  // payloads that came in chunks
  std::vector<std::string> records;
};

bool count_event(vek_opaque_events_extractor_recipient_ctx* context, const char*, const char*,
                 const vek_custom_options* options, const unsigned char*, unsigned long,
                 unsigned long, const void* data, unsigned int size) {
  auto& census = *reinterpret_cast<Census*>(context);
  if (!options) return true;
  ++census.pieces;
  if (vek_dict_get(options, kFluentAggrTagOption)) {
    census.records.push_back(test::msgpack_to_text(data, size));
  }
  return true;
}

bool count_dictionary(dict_reader_user_ctx* context, const data_dict_message_t* message) {
  auto& times = *reinterpret_cast<std::map<std::string, std::vector<uint64_t>>*>(context);
  times[message->source_id].push_back(message->timestamp);
  return true;
}

class DemoStreamsTest : public testing::Test {
 protected:
  DemoStreamsTest() {
    lookup_.find_event_type = only_type;
    lookup_.context = const_cast<vek_type_definition_t*>(schema_.type());
  }

  unsigned char any_application_[VEK_APP_ID_SIZE] = {};
  const OpaqueEventSchema schema_{kDemoStreamEventSize};
  vek_exporter_schema_manager_t lookup_{};
  const DemoStreams streams_ = make_demo_streams(1);
  test::LogCapture log_{4};
};

TEST_F(DemoStreamsTest, TheSameSeedGivesTheSameBytes) {
  EXPECT_EQ(make_demo_streams(1).pages, streams_.pages);
  EXPECT_NE(make_demo_streams(2).pages, streams_.pages);
}

TEST_F(DemoStreamsTest, TheReaderMakesItsDictionaries) {
  std::map<std::string, std::vector<uint64_t>> times;
  data_dict_reader_user_t user = {count_dictionary, reinterpret_cast<dict_reader_user_ctx*>(&times),
                                  false, true};
  DataDictionaryReader reader(&user, any_application_, DataDictionaryReader::kTreeDecoder);
  for (const auto& page : streams_.pages) ASSERT_TRUE(reader.ReadPage(page_of(page), &lookup_));
  EXPECT_EQ(times.size(), 2u);
  uint64_t dictionaries = 0;
  for (const auto& [source, of_source] : times) {
    EXPECT_TRUE(std::is_sorted(of_source.begin(), of_source.end())) << source;
    EXPECT_GE(of_source.front(), DemoPages::kStartUs);
    dictionaries += of_source.size();
  }
  EXPECT_EQ(dictionaries, streams_.dictionaries);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(DemoStreamsTest, ValuesTravelInChunksAndDictionariesOverPagesThatTakeTurns) {
  EXPECT_GT(streams_.pages.size(), 3 * streams_.dictionaries);
  std::set<std::string> sources;
  int turns = 0;
  std::string last;
  for (const auto& page : streams_.pages) {
    EXPECT_LE(page.size(), kDemoStreamPageSize);
    const std::string source = page_of(page)->data_source.source_id;
    turns += source != last;
    last = source;
    sources.insert(source);
  }
  EXPECT_EQ(sources.size(), streams_.sources);
  EXPECT_GT(turns, 60);
}

TEST_F(DemoStreamsTest, TheAggregatorSendsRecordsThatAnEngineTakes) {
  Census census;
  const vek_opaque_events_extractor_recipient_t recipient = {
      count_event, nullptr, reinterpret_cast<vek_opaque_events_extractor_recipient_ctx*>(&census)};
  const Owned<vek_opaque_events_extractor_t, vek_opaque_events_extractor_delete> extractor(
      vek_opaque_events_extractor_create(kFluentAggrAppId.data(), &recipient));
  const vek_opaque_type_lookup_t types = {lookup_.find_event_type, lookup_.context};
  for (const auto& page : streams_.pages) {
    if (std::strcmp(page_of(page)->data_source.tag, kFluentAggrTag) != 0) continue;
    ASSERT_TRUE(
        vek_opaque_events_extractor_process_data_page(extractor.get(), page_of(page), &types));
  }
  EXPECT_EQ(census.records.size(), streams_.aggregated);
  ASSERT_FALSE(census.records.empty());
  EXPECT_NE(census.records[0].find("aggregator"), std::string::npos) << census.records[0];
}

}  // namespace
}  // namespace vek::tools
