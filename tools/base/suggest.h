// "Did you mean ...?": the known name nearest to a mistyped one.
#ifndef VEK_TOOLS_BASE_SUGGEST_H
#define VEK_TOOLS_BASE_SUGGEST_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vek::tools {

// Insertions, deletions, replacements and swaps of neighbours that turn one text into the other.
size_t edit_distance(std::string_view a, std::string_view b);

// Empty when no candidate is near enough (about one change in three letters). Of equally near
// candidates the first is taken.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_SUGGEST_H
