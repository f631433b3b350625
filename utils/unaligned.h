// Values at any address, in the machine's byte order.
#ifndef VEK_UTILS_UNALIGNED_H
#define VEK_UTILS_UNALIGNED_H

#include <cstring>

namespace vek {

template <typename T>
T load_unaligned(const char* bytes) noexcept {
  T value;
  std::memcpy(&value, bytes, sizeof(value));
  return value;
}

}  // namespace vek

#endif  // VEK_UTILS_UNALIGNED_H
