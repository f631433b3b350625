#include "dict_reader/data_object.h"
#include "tests/dict_reader/stream_pages.h"
#include "tests/exporter/page_fixture.h"
#include "tests/support/fail_allocation.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class DictionaryPath : public PageTest {
 protected:
  DictionaryPath() {
    EXPECT_EQ(vek_type_system_add_schema_from_serialized_json(
                  type_system_.get(), pages_.writer.schema().document().c_str(), nullptr),
              0u);
    log_.clear();
  }

  void begin(StreamPages& pages) {
    pages.collection(1'700'000'000'500'000);
    pages.id(1, "host");
    pages.id(2, "load");
  }
  void write_dict(StreamPages& pages, double load, uint32_t key_id = kNoKeyId) {
    pages.dict(key_id);
    pages.string(1, "leaf01");
    pages.real(2, load);
    pages.end_dict();
  }
  bool exportAll(StreamPages& pages) {
    bool all = true;
    for (const Image& page : pages.writer.take_pages()) all &= exportPage(page, by_type_system_);
    return all;
  }

  StreamPages pages_{"agent", "dict_power"};
};

TEST_F(DictionaryPath, SendsADictionaryAsOneRecord) {
  begin(pages_);
  write_dict(pages_, 0.5);
  EXPECT_TRUE(exportAll(pages_));
  // [1700000000.5, {"host": "leaf01", "load": 0.5}]
  ASSERT_THAT(engine().records, SizeIs(1));
  EXPECT_EQ(to_hex(engine().records[0]),
            "92cb41d954fc40200000"
            "82"
            "a4686f7374a66c6561663031"
            "a46c6f6164cb3fe0000000000000");
  EXPECT_THAT(log_.errors(), IsEmpty());
  EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(DictionaryPath, KeepsWhatHasArrivedFromPageToPage) {
  begin(pages_);
  pages_.dict();
  EXPECT_TRUE(exportAll(pages_));
  EXPECT_THAT(records(), IsEmpty());
  pages_.real(2, 0.25);
  EXPECT_TRUE(exportAll(pages_));
  pages_.end_dict();
  EXPECT_TRUE(exportAll(pages_));
  EXPECT_THAT(records(), ElementsAre("[1700000000.5,{\"load\":0.25}]"));
}

TEST_F(DictionaryPath, SendsTheDictionariesOfARootListOneByOne) {
  begin(pages_);
  pages_.list();
  write_dict(pages_, 0.5);
  write_dict(pages_, 1.5);
  pages_.end_list();
  EXPECT_TRUE(exportAll(pages_));
  EXPECT_THAT(records(), ElementsAre("[1700000000.5,{\"host\":\"leaf01\",\"load\":0.5}]",
                                     "[1700000000.5,{\"host\":\"leaf01\",\"load\":1.5}]"));
}

TEST_F(DictionaryPath, InBatchModeSendsTheRootListAsOneRecord) {
  exporter_.setBatchMode(true);
  begin(pages_);
  pages_.list();
  write_dict(pages_, 0.5);
  write_dict(pages_, 1.5);
  pages_.end_list();
  EXPECT_TRUE(exportAll(pages_));
  EXPECT_THAT(records(), ElementsAre("[1700000000.5,[{\"host\":\"leaf01\",\"load\":0.5},"
                                     "{\"host\":\"leaf01\",\"load\":1.5}]]"));
}

TEST_F(DictionaryPath, SendsTheSameInBothLayouts) {
  exporter_.setMsgpackDataLayout("custom");
  log_.clear();
  begin(pages_);
  pages_.dict();
  pages_.end_dict();
  EXPECT_TRUE(exportAll(pages_));
  EXPECT_THAT(records(), ElementsAre("[1700000000.5,{}]"));
}

TEST_F(DictionaryPath, TakesPagesWhateverTheSourceTagsAre) {
  listTags({"another"});
  begin(pages_);
  write_dict(pages_, 1);
  EXPECT_TRUE(exportAll(pages_));
  EXPECT_THAT(records(), SizeIs(1));
}

TEST_F(DictionaryPath, TakesEventsOfEveryApplication) {
  StreamPages other({.source_id = "s", .tag = "dict_x", .app_id = {7, 7}, .event_size = 128});
  begin(other);
  write_dict(other, 1);
  EXPECT_TRUE(exportAll(other));
  EXPECT_THAT(records(), SizeIs(1));
}

TEST_F(DictionaryPath, FindsEventsThroughASchemaManagerToo) {
  OwnedTypeSystem announced(vek_create_type_system());
  ASSERT_EQ(vek_type_system_add_schema_from_serialized_json(
                announced.get(), pages_.writer.schema().document().c_str(), nullptr),
            0u);
  manager_.appendTypeSystem(std::shared_ptr<const vek_type_system_t>(std::move(announced)));
  begin(pages_);
  write_dict(pages_, 1);
  for (const Image& page : pages_.writer.take_pages()) {
    EXPECT_TRUE(exportPage(page, by_manager_));
  }
  EXPECT_THAT(records(), SizeIs(1));
}

TEST_F(DictionaryPath, DropsWhatComesBeforeACollectionAndThePageCounts) {
  write_dict(pages_, 1);
  EXPECT_TRUE(exportAll(pages_));
  EXPECT_THAT(records(), IsEmpty());
  EXPECT_THAT(log_.warnings(), SizeIs(4));
}

TEST_F(DictionaryPath, ReportsAPageThatFails) {
  begin(pages_);
  pages_.end_dict();
  EXPECT_FALSE(exportAll(pages_));
  EXPECT_THAT(log_.errors(),
              ElementsAre("[vek_dictionary_reader] 'dict end' event does not fit collected data",
                          "[opaque events extractor] Unable to handle a relevant opaque event",
                          "[opaque events extractor] events block processing failed",
                          "[Fluent bit Export] Could not export dictionary",
                          "[Fluent Bit Exporter] export for dictionary page failed"));
  EXPECT_FALSE(exporter_.exportDictionaryDataPage(nullptr, &by_type_system_));
}

TEST_F(DictionaryPath, ReportsARecordThatCannotBeSent) {
  exporter_.closeConnection();
  log_.clear();
  begin(pages_);
  write_dict(pages_, 1);
  EXPECT_FALSE(exportAll(pages_));
  EXPECT_THAT(log_.errors(),
              ElementsAre("[Fluent Bit Export] [exportMsgpackBuffer] Cannot send data",
                          "[Fluent bit Export] Cannot export msgpack buffer",
                          "[opaque events extractor] Unable to handle a relevant opaque event",
                          "[opaque events extractor] events block processing failed",
                          "[Fluent bit Export] Could not export dictionary",
                          "[Fluent Bit Exporter] export for dictionary page failed"));
  exporter_.connectToFlb();
  begin(pages_);
  write_dict(pages_, 2);
  EXPECT_TRUE(exportAll(pages_)) << "the next one goes out";
  EXPECT_THAT(records(), SizeIs(1));
}

TEST_F(DictionaryPath, ReportsADictionaryThatCannotBePacked) {
  data_dict_message_t message = {"s", "t", nullptr, 0};
  auto* const self = reinterpret_cast<dict_reader_user_ctx*>(&exporter_);
  EXPECT_FALSE(FluentBitExporter::onDataDictClb(self, &message));
  EXPECT_THAT(log_.errors(), ElementsAre("[msgpacker data dict] Got invalid data type",
                                         "[Fluent bit Export] Cannot build msgpack buffer"));
  EXPECT_THAT(records(), IsEmpty());
}

TEST_F(DictionaryPath, EmptiesTheMessageAndLeavesItToItsOwner) {
  auto* const root = new ContainerDataObject(nullptr, DATA_ITEM_LIST, false);
  root->AddDataObject(new LongDataObject(nullptr, 5, false));
  const Owned<data_dict_message_t, data_dict_message_destroy> message(
      data_dict_message_init("s", "t"));
  message->root = root;
  EXPECT_TRUE(exporter_.exportAndDeleteDataDict(message.get()));
  EXPECT_EQ(root->count(), 0u);
  EXPECT_THAT(records(), ElementsAre("[0.0,[5]]"));
}

TEST_F(DictionaryPath, RefusesNull) {
  data_dict_message_t message = {"s", "t", nullptr, 0};
  auto* const self = reinterpret_cast<dict_reader_user_ctx*>(&exporter_);
  EXPECT_FALSE(FluentBitExporter::onDataDictClb(nullptr, &message));
  EXPECT_FALSE(FluentBitExporter::onDataDictClb(self, nullptr));
  EXPECT_EQ(log_.errors(),
            std::vector<std::string>(2, "[Fluent bit Export] [onDataDictClb] Invalid input"));
}

TEST_F(DictionaryPath, SaysWhyThereIsNoReader) {
  if (!FailAllocation::available()) GTEST_SKIP() << "the sanitizer brings its own allocator";
  const std::vector<std::string> reasons[] = {
      {"Cannot allocate data_dict_reader_user_t",
       "[Fluent bit Export] error creating data_dict_reader_user_t"},
      {"[Fluent bit Export] Error allocating DataDictionaryReader"},
      {"[opaque events extractor] cannot allocate extractor",
       "[vek_dictionary_reader] Unable to allocate opaque events exporter",
       "[Fluent bit Export] Could not set DataDictionaryReader"}};
  begin(pages_);
  write_dict(pages_, 1);
  const Image page = pages_.writer.take_pages()[0];
  for (unsigned n = 0; n < 3; ++n) {
    log_.clear();
    FailAllocation failing(n + 1);
    EXPECT_FALSE(exporter_.exportDictionaryDataPage(pageOf(page), &by_type_system_));
    EXPECT_TRUE(failing.disarm());
    std::vector<std::string> expected = reasons[n];
    expected.push_back("[Fluent bit Export] Could not create dict reader");
    EXPECT_EQ(log_.errors(), expected);
  }
  EXPECT_TRUE(exportPage(page, by_type_system_)) << "the next page tries again";
  EXPECT_THAT(records(), SizeIs(1));
}

TEST_F(DictionaryPath, TheReaderGoesWithTheExporter) {
  FluentBitExporter other;
  other.setPluginWithDefaultHostAndPort("stdout_raw");
  other.setMsgpackDataLayout("custom");
  ASSERT_TRUE(other.connectToFlb());
  begin(pages_);
  pages_.dict();
  pages_.string(1, std::string(60, 's'));  // stays open
  for (const Image& page : pages_.writer.take_pages()) {
    EXPECT_TRUE(other.exportDataPage(pageOf(page), &by_type_system_));
  }
}

}  // namespace
}  // namespace vek::test
