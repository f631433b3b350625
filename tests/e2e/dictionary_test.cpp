// Dictionary streams from the collector's call to the records that reach the engine.
#include "json/json_owned.h"
#include "tests/dict_reader/stream_pages.h"
#include "tests/e2e/e2e_fixture.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class Dictionaries : public E2eTest, public ::testing::WithParamInterface<Provider::Way> {
 protected:
  Dictionaries() : type_system_(vek_create_type_system()) {
    const Plugin& plugin = Plugin::instance();
    const std::string document = stream_.writer.schema().document();
    EXPECT_EQ(vek_type_system_add_schema_from_serialized_json(type_system_.get(), document.c_str(),
                                                              nullptr),
              0u);
    if (GetParam() == Provider::Way::kTypeSystem) {
      plugin.function<decltype(vek_exporter_schema_manager_from_type_system)>(
          "vek_exporter_schema_manager_from_type_system")(type_system_.get(), &schemas_);
      return;
    }
    manager_ =
        plugin.function<decltype(vek_schema_manager_create)>("vek_schema_manager_create")(nullptr);
    const JsonText all(vek_type_system_serialize(type_system_.get(), true));
    EXPECT_TRUE(plugin.function<decltype(vek_schema_manager_append_type_system)>(
        "vek_schema_manager_append_type_system")(manager_, all.get()));
    plugin.function<decltype(vek_exporter_schema_manager_from_manager)>(
        "vek_exporter_schema_manager_from_manager")(manager_, &schemas_);
  }
  ~Dictionaries() override {
    if (!manager_) return;
    Plugin::instance().function<decltype(vek_schema_manager_destroy)>("vek_schema_manager_destroy")(
        manager_);
  }

  // A root list of two dictionaries; the second holds a long text.
  void write_list() {
    stream_.collection(1'700'000'000'500'000);
    stream_.id(1, "host");
    stream_.id(2, "fans");
    stream_.list();
    stream_.dict();
    stream_.string(1, "leaf01");
    stream_.list(2);
    stream_.integer(2, 4200);
    stream_.none(2);
    stream_.end_list();
    stream_.end_dict();
    stream_.dict();
    stream_.chunked(PYTHON_STRING, 1, kLong, {1, 50});
    stream_.end_dict();
    stream_.end_list();
  }
  std::vector<int> results(Exporters& exporters) {
    std::vector<int> all;
    for (const Image& image : stream_.writer.take_pages()) {
      const GuardedBytes page(image);
      all.push_back(exporters.page(page.data(), schemas_));
    }
    return all;
  }

  const std::string kLong = std::string(300, 'x');
  // So small that every few events begin a page.
  StreamPages stream_{
      {.source_id = "agent", .tag = "dict_power", .event_size = 120, .page_size = 1200}};
  Owned<vek_type_system_t, vek_destroy_type_system> type_system_;
  vek_schema_manager_t* manager_ = nullptr;
  vek_exporter_schema_manager_t schemas_{};
};

INSTANTIATE_TEST_SUITE_P(, Dictionaries,
                         ::testing::Values(Provider::Way::kTypeSystem,
                                           Provider::Way::kSchemaManager),
                         [](const auto& way) {
                           return way.param == Provider::Way::kTypeSystem ? "TypeSystem"
                                                                          : "SchemaManager";
                         });

TEST_P(Dictionaries, LeaveOneByOne) {
  write_exp("a", "plugin_name = stdout_raw\n");
  Exporters exporters(config_.path());
  ASSERT_EQ(exporters.connect(), 1);
  write_list();
  const auto pages = results(exporters);
  EXPECT_GE(pages.size(), 3u);
  EXPECT_THAT(pages, ::testing::Each(1));
  EXPECT_THAT(records(), ElementsAre("[1700000000.5,{\"host\":\"leaf01\",\"fans\":[4200,nil]}]",
                                     "[1700000000.5,{\"host\":\"" + kLong + "\"}]"));
  EXPECT_THAT(log_.at(3), IsEmpty());
  EXPECT_THAT(log_.at(4), IsEmpty());
}

