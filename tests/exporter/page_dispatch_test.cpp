#include <string>

#include "tests/exporter/page_fixture.h"

namespace vek::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

TEST_F(PageTest, SendsAggregatedPagesPastTheBlockPathsWhateverTheTags) {
  listTags({"a"});
  EXPECT_FALSE(exportPage(countersPage("fluent_aggr"), by_type_system_));
  EXPECT_FALSE(exportPage(countersPage("fluent_aggr"), by_manager_));
  EXPECT_EQ(log_.count(3, "[opaque events extractor] unexpected VEK_COUNTERS_BLOCK found"), 2u);
  EXPECT_EQ(log_.count(3, "[Fluent Bit Exporter] export for vek opaque event data page failed"),
            2u);
  EXPECT_THAT(records(), IsEmpty());
  EXPECT_THAT(log_.at(7), Not(Contains(HasSubstr("data_source.tag"))));
}

TEST_F(PageTest, TakesOnlyTheWholeTagForAggregatedEvents) {
  for (const char* tag :
       {"fluent_aggr2", "fluent_agg", "Fluent_aggr", " fluent_aggr", "Dict_x", "dict", "dictx"}) {
    engine().records.clear();
    EXPECT_TRUE(exportPage(countersPage(tag), by_type_system_)) << tag;
    EXPECT_THAT(records(), SizeIs(1)) << tag;
  }
}

TEST_F(PageTest, ExportsNoDictionariesToPluginsThatCannotTakeThem) {
  exporter_.setPluginWithDefaultHostAndPort("influxdb");
  exporter_.setMsgpackDataLayout("flb_std");
  listTags({"a"});
  log_.clear();
  EXPECT_TRUE(exportPage(countersPage("dict_x"), by_type_system_));
  EXPECT_THAT(log_.lines(),
              ElementsAre(LogLine{7,
                                  "[Fluent Bit Export] [exportDictionaryDataPage] No export made - "
                                  "unsupported output format"}));
  EXPECT_THAT(engine().calls, IsEmpty());
}

}  // namespace
}  // namespace vek::test
