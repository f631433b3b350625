// What the machine has beside plug-in and engine: Fluent Bit, and the variables that are read.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "tools/base/harmless_text.h"
#include "tools/base/program_output.h"
#include "tools/doctor/installation_checks.h"
#include "tools/plugin/plugin_library.h"
#include "utils/fluent_bit_search.h"
#include "utils/output_rules.h"

namespace vek::tools {
namespace {

constexpr const char* kFluentBit = "fluent-bit";

std::string text_of(const char* variable) {
  const char* text = std::getenv(variable);
  return text ? text : "";
}

// " (Fluent Bit v2.1.0)", or nothing.
std::string version_of(const std::string& program) {
  const ProgramOutput answer = run_program(program, {"--version"}, std::chrono::seconds(5));
  const std::string line = answer.text.substr(0, answer.text.find('\n'));
  return answer.problem.empty() && !line.empty() ? " (" + harmless(line) + ")" : "";
}

std::string built_in_names() {
  std::string names;
  for (const std::string_view name : kBuiltInOutputs) {
    if (!names.empty()) names += name == kBuiltInOutputs.back() ? " and " : ", ";
    names += name;
  }
  return names;
}

}  // namespace

void examine_fluent_bit(Diagnoses& out) {
  bool is_loadable = false;
  std::string reason;
  const SearchEnvironment environment = SearchEnvironment::of_process();
  for (const std::string& place : library_candidates({}, environment)) {
    if (place.find('/') != std::string::npos && access(place.c_str(), F_OK) != 0) continue;
    if (void* handle = dlopen(place.c_str(), RTLD_NOW | RTLD_LOCAL)) {
      is_loadable = dlsym(handle, "flb_create") != nullptr;
      out.push_back({is_loadable ? Health::kGood : Health::kNote,
                     kFluentBit,
                     "the library " + place +
                         (is_loadable ? " can be loaded" : " has no function flb_create"),
                     {}});
      break;
    }
    const char* text = dlerror();
    reason = text ? text : "cannot be loaded";
    if (place.find('/') == std::string::npos && reason.find("No such file") != std::string::npos) {
      continue;
    }
    out.push_back({Health::kNote, kFluentBit, "the library cannot be loaded: " + reason,
                   advice_for_loader_error(reason)});
    break;
  }
  const std::string program = first_program(program_candidates({}, environment));
  if (!program.empty()) {
    out.push_back(
        {Health::kGood, kFluentBit, "the program is " + program + version_of(program), {}});
  } else if (!is_loadable) {
    out.push_back({Health::kNote, kFluentBit,
                   "is not installed; " + built_in_names() + " work without it",
                   "install fluent-bit for other outputs"});
  }
}

void examine_environment(Diagnoses& out) {
  for (const char* name : {"FLUENT_BIT_EXPORT_API_SO", "LD_LIBRARY_PATH", "LD_PRELOAD", "VEK_ROOT",
                           "FLUENT_BIT_LIBRARY", "FLUENT_BIT_CHECKS", "FLUENTBIT_EXPORT_DUMP_FILE",
                           "VEK_API_LOG_LEVEL", "API_LOG_LEVEL", "VEK_RAW_MSGPACK_LOG_LEVEL"}) {
    const std::string value = text_of(name);
    if (!value.empty())
      out.push_back({Health::kGood, "environment", std::string(name) + "=" + value, {}});
  }
}

}  // namespace vek::tools
