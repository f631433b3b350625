#include "tools/preview/preview.h"

#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <map>
#include <set>

#include "tools/base/console.h"
#include "tools/base/json_writer.h"
#include "tools/base/suggest.h"
#include "tools/conversion/preview_run.h"
#include "tools/preview/preview_text.h"

namespace vek::tools {
namespace {

// The configuration, its schemas, and what stands in the way of looking at them.
class Preview {
 public:
  explicit Preview(const PreviewOptions& options) : options_(options) {}

  ExitStatus run() {
    Findings unused;  // for "check" to say
    const ExitStatus loaded = schemas_.load(options_.schema_dir, options_.type_system, unused);
    if (loaded != ExitStatus::kGood) {
      say_error("%s", schemas_.problem().c_str());
      return loaded;
    }
    if (!options_.diff.empty()) return show_difference();
    std::vector<ConfiguredDestination> destinations;
    const ExitStatus status = read(options_.config_dir, destinations);
    if (status != ExitStatus::kGood) return status;
    if (!options_.explain.empty()) return explain(destinations);
    if (options_.unmatched) return show_unmatched(destinations);
    return options_.cost ? show_cost(destinations) : show_records(destinations);
  }

 private:
  ExitStatus read(const std::string& dir, std::vector<ConfiguredDestination>& out) {
    Findings findings;
    if (!read_configuration(dir, out, findings)) {
      say_error("%s: cannot be opened: %s", dir.c_str(), std::strerror(errno));
      return ExitStatus::kEnvironment;
    }
    if (findings.errors() > 0) {
      say_warning("%s: has errors; 'vektool check' says which", dir.c_str());
    }
    return keep_destination(dir, options_.destination, out);
  }

  void print(const std::string& text) const {
    if (text.empty()) return;
    if (options_.json.json) {
      write_json(text, options_.json);
    } else {
      write_output(text);
    }
  }

  void print_record(const ConfiguredDestination& destination, const std::string& json) {
    const uint64_t shown = ++shown_[&destination];
    if (options_.limit > 0 && shown > options_.limit) return;
    if (!options_.json.json) return print(std::string(destination.name()) + ": " + json + "\n");
    JsonWriter writer;
    writer.begin_object()
        .member("schema_version", kJsonSchemaVersion)
        .member("destination", destination.name())
        .member("output", destination.output())
        .key("record")
        .raw(json)
        .end_object();
    print(writer.out() + "\n");
  }

  ExitStatus show_records(const std::vector<ConfiguredDestination>& destinations) {
    PreviewRun run(
        destinations, schemas_.record(),
        [this](const auto& destination, const auto& json) { print_record(destination, json); });
    const ExitStatus status = run.run(options_.pages);
    for (const PreviewRun::Result& result : run.results()) {
      say("%s (%s): %" PRIu64 " records, %" PRIu64 " bytes, of %" PRIu64 " pages",
          result.destination->name(), result.destination->output(), result.totals->records,
          result.totals->bytes, run.pages());
      for (const std::string& field : result.totals->not_finite) {
        say_warning("%s: '%s' is not always a number (NaN or infinite), which receivers reject",
                    result.destination->name(), field.c_str());
      }
      if (result.totals->unreadable > 0) {
        say_warning("%s: %" PRIu64 " records cannot be read", result.destination->name(),
                    result.totals->unreadable);
      }
    }
    return status;
  }

  ExitStatus show_cost(const std::vector<ConfiguredDestination>& destinations) {
    PreviewRun run(destinations, schemas_.record(), nullptr);
    const ExitStatus status = run.run(options_.pages);
    const Fleet fleet{options_.nodes, options_.interval_us};
    for (const PreviewRun::Result& result : run.results()) {
      print(cost_of(result, run.pages(), fleet, options_.json.json));
    }
    return status;
  }

  ExitStatus explain(const std::vector<ConfiguredDestination>& destinations) {
    bool found = false;
    std::set<std::string> names;
    for (const ConfiguredDestination& destination : destinations) {
      const std::vector<SelectedName> trace = trace_selection(destination, schemas_);
      for (const SelectedName& selected : trace) names.insert(selected.name);
      const std::string text =
          explain_name(destination, trace, options_.explain, options_.json.json);
      found = found || !text.empty();
      print(text);
    }
    if (found) return ExitStatus::kGood;
    const std::string guess = nearest(options_.explain, {names.begin(), names.end()});
    say_error("no schema has a counter or field '%s'%s", options_.explain.c_str(),
              guess.empty() ? "" : ("; did you mean '" + guess + "'?").c_str());
    return ExitStatus::kBad;
  }

  ExitStatus show_unmatched(const std::vector<ConfiguredDestination>& destinations) {
    for (const ConfiguredDestination& destination : destinations) {
      print(
          unmatched_names(destination, trace_selection(destination, schemas_), options_.json.json));
    }
    return ExitStatus::kGood;
  }

  // By the destinations' names.
  ExitStatus show_difference() {
    std::vector<ConfiguredDestination> before;
    std::vector<ConfiguredDestination> after;
    for (const auto& [dir, out] :
         {std::pair(options_.diff[0], &before), std::pair(options_.diff[1], &after)}) {
      const ExitStatus status = read(dir, *out);
      if (status != ExitStatus::kGood) return status;
    }
    std::map<std::string, std::pair<DiffSide, DiffSide>> sides;
    const ExitStatus old_status = add_side(before, sides, &std::pair<DiffSide, DiffSide>::first);
    const ExitStatus new_status = add_side(after, sides, &std::pair<DiffSide, DiffSide>::second);
    for (const auto& [name, pair] : sides) {
      print(difference(name, pair.first, pair.second, options_.json.json));
    }
    return old_status != ExitStatus::kGood ? old_status : new_status;
  }

  ExitStatus add_side(const std::vector<ConfiguredDestination>& destinations,
                      std::map<std::string, std::pair<DiffSide, DiffSide>>& sides,
                      DiffSide std::pair<DiffSide, DiffSide>::*side) {
    PreviewRun run(destinations, schemas_.record(), nullptr);
    const ExitStatus status = run.run(options_.pages);
    for (const PreviewRun::Result& result : run.results()) {
      sides[result.destination->name()].*side = {
          result.destination, trace_selection(*result.destination, schemas_), *result.totals};
    }
    return status;
  }

  const PreviewOptions& options_;
  SchemaCatalog schemas_;
  std::map<const ConfiguredDestination*, uint64_t> shown_;
};

}  // namespace

ExitStatus preview(const PreviewOptions& options) { return Preview(options).run(); }

}  // namespace vek::tools
