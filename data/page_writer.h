// PageWriter: builds data pages, for providers' own tests, for the tools and for ours.
//
// A writer owns one growing image. Blocks are appended in order; finish() stamps `filled` and
// `total` and hands the image out. With a block size, next_block() pads to the next boundary; with
// block size 0 the whole page is one block. It checks nothing about contents: tests write lies too,
// through raw(), header() and header_of().
#ifndef VEK_DATA_PAGE_WRITER_H
#define VEK_DATA_PAGE_WRITER_H

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "data/byte_reader.h"
#include "data/data_page.h"

namespace vek {

class VEK_API PageWriter {
 public:
  // Version 1, minor version 7, as every reader accepts. Texts longer than their field are cut.
  PageWriter(std::string_view source_id, std::string_view tag, uint64_t block_size = 0);

  void set_counters_schema_id(const uint8_t* id);
  // The header as it stands, good until the next append. finish() still overwrites `filled` and
  // `total`; changing `block_size` here changes what the page says, not how it is padded.
  vek_data_page_t* header();
  // The header of a finished image, to bend any of its fields.
  static vek_data_page_t* header_of(std::vector<uint8_t>& image);

  // A counters block with its values area behind the 16-byte header.
  void counters_block(uint64_t timestamp_us, Bytes values);
  // At most 14 identifiers are addressable; more are written as they are.
  void schemas_block(std::span<const std::vector<uint8_t>> schema_ids);
  // `events` holds `count` records back to back.
  void events_block(uint64_t timestamp_us, uint8_t schema_index, uint16_t type_index, uint8_t count,
                    Bytes events);
  void raw(Bytes bytes);
  // Pads with zeros to the next block boundary; nothing when already there or without block size.
  void next_block();

  size_t size() const { return image_.size(); }
  // The finished image: `filled` is the number of bytes written, `total` the end of the last block
  // (720 + n * block_size with a block size; the padding behind `filled` is zero).
  std::vector<uint8_t> finish();

 private:
  std::vector<uint8_t> image_;
  uint64_t block_size_;
};

}  // namespace vek

#endif  // VEK_DATA_PAGE_WRITER_H
