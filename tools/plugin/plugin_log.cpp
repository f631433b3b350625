#include "tools/plugin/plugin_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "tools/base/console.h"
#include "utils/logger.h"
#include "utils/owned.h"
#include "utils/strings.h"

namespace vek::tools {
namespace {

// The plug-in logs on the thread that calls it, which is the tool's only one.
PluginLogCounts counts;
uint32_t shown_level = VEK_LOG_WARNING;

bool is_page_failure(std::string_view format) {
  return format.starts_with("[Fluent Bit Exporter] export for ") &&
         format.find("page failed") != std::string_view::npos;
}

__attribute__((format(printf, 2, 3))) void on_plugin_line(int priority, const char* format, ...) {
  if (priority <= VEK_LOG_ERROR) ++counts.errors;
  if (is_page_failure(format)) ++counts.failed_pages;
  if (static_cast<uint32_t>(priority) > shown_level) return;
  va_list args;
  va_start(args, format);
  const CString text(vek_vexpand_string_template(format, args));
  va_end(args);
  clear_status_line();
  _vek_log(priority, "%s", text ? text.get() : format);
}

std::vector<std::string> kept_lines;

__attribute__((format(printf, 2, 3))) void keep_line(int priority, const char* format, ...) {
  if (priority > VEK_LOG_WARNING) return;
  va_list args;
  va_start(args, format);
  const CString text(vek_vexpand_string_template(format, args));
  va_end(args);
  kept_lines.emplace_back(text ? text.get() : format);
}

}  // namespace

std::vector<std::string> plugin_lines_of(const PluginLibrary& library,
                                         const std::function<void()>& body) {
  kept_lines.clear();
  const auto set_function = library.find<decltype(vek_set_log_func)>("vek_set_log_func");
  if (set_function) set_function(keep_line, VEK_LOG_WARNING);
  body();
  return std::exchange(kept_lines, {});
}

uint32_t environment_log_level(uint32_t fallback) {
  const char* text = std::getenv("VEK_API_LOG_LEVEL");
  if (!text) text = std::getenv("API_LOG_LEVEL");
  if (!text) return fallback;
  int level = 0;
  // The plug-in's own reading of the variable: leading digits count, anything else is 0.
  if (std::sscanf(text, "%d", &level) != 1) level = 0;  // NOLINT(cert-err34-c)
  return static_cast<uint32_t>(level);
}

void listen_to_plugin(const PluginLibrary& library) {
  counts = {};
  shown_level = environment_log_level(VEK_LOG_WARNING);
  const auto set_function = library.find<decltype(vek_set_log_func)>("vek_set_log_func");
  if (!set_function) return;
  // Warnings are always listened to, whether or not they are shown: they tell of failed pages.
  set_function(on_plugin_line, std::max<uint32_t>(shown_level, VEK_LOG_WARNING));
}

PluginLogCounts plugin_log_counts() { return counts; }

}  // namespace vek::tools
