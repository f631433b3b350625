// The rules of a counter-set or field-set file, and what became of each over all schemas.
#ifndef VEK_TOOLS_CONFIG_RULE_LINES_H
#define VEK_TOOLS_CONFIG_RULE_LINES_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/config/finding.h"

namespace vek::tools {

struct RuleLine {
  Place place;
  std::string text;
  bool malformed = false;  // neither "filter" nor "alias=filter"
  bool bad_filter = false;
  bool is_for_nothing = false;   // it belongs to a section that no schema fits
  uint64_t shown = 0;            // leave because of it
  uint64_t taken = 0;            // shown or excluded because of it
  uint64_t shadowed = 0;         // it would have taken them, but an earlier rule did
  std::string shadowed_by = {};  // the place of one of those
};

// Adds what is wrong with the rules. `what` is "counter" or "field"; `names` are all of those, to
// suggest from; without schemas only syntax is looked at.
void report_rules(const std::vector<RuleLine>& rules, const char* what,
                  const std::vector<std::string>& names, bool with_schemas, Findings& findings);

// "+a" or "a", as opposed to "-a" alone.
bool includes(const std::string& rule);

// A line that was taken for a rule, though it begins like a meta field.
bool looks_like_meta_field(const std::string& text);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONFIG_RULE_LINES_H
