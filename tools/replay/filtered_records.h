// Records of a recording that a destination's own rules keep from it.
#ifndef VEK_TOOLS_REPLAY_FILTERED_RECORDS_H
#define VEK_TOOLS_REPLAY_FILTERED_RECORDS_H

#include <cstdint>
#include <map>
#include <string>

#include "exporter/exp_config.h"
#include "tools/replay/engine_ledger.h"

namespace vek::tools {

// What was given to the plug-in, for all destinations.
struct OfferedRecords {
  std::map<std::string, uint64_t, std::less<>> by_tag;
  // Some pages hold chunks of records, which cannot be counted from outside.
  bool has_uncounted = false;
};

// Counts what did not get as far as the destination's engine: "source_tag", pages of tags that it
// does not list; "not_exported", records of which nothing leaves by its counter set and field set,
// or whose schema is not known. So offered = filtered + in. Nothing where that cannot be told:
// uncounted records, or a spool with those of an earlier run.
void add_filtered(const fluentbit_exporter_config_t& config, const OfferedRecords& offered,
                  DestinationAccount& account);

}  // namespace vek::tools

#endif  // VEK_TOOLS_REPLAY_FILTERED_RECORDS_H
