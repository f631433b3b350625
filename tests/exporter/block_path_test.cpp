#include "exporter/block_path.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "tests/exporter/page_fixture.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Type system path.

TEST_F(PageTest, ListsTheTagsThatAPageWasComparedWith) {
  listTags({"a", "b"});
  log_.clear();
  EXPECT_TRUE(exportPage(countersPage("c"), by_type_system_));
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{7, "data_page->data_source.tag = 'c'"},
                                        LogLine{7, "page tag does not match list:"},
                                        LogLine{7, "\t\t\ta"}, LogLine{7, "\t\t\tb"}));
}

TEST_F(PageTest, ListsNoTagsOnTheSchemaManagerPath) {
  listTags({"a", "b"});
  log_.clear();
  EXPECT_TRUE(exportPage(countersPage("c"), by_manager_));
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{7, "data_page->data_source.tag = 'c'"}));
}

TEST_F(PageTest, NeverAppliesCountersOfAnEarlierPage) {
  const OwnedTypeSystem bare(vek_create_type_system());
  vek_exporter_schema_manager_t without{};
  vek_exporter_schema_manager_from_type_system(bare.get(), &without);
  EXPECT_TRUE(exportPage(countersPage(), by_type_system_));
  engine().records.clear();
  EXPECT_TRUE(exportPage(countersPage(), without));
  EXPECT_THAT(records(), IsEmpty());
  EXPECT_TRUE(log_.has(
      7, "[Fluent Bit Export] [exportVekDataPage] no counters schema. Skipping counters block."));
  // What is announced goes by what was ever seen.
  exporter_.closeConnection();
  exporter_.connectToFlb();
  EXPECT_EQ(engine().inits.back().kind, "cntr");
}

TEST_F(PageTest, TakesASchemaWithSeveralSetsForOneWithoutCounters) {
  const OwnedTypeSystem several = typeSystem({"rx", "tx"}, 2);
  vek_exporter_schema_manager_t record{};
  vek_exporter_schema_manager_from_type_system(several.get(), &record);
  EXPECT_TRUE(exportPage(countersPage(), record));
  EXPECT_THAT(records(), IsEmpty());
  exporter_.closeConnection();
  exporter_.connectToFlb();
  EXPECT_EQ(engine().inits.back().kind, "evnt");
}

TEST_F(PageTest, ExportsWithoutAnySchemas) {
  vek_exporter_schema_manager_t empty{};
  EXPECT_TRUE(exportPage(countersPage(), empty));
  empty.has_schema_manager = 1;
  EXPECT_TRUE(exportPage(countersPage(), empty));
  EXPECT_TRUE(exporter_.exportDataPage(pageOf(countersPage()), nullptr));
  EXPECT_THAT(records(), IsEmpty());
}

TEST_F(PageTest, WorksItsCounterSetOutBeforeItLooksWhetherAPageIsEmpty) {
  EXPECT_FALSE(exportPage(writer().finish(), by_type_system_));
  exporter_.closeConnection();
  exporter_.connectToFlb();
  EXPECT_EQ(engine().inits.back().kind, "cntr");
}

// Schema manager path.

TEST_F(PageTest, SkipsCountersWhoseSchemaTheManagerDoesNotKnow) {
  Image image = countersPage();
  headerOf(image).schema_id[0] ^= 1;
  EXPECT_TRUE(exportPage(image, by_manager_));
  EXPECT_THAT(records(), IsEmpty());
  EXPECT_TRUE(log_.has(7,
                       "[Fluent Bit Export] [exportVekDataPage_kix] no counters schema. Skipping "
                       "counters block."));
}

TEST_F(PageTest, FindsASchemaFileThatArrivesBetweenTwoPages) {
  SchemaManager manager;
  manager.setSchemaDir(dir_.path());
  vek_exporter_schema_manager_t record{};
  vek_exporter_schema_manager_from_manager(&manager, &record);
  const Image image = countersPage();
  EXPECT_TRUE(exportPage(image, record));
  EXPECT_THAT(records(), IsEmpty());
  char id[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(pageOf(image)->schema_id, id);
  dir_.write(std::string("schema_") + id + ".json", countersDocument({"rx", "tx"}));
  EXPECT_TRUE(exportPage(image, record));
  EXPECT_THAT(records(), ElementsAre(kRecord));
}

TEST_F(PageTest, TakesNoSchemaOfAnEarlierManagerAtTheSamePlace) {
  std::optional<SchemaManager> manager(std::in_place);
  manager->appendTypeSystem(std::shared_ptr<const vek_type_system_t>(typeSystem({"rx", "tx"})));
  vek_exporter_schema_manager_t record{};
  vek_exporter_schema_manager_from_manager(&*manager, &record);
  EXPECT_TRUE(exportPage(countersPage(), record));
  EXPECT_THAT(records(), ElementsAre(kRecord));
  manager.emplace();
  EXPECT_TRUE(exportPage(countersPage(), record));
  EXPECT_THAT(records(), ElementsAre(kRecord));
}

}  // namespace
}  // namespace vek::test
