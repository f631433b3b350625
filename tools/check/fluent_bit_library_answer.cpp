// The library, asked as the engine asks it at its start.
#include <dlfcn.h>
#include <unistd.h>

#include <cstring>

#include "tools/base/diagnosis.h"
#include "tools/check/fluent_bit_answer.h"
#include "utils/fluent_bit_search.h"

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

constexpr const char* kAsked = "asked";  // it was loaded
constexpr const char* kRefused = "refused";

void ask(const ConfiguredDestination& destination, Diagnoses& out) {
  constexpr int kUnknown = -1;
  Library library;
  if (!load(destination.parameter("vek.engine_path"), library)) return;
  out.push_back({Health::kGood, kAsked, "", ""});
  void* context = library.create();
  const int output = context ? library.output(context, destination.output(), nullptr) : 0;
  if (!context) return;
  if (output < 0) {
    out.push_back({Health::kBad, kRefused, "", ""});
    return;
  }
  for (AskedParameter& one : asked_parameters(destination)) {
    if (library.property_check(context, output, one.name.data(), one.value.data()) == kUnknown) {
      out.push_back({Health::kBad, kRefused, one.name, ""});
    }
  }
}

}  // namespace

FluentBitAnswer ask_fluent_bit_library(const ConfiguredDestination& destination) {
  FluentBitAnswer answer;
  for (const Diagnosis& one :
       diagnose_in_child("failed", [&](Diagnoses& out) { ask(destination, out); })) {
    answer.was_asked = true;
    if (one.part == kRefused) {
      answer.refusals.push_back({one.what, ""});
    } else if (one.part != kAsked) {
      answer.problem = "the library " + one.what;
    }
  }
  return answer;
}

}  // namespace vek::tools
