#include "tests/e2e/plugin.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "utils/logger.h"

namespace vek::test {
namespace {

std::vector<LogLine> g_lines;

__attribute__((format(printf, 2, 3))) void collect(int priority, const char* format, ...) {
  va_list args;
  va_start(args, format);
  char* text = nullptr;
  const int length = vasprintf(&text, format, args);
  va_end(args);
  g_lines.push_back({priority, length >= 0 ? text : format});
  std::free(length >= 0 ? text : nullptr);
}

void* open_or_die(const char* path, int flags) {
  void* library = dlopen(path, flags);
  if (!library) {
    std::fprintf(stderr, "cannot load %s: %s\n", path, dlerror());
    std::abort();
  }
  return library;
}

}  // namespace

const Plugin& Plugin::instance() {
  static const Plugin plugin;
  return plugin;
}

Plugin::Plugin()
    : library_(open_or_die(VEK_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL)),
      api_(function<decltype(vek_exporter_get_api)>("vek_exporter_get_api")()) {}

PluginLog::PluginLog(uint32_t level) {
  g_lines.clear();
  Plugin::instance().function<decltype(vek_set_log_func)>("vek_set_log_func")(collect, level);
}

PluginLog::~PluginLog() {
  const Plugin& plugin = Plugin::instance();
  plugin.function<decltype(vek_set_log_func)>("vek_set_log_func")(nullptr, 0);
  plugin.function<decltype(vek_init_stderr_logger)>("vek_init_stderr_logger")(0);
}

std::vector<LogLine> PluginLog::lines() const { return g_lines; }

std::vector<std::string> PluginLog::at(int priority) const {
  std::vector<std::string> texts;
  for (const LogLine& line : g_lines) {
    if (line.priority == priority) texts.push_back(line.text);
  }
  return texts;
}

void PluginLog::clear() { g_lines.clear(); }

ScriptedEngine& engine() {
  static ScriptedEngine* const instance = [] {
    void* library = open_or_die(VEK_SCRIPTED_ENGINE_PATH, RTLD_LAZY | RTLD_LOCAL);
    return reinterpret_cast<ScriptedEngine* (*)()>(dlsym(library, "scripted_engine"))();
  }();
  return *instance;
}

HostParams::HostParams(std::initializer_list<std::pair<const char*, const char*>> pairs)
    : dict_(vek_dict_create()) {
  for (const auto& [key, value] : pairs) vek_dict_add(dict_, key, value);
}

Exporters::Exporters(const std::string& config_dir) {
  const HostParams params({{"fluentbit-config-dir", config_dir.c_str()}});
  handle_ = api().init(params.get());
}

}  // namespace vek::test
