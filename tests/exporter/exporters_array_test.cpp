#include "exporter/exporters_array.h"

#include <filesystem>
#include <memory>
#include <string>

#include "tests/exporter/exporter_fixture.h"
#include "tests/support/schema_documents.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

class Array : public ExporterTest {
 protected:
  std::unique_ptr<FluentBitExportersArray> make(int interval = 0) {
    return std::make_unique<FluentBitExportersArray>(dir_.path(), interval);
  }
  // Plug-ins in the order in which the directory gave their files.
  static std::vector<std::string> plugins(const FluentBitExportersArray& array) {
    std::vector<std::string> names;
    for (const auto& config : array.configs()) {
      if (config->enable != 0) names.emplace_back(config->plugin_name);
    }
    return names;
  }
};

TEST_F(Array, OfADirectoryWithoutFilesDoesNothingAndSucceeds) {
  for (const bool disabled : {false, true}) {
    if (disabled) dir_.write("off.exp", "enable = no");
    const auto array = make();
    EXPECT_FALSE(array->failedToInit());
    EXPECT_EQ(array->numExporters(), 0u);
    EXPECT_TRUE(array->connectEnabledExporters());
    array->exportDataPage(nullptr, nullptr);
    array->exportMsgpackBuffer(nullptr);
    array->updateSetsWithTypeSystem(nullptr);
    EXPECT_TRUE(array->disconnectExporters());
  }
  EXPECT_THAT(engine().calls, IsEmpty());
  EXPECT_THAT(log_.errors(), IsEmpty());
}

TEST_F(Array, HandsEachExporterItsConfiguration) {
  dir_.write("a.exp",
             "name = a\nplugin_name = influxdb\nhost = 10.0.0.1\nport = 70000\n"
             "plugin_Bucket = b\nplugin_flag\nmsgpack_data_layout = custom\n");
  const auto array = make();
  EXPECT_TRUE(array->connectEnabledExporters());
  ASSERT_EQ(engine().inits.size(), 1u);
  const EngineInit& init = engine().inits[0];
  EXPECT_EQ(init.plugin, "influxdb");
  EXPECT_EQ(init.host, "10.0.0.1");
  EXPECT_EQ(init.port, "4464") << "70000 cut to 16 bits";
  EXPECT_THAT(init.params, ElementsAre(Pair("Bucket", "b"), Pair("flag", "")));
  EXPECT_TRUE(
      log_.has(7, "[initEnabledExporters] config->plugin_name = influxdb, config->enabled = 1"));
  EXPECT_THAT(log_.warnings(), ElementsAre(HasSubstr("Ingoring 'custom' msgpack data layout. "
                                                     "'influxdb' plugin works only")));
}

TEST_F(Array, TakesPortZeroWhereTheFileNamesNone) {
  dir_.write("a.exp", "plugin_name = es");
  make()->connectEnabledExporters();
  EXPECT_EQ(engine().inits[0].host, "127.0.0.1");
  EXPECT_EQ(engine().inits[0].port, "0");
}

TEST_F(Array, MakesExportersOfEnabledFilesInDirectoryOrder) {
  dir_.write("a.exp", "plugin_name = pa");
  dir_.write("b.exp", "plugin_name = pb\nenable = 0");
  dir_.write("c.exp", "plugin_name = pc\nenable = 2");
  const auto array = make();
  EXPECT_EQ(array->numExporters(), 2u);
  array->connectEnabledExporters();
  std::vector<std::string> connected;
  for (const EngineInit& init : engine().inits) connected.push_back(init.plugin);
  EXPECT_EQ(connected, plugins(*array));
  EXPECT_EQ(connected.size(), 2u);
}

TEST_F(Array, StopsConnectingAtTheFirstFailure) {
  dir_.write("a.exp", "plugin_name = pa");
  dir_.write("b.exp", "plugin_name = pb");
  const auto array = make();
  engine().refuse_plugin = plugins(*array)[0];
  EXPECT_FALSE(array->connectEnabledExporters());
  EXPECT_THAT(engine().calls, ElementsAre("init " + plugins(*array)[0]));
  EXPECT_THAT(log_.errors(), ElementsAre("[Fluent Bit Exporter] cannot initialize API",
                                         "[FluentBitExportersArray] [connectEnabledExporters] "
                                         "Cannot connect to internal Fluent Bit"));
}

TEST_F(Array, StopsDisconnectingAtTheFirstFailure) {
  dir_.write("a.exp", "plugin_name = pa");
  dir_.write("b.exp", "plugin_name = pb");
  const auto array = make();
  EXPECT_FALSE(array->disconnectExporters());
  EXPECT_THAT(engine().calls, ElementsAre("finalize 0"));
  EXPECT_THAT(log_.errors(), ElementsAre("[Fluent Bit Exporter] cannot finalize API",
                                         "[FluentBitExportersArray] [disconnectExporters] Cannot "
                                         "disconnect from internal Fluent Bit"));
}

