// vektool replay: sends recorded pages through a plug-in binary exactly as a collector does.
#ifndef VEK_TOOLS_REPLAY_H
#define VEK_TOOLS_REPLAY_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/cli.h"

namespace vek::tools {

enum class Pace { kMax, kRecorded };

struct ReplayOptions {
  std::string plugin;
  std::string config_dir;
  std::string schema_dir;   // either this
  std::string type_system;  // or this
  uint64_t repeat = 1;
  Pace pace = Pace::kMax;
  std::vector<std::string> pages;  // files; "-" is standard input
};

void add_replay(CLI::App& app, Action& action);

// Every intact page is sent, also where a file is damaged further on. The summary goes to standard
// error; standard output belongs to the destinations.
ExitStatus replay(const ReplayOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_H
