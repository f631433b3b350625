#include "tools/golden/golden_case.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "tools/base/log_tap.h"
#include "tools/base/text_file.h"
#include "tools/check/counter_set_check.h"
#include "tools/check/field_set_check.h"
#include "tools/config/configuration.h"
#include "tools/config/schema_catalog.h"
#include "tools/conversion/preview_run.h"
#include "tools/golden/recorded_types.h"

namespace vek::tools {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> files_of(const std::string& dir, const char* extension) {
  std::vector<std::string> paths;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(dir, error)) {
    if (entry.path().extension() == extension) paths.push_back(entry.path().string());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// What the check says of schemas holds of recordings where it knows no others.
std::string of_recordings(std::string what) {
  const struct {
    std::string_view schemas;
    std::string_view recordings;
  } kWords[] = {{"of the schemas", "of the recordings"},
                {"no schema has a type", "the recordings have no event of the type"}};
  for (const auto& words : kWords) {
    const size_t place = what.find(words.schemas);
    if (place != std::string::npos) what.replace(place, words.schemas.size(), words.recordings);
  }
  return what;
}

// Rules that no counter or field of the recordings met: nothing tests them.
void note_idle_rules(const ConfiguredDestination& destination, const SchemaCatalog& recorded,
                     bool has_events, std::set<std::string>& out) {
  Findings findings;
  ExportedNames unused;
  const fluentbit_exporter_config_t& config = *destination.config;
  if (config.counterset && recorded.counters().empty()) {
    out.insert(std::string(config.counterset) + ": the recordings have no counters");
  } else if (config.counterset) {
    check_counter_set(config.counterset, recorded, findings, unused);
  }
  if (config.fieldset && !has_events) {
    out.insert(std::string(config.fieldset) + ": the recordings have no events");
  } else if (config.fieldset) {
    check_field_set(config.fieldset, recorded, findings, unused);
  }
  for (const Finding& finding : findings.sorted()) {
    if (finding.code != "matches-nothing" && finding.code != "shadowed" &&
        finding.code != "unknown-type") {
      continue;
    }
    out.insert(finding.place.path + ":" + std::to_string(finding.place.line) + ": " +
               of_recordings(finding.what));
  }
}

}  // namespace

ExitStatus GoldenCase::fail(ExitStatus status, std::string problem) {
  problem_ = dir_ + ": " + std::move(problem);
  return status;
}

ExitStatus GoldenCase::run() {
  std::error_code error;
  const bool has_schemas = fs::is_directory(dir_ + "/schemas", error);
  SchemaCatalog schemas;
  Findings findings;
  const ExitStatus loaded = schemas.load(has_schemas ? dir_ + "/schemas" : "",
                                         has_schemas ? "" : dir_ + "/type_system.json", findings);
  if (loaded != ExitStatus::kGood) return fail(loaded, schemas.problem());
  std::vector<ConfiguredDestination> destinations;
  if (!read_configuration(dir_ + "/config", destinations, findings)) {
    return fail(ExitStatus::kEnvironment, "has no directory 'config'");
  }
  const std::vector<std::string> pages = files_of(dir_, ".bin");
  if (pages.empty()) return fail(ExitStatus::kEnvironment, "has no pages (*.bin)");
  const LogTap log;
  PreviewRun run(destinations, schemas.record(), [this](const auto& destination, const auto& json) {
    found_[destination.name()].push_back(json);
  });
  const ExitStatus status = run.run(pages);
  if (status == ExitStatus::kEnvironment) return fail(status, "its pages cannot be read");
  CountersSchemas counters(schemas.record());
  const RecordedTypes recorded = recorded_types(pages, schemas.record(), counters);
  schemas.keep(recorded.counters, recorded.events);
  std::set<std::string> idle;
  for (const PreviewRun::Result& result : run.results()) {
    found_[result.destination->name()];  // one without records is expected to have none
    note_idle_rules(*result.destination, schemas, !recorded.events.empty(), idle);
  }
  idle_rules_.assign(idle.begin(), idle.end());
  for (const auto& [destination, found] : found_) compare(destination, found);
  for (const std::string& path : files_of(dir_ + "/expected", ".ndjson")) {
    const std::string name = fs::path(path).stem().string();
    if (!found_.contains(name)) compare(name, {});
  }
  return ExitStatus::kGood;
}

bool GoldenCase::compare(const std::string& destination, const std::vector<std::string>& found) {
  std::string text;
  std::string problem;
  const bool is_there =
      read_text_file(dir_ + "/expected/" + destination + ".ndjson", text, problem);
  if (!is_there) {
    differences_.push_back({destination, 0, {}, "no file of expected records"});
    return false;
  }
  const std::vector<std::string> expected = lines_of(text);
  for (size_t i = 0; i < std::max(expected.size(), found.size()); ++i) {
    const std::string one = i < expected.size() ? expected[i] : std::string();
    const std::string other = i < found.size() ? found[i] : std::string();
    if (one == other) continue;
    differences_.push_back({destination, i + 1, one, other});
    return false;
  }
  return true;
}

size_t GoldenCase::records() const {
  size_t count = 0;
  for (const auto& [destination, found] : found_) count += found.size();
  return count;
}

bool GoldenCase::accept() {
  std::error_code error;
  fs::create_directories(dir_ + "/expected", error);
  for (const std::string& path : files_of(dir_ + "/expected", ".ndjson")) {
    if (!found_.contains(fs::path(path).stem().string())) fs::remove(path, error);
  }
  for (const auto& [destination, found] : found_) {
    std::string text;
    for (const std::string& record : found) text += record + "\n";
    if (!write_text_file(dir_ + "/expected/" + destination + ".ndjson", text, problem_))
      return false;
  }
  return true;
}

}  // namespace vek::tools
