// What is wrong with a counter-set file, told by the plug-in's own reading of it.
#ifndef VEK_TOOLS_CHECK_COUNTER_SET_CHECK_H
#define VEK_TOOLS_CHECK_COUNTER_SET_CHECK_H

#include <string>

#include "tools/config/exported_names.h"
#include "tools/config/finding.h"
#include "tools/config/schema_catalog.h"

namespace vek::tools {

// Syntax always, what rules take where schemas are known. `exported` gets what leaves; with an
// empty path that is every counter.
void check_counter_set(const std::string& path, const SchemaCatalog& schemas, Findings& findings,
                       ExportedNames& exported);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_COUNTER_SET_CHECK_H
