// Plug-in and engine library together: what ends up in a file.
//
// In child processes: once loaded, the engine library stays, and later tests could not miss it.
#include <algorithm>
#include <functional>
#include <memory>

#include "tests/e2e/e2e_fixture.h"
#include "tests/support/child_process.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class PluginWithEngine : public E2eTest {
 protected:
  void SetUp() override {
    engine_variable_ = std::make_unique<EnvGuard>("FLUENT_BIT_EXPORT_API_SO", VEK_ENGINE_PATH);
  }

  static void in_child(const std::function<void()>& body) {
    const ChildResult child = run_in_child(body);
    EXPECT_EQ(child.exit_code, 0) << child.standard_output << child.standard_error;
  }
  std::vector<uint8_t> page(std::string_view source, uint64_t number) const {
    PageWriter writer = provider_.page(source, "");
    writer.counters_block(Provider::kTime, Provider::values(number));
    return writer.finish();
  }

  std::unique_ptr<EnvGuard> engine_variable_;
  const Provider provider_{Provider::Way::kSchemaManager};
  TempDir out_;
};

TEST_F(PluginWithEngine, WritesLinesOfJsonToAFile) {
  write_exp("a", "plugin_name = file\nplugin_path = " + out_.path() +
                     "\nplugin_file = out.json\nplugin_format = json\n");
  in_child([&] {
    Exporters exporters(config_.path());
    ASSERT_EQ(exporters.connect(), 1);
    EXPECT_EQ(exporters.page(page("lab", 1), provider_.schemas()), 1);
    EXPECT_EQ(exporters.page(page("lab", 2), provider_.schemas()), 1);
    exporters.disconnect();
    EXPECT_THAT(log_.at(3), IsEmpty());
  });
  const std::string fixed =
      ",\"temp\":41.5,\"flags\":1099511627776,\"delta\":-33,\"firmware\":\"v1\",\"port_guid\":"
      "\"0xff\",\"tx_bytes\":";
  const std::string head =
      "[1700000000.5,{\"timestamp\":1700000000500000,\"type\":\"counters\",\"source\":\"lab\","
      "\"rx_bytes\":";
  EXPECT_EQ(read_file(out_.file("out.json")),
            head + "1" + fixed + "2}]\n" + head + "2" + fixed + "3}]\n");
}

TEST_F(PluginWithEngine, MendsTheRecordsOfPagesWithoutASource) {
  write_exp("a", "plugin_name = file\nplugin_path = " + out_.path() +
                     "\nplugin_file = out\nplugin_format = msgpack\n");
  in_child([&] {
    Exporters exporters(config_.path());
    ASSERT_EQ(exporters.connect(), 1);
    exporters.page(page("", 1), provider_.schemas());
    exporters.page(page("lab", 2), provider_.schemas());
  });
  std::string mended = Provider::record(1, "");
  mended.replace(mended.find("\"source\":\"\","), 12, "");
  const std::string bytes = read_file(out_.file("out"));
  EXPECT_EQ(msgpack_to_text(bytes.data(), bytes.size()), mended + " " + Provider::record(2, "lab"));
}

TEST_F(PluginWithEngine, GoesOnWithoutAnOutputThatDoesNotExist) {
  write_exp("a", "plugin_name = es\n");
  in_child([&] {
    Exporters exporters(config_.path());
    ASSERT_NE(exporters.handle(), nullptr);
    EXPECT_EQ(exporters.connect(), 1);
    EXPECT_THAT(log_.at(3),
                ElementsAre("[Fluent Bit Exporter] cannot initialize API",
                            "[FluentBitExportersArray] [connectEnabledExporters] Cannot connect to "
                            "internal Fluent Bit"));
  });
}

TEST_F(PluginWithEngine, ConnectsAndDisconnectsManyTimes) {
  write_exp("a", "plugin_name = file\nplugin_file = " + out_.file("out") + "\n");
  in_child([&] {
    Exporters exporters(config_.path());
    for (uint64_t i = 0; i < 20; ++i) {
      exporters.connect();
      exporters.page(page("lab", i), provider_.schemas());
      exporters.disconnect();
      exporters.disconnect();  // a second time is refused and harms nothing
    }
  });
  const std::string text = read_file(out_.file("out"));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 20);
}

}  // namespace
}  // namespace vek::test
