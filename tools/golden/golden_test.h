// vektool test: golden tests of a configuration. A directory holds pages, a configuration and the
// records that are expected to leave.
//
//   CASE/pages.bin, or *.bin      recordings
//   CASE/config/*.exp             the configuration; relative counterset and fieldset paths count
//                                 from the directory that the tool was started in
//   CASE/schemas/, or CASE/type_system.json
//   CASE/expected/NAME.ndjson     one record a line, for each destination by its name
#ifndef VEK_TOOLS_GOLDEN_GOLDEN_TEST_H
#define VEK_TOOLS_GOLDEN_GOLDEN_TEST_H

#include <string>
#include <vector>

#include "tools/command_line/command_line.h"
#include "tools/command_line/common_options.h"

namespace vek::tools {

struct GoldenTestOptions {
  std::vector<std::string> cases;
  bool accept = false;  // writes what leaves as what is expected
  std::string junit;    // a file for the results; empty: none
  JsonOptions json;
};

void add_test(CommandLine& line, Action& action);

ExitStatus run_golden_tests(const GoldenTestOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_GOLDEN_GOLDEN_TEST_H
