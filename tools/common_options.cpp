#include "tools/common_options.h"

#include <algorithm>

#include "tools/console.h"
#include "tools/json_writer.h"

namespace vek::tools {

void add_schema_options(CLI::App& verb, std::string& schema_dir, std::string& type_system,
                        SchemaRule rule, const std::string& help) {
  CLI::Option_group* schemas = verb.add_option_group("Schemas", help);
  schemas->add_option("--schema-dir", schema_dir, "Directory of schema_<identifier>.json files")
      ->type_name("DIR");
  schemas->add_option("--type-system", type_system, "Type system document")->type_name("FILE");
  if (rule == SchemaRule::kOne) {
    schemas->require_option(1);
  } else {
    schemas->require_option(0, 1);
  }
}

void add_json_options(CLI::App& verb, JsonOptions& options, const std::string& json_help) {
  verb.add_flag("--json", options.json, json_help);
  verb.add_option_function<std::string>(
          "--int64",
          [&options](const std::string& form) { options.integers_as_text = form == "string"; },
          "Integers in JSON: as numbers, or quoted for readers that round")
      ->check(CLI::IsMember({"number", "string"}).description(""))
      ->type_name("number|string");
}

bool write_json(const std::string& lines, const JsonOptions& options) {
  return write_output(options.integers_as_text ? quote_integers(lines) : lines);
}

void add_color_option(CLI::App& verb) {
  verb.add_option_function<std::string>(
          "--color",
          [](const std::string& when) {
            set_colours(when == "always"  ? Colours::kAlways
                        : when == "never" ? Colours::kNever
                                          : Colours::kAuto);
          },
          "Colours: on terminals unless NO_COLOR is set, or as told")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""))
      ->type_name("auto|always|never")
      ->trigger_on_parse();
}

CLI::Option* add_pages_option(CLI::App& verb, std::vector<std::string>& pages) {
  return verb.add_option("PAGES", pages, "Page files; '-' is standard input")->type_name("");
}

void check_pages(const std::vector<std::string>& pages) {
  if (std::count(pages.begin(), pages.end(), "-") > 1) {
    throw CLI::ValidationError("PAGES", "standard input ('-') can be named only once");
  }
}

}  // namespace vek::tools
