#include "tools/config/configuration.h"

#include <algorithm>

#include "exporter/exp_file_reader.h"
#include "tools/base/console.h"
#include "tools/base/log_tap.h"
#include "tools/base/suggest.h"
#include "tools/config/exp_check.h"
#include "utils/output_rules.h"

namespace vek::tools {

Place ConfiguredDestination::place_of(const std::string& key) const {
  const auto found = places.find(key);
  return found != places.end() ? found->second : Place{path};
}

std::string ConfiguredDestination::parameter(std::string_view name) const {
  std::string value;
  const fluentbit_export_parameters_t* params = config->params;
  for (int32_t i = 0; params && i < params->count; ++i) {
    if (same_word(params->params[i].name, name)) value = params->params[i].value;
  }
  return value;
}

bool read_configuration(const std::string& dir, std::vector<ConfiguredDestination>& out,
                        Findings& findings) {
  std::vector<std::string> names;
  if (!list_exp_files(dir, names)) return false;
  std::sort(names.begin(), names.end());
  LogTap log;  // its lines are findings here
  for (const std::string& name : names) {
    const std::string path = exp_file_path(dir, name);
    std::string whole_path = dir;
    whole_path.append("/").append(name);
    findings.looked_at(whole_path);
    if (path.size() < whole_path.size()) {
      findings.error({whole_path}, "path-too-long",
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

ExitStatus keep_destination(const std::string& dir, const std::string& name,
                            std::vector<ConfiguredDestination>& destinations) {
  std::vector<std::string> names;
  names.reserve(destinations.size());
  for (const ConfiguredDestination& destination : destinations) {
    names.emplace_back(destination.name());
  }
  std::erase_if(destinations, [&](const ConfiguredDestination& destination) {
    return !destination.is_enabled() || (!name.empty() && name != destination.name());
  });
  if (!destinations.empty() || name.empty()) return ExitStatus::kGood;
  const std::string guess = nearest(name, names);
  say_error("%s: has no enabled destination '%s'%s", dir.c_str(), name.c_str(),
            guess.empty() ? "" : ("; did you mean '" + guess + "'?").c_str());
  return ExitStatus::kBad;
}

}  // namespace vek::tools
