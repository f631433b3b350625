// vektool inspect: what recorded pages hold, and their dictionary streams event by event.
#ifndef VEK_TOOLS_INSPECT_H
#define VEK_TOOLS_INSPECT_H

#include <string>
#include <vector>

#include "tools/cli.h"
#include "tools/common_options.h"

namespace vek::tools {

struct InspectOptions {
  bool streams = false;
  bool batch = false;
  JsonOptions json;
  std::string schema_dir;          // at most one of the two
  std::string type_system;         //
  std::vector<std::string> pages;  // files; "-" is standard input
};

void add_inspect(CLI::App& app, Action& action);

// Data goes to standard output, damage and what the plug-in would refuse to standard error, too.
ExitStatus inspect(const InspectOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_INSPECT_H
