// vektool doctor: what of an installation works, and what mends the rest.
#ifndef VEK_TOOLS_DOCTOR_DOCTOR_H
#define VEK_TOOLS_DOCTOR_DOCTOR_H

#include <string>

#include "tools/command_line/command_line.h"
#include "tools/command_line/common_options.h"

namespace vek::tools {

struct DoctorOptions {
  std::string plugin;
  std::string config_dir;  // may be empty
  JsonOptions json;
};

void add_doctor(CommandLine& line, Action& action);

ExitStatus doctor(const DoctorOptions& options);

}  // namespace vek::tools

#endif  // VEK_TOOLS_DOCTOR_DOCTOR_H
