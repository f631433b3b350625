// LogTap: takes the warnings and errors that the framework logs, so that the tool can say to which
// page they belong. Lines of other levels go on to standard error where the level lets them.
// One at a time, on one thread.
#ifndef VEK_TOOLS_BASE_LOG_TAP_H
#define VEK_TOOLS_BASE_LOG_TAP_H

#include <cstdint>
#include <string>
#include <vector>

namespace vek::tools {

struct TappedLine {
  bool error;  // else a warning
  std::string text;
};

class LogTap {
 public:
  LogTap();
  // Logging goes on as before.
  ~LogTap();
  LogTap(const LogTap&) = delete;
  LogTap& operator=(const LogTap&) = delete;

  // The lines since the last call.
  std::vector<TappedLine> take();

 private:
  uint32_t level_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_LOG_TAP_H
