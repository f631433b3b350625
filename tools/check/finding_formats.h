// Findings as text for people, and in the forms that build servers read.
#ifndef VEK_TOOLS_CHECK_FINDING_FORMATS_H
#define VEK_TOOLS_CHECK_FINDING_FORMATS_H

#include <string>

#include "tools/config/finding.h"

namespace vek::tools {

enum class FindingFormat { kText, kJson, kJunit, kGithub };

// Every form holds every finding. `coloured` is for text alone.
std::string format_findings(const Findings& findings, FindingFormat format, bool coloured);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_FINDING_FORMATS_H
