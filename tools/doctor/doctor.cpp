#include "tools/doctor/doctor.h"

#include <unistd.h>

#include <algorithm>
#include <memory>

#include "tools/base/console.h"
#include "tools/base/json_writer.h"
#include "tools/config/configuration.h"
#include "tools/doctor/installation_checks.h"

namespace vek::tools {
namespace {

const char* health_text(Health health) {
  if (health == Health::kGood) return "good";
  return health == Health::kNote ? "note" : "bad";
}

void examine_configuration(const std::string& dir, Diagnoses& out) {
  std::vector<ConfiguredDestination> destinations;
  Findings findings;
  if (!read_configuration(dir, destinations, findings)) {
    out.push_back({Health::kBad, "configuration", dir + " cannot be opened", {}});
    return;
  }
  for (const ConfiguredDestination& destination : destinations) {
    out.push_back({Health::kGood,
                   "configuration",
                   destination.path + ": '" + destination.name() + "' to " + destination.output() +
                       (destination.is_enabled() ? "" : ", switched off"),
                   {}});
  }
  const size_t problems = findings.errors() + findings.warnings();
  if (problems > 0) {
    out.push_back({findings.errors() > 0 ? Health::kBad : Health::kNote, "configuration",
                   std::to_string(findings.errors()) + " errors and " +
                       std::to_string(findings.warnings()) + " warnings",
                   "'vektool check " + dir + "' says which"});
  }
}

std::string as_text(const Diagnoses& all, bool coloured) {
  std::string out;
  for (const Diagnosis& one : all) {
    const char* colour = one.health == Health::kGood   ? "\033[1;32m"
                         : one.health == Health::kNote ? "\033[1;33m"
                                                       : "\033[1;31m";
    std::string health = health_text(one.health);
    health.resize(4, ' ');
    std::string part = one.part;
    part.resize(std::max<size_t>(part.size(), 13), ' ');
    if (coloured) out += colour;
    out += health;
    if (coloured) out += "\033[0m";
    out.append("  ").append(part).append("  ").append(one.what).append("\n");
    if (!one.mend.empty()) out.append("                     mend: ").append(one.mend).append("\n");
  }
  return out;
}

std::string as_json(const Diagnoses& all) {
  JsonWriter json;
  json.begin_object().member("schema_version", kJsonSchemaVersion).key("diagnoses").begin_array();
  for (const Diagnosis& one : all) {
    json.begin_object()
        .member("health", health_text(one.health))
        .member("part", one.part)
        .member("what", one.what)
        .member("mend", one.mend)
        .end_object();
  }
  return json.end_array().end_object().out() + "\n";
}

}  // namespace

ExitStatus doctor(const DoctorOptions& options) {
  Diagnoses all =
      diagnose_in_child("plug-in", [&](Diagnoses& out) { examine_plugin(options.plugin, out); });
  const Diagnoses fluent_bit = diagnose_in_child("fluent-bit", examine_fluent_bit);
  all.insert(all.end(), fluent_bit.begin(), fluent_bit.end());
  examine_environment(all);
  if (!options.config_dir.empty()) examine_configuration(options.config_dir, all);
  if (options.json.json) {
    write_json(as_json(all), options.json);
  } else {
    write_output(as_text(all, colours_wanted(STDOUT_FILENO)));
  }
  const bool is_bad = std::any_of(all.begin(), all.end(),
                                  [](const Diagnosis& one) { return one.health == Health::kBad; });
  return is_bad ? ExitStatus::kEnvironment : ExitStatus::kGood;
}

void add_doctor(CommandLine& line, Action& action) {
  const auto options = std::make_shared<DoctorOptions>();
  Verb verb = line.add_verb("doctor", "Say what of an installation works, and what mends the rest");
  verb.text("--plugin", "PATH", options->plugin, "Plug-in library (libfluentbit_exporter.so)")
      .required();
  verb.text("--config", "DIR", options->config_dir, "Directory of .exp files to look at, too");
  add_json_options(verb, options->json, "One JSON object");
  add_color_option(verb);
  verb.footer("Libraries are loaded in child processes. Exit status 4 when something is bad.");
  verb.when_read([options, &action] { action = [options] { return doctor(*options); }; });
}

}  // namespace vek::tools
