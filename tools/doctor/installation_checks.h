// The parts of an installation that vektool doctor looks at. Each may load libraries, so each is
// for a child process.
#ifndef VEK_TOOLS_DOCTOR_INSTALLATION_CHECKS_H
#define VEK_TOOLS_DOCTOR_INSTALLATION_CHECKS_H

#include <string>

#include "tools/base/diagnosis.h"

namespace vek::tools {

// The plug-in, loaded as a collector does, and then the engine that it finds: started with a
// destination that drops everything.
void examine_plugin(const std::string& plugin, Diagnoses& out);
// The Fluent Bit library and program, for outputs that the engine does not have itself.
void examine_fluent_bit(Diagnoses& out);
// Variables that plug-in and engine read. Their values hold no secrets.
void examine_environment(Diagnoses& out);

}  // namespace vek::tools

#endif  // VEK_TOOLS_DOCTOR_INSTALLATION_CHECKS_H
