// The built plug-in, loaded and driven as a collector loads and drives it: by dlopen and through
// the API record alone. What else a host may use, it finds with dlsym.
#ifndef VEK_TESTS_E2E_PLUGIN_H
#define VEK_TESTS_E2E_PLUGIN_H

#include <dlfcn.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "exporter/exporter_api.h"
#include "tests/exporter/engine/scripted_engine.h"
#include "tests/support/log_capture.h"

namespace vek::test {

// The plug-in of this test run; loaded once, never unloaded.
class Plugin {
 public:
  static const Plugin& instance();

  const vek_exporter_api_t& api() const { return *api_; }
  // Null when the library does not export the name.
  void* find(const char* name) const { return dlsym(library_, name); }
  template <typename Function>
  Function* function(const char* name) const {
    return reinterpret_cast<Function*>(find(name));
  }

 private:
  Plugin();

  void* library_;
  const vek_exporter_api_t* api_;
};

// Collects what the plug-in logs while this lives: the logger of a host, registered in the
// plug-in's own copy of the logger.
class PluginLog {
 public:
  explicit PluginLog(uint32_t level = 7);
  ~PluginLog();
  PluginLog(const PluginLog&) = delete;
  PluginLog& operator=(const PluginLog&) = delete;

  std::vector<LogLine> lines() const;
  std::vector<std::string> at(int priority) const;
  void clear();
};

// The scripted engine, opened once and never closed; reset it with `engine() = {}`.
ScriptedEngine& engine();

// A dictionary of host parameters, released at the end of its scope.
class HostParams {
 public:
  HostParams(std::initializer_list<std::pair<const char*, const char*>> pairs);
  ~HostParams() { vek_dict_delete(dict_); }
  HostParams(const HostParams&) = delete;
  HostParams& operator=(const HostParams&) = delete;
  vek_dict_t* get() const { return dict_; }

 private:
  vek_dict_t* dict_;
};

// One plug-in object over a configuration directory.
class Exporters {
 public:
  explicit Exporters(const std::string& config_dir);
  ~Exporters() { destroy(); }
  Exporters(const Exporters&) = delete;
  Exporters& operator=(const Exporters&) = delete;

  void* handle() const { return handle_; }
  int connect() { return api().connect(handle_); }
  int page(const std::vector<uint8_t>& image, const vek_exporter_schema_manager_t& schemas) {
    return page(image.data(), schemas);
  }
  int page(const uint8_t* image, const vek_exporter_schema_manager_t& schemas) {
    return api().export_data_page(handle_, reinterpret_cast<const vek_data_page_t*>(image),
                                  &schemas);
  }
  void disconnect() { api().disconnect(handle_); }
  void destroy() {
    api().destroy(handle_);
    handle_ = nullptr;
  }

 private:
  static const vek_exporter_api_t& api() { return Plugin::instance().api(); }
  void* handle_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_E2E_PLUGIN_H
