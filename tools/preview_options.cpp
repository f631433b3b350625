// The command line of vektool preview.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "tools/duration.h"
#include "tools/preview.h"
#include "tools/whole_number.h"

namespace vek::tools {
namespace {

void check_combination(const PreviewOptions& options) {
  check_pages(options.pages);
  if (options.config_dir.empty() == options.diff.empty()) {
    throw CLI::ValidationError("--config", "exactly one of --config and --diff is required");
  }
  const bool needs_pages = options.diff.empty() && options.explain.empty() && !options.unmatched;
  if (needs_pages && options.pages.empty()) {
    throw CLI::ValidationError("PAGES", "is required, but with --explain, --unmatched and --diff");
  }
  const bool is_twice =
      !options.diff.empty() &&
      std::find(options.pages.begin(), options.pages.end(), "-") != options.pages.end();
  if (is_twice) throw CLI::ValidationError("PAGES", "--diff reads them twice, so they need a name");
}

}  // namespace

void add_preview(CLI::App& app, Action& action) {
  const auto options = std::make_shared<PreviewOptions>();
  CLI::App* verb = app.add_subcommand(
      "preview", "Show the records that would leave for each destination, without sending");
  verb->add_option("--config", options->config_dir, "Directory of .exp files")->type_name("DIR");
  CLI::Option* diff =
      verb->add_option("--diff", options->diff,
                       "Compare two directories: fields added, removed, renamed and retyped, and "
                       "the change in records and bytes")
          ->expected(2)
          ->type_name("OLD NEW");
  add_schema_options(*verb, options->schema_dir, options->type_system, SchemaRule::kOne,
                     "One of the two:");
  verb->add_option("--destination", options->destination, "Only this one, by its name")
      ->type_name("NAME");
  verb->add_option("--limit", options->limit, "Show the first N records of each destination")
      ->check(whole_number(1, 1'000'000'000))
      ->type_name("N");
  CLI::Option* explain =
      verb->add_option("--explain", options->explain,
                       "Say which lines take, name or exclude this counter or field")
          ->excludes(diff)
          ->type_name("NAME");
  CLI::Option* unmatched = verb->add_flag("--unmatched", options->unmatched,
                                          "List counters and fields that no line takes")
                               ->excludes(diff)
                               ->excludes(explain);
  CLI::Option* cost = verb->add_flag("--cost", options->cost,
                                     "Forecast records, bytes and series of a fleet, from an "
                                     "average page")
                          ->excludes(diff)
                          ->excludes(explain)
                          ->excludes(unmatched);
  verb->add_option("--nodes", options->nodes, "With --cost: nodes of the fleet")
      ->check(whole_number(1, 1'000'000'000))
      ->capture_default_str()
      ->needs(cost)
      ->type_name("N");
  verb->add_option_function<std::string>(
          "--interval",
          [options](const std::string& text) {
            options->interval_us = take_duration("--interval", text);
          },
          "With --cost: time between two pages of a node, as 500ms, 1s, 5m")
      ->needs(cost)
      ->default_str("1s")
      ->type_name("TIME");
  add_json_options(*verb, options->json, "One JSON object a line");
  add_color_option(*verb);
  add_pages_option(*verb, options->pages);
  verb->footer("Records go to standard output, a line each; totals to standard error.");
  verb->callback([options, &action] {
    check_combination(*options);
    action = [options] { return preview(*options); };
  });
}

}  // namespace vek::tools
