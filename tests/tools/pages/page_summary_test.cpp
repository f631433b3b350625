#include "tools/pages/page_summary.h"

#include <gtest/gtest.h>

#include "data/page_writer.h"
#include "data/schema.h"
#include "tests/support/guarded_bytes.h"

namespace vek::tools {
namespace {

using Image = std::vector<uint8_t>;

// Knows one type of 24 bytes, once a schemas block was seen.
const vek_type_definition_t* find_type(void* context, const vek_schema_block_t* schemas,
                                       const vek_event_header_t* header) {
  if (!schemas || header->type_index != 3) return nullptr;
  return static_cast<const vek_type_definition_t*>(context);
}

class PageSummaryTest : public testing::Test {
 protected:
  PageSummaryTest() {
    type_.size = 24;
    schemas_.find_event_type = find_type;
    schemas_.context = &type_;
  }

  PageSummary summarize(const Image& image) {
    const test::GuardedBytes guarded(image);
    return summarize_page(guarded.as<vek_data_page_t>(), schemas_);
  }

  vek_type_definition_t type_{};
  vek_exporter_schema_manager_t schemas_{};
};

TEST_F(PageSummaryTest, ACountersBlockIsOneRecord) {
  PageWriter page("s", "t");
  page.counters_block(1234, Image(64));
  const PageSummary summary = summarize(page.finish());
  EXPECT_EQ(summary.records, 1u);
  EXPECT_EQ(summary.first_time_us, 1234u);
  EXPECT_FALSE(summary.holds_chunks);
}

TEST_F(PageSummaryTest, BlocksLieAtTheirBoundaries) {
  PageWriter page("s", "t", 128);
  page.counters_block(10, Image(64));
  page.next_block();
  page.counters_block(11, Image(64));
  page.next_block();
  page.counters_block(12, Image(112));
  const PageSummary summary = summarize(page.finish());
  EXPECT_EQ(summary.records, 3u);
  EXPECT_EQ(summary.first_time_us, 10u);
}

TEST_F(PageSummaryTest, BlocksAreCountedByKind) {
  PageWriter page("s", "t", 128);
  page.counters_block(30, Image(64));
  page.next_block();
  const std::vector<Image> ids{Image(16, 1)};
  page.schemas_block(ids);
  page.events_block(20, 0, 3, 1, Image(24));
  page.events_block(10, 0, 9, 2, Image(8));  // no such type
  page.next_block();
  page.raw(Image{'V', 'E', 'K', '?', 0, 0, 0, 0});
  page.next_block();
  page.raw(Image(64));  // padding
  const PageSummary summary = summarize(page.finish());
  EXPECT_EQ(summary.counters_blocks, 1u);
  EXPECT_EQ(summary.schemas_blocks, 1u);
  EXPECT_EQ(summary.events_blocks, 2u);
  EXPECT_EQ(summary.events, 3u);
  EXPECT_EQ(summary.unknown_types, 1u);
  EXPECT_EQ(summary.unknown_blocks, 1u);
  EXPECT_EQ(summary.first_time_us, 30u);
  EXPECT_EQ(summary.last_time_us, 10u);
}

TEST_F(PageSummaryTest, EventsAreCountedOneByOneBehindTheirSchemas) {
  PageWriter page("s", "t");
  const std::vector<Image> ids{Image(16, 1)};
  page.schemas_block(ids);
  page.events_block(77, 0, 3, 5, Image(5 * 24));
  page.events_block(78, 0, 3, 2, Image(2 * 24));
  const PageSummary summary = summarize(page.finish());
  EXPECT_EQ(summary.records, 7u);
  EXPECT_EQ(summary.first_time_us, 77u);
}

TEST_F(PageSummaryTest, AnUnknownTypeEndsItsBlockOnly) {
  PageWriter page("s", "t", 256);
  page.events_block(1, 0, 9, 4, Image(40));  // no schemas block yet, and no such type
  page.events_block(1, 0, 3, 2, Image(48));  // cannot be found behind it
  page.next_block();
  page.counters_block(2, Image(8));
  EXPECT_EQ(summarize(page.finish()).records, 5u);
}

TEST_F(PageSummaryTest, AnEmptyPageHoldsNothing) {
  PageWriter page("s", "t");
  const PageSummary summary = summarize(page.finish());
  EXPECT_EQ(summary.records, 0u);
  EXPECT_FALSE(summary.first_time_us.has_value());
}

TEST_F(PageSummaryTest, PagesOfChunksAreMarkedAndNotCounted) {
  for (const char* tag : {"fluent_aggr", "dict_", "dict_python"}) {
    SCOPED_TRACE(tag);
    PageWriter page("s", tag);
    page.counters_block(5, Image(64));
    const PageSummary summary = summarize(page.finish());
    EXPECT_TRUE(summary.holds_chunks);
    EXPECT_EQ(summary.records, 0u);
    EXPECT_EQ(summary.first_time_us, 5u);
  }
}

TEST_F(PageSummaryTest, StaysInsideThePageWhateverItsHeaderSays) {
  PageWriter page("s", "t", 64);
  page.counters_block(10, Image(32));
  page.next_block();
  const std::vector<Image> ids{Image(16, 1), Image(16, 2)};
  page.schemas_block(ids);
  const Image whole = page.finish();
  for (const uint64_t filled : {uint64_t{0}, uint64_t{719}, uint64_t{725}, UINT64_MAX}) {
    for (const uint64_t block_size : {uint64_t{1}, uint64_t{15}, uint64_t{1} << 63, UINT64_MAX}) {
      Image image = whole;
      std::memcpy(image.data() + 16, &filled, 8);
      std::memcpy(image.data() + 24, &block_size, 8);
      EXPECT_LE(summarize(image).records, whole.size());
    }
  }
}

TEST_F(PageSummaryTest, EveryCutOfAPageCanBeSummarized) {
  PageWriter page("s", "t");
  const std::vector<Image> ids{Image(16, 1)};
  page.schemas_block(ids);
  page.events_block(77, 0, 3, 5, Image(5 * 24));
  const Image whole = page.finish();
  for (uint64_t total = 720; total <= whole.size(); ++total) {
    Image image(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(total));
    std::memcpy(image.data() + 8, &total, 8);
    EXPECT_LE(summarize(image).records, 5u);
  }
}

}  // namespace
}  // namespace vek::tools
