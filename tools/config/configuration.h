// A configuration directory as the plug-in reads it, with the places of what it says.
#ifndef VEK_TOOLS_CONFIG_CONFIGURATION_H
#define VEK_TOOLS_CONFIG_CONFIGURATION_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "exporter/exp_config.h"
#include "tools/base/exit_status.h"
#include "tools/config/finding.h"
#include "utils/owned.h"

namespace vek::tools {

struct ConfiguredDestination {
  std::string path;  // of the ".exp" file
  Owned<fluentbit_exporter_config_t, destroy_config> config;
  std::map<std::string, Place> places;  // of the value that counts, by key

  bool is_enabled() const { return config->enable != 0; }
  const char* name() const { return config->name ? config->name : ""; }
  const char* output() const { return config->plugin_name ? config->plugin_name : ""; }
  // The value of "plugin_NAME", the last one where there are several; empty where there is none.
  std::string parameter(std::string_view name) const;
  // Where the key was given, else the file.
  Place place_of(const std::string& key) const;
};

// Every ".exp" file of the directory, by name; what is wrong with one becomes findings. False when
// the directory cannot be read.
bool read_configuration(const std::string& dir, std::vector<ConfiguredDestination>& out,
                        Findings& findings);

// Leaves the enabled ones alone, and of them only that of this name when it is not empty. Other
// than kGood: there is none of that name, which was said.
ExitStatus keep_destination(const std::string& dir, const std::string& name,
                            std::vector<ConfiguredDestination>& destinations);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONFIG_CONFIGURATION_H
