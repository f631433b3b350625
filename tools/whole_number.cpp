#include "tools/whole_number.h"

#include <charconv>
#include <string>

namespace vek::tools {

CLI::Validator whole_number(uint64_t least, uint64_t most) {
  const auto check = [least, most](const std::string& text) -> std::string {
    uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [behind, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc() && behind == end && value >= least && value <= most) return {};
    return "'" + text + "' is no whole number from " + std::to_string(least) + " to " +
           std::to_string(most);
  };
  return CLI::Validator(check, "");
}

}  // namespace vek::tools
