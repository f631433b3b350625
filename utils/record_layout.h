// The layouts of records that operators choose between.
#ifndef VEK_UTILS_RECORD_LAYOUT_H
#define VEK_UTILS_RECORD_LAYOUT_H

#include <cstdint>
#include <cstring>

namespace vek {

enum class RecordLayout : uint8_t { kFlbStd, kCustom };

// Any other name, or none, is "custom".
inline RecordLayout layout_named(const char* name) noexcept {
  return name && std::strcmp(name, "flb_std") == 0 ? RecordLayout::kFlbStd : RecordLayout::kCustom;
}

}  // namespace vek

#endif  // VEK_UTILS_RECORD_LAYOUT_H
