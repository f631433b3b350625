// Pages that lie or end too early, with unreadable memory behind their last byte.
#include <cstring>
#include <memory>

#include "tests/e2e/e2e_fixture.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Image = std::vector<uint8_t>;

class HostilePages : public E2eTest, public ::testing::WithParamInterface<Provider::Way> {
 protected:
  HostilePages() {
    write_exp("a", "plugin_name = stdout\n");
    exporters_ = std::make_unique<Exporters>(config_.path());
    exporters_->connect();
  }

  // Three counters blocks with a schemas block in front of the last.
  Image three_blocks(uint64_t block_size) const {
    PageWriter writer = provider_.page("lab", "", block_size);
    for (uint64_t i = 1; i <= 2; ++i) {
      writer.counters_block(Provider::kTime, Provider::values(i));
      writer.next_block();
    }
    const std::vector<std::vector<uint8_t>> ids(2, std::vector<uint8_t>(16, 9));
    writer.schemas_block(ids);
    writer.counters_block(Provider::kTime, Provider::values(3));
    return writer.finish();
  }
  static vek_data_page_t& header(Image& image) {
    return *reinterpret_cast<vek_data_page_t*>(image.data());
  }
  // The records of one image, whose last byte is the last that can be read.
  std::vector<std::string> sent(const Image& image) {
    const GuardedBytes guarded(image);
    engine().records.clear();
    EXPECT_EQ(exporters_->page(guarded.data(), provider_.schemas()), 1);
    return records();
  }
  static std::string record(uint64_t number) { return Provider::record(number, "lab"); }

  const Provider provider_{GetParam()};
  std::unique_ptr<Exporters> exporters_;
};

INSTANTIATE_TEST_SUITE_P(, HostilePages,
                         ::testing::Values(Provider::Way::kTypeSystem,
                                           Provider::Way::kSchemaManager),
                         [](const auto& way) {
                           return way.param == Provider::Way::kTypeSystem ? "TypeSystem"
                                                                          : "SchemaManager";
                         });

constexpr size_t kBlock = 128;
constexpr size_t kCounters = VEK_BLOCK_HEADER_SIZE + Provider::kValuesSize;
constexpr size_t kSchemas = VEK_BLOCK_HEADER_SIZE + 2 * VEK_SCHEMA_ID_SIZE;

TEST_P(HostilePages, CutAtEveryByteSendWhatIsWhole) {
  const Image whole = three_blocks(kBlock);
  ASSERT_THAT(sent(whole), ElementsAre(record(1), record(2), record(3)));
  const size_t ends[] = {720 + kCounters, 720 + kBlock + kCounters,
                         720 + 2 * kBlock + kSchemas + kCounters};
  for (size_t size = VEK_PAGE_HEADER_SIZE; size < whole.size(); ++size) {
    Image cut(whole.begin(), whole.begin() + static_cast<long>(size));
    header(cut).total = size;
    const size_t complete = (size >= ends[0]) + (size >= ends[1]) + (size >= ends[2]);
    EXPECT_THAT(sent(cut), SizeIs(complete)) << size;
    // A page whose fill mark is right as well.
    header(cut).filled = size;
    EXPECT_THAT(sent(cut), SizeIs(complete)) << size;
  }
}

TEST_P(HostilePages, AHeaderThatIsShortOfItsTotalIsNeverReadBeyondItself) {
  Image image = three_blocks(kBlock);
  image.resize(VEK_PAGE_HEADER_SIZE);
  for (const uint64_t total : {0ull, 1ull, 719ull, 720ull}) {
    header(image).total = total;
    for (const uint64_t filled : {0ull, 719ull, 720ull, 721ull, ~0ull}) {
      header(image).filled = filled;
      EXPECT_THAT(sent(image), IsEmpty()) << total << " " << filled;
    }
  }
}

TEST_P(HostilePages, AFillMarkBoundsWhatIsRead) {
  const Image whole = three_blocks(kBlock);
  for (uint64_t filled = 0; filled < whole.size() + 2; ++filled) {
    Image image = whole;
    header(image).filled = filled;
    const auto texts = sent(image);
    EXPECT_LE(texts.size(), 3u);
    if (filled < 720 + kCounters) {
      EXPECT_THAT(texts, IsEmpty()) << filled;
    }
    for (size_t i = 0; i < texts.size(); ++i) EXPECT_EQ(texts[i], record(i + 1)) << filled;
  }
  for (const uint64_t filled : {1ull << 32, 1ull << 63, ~0ull}) {
    Image image = whole;
    header(image).filled = filled;
    EXPECT_THAT(sent(image), ElementsAre(record(1), record(2), record(3))) << filled;
  }
}

