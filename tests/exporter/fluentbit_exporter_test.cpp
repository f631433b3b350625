#include "exporter/fluentbit_exporter.h"

#include <msgpack.h>

#include <filesystem>
#include <ostream>
#include <string>

#include "counters/counters_schema.h"
#include "tests/exporter/exporter_fixture.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

class Exporter : public ExporterTest {
 protected:
  // Bytes of one buffer, sent.
  bool sendText(FluentBitExporter& exporter, const char* text) {
    msgpack_sbuffer buffer;
    msgpack_sbuffer_init(&buffer);
    msgpack_sbuffer_write(&buffer, text, std::strlen(text));
    const bool sent = exporter.exportMsgpackBuffer(&buffer);
    msgpack_sbuffer_destroy(&buffer);
    return sent;
  }
};

TEST_F(Exporter, ReadsItsChecksFromTheEnvironment) {
  for (const auto& [text, checks] : std::initializer_list<std::pair<const char*, uint64_t>>{
           {nullptr, 0}, {"", 0}, {"abc", 0}, {"12", 12}, {"12abc", 12}}) {
    const EnvGuard variable("FLUENT_BIT_CHECKS", text);
    EXPECT_EQ(FluentBitExporter().fluentBitChecks(), checks) << (text ? text : "unset");
  }
}

TEST_F(Exporter, ConnectsWithWhatItWasConstructedWith) {
  FluentBitExporter exporter;
  ASSERT_TRUE(exporter.SharedObjectAPILoaded());
  EXPECT_TRUE(exporter.connectToFlb());
  ASSERT_EQ(engine().inits.size(), 1u);
  const EngineInit& init = engine().inits[0];
  EXPECT_EQ(init.plugin, "forward");
  EXPECT_EQ(init.host, "localhost");
  EXPECT_EQ(init.port, "24224");
  EXPECT_THAT(init.params, IsEmpty());
  EXPECT_EQ(init.kind, "evnt");
  EXPECT_EQ(init.second_tag, "evnt");
  EXPECT_TRUE(
      log_.has(6, "[FluentBitExporter] Connected to internal FluentBit for destination 'forward'"));
}

TEST_F(Exporter, KnowsTheDefaultPortOfEachPlugin) {
  for (const auto& [plugin, port] :
       {std::pair{"influxdb", "8086"}, {"es", "9200"}, {"forward", "24224"}, {"ES", "24224"}}) {
    FluentBitExporter exporter;
    exporter.setHostAndPort("elsewhere", 1);
    exporter.setPluginWithDefaultHostAndPort(plugin);
    exporter.connectToFlb();
    EXPECT_EQ(engine().inits.back().plugin, plugin);
    EXPECT_EQ(engine().inits.back().host, "localhost") << plugin;
    EXPECT_EQ(engine().inits.back().port, port) << plugin;
  }
}

TEST_F(Exporter, HandsItsParametersOverUnchanged) {
  fluentbit_export_parameters_t* params = fluentbit_export_init_parameters();
  push_parameter(params, "b", "1");
  push_parameter(params, "a", "");
  push_parameter(params, "b", "2");
  {
    FluentBitExporter exporter;
    exporter.setExportParams(params);
    exporter.setHostAndPort("10.0.0.1", 65535);
    exporter.connectToFlb();
  }
  fluentbit_export_destroy_parameters(params);
  EXPECT_EQ(engine().inits[0].host, "10.0.0.1");
  EXPECT_EQ(engine().inits[0].port, "65535");
  EXPECT_THAT(engine().inits[0].params, ElementsAre(Pair("b", "1"), Pair("a", ""), Pair("b", "2")));
}

TEST_F(Exporter, ReportsAnEngineThatRefuses) {
  engine().refuse_init = true;
  FluentBitExporter exporter;
  EXPECT_FALSE(exporter.connectToFlb());
  EXPECT_THAT(log_.errors(), ElementsAre("[Fluent Bit Exporter] cannot initialize API"));
}

