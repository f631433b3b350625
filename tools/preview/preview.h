// vektool preview: the records that would leave for each destination, and why they are as they are.
// Nothing is sent.
#ifndef VEK_TOOLS_PREVIEW_PREVIEW_H
#define VEK_TOOLS_PREVIEW_PREVIEW_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/command_line/command_line.h"
#include "tools/command_line/common_options.h"

namespace vek::tools {

struct PreviewOptions {
  std::string config_dir;
  std::vector<std::string> diff;  // two directories, or none
  std::string schema_dir;         // one of the two
  std::string type_system;
  std::string destination;  // its name alone; empty: all
  uint64_t limit = 0;       // records of a destination that are shown; 0: all
  std::string explain;
  bool unmatched = false;
  bool cost = false;
  uint64_t nodes = 1;
  uint64_t interval_us = 1'000'000;
  JsonOptions json;
  std::vector<std::string> pages;
};

void add_preview(CommandLine& line, Action& action);

ExitStatus preview(const PreviewOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_PREVIEW_PREVIEW_H
