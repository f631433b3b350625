// The API record: what a collector reads from it, and the order in which the engine is called.
#include <cstring>

#include "tests/e2e/e2e_fixture.h"
#include "tests/support/child_process.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

const vek_exporter_api_t& api() { return Plugin::instance().api(); }

class ApiRecord : public E2eTest {};

std::vector<std::string> g_formats;
void keep_format(int, const char* format, ...) { g_formats.emplace_back(format); }

TEST_F(ApiRecord, NamesThePluginAndItsOneParameter) {
  EXPECT_EQ(api().version, 1);
  EXPECT_STREQ(api().name, "fluentbit_exporter");
  EXPECT_STREQ(api().description, "An exporter for dict data pages sent to fluentbit");
  EXPECT_EQ(api().reserved, nullptr);
  EXPECT_STREQ(api().param_names[0], "fluentbit-config-dir");
  for (int i = 1; i < VEK_EXPORTER_MAX_PARAMS; ++i) EXPECT_EQ(api().param_names[i], nullptr) << i;
}

TEST_F(ApiRecord, LiesWhereCollectorsReadIt) {
  struct {
    int32_t version;
    const char* texts[2];
    void* operations[6];
    void* reserved;
    void* get_export_interval;
    const char* param_names[32];
  } as_bytes;
  static_assert(sizeof as_bytes == sizeof(vek_exporter_api_t));
  std::memcpy(&as_bytes, &api(), sizeof as_bytes);
  EXPECT_EQ(as_bytes.version, 1);
  for (void* operation : as_bytes.operations) EXPECT_NE(operation, nullptr);
  EXPECT_EQ(as_bytes.reserved, nullptr);
  EXPECT_NE(as_bytes.get_export_interval, nullptr);
}

TEST_F(ApiRecord, IsOneRecord) {
  auto* get = Plugin::instance().function<decltype(vek_exporter_get_api)>("vek_exporter_get_api");
  EXPECT_EQ(get(), get());
}

TEST_F(ApiRecord, InitWithoutADirectoryIsSilent) {
  const HostParams params({{"fluentbit-export-interval", "abc"}});
  EXPECT_EQ(api().init(params.get()), nullptr);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ApiRecord, ReadsTheExportInterval) {
  struct Case {
    const char* text;
    int32_t interval;
    const char* warning;
  };
  const Case cases[] = {
      {"30", 30, nullptr},
      {"0x10", 16, nullptr},
      {"2147483647", 2147483647, nullptr},
      {"-2147483648", INT32_MIN, nullptr},
      {"2147483648", 0,
       "[Fluent Bit Page Exporter] Export interval value out of int range: 2147483648"},
      {"-2147483649", 0,
       "[Fluent Bit Page Exporter] Export interval value out of int range: -2147483649"},
      {"abc", 0, "[Fluent Bit Page Exporter] Failed to convert export interval to long: abc"},
      {"5 ", 0, "[Fluent Bit Page Exporter] Failed to convert export interval to long: 5 "},
  };
  for (const Case& c : cases) {
    log_.clear();
    const HostParams params(
        {{"fluentbit-config-dir", config_.path().c_str()}, {"fluentbit-export-interval", c.text}});
    void* handle = api().init(params.get());
    ASSERT_NE(handle, nullptr) << c.text;
    EXPECT_EQ(api().get_export_interval(handle), c.interval) << c.text;
    if (c.warning) {
      EXPECT_THAT(log_.at(4), ElementsAre(c.warning));
    } else {
      EXPECT_THAT(log_.at(4), IsEmpty());
    }
    api().destroy(handle);
  }
}

TEST_F(ApiRecord, TellsTheDirectoryInItsCustomOptions) {
  Exporters exporters(config_.path());
  ASSERT_NE(exporters.handle(), nullptr);
  EXPECT_STREQ(vek_dict_get(api().get_custom_options(exporters.handle()), "fluentbit-config-dir"),
               config_.path().c_str());
}

TEST_F(ApiRecord, DestroysNull) { api().destroy(nullptr); }

TEST_F(ApiRecord, ServesADirectoryWithoutEnabledFiles) {
  write_exp("off", "enable = 0\n");
  config_.write("a.exp.bak", "name = a\n");
  config_.write("A.EXP", "name = A\n");
  const EnvGuard no_engine("FLUENT_BIT_EXPORT_API_SO", "/nonexistent");
  const Provider provider(Provider::Way::kTypeSystem);
  PageWriter writer = provider.page("s", "");
  writer.counters_block(Provider::kTime, Provider::values(1));
  Exporters exporters(config_.path());
  ASSERT_NE(exporters.handle(), nullptr);
  EXPECT_EQ(exporters.connect(), 1);
  EXPECT_EQ(exporters.page(writer.finish(), provider.schemas()), 1);
  exporters.disconnect();
  exporters.destroy();
  EXPECT_THAT(engine().calls, IsEmpty());
  EXPECT_THAT(log_.at(3), IsEmpty());
}

