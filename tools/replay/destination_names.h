// What the ".exp" files say of the destinations of a ledger: names, and what they filter.
#ifndef VEK_TOOLS_REPLAY_DESTINATION_NAMES_H
#define VEK_TOOLS_REPLAY_DESTINATION_NAMES_H

#include <string>

#include "tools/replay/engine_ledger.h"
#include "tools/replay/filtered_records.h"

namespace vek::tools {

// Gives each entry the name in the ".exp" file behind it, and what of the records it filters. The
// plug-in connects enabled files in the directory's order, so entries are told apart by their
// position; where the directory does not fit the ledger, names stay as the engine gave them.
void complete_ledger(const std::string& config_dir, const OfferedRecords& offered,
                     EngineLedger& ledger);

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_DESTINATION_NAMES_H