TEST_F(Exporter, SurvivesAnEngineWithoutEntryPoints) {
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", VEK_BARE_ENGINE_PATH);
  FluentBitExporter exporter;
  ASSERT_TRUE(exporter.SharedObjectAPILoaded());
  EXPECT_FALSE(exporter.connectToFlb());
  EXPECT_FALSE(sendText(exporter, "x"));
  EXPECT_FALSE(exporter.closeConnection());
  EXPECT_THAT(log_.errors(),
              ElementsAre("[Fluent Bit Exporter] cannot initialize API",
                          "[Fluent Bit Export] [exportMsgpackBuffer] Cannot send data",
                          "[Fluent Bit Exporter] cannot finalize API"));
}

TEST_F(Exporter, WithoutALibraryNeitherConnectsNorCloses) {
  const EnvGuard path("FLUENT_BIT_EXPORT_API_SO", nullptr);
  const EnvGuard root("VEK_ROOT", "/nonexistent");
  FluentBitExporter exporter;
  EXPECT_FALSE(exporter.SharedObjectAPILoaded());
  log_.clear();
  EXPECT_FALSE(exporter.connectToFlb());
  EXPECT_THAT(log_.lines(), IsEmpty());
  EXPECT_FALSE(exporter.closeConnection());
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{7, "[closeConnection]"}));
}

TEST_F(Exporter, SendsBuffersOnlyWhileConnected) {
  FluentBitExporter exporter;
  EXPECT_FALSE(sendText(exporter, "early"));
  exporter.connectToFlb();
  EXPECT_TRUE(sendText(exporter, "now"));
  EXPECT_FALSE(exporter.exportMsgpackBuffer(nullptr));
  exporter.closeConnection();
  EXPECT_FALSE(sendText(exporter, "late"));
  EXPECT_THAT(engine().calls, ElementsAre("init forward", "add_data 1", "finalize 1"));
  EXPECT_THAT(engine().records, ElementsAre(ElementsAre('n', 'o', 'w')));
  EXPECT_EQ(log_.count(3, "[Fluent Bit Export] [exportMsgpackBuffer] Cannot send data"), 3u);
}

TEST_F(Exporter, ClosesANullContextWhenItWasNeverConnected) {
  FluentBitExporter exporter;
  EXPECT_FALSE(exporter.closeConnection());
  EXPECT_THAT(engine().calls, ElementsAre("finalize 0"));
  EXPECT_THAT(log_.errors(), ElementsAre("[Fluent Bit Exporter] cannot finalize API"));
}

TEST_F(Exporter, ClosesAContextOnce) {
  {
    FluentBitExporter exporter;
    exporter.connectToFlb();
    EXPECT_TRUE(exporter.closeConnection());
    EXPECT_FALSE(exporter.closeConnection());
  }
  EXPECT_THAT(engine().calls, ElementsAre("init forward", "finalize 1", "finalize 0"));
}

TEST_F(Exporter, StaysConnectedWhenTheEngineCannotFinalize) {
  engine().finalize_result = 2;
  {
    FluentBitExporter exporter;
    exporter.connectToFlb();
    EXPECT_FALSE(exporter.closeConnection());
  }
  EXPECT_THAT(engine().calls, ElementsAre("init forward", "finalize 1", "finalize 1"));
}

TEST_F(Exporter, ConnectsAgainAfterClosing) {
  FluentBitExporter exporter;
  exporter.connectToFlb();
  exporter.closeConnection();
  EXPECT_TRUE(exporter.connectToFlb());
  EXPECT_TRUE(sendText(exporter, "again"));
  EXPECT_THAT(engine().calls,
              ElementsAre("init forward", "finalize 1", "init forward", "add_data 2"));
}

TEST_F(Exporter, ClosesItsConnectionWhenItIsDestroyed) {
  {
    FluentBitExporter exporter;
    exporter.connectToFlb();
    log_.clear();
  }
  EXPECT_THAT(engine().calls, ElementsAre("init forward", "finalize 1"));
  EXPECT_THAT(log_.lines(),
              ElementsAre(LogLine{7, "[~FluentBitExporter]"}, LogLine{7, "[closeConnection]"}));
}

