#include "tools/config/schema_catalog.h"

#include <algorithm>
#include <filesystem>

#include "data/schema_id.h"
#include "schema_manager/schema_manager.h"
#include "tools/base/log_tap.h"

namespace vek::tools {
namespace {

constexpr std::string_view kPrefix = "schema_";
constexpr std::string_view kSuffix = ".json";

// The identifier in "schema_<identifier>.json"; empty for other names.
std::string identifier_of(const std::string& name) {
  if (!name.starts_with(kPrefix) || !name.ends_with(kSuffix)) return {};
  return name.substr(kPrefix.size(), name.size() - kPrefix.size() - kSuffix.size());
}

}  // namespace

ExitStatus SchemaCatalog::load(const std::string& dir, const std::string& type_system,
                               Findings& findings) {
  LogTap log;
  const ExitStatus status = schemas_.load(dir, type_system);
  if (status != ExitStatus::kGood) return status;
  is_loaded_ = !dir.empty() || !type_system.empty();
  if (!type_system.empty()) {
    const vek_type_system_t* all = schemas_.record().type_system;
    if (all && all->counters_schema) counters_.push_back(all->counters_schema);
  }
  if (dir.empty()) return status;
  std::vector<std::pair<std::string, std::string>> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(dir, error)) {
    const std::string id = identifier_of(entry.path().filename().string());
    if (!id.empty()) files.emplace_back(entry.path().string(), id);
  }
  std::sort(files.begin(), files.end());
  for (const auto& [path, id] : files) load_file(path, id, findings);
  return status;
}

void SchemaCatalog::load_file(const std::string& path, const std::string& id_text,
                              Findings& findings) {
  findings.looked_at(path);
  uint8_t bytes[VEK_SCHEMA_ID_SIZE] = {};
  if (id_text.size() != size_t{2} * VEK_SCHEMA_ID_SIZE ||
      vek_schema_from_id_string(id_text.c_str(), bytes) != 1) {
    findings.warning({path}, "schema-name", "'" + id_text + "' is no identifier of 32 digits",
                     "no page can name this file");
    return;
  }
  const data::SchemaId id(bytes);
  SchemaManager& manager = *schemas_.record().schema_manager;
  if (manager.getEventsSchema(id)) return;
  if (auto counters = manager.getCountersSchema(id)) {
    counters_.push_back(counters.get());
    kept_.push_back(std::move(counters));
    return;
  }
  findings.error({path}, "bad-schema", "is neither a counters schema nor an events schema");
}

void SchemaCatalog::keep(const std::set<const vek_counters_schema_t*>& counters,
                         const std::set<std::string>& event_types) {
  std::erase_if(counters_, [&](const auto* schema) { return !counters.contains(schema); });
  event_types_ = event_types;
}

void SchemaCatalog::bind(FieldSet& field_set) const {
  const vek_exporter_schema_manager_t& record = schemas_.record();
  if (record.has_schema_manager) {
    field_set.updateWithNewSchemas_kix(record.schema_manager);
  } else {
    field_set.updateWithNewSchemas(record.type_system, false);
  }
}

}  // namespace vek::tools
