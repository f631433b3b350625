#include "tools/check/check.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "tools/base/console.h"
#include "tools/base/log_tap.h"
#include "tools/check/connect_check.h"
#include "tools/check/counter_set_check.h"
#include "tools/check/destination_check.h"
#include "tools/check/engine_parameter_check.h"
#include "tools/check/field_set_check.h"
#include "tools/check/page_tags_check.h"
#include "tools/check/parameter_check.h"
#include "tools/check/receiver_check.h"
#include "tools/config/configuration.h"
#include "tools/config/schema_catalog.h"
#include "tools/conversion/preview_run.h"

namespace vek::tools {
namespace {

// The files that a destination names, and what leaves by them.
void check_one(const ConfiguredDestination& destination, const SchemaCatalog& schemas,
               Findings& findings) {
  check_destination(destination, findings);
  const fluentbit_exporter_config_t& config = *destination.config;
  ExportedNames exported;
  const bool has_counter_set =
      check_file_of(destination, "counterset", config.counterset, findings);
  check_counter_set(has_counter_set ? config.counterset : "", schemas, findings, exported);
  const bool has_field_set = check_file_of(destination, "fieldset", config.fieldset, findings);
  if (has_field_set || !config.fieldset) {
    check_field_set(has_field_set ? config.fieldset : "", schemas, findings, exported);
  }
  if (!destination.is_enabled()) return;
  check_parameter_files(destination, findings);
  check_receiver(destination, exported, findings);
}

// Tags and values of a recording; the latter need schemas.
ExitStatus check_recording(const CheckOptions& options,
                           const std::vector<ConfiguredDestination>& destinations,
                           const SchemaCatalog& schemas, Findings& findings) {
  if (options.pages.empty()) return ExitStatus::kGood;
  const ExitStatus tags = check_page_tags(options.pages, destinations, findings);
  if (tags != ExitStatus::kGood || !schemas.is_loaded()) return tags;
  const LogTap log;  // pages are not what is looked at
  PreviewRun run(destinations, schemas.record(), nullptr);
  run.run(options.pages);
  for (const PreviewRun::Result& result : run.results()) {
    check_values(*result.destination, result.totals->not_finite, findings);
    if (result.totals->records == 0 && run.pages() > 0) {
      findings.warning({result.destination->path}, "no-record",
                       "no record of the recording leaves for this destination");
    }
  }
  return ExitStatus::kGood;
}

ExitStatus status_of(const Findings& findings, bool strict) {
  if (findings.errors() > 0) return ExitStatus::kBad;
  return strict && findings.warnings() > 0 ? ExitStatus::kWarnings : ExitStatus::kGood;
}

}  // namespace

ExitStatus check(const CheckOptions& options) {
  Findings findings;
  SchemaCatalog schemas;
  const ExitStatus loaded = schemas.load(options.schema_dir, options.type_system, findings);
  if (loaded != ExitStatus::kGood) {
    say_error("%s", schemas.problem().c_str());
    return loaded;
  }
  std::vector<ConfiguredDestination> destinations;
  if (!read_configuration(options.config_dir, destinations, findings)) {
    say_error("%s: cannot be opened: %s", options.config_dir.c_str(), std::strerror(errno));
    return ExitStatus::kEnvironment;
  }
  if (destinations.empty()) {
    findings.warning({options.config_dir}, "no-destination",
                     "holds no .exp file that can be read, so there is no destination");
  }
  for (const ConfiguredDestination& destination : destinations) {
    check_one(destination, schemas, findings);
  }
  check_together(destinations, findings);
  check_engine_parameters(destinations, findings);
  check_parameters(destinations, findings);
  if (options.connect) check_connections(destinations, findings);
  const ExitStatus pages = check_recording(options, destinations, schemas, findings);
  const std::string report =
      format_findings(findings, options.format, colours_wanted(STDOUT_FILENO));
  if (options.format == FindingFormat::kJson) {
    write_json(report, options.json);
  } else {
    write_output(report);
  }
  return pages != ExitStatus::kGood ? pages : status_of(findings, options.strict);
}

void add_check(CommandLine& line, Action& action) {
  const auto options = std::make_shared<CheckOptions>();
  Verb verb = line.add_verb("check",
                            "Say everything that is wrong with a configuration directory, at once");
  verb.text("DIR", "", options->config_dir, "Directory of .exp files").required();
  add_schema_options(verb, options->schema_dir, options->type_system, SchemaRule::kAtMostOne,
                     "One of the two; with it rules that take nothing are found:");
  verb.texts("--pages", "FILE", options->pages,
             "Page files, whose tags and values are compared with the configuration");
  Option format = verb.choice(
      "--format", {"text", "json", "junit", "github"},
      [options](const std::string& name) {
        options->format = name == "json"     ? FindingFormat::kJson
                          : name == "junit"  ? FindingFormat::kJunit
                          : name == "github" ? FindingFormat::kGithub
                                             : FindingFormat::kText;
      },
      "For people, scripts, or build servers");
  format.shows_default("text");
  add_json_options(verb, options->json, "The same as --format json").excludes(format);
  verb.flag("--strict", options->strict, "Exit status 3 when there are warnings");
  verb.flag("--connect", options->connect,
            "Try to reach every destination, at once, for three seconds; nothing is sent");
  add_color_option(verb);
  verb.footer(
      "Nothing is sent. Where a destination needs Fluent Bit and one is installed, it is asked "
      "for\n"
      "its parameters: the library in a child process, or the program. Exit status: 0 good, 1 "
      "errors,\n"
      "3 only warnings with --strict, 4 something cannot be read.");
  verb.when_read([options, &action] {
    for (const std::string& path : options->pages) {
      if (path == "-") refuse("--pages", "pages are read twice, so they need a name");
    }
    if (options->json.json) options->format = FindingFormat::kJson;
    action = [options] { return check(*options); };
  });
}

}  // namespace vek::tools
