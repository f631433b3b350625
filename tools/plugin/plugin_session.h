// PluginSession: one run of a plug-in, in the order in which a collector calls it.
#ifndef VEK_TOOLS_PLUGIN_PLUGIN_SESSION_H
#define VEK_TOOLS_PLUGIN_PLUGIN_SESSION_H

#include <string>

#include "tools/plugin/plugin_library.h"

namespace vek::tools {

class PluginSession {
 public:
  // The library must outlive the session.
  explicit PluginSession(const PluginLibrary& library) : library_(library) {}
  // Destroys the plug-in object; disconnects first when that was not done.
  ~PluginSession();
  PluginSession(const PluginSession&) = delete;
  PluginSession& operator=(const PluginSession&) = delete;

  // init with the configuration directory. False with `problem` set.
  bool init(const std::string& config_dir, std::string& problem);
  bool connect();
  bool export_page(const vek_data_page_t* page, const vek_exporter_schema_manager_t& schemas);
  // Destinations flush what they hold; returns when they have.
  void disconnect();

 private:
  const PluginLibrary& library_;
  void* exporter_ = nullptr;
  bool connected_ = false;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_PLUGIN_PLUGIN_SESSION_H
