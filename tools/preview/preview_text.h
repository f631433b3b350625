// What vektool preview tells beside records: explanations, what no rule takes, costs, differences.
// Each as text for people or, with `json`, one object a line.
#ifndef VEK_TOOLS_PREVIEW_PREVIEW_TEXT_H
#define VEK_TOOLS_PREVIEW_PREVIEW_TEXT_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/conversion/preview_run.h"
#include "tools/preview/selection_trace.h"

namespace vek::tools {

// Which lines took, renamed or excluded the counters and fields of this name, in the schema or at
// the receiver. Empty when there is none.
std::string explain_name(const ConfiguredDestination& destination,
                         const std::vector<SelectedName>& names, const std::string& name,
                         bool json);

// Counters and fields that neither leave nor are excluded.
std::string unmatched_names(const ConfiguredDestination& destination,
                            const std::vector<SelectedName>& names, bool json);

struct Fleet {
  uint64_t nodes = 1;
  uint64_t interval_us = 1'000'000;
};

// What so many nodes give a destination, when each sends a page an interval as those that were
// recorded.
std::string cost_of(const PreviewRun::Result& result, uint64_t pages, const Fleet& fleet,
                    bool json);

// A destination in two configurations; null where one lacks it.
struct DiffSide {
  const ConfiguredDestination* destination = nullptr;
  std::vector<SelectedName> names;
  PreviewTotals totals;
};
std::string difference(const std::string& name, const DiffSide& before, const DiffSide& after,
                       bool json);

}  // namespace vek::tools

#endif  // VEK_TOOLS_PREVIEW_PREVIEW_TEXT_H
