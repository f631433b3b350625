// The command line of vektool preview.
#include <algorithm>
#include <memory>

#include "tools/command_line/duration.h"
#include "tools/preview/preview.h"

namespace vek::tools {
namespace {

void check_combination(const PreviewOptions& options) {
  check_pages(options.pages);
  if (options.config_dir.empty() == options.diff.empty()) {
    refuse("--config", "exactly one of --config and --diff is required");
  }
  const bool needs_pages = options.diff.empty() && options.explain.empty() && !options.unmatched;
  if (needs_pages && options.pages.empty()) {
    refuse("PAGES", "is required, but with --explain, --unmatched and --diff");
  }
  const bool is_twice =
      !options.diff.empty() &&
      std::find(options.pages.begin(), options.pages.end(), "-") != options.pages.end();
  if (is_twice) refuse("PAGES", "--diff reads them twice, so they need a name");
}

}  // namespace

void add_preview(CommandLine& line, Action& action) {
  const auto options = std::make_shared<PreviewOptions>();
  Verb verb = line.add_verb(
      "preview", "Show the records that would leave for each destination, without sending");
  verb.text("--config", "DIR", options->config_dir, "Directory of .exp files");
  Option diff = verb.texts("--diff", "OLD NEW", options->diff,
                           "Compare two directories: fields added, removed, renamed and retyped, "
                           "and the change in records and bytes");
  diff.takes(2);
  add_schema_options(verb, options->schema_dir, options->type_system, SchemaRule::kOne,
                     "One of the two:");
  verb.text("--destination", "NAME", options->destination, "Only this one, by its name");
  verb.number("--limit", "N", options->limit, 1, 1'000'000'000,
              "Show the first N records of each destination");
  Option explain = verb.text("--explain", "NAME", options->explain,
                             "Say which lines take, name or exclude this counter or field");
  explain.excludes(diff);
  Option unmatched =
      verb.flag("--unmatched", options->unmatched, "List counters and fields that no line takes");
  unmatched.excludes(diff).excludes(explain);
  Option cost = verb.flag("--cost", options->cost,
                          "Forecast records, bytes and series of a fleet, from an average page");
  cost.excludes(diff).excludes(explain).excludes(unmatched);
  verb.number("--nodes", "N", options->nodes, 1, 1'000'000'000, "With --cost: nodes of the fleet")
      .shows_default()
      .needs(cost);
  add_duration(verb, "--interval", options->interval_us,
               "With --cost: time between two pages of a node, as 500ms, 1s, 5m")
      .needs(cost)
      .shows_default("1s");
  add_json_options(verb, options->json, "One JSON object a line");
  add_color_option(verb);
  add_pages_option(verb, options->pages);
  verb.footer("Records go to standard output, a line each; totals to standard error.");
  verb.when_read([options, &action] {
    check_combination(*options);
    action = [options] { return preview(*options); };
  });
}

}  // namespace vek::tools
