// The plug-in's log lines, taken through the function that hosts register.
//
// A collector sees failures of a page only in the log: the entry points answer 0 for exceptions
// alone. So the tool listens, as a collector would, counts what is reported, and prints what the
// environment's log level (VEK_API_LOG_LEVEL, else API_LOG_LEVEL; warnings and errors when neither
// is set) lets through.
#ifndef VEK_TOOLS_PLUGIN_PLUGIN_LOG_H
#define VEK_TOOLS_PLUGIN_PLUGIN_LOG_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/plugin/plugin_library.h"

namespace vek::tools {

struct PluginLogCounts {
  uint64_t errors = 0;        // lines at error level
  uint64_t failed_pages = 0;  // "export for ... page failed", one a destination
};

// Lines of a plug-in without the registering function go where it sends them, uncounted.
void listen_to_plugin(const PluginLibrary& library);
PluginLogCounts plugin_log_counts();

// Calls `body` and hands out the warnings and errors that the plug-in logged meanwhile; none of its
// lines are shown.
std::vector<std::string> plugin_lines_of(const PluginLibrary& library,
                                         const std::function<void()>& body);

// The level that the environment asks for, `fallback` when it does not. Text that is no number
// means 0, as the plug-in reads it.
uint32_t environment_log_level(uint32_t fallback);

}  // namespace vek::tools

#endif  // VEK_TOOLS_PLUGIN_PLUGIN_LOG_H
