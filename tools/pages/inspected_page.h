// A page of a recording, taken apart once for the views and filters of vektool inspect.
#ifndef VEK_TOOLS_PAGES_INSPECTED_PAGE_H
#define VEK_TOOLS_PAGES_INSPECTED_PAGE_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "tools/pages/page_blocks.h"
#include "tools/pages/page_reader.h"
#include "tools/pages/page_summary.h"

namespace vek::tools {

struct InspectedPage {
  // Borrows the reader's image.
  InspectedPage(const PageReader& reader, const vek_exporter_schema_manager_t& schemas,
                CountersSchemas& counters);

  std::string_view file;
  uint64_t number;  // from 1
  uint64_t offset;  // in the file
  Bytes image;
  PageView view;
  PageSummary summary;
  std::vector<SeenBlock> blocks;
  std::optional<PageFault> header;

  // The first one that the plug-in meets; null when there is none.
  const PageFault* fault() const;
  // The first one that contradicts the format.
  const PageFault* damage() const;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_PAGES_INSPECTED_PAGE_H
