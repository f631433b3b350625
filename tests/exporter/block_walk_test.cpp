#include "exporter/block_walk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "data/page_writer.h"
#include "tests/support/guarded_bytes.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Image = std::vector<uint8_t>;

constexpr uint64_t kHuge = uint64_t{1} << 63;

vek_data_page_t& headerOf(Image& image) {
  return *reinterpret_cast<vek_data_page_t*>(image.data());
}

// A record of `length` bytes: a magic value with this letter, then zeros.
Image record(char letter, size_t length) {
  Image bytes(std::max<size_t>(length, 4));
  const char magic[] = {'V', 'E', 'K', letter};
  std::memcpy(bytes.data(), magic, sizeof magic);
  bytes.resize(length);
  return bytes;
}

Image schemasRecord(uint16_t length, size_t bytes) {
  Image block = record('S', bytes);
  if (bytes >= 6) std::memcpy(block.data() + 4, &length, sizeof length);
  return block;
}

// What a walk hands out that ends a block behind every record but schemas blocks: "type:bytes".
std::vector<std::string> walk(const vek_data_page_t* page) {
  const PageView view(page);
  BlockWalk blocks(view);
  BlockRecord at;
  std::vector<std::string> seen;
  while (blocks.current(at)) {
    seen.push_back(std::to_string(at.type) + ":" + std::to_string(at.bytes.size()));
    if (at.type == VEK_SCHEMAS_BLOCK) {
      blocks.advance_schemas_block(at);
    } else {
      blocks.end_block();
    }
    if (seen.size() > 100) break;
  }
  return seen;
}

std::vector<std::string> walk(Image& image) { return walk(&headerOf(image)); }

class Walk : public ::testing::Test {
 protected:
  // A page of 64-byte blocks: counters, events, counters.
  static Image threeBlocks() {
    PageWriter writer("s", "", 64);
    for (char letter : {'D', 'E', 'D'}) writer.raw(record(letter, 64));
    return writer.finish();
  }
};

TEST_F(Walk, HandsOutOneRecordABlock) {
  Image image = threeBlocks();
  EXPECT_THAT(walk(image), ElementsAre("0:64", "1:64", "0:64"));
}

TEST_F(Walk, TakesAPageWithoutABlockSizeAsOneBlock) {
  Image image = threeBlocks();
  headerOf(image).block_size = 0;
  EXPECT_THAT(walk(image), ElementsAre("0:192"));
}

TEST_F(Walk, TakesAHugeBlockSizeAsOneBlock) {
  Image image = threeBlocks();
  for (const uint64_t size : {kHuge, UINT64_MAX, uint64_t{193}}) {
    headerOf(image).block_size = size;
    EXPECT_THAT(walk(image), ElementsAre("0:192")) << size;
  }
}

TEST_F(Walk, FindsNothingInBlocksTooSmallForARecord) {
  Image image = threeBlocks();
  for (const uint64_t size : {1u, 2u, 3u, 4u}) {
    headerOf(image).block_size = size;
    EXPECT_THAT(walk(image), IsEmpty()) << size;
  }
}

TEST_F(Walk, FollowsBlocksSmallerThanAHeader) {
  PageWriter writer("s", "", 15);
  writer.raw(record('D', 15));
  writer.raw(record('E', 15));
  Image image = writer.finish();
  EXPECT_THAT(walk(image), ElementsAre("0:15", "1:15"));
}

TEST_F(Walk, EndsAtFilled) {
  Image image = threeBlocks();
  headerOf(image).filled = VEK_PAGE_HEADER_SIZE + 100;
  EXPECT_THAT(walk(image), ElementsAre("0:64", "1:36"));
  headerOf(image).filled = VEK_PAGE_HEADER_SIZE + 128;
  EXPECT_THAT(walk(image), ElementsAre("0:64", "1:64"));
}

TEST_F(Walk, EndsAtTotalWhateverFilledClaims) {
  Image image = threeBlocks();
  headerOf(image).total = VEK_PAGE_HEADER_SIZE + 100;
  headerOf(image).filled = UINT64_MAX;
  image.resize(VEK_PAGE_HEADER_SIZE + 100);
  const GuardedBytes guarded(image);
  EXPECT_THAT(walk(guarded.as<vek_data_page_t>()), ElementsAre("0:64", "1:36"));
}

TEST_F(Walk, PassesOverFewerThanFiveBytes) {
  for (const size_t left : {1u, 2u, 3u, 4u, 5u, 6u}) {
    PageWriter writer("s", "");
    writer.raw(schemasRecord(16, 16));
    writer.raw(record('D', left));
    Image image = writer.finish();
    const GuardedBytes guarded(image);
    const size_t records = walk(guarded.as<vek_data_page_t>()).size();
    EXPECT_EQ(records, left < 5 ? 1u : 2u) << left;
  }
}

