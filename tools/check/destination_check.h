// What is wrong with a destination as a whole, and with two together.
#ifndef VEK_TOOLS_CHECK_DESTINATION_CHECK_H
#define VEK_TOOLS_CHECK_DESTINATION_CHECK_H

#include <vector>

#include "tools/config/configuration.h"
#include "tools/config/finding.h"

namespace vek::tools {

// Values: the layout, the output's name. True when the files that it names can be read.
void check_destination(const ConfiguredDestination& destination, Findings& findings);
// Between destinations: names and files that two of them share.
void check_together(const std::vector<ConfiguredDestination>& destinations, Findings& findings);

// False after a finding when the file that the key names cannot be read.
bool check_file_of(const ConfiguredDestination& destination, const char* key, const char* path,
                   Findings& findings);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_DESTINATION_CHECK_H
