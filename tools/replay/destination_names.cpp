#include "tools/replay/destination_names.h"

#include <vector>

#include "exporter/exp_config.h"
#include "exporter/exp_file_reader.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

struct Enabled {
  std::string name;
  std::string output;
};

std::vector<Enabled> enabled_destinations(const std::string& config_dir) {
  std::vector<Enabled> enabled;
  std::vector<std::string> files;
  list_exp_files(config_dir, files);
  for (const std::string& file : files) {
    const Owned<fluentbit_exporter_config_t, destroy_config> config(vek_create_exporter_config());
    if (!config || !read_exp_file(exp_file_path(config_dir, file), *config)) continue;
    if (config->enable == 0 || !config->name || !config->plugin_name) continue;
    enabled.push_back({config->name, config->plugin_name});
  }
  return enabled;
}

}  // namespace

void name_destinations(const std::string& config_dir, EngineLedger& ledger) {
  const std::vector<Enabled> enabled = enabled_destinations(config_dir);
  if (ledger.size() > enabled.size()) return;  // fewer: connecting stops at one that fails
  for (size_t i = 0; i < ledger.size(); ++i) {
    if (ledger[i].output != enabled[i].output) return;
  }
  for (size_t i = 0; i < ledger.size(); ++i) ledger[i].name = enabled[i].name;
}

}  // namespace vek::tools
