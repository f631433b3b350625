// The keys that every record carries by itself.
#ifndef VEK_COUNTERS_BUILTIN_KEYS_H
#define VEK_COUNTERS_BUILTIN_KEYS_H

#include <cstdint>
#include <string_view>

#include "counters/counter_set.h"

namespace vek {

// The vek_meta_builtin_t that stands for a record's own key; 0 for any other text.
inline uint32_t builtin_key(std::string_view name) noexcept {
  if (name == "timestamp") return VEK_META_TIMESTAMP;
  if (name == "source") return VEK_META_SOURCE;
  if (name == "type") return VEK_META_TYPE;
  return 0;
}

}  // namespace vek

#endif  // VEK_COUNTERS_BUILTIN_KEYS_H
