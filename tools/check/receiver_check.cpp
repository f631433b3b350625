#include "tools/check/receiver_check.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>
#include <utility>

#include "utils/output_rules.h"

namespace vek::tools {
namespace {

bool is_search_engine(std::string_view output) {
  return same_word(output, "es") || same_word(output, "opensearch");
}

// Influx-style receivers give a name one kind of number for good, and reject the other.
void check_one_kind_per_name(const ConfiguredDestination& destination,
                             const ExportedNames& exported, Findings& findings) {
  std::map<std::string, const ExportedName*> first;
  for (const ExportedName& name : exported) {
    const auto [other, is_new] = first.emplace(name.name, &name);
    if (is_new || other->second->kind == name.kind) continue;
    findings.error(destination.place_of("plugin_name"), "two-kinds",
                   "'" + name.name + "' is " + value_kind_text(other->second->kind) + " in " +
                       other->second->from + " and " + value_kind_text(name.kind) + " in " +
                       name.from + "; " + destination.output() + " rejects the second",
                   "give one of them an alias");
  }
}

// Names that belong together, as one finding: the first of them, where it is from, and how many
// there are.
struct Group {
  const ExportedName* first = nullptr;
  size_t names = 0;

  void add(const ExportedName& name) {
    if (!first) first = &name;
    ++names;
  }
  std::string text() const {
    return "'" + first->name + "'" +
           (names > 1 ? " and " + std::to_string(names - 1) + " more" : "") + " in " + first->from;
  }
};

// Counters take the place of the record's own entry, fields of events come beside it: then a name
// is there twice.
void check_own_names(const ConfiguredDestination& destination, const ExportedNames& exported,
                     Findings& findings) {
  constexpr std::array<std::string_view, 3> kOfCounters{"timestamp", "type", "source"};
  const bool rejects = is_search_engine(destination.output());
  std::map<std::string, Group> twice;
  for (const ExportedName& name : exported) {
    const bool is_own =
        std::find(kOfCounters.begin(), kOfCounters.end(), name.name) != kOfCounters.end();
    if (name.from != kFromCounters) {
      if (is_own || name.name == "type_name") twice[name.name].add(name);
    } else if (is_own) {
      const std::string what =
          "the counter '" + name.name + "' takes the place of the record's own '" + name.name + "'";
      const std::string hint = "give the counter an alias";
      const Place place = destination.place_of("counterset");
      if (rejects && name.name == "timestamp") {
        findings.error(place, "reserved-name", what + ", which is a time", hint);
      } else {
        findings.warning(place, "reserved-name", what, hint);
      }
    }
  }
  if (!rejects) return;
  for (const auto& [name, group] : twice) {
    findings.error(
        destination.place_of("fieldset"), "reserved-name",
        "the record has a '" + name + "' of its own beside the field in " + group.first->from +
            (group.names > 1 ? " and " + std::to_string(group.names - 1) + " more types" : "") +
            "; " + destination.output() + " rejects records with a name twice",
        "leave the field out with '-" + name + "'");
  }
}

// Search engines have a time of their own.
void check_search_engine_time(const ConfiguredDestination& destination,
                              const ExportedNames& exported, Findings& findings) {
  for (const ExportedName& name : exported) {
    if (name.name != "@timestamp") continue;
    findings.error(destination.place_of("plugin_name"), "reserved-name",
                   "'@timestamp' is the time that " + std::string(destination.output()) +
                       " adds to every record",
                   "give the field in " + name.from + " an alias");
  }
}

// They read a dot as an object's member. One finding an object: arrays have many names.
void check_dotted_names(const ConfiguredDestination& destination, const ExportedNames& exported,
                        Findings& findings) {
  const Place place = destination.place_of("plugin_name");
  std::map<std::pair<std::string, std::string>, Group> objects;  // by origin and parent
  for (const ExportedName& name : exported) {
    const size_t dot = name.name.find('.');
    if (dot != std::string::npos) objects[{name.from, name.name.substr(0, dot)}].add(name);
  }
  for (const auto& [key, group] : objects) {
    const char* parent = key.second.c_str();
    const bool is_value =
        std::any_of(exported.begin(), exported.end(),
                    [parent](const ExportedName& one) { return one.name == parent; });
    if (is_value) {
      findings.error(place, "dotted-name",
                     group.text() + " makes '" + parent + "' an object, which '" + parent +
                         "' as a value contradicts",
                     "give one of them an alias");
    } else if (destination.parameter("replace_dots").empty()) {
      findings.warning(place, "dotted-name",
                       group.text() + (group.names > 1 ? " become" : " becomes") + " an object '" +
                           parent + "' at the receiver",
                       "plugin_Replace_Dots = on keeps " +
                           std::string(group.names > 1 ? "them" : "it") + " flat");
    }
  }
}

}  // namespace

void check_receiver(const ConfiguredDestination& destination, const ExportedNames& exported,
                    Findings& findings) {
  check_own_names(destination, exported, findings);
  const bool is_search = is_search_engine(destination.output());
  if (is_search || same_word(destination.output(), "influxdb")) {
    check_one_kind_per_name(destination, exported, findings);
  }
  if (is_search) {
    check_search_engine_time(destination, exported, findings);
    check_dotted_names(destination, exported, findings);
  }
}

void check_values(const ConfiguredDestination& destination, const std::set<std::string>& not_finite,
                  Findings& findings) {
  const char* output = destination.output();
  if (!is_search_engine(output) && !same_word(output, "influxdb")) return;
  for (const std::string& name : not_finite) {
    findings.warning(
        destination.place_of("plugin_name"), "not-finite",
        "'" + name + "' is NaN or infinite in some records, which " + output + " rejects",
        "leave it out, or give it to an output that takes it");
  }
}

}  // namespace vek::tools
