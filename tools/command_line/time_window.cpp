#include "tools/command_line/time_window.h"

#include <string>

#include "tools/base/readable_time.h"

namespace vek::tools {
namespace {

uint64_t take_time(const char* option, const std::string& text) {
  const std::optional<uint64_t> time_us = parse_time(text);
  if (!time_us) {
    refuse(option, "'" + text +
                       "' is no time such as 2026-01-01T00:00:00Z, and no "
                       "number of microseconds");
  }
  return *time_us;
}

}  // namespace

void add_time_window(Verb& verb, TimeWindow& window) {
  verb.taken_by(
      "--from", "TIME",
      [&window](const std::string& text) { window.from_us = take_time("--from", text); },
      "Only pages of this time or later (UTC, or microseconds since 1970)");
  verb.taken_by(
      "--to", "TIME",
      [&window](const std::string& text) { window.to_us = take_time("--to", text); },
      "Only pages before this time");
}

void check_time_window(const TimeWindow& window) {
  if (window.from_us && window.to_us && *window.from_us >= *window.to_us) {
    refuse("--to", "is not behind --from");
  }
}

}  // namespace vek::tools
