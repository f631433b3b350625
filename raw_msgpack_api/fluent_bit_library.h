// The Fluent Bit library, loaded into this process: the dozen of its functions that are used.
//
// Its headers do not compile on their own and it has no stable version to ask for, so its functions
// are declared here and each is looked up.
#ifndef VEK_RAW_MSGPACK_API_FLUENT_BIT_LIBRARY_H
#define VEK_RAW_MSGPACK_API_FLUENT_BIT_LIBRARY_H

#include <optional>
#include <string>
#include <vector>

namespace vek::engine {

// All calls for one context come from one thread. Ids are 0 or larger; -1 is failure.
struct FluentBitLibrary {
  using Context = void*;

  Context (*create)() = nullptr;
  int (*service_set)(Context, ...) = nullptr;  // key, value, ..., null
  int (*input)(Context, const char* plugin, void* data) = nullptr;
  int (*input_set)(Context, int id, ...) = nullptr;
  int (*output)(Context, const char* plugin, void* callback) = nullptr;
  int (*output_set)(Context, int id, ...) = nullptr;
  // 0 known, -1 unknown, 2: this plug-in does not say what it knows.
  int (*output_property_check)(Context, int id, char* key, char* value) = nullptr;
  int (*start)(Context) = nullptr;
  int (*stop)(Context) = nullptr;
  void (*destroy)(Context) = nullptr;

  std::string path;

  // The first of `candidates` that can be used. None, with what became of each in `why`. What was
  // loaded stays: it may have left threads behind.
  static std::optional<FluentBitLibrary> load(const std::vector<std::string>& candidates,
                                              std::string& why);
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_FLUENT_BIT_LIBRARY_H
