#include <cstring>
#include <string>
#include <vector>

#include "tests/exporter/page_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// What holds on both block paths alike.
class BothPaths : public PageTest, public ::testing::WithParamInterface<bool> {
 protected:
  const vek_exporter_schema_manager_t& record() const {
    return GetParam() ? by_manager_ : by_type_system_;
  }
  std::string name() const { return GetParam() ? "exportVekDataPage_kix" : "exportVekDataPage"; }
  std::string failure() const {
    return std::string("[Fluent Bit Exporter] export for vek data page failed") +
           (GetParam() ? " (kix case)" : "");
  }
};

INSTANTIATE_TEST_SUITE_P(, BothPaths, ::testing::Bool(), [](const auto& type) {
  return type.param ? "SchemaManager" : "TypeSystem";
});

TEST_P(BothPaths, SendARecordForACountersBlock) {
  EXPECT_TRUE(exportPage(countersPage(), record()));
  EXPECT_THAT(records(), ElementsAre(kRecord));
  EXPECT_THAT(log_.warnings(), IsEmpty());
  EXPECT_THAT(log_.errors(), IsEmpty());
}

TEST_P(BothPaths, SendARecordForEachBlock) {
  PageWriter page = writer("", 64);
  for (uint64_t i = 1; i <= 3; ++i) {
    page.counters_block(i, values({i, i}));
    page.next_block();
  }
  EXPECT_TRUE(exportPage(page.finish(), record()));
  EXPECT_THAT(records(), SizeIs(3));
}

TEST_P(BothPaths, SendInTheLayoutThatWasSet) {
  exporter_.setMsgpackDataLayout("custom");
  EXPECT_TRUE(exportPage(countersPage(), record()));
  EXPECT_THAT(records(), ElementsAre("{\"timestamp\":1500000,\"type\":\"counters\",\"source\":"
                                     "\"lab-switch\",\"values\":{\"rx\":7,\"tx\":300}}"));
}

TEST_P(BothPaths, AnnounceCountersOnceTheyHaveSeenSome) {
  exportPage(countersPage(), record());
  exporter_.closeConnection();
  exporter_.connectToFlb();
  EXPECT_EQ(engine().inits.back().kind, "cntr");
}

TEST_P(BothPaths, RefuseAPageOfItsHeaderAlone) {
  Image image = writer().finish();
  ASSERT_EQ(image.size(), 720u);
  EXPECT_FALSE(exportPage(image, record()));
  EXPECT_THAT(log_.warnings(), ElementsAre("[" + name() + "] data page is empty", failure()));
}

TEST_P(BothPaths, RefuseAPageWhoseSizesLieBelowItsHeader) {
  for (const uint64_t size : {0u, 16u, 719u, 720u}) {
    Image image = countersPage();
    headerOf(image).filled = size;
    EXPECT_FALSE(exportPage(image, record())) << size;
    headerOf(image).filled = image.size();
    headerOf(image).total = size;
    EXPECT_FALSE(exportPage(image, record())) << size;
  }
  EXPECT_EQ(log_.count(4, "[" + name() + "] data page is empty"), 8u);
  EXPECT_THAT(records(), IsEmpty());
}

TEST_P(BothPaths, StepOverSchemasBlocks) {
  PageWriter page = writer();
  page.schemas_block(std::vector<std::vector<uint8_t>>{std::vector<uint8_t>(16, 1)});
  page.counters_block(1'500'000, values({7, 300}));
  EXPECT_TRUE(exportPage(page.finish(), record()));
  EXPECT_THAT(records(), ElementsAre(kRecord));
}

TEST_P(BothPaths, EndABlockAtARecordOfAnotherKind) {
  for (const char letter : {'B', 'P', 'X', 'C', '\0'}) {
    engine().records.clear();
    PageWriter page = writer("", 64);
    const uint8_t magic[] = {'V', 'E', 'K', static_cast<uint8_t>(letter)};
    page.raw(magic);
    page.counters_block(1, values({1, 1}));  // inside the same block: never reached
    page.next_block();
    page.counters_block(1'500'000, values({7, 300}));
    EXPECT_TRUE(exportPage(page.finish(), record()));
    EXPECT_THAT(records(), ElementsAre(kRecord)) << letter;
  }
}

