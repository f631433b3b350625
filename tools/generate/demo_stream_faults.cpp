// Faults of dictionary streams: chunks that are not where they belong.
#include <algorithm>
#include <cstring>
#include <random>

#include "data/opaque_events_extractor.h"
#include "data/page_writer.h"
#include "schema_manager/fillings.h"
#include "tools/generate/demo_faults.h"
#include "tools/generate/demo_streams.h"
#include "tools/pages/page_blocks.h"

namespace vek::tools {
namespace {

using Image = std::vector<uint8_t>;

struct ChunkPlace {
  size_t page;   // index
  size_t block;  // offset of its events block in the page
  size_t event;  // offset of the chunk in the page
};

uint8_t kind_of(const Image& image, size_t event) {
  return image[event + offsetof(vek_opaque_event_t, kind)];
}

// Chunks of a source that have another chunk of the same value behind them, in their block.
std::vector<ChunkPlace> chunk_pairs(const std::vector<Image>& pages, std::string_view source,
                                    const vek_exporter_schema_manager_t& schemas) {
  std::vector<ChunkPlace> all;
  for (size_t i = 0; i < pages.size(); ++i) {
    const auto* page = reinterpret_cast<const vek_data_page_t*>(pages[i].data());
    const PageView view(page);
    if (view.source_text() != source) continue;
    PageBlocks blocks(page, view, schemas, nullptr);
    SeenBlock block;
    while (blocks.next(block)) {
      if (block.type != VEK_EVENTS_BLOCK) continue;
      for (size_t k = 0; k + 1 < block.count; ++k) {
        const size_t event = block.offset + VEK_BLOCK_HEADER_SIZE + k * kDemoStreamEventSize;
        if (kind_of(pages[i], event) == VEK_OPAQUE_CHUNK &&
            kind_of(pages[i], event + kDemoStreamEventSize) == VEK_OPAQUE_CHUNK) {
          all.push_back({i, block.offset, event});
        }
      }
    }
  }
  return all;
}

void remove_chunk(Image& image, const ChunkPlace& place) {
  const auto first = image.begin() + static_cast<ptrdiff_t>(place.event);
  image.erase(first, first + kDemoStreamEventSize);
  --image[place.block + offsetof(vek_event_header_t, count)];
  vek_data_page_t* header = PageWriter::header_of(image);
  header->total -= kDemoStreamEventSize;
  header->filled -= kDemoStreamEventSize;
}

void swap_chunks(Image& image, const ChunkPlace& place) {
  const auto first = image.begin() + static_cast<ptrdiff_t>(place.event);
  std::swap_ranges(first, first + kDemoStreamEventSize, first + kDemoStreamEventSize);
}

}  // namespace

void add_stream_faults(const FaultNames& names, uint64_t seed, const vek_type_system_t& type_system,
                       std::vector<Image>& pages, std::vector<PlacedFault>& placed) {
  struct Fault {
    std::string_view name;
    std::string_view source;
    void (*apply)(Image& image, const ChunkPlace& place);
    const char* what;
  };
  constexpr Fault kFaults[] = {
      {kMissingChunk, "trainer01", remove_chunk,
       "a chunk is missing here; the value that it belongs to is dropped"},
      {kReorderedChunk, "trainer02", swap_chunks,
       "a chunk comes before the one in front of it; the value is dropped"}};
  vek_exporter_schema_manager_t schemas{};
  vek_exporter_schema_manager_from_type_system(&type_system, &schemas);
  std::mt19937_64 random(seed * 1000 + 995);
  for (const Fault& fault : kFaults) {
    const std::vector<ChunkPlace> places = chunk_pairs(pages, fault.source, schemas);
    const uint64_t drawn = random();
    if (!names.contains(fault.name) || places.empty()) continue;
    const ChunkPlace& place = places[drawn % places.size()];
    uint64_t offset = place.event;
    for (size_t i = 0; i < place.page; ++i) offset += pages[i].size();
    fault.apply(pages[place.page], place);
    placed.push_back({fault.name, "streams.bin", place.page + 1, offset, fault.what});
  }
}

}  // namespace vek::tools
