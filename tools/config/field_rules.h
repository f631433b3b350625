// What the lines of a field-set file are about.
#ifndef VEK_TOOLS_CONFIG_FIELD_RULES_H
#define VEK_TOOLS_CONFIG_FIELD_RULES_H

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace vek::tools {

// The filter of a rule line: what the field set keeps as its token.
inline std::string field_token_of(const std::string& line) {
  const size_t equals = line.find('=');
  return equals == std::string::npos ? line : line.substr(equals + 1);
}

// Whether lines for these names are for the type.
inline bool is_for_type(const std::vector<std::string>& names, const std::string& type) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    if (name == "default" || name == type) return true;
    return name.ends_with('*') &&
           type.starts_with(std::string_view(name).substr(0, name.size() - 1));
  });
}

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONFIG_FIELD_RULES_H
