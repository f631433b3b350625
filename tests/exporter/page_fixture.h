// Pages for an exporter that is connected to the scripted engine.
#ifndef VEK_TESTS_EXPORTER_PAGE_FIXTURE_H
#define VEK_TESTS_EXPORTER_PAGE_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "data/page_writer.h"
#include "exporter/fluentbit_exporter.h"
#include "schema_manager/fillings.h"
#include "schema_manager/schema_manager.h"
#include "tests/exporter/exporter_fixture.h"
#include "tests/support/msgpack_json.h"
#include "tests/support/schema_documents.h"

namespace vek::test {

using Image = std::vector<uint8_t>;

inline const vek_data_page_t* pageOf(const Image& image) {
  return reinterpret_cast<const vek_data_page_t*>(image.data());
}

inline vek_data_page_t& headerOf(Image& image) {
  return *reinterpret_cast<vek_data_page_t*>(image.data());
}

// Exporter "forward", connected, layout "flb_std".
class PageTest : public ExporterTest {
 protected:
  PageTest() {
    exporter_.setPluginWithDefaultHostAndPort("forward");
    exporter_.setMsgpackDataLayout("flb_std");
    exporter_.connectToFlb();
    engine().calls.clear();
    log_.clear();
    vek_exporter_schema_manager_from_type_system(type_system_.get(), &by_type_system_);
    vek_exporter_schema_manager_from_manager(&manager_, &by_manager_);
    manager_.appendTypeSystem(std::shared_ptr<const vek_type_system_t>(typeSystem({"rx", "tx"})));
    log_.clear();
  }

  void listTags(std::initializer_list<const char*> tags) {
    vek_string_array_t* list = vek_init_string_array();
    for (const char* tag : tags) vek_append_string_array(&list, tag);
    exporter_.setSourceTagList(list);
    vek_free_string_array(list);
  }

  PageWriter writer(std::string_view tag = "", uint64_t block_size = 0) {
    PageWriter page("lab-switch", tag, block_size);
    uint8_t id[VEK_SCHEMA_ID_SIZE];
    EXPECT_TRUE(vek_calc_counters_schema_id(id, type_system_->counters_schema));
    page.set_counters_schema_id(id);
    return page;
  }

  // One counters block.
  Image countersPage(std::string_view tag = "") {
    PageWriter page = writer(tag);
    page.counters_block(1'500'000, values({7, 300}));
    return page.finish();
  }

  bool exportPage(const Image& image, const vek_exporter_schema_manager_t& record) {
    return exporter_.exportDataPage(pageOf(image), &record);
  }

  static std::vector<std::string> records() {
    std::vector<std::string> texts;
    for (const auto& bytes : engine().records) texts.push_back(msgpack_to_text(bytes));
    return texts;
  }

  OwnedTypeSystem type_system_ = typeSystem({"rx", "tx"});
  SchemaManager manager_;
  vek_exporter_schema_manager_t by_type_system_{};
  vek_exporter_schema_manager_t by_manager_{};
  FluentBitExporter exporter_;
};

// What countersPage() becomes.
inline constexpr const char* kRecord =
    "[1.5,{\"timestamp\":1500000,\"type\":\"counters\",\"source\":\"lab-switch\","
    "\"rx\":7,\"tx\":300}]";

}  // namespace vek::test

#endif  // VEK_TESTS_EXPORTER_PAGE_FIXTURE_H