TEST_P(BothPaths, TakeOneCountersRecordABlock) {
  PageWriter page = writer("", 128);
  page.counters_block(1'500'000, values({7, 300}));
  page.counters_block(2, values({2, 2}));
  EXPECT_TRUE(exportPage(page.finish(), record()));
  EXPECT_THAT(records(), ElementsAre(kRecord));
}

// The limits are the process's, so each test of one has a process of its own.
TEST_P(BothPaths, SendTheBlocksBeforeOneThatReachesPastFilled) {
  const auto result = run_in_child([&] {
    PageWriter page = writer("", 64);
    page.counters_block(1'500'000, values({7, 300}));
    page.next_block();
    page.counters_block(1, values({1, 1}));
    Image image = page.finish();
    headerOf(image).filled = 720 + 64 + 31;
    EXPECT_TRUE(exportPage(image, record()));
    EXPECT_THAT(records(), ElementsAre(kRecord));
    EXPECT_THAT(log_.errors(), SizeIs(1));
  });
  EXPECT_EQ(result.exit_code, 0) << result.standard_output << result.standard_error;
}

TEST_P(BothPaths, ReportCountersThatReachPastTheirBlockOnceInTenSeconds) {
  const auto result = run_in_child([&] {
    PageWriter page = writer("", 31);  // a byte short
    for (int i = 0; i < 3; ++i) {
      page.counters_block(1, values({1}));
      page.next_block();
    }
    const Image image = page.finish();
    EXPECT_TRUE(exportPage(image, record()));
    EXPECT_TRUE(exportPage(image, record()));
    EXPECT_THAT(records(), IsEmpty());
    EXPECT_THAT(log_.errors(), ElementsAre("[Fluent Bit Export] [" + name() +
                                           "] counters reach past their block (31 bytes, 32 "
                                           "needed). Skipping counters block."));
  });
  EXPECT_EQ(result.exit_code, 0) << result.standard_output << result.standard_error;
}

TEST_P(BothPaths, RefuseAPageAtItsFirstEventsBlockAndSaySoOnce) {
  const auto result = run_in_child([&] {
    PageWriter page = writer("", 64);
    page.counters_block(1'500'000, values({7, 300}));
    page.next_block();
    page.events_block(1, 0, 0, 1, std::vector<uint8_t>(8));
    page.next_block();
    page.counters_block(2, values({2, 2}));
    const Image image = page.finish();
    EXPECT_FALSE(exportPage(image, record()));
    EXPECT_THAT(records(), ElementsAre(kRecord)) << "what lies before the events is sent";
    EXPECT_FALSE(exportPage(image, record()));
    EXPECT_THAT(log_.errors(), ElementsAre("[Fluent Bit Export] [" + name() +
                                           "] field_set_ is not set. Skipping data page."));
    EXPECT_EQ(log_.count(4, failure()), 2u) << "this one is not limited";
  });
  EXPECT_EQ(result.exit_code, 0) << result.standard_output << result.standard_error;
}

TEST_P(BothPaths, SendNothingWhileUnconnected) {
  exporter_.closeConnection();
  engine().calls.clear();
  EXPECT_TRUE(exportPage(countersPage(), record()));
  EXPECT_THAT(engine().calls, IsEmpty());
}

TEST_P(BothPaths, LetAPageWithoutATagPassWhenCountersAreListed) {
  listTags({"a", "counters"});
  EXPECT_TRUE(exportPage(countersPage(""), record()));
  EXPECT_THAT(records(), SizeIs(1));
  listTags({"a"});
  EXPECT_TRUE(exportPage(countersPage(""), record()));
  EXPECT_THAT(records(), SizeIs(1));
}