TEST_F(Exporter, IsDestroyedAlthoughTheEngineThrows) {
  FluentBitExporter exporter;
  exporter.connectToFlb();
  engine().throws = true;
}

struct LayoutCase {
  const char* plugin;
  const char* layout;
  std::vector<LogLine> lines;
};

std::ostream& operator<<(std::ostream& out, const LayoutCase& c) {
  return out << c.plugin << "/" << c.layout;
}

class Layouts : public ExporterTest, public ::testing::WithParamInterface<LayoutCase> {};

TEST_P(Layouts, AreSettledWithTheseMessages) {
  FluentBitExporter exporter;
  exporter.setPluginWithDefaultHostAndPort(GetParam().plugin);
  log_.clear();
  exporter.setMsgpackDataLayout(GetParam().layout);
  EXPECT_EQ(log_.lines(), GetParam().lines);
}

const LogLine kUnknownUsed{6, "[Fluent Bit Exporter] Using 'flb_std' layout'."};
const LogLine kStandard{6, "[Fluent Bit Exporter] Setting 'flb_std' msgpack data layout."};

INSTANTIATE_TEST_SUITE_P(
    All, Layouts,
    ::testing::Values(
        LayoutCase{"forward",
                   "custom",
                   {{6, "[Fluent Bit Exporter] Setting 'custom' msgpack data layout."}}},
        LayoutCase{"stdout_raw",
                   "custom",
                   {{6, "[Fluent Bit Exporter] Setting 'custom' msgpack data layout."}}},
        LayoutCase{"forward", "flb_std", {kStandard}},
        LayoutCase{"influxdb", "flb_std", {kStandard}},
        LayoutCase{"influxdb",
                   "custom",
                   {{4,
                     "[Fluent Bit Exporter] Ingoring 'custom' msgpack data layout. 'influxdb' "
                     "plugin works only with 'flb_std' layout."},
                    kStandard}},
        LayoutCase{"forward",
                   "json",
                   {{4,
                     "[Fluent Bit Exporter] Msgpack data layout should be   flb_std' or 'custom', "
                     "provided 'json'."},
                    kUnknownUsed}},
        LayoutCase{"influxdb",
                   "Custom",
                   {{4,
                     "[Fluent Bit Exporter] Msgpack data layout should be   flb_std' or 'custom', "
                     "provided 'Custom'."},
                    kUnknownUsed}}));

TEST_F(Exporter, OpensAnEmptyDumpFileNamedAfterItsPlugin) {
  const std::string stem = dir_.file("d");
  const EnvGuard dump("FLUENTBIT_EXPORT_DUMP_FILE", stem.c_str());
  dir_.write("d_forward", "left over");
  {
    FluentBitExporter exporter;
    exporter.OpenDumpFile();
    exporter.connectToFlb();
    sendText(exporter, "x");
  }
  EXPECT_TRUE(std::filesystem::exists(dir_.file("d_forward")));
  EXPECT_EQ(std::filesystem::file_size(dir_.file("d_forward")), 0u);
  EXPECT_THAT(log_.errors(), IsEmpty());
}

TEST_F(Exporter, ReportsADumpFileThatCannotBeOpened) {
  const EnvGuard dump("FLUENTBIT_EXPORT_DUMP_FILE", "/nonexistent/d");
  FluentBitExporter exporter;
  exporter.OpenDumpFile();
  EXPECT_THAT(log_.errors(), ElementsAre("Cannot open dump file '/nonexistent/d_forward'. error: "
                                         "No such file or directory"));
}

TEST_F(Exporter, OpensNoDumpFileUnlessAskedTo) {
  FluentBitExporter exporter;
  exporter.OpenDumpFile();
  EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));
}

}  // namespace
}  // namespace vek::test
