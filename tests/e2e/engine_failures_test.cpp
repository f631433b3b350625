// Engines that refuse, throw, or are not what they should be.
#include "tests/e2e/e2e_fixture.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EngineFailures : public E2eTest {
 protected:
  EngineFailures() {
    PageWriter writer = provider_.page("lab", "");
    writer.counters_block(Provider::kTime, Provider::values(1));
    image_ = writer.finish();
  }

  const Provider provider_{Provider::Way::kTypeSystem};
  std::vector<uint8_t> image_;
};

constexpr const char* kCannotConnect =
    "[FluentBitExportersArray] [connectEnabledExporters] Cannot connect to internal Fluent Bit";
constexpr const char* kCannotDisconnect =
    "[FluentBitExportersArray] [disconnectExporters] Cannot disconnect from internal Fluent Bit";

TEST_F(EngineFailures, ASecondExporterIsNotConnectedAfterAFirstThatFailed) {
  write_exp("a", "plugin_name = one\n");
  write_exp("b", "plugin_name = two\n");
  engine().refuse_nth = 1;
  Exporters exporters(config_.path());
  EXPECT_EQ(exporters.connect(), 1);
  EXPECT_EQ(engine().inits.size(), 1u);
  EXPECT_THAT(log_.at(3),
              ElementsAre("[Fluent Bit Exporter] cannot initialize API", kCannotConnect));
  EXPECT_EQ(exporters.page(image_, provider_.schemas()), 1);
  EXPECT_THAT(engine().records, IsEmpty());
  exporters.destroy();
  EXPECT_EQ(engine().calls.size(), 1u);  // nothing to finalize
}

TEST_F(EngineFailures, AFirstExporterServesWhenTheSecondFails) {
  write_exp("a", "plugin_name = one\n");
  write_exp("b", "plugin_name = two\n");
  engine().refuse_nth = 2;
  Exporters exporters(config_.path());
  EXPECT_EQ(exporters.connect(), 1);
  EXPECT_EQ(exporters.page(image_, provider_.schemas()), 1);
  EXPECT_THAT(records(), ElementsAre(Provider::record(1, "lab")));
}

TEST_F(EngineFailures, DisconnectingStopsAtAFailureAndDestroyingFinalizesTheRest) {
  write_exp("a", "plugin_name = one\n");
  write_exp("b", "plugin_name = two\n");
  engine().finalize_result = 1;
  Exporters exporters(config_.path());
  exporters.connect();
  engine().calls.clear();
  exporters.disconnect();
  EXPECT_THAT(engine().calls, ElementsAre("finalize 1"));
  EXPECT_THAT(log_.at(3),
              ElementsAre("[Fluent Bit Exporter] cannot finalize API", kCannotDisconnect));
  exporters.destroy();
  EXPECT_THAT(engine().calls, ElementsAre("finalize 1", "finalize 1", "finalize 2"));
}

TEST_F(EngineFailures, AnExceptionOfInitFailsConnect) {
  write_exp("a", "");
  engine().throws_from = "init";
  Exporters exporters(config_.path());
  EXPECT_EQ(exporters.connect(), 0);
}

TEST_F(EngineFailures, AnExceptionOfAddDataFailsThePage) {
  write_exp("a", "");
  engine().throws_from = "add_data";
  Exporters exporters(config_.path());
  EXPECT_EQ(exporters.connect(), 1);
  EXPECT_EQ(exporters.page(image_, provider_.schemas()), 0);
  engine().throws_from = "";
  EXPECT_EQ(exporters.page(image_, provider_.schemas()), 1);
  EXPECT_THAT(records(), ElementsAre(Provider::record(1, "lab")));
}

TEST_F(EngineFailures, AnExceptionOfFinalizeNeverLeavesThePlugin) {
  write_exp("a", "");
  engine().throws_from = "finalize";
  Exporters exporters(config_.path());
  exporters.connect();
  exporters.disconnect();
  exporters.destroy();
  EXPECT_THAT(engine().calls, ElementsAre("init forward", "finalize 1", "finalize 1"));
}

TEST_F(EngineFailures, AnEngineWithoutEntryPointsServesNothingAndHarmsNothing) {
  const EnvGuard bare("FLUENT_BIT_EXPORT_API_SO", VEK_BARE_ENGINE_PATH);
  write_exp("a", "");
  Exporters exporters(config_.path());
  ASSERT_NE(exporters.handle(), nullptr);
  EXPECT_EQ(exporters.connect(), 1);
  EXPECT_EQ(exporters.page(image_, provider_.schemas()), 1);
  exporters.disconnect();
  exporters.destroy();
  EXPECT_THAT(log_.at(3),
              ElementsAre("[Fluent Bit Exporter] cannot initialize API", kCannotConnect,
                          "[Fluent Bit Exporter] cannot finalize API", kCannotDisconnect));
}

}  // namespace
}  // namespace vek::test
