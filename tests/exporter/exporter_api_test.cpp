#include "exporter/exporter_api.h"

#include <string>
#include <vector>

#include "data/page_writer.h"
#include "schema_manager/fillings.h"
#include "tests/exporter/exporter_fixture.h"
#include "tests/support/schema_documents.h"
#include "utils/owned.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using OwnedDict = Owned<vek_dict_t, vek_dict_delete>;

class Api : public ExporterTest {
 protected:
  // A handle on the temporary folder, or null.
  void* init(const char* interval = nullptr) {
    const OwnedDict params(vek_dict_create());
    vek_dict_add(params.get(), "fluentbit-config-dir", dir_.path().c_str());
    if (interval) vek_dict_add(params.get(), "fluentbit-export-interval", interval);
    return api_.init(params.get());
  }

  const vek_exporter_api_t& api_ = *vek_exporter_get_api();
};

TEST_F(Api, NamesThePlugin) {
  EXPECT_EQ(&api_, vek_exporter_get_api()) << "one record, always the same";
  EXPECT_EQ(api_.version, 1);
  EXPECT_STREQ(api_.name, "fluentbit_exporter");
  EXPECT_STREQ(api_.description, "An exporter for dict data pages sent to fluentbit");
  EXPECT_EQ(api_.reserved, nullptr);
}

TEST_F(Api, ListsOneParameter) {
  EXPECT_STREQ(api_.param_names[0], "fluentbit-config-dir");
  for (size_t i = 1; i < VEK_EXPORTER_MAX_PARAMS; ++i) EXPECT_EQ(api_.param_names[i], nullptr);
}

TEST_F(Api, NeedsADirectoryAndSaysNothingWithoutOne) {
  const OwnedDict params(vek_dict_create());
  EXPECT_EQ(api_.init(params.get()), nullptr);
  vek_dict_add(params.get(), "fluentbit-export-interval", "abc");
  EXPECT_EQ(api_.init(params.get()), nullptr);
  EXPECT_EQ(api_.init(nullptr), nullptr);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(Api, TakesTheIntervalWhereItCan) {
  struct Case {
    const char* text;
    int32_t interval;
    std::string warning;
  };
  const std::string out_of_range =
      "[Fluent Bit Page Exporter] Export interval value out of int range: ";
  const std::string no_number =
      "[Fluent Bit Page Exporter] Failed to convert export interval to long: ";
  const Case cases[] = {
      {nullptr, 0, ""},
      {"60", 60, ""},
      {"0x10", 16, ""},
      {"2147483647", 2147483647, ""},
      {"-2147483648", -2147483647 - 1, ""},
      {"2147483648", 0, out_of_range + "2147483648"},
      {"-2147483649", 0, out_of_range + "-2147483649"},
      {"abc", 0, no_number + "abc"},
      {"", 0, no_number},
      {"5 ", 0, no_number + "5 "},
      {"99999999999999999999", 0, no_number + "99999999999999999999"},
  };
  for (const Case& c : cases) {
    log_.clear();
    void* handle = init(c.text);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(api_.get_export_interval(handle), c.interval) << (c.text ? c.text : "unset");
    if (c.warning.empty()) {
      EXPECT_THAT(log_.warnings(), IsEmpty());
    } else {
      EXPECT_THAT(log_.warnings(), ElementsAre(c.warning));
    }
    api_.destroy(handle);
  }
}

TEST_F(Api, OffersTheDirectoryAsACustomOption) {
  void* handle = init();
  EXPECT_STREQ(vek_dict_get(api_.get_custom_options(handle), "fluentbit-config-dir"),
               dir_.path().c_str());
  api_.destroy(handle);
}

TEST_F(Api, DrivesTheEngineThroughItsLife) {
  dir_.write("a.exp", "");
  void* handle = init();
  EXPECT_EQ(api_.connect(handle), 1);
  EXPECT_EQ(api_.export_data_page(handle, nullptr, nullptr), 1)
      << "a page that fails is no exception";
  api_.disconnect(handle);
  api_.destroy(handle);
  EXPECT_THAT(engine().calls, ElementsAre("init forward", "finalize 1"));
}

TEST_F(Api, CountsOnlyExceptionsAsFailureToConnect) {
  dir_.write("a.exp", "");
  engine().refuse_init = true;
  void* handle = init();
  EXPECT_EQ(api_.connect(handle), 1);
  engine().refuse_init = false;
  engine().throws = true;
  EXPECT_EQ(api_.connect(handle), 0);
  api_.destroy(handle);
}

TEST_F(Api, ReportsAnExceptionOfAPage) {
  dir_.write("a.exp", "");
  const OwnedTypeSystem type_system = typeSystem({"rx"});
  vek_exporter_schema_manager_t schemas{};
  vek_exporter_schema_manager_from_type_system(type_system.get(), &schemas);
  PageWriter writer("source", "");
  writer.counters_block(1, values({1}));
  const std::vector<uint8_t> image = writer.finish();
  const auto* page = reinterpret_cast<const vek_data_page_t*>(image.data());
  void* handle = init();
  api_.connect(handle);
  EXPECT_EQ(api_.export_data_page(handle, page, &schemas), 1);
  engine().throws = true;
  EXPECT_EQ(api_.export_data_page(handle, page, &schemas), 0);
  api_.destroy(handle);
}

TEST_F(Api, LetsNoExceptionOutOfDisconnectOrDestroy) {
  dir_.write("a.exp", "");
  void* handle = init();
  EXPECT_EQ(api_.connect(handle), 1);
  engine().throws = true;
  api_.disconnect(handle);
  api_.destroy(handle);
  EXPECT_THAT(engine().calls, ElementsAre("init forward", "finalize 1", "finalize 1"));
}

TEST_F(Api, AcceptsNoHandle) {
  api_.destroy(nullptr);
  api_.disconnect(nullptr);
  EXPECT_EQ(api_.connect(nullptr), 0);
  EXPECT_EQ(api_.export_data_page(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(api_.get_custom_options(nullptr), nullptr);
  EXPECT_EQ(api_.get_export_interval(nullptr), 0);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

class ApiWithoutEngine : public NoEngineTest {};

TEST_F(ApiWithoutEngine, GivesNoHandleForAnEnabledFile) {
  dir_.write("a.exp", "");
  const OwnedDict params(vek_dict_create());
  vek_dict_add(params.get(), "fluentbit-config-dir", dir_.path().c_str());
  EXPECT_EQ(vek_exporter_get_api()->init(params.get()), nullptr);
  EXPECT_EQ(log_.errors().back(), "[FluentBitExportersArray] Failed to init enabled exporters");
  EXPECT_EQ(log_.lines().back(), (LogLine{7, "[~FluentBitExportersArray]"}));
}

}  // namespace
}  // namespace vek::test
