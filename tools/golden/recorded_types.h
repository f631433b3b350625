// Which schemas recordings use.
#ifndef VEK_TOOLS_GOLDEN_RECORDED_TYPES_H
#define VEK_TOOLS_GOLDEN_RECORDED_TYPES_H

#include <set>
#include <string>
#include <vector>

#include "tools/pages/page_blocks.h"

namespace vek::tools {

struct RecordedTypes {
  std::set<const vek_counters_schema_t*> counters;  // good as long as what found them
  std::set<std::string> events;                     // names of types of which there is an event
};

// Of page files, up to damage.
RecordedTypes recorded_types(const std::vector<std::string>& pages,
                             const vek_exporter_schema_manager_t& schemas,
                             CountersSchemas& counters);

}  // namespace vek::tools

#endif  // VEK_TOOLS_GOLDEN_RECORDED_TYPES_H
