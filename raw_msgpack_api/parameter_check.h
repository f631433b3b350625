// What "init" would have against the parameters of a destination, for tools that look at
// configurations: they say the same as the engine because they ask its own code.
#ifndef VEK_RAW_MSGPACK_API_PARAMETER_CHECK_H
#define VEK_RAW_MSGPACK_API_PARAMETER_CHECK_H

#include <string>

#include "utils/export_parameters.h"

namespace vek::engine {

// False when "init" would refuse these, after the error line that it would log. Nothing is opened,
// made or started, so what only files, receivers or a Fluent Bit can tell is not found.
bool init_would_take(const std::string& plugin, const std::string& host, const std::string& port,
                     const fluentbit_export_parameters_t* params);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_PARAMETER_CHECK_H
