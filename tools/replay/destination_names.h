// What operators call their destinations: the names in their ".exp" files.
#ifndef VEK_TOOLS_REPLAY_DESTINATION_NAMES_H
#define VEK_TOOLS_REPLAY_DESTINATION_NAMES_H

#include <string>

#include "tools/replay/engine_ledger.h"

namespace vek::tools {

// Gives each entry the name of the ".exp" file behind it. The plug-in connects enabled files in the
// directory's order, so entries are told apart by their position; where the directory does not fit
// the ledger, names stay as the engine gave them.
void name_destinations(const std::string& config_dir, EngineLedger& ledger);

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_DESTINATION_NAMES_H
