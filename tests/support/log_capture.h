// LogCapture: collects what is logged while it lives, instead of printing it.
#ifndef VEK_TESTS_SUPPORT_LOG_CAPTURE_H
#define VEK_TESTS_SUPPORT_LOG_CAPTURE_H

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace vek::test {

struct LogLine {
  int priority;
  std::string text;
  bool operator==(const LogLine&) const = default;
};

std::ostream& operator<<(std::ostream& out, const LogLine& line);

// One at a time. Restores the standard error logger at the level it found.
class LogCapture {
 public:
  explicit LogCapture(uint32_t level = 7);
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<LogLine> lines() const;
  // The texts logged at one priority, in order.
  std::vector<std::string> at(int priority) const;
  std::vector<std::string> errors() const { return at(3); }
  std::vector<std::string> warnings() const { return at(4); }
  bool has(int priority, const std::string& text) const;
  size_t count(int priority, const std::string& text) const;
  void clear();

 private:
  uint32_t previous_level_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_SUPPORT_LOG_CAPTURE_H
