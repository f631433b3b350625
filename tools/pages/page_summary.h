// What can be told about a page without converting it: its times, its blocks, and how many records
// they hold.
#ifndef VEK_TOOLS_PAGES_PAGE_SUMMARY_H
#define VEK_TOOLS_PAGES_PAGE_SUMMARY_H

#include <cstdint>
#include <optional>
#include <vector>

#include "data/data_page.h"
#include "data/exporter_schema_manager.h"
#include "tools/pages/page_blocks.h"

namespace vek::tools {

struct PageSummary {
  // One a counters block, and one an event. Pages of opaque events and of dictionaries hold chunks
  // of records, which are not counted.
  uint64_t records = 0;
  bool holds_chunks = false;
  std::optional<uint64_t> first_time_us;  // of the first counters or events block
  std::optional<uint64_t> last_time_us;   // of the last one
  uint64_t counters_blocks = 0;
  uint64_t schemas_blocks = 0;
  uint64_t events_blocks = 0;
  uint64_t events = 0;          // in the events blocks, chunks included
  uint64_t unknown_types = 0;   // events blocks whose type is not known
  uint64_t unknown_blocks = 0;  // blocks that are none of these

  // For a page with this header.
  explicit PageSummary(const PageView& view);
  PageSummary() = default;
  void add(const SeenBlock& block);
};

// `page` is a whole image. An events block of an unknown type counts its events and ends its block,
// because only the type says where the next one begins. `time_places` gets the places in the image
// of the blocks' times.
PageSummary summarize_page(const vek_data_page_t* page,
                           const vek_exporter_schema_manager_t& schemas,
                           std::vector<size_t>* time_places = nullptr);

}  // namespace vek::tools

#endif  // VEK_TOOLS_PAGES_PAGE_SUMMARY_H
