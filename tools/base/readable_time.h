// Times as people read them.
#ifndef VEK_TOOLS_BASE_READABLE_TIME_H
#define VEK_TOOLS_BASE_READABLE_TIME_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vek::tools {

// "2026-01-01T00:00:00.500000Z"; the bare number where it is beyond the year 9999.
std::string readable_time(uint64_t us_since_epoch);
// Of "2026-01-01T00:00:00.5Z", "2026-01-01 00:00", "2026-01-01" (all UTC), or microseconds since
// 1970 as a whole number; none for anything else.
std::optional<uint64_t> parse_time(std::string_view text);

}  // namespace vek::tools

#endif  // VEK_TOOLS_BASE_READABLE_TIME_H
