// Identifiers as hexadecimal text, "0x" and lower-case digits.
#ifndef VEK_UTILS_GUID_TEXT_H
#define VEK_UTILS_GUID_TEXT_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace vek {

inline constexpr size_t kMaxGuidText = 18;  // "0x" and 16 digits

inline size_t guid_digits(uint64_t value) noexcept {
  return (static_cast<size_t>(64 - std::countl_zero(value | 1)) + 3) / 4;
}

// Eight digits, in memory from the most significant one on. All at once: a loop over digits costs
// as much as a dozen counters.
inline uint64_t hex_digits(uint32_t value) noexcept {
  uint64_t nibbles = value;
  nibbles = (nibbles & 0xffff0000) << 16 | (nibbles & 0xffff);
  nibbles = (nibbles & 0x0000ff000000ff00) << 8 | (nibbles & 0x000000ff000000ff);
  nibbles = (nibbles & 0x00f000f000f000f0) << 4 | (nibbles & 0x000f000f000f000f);
  constexpr uint64_t kEach = 0x0101010101010101;
  const uint64_t is_letter = ((nibbles + 6 * kEach) >> 4) & kEach;
  return __builtin_bswap64(nibbles + '0' * kEach + is_letter * ('a' - '0' - 10));
}

// Writes at `p`, where kMaxGuidText bytes are, and returns the text's size. `digits`: at least
// guid_digits(value); further ones are zeros in front.
inline size_t write_guid(char* p, uint64_t value, size_t digits) noexcept {
  value <<= 64 - 4 * digits;
  const uint64_t first = hex_digits(static_cast<uint32_t>(value >> 32));
  const uint64_t second = hex_digits(static_cast<uint32_t>(value));
  p[0] = '0';
  p[1] = 'x';
  std::memcpy(p + 2, &first, sizeof(first));
  std::memcpy(p + 10, &second, sizeof(second));
  return 2 + digits;
}

class GuidText {
 public:
  // cppcheck-suppress uninitMemberVar ; write_guid fills what size_ counts
  explicit GuidText(uint64_t value, size_t least_digits = 1) noexcept
      : size_(write_guid(text_, value, std::max(guid_digits(value), least_digits))) {}
  std::string_view view() const noexcept { return {text_, size_}; }

 private:
  char text_[kMaxGuidText];
  size_t size_;
};

}  // namespace vek

#endif  // VEK_UTILS_GUID_TEXT_H