TEST_P(HostilePages, BlockSizesOfEveryKindEndTheWalk) {
  const Image whole = three_blocks(kBlock);
  std::vector<uint64_t> sizes = {1ull << 31, 1ull << 32, 1ull << 63, ~0ull, ~0ull - 719};
  for (uint64_t size = 0; size <= whole.size() + 1; ++size) sizes.push_back(size);
  for (const uint64_t size : sizes) {
    Image image = whole;
    header(image).block_size = size;
    const auto texts = sent(image);
    if (size == 0 || size >= kCounters) {
      ASSERT_FALSE(texts.empty()) << size;
      EXPECT_EQ(texts[0], record(1)) << size;
    } else {
      EXPECT_THAT(texts, IsEmpty()) << size;
    }
    // Boundaries may fall anywhere, but there are only so many.
    EXPECT_LE(texts.size(), size == 0 ? 1 : 1 + whole.size() / size) << size;
  }
}

TEST_P(HostilePages, ABlockSizeOfNoneOrTooMuchMeansOneBlock) {
  for (const uint64_t size : {0ull, 1ull << 63, ~0ull}) {
    Image image = three_blocks(kBlock);
    header(image).block_size = size;
    EXPECT_THAT(sent(image), ElementsAre(record(1))) << size;
  }
}

TEST_P(HostilePages, BlocksTooSmallForACounterSendNothing) {
  for (const uint64_t size : {1ull, 4ull, 5ull, 15ull, 16ull}) {
    Image image = three_blocks(kBlock);
    header(image).block_size = size;
    EXPECT_THAT(sent(image), IsEmpty()) << size;
  }
}

TEST_P(HostilePages, SchemasBlocksOfEveryLengthKeepTheOtherBlocks) {
  for (const uint16_t length :
       std::vector<uint16_t>{0, 1, 4, 15, 16, 47, 48, 49, 127, 128, 129, 65535}) {
    PageWriter writer = provider_.page("lab", "", kBlock);
    writer.schemas_block(std::vector<std::vector<uint8_t>>(2, std::vector<uint8_t>(16, 9)));
    writer.next_block();
    writer.counters_block(Provider::kTime, Provider::values(2));
    Image image = writer.finish();
    std::memcpy(&image[VEK_PAGE_HEADER_SIZE + 4], &length, sizeof length);
    EXPECT_THAT(sent(image), ElementsAre(record(2))) << length;
  }
}

TEST_P(HostilePages, BlocksOfOtherKindsKeepTheOtherBlocks) {
  for (int letter = 0; letter < 256; ++letter) {
    if (letter == 'D' || letter == 'E' || letter == 'S') continue;
    PageWriter writer = provider_.page("lab", "", kBlock);
    writer.raw(std::vector<uint8_t>{'V', 'E', 'K', static_cast<uint8_t>(letter), 1, 2, 3});
    writer.next_block();
    writer.counters_block(Provider::kTime, Provider::values(2));
    EXPECT_THAT(sent(writer.finish()), ElementsAre(record(2))) << letter;
  }
}

TEST_P(HostilePages, EventsWithoutAFieldSetFailThePageBehindTheBlocksThatWereSent) {
  TempDir config;
  config.write("a.exp", "plugin_name = stdout\nfieldset = " + config.file("missing.fset") + "\n");
  exporters_ = std::make_unique<Exporters>(config.path());
  exporters_->connect();
  PageWriter writer = provider_.page("lab", "", kBlock);
  writer.counters_block(Provider::kTime, Provider::values(1));
  writer.next_block();
  writer.events_block(Provider::kTime, 0, 0, 255, {});
  writer.next_block();
  writer.counters_block(Provider::kTime, Provider::values(2));
  EXPECT_THAT(sent(writer.finish()), ElementsAre(record(1)));
}

TEST_P(HostilePages, EventsOfUnknownSchemasKeepTheOtherBlocks) {
  PageWriter writer = provider_.page("lab", "", kBlock);
  writer.events_block(Provider::kTime, 0, 0, 255, {});
  writer.next_block();
  writer.counters_block(Provider::kTime, Provider::values(2));
  EXPECT_THAT(sent(writer.finish()), ElementsAre(record(2)));
}

}  // namespace
}  // namespace vek::test
