#include "tools/replay/replay.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>

#include "tools/base/console.h"
#include "tools/plugin/plugin_library.h"
#include "tools/plugin/plugin_log.h"
#include "tools/plugin/plugin_schemas.h"
#include "tools/plugin/plugin_session.h"
#include "tools/replay/destination_names.h"
#include "tools/replay/engine_ledger.h"
#include "tools/replay/output_relay.h"
#include "tools/replay/replay_options.h"
#include "tools/replay/replay_report.h"
#include "tools/replay/replay_run.h"

namespace vek::tools {
namespace {

// Looked at before anything is sent, so that a mistyped last name does not leave half a run behind.
bool inputs_exist(const ReplayOptions& options) {
  bool good = true;
  std::error_code error;
  if (!std::filesystem::is_directory(options.config_dir, error)) {
    say_error("%s: is no configuration directory%s%s", options.config_dir.c_str(),
              error ? ": " : "", error ? error.message().c_str() : "");
    good = false;
  }
  for (const std::string& path : options.pages) {
    if (path == "-" || access(path.c_str(), R_OK) == 0) continue;
    say_error("%s: cannot be opened: %s", path.c_str(), std::strerror(errno));
    good = false;
  }
  return good;
}

// A pipe has its pages only once, under whatever name.
bool repeatable(const ReplayOptions& options) {
  if (options.repeat == 1 && !options.loop) return true;
  std::error_code error;
  for (const std::string& path : options.pages) {
    if (std::filesystem::is_regular_file(path, error)) continue;
    say_error("%s: is no regular file and can be read only once; %s needs files", path.c_str(),
              options.loop ? "--loop" : "--repeat");
    return false;
  }
  return true;
}

void warn_without_destinations(const std::string& config_dir) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(config_dir, error)) {
    if (entry.path().extension() == ".exp") return;
  }
  say_warning("%s: holds no .exp file, so there is no destination", config_dir.c_str());
}

bool take_schemas(PluginSchemas& schemas, const ReplayOptions& options, ExitStatus& status) {
  const PluginSchemas::Result result = options.schema_dir.empty()
                                           ? schemas.use_type_system(options.type_system)
                                           : schemas.use_directory(options.schema_dir);
  if (result == PluginSchemas::Result::kMade) return true;
  say_error("%s", schemas.problem().c_str());
  status = result == PluginSchemas::Result::kBad ? ExitStatus::kBad : ExitStatus::kEnvironment;
  return false;
}

void check_options(const ReplayOptions& options) {
  check_pages(options.pages);
  const bool from_input = std::count(options.pages.begin(), options.pages.end(), "-") > 0;
  if (from_input && (options.repeat > 1 || options.loop)) {
    refuse(options.loop ? "--loop" : "--repeat", "standard input ('-') can be read only once");
  }
  check_time_window(options.times);
}

// The plug-in object goes before the schemas and the library that it uses, and before the ledger
// is read: what it did not finalize it finalizes when it is destroyed.
bool run_session(const ReplayOptions& options, const PluginLibrary& library,
                 const PluginSchemas& schemas, ReplayReport& report) {
  PluginSession session(library);
  std::string problem;
  if (!session.init(options.config_dir, problem)) {
    say_error("%s", problem.c_str());
    return false;
  }
  const bool connected = session.connect();
  const auto start = std::chrono::steady_clock::now();
  ReplayRun run(session, schemas, options);
  run.send_all();
  session.disconnect();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  report.run = run.ledger();
  report.seconds = elapsed.count();
  report.errors = connected ? 0 : 1;
  return true;
}

}  // namespace

ExitStatus replay(const ReplayOptions& options) {
  if (!inputs_exist(options)) return ExitStatus::kEnvironment;
  if (!repeatable(options)) return ExitStatus::kUsage;
  warn_without_destinations(options.config_dir);
  const OutputRelay relay;
  std::string problem;
  const std::unique_ptr<PluginLibrary> library = PluginLibrary::load(options.plugin, problem);
  if (!library) {
    say_error("%s", problem.c_str());
    return ExitStatus::kEnvironment;
  }
  listen_to_plugin(*library);
  ExitStatus status = ExitStatus::kGood;
  PluginSchemas schemas(*library);
  if (!take_schemas(schemas, options, status)) return status;
  ReplayReport report;
  if (!run_session(options, *library, schemas, report)) return ExitStatus::kEnvironment;
  report.errors += plugin_log_counts().errors;
  report.endless = options.loop;
  report.destinations = read_engine_ledger(report.no_ledger);
  if (report.destinations) {
    complete_ledger(options.config_dir, report.run.offered, *report.destinations);
  }
  report.print();
  if (options.json.json) write_json(report.json(), options.json);
  return report.status();
}

void add_replay(CommandLine& line, Action& action) {
  const auto options = std::make_shared<ReplayOptions>();
  Verb verb =
      line.add_verb("replay", "Send recorded pages through a plug-in, exactly as a collector does");
  verb.text("--plugin", "PATH", options->plugin, "Plug-in library (libfluentbit_exporter.so)")
      .required();
  verb.text("--config", "DIR", options->config_dir, "Directory of .exp files").required();
  add_schema_options(verb, options->schema_dir, options->type_system, SchemaRule::kOne,
                     "One of the two:");
  add_replay_rounds(verb, *options);
  add_replay_pace(verb, *options);
  add_replay_times(verb, *options);
  add_json_options(verb, options->json, "The summary as JSON, the last line of standard output");
  add_color_option(verb);
  add_pages_option(verb, options->pages).required();
  verb.footer(
      "Records go to the destinations of DIR, the summary to standard error. It ends with a\n"
      "ledger: for each destination, records offered = filtered + in, and in = delivered +\n"
      "spooled + queued + dropped.\n"
      "Exit status 5 when something was dropped or a ledger does not balance.");
  verb.when_read([options, &action] {
    check_options(*options);
    action = [options] { return replay(*options); };
  });
}

}  // namespace vek::tools
