// Values at any address, in the machine's byte order.
#ifndef VEK_UTILS_UNALIGNED_H
#define VEK_UTILS_UNALIGNED_H

#include <cstdint>
#include <cstring>

namespace vek {

template <typename T>
T load_unaligned(const char* bytes) noexcept {
  T value;
  std::memcpy(&value, bytes, sizeof(value));
  return value;
}

// The same, read exactly once whatever the compiler does with it: for memory that someone else may
// be writing, where a value is checked first and used then.
template <typename T>
T load_once(const uint8_t* bytes) noexcept {
  struct __attribute__((packed, may_alias)) Unaligned {
    T value;
  };
  return reinterpret_cast<const volatile Unaligned*>(bytes)->value;
}

}  // namespace vek

#endif  // VEK_UTILS_UNALIGNED_H
