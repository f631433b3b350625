// Finding a program, and what it prints.
#ifndef VEK_TOOLS_BASE_PROGRAM_OUTPUT_H
#define VEK_TOOLS_BASE_PROGRAM_OUTPUT_H

#include <chrono>
#include <string>
#include <vector>

namespace vek::tools {

struct ProgramOutput {
  std::string text;     // of standard output
  std::string problem;  // why that is not all, as "ends with status 1"; empty: it ended well
};

// Runs a program with nothing to read and nobody to complain to. One that takes longer, or prints
// more than 64 MiB, is killed.
ProgramOutput run_program(const std::string& path, const std::vector<std::string>& arguments,
                          std::chrono::milliseconds patience);

// The first of these files that may be run; empty: none.
std::string first_program(const std::vector<std::string>& paths);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_PROGRAM_OUTPUT_H
