// Words that mean the same in any case of letters.
#ifndef VEK_TOOLS_BASE_LOWER_CASE_H
#define VEK_TOOLS_BASE_LOWER_CASE_H

#include <string>
#include <string_view>

namespace vek::tools {

// Letters of ASCII alone, whatever the locale.
inline std::string lower_case(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_LOWER_CASE_H
