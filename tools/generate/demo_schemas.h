// The schemas of the demonstration data as their users meet them: objects, files, and a type system
// document that holds them all.
#ifndef VEK_TOOLS_GENERATE_DEMO_SCHEMAS_H
#define VEK_TOOLS_GENERATE_DEMO_SCHEMAS_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "data/schema_id.h"
#include "data/type_system.h"
#include "tools/generate/demo_config.h"
#include "tools/generate/demo_counters.h"
#include "utils/owned.h"

namespace vek::tools {

struct DemoSchemaSet {
  std::vector<DemoGroup> groups;
  // Counters, the schemas of add_demo_events(), then that of the streams' opaque events.
  Owned<vek_type_system_t, vek_destroy_type_system> type_system;
  std::array<uint8_t, VEK_SCHEMA_ID_SIZE> counters_id{};
  std::vector<DemoFile> files;  // each named by the digest of its own text, which pages carry
  std::string document;
};

// False when one cannot be made.
bool make_demo_schemas(DemoSchemaSet& set);

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_DEMO_SCHEMAS_H
