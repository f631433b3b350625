#include "data/page_view.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "data/page_writer.h"
#include "tests/support/guarded_bytes.h"

namespace {

using vek::PageView;
using vek::PageWriter;
using vek::test::GuardedBytes;

std::vector<uint8_t> header_image() { return PageWriter("source", "tag").finish(); }

TEST(PageView, ReadsEveryHeaderField) {
  std::vector<uint8_t> image(720 + 48);
  image[0] = 3;
  image[1] = 9;
  const uint64_t total = 768, filled = 740, block_size = 24;
  std::memcpy(&image[8], &total, 8);
  std::memcpy(&image[16], &filled, 8);
  std::memcpy(&image[24], &block_size, 8);
  std::memcpy(&image[64], "the source", 10);
  std::memcpy(&image[128], "the tag", 7);
  for (uint8_t i = 0; i < 16; ++i) image[144u + i] = i;

  const GuardedBytes guarded(image);
  const PageView view(guarded.as<vek_data_page_t>());
  EXPECT_EQ(view.version, 3);
  EXPECT_EQ(view.minor_version, 9);
  EXPECT_EQ(view.total, 768u);
  EXPECT_EQ(view.filled, 740u);
  EXPECT_EQ(view.block_size, 24u);
  EXPECT_EQ(view.source_text(), "the source");
  EXPECT_EQ(view.tag_text(), "the tag");
  EXPECT_EQ(view.schema_id[0], 0);
  EXPECT_EQ(view.schema_id[15], 15);
  EXPECT_EQ(view.blocks.size(), 48u);
  EXPECT_EQ(view.blocks.bytes().data(), guarded.data() + 720);
  EXPECT_FALSE(view.is_empty());
}

TEST(PageView, ReadsNothingBehindAHeader) {
  std::vector<uint8_t> image = header_image();
  for (const uint64_t total : {0u, 1u, 719u, 720u}) {
    PageWriter::header_of(image)->total = total;
    const GuardedBytes guarded(image);
    EXPECT_EQ(PageView(guarded.as<vek_data_page_t>()).blocks.size(), 0u) << total;
  }
  PageWriter::header_of(image)->total = 721;
  image.push_back(0);
  const GuardedBytes guarded(image);
  EXPECT_EQ(PageView(guarded.as<vek_data_page_t>()).blocks.size(), 1u);
}

TEST(PageView, TextsWithoutANulEndWithTheirField) {
  std::vector<uint8_t> image = header_image();
  std::memset(&image[64], 's', 64);
  std::memset(&image[128], 't', 16);
  std::memset(&image[144], 'i', 16);
  const GuardedBytes guarded(image);
  const PageView view(guarded.as<vek_data_page_t>());
  EXPECT_EQ(view.source_text(), std::string(64, 's'));
  EXPECT_EQ(view.tag_text(), std::string(16, 't'));
}

TEST(PageView, IsEmptyOnlyWhenFilledEndsWithTheHeader) {
  std::vector<uint8_t> image = header_image();
  for (const uint64_t filled : {0u, 719u, 720u, 721u}) {
    PageWriter::header_of(image)->filled = filled;
    EXPECT_EQ(PageView(PageWriter::header_of(image)).is_empty(), filled == 720) << filled;
  }
}

TEST(PageView, KeepsItsCopyWhenTheProducerGoesOnWriting) {
  std::vector<uint8_t> image = header_image();
  const PageView view(PageWriter::header_of(image));
  std::memset(image.data(), 0xFF, image.size());
  EXPECT_EQ(view.total, 720u);
  EXPECT_EQ(view.source_text(), "source");
}

}  // namespace
