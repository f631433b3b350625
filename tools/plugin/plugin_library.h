// PluginLibrary: the plug-in binary, opened as a collector opens it, and its API record.
//
// Everything that the plug-in is given is made by the plug-in's own functions, found by name: the
// tool links a static copy of the same code, and no object of that copy may cross.
#ifndef VEK_TOOLS_PLUGIN_PLUGIN_LIBRARY_H
#define VEK_TOOLS_PLUGIN_PLUGIN_LIBRARY_H

#include <memory>
#include <string>

#include "exporter/exporter_api.h"

namespace vek::tools {

class PluginLibrary {
 public:
  // Null with `problem` set (the loader's text, and advice where there is some) when the library
  // cannot be opened or is no exporter plug-in of this interface version.
  static std::unique_ptr<PluginLibrary> load(const std::string& path, std::string& problem);
  ~PluginLibrary();
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;

  const vek_exporter_api_t& api() const { return *api_; }

  // Null when the plug-in does not have the function.
  template <typename Function>
  Function* find(const char* name) const {
    return reinterpret_cast<Function*>(find_symbol(name));
  }

 private:
  explicit PluginLibrary(void* handle) : handle_(handle) {}
  void* find_symbol(const char* name) const;
  bool read_api(std::string& problem);

  void* handle_;
  const vek_exporter_api_t* api_ = nullptr;
};

// What mends a loader error; empty when there is nothing to say. Public for tests.
std::string advice_for_loader_error(const std::string& text);

}  // namespace vek::tools

#endif  // VEK_TOOLS_PLUGIN_PLUGIN_LIBRARY_H
