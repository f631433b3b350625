#include "tools/configuration.h"

#include <algorithm>

#include "exporter/exp_file_reader.h"
#include "tools/exp_check.h"
#include "tools/log_tap.h"

namespace vek::tools {

Place ConfiguredDestination::place_of(const std::string& key) const {
  const auto found = places.find(key);
  return found != places.end() ? found->second : Place{path};
}

bool read_configuration(const std::string& dir, std::vector<ConfiguredDestination>& out,
                        Findings& findings) {
  std::vector<std::string> names;
  if (!list_exp_files(dir, names)) return false;
  std::sort(names.begin(), names.end());
  LogTap log;  // its lines are findings here
  for (const std::string& name : names) {
    const std::string path = exp_file_path(dir, name);
    findings.looked_at(dir + "/" + name);
    if (path.size() < dir.size() + 1 + name.size()) {
      findings.error({dir + "/" + name}, "path-too-long",
                     "the path has more than 127 characters and is cut to '" + path + "'",
                     "use a shorter directory or file name");
      continue;
    }
    ConfiguredDestination destination{path, {}, {}};
    destination.config.reset(vek_create_exporter_config());
    ExpCheck check(path, destination.places, findings);
    if (!destination.config || !read_exp_file(path, *destination.config, &check)) {
      findings.error({path}, "cannot-open", "cannot be opened, and is left out");
      continue;
    }
    out.push_back(std::move(destination));
  }
  return true;
}

}  // namespace vek::tools
