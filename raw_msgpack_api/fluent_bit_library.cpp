#include "raw_msgpack_api/fluent_bit_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstring>

#include "raw_msgpack_api/sanitizers.h"
#include "utils/logger.h"

namespace vek::engine {
namespace {

// The library exports thousands of names, some of which a host has as well: each must meet its own.
// A sanitizer has to be met by both.
#if VEK_ADDRESS_SANITIZER || VEK_THREAD_SANITIZER
constexpr int kFlags = RTLD_NOW | RTLD_LOCAL;
#else
constexpr int kFlags = RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND;
#endif

template <typename Function>
bool find(void* handle, const char* name, Function& out, std::string& missing) {
  void* symbol = dlsym(handle, name);
  if (!symbol && missing.empty()) missing = name;
  std::memcpy(&out, &symbol, sizeof(out));
  return symbol != nullptr;
}

bool find_all(void* handle, FluentBitLibrary& out, std::string& missing) {
  find(handle, "flb_create", out.create, missing);
  find(handle, "flb_service_set", out.service_set, missing);
  find(handle, "flb_input", out.input, missing);
  find(handle, "flb_input_set", out.input_set, missing);
  find(handle, "flb_output", out.output, missing);
  find(handle, "flb_output_set", out.output_set, missing);
  find(handle, "flb_output_property_check", out.output_property_check, missing);
  find(handle, "flb_start", out.start, missing);
  find(handle, "flb_stop", out.stop, missing);
  find(handle, "flb_destroy", out.destroy, missing);
  return missing.empty();
}

// There is no function that tells the version. This one came with 2.1; what is older stops reading
// after its first acknowledgement.
bool is_recent(void* handle) { return dlsym(handle, "flb_log_event_decoder_init") != nullptr; }

std::string load_error(const std::string& path) {
  const char* text = dlerror();
  std::string error = text ? text : path + ": cannot be loaded";
  if (error.find("static TLS") != std::string::npos) {
    error +=
        " (its allocator wants to be there from the start: run the host with "
        "GLIBC_TUNABLES=glibc.rtld.optional_static_tls=4096, or use vek.engine = process)";
  }
  return error;
}

void add_reason(const std::string& reason, std::string& why) {
  if (!why.empty()) why += "; ";
  why += reason;
}

}  // namespace

std::optional<FluentBitLibrary> FluentBitLibrary::load(const std::vector<std::string>& candidates,
                                                       std::string& why) {
  for (const std::string& path : candidates) {
    const bool is_bare = path.find('/') == std::string::npos;
    if (!is_bare && access(path.c_str(), F_OK) != 0) {
      VEK_LOGD("[raw msgpack API] there is no '%s'", path.c_str());
      continue;
    }
    void* handle = dlopen(path.c_str(), kFlags);
    if (!handle) {
      add_reason(load_error(path), why);
      continue;
    }
    FluentBitLibrary library;
    std::string missing;
    if (!find_all(handle, library, missing)) {
      missing.insert(0, ": it has no function '").append("'");
      add_reason(path + missing, why);
    } else if (!is_recent(handle)) {
      add_reason(path + ": it is older than Fluent Bit 2.1", why);
    } else {
      library.path = path;
      return library;
    }
    dlclose(handle);
  }
  if (why.empty()) why = "there is no libfluent-bit.so in the usual folders";
  return std::nullopt;
}

}  // namespace vek::engine
