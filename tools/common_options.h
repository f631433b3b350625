// The options that verbs share: one name, one meaning, one check each.
#ifndef VEK_TOOLS_COMMON_OPTIONS_H
#define VEK_TOOLS_COMMON_OPTIONS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace vek::tools {

struct JsonOptions {
  bool json = false;
  bool integers_as_text = false;
};

// --schema-dir and --type-system; `rule` says how many of them there must be.
enum class SchemaRule { kOne, kAtMostOne };
void add_schema_options(CLI::App& verb, std::string& schema_dir, std::string& type_system,
                        SchemaRule rule, const std::string& help);

// --json and --int64.
void add_json_options(CLI::App& verb, JsonOptions& options, const std::string& json_help);

// Writes JSON lines to standard output as the options say; false when they cannot be written.
bool write_json(const std::string& lines, const JsonOptions& options);

// --color, which takes effect while the command line is read.
void add_color_option(CLI::App& verb);

// PAGES, of which "-" may stand once; call check_pages from the verb's callback.
CLI::Option* add_pages_option(CLI::App& verb, std::vector<std::string>& pages);
void check_pages(const std::vector<std::string>& pages);

}  // namespace vek::tools

#endif  // VEK_TOOLS_COMMON_OPTIONS_H
