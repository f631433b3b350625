#include "tools/pages/page_summary.h"

namespace vek::tools {

PageSummary::PageSummary(const PageView& view)
    : holds_chunks(view.tag_text() == "fluent_aggr" || view.tag_text().starts_with("dict_")) {}

void PageSummary::add(const SeenBlock& block) {
  if (block.time_us) {
    if (!first_time_us) first_time_us = block.time_us;
    last_time_us = block.time_us;
  }
  switch (block.type) {
    case VEK_COUNTERS_BLOCK:
      ++counters_blocks;
      if (!holds_chunks) ++records;
      break;
    case VEK_EVENTS_BLOCK:
      if (!block.time_us) break;  // not even its header is there
      ++events_blocks;
      events += block.count;
      if (!holds_chunks) records += block.count;
      if (!block.event_type) ++unknown_types;
      break;
    case VEK_SCHEMAS_BLOCK:
      ++schemas_blocks;
      break;
    default:
      ++unknown_blocks;
  }
}

PageSummary summarize_page(const vek_data_page_t* page,
                           const vek_exporter_schema_manager_t& schemas,
                           std::vector<size_t>* time_places) {
  const PageView view(page);
  PageSummary summary(view);
  PageBlocks blocks(page, view, schemas, nullptr);
  SeenBlock block;
  while (blocks.next(block)) {
    summary.add(block);
    if (!time_places || !block.time_us) continue;
    time_places->push_back(block.offset + (block.type == VEK_COUNTERS_BLOCK
                                               ? offsetof(vek_counters_block_t, timestamp)
                                               : offsetof(vek_event_header_t, timestamp)));
  }
  return summary;
}

}  // namespace vek::tools
