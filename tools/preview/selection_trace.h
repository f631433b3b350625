// SelectionTrace: for every counter and field of the schemas, whether it leaves for a destination,
// under which name, and what each line of the destination's files did to it.
#ifndef VEK_TOOLS_PREVIEW_SELECTION_TRACE_H
#define VEK_TOOLS_PREVIEW_SELECTION_TRACE_H

#include <string>
#include <vector>

#include "tools/config/configuration.h"
#include "tools/config/finding.h"
#include "tools/config/schema_catalog.h"

namespace vek::tools {

struct TraceStep {
  Place place;
  std::string line;
  const char* effect;  // "takes it", ...
};

struct SelectedName {
  std::string from;  // "counters", or the type of event
  std::string name;  // in the schema
  bool leaves = false;
  bool excluded = false;                  // a line says that it must not leave
  std::string as;                         // the name that it leaves under
  std::vector<std::string> also_as = {};  // and further ones
  std::vector<TraceStep> steps = {};
};

// In the order of the schemas; a counter that several schemas have comes once.
std::vector<SelectedName> trace_selection(const ConfiguredDestination& destination,
                                          const SchemaCatalog& schemas);

}  // namespace vek::tools

#endif  // VEK_TOOLS_PREVIEW_SELECTION_TRACE_H
