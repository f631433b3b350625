#include "tools/base/harmless_text.h"

#include "utils/json_scalars.h"

namespace vek::tools {

std::string harmless(std::string_view text) {
  std::string quoted;
  append_json_string(text, quoted);
  return quoted.substr(1, quoted.size() - 2);
}

void append_cell(std::string& line, std::string_view value, size_t width, bool right) {
  const std::string padding(value.size() < width ? width - value.size() : 0, ' ');
  if (right) line += padding;
  line += value;
  if (!right) line += padding;
  line += "  ";
}

void end_line(std::string& line) {
  while (line.ends_with(' ')) line.pop_back();
  line += '\n';
}

}  // namespace vek::tools
