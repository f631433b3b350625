#include "tools/config/own_schemas.h"

#include <filesystem>

#include "tools/base/text_file.h"

namespace vek::tools {

ExitStatus OwnSchemas::load(const std::string& dir, const std::string& type_system_path) {
  if (!dir.empty()) return use_directory(dir);
  return type_system_path.empty() ? ExitStatus::kGood : use_type_system(type_system_path);
}

ExitStatus OwnSchemas::use_directory(const std::string& dir) {
  std::error_code error;
  if (!std::filesystem::is_directory(dir, error)) {
    problem_ = dir + ": is no directory of schema files";
    if (error) problem_ += ": " + error.message();
    return ExitStatus::kEnvironment;
  }
  manager_.reset(vek_schema_manager_create(dir.c_str()));
  if (!manager_) {
    problem_ = dir + ": no schema manager could be made";
    return ExitStatus::kEnvironment;
  }
  vek_exporter_schema_manager_from_manager(manager_.get(), &record_);
  return ExitStatus::kGood;
}

ExitStatus OwnSchemas::use_type_system(const std::string& path) {
  std::string text;
  if (!read_text_file(path, text, problem_)) return ExitStatus::kEnvironment;
  type_system_.reset(vek_type_system_deserialize(text.c_str()));
  if (!type_system_) {
    problem_ = path + ": is no type system document";
    return ExitStatus::kBad;
  }
  vek_exporter_schema_manager_from_type_system(type_system_.get(), &record_);
  return ExitStatus::kGood;
}

}  // namespace vek::tools
