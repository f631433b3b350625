// What a recording says about a configuration: tags and schemas that its pages have.
#ifndef VEK_TOOLS_CHECK_PAGE_TAGS_CHECK_H
#define VEK_TOOLS_CHECK_PAGE_TAGS_CHECK_H

#include <string>
#include <vector>

#include "tools/base/exit_status.h"
#include "tools/config/configuration.h"
#include "tools/config/finding.h"

namespace vek::tools {

// Destinations that take none of the pages by their source tags, and pages that nobody takes.
// Other than kGood when a file cannot be read or is damaged, after a message.
ExitStatus check_page_tags(const std::vector<std::string>& pages,
                           const std::vector<ConfiguredDestination>& destinations,
                           Findings& findings);

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_PAGE_TAGS_CHECK_H
