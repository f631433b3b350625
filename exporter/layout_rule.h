// Which outputs take records of the layout "custom"; others get "flb_std" whatever is asked for.
#ifndef VEK_EXPORTER_LAYOUT_RULE_H
#define VEK_EXPORTER_LAYOUT_RULE_H

#include <string_view>

namespace vek {

inline constexpr std::string_view kStandardLayout = "flb_std";
inline constexpr std::string_view kCustomLayout = "custom";

inline bool takes_custom_layout(std::string_view plugin) {
  return plugin == "stdout_raw" || plugin == "forward";
}

}  // namespace vek

#endif  // VEK_EXPORTER_LAYOUT_RULE_H
