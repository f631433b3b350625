#include <algorithm>

#include "tools/base/json_writer.h"
#include "tools/preview/preview_text.h"

namespace vek::tools {
namespace {

bool has_name(const SelectedName& selected, const std::string& name) {
  if (selected.name == name) return true;
  if (!selected.leaves && selected.also_as.empty()) return false;
  return selected.as == name || std::find(selected.also_as.begin(), selected.also_as.end(), name) !=
                                    selected.also_as.end();
}

// "counter rx_bytes leaves as received_bytes, and as rx"
std::string headline(const SelectedName& selected) {
  std::string out = (selected.from == "counters" ? "counter " : "field " + selected.from + ".") +
                    selected.name + (selected.leaves ? " leaves" : " does not leave");
  if (selected.leaves && selected.as != selected.name) out += " as " + selected.as;
  for (const std::string& also : selected.also_as) out += ", and as " + also;
  if (selected.leaves || !selected.steps.empty()) return out;
  return out + ": no line takes it";
}

void append_json(const ConfiguredDestination& destination, const SelectedName& selected,
                 JsonWriter& json) {
  json.begin_object()
      .member("schema_version", kJsonSchemaVersion)
      .member("destination", destination.name())
      .member("from", selected.from)
      .member("name", selected.name)
      .member("leaves", selected.leaves);
  json.key("as").begin_array();
  if (selected.leaves) json.text(selected.as);
  for (const std::string& also : selected.also_as) json.text(also);
  json.end_array().key("lines").begin_array();
  for (const TraceStep& step : selected.steps) {
    json.begin_object()
        .member("path", step.place.path)
        .member("line", uint64_t{step.place.line})
        .member("text", step.line)
        .member("effect", step.effect)
        .end_object();
  }
  json.end_array().end_object();
}

std::string json_line(const ConfiguredDestination& destination, const SelectedName& selected) {
  JsonWriter json;
  append_json(destination, selected, json);
  return json.out() + "\n";
}

}  // namespace

std::string explain_name(const ConfiguredDestination& destination,
                         const std::vector<SelectedName>& names, const std::string& name,
                         bool json) {
  std::string out;
  for (const SelectedName& selected : names) {
    if (!has_name(selected, name)) continue;
    if (json) {
      out += json_line(destination, selected);
      continue;
    }
    out += std::string(destination.name()) + ": " + headline(selected) + "\n";
    for (const TraceStep& step : selected.steps) {
      out += "    " + step.place.path + ":" + std::to_string(step.place.line) + ": '" + step.line +
             "' " + step.effect + "\n";
    }
    const bool is_counter = selected.from == "counters";
    const char* file = is_counter ? destination.config->counterset : destination.config->fieldset;
    if (selected.steps.empty() && selected.leaves) {
      out += file ? "    " + std::string(file) + ": no line is a rule for it, so all leave\n"
                  : std::string("    no ") + (is_counter ? "counter" : "field") +
                        "-set file, so all leave\n";
    }
  }
  return out;
}

std::string unmatched_names(const ConfiguredDestination& destination,
                            const std::vector<SelectedName>& names, bool json) {
  std::string out;
  for (const SelectedName& selected : names) {
    if (selected.leaves || selected.excluded || !selected.also_as.empty()) continue;
    if (json) {
      out += json_line(destination, selected);
    } else {
      out += std::string(destination.name()) + ": " + headline(selected) + "\n";
    }
  }
  return out;
}

}  // namespace vek::tools
