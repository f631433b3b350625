// Where a Fluent Bit may be installed.
#ifndef VEK_UTILS_FLUENT_BIT_SEARCH_H
#define VEK_UTILS_FLUENT_BIT_SEARCH_H

#include <string>
#include <vector>

namespace vek {

// What the environment says. A process with raised privileges must not load or run what whoever
// started it points at, so there nothing of it counts.
struct SearchEnvironment {
  std::string library;  // FLUENT_BIT_LIBRARY
  std::string path;     // PATH

  static SearchEnvironment of_process();
  static SearchEnvironment read(bool has_raised_privileges);
};

// What to hand to dlopen, in order. `engine_path` ("vek.engine_path", may be empty) is a library, a
// folder that has it, or an installation's root; where it is given, nothing else is looked at.
std::vector<std::string> library_candidates(const std::string& engine_path,
                                            const SearchEnvironment& environment);
// Programs, by full path, in order; likewise.
std::vector<std::string> program_candidates(const std::string& engine_path,
                                            const SearchEnvironment& environment);

}  // namespace vek

#endif  // VEK_UTILS_FLUENT_BIT_SEARCH_H
