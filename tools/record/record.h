// vektool record: pages that a host writes, into rotated page files.
#ifndef VEK_TOOLS_RECORD_RECORD_H
#define VEK_TOOLS_RECORD_RECORD_H

#include <cstdint>
#include <string>

#include "tools/command_line/command_line.h"
#include "tools/command_line/common_options.h"
#include "tools/record/page_recorder.h"

namespace vek::tools {

struct RecordOptions {
  std::string output;
  std::string name = "pages";
  std::string watch;   // one of the three
  std::string listen;  //
  std::string input;   // "-"
  bool remove = false;
  RecordingLimits limits;
  uint64_t for_us = 0;  // 0: until interrupted, or until the input ends
  JsonOptions json;
};

void add_record(CommandLine& line, Action& action);

// The path of each finished file goes to standard output, counts to standard error. SIGINT and
// SIGTERM end it well: what has arrived is written first.
ExitStatus record(const RecordOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_RECORD_RECORD_H
