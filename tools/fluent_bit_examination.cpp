// What the machine has beside plug-in and engine: Fluent Bit, and the variables that are read.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "tools/installation_checks.h"
#include "tools/plugin_library.h"

namespace vek::tools {
namespace {

constexpr const char* kFluentBit = "fluent-bit";

std::string text_of(const char* variable) {
  const char* text = std::getenv(variable);
  return text ? text : "";
}

std::vector<std::string> library_places() {
  std::vector<std::string> places;
  const std::string named = text_of("FLUENT_BIT_LIBRARY");
  if (!named.empty()) places.push_back(named);
  places.emplace_back("libfluent-bit.so");
  for (const char* root : {"/opt/fluent-bit", "/usr/local", "/usr", ""}) {
    for (const char* folder : {"/lib/fluent-bit/", "/lib64/fluent-bit/"}) {
      places.push_back(std::string(root) + folder + "libfluent-bit.so");
    }
  }
  return places;
}

std::string find_program() {
  const std::string path = text_of("PATH") + ":/opt/fluent-bit/bin:/usr/local/bin:/usr/bin";
  std::string_view rest = path;
  for (bool more = true; more;) {
    const size_t colon = rest.find(':');
    const std::string program = std::string(rest.substr(0, colon)) + "/fluent-bit";
    if (program.front() == '/' && access(program.c_str(), X_OK) == 0) return program;
    more = colon != std::string_view::npos;
    if (more) rest.remove_prefix(colon + 1);
  }
  return {};
}

}  // namespace

void examine_fluent_bit(Diagnoses& out) {
  bool is_loadable = false;
  std::string reason;
  for (const std::string& place : library_places()) {
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
  const std::string program = find_program();
  if (!program.empty()) {
    out.push_back({Health::kGood, kFluentBit, "the program is " + program, {}});
  } else if (!is_loadable) {
    out.push_back({Health::kNote, kFluentBit,
                   "is not installed; stdout_raw, stdout, file, forward and null work without it",
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
