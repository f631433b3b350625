#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "data/opaque_events_writer.h"
#include "data/type_system.h"
#include "tests/exporter/page_fixture.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// Two records back to back, as an aggregator sends them.
const std::vector<uint8_t> kPayload = {0x92, 0x01, 0x81, 0xa1, 'a', 0x02, 0x81, 0xa1, 'b', 0x03};

constexpr std::array<uint8_t, 16> kAggregator = {0x76, 0xb7, 0xd6, 0x96, 0x9d, 0x5a, 0x4b, 0xc5,
                                                 0x80, 0x2f, 0x26, 0x00, 0xd7, 0x3a, 0x97, 0x1b};

class OpaquePath : public PageTest {
 protected:
  OpaquePath() {
    EXPECT_EQ(vek_type_system_add_schema_from_serialized_json(
                  type_system_.get(), writer_.schema().document().c_str(), nullptr),
              0u);
    log_.clear();
  }

  static OpaqueEventsWriter writerOf(const std::array<uint8_t, 16>& app) {
    return OpaqueEventsWriter(
        {.source_id = "agg", .tag = "fluent_aggr", .app_id = app, .event_size = 70});
  }
  bool exportAll(OpaqueEventsWriter& writer) {
    bool all = true;
    for (const Image& page : writer.take_pages()) all &= exportPage(page, by_type_system_);
    return all;
  }

  OpaqueEventsWriter writer_ = writerOf(kAggregator);
};

TEST_F(OpaquePath, HandsAnAssembledEventOnAsItStands) {
  ASSERT_TRUE(writer_.extended(1, {}, {{"fluent_tag", "x"}}, kPayload));
  EXPECT_TRUE(exportAll(writer_));
  EXPECT_THAT(engine().records, ElementsAre(kPayload));
  EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(OpaquePath, PutsAnEventTogetherAcrossPages) {
  const auto half = static_cast<uint32_t>(kPayload.size() / 2);
  ASSERT_TRUE(writer_.start(1, {}, {{"fluent_tag", "x"}}, static_cast<uint32_t>(kPayload.size())));
  ASSERT_TRUE(writer_.chunk(1, 0, Bytes(kPayload).first(half)));
  EXPECT_TRUE(exportAll(writer_));
  EXPECT_THAT(engine().records, IsEmpty());
  ASSERT_TRUE(writer_.chunk(1, half, Bytes(kPayload).subspan(half)));
  EXPECT_TRUE(exportAll(writer_));
  EXPECT_THAT(engine().records, ElementsAre(kPayload));
}

TEST_F(OpaquePath, WarnsOfAnEventWithoutItsTagAndSendsItAllTheSame) {
  ASSERT_TRUE(writer_.whole({}, Bytes(kPayload).first(6)));
  EXPECT_TRUE(exportAll(writer_));
  EXPECT_THAT(engine().records, SizeIs(1));
  EXPECT_THAT(log_.warnings(), ElementsAre("[Fluent Aggr Exporter] An event without endpoint_url"));
}

TEST_F(OpaquePath, PassesOverEventsOfOtherApplications) {
  OpaqueEventsWriter other = writerOf({1, 2, 3});
  ASSERT_TRUE(other.whole({}, Bytes(kPayload).first(6)));
  EXPECT_TRUE(exportAll(other));
  EXPECT_THAT(engine().records, IsEmpty());
}

TEST_F(OpaquePath, TakesPagesWhateverTheSourceTagsAre) {
  listTags({"another"});
  ASSERT_TRUE(writer_.extended(1, {}, {{"fluent_tag", "x"}}, kPayload));
  EXPECT_TRUE(exportAll(writer_));
  EXPECT_THAT(engine().records, ElementsAre(kPayload));
}

TEST_F(OpaquePath, ReportsAPageThatFails) {
  EXPECT_FALSE(exportPage(countersPage("fluent_aggr"), by_type_system_));
  EXPECT_TRUE(log_.has(3, "[Fluent Bit Exporter] export for vek opaque event data page failed"));
  EXPECT_FALSE(exporter_.exportDataPage(pageOf(countersPage("fluent_aggr")), nullptr));
}

}  // namespace
}  // namespace vek::test
