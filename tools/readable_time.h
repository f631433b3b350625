// Times as people read them.
#ifndef VEK_TOOLS_READABLE_TIME_H
#define VEK_TOOLS_READABLE_TIME_H

#include <cstdint>
#include <string>

namespace vek::tools {

// "2026-01-01T00:00:00.500000Z"; the bare number where it is beyond the year 9999.
std::string readable_time(uint64_t us_since_epoch);

}  // namespace vek::tools

#endif  // VEK_TOOLS_READABLE_TIME_H
