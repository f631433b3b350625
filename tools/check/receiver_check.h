// Names and values of records that receivers behind an output are known to reject.
#ifndef VEK_TOOLS_CHECK_RECEIVER_CHECK_H
#define VEK_TOOLS_CHECK_RECEIVER_CHECK_H

#include <set>
#include <string>

#include "tools/config/configuration.h"
#include "tools/config/exported_names.h"
#include "tools/config/finding.h"

namespace vek::tools {

// Names, where schemas are known.
void check_receiver(const ConfiguredDestination& destination, const ExportedNames& exported,
                    Findings& findings);
// What a recording's records hold: values that are no numbers.
void check_values(const ConfiguredDestination& destination, const std::set<std::string>& not_finite,
                  Findings& findings);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_RECEIVER_CHECK_H
