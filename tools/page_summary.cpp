#include "tools/page_summary.h"

#include <algorithm>
#include <cstring>

#include "data/byte_reader.h"
#include "data/page_view.h"
#include "data/schema.h"

namespace vek::tools {
namespace {

constexpr size_t kLeastBlock = 5;  // fewer bytes than this end a block

class BlockCounter {
 public:
  BlockCounter(PageSummary& summary, const vek_exporter_schema_manager_t& schemas)
      : summary_(summary), schemas_(schemas) {}
  // Places are counted from `image`.
  void collect_times(const void* image, std::vector<size_t>* places) {
    image_ = static_cast<const uint8_t*>(image);
    time_places_ = places;
  }

  // One block of the page, from its boundary to the next.
  void walk(ByteReader block) {
    size_t offset = 0;
    while (offset < block.size() && block.size() - offset >= kLeastBlock) {
      const ByteReader rest(block.rest(offset));
      const size_t step = take(rest);
      if (step == 0 || step > rest.size()) return;
      offset += step;
    }
  }

 private:
  // The length of what lies at the front, or 0 when it ends the block.
  size_t take(ByteReader rest) {
    switch (vek_data_block_get_type(rest.bytes().data())) {
      case VEK_COUNTERS_BLOCK:
        note_time(rest, offsetof(vek_counters_block_t, timestamp));
        ++summary_.records;
        ++summary_.counters_blocks;
        return 0;
      case VEK_EVENTS_BLOCK:
        return take_events(rest);
      case VEK_SCHEMAS_BLOCK:
        return take_schemas(rest);
      default:
        // Padding is no block.
        if (std::memcmp(rest.bytes().data(), "\0\0\0\0", 4) != 0) ++summary_.unknown_blocks;
        return 0;
    }
  }

  size_t take_events(ByteReader rest) {
    if (!rest.has(0, VEK_BLOCK_HEADER_SIZE)) return 0;
    note_time(rest, offsetof(vek_event_header_t, timestamp));
    const auto* header = reinterpret_cast<const vek_event_header_t*>(rest.bytes().data());
    const uint64_t count = header->count;
    summary_.records += count;
    summary_.events += count;
    ++summary_.events_blocks;
    const vek_type_definition_t* type =
        schemas_.find_event_type ? schemas_.find_event_type(schemas_.context, last_schemas_, header)
                                 : nullptr;
    if (!type) ++summary_.unknown_types;
    if (!type || type->size > rest.size()) return 0;
    return VEK_BLOCK_HEADER_SIZE + count * type->size;
  }

  size_t take_schemas(ByteReader rest) {
    uint16_t length = 0;
    if (!rest.read(offsetof(vek_schema_block_t, length), length)) return 0;
    ++summary_.schemas_blocks;
    if (length < VEK_BLOCK_HEADER_SIZE || length > rest.size()) return 0;
    last_schemas_ = reinterpret_cast<const vek_schema_block_t*>(rest.bytes().data());
    return length;
  }

  void note_time(ByteReader rest, size_t offset) {
    uint64_t time_us = 0;
    if (!rest.read(offset, time_us)) return;
    if (!summary_.first_time_us) summary_.first_time_us = time_us;
    summary_.last_time_us = time_us;
    if (time_places_) {
      time_places_->push_back(static_cast<size_t>(rest.bytes().data() - image_) + offset);
    }
  }

  PageSummary& summary_;
  const vek_exporter_schema_manager_t& schemas_;
  const vek_schema_block_t* last_schemas_ = nullptr;
  const uint8_t* image_ = nullptr;
  std::vector<size_t>* time_places_ = nullptr;
};

}  // namespace

PageSummary summarize_page(const vek_data_page_t* page,
                           const vek_exporter_schema_manager_t& schemas,
                           std::vector<size_t>* time_places) {
  const PageView view(page);
  PageSummary summary;
  summary.holds_chunks = view.tag_text() == "fluent_aggr" || view.tag_text().starts_with("dict_");
  const uint64_t filled = std::min(view.filled, view.total);
  if (filled <= VEK_PAGE_HEADER_SIZE) return summary;
  const uint64_t used = filled - VEK_PAGE_HEADER_SIZE;
  const uint64_t block_size =
      view.block_size != 0 ? view.block_size : view.total - VEK_PAGE_HEADER_SIZE;
  BlockCounter counter(summary, schemas);
  counter.collect_times(page, time_places);
  for (uint64_t start = 0; start < used; start += block_size) {
    const ByteReader rest(view.blocks.rest(start));
    counter.walk(ByteReader(rest.bytes().first(std::min<uint64_t>(block_size, rest.size()))));
    if (block_size >= used - start) break;
  }
  if (summary.holds_chunks) summary.records = 0;
  return summary;
}

}  // namespace vek::tools
