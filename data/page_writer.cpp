#include "data/page_writer.h"

#include <algorithm>

namespace vek {

namespace {

template <typename T>
Bytes bytes_of(const T& record) {
  return {reinterpret_cast<const uint8_t*>(&record), sizeof(record)};
}

// Zeros up to the next block boundary behind the header; the first block starts at the header's
// end.
void pad_to_boundary(std::vector<uint8_t>& image, uint64_t block_size) {
  if (block_size == 0) return;
  const uint64_t used = (image.size() - VEK_PAGE_HEADER_SIZE) % block_size;
  if (used != 0) image.resize(image.size() + (block_size - used));
}

void set_text(char* field, size_t field_size, std::string_view text) {
  std::copy_n(text.data(), std::min(text.size(), field_size), field);
}

}  // namespace

PageWriter::PageWriter(std::string_view source_id, std::string_view tag, uint64_t block_size)
    : image_(VEK_PAGE_HEADER_SIZE), block_size_(block_size) {
  vek_data_page_t& page = *header();
  page.version = 1;
  page.minor_version = 7;
  page.block_size = block_size;
  set_text(page.data_source.source_id, VEK_PAGE_SOURCE_ID_SIZE, source_id);
  set_text(page.data_source.tag, VEK_PAGE_TAG_SIZE, tag);
}

void PageWriter::set_counters_schema_id(const uint8_t* id) {
  vek_copy_schema_id(header()->schema_id, id);
}

vek_data_page_t* PageWriter::header() { return header_of(image_); }

vek_data_page_t* PageWriter::header_of(std::vector<uint8_t>& image) {
  return reinterpret_cast<vek_data_page_t*>(image.data());
}

void PageWriter::counters_block(uint64_t timestamp_us, Bytes values) {
  vek_counters_block_t block{};
  vek_data_block_set_type(block.magic, VEK_COUNTERS_BLOCK);
  block.timestamp = timestamp_us;
  raw(bytes_of(block));
  raw(values);
}

void PageWriter::schemas_block(std::span<const std::vector<uint8_t>> schema_ids) {
  size_t length = VEK_BLOCK_HEADER_SIZE;
  for (const auto& id : schema_ids) length += id.size();

  vek_schema_block_t block{};
  vek_data_block_set_type(block.magic, VEK_SCHEMAS_BLOCK);
  block.length = static_cast<uint16_t>(length);
  raw(bytes_of(block).first(VEK_BLOCK_HEADER_SIZE));
  for (const auto& id : schema_ids) raw(id);
}

void PageWriter::events_block(uint64_t timestamp_us, uint8_t schema_index, uint16_t type_index,
                              uint8_t count, Bytes events) {
  vek_event_header_t block{};
  vek_data_block_set_type(block.magic, VEK_EVENTS_BLOCK);
  block.timestamp = timestamp_us;
  block.schema_index = schema_index;
  block.type_index = type_index;
  block.count = count;
  raw(bytes_of(block));
  raw(events);
}

void PageWriter::raw(Bytes bytes) { image_.insert(image_.end(), bytes.begin(), bytes.end()); }

void PageWriter::next_block() { pad_to_boundary(image_, block_size_); }

std::vector<uint8_t> PageWriter::finish() {
  std::vector<uint8_t> image = image_;
  header_of(image)->filled = image.size();
  pad_to_boundary(image, block_size_);
  header_of(image)->total = image.size();
  return image;
}

}  // namespace vek
