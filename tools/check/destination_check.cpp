#include "tools/check/destination_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "exporter/layout_rule.h"
#include "tools/base/lower_case.h"
#include "tools/base/suggest.h"
#include "utils/output_rules.h"

namespace vek::tools {
namespace {

// Outputs of the engine, and those of log processors that are met most.
const std::vector<std::string>& common_outputs() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all(kBuiltInOutputs.begin(), kBuiltInOutputs.end());
    for (const char* name :
         {"es", "opensearch", "influxdb", "kafka", "http", "loki", "opentelemetry", "splunk",
          "prometheus_remote_write", "syslog", "tcp", "s3"}) {
      all.emplace_back(name);
    }
    return all;
  }();
  return names;
}

// Where the file output writes, which two destinations must not share.
std::string written_file(const ConfiguredDestination& destination) {
  if (!same_word(destination.output(), kFileOutput)) return {};
  const std::string file = destination.parameter("file");
  return destination.parameter("path") + "/" + (file.empty() ? destination.parameter("tag") : file);
}

std::string spool_of(const ConfiguredDestination& destination) {
  const std::string path = destination.parameter("storage.path");
  if (path.empty()) return {};
  const std::string alias = destination.parameter("alias");
  return path + "/" + (alias.empty() ? destination.output() : alias);
}

}  // namespace

bool check_file_of(const ConfiguredDestination& destination, const char* key, const char* path,
                   Findings& findings) {
  if (!path) return false;
  struct stat status {};
  const bool is_there = access(path, R_OK) == 0 && stat(path, &status) == 0;
  if (is_there && !S_ISDIR(status.st_mode)) return true;
  const std::string why = is_there ? "is a directory" : std::strerror(errno);
  const bool is_counters = std::string_view(key) == "counterset";
  findings.error(destination.place_of(key), "cannot-open",
                 "'" + std::string(path) + "' cannot be opened: " + why +
                     (is_counters ? "; every counter will leave" : "; no event will leave"),
                 *path == '/' ? "" : "the path counts from the collector's working directory");
  return false;
}

void check_destination(const ConfiguredDestination& destination, Findings& findings) {
  const std::string output = destination.output();
  const std::string guess = nearest(lower_case(output), common_outputs());
  if (!guess.empty() && !same_word(guess, output)) {
    findings.warning(destination.place_of("plugin_name"), "unknown-output",
                     "'" + output + "' is no output that is known here",
                     "did you mean '" + guess + "'?");
  }
  const char* layout_text = destination.config->msgpack_data_layout;
  const std::string layout = layout_text ? layout_text : "";
  if (layout != kStandardLayout && layout != kCustomLayout) {
    const std::string near_layout =
        nearest(layout, {std::string(kStandardLayout), std::string(kCustomLayout)});
    findings.error(destination.place_of("msgpack_data_layout"), "unknown-layout",
                   "'" + layout + "' is no layout; 'flb_std' is used",
                   near_layout.empty() ? "layouts are 'flb_std' and 'custom'"
                                       : "did you mean '" + near_layout + "'?");
  } else if (layout == kCustomLayout && !takes_custom_layout(output)) {
    findings.warning(destination.place_of("msgpack_data_layout"), "layout-ignored",
                     "the output '" + output + "' takes 'flb_std' only; 'custom' is ignored",
                     "'custom' is for stdout_raw and forward");
  }
}

void check_together(const std::vector<ConfiguredDestination>& destinations, Findings& findings) {
  struct Shared {
    const char* code;
    const char* key;
    const char* what;
    std::string (*of)(const ConfiguredDestination&);
    bool is_error;
  };
  const Shared kShared[] = {
      {"same-name", "name", "the name",
       [](const ConfiguredDestination& one) { return std::string(one.name()); }, false},
      {"same-file", "plugin_file", "the file", written_file, true},
      {"same-spool", "plugin_storage.path", "the spool", spool_of, true}};
  for (const Shared& shared : kShared) {
    std::map<std::string, const ConfiguredDestination*> first;
    for (const ConfiguredDestination& destination : destinations) {
      const std::string value = shared.of(destination);
      if (!destination.is_enabled() || value.empty()) continue;
      const auto [other, is_new] = first.emplace(value, &destination);
      if (is_new) continue;
      const std::string what =
          std::string(shared.what) + " '" + value + "' is also that of " + other->second->path;
      if (shared.is_error) {
        findings.error(destination.place_of(shared.key), shared.code, what,
                       "two destinations must not write to one place");
      } else {
        findings.warning(destination.place_of(shared.key), shared.code, what,
                         "log lines and ledgers tell them apart by name");
      }
    }
  }
}

}  // namespace vek::tools
