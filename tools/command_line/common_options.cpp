#include "tools/command_line/common_options.h"

#include <algorithm>

#include "tools/base/console.h"
#include "tools/base/json_writer.h"

namespace vek::tools {

void add_schema_options(Verb& verb, std::string& schema_dir, std::string& type_system,
                        SchemaRule rule, const std::string& help) {
  Verb schemas = verb.group("Schemas", help, rule == SchemaRule::kOne ? 1 : 0, 1);
  schemas.text("--schema-dir", "DIR", schema_dir, "Directory of schema_<identifier>.json files");
  schemas.text("--type-system", "FILE", type_system, "Type system document");
}

Option add_json_options(Verb& verb, JsonOptions& options, const std::string& json_help) {
  const Option json = verb.flag("--json", options.json, json_help);
  verb.choice(
      "--int64", {"number", "string"},
      [&options](const std::string& form) { options.integers_as_text = form == "string"; },
      "Integers in JSON: as numbers, or quoted for readers that round");
  return json;
}

bool write_json(const std::string& lines, const JsonOptions& options) {
  return write_output(options.integers_as_text ? quote_integers(lines) : lines);
}

void add_color_option(Verb& verb) {
  verb.choice(
          "--color", {"auto", "always", "never"},
          [](const std::string& when) {
            set_colours(when == "always"  ? Colours::kAlways
                        : when == "never" ? Colours::kNever
                                          : Colours::kAuto);
          },
          "Colours: on terminals unless NO_COLOR is set, or as told")
      .at_once();
}

Option add_pages_option(Verb& verb, std::vector<std::string>& pages) {
  return verb.texts("PAGES", "", pages, "Page files; '-' is standard input");
}

void check_pages(const std::vector<std::string>& pages) {
  if (std::count(pages.begin(), pages.end(), "-") > 1) {
    refuse("PAGES", "standard input ('-') can be named only once");
  }
}

}  // namespace vek::tools