TEST_P(Dictionaries, LeaveTogetherInBatchMode) {
  write_exp("a", "plugin_name = forward\nbatch_mode = 1\n");
  Exporters exporters(config_.path());
  ASSERT_EQ(exporters.connect(), 1);
  write_list();
  results(exporters);
  EXPECT_THAT(records(),
              ElementsAre("[1700000000.5,[{\"host\":\"leaf01\",\"fans\":[4200,nil]},{\"host\":\"" +
                          kLong + "\"}]]"));
}

TEST_P(Dictionaries, ReachEveryExporterThatTakesThem) {
  write_exp("a", "plugin_name = stdout_raw\n");
  write_exp("b", "plugin_name = influxdb\n");
  write_exp("c", "plugin_name = forward\nsource_tag = other\nmsgpack_data_layout = custom\n");
  Exporters exporters(config_.path());
  ASSERT_EQ(exporters.connect(), 1);
  write_list();
  results(exporters);
  EXPECT_THAT(records(), SizeIs(4));
}

TEST_P(Dictionaries, GoOnBehindAPageThatFailed) {
  write_exp("a", "plugin_name = stdout_raw\n");
  Exporters exporters(config_.path());
  ASSERT_EQ(exporters.connect(), 1);
  stream_.collection(1'000'000);
  stream_.id(1, "a");
  stream_.dict();
  stream_.end_list();
  EXPECT_FALSE(results(exporters).empty());
  EXPECT_THAT(log_.at(3),
              ElementsAre("[vek_dictionary_reader] 'list end' event does not fit collected data",
                          "[opaque events extractor] Unable to handle a relevant opaque event",
                          "[opaque events extractor] events block processing failed",
                          "[Fluent bit Export] Could not export dictionary",
                          "[Fluent Bit Exporter] export for dictionary page failed"));
  stream_.boolean(1, true);
  stream_.end_dict();
  results(exporters);
  EXPECT_THAT(records(), ElementsAre("[1.0,{\"a\":true}]"));
}

TEST_P(Dictionaries, MayBeNestedDeeperThanAnyStack) {
  write_exp("a", "plugin_name = stdout_raw\n");
  Exporters exporters(config_.path());
  ASSERT_EQ(exporters.connect(), 1);
  // As a record of 100,000 levels, and as a tree that is open at the end.
  log_.clear();
  PluginLog quiet(4);
  StreamPages deep({.source_id = "agent", .tag = "dict_deep", .event_size = 120});
  deep.collection(1'000'000);
  deep.id(1, "a");
  for (int i = 0; i < 100'000; ++i) deep.dict(i == 0 ? kNoKeyId : 1);
  for (int i = 0; i < 100'000; ++i) deep.end_dict();
  deep.collection(1'000'000);
  for (int i = 0; i < 100'000; ++i) deep.dict(i == 0 ? kNoKeyId : 1);
  for (const Image& page : deep.writer.take_pages()) EXPECT_EQ(exporters.page(page, schemas_), 1);
  ASSERT_THAT(engine().records, SizeIs(1));
  EXPECT_EQ(engine().records[0].size(), 1 + 9 + 100'000u + 99'999u * 2);
}

TEST(DictionaryFunctions, AreThereForOtherUsersOfTheReader) {
  for (const char* name :
       {"data_dict_reader_user_init", "data_dict_reader_user_destroy", "data_dict_message_init",
        "data_dict_message_destroy", "data_dict_pack_and_delete", "python_event_type_to_string",
        "_ZN20DataDictionaryReader8ReadPageEPK13vek_data_pagePK27vek_exporter_schema_manager",
        "_ZTVN20DataDictionaryReader14DecoderContextE", "_ZTV19ContainerDataObject"}) {
    EXPECT_NE(Plugin::instance().find(name), nullptr) << name;
  }
}

}  // namespace
}  // namespace vek::test
