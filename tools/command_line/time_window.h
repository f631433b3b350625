// The options --from and --to: which times of pages are wanted.
#ifndef VEK_TOOLS_COMMAND_LINE_TIME_WINDOW_H
#define VEK_TOOLS_COMMAND_LINE_TIME_WINDOW_H

#include <cstdint>
#include <optional>

#include "tools/command_line/command_line.h"

namespace vek::tools {

struct TimeWindow {
  std::optional<uint64_t>
      from_us;  // pages of times in [from, to) are wanted, and those without one
  std::optional<uint64_t> to_us;

  bool is_open() const { return !from_us && !to_us; }
  bool holds(std::optional<uint64_t> time_us) const {
    if (!time_us) return true;
    return (!from_us || *time_us >= *from_us) && (!to_us || *time_us < *to_us);
  }
};

void add_time_window(Verb& verb, TimeWindow& window);
// For the verb's callback.
void check_time_window(const TimeWindow& window);

}  // namespace vek::tools

#endif  // VEK_TOOLS_COMMAND_LINE_TIME_WINDOW_H
