// Counters pages from the collector's call to the bytes that reach the engine, on both ways by
// which the plug-in knows schemas.
#include "tests/e2e/e2e_fixture.h"

namespace vek::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Counters : public E2eTest, public ::testing::WithParamInterface<Provider::Way> {
 protected:
  std::vector<uint8_t> page(std::string_view source, std::string_view tag, uint64_t number = 7) {
    PageWriter writer = provider_.page(source, tag);
    writer.counters_block(Provider::kTime, Provider::values(number));
    return writer.finish();
  }

  // The records of these images through a fresh plug-in object.
  std::vector<std::string> sent(const std::vector<std::vector<uint8_t>>& images) {
    engine() = {};
    Exporters exporters(config_.path());
    EXPECT_EQ(exporters.connect(), 1);
    for (const auto& image : images) EXPECT_EQ(exporters.page(image, provider_.schemas()), 1);
    return records();
  }

  const Provider provider_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(, Counters,
                         ::testing::Values(Provider::Way::kTypeSystem,
                                           Provider::Way::kSchemaManager),
                         [](const auto& way) {
                           return way.param == Provider::Way::kTypeSystem ? "TypeSystem"
                                                                          : "SchemaManager";
                         });

TEST_P(Counters, LeaveInTheStandardLayout) {
  write_exp("a", "plugin_name = stdout\n");
  EXPECT_THAT(sent({page("lab", "")}), ElementsAre(Provider::record(7, "lab")));
  EXPECT_THAT(log_.at(3), IsEmpty());
  EXPECT_THAT(log_.at(4), IsEmpty());
}

TEST_P(Counters, LeaveInTheCustomLayout) {
  write_exp("a", "plugin_name = stdout_raw\nmsgpack_data_layout = custom\n");
  EXPECT_THAT(
      sent({page("lab", ""), page("", "")}),
      ElementsAre("{\"timestamp\":1700000000500000,\"type\":\"counters\",\"source\":\"lab\","
                  "\"values\":{\"rx_bytes\":7,\"temp\":41.5,\"flags\":1099511627776,"
                  "\"delta\":-33,\"firmware\":\"v1\",\"port_guid\":\"0xff\",\"tx_bytes\":8}}",
                  "{\"timestamp\":1700000000500000,\"type\":\"counters\",\"values\":"
                  "{\"rx_bytes\":7,\"temp\":41.5,\"flags\":1099511627776,\"delta\":-33,"
                  "\"firmware\":\"v1\",\"port_guid\":\"0xff\",\"tx_bytes\":8}}"));
}

// Receivers of the plug-in's records rely on the count as it is; the engine mends it.
TEST_P(Counters, AnnounceTheSourceThatAPageDoesNotHave) {
  write_exp("a", "plugin_name = stdout\n");
  EXPECT_THAT(sent({page("", "")}), ElementsAre(::testing::HasSubstr("...1 missing")));
}

TEST_P(Counters, KeepTheCustomLayoutFromOutputsThatDoNotTakeIt) {
  write_exp("a", "plugin_name = influxdb\nmsgpack_data_layout = custom\n");
  EXPECT_THAT(sent({page("lab", "")}), ElementsAre(Provider::record(7, "lab")));
  EXPECT_THAT(log_.at(4),
              ElementsAre("[Fluent Bit Exporter] Ingoring 'custom' msgpack data layout. "
                          "'influxdb' plugin works only with 'flb_std' layout."));
}

TEST_P(Counters, AreChosenAndRenamedByACounterSetFile) {
  const std::string cset =
      config_.write("chosen.cset",
                    "[section]\nbytes-tx  # one\nreceived=^rx_bytes$\nt=^temp$\n"
                    "meta_field_add:site=lab1\n"
                    "meta_field_alias:source=host\n"
                    "meta_field_alias:port_guid=guid\n");
  write_exp("a", "plugin_name = stdout\ncounterset = " + cset + "\n");
  EXPECT_THAT(sent({page("lab", "")}),
              ElementsAre("[1700000000.5,{\"timestamp\":1700000000500000,\"type\":\"counters\","
                          "\"source\":\"lab\",\"site\":\"lab1\",\"host\":\"lab\",\"guid\":255,\"rx_"
                          "bytes\":7,\"t\":41.5}]"));
}

TEST_P(Counters, LeaveWholeWhenTheCounterSetFileCannotBeRead) {
  write_exp("a", "plugin_name = stdout\ncounterset = /nonexistent.cset\n");
  EXPECT_THAT(sent({page("lab", "")}), ElementsAre(Provider::record(7, "lab")));
  EXPECT_THAT(log_.at(3), ElementsAre("Cannot open counterset file '/nonexistent.cset'"));
  EXPECT_THAT(log_.at(6),
              Contains("Cannot open '/nonexistent.cset', will export whole counter set."));
}

TEST_P(Counters, PassOnlyTheSourceTagsThatAreListed) {
  write_exp("a", "plugin_name = stdout\nsource_tag = counters,ib\n");
  EXPECT_THAT(sent({page("s1", ""), page("s2", "ib"), page("s3", "IB"), page("s4", "a")}),
              ElementsAre(Provider::record(7, "s1"), Provider::record(7, "s2")));
  write_exp("a", "plugin_name = stdout\nsource_tag = ib\n");
  EXPECT_THAT(sent({page("s1", ""), page("s2", "ib")}), ElementsAre(Provider::record(7, "s2")));
}

TEST_P(Counters, ReachEveryExporterInItsOwnForm) {
  const std::string cset = config_.write("one.cset", "rx_bytes\n");
  write_exp("a", "plugin_name = stdout\n");
  write_exp("b", "plugin_name = stdout\nsource_tag = other\n");
  write_exp("c", "plugin_name = stdout\ncounterset = " + cset + "\n");
  EXPECT_THAT(sent({page("lab", "")}),
              ::testing::UnorderedElementsAre(
                  Provider::record(7, "lab"),
                  "[1700000000.5,{\"timestamp\":1700000000500000,\"type\":\"counters\","
                  "\"source\":\"lab\",\"rx_bytes\":7}]"));
}

TEST_P(Counters, ComeFromEveryBlock) {
  write_exp("a", "plugin_name = stdout\n");
  PageWriter writer = provider_.page("lab", "", 128);
  for (uint64_t i = 1; i <= 3; ++i) {
    writer.counters_block(Provider::kTime, Provider::values(i));
    writer.next_block();
  }
  EXPECT_THAT(sent({writer.finish()}),
              ElementsAre(Provider::record(1, "lab"), Provider::record(2, "lab"),
                          Provider::record(3, "lab")));
}

TEST_P(Counters, TakeASourceThatFillsItsField) {
  write_exp("a", "plugin_name = stdout\n");
  const std::string source(64, 's');
  EXPECT_THAT(sent({page(source, "")}), ElementsAre(Provider::record(7, source)));
}

TEST_P(Counters, ComeNotFromAPageOfItsHeaderAlone) {
  write_exp("a", "plugin_name = stdout\n");
  PageWriter writer = provider_.page("lab", "");
  EXPECT_THAT(sent({writer.finish()}), IsEmpty());
  EXPECT_EQ(log_.at(4).size(), 2u);
  EXPECT_THAT(log_.at(4)[0], ::testing::HasSubstr("data page is empty"));
}

}  // namespace
}  // namespace vek::test
