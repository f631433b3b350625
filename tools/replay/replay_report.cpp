#include "tools/replay/replay_report.h"

#include <algorithm>
#include <cinttypes>

#include "tools/base/console.h"
#include "tools/base/json_writer.h"
#include "tools/plugin/plugin_log.h"
#include "utils/logger.h"

namespace vek::tools {

bool ReplayReport::all_delivered() const {
  if (run.failed_pages > 0 || errors > 0) return false;
  return !destinations || std::all_of(destinations->begin(), destinations->end(),
                                      [](const auto& entry) { return entry.is_whole(); });
}

// Bad input explains losses, so it is what the status tells of when there are both.
ExitStatus ReplayReport::status() const {
  if (run.unreadable) return ExitStatus::kEnvironment;
  if (run.damaged_files > 0) return ExitStatus::kBad;
  if (run.interrupted && !endless) {
    say_error("interrupted: only the pages counted above were sent");
    return ExitStatus::kUndelivered;
  }
  if (all_delivered()) return ExitStatus::kGood;
  if (run.failed_pages > 0 || errors > 0) {
    say_error("not everything was delivered: %" PRIu64 " failed pages, %" PRIu64
              " errors logged by the plug-in%s",
              run.failed_pages, errors,
              environment_log_level(VEK_LOG_WARNING) < VEK_LOG_ERROR
                  ? " (VEK_API_LOG_LEVEL=4 shows them)"
                  : "");
  }
  for (const DestinationAccount& entry : destinations.value_or(EngineLedger())) {
    if (!entry.balances()) {
      say_error("%s: the ledger does not balance", entry.name.c_str());
    } else if (!entry.is_whole()) {
      say_error("%s: %" PRIu64 " of %" PRIu64 " records did not arrive", entry.name.c_str(),
                entry.dropped_sum() + entry.queued, entry.accepted);
    }
  }
  return ExitStatus::kUndelivered;
}

void ReplayReport::print() const {
  const double safe_seconds = std::max(seconds, 1e-9);
  say("pages               %" PRIu64, run.pages);
  if (run.pages_left_out > 0) {
    say("pages left out      %" PRIu64 " (of other times)", run.pages_left_out);
  }
  say("bytes               %" PRIu64 " (%s)", run.bytes,
      readable_size(static_cast<double>(run.bytes)).c_str());
  say("failed pages        %" PRIu64, run.failed_pages);
  say("records offered     %" PRIu64 "%s", run.records,
      run.chunk_pages > 0 ? " (not counting opaque and dictionary pages)" : "");
  say("errors logged       %" PRIu64, errors);
  say("seconds             %.3f (sending and the destinations' flush)", seconds);
  say("pages per second    %.0f", static_cast<double>(run.pages) / safe_seconds);
  say("records per second  %.0f", static_cast<double>(run.records) / safe_seconds);
  if (!destinations) return say("no ledger: %s", no_ledger.c_str());
  if (destinations->empty()) return;
  std::string table = ledger_text(*destinations);
  table.pop_back();
  say("%s", table.c_str());
}

std::string ReplayReport::json() const {
  JsonWriter json;
  json.begin_object()
      .member("schema_version", kJsonSchemaVersion)
      .member("pages", run.pages)
      .member("pages_left_out", run.pages_left_out)
      .member("bytes", run.bytes)
      .member("failed_pages", run.failed_pages)
      .member("records_offered", run.records)
      .member("damaged_files", run.damaged_files)
      .member("errors_logged", errors)
      .member("interrupted", run.interrupted);
  json.key("seconds").real(seconds);
  json.member("all_delivered", all_delivered()).key("destinations");
  if (destinations) {
    write_ledger(*destinations, json);
  } else {
    json.null();
  }
  return json.end_object().out() + "\n";
}

}  // namespace vek::tools
