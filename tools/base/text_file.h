// Whole small files: read them, write them, and say what went wrong.
#ifndef VEK_TOOLS_BASE_TEXT_FILE_H
#define VEK_TOOLS_BASE_TEXT_FILE_H

#include <string>
#include <string_view>

namespace vek::tools {

// False with `problem` set ("path: what: system text"); `out` is then unspecified.
bool read_text_file(const std::string& path, std::string& out, std::string& problem);
// Creates or replaces the file.
bool write_text_file(const std::string& path, std::string_view text, std::string& problem);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_TEXT_FILE_H
