#include "tools/inspect/inspect.h"

#include <unistd.h>

#include <memory>
#include <utility>

#include "tools/base/console.h"
#include "tools/base/log_tap.h"
#include "tools/config/own_schemas.h"
#include "tools/inspect/inspect_view.h"
#include "tools/inspect/inspection.h"
#include "tools/inspect/stream_inspection.h"

namespace vek::tools {
namespace {

using View = InspectOptions::View;

bool print(const std::string& text, const InspectOptions& options) {
  if (text.empty()) return true;
  return options.json.json ? write_json(text, options.json) : write_output(text);
}

class ViewTaker final : public PageTaker {
 public:
  ViewTaker(InspectView& view, const InspectOptions& options) : view_(view), options_(options) {
    view_.begin();
  }

  bool page(const InspectedPage& page, const vek_data_page_t*) override {
    view_.page(page);
    return flush();
  }
  bool lost(const PageReader& reader, const LostBytes& lost) override {
    view_.lost(reader.name(), lost);
    return flush();
  }
  bool end_file(const PageReader& reader, const std::string& damage) override {
    view_.end_file(reader.name(), damage);
    return flush();
  }

 private:
  bool flush() { return print(std::exchange(view_.text(), {}), options_); }

  InspectView& view_;
  const InspectOptions& options_;
};

class StreamTaker final : public PageTaker {
 public:
  StreamTaker(StreamInspection& streams, StreamPrinter& printer, Inspection& inspection,
              const InspectOptions& options)
      : streams_(streams), printer_(printer), inspection_(inspection), options_(options) {
    printer_.begin();
  }

  bool page(const InspectedPage& page, const vek_data_page_t* image) override {
    if (!streams_.page(page.file, page.number, image)) inspection_.found_bad();
    return flush();
  }
  bool lost(const PageReader& reader, const LostBytes&) override { return problem(reader); }
  bool end_file(const PageReader& reader, const std::string& damage) override {
    return damage.empty() || problem(reader);
  }

 private:
  bool problem(const PageReader& reader) {
    printer_.problem({reader.name(), reader.page_number() + 1, {}, {}}, true, reader.problem());
    return flush();
  }
  bool flush() { return print(std::exchange(printer_.text(), {}), options_); }

  StreamInspection& streams_;
  StreamPrinter& printer_;
  Inspection& inspection_;
  const InspectOptions& options_;
};

std::unique_ptr<InspectView> make_view(const InspectOptions& options,
                                       const vek_exporter_schema_manager_t& schemas) {
  const bool json = options.json.json;
  switch (options.view) {
    case View::kPages:
      return make_pages_view(json);
    case View::kBlocks:
      return make_blocks_view(json, options.filter);
    case View::kSchemas:
      return make_schemas_view(json, schemas);
    case View::kHex:
      return make_hex_view(json, colours_wanted(STDOUT_FILENO));
    default:
      return make_summary_view(json, options.salvage);
  }
}

ExitStatus tell_streams(InspectOptions& options, const OwnSchemas& schemas) {
  LogTap log;
  const std::unique_ptr<StreamPrinter> printer =
      options.json.json ? make_json_printer() : make_column_printer();
  StreamInspection streams(schemas.record(), *printer, log, options.batch);
  if (!streams.is_ready()) {
    say_error("no dictionary reader could be made");
    return ExitStatus::kEnvironment;
  }
  Inspection inspection(options, schemas.record());
  StreamTaker taker(streams, *printer, inspection, options);
  inspection.run(taker);
  if (streams.stream_pages() == 0) {
    say("No page holds a stream: none is tagged 'dict_...' or 'fluent_aggr'.");
  }
  return inspection.status();
}

}  // namespace

ExitStatus inspect(InspectOptions& options) {
  OwnSchemas schemas;
  const ExitStatus loaded = schemas.load(options.schema_dir, options.type_system);
  if (loaded != ExitStatus::kGood) {
    say_error("%s", schemas.problem().c_str());
    return loaded;
  }
  if (options.view == View::kStreams) return tell_streams(options, schemas);
  const LogTap log;  // schemas that are not known are told with the pages that name them
  Inspection inspection(options, schemas.record());
  const std::unique_ptr<InspectView> view = make_view(options, schemas.record());
  ViewTaker taker(*view, options);
  inspection.run(taker);
  return inspection.status();
}

void add_inspect(CommandLine& line, Action& action) {
  const auto options = std::make_shared<InspectOptions>();
  Verb verb = line.add_verb("inspect", "Show what recorded pages hold, without a plug-in");
  Verb views = verb.group("Views", "One of them, instead of a summary of each file:", 0, 1);
  const auto add_view = [&](const char* name, View view, const char* help) {
    return views.flag(
        name, [options, view] { options->view = view; }, help);
  };
  add_view("--pages", View::kPages, "A line a page");
  add_view("--blocks", View::kBlocks, "A line a block");
  add_view("--schemas", View::kSchemas,
           "The schemas that pages name, whether they are known, and what uses them");
  add_view("--hex", View::kHex, "Every byte, labelled by field, the first bad one marked");
  const Option streams = add_view("--streams", View::kStreams,
                                  "Dictionary streams event by event, the dictionaries they make, "
                                  "and the aggregator's events");
  verb.flag("--batch", options->batch,
            "With --streams: outermost lists as one, as with batch_mode = 1")
      .needs(streams);
  verb.flag("--salvage", options->salvage, "Go on behind damage, and count what was lost there");
  options->filter.add_options(verb);
  add_json_options(verb, options->json, "One JSON object a line instead of columns");
  add_schema_options(verb, options->schema_dir, options->type_system, SchemaRule::kAtMostOne,
                     "One of the two; needed for --streams, and to see every block:");
  add_color_option(verb);
  add_pages_option(verb, options->pages).required();
  verb.when_read([options, &action] {
    check_pages(options->pages);
    options->filter.check();
    if (options->view == View::kStreams && options->schema_dir.empty() &&
        options->type_system.empty()) {
      refuse("--streams", "needs --schema-dir or --type-system, which say how long events are");
    }
    action = [options] { return inspect(*options); };
  });
}

}  // namespace vek::tools
