#include "tools/inspect.h"

#include <CLI/CLI.hpp>
#include <cinttypes>
#include <memory>
#include <utility>

#include "data/page_view.h"
#include "tools/console.h"
#include "tools/log_tap.h"
#include "tools/own_schemas.h"
#include "tools/page_file.h"
#include "tools/recording_summary.h"
#include "tools/signals.h"
#include "tools/stream_inspection.h"

namespace vek::tools {
namespace {

// What an inspection found, the worst of all files.
struct Findings {
  bool bad = false;
  bool unreadable = false;
  bool stopped = false;  // by a signal, or because nobody reads the output

  ExitStatus status() const {
    if (unreadable) return ExitStatus::kEnvironment;
    return bad || stopped ? ExitStatus::kBad : ExitStatus::kGood;
  }
};

// Says what ended the file too early; true when that was damage.
bool note_end(PageFile::Result result, const PageFile& file, Findings& findings) {
  findings.stopped = findings.stopped || result == PageFile::Result::kInterrupted;
  if (result != PageFile::Result::kDamaged && result != PageFile::Result::kReadFailed) return false;
  say_error("%s", file.problem().c_str());
  const bool damaged = result == PageFile::Result::kDamaged;
  (damaged ? findings.bad : findings.unreadable) = true;
  return damaged;
}

// Calls `take` with every page; false when the output is no longer wanted.
template <typename Take>
PageFile::Result read_pages(const std::string& path, PageFile& file, Take take) {
  if (!file.open(path)) return PageFile::Result::kReadFailed;
  PageFile::Result result = PageFile::Result::kPage;
  while ((result = file.next()) == PageFile::Result::kPage) {
    if (stop_requested() || !take()) return PageFile::Result::kInterrupted;
  }
  return result;
}

// `filled` beyond `total` would have readers look behind the page; they do not.
void check_header(const PageFile& file, Findings& findings) {
  const PageView view(file.page());
  if (view.filled <= view.total) return;
  say_error("%s: page %" PRIu64 ": the header says that %" PRIu64 " of %" PRIu64
            " bytes are filled",
            file.name().c_str(), file.page_number(), view.filled, view.total);
  findings.bad = true;
}

bool print(const std::string& text, const InspectOptions& options) {
  return options.json.json ? write_json(text, options.json) : write_output(text);
}

void summarize(const InspectOptions& options, const OwnSchemas& schemas, Findings& findings) {
  PageFile file;
  for (const std::string& path : options.pages) {
    RecordingSummary summary;
    const PageFile::Result result = read_pages(path, file, [&] {
      check_header(file, findings);
      summary.add(file.page(), schemas.record());
      return true;
    });
    if (note_end(result, file, findings)) summary.set_damage(file.problem());
    if (findings.stopped) return;
    if (result == PageFile::Result::kReadFailed) continue;
    print(options.json.json ? summary.json(file.name()) : summary.text(file.name()), options);
  }
}

void tell_streams(const InspectOptions& options, const OwnSchemas& schemas, Findings& findings) {
  LogTap log;
  const std::unique_ptr<StreamPrinter> printer =
      options.json.json ? make_json_printer() : make_column_printer();
  StreamInspection inspection(schemas.record(), *printer, log, options.batch);
  if (!inspection.is_ready()) {
    findings.unreadable = true;
    return say_error("no dictionary reader could be made");
  }
  PageFile file;
  printer->begin();
  for (const std::string& path : options.pages) {
    const PageFile::Result result = read_pages(path, file, [&] {
      if (!inspection.page(file.name(), file.page_number(), file.page())) findings.bad = true;
      return print(std::exchange(printer->text(), {}), options);
    });
    if (note_end(result, file, findings)) {
      printer->problem({file.name(), file.page_number() + 1, {}, {}}, true, file.problem());
      print(std::exchange(printer->text(), {}), options);
    }
    if (findings.stopped) return;
  }
  if (inspection.stream_pages() == 0) {
    say("No page holds a stream: none is tagged 'dict_...' or 'fluent_aggr'.");
  }
}

}  // namespace

ExitStatus inspect(const InspectOptions& options) {
  OwnSchemas schemas;
  const ExitStatus loaded = schemas.load(options.schema_dir, options.type_system);
  if (loaded != ExitStatus::kGood) {
    say_error("%s", schemas.problem().c_str());
    return loaded;
  }
  Findings findings;
  if (options.streams) {
    tell_streams(options, schemas, findings);
  } else {
    summarize(options, schemas, findings);
  }
  return findings.status();
}

void add_inspect(CLI::App& app, Action& action) {
  const auto options = std::make_shared<InspectOptions>();
  CLI::App* verb =
      app.add_subcommand("inspect", "Show what recorded pages hold, without a plug-in");
  verb->add_flag("--streams", options->streams,
                 "Dictionary streams event by event, the dictionaries they make, and the "
                 "aggregator's events");
  verb->add_flag("--batch", options->batch,
                 "With --streams: outermost lists as one, as with batch_mode = 1")
      ->needs("--streams");
  add_json_options(*verb, options->json, "One JSON object a line instead of columns");
  add_schema_options(*verb, options->schema_dir, options->type_system, SchemaRule::kAtMostOne,
                     "One of the two; needed for --streams, and to see every block:");
  add_color_option(*verb);
  add_pages_option(*verb, options->pages)->required();
  verb->callback([options, &action] {
    check_pages(options->pages);
    if (options->streams && options->schema_dir.empty() && options->type_system.empty()) {
      throw CLI::ValidationError("--streams",
                                 "needs --schema-dir or --type-system, which say how long events "
                                 "are");
    }
    action = [options] { return inspect(*options); };
  });
}

}  // namespace vek::tools
