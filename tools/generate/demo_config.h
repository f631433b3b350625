// The configurations of the demonstration: one for its pages, with three destinations, counter-set
// and field-set files, and one for its streams, with two destinations.
#ifndef VEK_TOOLS_GENERATE_DEMO_CONFIG_H
#define VEK_TOOLS_GENERATE_DEMO_CONFIG_H

#include <string>
#include <vector>

namespace vek::tools {

struct DemoFile {
  std::string name;  // relative to the output directory
  std::string text;
};

// `dir` is the absolute output directory, by which the files name each other.
std::vector<DemoFile> demo_config_files(const std::string& dir);

// Why an absolute directory cannot be named in exporter files; empty when it can. "#" begins a
// comment there, "=" ends a parameter's value, and paths of exporter files are cut at 127 bytes.
std::string why_not_usable(const std::string& dir);

}  // namespace vek::tools

#endif  // VEK_TOOLS_GENERATE_DEMO_CONFIG_H
