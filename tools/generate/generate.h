// vektool generate: a demonstration data set, from a seed.
#ifndef VEK_TOOLS_GENERATE_GENERATE_H
#define VEK_TOOLS_GENERATE_GENERATE_H

#include <cstdint>
#include <string>

#include "tools/command_line/command_line.h"
#include "tools/command_line/common_options.h"
#include "tools/generate/demo_faults.h"

namespace vek::tools {

struct GenerateOptions {
  std::string output;
  uint64_t seed = 1;
  uint64_t pages = 300;
  bool force = false;  // write into a directory that holds something already
  FaultNames faults;
  JsonOptions json;
};

void add_generate(CommandLine& line, Action& action);

// Makes schemas/schema_<id>.json, type_system.json, pages.bin with config/ for it, streams.bin
// with streams/ for it, and an empty records/ below `output`. The same seed and number of pages
// give the same bytes; only the configuration differs with the directory, which it names. Faults
// change what they are in, and nothing else. Files that stand there already are replaced with
// `force`.
ExitStatus generate(const GenerateOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_GENERATE_H