TEST_F(ApiRecord, ServesADirectoryThatIsNotThere) {
  Exporters exporters("/nonexistent/dir");
  ASSERT_NE(exporters.handle(), nullptr);
  EXPECT_EQ(exporters.connect(), 1);
  EXPECT_THAT(log_.at(3), ElementsAre("[FluentBitExporter] [getExpFilesNames] Cannot open dir_path "
                                      "\"/nonexistent/dir\""));
}

TEST_F(ApiRecord, CallsTheEngineInOrder) {
  write_exp("one",
            "name = one\nplugin_name = forward\nhost = 10.0.0.1\nport = 70000\n"
            "plugin_Retry_Limit = 5\nplugin_Match = a=b\nplugin_flag\n");
  const Provider provider(Provider::Way::kTypeSystem);
  PageWriter writer = provider.page("lab", "");
  writer.counters_block(Provider::kTime, Provider::values(7));
  const auto image = writer.finish();

  Exporters exporters(config_.path());
  ASSERT_NE(exporters.handle(), nullptr);
  EXPECT_THAT(engine().calls, IsEmpty());
  EXPECT_EQ(exporters.connect(), 1);
  EXPECT_EQ(exporters.page(image, provider.schemas()), 1);
  EXPECT_EQ(exporters.page(image, provider.schemas()), 1);
  exporters.disconnect();
  exporters.destroy();
  EXPECT_THAT(engine().calls,
              ElementsAre("init forward", "add_data 1", "add_data 1", "finalize 1"));
  ASSERT_EQ(engine().inits.size(), 1u);
  const EngineInit& init = engine().inits[0];
  EXPECT_EQ(init.host, "10.0.0.1");
  EXPECT_EQ(init.port, "4464");
  EXPECT_EQ(init.kind, "evnt");
  EXPECT_EQ(init.second_tag, "evnt");
  EXPECT_THAT(init.params,
              ElementsAre(Pair("Retry_Limit", "5"), Pair("Match", "a"), Pair("flag", "")));
  EXPECT_THAT(records(), ElementsAre(Provider::record(7, "lab"), Provider::record(7, "lab")));
}

TEST_F(ApiRecord, ConnectsAgainAndAnnouncesCounters) {
  write_exp("one", "plugin_name = stdout\n");
  const Provider provider(Provider::Way::kTypeSystem);
  PageWriter writer = provider.page("lab", "");
  writer.counters_block(Provider::kTime, Provider::values(7));
  Exporters exporters(config_.path());
  exporters.connect();
  exporters.page(writer.finish(), provider.schemas());
  exporters.disconnect();
  EXPECT_EQ(exporters.connect(), 1);
  exporters.destroy();
  EXPECT_THAT(engine().calls,
              ElementsAre("init stdout", "add_data 1", "finalize 1", "init stdout", "finalize 2"));
  EXPECT_EQ(engine().inits[0].kind, "evnt");
  EXPECT_EQ(engine().inits[1].kind, "cntr");
}

TEST_F(ApiRecord, PassesOverDisabledFilesAmongOthers) {
  write_exp("a", "plugin_name = one\nenable = no\n");
  write_exp("b", "plugin_name = two\nenable = 2\n");
  write_exp("c", "plugin_name = three\nenable = 0 # off\n");
  Exporters exporters(config_.path());
  exporters.connect();
  EXPECT_THAT(engine().calls, ElementsAre("init two"));
}

// A collector lends its whole logger; in a child process, because the plug-in keeps it.
TEST_F(ApiRecord, WritesToTheLoggerThatItsHostLends) {
  const ChildResult child = run_in_child([&] {
    vek_logger_ctx_t host{};
    host.type = VEK_LOGGER_FUNCTION;
    host.level = 3;
    host.log_func = keep_format;
    auto* adopt =
        Plugin::instance().function<decltype(_vek_register_logger)>("_vek_register_logger");
    ASSERT_TRUE(adopt(&host));
    const Exporters exporters("/nonexistent");
    EXPECT_THAT(g_formats, ElementsAre("[FluentBitExporter] [%s] Cannot open dir_path \"%s\""));
  });
  EXPECT_EQ(child.exit_code, 0) << child.standard_output;
}

TEST_F(ApiRecord, FinalizesTheNullContextWhenItWasNeverConnected) {
  write_exp("one", "");
  Exporters exporters(config_.path());
  exporters.disconnect();
  exporters.destroy();
  EXPECT_THAT(engine().calls, ElementsAre("finalize 0"));
  EXPECT_THAT(log_.at(3), ElementsAre("[Fluent Bit Exporter] cannot finalize API",
                                      "[FluentBitExportersArray] [disconnectExporters] Cannot "
                                      "disconnect from internal Fluent Bit"));
}

}  // namespace
}  // namespace vek::test
