#include "tools/check/engine_parameter_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "raw_msgpack_api/parameter_check.h"
#include "tools/base/log_tap.h"
#include "tools/base/lower_case.h"
#include "tools/base/suggest.h"
#include "utils/output_rules.h"

namespace vek::tools {
namespace {

using Parameter = fluentbit_export_parameter_t;

// What is wrong, and what mends it, in the line of the engine: "[...] WHAT; HINT".
struct Complaint {
  std::string what;
  std::string hint;
};

Complaint read_complaint(std::string text) {
  const size_t prefix = text.find("] ");
  if (text.starts_with('[') && prefix != std::string::npos) text.erase(0, prefix + 2);
  const size_t semicolon = text.find("; ");
  if (semicolon == std::string::npos) return {text, {}};
  return {text.substr(0, semicolon), text.substr(semicolon + 2)};
}

// The engine names the nearest word however far it is.
bool is_worth_saying(const std::string& hint, const std::string& name) {
  constexpr std::string_view kQuestion = "did you mean '";
  if (!hint.starts_with(kQuestion)) return true;
  const std::string guess = hint.substr(kQuestion.size(), hint.rfind('\'') - kQuestion.size());
  return !nearest(lower_case(name), {lower_case(guess)}).empty();
}

// Whether a complaint is of this parameter: "has no parameter 'NAME'", "NAME = 'value' ...", or
// "has no NAME 'value'".
bool is_of(const Complaint& complaint, const std::string& name) {
  const std::string what = lower_case(complaint.what);
  const std::string word = lower_case(name);
  return what.starts_with(word + " = '") || what.ends_with(" parameter '" + word + "'") ||
         what.find(" has no " + word + " '") != std::string::npos;
}

void check_one(const ConfiguredDestination& destination, LogTap& log, Findings& findings) {
  const fluentbit_exporter_config_t& config = *destination.config;
  std::vector<Parameter> list;
  for (int32_t i = 0; config.params && i < config.params->count; ++i) {
    const bool has_name = *config.params->params[i].name != '\0';
    if (has_name) list.push_back(config.params->params[i]);  // without: the file's own finding
  }
  const std::string host = config.host ? config.host : "";
  const std::string port = std::to_string(config.port & 0xffff);
  for (;;) {
    const fluentbit_export_parameters_t params{static_cast<int32_t>(list.size()), list.data()};
    log.take();
    if (engine::init_would_take(destination.output(), host, port, &params)) return;
    const std::vector<TappedLine> lines = log.take();
    if (lines.empty()) return;
    const Complaint complaint = read_complaint(lines.back().text);
    // Without the one that it is of, the next one is found.
    const auto culprit = std::find_if(list.begin(), list.end(), [&](const Parameter& parameter) {
      return is_of(complaint, parameter.name);
    });
    const bool has_culprit = culprit != list.end();
    const std::string name = has_culprit ? culprit->name : "";
    findings.error(destination.place_of(has_culprit ? "plugin_" + lower_case(name)
                                                    : std::string("plugin_name")),
                   complaint.what.find(" has no parameter '") != std::string::npos
                       ? "unknown-parameter"
                       : "bad-parameter",
                   complaint.what, is_worth_saying(complaint.hint, name) ? complaint.hint : "");
    if (!has_culprit) return;
    std::erase_if(list, [&](const Parameter& one) { return same_word(one.name, name); });
  }
}

// Why nothing can be read from there, or written into it; empty: it can.
std::string why_no_file(const std::string& path) {
  return access(path.c_str(), R_OK) == 0 ? "" : std::strerror(errno);
}

std::string why_no_folder(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::strerror(errno);
  return S_ISDIR(status.st_mode) ? "" : std::strerror(ENOTDIR);
}

// A spool's folder is made, but not the one above it.
std::string why_no_parent(const std::string& path) {
  const size_t last = path.find_last_not_of('/');
  const size_t slash = path.rfind('/', last);
  if (last == std::string::npos || slash == std::string::npos) return {};
  return why_no_folder(slash == 0 ? "/" : path.substr(0, slash));
}

}  // namespace

void check_engine_parameters(const std::vector<ConfiguredDestination>& destinations,
                             Findings& findings) {
  LogTap log;
  for (const ConfiguredDestination& destination : destinations) {
    if (destination.is_enabled()) check_one(destination, log, findings);
  }
}

void check_parameter_files(const ConfiguredDestination& destination, Findings& findings) {
  struct Named {
    const char* parameter;
    std::string (*why_not)(const std::string&);
    const char* output;  // null: whatever the output is
    const char* hint;
  };
  constexpr std::array<Named, 5> kNamed = {
      {{"tls.ca_file", why_no_file, nullptr, ""},
       {"tls.crt_file", why_no_file, nullptr, ""},
       {"tls.key_file", why_no_file, nullptr, ""},
       {"path", why_no_folder, "file", "the folder has to be there; it is not made"},
       {"storage.path", why_no_parent, nullptr,
        "the folder is made, but not the one that it is in"}}};
  for (const Named& one : kNamed) {
    const std::string path = destination.parameter(one.parameter);
    if (path.empty() || (one.output && !same_word(one.output, destination.output()))) continue;
    const std::string why = one.why_not(path);
    if (why.empty()) continue;
    std::string key = "plugin_";
    key += one.parameter;
    std::string what = "'";
    what.append(path).append("' cannot be used: ").append(why);
    findings.error(destination.place_of(key), "cannot-open", what, one.hint);
  }
}

}  // namespace vek::tools
