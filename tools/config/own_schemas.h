// OwnSchemas: schemas for what the tool reads itself, without a plug-in.
#ifndef VEK_TOOLS_CONFIG_OWN_SCHEMAS_H
#define VEK_TOOLS_CONFIG_OWN_SCHEMAS_H

#include <string>

#include "data/exporter_schema_manager.h"
#include "data/type_system.h"
#include "schema_manager/fillings.h"
#include "tools/base/exit_status.h"
#include "utils/owned.h"

namespace vek::tools {

class OwnSchemas {
 public:
  // Schemas are looked up in "schema_<identifier>.json" files, or one type system document holds
  // them all; with both names empty none is known. Other than kGood: problem() says why.
  ExitStatus load(const std::string& dir, const std::string& type_system_path);

  // Good as long as this object.
  const vek_exporter_schema_manager_t& record() const { return record_; }
  const std::string& problem() const { return problem_; }

 private:
  ExitStatus use_directory(const std::string& dir);
  ExitStatus use_type_system(const std::string& path);

  Owned<vek_schema_manager_t, vek_schema_manager_destroy> manager_;
  Owned<vek_type_system_t, vek_destroy_type_system> type_system_;
  vek_exporter_schema_manager_t record_{};
  std::string problem_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONFIG_OWN_SCHEMAS_H
