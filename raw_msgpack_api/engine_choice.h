// Which engine serves an output: one of the destinations inside this library, or a real Fluent Bit,
// as a library in this process or as a program beside it.
#ifndef VEK_RAW_MSGPACK_API_ENGINE_CHOICE_H
#define VEK_RAW_MSGPACK_API_ENGINE_CHOICE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "raw_msgpack_api/parameters.h"

namespace vek::engine {

enum class Engine : uint8_t { kBuiltin, kLibrary, kProcess };

// The engines to try, in order, for an output that is built in or not. "vek.engine" names one;
// "auto", the default, takes what is built in, and otherwise the library where it can be loaded and
// the program where not. None, with an error line, when it names something else.
std::optional<std::vector<Engine>> engines_to_try(const Parameters& parameters, bool is_built_in);

const char* engine_name(Engine engine);

// "stdout_raw, stdout, ...", for messages.
std::string built_in_names();
// The error line of an output that should be built in, and is not.
void report_no_output(std::string_view name);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_ENGINE_CHOICE_H
