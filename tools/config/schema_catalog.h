// SchemaCatalog: every schema of a directory or of a type system, for verbs that look at a
// configuration before any page has named one.
#ifndef VEK_TOOLS_CONFIG_SCHEMA_CATALOG_H
#define VEK_TOOLS_CONFIG_SCHEMA_CATALOG_H

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "counters/counters_schema.h"
#include "field_set/field_set.h"
#include "tools/base/exit_status.h"
#include "tools/config/finding.h"
#include "tools/config/own_schemas.h"

namespace vek::tools {

class SchemaCatalog {
 public:
  // Files that hold no schema become findings. Other than kGood: problem() says why. With both
  // names empty nothing is known.
  ExitStatus load(const std::string& dir, const std::string& type_system, Findings& findings);

  bool is_loaded() const { return is_loaded_; }
  const std::vector<const vek_counters_schema_t*>& counters() const { return counters_; }
  // From here on these are all that is looked at.
  void keep(const std::set<const vek_counters_schema_t*>& counters,
            const std::set<std::string>& event_types);
  bool is_looked_at(const std::string& event_type) const {
    return !event_types_ || event_types_->contains(event_type);
  }
  // Gives the field set every events schema.
  void bind(FieldSet& field_set) const;
  const vek_exporter_schema_manager_t& record() const { return schemas_.record(); }
  const std::string& problem() const { return schemas_.problem(); }

 private:
  void load_file(const std::string& path, const std::string& id_text, Findings& findings);

  OwnSchemas schemas_;
  std::vector<std::shared_ptr<vek_counters_schema_t>> kept_;
  std::vector<const vek_counters_schema_t*> counters_;
  std::optional<std::set<std::string>> event_types_;  // none: all
  bool is_loaded_ = false;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONFIG_SCHEMA_CATALOG_H
