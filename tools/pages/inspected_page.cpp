#include "tools/pages/inspected_page.h"

namespace vek::tools {

InspectedPage::InspectedPage(const PageReader& reader, const vek_exporter_schema_manager_t& schemas,
                             CountersSchemas& counters)
    : file(reader.name()),
      number(reader.page_number()),
      offset(reader.page_offset()),
      image(reader.image()),
      view(reader.page()),
      summary(view),
      header(header_fault(view)) {
  PageBlocks walk(reader.page(), view, schemas, &counters);
  SeenBlock block;
  while (walk.next(block)) {
    summary.add(block);
    blocks.push_back(std::move(block));
  }
}

const PageFault* InspectedPage::fault() const {
  if (header) return &*header;
  for (const SeenBlock& block : blocks) {
    if (block.fault) return &*block.fault;
  }
  return nullptr;
}

const PageFault* InspectedPage::damage() const {
  if (header) return &*header;
  for (const SeenBlock& block : blocks) {
    if (block.fault && block.fault->kind == PageFault::Kind::kBroken) return &*block.fault;
  }
  return nullptr;
}

}  // namespace vek::tools
