#include "tools/golden/recorded_types.h"

#include "tools/pages/page_file.h"

namespace vek::tools {
namespace {

void note_page(const vek_data_page_t* page, const vek_exporter_schema_manager_t& schemas,
               CountersSchemas& counters, RecordedTypes& types) {
  const PageView view(page);
  PageBlocks blocks(page, view, schemas, &counters);
  for (SeenBlock block; blocks.next(block); block = {}) {
    if (block.counters) types.counters.insert(block.counters);
    if (block.event_type) types.events.insert(block.event_type->name);
  }
}

}  // namespace

RecordedTypes recorded_types(const std::vector<std::string>& pages,
                             const vek_exporter_schema_manager_t& schemas,
                             CountersSchemas& counters) {
  RecordedTypes types;
  for (const std::string& path : pages) {
    PageFile file;
    if (!file.open(path)) continue;
    while (file.next() == PageFile::Result::kPage) {
      note_page(file.page(), schemas, counters, types);
    }
  }
  return types;
}

}  // namespace vek::tools
