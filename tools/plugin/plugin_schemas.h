// PluginSchemas: the record through which a host lends its schemas, made in the plug-in's own
// memory.
#ifndef VEK_TOOLS_PLUGIN_PLUGIN_SCHEMAS_H
#define VEK_TOOLS_PLUGIN_PLUGIN_SCHEMAS_H

#include <memory>
#include <string>

#include "data/exporter_schema_manager.h"
#include "tools/plugin/plugin_library.h"

namespace vek::tools {

class PluginSchemas {
 public:
  enum class Result {
    kMade,
    kUnreadable,  // the directory or file cannot be read
    kBad,         // the document is no type system
    kForeign,     // the plug-in lacks a function that hosts need
  };

  // The library must outlive this object.
  explicit PluginSchemas(const PluginLibrary& library) : library_(library) {}

  // Schemas are looked up by identifier in "schema_<identifier>.json" files when a page needs them.
  Result use_directory(const std::string& dir);
  // One type system document holds them all.
  Result use_type_system(const std::string& path);

  const vek_exporter_schema_manager_t& record() const { return record_; }
  const std::string& problem() const { return problem_; }

 private:
  template <typename Function>
  Function* need(const char* name) {
    Function* function = library_.find<Function>(name);
    if (!function) problem_ = std::string("the plug-in has no function ") + name;
    return function;
  }

  const PluginLibrary& library_;
  std::shared_ptr<void> owner_;  // the plug-in's object, with the plug-in's way to destroy it
  vek_exporter_schema_manager_t record_{};
  std::string problem_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_PLUGIN_PLUGIN_SCHEMAS_H
