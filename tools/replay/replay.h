// vektool replay: sends recorded pages through a plug-in binary exactly as a collector does.
#ifndef VEK_TOOLS_REPLAY_REPLAY_H
#define VEK_TOOLS_REPLAY_REPLAY_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/command_line/command_line.h"
#include "tools/command_line/common_options.h"
#include "tools/command_line/time_window.h"
#include "tools/replay/pacer.h"

namespace vek::tools {

struct ReplayOptions {
  std::string plugin;
  std::string config_dir;
  std::string schema_dir;   // either this
  std::string type_system;  // or this
  uint64_t repeat = 1;
  bool loop = false;  // until interrupted
  Pace pace;
  TimeWindow times;
  bool shift_to_now = false;
  JsonOptions json;
  std::vector<std::string> pages;  // files; "-" is standard input
};

void add_replay(CommandLine& line, Action& action);

// Every intact page is sent, also where a file is damaged further on. The summary, with a ledger of
// every destination, goes to standard error; standard output belongs to the destinations. With
// --json the summary is standard output's last line.
ExitStatus replay(const ReplayOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_REPLAY_H
