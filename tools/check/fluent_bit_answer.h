// What an installed Fluent Bit has to say of one destination.
#ifndef VEK_TOOLS_CHECK_FLUENT_BIT_ANSWER_H
#define VEK_TOOLS_CHECK_FLUENT_BIT_ANSWER_H

#include <map>
#include <string>
#include <vector>

#include "tools/check/fluent_bit_outputs.h"
#include "tools/config/configuration.h"

namespace vek::tools {

struct FluentBitAnswer {
  struct Refusal {
    std::string parameter;  // empty: there is no such output
    std::string nearest;    // a name that it has; may be empty
  };

  bool was_asked = false;  // false: it is not installed
  std::string problem;     // why it did not answer, as "the library crashes: Killed"
  std::vector<Refusal> refusals;
};

struct AskedParameter {
  std::string name;
  std::string value;
};
// Those that are for the output alone, and not for every output or for the engine.
std::vector<AskedParameter> asked_parameters(const ConfiguredDestination& destination);

// Asks the library, loaded into a child process.
FluentBitAnswer ask_fluent_bit_library(const ConfiguredDestination& destination);

// Asks programs, each once.
class FluentBitPrograms {
 public:
  FluentBitAnswer ask(const ConfiguredDestination& destination);

 private:
  std::map<std::string, FluentBitOutputs> known_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_CHECK_FLUENT_BIT_ANSWER_H
