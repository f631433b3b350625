// What a doctor found: one thing looked at, how it is, and what mends it.
#ifndef VEK_TOOLS_BASE_DIAGNOSIS_H
#define VEK_TOOLS_BASE_DIAGNOSIS_H

#include <functional>
#include <string>
#include <vector>

namespace vek::tools {

enum class Health { kGood, kNote, kBad };

struct Diagnosis {
  Health health = Health::kGood;
  std::string part;  // "plug-in", "engine", ...
  std::string what;
  std::string mend;  // may be empty
};

using Diagnoses = std::vector<Diagnosis>;

// Runs a part in a child process, so that a library that crashes or never returns harms nothing;
// that it did is then what was found. The child's standard output goes nowhere.
Diagnoses diagnose_in_child(const std::string& part,
                            const std::function<void(Diagnoses&)>& examine);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_DIAGNOSIS_H
