// PageView: a page header read once into locals, with every text and length bounded.
//
// A producer may still be writing while a page is looked at, so each header field is read exactly
// once, here; whoever walks the page uses these copies.
#ifndef VEK_DATA_PAGE_VIEW_H
#define VEK_DATA_PAGE_VIEW_H

#include <array>
#include <cstdint>
#include <string_view>

#include "data/byte_reader.h"
#include "data/data_page.h"

namespace vek {

struct PageView {
  uint8_t version = 0;
  uint8_t minor_version = 0;
  uint64_t total = 0;
  uint64_t filled = 0;
  uint64_t block_size = 0;
  std::array<char, VEK_PAGE_SOURCE_ID_SIZE + 1> source_id{};  // always terminated
  std::array<char, VEK_PAGE_TAG_SIZE + 1> tag{};              // always terminated
  std::array<uint8_t, VEK_SCHEMA_ID_SIZE> schema_id{};

  // Everything behind the header up to `total`; empty when total is 720 or less.
  ByteReader blocks;

  // `page` points at an image of at least 720 bytes, and of `total` bytes when total is larger.
  explicit PageView(const vek_data_page_t* page);

  bool is_empty() const { return filled == VEK_PAGE_HEADER_SIZE; }
  std::string_view tag_text() const { return tag.data(); }
  std::string_view source_text() const { return source_id.data(); }
};

}  // namespace vek

#endif  // VEK_DATA_PAGE_VIEW_H
