#include "tools/check/parameter_check.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstring>

#include "tools/base/diagnosis.h"
#include "utils/fluent_bit_search.h"
#include "utils/output_rules.h"

namespace vek::tools {
namespace {

// The three functions of the library that answer.
struct Library {
  void* (*create)() = nullptr;
  int (*output)(void*, const char*, void*) = nullptr;
  int (*property_check)(void*, int, char*, char*) = nullptr;
};

template <typename Function>
bool find(void* handle, const char* name, Function& out) {
  void* symbol = dlsym(handle, name);
  std::memcpy(&out, &symbol, sizeof(out));
  return symbol != nullptr;
}

bool load(const std::string& engine_path, Library& library) {
  for (const std::string& path : library_candidates(engine_path, SearchEnvironment::of_process())) {
    const bool is_bare = path.find('/') == std::string::npos;
    if (!is_bare && access(path.c_str(), F_OK) != 0) continue;
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle && find(handle, "flb_create", library.create) &&
        find(handle, "flb_output", library.output) &&
        find(handle, "flb_output_property_check", library.property_check)) {
      return true;
    }
  }
  return false;
}

bool needs_fluent_bit(const ConfiguredDestination& destination) {
  const std::string engine = destination.parameter("vek.engine");
  if (same_word(engine, "library") || same_word(engine, "process")) return true;
  return !same_word(engine, "builtin") && !is_built_in_output(destination.output());
}

// What is said of a parameter has its name as what mends; of the output, nothing.
void ask(const ConfiguredDestination& destination, const std::string& part, Diagnoses& out) {
  constexpr int kUnknown = -1;
  Library library;
  if (!load(destination.parameter("vek.engine_path"), library)) return;
  void* context = library.create();
  const int output = context ? library.output(context, destination.output(), nullptr) : 0;
  if (!context) return;
  if (output < 0) {
    out.push_back({Health::kBad, part, "", ""});
    return;
  }
  const fluentbit_export_parameters_t* params = destination.config->params;
  for (int32_t i = 0; params && i < params->count; ++i) {
    std::string name = params->params[i].name;
    std::string value = params->params[i].value;
    if (value.empty() || is_engine_parameter(name) || is_property_of_every_output(name)) continue;
    if (library.property_check(context, output, name.data(), value.data()) == kUnknown) {
      out.push_back({Health::kBad, part, "", name});
    }
  }
}

std::string lower(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

void tell(const ConfiguredDestination& destination, const Diagnosis& diagnosis,
          Findings& findings) {
  const std::string output = destination.output();
  if (diagnosis.mend.empty()) {
    findings.error(destination.place_of("plugin_name"), "no-such-output",
                   "the installed Fluent Bit has no output '" + output + "'");
    return;
  }
  findings.error(destination.place_of("plugin_" + lower(diagnosis.mend)), "unknown-parameter",
                 "the output '" + output + "' of the installed Fluent Bit has no parameter '" +
                     diagnosis.mend + "'",
                 "the destination will not start");
}

}  // namespace

void check_parameters(const std::vector<ConfiguredDestination>& destinations, Findings& findings) {
  for (const ConfiguredDestination& destination : destinations) {
    if (!destination.is_enabled() || !needs_fluent_bit(destination)) continue;
    const std::string part = "asked";
    const Diagnoses answers =
        diagnose_in_child("failed", [&](Diagnoses& out) { ask(destination, part, out); });
    for (const Diagnosis& answer : answers) {
      if (answer.part == part) {
        tell(destination, answer, findings);
      } else {
        findings.warning(destination.place_of("plugin_name"), "not-asked",
                         "Fluent Bit's library could not be asked for the parameters of '" +
                             std::string(destination.output()) + "': it " + answer.what);
      }
    }
  }
}

}  // namespace vek::tools