TEST_F(Walk, FindsNothingBelowAHeader) {
  Image image = threeBlocks();
  for (const uint64_t size : {uint64_t{0}, uint64_t{719}, uint64_t{720}}) {
    headerOf(image).filled = size;
    EXPECT_THAT(walk(image), IsEmpty()) << size;
  }
  headerOf(image).filled = image.size();
  for (const uint64_t size : {uint64_t{0}, uint64_t{719}, uint64_t{720}}) {
    headerOf(image).total = size;
    EXPECT_THAT(walk(image), IsEmpty()) << size;
  }
}

TEST_F(Walk, StepsOverASchemasBlockByItsLength) {
  PageWriter writer("s", "", 128);
  writer.raw(schemasRecord(48, 48));
  writer.raw(record('D', 80));
  Image image = writer.finish();
  EXPECT_THAT(walk(image), ElementsAre("2:128", "0:80"));
}

TEST_F(Walk, TakesASchemasBlockUpToTheVeryEnd) {
  PageWriter writer("s", "");
  writer.raw(schemasRecord(48, 48));
  Image image = writer.finish();
  const PageView view(&headerOf(image));
  BlockWalk blocks(view);
  BlockRecord at;
  ASSERT_TRUE(blocks.current(at));
  EXPECT_TRUE(blocks.advance_schemas_block(at));
  EXPECT_EQ(blocks.last_schemas_block().size(), 48u);
  EXPECT_FALSE(blocks.current(at));
}

// Length 0 does not advance; a length past the block's end leaves it.
TEST_F(Walk, EndsTheBlockAtASchemasBlockOfImpossibleLength) {
  for (const uint16_t length : std::initializer_list<uint16_t>{0, 65, 65535}) {
    PageWriter writer("s", "", 64);
    writer.raw(schemasRecord(length, 64));
    writer.raw(record('D', 64));
    Image image = writer.finish();
    EXPECT_THAT(walk(image), ElementsAre("2:64", "0:64")) << length;
  }
}

TEST_F(Walk, RemembersOnlySchemasBlocksOfAPossibleLength) {
  PageWriter writer("s", "", 64);
  writer.raw(schemasRecord(32, 64));
  writer.raw(schemasRecord(65, 64));
  Image image = writer.finish();
  const PageView view(&headerOf(image));
  BlockWalk blocks(view);
  BlockRecord at;
  EXPECT_THAT(blocks.last_schemas_block(), IsEmpty());
  ASSERT_TRUE(blocks.current(at));
  EXPECT_TRUE(blocks.advance_schemas_block(at));
  blocks.end_block();
  ASSERT_TRUE(blocks.current(at));
  EXPECT_FALSE(blocks.advance_schemas_block(at));
  EXPECT_EQ(blocks.last_schemas_block().data(), image.data() + VEK_PAGE_HEADER_SIZE);
  EXPECT_EQ(blocks.last_schemas_block().size(), 32u);
  // The next page begins without one.
  EXPECT_THAT(BlockWalk(view).last_schemas_block(), IsEmpty());
}

TEST_F(Walk, EndsTheBlockAtASchemasBlockCutBeforeItsLength) {
  PageWriter writer("s", "");
  writer.raw(record('S', 5));
  Image image = writer.finish();
  const GuardedBytes guarded(image);
  EXPECT_THAT(walk(guarded.as<vek_data_page_t>()), ElementsAre("2:5"));
}

TEST_F(Walk, AdvancesInsideTheBlockOnly) {
  Image image = threeBlocks();
  const PageView view(&headerOf(image));
  BlockWalk blocks(view);
  BlockRecord at;
  ASSERT_TRUE(blocks.current(at));
  EXPECT_TRUE(blocks.advance(20));
  ASSERT_TRUE(blocks.current(at));
  EXPECT_EQ(at.bytes.size(), 44u);
  EXPECT_FALSE(blocks.advance(45));
  ASSERT_TRUE(blocks.current(at));
  EXPECT_EQ(at.type, VEK_EVENTS_BLOCK);
  EXPECT_FALSE(blocks.advance(UINT64_MAX));
  ASSERT_TRUE(blocks.current(at));
  EXPECT_TRUE(blocks.advance(64));
  EXPECT_FALSE(blocks.current(at));
}

TEST_F(Walk, ReadsPagesAtAnyAddress) {
  const Image image = threeBlocks();
  for (size_t shift = 1; shift < 8; ++shift) {
    Image shifted(image.size() + shift);
    std::memcpy(shifted.data() + shift, image.data(), image.size());
    EXPECT_THAT(walk(reinterpret_cast<const vek_data_page_t*>(shifted.data() + shift)),
                ElementsAre("0:64", "1:64", "0:64"));
  }
}

TEST_F(Walk, StaysInsideAPageCutAnywhere) {
  const Image image = threeBlocks();
  for (size_t size = VEK_PAGE_HEADER_SIZE; size <= image.size(); ++size) {
    Image cut(image.begin(), image.begin() + static_cast<ptrdiff_t>(size));
    headerOf(cut).total = size;
    const GuardedBytes guarded(cut);
    EXPECT_LE(walk(guarded.as<vek_data_page_t>()).size(), 3u);
  }
}

}  // namespace
}  // namespace vek::test
