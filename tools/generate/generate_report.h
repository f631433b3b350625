// What vektool generate made, and how it says so.
#ifndef VEK_TOOLS_GENERATE_GENERATE_REPORT_H
#define VEK_TOOLS_GENERATE_GENERATE_REPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/generate/demo_faults.h"
#include "tools/generate/demo_schemas.h"
#include "tools/generate/demo_streams.h"
#include "tools/generate/generate.h"

namespace vek::tools {

struct WrittenPages {
  uint64_t bytes = 0;
  uint64_t samples = 0;
  uint64_t events = 0;
  uint64_t stream_bytes = 0;
  DemoStreams streams;  // their pages are written and gone
  std::vector<PlacedFault> faults;
};

std::string generate_text(const GenerateOptions& options, const DemoSchemaSet& schemas,
                          const std::string& dir, const WrittenPages& written);
std::string generate_json(const GenerateOptions& options, const std::string& dir,
                          const WrittenPages& written);

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_GENERATE_REPORT_H
