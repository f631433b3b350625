#include "tests/support/log_capture.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "tests/support/fail_allocation.h"
#include "utils/logger.h"

namespace vek::test {
namespace {

std::mutex g_mutex;
std::vector<LogLine> g_lines;

__attribute__((format(printf, 2, 3))) void capture(int priority, const char* format, ...) {
  const AllocationsWork for_the_capture;
  va_list args;
  va_start(args, format);
  va_list measure;
  va_copy(measure, args);
  const int length = std::vsnprintf(nullptr, 0, format, measure);
  va_end(measure);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, args);
  va_end(args);
  const std::lock_guard lock(g_mutex);
  g_lines.push_back({priority, std::move(text)});
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
  return out << "[" << line.priority << "] " << line.text;
}

LogCapture::LogCapture(uint32_t level)
    : previous_level_(vek_log_level == VEK_LOG_LEVEL_UNSET ? 0 : vek_log_level) {
  clear();
  vek_set_log_func(capture, level);
}

LogCapture::~LogCapture() {
  vek_set_log_func(nullptr, 0);
  vek_init_stderr_logger(previous_level_);
}

std::vector<LogLine> LogCapture::lines() const {
  const std::lock_guard lock(g_mutex);
  return g_lines;
}

std::vector<std::string> LogCapture::at(int priority) const {
  std::vector<std::string> texts;
  for (const LogLine& line : lines()) {
    if (line.priority == priority) texts.push_back(line.text);
  }
  return texts;
}

bool LogCapture::has(int priority, const std::string& text) const {
  return count(priority, text) > 0;
}

size_t LogCapture::count(int priority, const std::string& text) const {
  size_t found = 0;
  for (const LogLine& line : lines()) {
    if (line.priority == priority && line.text == text) ++found;
  }
  return found;
}

void LogCapture::clear() {
  const std::lock_guard lock(g_mutex);
  g_lines.clear();
}

}  // namespace vek::test
