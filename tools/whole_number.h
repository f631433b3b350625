// The check of options that take a whole number.
#ifndef VEK_TOOLS_WHOLE_NUMBER_H
#define VEK_TOOLS_WHOLE_NUMBER_H

#include <CLI/CLI.hpp>
#include <cstdint>

namespace vek::tools {

// Decimal digits only, least to most: C's conversions would take "-5" for a huge number.
CLI::Validator whole_number(uint64_t least, uint64_t most);

}  // namespace vek::tools

#endif  // VEK_TOOLS_WHOLE_NUMBER_H
