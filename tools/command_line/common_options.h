// The options that verbs share: one name, one meaning, one check each.
#ifndef VEK_TOOLS_COMMAND_LINE_COMMON_OPTIONS_H
#define VEK_TOOLS_COMMAND_LINE_COMMON_OPTIONS_H

#include <string>
#include <vector>

#include "tools/command_line/command_line.h"

namespace vek::tools {

struct JsonOptions {
  bool json = false;
  bool integers_as_text = false;
};

// --schema-dir and --type-system; `rule` says how many of them there must be.
enum class SchemaRule { kOne, kAtMostOne };
void add_schema_options(Verb& verb, std::string& schema_dir, std::string& type_system,
                        SchemaRule rule, const std::string& help);

// --json and --int64; the former is returned.
Option add_json_options(Verb& verb, JsonOptions& options, const std::string& json_help);

// Writes JSON lines to standard output as the options say; false when they cannot be written.
bool write_json(const std::string& lines, const JsonOptions& options);

// --color, which takes effect while the command line is read.
void add_color_option(Verb& verb);

// PAGES, of which "-" may stand once; call check_pages from the verb's callback.
Option add_pages_option(Verb& verb, std::vector<std::string>& pages);
void check_pages(const std::vector<std::string>& pages);

}  // namespace vek::tools

#endif  // VEK_TOOLS_COMMAND_LINE_COMMON_OPTIONS_H
