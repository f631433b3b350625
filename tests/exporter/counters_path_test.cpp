#include <string>

#include "tests/exporter/page_fixture.h"

namespace vek::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

TEST_F(PageTest, AnnouncesCountersOfATypeSystemKnownBeforeConnecting) {
  FluentBitExporter exporter;
  exporter.updateSetsWithTypeSystem(nullptr);
  exporter.updateSetsWithTypeSystem(OwnedTypeSystem(vek_create_type_system()).get());
  exporter.updateSetsWithTypeSystem(typeSystem({"rx"}, 2).get());
  exporter.connectToFlb();
  EXPECT_EQ(engine().inits.back().kind, "evnt");
  exporter.closeConnection();
  exporter.updateSetsWithTypeSystem(type_system_.get());
  exporter.connectToFlb();
  EXPECT_EQ(engine().inits.back().kind, "cntr");
  exporter.closeConnection();
  exporter.freeCounterSet();
  exporter.connectToFlb();
  EXPECT_EQ(engine().inits.back().kind, "evnt");
}

TEST_F(PageTest, GivesOneCounterSetAnIdentifier) {
  const OwnedTypeSystem same = typeSystem({"rx", "tx"});
  const OwnedTypeSystem other = typeSystem({"rx"});
  vek_counter_set_t* const set = exporter_.getCset(type_system_->counters_schema, nullptr);
  EXPECT_NE(set, nullptr);
  EXPECT_EQ(exporter_.getCset(same->counters_schema, nullptr), set);
  EXPECT_NE(exporter_.getCset(other->counters_schema, nullptr), set);
  EXPECT_EQ(exporter_.getCset(nullptr, nullptr), nullptr);
}

TEST_F(PageTest, UsesItsCounterSetFile) {
  const std::string file = dir_.write("c.cset", "received=rx\nmeta_field_add:site=lab1\n");
  exporter_.setCountersetFile(file.c_str());
  EXPECT_TRUE(exportPage(countersPage(), by_type_system_));
  EXPECT_THAT(records(), ElementsAre("[1.5,{\"timestamp\":1500000,\"type\":\"counters\",\"source\":"
                                     "\"lab-switch\",\"site\":\"lab1\",\"received\":7}]"));
}

TEST_F(PageTest, ReadsItsCounterSetFileAgainOnceTheSetsAreFreed) {
  const std::string file = dir_.write("c.cset", "rx\n");
  exporter_.setCountersetFile(file.c_str());
  exportPage(countersPage(), by_manager_);
  dir_.write("c.cset", "tx\n");
  exportPage(countersPage(), by_manager_);
  exporter_.freeCounterSets();
  exportPage(countersPage(), by_manager_);
  ASSERT_THAT(records(), SizeIs(3));
  EXPECT_THAT(records()[1], HasSubstr("\"rx\""));
  EXPECT_THAT(records()[2], AllOf(HasSubstr("\"tx\""), Not(HasSubstr("\"rx\""))));
}

}  // namespace
}  // namespace vek::test
