// What the tests of the logger share: a child process whose logger nothing has touched yet, and
// the lines that it wrote.
#ifndef VEK_TESTS_UTILS_LOGGER_FIXTURE_H
#define VEK_TESTS_UTILS_LOGGER_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/child_process.h"
#include "utils/logger_state.h"

namespace vek::test {

// Puts the logger into the state in which a process starts.
inline void forget_logger() {
  is_registered = false;
  vek_logger_cleanup_mutex_exit_handler();
  logger::state = {};
  vek_log_level = VEK_LOG_LEVEL_UNSET;
  for (const char* name :
       {"VEK_API_LOG_LEVEL", "API_LOG_LEVEL", "VEK_LOG_THREAD_SAFE", "LOG_THREAD_SAFE"}) {
    unsetenv(name);
  }
}

// "[2026-01-31 12:00:00.123] ": whether a line starts so, by form.
inline bool starts_with_timestamp(std::string_view line) {
  constexpr std::string_view kForm = "[dddd-dd-dd dd:dd:dd.ddd] ";
  if (line.size() < kForm.size()) return false;
  for (size_t i = 0; i < kForm.size(); ++i) {
    const bool digit = std::isdigit(static_cast<unsigned char>(line[i])) != 0;
    if (kForm[i] == 'd' ? !digit : line[i] != kForm[i]) return false;
  }
  return true;
}

// The lines without their timestamps; a line that has none is marked.
inline std::vector<std::string> lines_of(std::string_view text) {
  constexpr size_t kTimestampSize = 26;
  std::vector<std::string> lines;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    lines.emplace_back(starts_with_timestamp(line) ? std::string(line.substr(kTimestampSize))
                                                   : "no timestamp: " + std::string(line));
    if (end == std::string_view::npos) {
      lines.back() += " (no newline)";
      break;
    }
    text.remove_prefix(end + 1);
  }
  return lines;
}

// Runs the body in a child with a fresh logger and returns the lines of its standard error.
inline std::vector<std::string> log_of(const std::function<void()>& body) {
  const ChildResult result = run_in_child([&body] {
    forget_logger();
    body();
  });
  EXPECT_EQ(result.exit_code, 0) << result.standard_output << result.standard_error;
  return lines_of(result.standard_error);
}

// Sets a variable of this process, or unsets it when the value is null.
inline void set_variable(const char* name, const char* value) {
  if (value) {
    setenv(name, value, 1);
  } else {
    unsetenv(name);
  }
}

}  // namespace vek::test

#endif  // VEK_TESTS_UTILS_LOGGER_FIXTURE_H
