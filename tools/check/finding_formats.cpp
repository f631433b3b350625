#include "tools/check/finding_formats.h"

#include "tools/base/json_writer.h"
#include "tools/base/xml_text.h"

namespace vek::tools {
namespace {

const char* name_of(Severity severity) {
  return severity == Severity::kError ? "error" : "warning";
}

std::string place_text(const Place& place) {
  std::string out = place.path;
  if (place.line > 0) out += ":" + std::to_string(place.line);
  if (place.line > 0 && place.column > 0) out += ":" + std::to_string(place.column);
  return out;
}

// "what. hint: ...", on one line whatever a file holds.
std::string message_of(const Finding& finding) {
  std::string out = finding.what + ".";
  if (!finding.hint.empty()) out += " hint: " + finding.hint;
  for (char& c : out) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  }
  return out;
}

std::string counted(size_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string as_text(const Findings& findings, bool coloured) {
  std::string out;
  for (const Finding& finding : findings.sorted()) {
    const char* colour = finding.severity == Severity::kError ? "\033[1;31m" : "\033[1;33m";
    out += place_text(finding.place) + ": " + (coloured ? colour : "") + name_of(finding.severity) +
           "[" + finding.code + "]" + (coloured ? "\033[0m" : "") + ": " + message_of(finding) +
           "\n";
  }
  return out + counted(findings.files().size(), "file") + ", " +
         counted(findings.errors(), "error") + ", " + counted(findings.warnings(), "warning") +
         "\n";
}

std::string as_json(const Findings& findings) {
  JsonWriter json;
  json.begin_object()
      .member("schema_version", kJsonSchemaVersion)
      .member("files", uint64_t{findings.files().size()})
      .member("errors", uint64_t{findings.errors()})
      .member("warnings", uint64_t{findings.warnings()})
      .key("findings")
      .begin_array();
  for (const Finding& finding : findings.sorted()) {
    json.begin_object()
        .member("path", finding.place.path)
        .member("line", uint64_t{finding.place.line})
        .member("column", uint64_t{finding.place.column})
        .member("severity", name_of(finding.severity))
        .member("code", finding.code)
        .member("what", finding.what)
        .member("hint", finding.hint)
        .end_object();
  }
  return json.end_array().end_object().out() + "\n";
}

// A suite per file; one without findings holds a case that passes.
std::string as_junit(const Findings& findings) {
  std::string suites;
  const std::vector<Finding> all = findings.sorted();
  for (const std::string& path : findings.files()) {
    std::string cases;
    size_t count = 0;
    for (const Finding& finding : all) {
      if (finding.place.path != path) continue;
      ++count;
      cases += "    <testcase classname=\"" + xml_text(path) + "\" name=\"" +
               xml_text(place_text(finding.place) + " " + finding.code) +
               "\">\n      <failure type=\"" + name_of(finding.severity) + "\" message=\"" +
               xml_text(message_of(finding)) + "\"/>\n    </testcase>\n";
    }
    if (count == 0) {
      cases =
          "    <testcase classname=\"" + xml_text(path) + "\" name=\"" + xml_text(path) + "\"/>\n";
    }
    suites += "  <testsuite name=\"" + xml_text(path) + "\" tests=\"" +
              std::to_string(count == 0 ? 1 : count) + "\" failures=\"" + std::to_string(count) +
              "\">\n" + cases + "  </testsuite>\n";
  }
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n" + suites + "</testsuites>\n";
}

// Workflow commands; "%", and in properties ":" and ",", are escaped.
std::string as_github(const Findings& findings) {
  const auto escaped = [](const std::string& text, bool property) {
    std::string out;
    for (const char c : text) {
      if (c == '%') {
        out += "%25";
      } else if (property && c == ':') {
        out += "%3A";
      } else if (property && c == ',') {
        out += "%2C";
      } else {
        out += c == '\n' || c == '\r' ? ' ' : c;
      }
    }
    return out;
  };
  std::string out;
  for (const Finding& finding : findings.sorted()) {
    out += std::string("::") + name_of(finding.severity) +
           " file=" + escaped(finding.place.path, true);
    if (finding.place.line > 0) out += ",line=" + std::to_string(finding.place.line);
    if (finding.place.column > 0) out += ",col=" + std::to_string(finding.place.column);
    out += ",title=" + finding.code + "::" + escaped(message_of(finding), false) + "\n";
  }
  return out;
}

}  // namespace

std::string format_findings(const Findings& findings, FindingFormat format, bool coloured) {
  switch (format) {
    case FindingFormat::kJson:
      return as_json(findings);
    case FindingFormat::kJunit:
      return as_junit(findings);
    case FindingFormat::kGithub:
      return as_github(findings);
    default:
      return as_text(findings, coloured);
  }
}

}  // namespace vek::tools
