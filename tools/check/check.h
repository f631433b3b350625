// vektool check: everything that is wrong with a configuration directory, at once.
#ifndef VEK_TOOLS_CHECK_CHECK_H
#define VEK_TOOLS_CHECK_CHECK_H

#include <string>
#include <vector>

#include "tools/check/finding_formats.h"
#include "tools/command_line/command_line.h"
#include "tools/command_line/common_options.h"

namespace vek::tools {

struct CheckOptions {
  std::string config_dir;
  std::string schema_dir;   // at most one of the two; without them only syntax, values and
  std::string type_system;  // files are looked at
  std::vector<std::string> pages;
  FindingFormat format = FindingFormat::kText;
  bool strict = false;
  bool connect = false;  // try to reach the destinations
  JsonOptions json;
};

void add_check(CommandLine& line, Action& action);

ExitStatus check(const CheckOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_CHECK_H
