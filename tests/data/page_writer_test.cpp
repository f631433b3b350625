#include "data/page_writer.h"

#include <gtest/gtest.h>

#include <string>

#include "data/page_view.h"
#include "tests/support/msgpack_json.h"

namespace {

using vek::Bytes;
using vek::PageView;
using vek::PageWriter;
using vek::test::to_hex;

std::string blocks_hex(const std::vector<uint8_t>& image) {
  return to_hex(Bytes(image).subspan(720));
}

TEST(PageWriter, AnEmptyPageIsItsHeader) {
  std::vector<uint8_t> image = PageWriter("source", "tag").finish();
  ASSERT_EQ(image.size(), 720u);
  const PageView view(PageWriter::header_of(image));
  EXPECT_EQ(view.version, 1);
  EXPECT_EQ(view.minor_version, 7);
  EXPECT_EQ(view.total, 720u);
  EXPECT_EQ(view.filled, 720u);
  EXPECT_EQ(view.block_size, 0u);
  EXPECT_TRUE(view.is_empty());
  EXPECT_EQ(view.source_text(), "source");
  EXPECT_EQ(view.tag_text(), "tag");
}

TEST(PageWriter, CutsTextsAtTheirField) {
  std::vector<uint8_t> image = PageWriter(std::string(100, 's'), std::string(100, 't')).finish();
  const PageView view(PageWriter::header_of(image));
  EXPECT_EQ(view.source_text(), std::string(64, 's'));
  EXPECT_EQ(view.tag_text(), std::string(16, 't'));
  EXPECT_EQ(view.schema_id, (std::array<uint8_t, 16>{}));
}

TEST(PageWriter, TakesTextsWithoutBytes) {
  std::vector<uint8_t> image = PageWriter({}, {}).finish();
  EXPECT_EQ(PageView(PageWriter::header_of(image)).source_text(), "");
}

TEST(PageWriter, WritesACountersBlock) {
  PageWriter writer("s", "t");
  const uint8_t values[] = {0xAA, 0xBB, 0xCC};
  writer.counters_block(0x0102030405060708, values);
  EXPECT_EQ(blocks_hex(writer.finish()),
            "56454b44"
            "00000000"
            "0807060504030201"
            "aabbcc");
}

TEST(PageWriter, WritesASchemasBlock) {
  PageWriter writer("s", "t");
  const std::vector<std::vector<uint8_t>> ids = {std::vector<uint8_t>(16, 0x11),
                                                 std::vector<uint8_t>(16, 0x22)};
  writer.schemas_block(ids);
  EXPECT_EQ(blocks_hex(writer.finish()),
            "56454b53"
            "3000"
            "00000000000000000000" +
                std::string(16 * 2, '1') + std::string(16 * 2, '2'));
}

TEST(PageWriter, WritesAnEventsBlock) {
  PageWriter writer("s", "t");
  const uint8_t events[] = {1, 2, 3, 4};
  writer.events_block(9, 13, 0x0201, 2, events);
  EXPECT_EQ(blocks_hex(writer.finish()),
            "56454b45"
            "0900000000000000"
            "0d"
            "0102"
            "02"
            "01020304");
}

TEST(PageWriter, WithoutBlockSizeFilledAndTotalAreTheBytesWritten) {
  PageWriter writer("s", "t");
  writer.raw(std::vector<uint8_t>(5, 1));
  writer.next_block();
  writer.raw(std::vector<uint8_t>(6, 2));
  EXPECT_EQ(writer.size(), 731u);
  std::vector<uint8_t> image = writer.finish();
  const PageView view(PageWriter::header_of(image));
  EXPECT_EQ(image.size(), 731u);
  EXPECT_EQ(view.filled, 731u);
  EXPECT_EQ(view.total, 731u);
}

TEST(PageWriter, WithABlockSizeTotalIsTheEndOfTheLastBlock) {
  const struct {
    size_t written;
    uint64_t total;
  } cases[] = {{0, 720}, {1, 752}, {31, 752}, {32, 752}, {33, 784}, {64, 784}};
  for (const auto& c : cases) {
    PageWriter writer("s", "t", 32);
    writer.raw(std::vector<uint8_t>(c.written, 0xFF));
    std::vector<uint8_t> image = writer.finish();
    const PageView view(PageWriter::header_of(image));
    EXPECT_EQ(view.block_size, 32u);
    EXPECT_EQ(view.filled, 720 + c.written);
    EXPECT_EQ(view.total, c.total) << c.written;
    EXPECT_EQ(image.size(), c.total) << c.written;
    for (size_t i = 720 + c.written; i < image.size(); ++i) EXPECT_EQ(image[i], 0);
  }
}

TEST(PageWriter, NextBlockPadsToTheBoundaryOnce) {
  PageWriter writer("s", "t", 32);
  writer.next_block();
  EXPECT_EQ(writer.size(), 720u) << "the header's end is a boundary";
  writer.raw(std::vector<uint8_t>(20, 1));
  writer.next_block();
  EXPECT_EQ(writer.size(), 752u);
  writer.next_block();
  EXPECT_EQ(writer.size(), 752u);
  writer.raw(std::vector<uint8_t>(1, 1));
  EXPECT_EQ(writer.size(), 753u);
}

TEST(PageWriter, SetsTheCountersSchemaIdentifier) {
  PageWriter writer("s", "t");
  uint8_t id[16];
  vek_schema_id_set_blob(id);
  writer.set_counters_schema_id(id);
  std::vector<uint8_t> image = writer.finish();
  EXPECT_TRUE(vek_schema_id_is_blob(PageView(PageWriter::header_of(image)).schema_id.data()));
}

TEST(PageWriter, ABentHeaderDoesNotChangeThePadding) {
  PageWriter writer("s", "t", 32);
  writer.header()->version = 2;
  writer.header()->block_size = uint64_t{1} << 63;
  writer.raw(std::vector<uint8_t>(1, 1));
  std::vector<uint8_t> image = writer.finish();
  const PageView view(PageWriter::header_of(image));
  EXPECT_EQ(view.version, 2);
  EXPECT_EQ(view.block_size, uint64_t{1} << 63);
  EXPECT_EQ(view.total, 752u);
}

TEST(PageWriter, FinishingLeavesTheWriterToGoOn) {
  PageWriter writer("s", "t", 32);
  writer.raw(std::vector<uint8_t>(4, 1));
  (void)writer.finish();
  writer.raw(std::vector<uint8_t>(4, 2));
  EXPECT_EQ(blocks_hex(writer.finish()), "0101010102020202" + std::string(24 * 2, '0'));
}

}  // namespace