TEST_P(BothPaths, CompareTagsExactly) {
  listTags({"a", "b c", "0123456789abcdef"});
  const std::vector<std::pair<std::string, bool>> cases = {
      {"a", true},  {"b c", true}, {"A", false},        {"aa", false},
      {"b", false}, {" a", false}, {"counters", false}, {"0123456789abcdef", true}};
  for (const auto& [tag, passes] : cases) {
    engine().records.clear();
    EXPECT_TRUE(exportPage(countersPage(tag), record())) << tag;
    EXPECT_EQ(records().size(), passes ? 1u : 0u) << tag;
    EXPECT_TRUE(log_.has(7, "data_page->data_source.tag = '" + tag + "'"));
  }
}

TEST_P(BothPaths, SurviveABlockSizeOfAnything) {
  for (const uint64_t size : {uint64_t{0}, uint64_t{1}, uint64_t{4}, uint64_t{5}, uint64_t{15},
                              uint64_t{16}, uint64_t{1} << 63, UINT64_MAX}) {
    Image image = countersPage();
    headerOf(image).block_size = size;
    const GuardedBytes guarded(image);
    EXPECT_TRUE(exporter_.exportDataPage(guarded.as<vek_data_page_t>(), &record())) << size;
  }
  EXPECT_THAT(records(), ElementsAre(kRecord, kRecord, kRecord));  // 0, 2^63, 2^64 - 1
}

TEST_P(BothPaths, ReadNothingBehindAPageCutAnywhere) {
  PageWriter page = writer("", 64);
  page.schemas_block(std::vector<std::vector<uint8_t>>{std::vector<uint8_t>(16, 1)});
  page.counters_block(1'500'000, values({7, 300}));
  page.next_block();
  page.counters_block(1'500'000, values({7, 300}));
  const Image whole = page.finish();
  for (size_t size = VEK_PAGE_HEADER_SIZE; size <= whole.size(); ++size) {
    engine().records.clear();
    Image cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size));
    headerOf(cut).total = size;
    const GuardedBytes guarded(cut);
    const bool exported = exporter_.exportDataPage(guarded.as<vek_data_page_t>(), &record());
    EXPECT_EQ(exported, size > VEK_PAGE_HEADER_SIZE) << size;
    const size_t in_first = size >= 720 + 64 ? 1 : 0;
    const size_t in_second = size >= 720 + 64 + 32 ? 1 : 0;
    EXPECT_EQ(records().size(), in_first + in_second) << size;
  }
}

TEST_P(BothPaths, ReadPagesAtAnyAddress) {
  const Image image = countersPage();
  for (size_t shift = 1; shift < 8; ++shift) {
    Image shifted(image.size() + shift);
    std::memcpy(shifted.data() + shift, image.data(), image.size());
    EXPECT_TRUE(exporter_.exportDataPage(
        reinterpret_cast<const vek_data_page_t*>(shifted.data() + shift), &record()));
  }
  EXPECT_THAT(records(), AllOf(SizeIs(7), Each(kRecord)));
}

TEST_P(BothPaths, FailForNoPage) {
  EXPECT_FALSE(exporter_.exportDataPage(nullptr, &record()));
  EXPECT_FALSE(exporter_.exportVekDataPage(nullptr, &record()));
  EXPECT_FALSE(exporter_.exportVekDataPage_kix(nullptr, &manager_));
}

TEST_P(BothPaths, NeedNoSourceName) {
  PageWriter page("", "");
  page.set_counters_schema_id(pageOf(countersPage())->schema_id);
  page.counters_block(1'500'000, values({7, 300}));
  EXPECT_TRUE(exportPage(page.finish(), record()));
  EXPECT_THAT(records(), ElementsAre("[1.5,{\"timestamp\":1500000,\"type\":\"counters\","
                                     "\"rx\":7,\"tx\":300,...1 missing}]"));
}

}  // namespace
}  // namespace vek::test
