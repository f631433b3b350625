// Options that take a span of time.
#ifndef VEK_TOOLS_DURATION_H
#define VEK_TOOLS_DURATION_H

#include <cstdint>
#include <string>

namespace vek::tools {

// Microseconds of "250us", "500ms", "1s", "5m", "1h"; throws CLI::ValidationError for anything
// else, and for nothing at all.
uint64_t take_duration(const char* option, const std::string& text);

}  // namespace vek::tools

#endif  // VEK_TOOLS_DURATION_H
