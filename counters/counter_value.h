// What every writer of counters agrees on. Internal to the folder.
#ifndef VEK_COUNTERS_COUNTER_VALUE_H
#define VEK_COUNTERS_COUNTER_VALUE_H

#include <string_view>

#include "utils/logger.h"

namespace vek {

[[gnu::cold, gnu::noinline]] inline void log_unknown_type(const char* name) {
  VEK_LOGE("[%s] VEK_DATA_TYPE is unknown for counter '%s', should not be here!", "msgpack_counter",
           name);
}

// The names that go out as hexadecimal text: what a counter is called in the record decides.
inline bool is_guid_name(std::string_view name) noexcept {
  return name == "port_guid" || name == "node_guid" || name == "GUID";
}

}  // namespace vek

#endif  // VEK_COUNTERS_COUNTER_VALUE_H
