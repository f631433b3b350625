#include "tools/replay.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cinttypes>
#include <cstring>
#include <filesystem>
#include <memory>

#include "tools/console.h"
#include "tools/output_relay.h"
#include "tools/plugin_library.h"
#include "tools/plugin_log.h"
#include "tools/plugin_schemas.h"
#include "tools/plugin_session.h"
#include "tools/replay_run.h"
#include "tools/whole_number.h"
#include "utils/logger.h"

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
  if (options.repeat == 1) return true;
  std::error_code error;
  for (const std::string& path : options.pages) {
    if (std::filesystem::is_regular_file(path, error)) continue;
    say_error("%s: is no regular file and can be read only once; --repeat needs files",
              path.c_str());
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

void print_summary(const ReplayLedger& ledger, uint64_t errors, double seconds) {
  const double safe_seconds = std::max(seconds, 1e-9);
  say("pages               %" PRIu64, ledger.pages);
  say("bytes               %" PRIu64 " (%s)", ledger.bytes,
      readable_size(static_cast<double>(ledger.bytes)).c_str());
  say("failed pages        %" PRIu64, ledger.failed_pages);
  say("records offered     %" PRIu64 "%s", ledger.records,
      ledger.chunk_pages > 0 ? " (not counting opaque and dictionary pages)" : "");
  say("errors logged       %" PRIu64, errors);
  say("seconds             %.3f (sending and the destinations' flush)", seconds);
  say("pages per second    %.0f", static_cast<double>(ledger.pages) / safe_seconds);
  say("records per second  %.0f", static_cast<double>(ledger.records) / safe_seconds);
}

// Bad input explains losses, so it is what the status tells of when there are both.
ExitStatus status_of(const ReplayLedger& ledger, uint64_t errors) {
  if (ledger.unreadable) return ExitStatus::kEnvironment;
  if (ledger.damaged_files > 0) return ExitStatus::kBad;
  if (ledger.interrupted) {
    say_error("interrupted: only the pages counted above were sent");
    return ExitStatus::kUndelivered;
  }
  if (ledger.failed_pages > 0 || errors > 0) {
    say_error("not everything was delivered: %" PRIu64 " failed pages, %" PRIu64
              " errors logged by the plug-in%s",
              ledger.failed_pages, errors,
              environment_log_level(VEK_LOG_WARNING) < VEK_LOG_ERROR
                  ? " (VEK_API_LOG_LEVEL=4 shows them)"
                  : "");
    return ExitStatus::kUndelivered;
  }
  return ExitStatus::kGood;
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

void check_standard_input(const ReplayOptions& options) {
  const auto uses = std::count(options.pages.begin(), options.pages.end(), "-");
  if (uses > 1) throw CLI::ValidationError("PAGES", "standard input ('-') can be named only once");
  if (uses == 1 && options.repeat > 1) {
    throw CLI::ValidationError("--repeat", "standard input ('-') can be read only once");
  }
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
  // Declared last, so that the plug-in object goes before the schemas and the library that it uses.
  PluginSession session(*library);
  if (!session.init(options.config_dir, problem)) {
    say_error("%s", problem.c_str());
    return ExitStatus::kEnvironment;
  }
  const bool connected = session.connect();
  const auto start = std::chrono::steady_clock::now();
  ReplayRun run(session, schemas, options);
  run.send_all();
  session.disconnect();
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  const uint64_t errors = plugin_log_counts().errors + (connected ? 0 : 1);
  print_summary(run.ledger(), errors, elapsed.count());
  return status_of(run.ledger(), errors);
}

void add_replay(CLI::App& app, Action& action) {
  const auto options = std::make_shared<ReplayOptions>();
  CLI::App* verb = app.add_subcommand(
      "replay", "Send recorded pages through a plug-in, exactly as a collector does");
  verb->add_option("--plugin", options->plugin, "Plug-in library (libfluentbit_exporter.so)")
      ->required()
      ->type_name("PATH");
  verb->add_option("--config", options->config_dir, "Directory of .exp files")
      ->required()
      ->type_name("DIR");
  CLI::Option_group* schemas = verb->add_option_group("Schemas", "One of the two:");
  schemas
      ->add_option("--schema-dir", options->schema_dir,
                   "Directory of schema_<identifier>.json files")
      ->type_name("DIR");
  schemas->add_option("--type-system", options->type_system, "Type system document")
      ->type_name("FILE");
  schemas->require_option(1);
  verb->add_option("--repeat", options->repeat, "Send everything N times")
      ->check(whole_number(1, 1'000'000'000))
      ->capture_default_str()
      ->type_name("N");
  const auto pace = std::make_shared<std::string>("max");
  verb->add_option("--pace", *pace, "Without a pause, or by the pages' own times")
      ->check(CLI::IsMember({"max", "recorded"}).description(""))
      ->capture_default_str()
      ->type_name("max|recorded");
  verb->add_option("PAGES", options->pages, "Page files; '-' is standard input")
      ->required()
      ->type_name("");
  verb->footer("Records go to the destinations of DIR, the summary to standard error.");
  verb->callback([options, pace, &action] {
    options->pace = *pace == "recorded" ? Pace::kRecorded : Pace::kMax;
    check_standard_input(*options);
    action = [options] { return replay(*options); };
  });
}

}  // namespace vek::tools
