// What the tool's exit status tells a script. Every verb answers with one of these.
#ifndef VEK_TOOLS_BASE_EXIT_STATUS_H
#define VEK_TOOLS_BASE_EXIT_STATUS_H

namespace vek::tools {

enum class ExitStatus : int {
  kGood = 0,
  kBad = 1,          // what was examined is bad: a damaged page file, a schema that does not parse
  kUsage = 2,        // the command line is wrong
  kWarnings = 3,     // only warnings, where warnings were asked to fail
  kEnvironment = 4,  // a file, a library or the machine stood in the way
  kUndelivered = 5,  // the work was done, but not everything was delivered
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_EXIT_STATUS_H
