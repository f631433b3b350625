// vektool inspect: what recorded pages hold, byte by byte if need be, and their dictionary streams
// event by event.
#ifndef VEK_TOOLS_INSPECT_INSPECT_H
#define VEK_TOOLS_INSPECT_INSPECT_H

#include <string>
#include <vector>

#include "tools/command_line/command_line.h"
#include "tools/command_line/common_options.h"
#include "tools/pages/page_filter.h"

namespace vek::tools {

struct InspectOptions {
  enum class View { kSummary, kPages, kBlocks, kSchemas, kHex, kStreams };

  View view = View::kSummary;
  bool batch = false;
  bool salvage = false;
  PageFilter filter;
  JsonOptions json;
  std::string schema_dir;          // at most one of the two
  std::string type_system;         //
  std::vector<std::string> pages;  // files; "-" is standard input
};

void add_inspect(CommandLine& line, Action& action);

// Data goes to standard output, damage and what the plug-in would refuse to standard error, too.
ExitStatus inspect(InspectOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_INSPECT_INSPECT_H