TEST_F(Array, SendsABufferToEveryExporterWhateverFails) {
  dir_.write("a.exp", "plugin_name = pa");
  dir_.write("b.exp", "plugin_name = pb");
  const auto array = make();
  engine().refuse_plugin = plugins(*array)[1];
  array->connectEnabledExporters();
  engine().calls.clear();
  log_.clear();
  msgpack_sbuffer buffer;
  msgpack_sbuffer_init(&buffer);
  msgpack_sbuffer_write(&buffer, "x", 1);
  array->exportMsgpackBuffer(&buffer);
  msgpack_sbuffer_destroy(&buffer);
  EXPECT_THAT(engine().calls, ElementsAre("add_data 1"));
  EXPECT_THAT(
      log_.errors(),
      ElementsAre("[Fluent Bit Export] [exportMsgpackBuffer] Cannot send data",
                  "[FluentBitExportersArray] [exportMsgpackBuffer] Cannot export msgpack buffer"));
}

TEST_F(Array, AnnouncesCountersOfATypeSystemToEveryExporter) {
  dir_.write("a.exp", "");
  dir_.write("b.exp", "");
  const auto array = make();
  array->updateSetsWithTypeSystem(typeSystem({"rx"}).get());
  array->connectEnabledExporters();
  ASSERT_EQ(engine().inits.size(), 2u);
  EXPECT_EQ(engine().inits[0].kind, "cntr");
  EXPECT_EQ(engine().inits[1].kind, "cntr");
}

TEST_F(Array, OpensADumpFileForEachExporter) {
  dir_.write("conf/a.exp", "plugin_name = pa");
  dir_.write("conf/b.exp", "plugin_name = pb\nenable = 0");
  const EnvGuard dump("FLUENTBIT_EXPORT_DUMP_FILE", dir_.file("d").c_str());
  const FluentBitExportersArray array(dir_.file("conf"), 0);
  EXPECT_TRUE(std::filesystem::exists(dir_.file("d_pa")));
  EXPECT_FALSE(std::filesystem::exists(dir_.file("d_pb")));
}

TEST_F(Array, EndsEveryConnectionWhenItIsDestroyed) {
  dir_.write("a.exp", "");
  dir_.write("b.exp", "");
  auto array = make();
  array->connectEnabledExporters();
  engine().calls.clear();
  log_.clear();
  array.reset();
  EXPECT_THAT(engine().calls, ElementsAre("finalize 1", "finalize 2"));
  EXPECT_EQ(log_.lines().front(), (LogLine{7, "[~FluentBitExportersArray]"}));
}

TEST_F(Array, OffersItsOptionsAndInterval) {
  const auto array = make(-5);
  EXPECT_EQ(array->exportInterval(), -5);
  EXPECT_STREQ(vek_dict_get(array->customOptions(), "fluentbit-config-dir"), dir_.path().c_str());
}

class ArrayWithoutEngine : public NoEngineTest {};

TEST_F(ArrayWithoutEngine, FailsForAnEnabledFile) {
  dir_.write("a.exp", "name = lonely");
  const FluentBitExportersArray array(dir_.path(), 0);
  EXPECT_TRUE(array.failedToInit());
  EXPECT_THAT(log_.errors(),
              ElementsAre("[Fluent Bit Exporter] cannot find 'libraw_msgpack_api.so'",
                          "[FluentBitExportersArray] Cannot initialize Fluent Bit exporter for "
                          "config: 'lonely'",
                          "[FluentBitExportersArray] Failed to init enabled exporters"));
}

TEST_F(ArrayWithoutEngine, FailsAlthoughItSaysNothing) {
  dir_.write("a.exp", "");
  vek_set_log_level(2);
  EXPECT_TRUE(FluentBitExportersArray(dir_.path(), 0).failedToInit());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ArrayWithoutEngine, LooksAtNoFileBehindTheFirstThatFails) {
  dir_.write("a.exp", "name = x");
  dir_.write("b.exp", "name = x");
  const FluentBitExportersArray array(dir_.path(), 0);
  EXPECT_EQ(log_.count(7,
                       "[initEnabledExporters] config->plugin_name = forward, config->enabled "
                       "= 1"),
            1u);
}

TEST_F(ArrayWithoutEngine, NeedsNoEngineForDisabledFiles) {
  dir_.write("a.exp", "enable = 0");
  EXPECT_FALSE(FluentBitExportersArray(dir_.path(), 0).failedToInit());
  EXPECT_THAT(log_.warnings(), IsEmpty());
}

}  // namespace
}  // namespace vek::test
