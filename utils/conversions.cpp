// The strict text conversions of utils/strings.h.
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "utils/owned.h"
#include "utils/strings.h"

namespace {

// One rule for the whole family: nothing but the number, and all of it within range. glibc sets
// errno for overflow (with the value at a limit) and for arguments that it refuses (with 0).
template <typename T, T (*Convert)(const char*, char**, int)>
bool convert(const char* text, T* out) {
  if (!text || !out) return false;
  char* end = nullptr;
  errno = 0;
  const T value = Convert(text, &end, 0);
  const bool at_limit =
      value == std::numeric_limits<T>::max() || value == std::numeric_limits<T>::min();
  if (errno == ERANGE && at_limit) return false;
  if (errno != 0 && value == 0) return false;
  if (end == text || *end != '\0') return false;
  *out = value;
  return true;
}

template <typename T>
bool convert_unsigned(const char* text, T* out) {
  unsigned long long value = 0;
  if (!out || !string_to_unsigned_long_long(text, &value)) return false;
  if (value > std::numeric_limits<T>::max()) return false;
  *out = static_cast<T>(value);
  return true;
}

}  // namespace

bool string_to_long(const char* text, long* out) { return convert<long, std::strtol>(text, out); }

bool string_to_unsigned_long(const char* text, unsigned long* out) {
  return convert<unsigned long, std::strtoul>(text, out);
}

bool string_to_long_long(const char* text, long long* out) {
  return convert<long long, std::strtoll>(text, out);
}

bool string_to_unsigned_long_long(const char* text, unsigned long long* out) {
  return convert<unsigned long long, std::strtoull>(text, out);
}

bool string_to_sizet(const char* text, size_t* out) { return convert_unsigned(text, out); }
bool string_to_u64(const char* text, uint64_t* out) { return convert_unsigned(text, out); }
bool string_to_u8(const char* text, uint8_t* out) { return convert_unsigned(text, out); }
bool string_to_u16(const char* text, uint16_t* out) { return convert_unsigned(text, out); }
bool string_to_u32(const char* text, uint32_t* out) { return convert_unsigned(text, out); }

bool bounded_string_to_int(const char* text, size_t length, int* out) {
  if (!text || !out) return false;
  const vek::CString bounded(strndup(text, length));
  long value = 0;
  if (!bounded || !string_to_long(bounded.get(), &value)) return false;
  if (value < INT_MIN || value > INT_MAX) return false;
  *out = static_cast<int>(value);
  return true;
}

bool vek_string_to_boolean(const char* text) {
  // A parameter that is present without a value counts as switched on.
  if (!text) return true;
  return std::strcmp(text, "1") == 0 || std::strcmp(text, "True") == 0 ||
         std::strcmp(text, "true") == 0;
}

const char* boolean_to_string(bool value) { return value ? "true" : "false"; }

uint32_t hex_char_to_int(char c) {
  if (c >= '0' && c <= '9') return static_cast<uint32_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<uint32_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<uint32_t>(c - 'A' + 10);
  return VEK_NOT_FOUND;
}

bool string_to_guid(const char* text, uint8_t out[16]) {
  constexpr size_t kDigits = 32;
  if (!text || !out) return false;
  uint8_t bytes[kDigits / 2] = {};
  size_t digits = 0;
  for (; *text; ++text) {
    if (*text == '-') continue;
    const uint32_t nibble = hex_char_to_int(*text);
    if (nibble == VEK_NOT_FOUND || digits == kDigits) return false;
    bytes[digits / 2] =
        static_cast<uint8_t>((static_cast<uint32_t>(bytes[digits / 2]) << 4) | nibble);
    ++digits;
  }
  if (digits != kDigits) return false;
  std::memcpy(out, bytes, sizeof bytes);
  return true;
}
