#include "tools/base/log_tap.h"

#include <algorithm>
#include <cstdarg>
#include <utility>

#include "utils/logger.h"
#include "utils/owned.h"
#include "utils/strings.h"

namespace vek::tools {
namespace {

// The logger's function gets no context.
std::vector<TappedLine> tapped;
uint32_t shown_level = VEK_LOG_WARNING;

__attribute__((format(printf, 2, 3))) void on_line(int priority, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const CString text(vek_vexpand_string_template(format, args));
  va_end(args);
  const char* const line = text ? text.get() : format;
  if (priority <= VEK_LOG_WARNING) {
    tapped.push_back({priority <= VEK_LOG_ERROR, line});
  } else if (static_cast<uint32_t>(priority) <= shown_level) {
    _vek_log(priority, "%s", line);
  }
}

}  // namespace

LogTap::LogTap() : level_(vek_log_level) {
  tapped.clear();
  shown_level = level_;
  vek_set_log_func(on_line, std::max<uint32_t>(level_, VEK_LOG_WARNING));
}

LogTap::~LogTap() { vek_init_stderr_logger(level_); }

std::vector<TappedLine> LogTap::take() { return std::exchange(tapped, {}); }

}  // namespace vek::tools
