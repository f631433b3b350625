#include "tools/replay/destination_names.h"

#include <utility>
#include <vector>

#include "exporter/exp_config.h"
#include "exporter/exp_file_reader.h"
#include "utils/owned.h"

namespace vek::tools {
namespace {

using Config = Owned<fluentbit_exporter_config_t, destroy_config>;

std::vector<Config> enabled_destinations(const std::string& config_dir) {
  std::vector<Config> enabled;
  std::vector<std::string> files;
  list_exp_files(config_dir, files);
  for (const std::string& file : files) {
    Config config(vek_create_exporter_config());
    if (!config || !read_exp_file(exp_file_path(config_dir, file), *config)) continue;
    if (config->enable == 0 || !config->name || !config->plugin_name) continue;
    enabled.push_back(std::move(config));
  }
  return enabled;
}

}  // namespace

void complete_ledger(const std::string& config_dir, const OfferedRecords& offered,
                     EngineLedger& ledger) {
  const std::vector<Config> enabled = enabled_destinations(config_dir);
  if (ledger.size() > enabled.size()) return;  // fewer: connecting stops at one that fails
  for (size_t i = 0; i < ledger.size(); ++i) {
    if (ledger[i].output != enabled[i]->plugin_name) return;
  }
  for (size_t i = 0; i < ledger.size(); ++i) {
    ledger[i].name = enabled[i]->name;
    add_filtered(*enabled[i], offered, ledger[i]);
  }
}

}  // namespace vek::tools
