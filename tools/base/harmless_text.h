// Text of a recording as people may see it: in columns, with nothing in it that a terminal obeys.
#ifndef VEK_TOOLS_BASE_HARMLESS_TEXT_H
#define VEK_TOOLS_BASE_HARMLESS_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace vek::tools {

// What a terminal would obey is escaped, as in JSON.
std::string harmless(std::string_view text);

// A column of a line: padded to `width`, two blanks behind it. A longer value pushes the others on.
void append_cell(std::string& line, std::string_view value, size_t width, bool right = false);
// Ends the line without blanks behind its last column.
void end_line(std::string& line);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_HARMLESS_TEXT_H
