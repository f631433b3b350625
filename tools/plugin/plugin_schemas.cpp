#include "tools/plugin/plugin_schemas.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "data/type_system.h"
#include "schema_manager/fillings.h"
#include "tools/base/text_file.h"

namespace vek::tools {

PluginSchemas::Result PluginSchemas::use_directory(const std::string& dir) {
  std::error_code error;
  if (!std::filesystem::is_directory(dir, error)) {
    problem_ = dir + ": is no directory of schema files";
    if (error) problem_ += ": " + error.message();
    return Result::kUnreadable;
  }
  const auto create = need<decltype(vek_schema_manager_create)>("vek_schema_manager_create");
  const auto destroy = need<decltype(vek_schema_manager_destroy)>("vek_schema_manager_destroy");
  const auto fill = need<decltype(vek_exporter_schema_manager_from_manager)>(
      "vek_exporter_schema_manager_from_manager");
  if (!create || !destroy || !fill) return Result::kForeign;
  vek_schema_manager_t* manager = create(dir.c_str());
  if (!manager) {
    problem_ = "the plug-in could not make a schema manager";
    return Result::kForeign;
  }
  owner_ = {manager,
            [destroy](void* object) { destroy(static_cast<vek_schema_manager_t*>(object)); }};
  fill(manager, &record_);
  return Result::kMade;
}

PluginSchemas::Result PluginSchemas::use_type_system(const std::string& path) {
  std::string text;
  if (!read_text_file(path, text, problem_)) return Result::kUnreadable;
  const auto deserialize =
      need<decltype(vek_type_system_deserialize)>("vek_type_system_deserialize");
  const auto destroy = need<decltype(vek_destroy_type_system)>("vek_destroy_type_system");
  const auto fill = need<decltype(vek_exporter_schema_manager_from_type_system)>(
      "vek_exporter_schema_manager_from_type_system");
  if (!deserialize || !destroy || !fill) return Result::kForeign;
  vek_type_system_t* type_system = deserialize(text.c_str());
  if (!type_system) {
    problem_ = path + ": is no type system document (the plug-in's own lines say why)";
    return Result::kBad;
  }
  owner_ = {type_system,
            [destroy](void* object) { destroy(static_cast<vek_type_system_t*>(object)); }};
  fill(type_system, &record_);
  return Result::kMade;
}

}  // namespace vek::tools
