// Msgpack values, written straight to memory: the bytes of msgpack-c's packer without its call and
// its capacity check for every piece.
//
// Each function writes at `p` and returns the position behind what it wrote. It may scribble on
// the bytes up to kMsgpackMaxNumber (or kMsgpackMaxHeader) from `p`, so that much must be there
// whatever the value; nothing is checked here. MsgpackBuffer (utils/msgpack_buffer.h) keeps room.
#ifndef VEK_UTILS_MSGPACK_ENCODE_H
#define VEK_UTILS_MSGPACK_ENCODE_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "utils/number_forms.h"

namespace vek {

inline constexpr size_t kMsgpackMaxNumber = 9;  // room for a number of any type
inline constexpr size_t kMsgpackMaxHeader = 5;  // room for the headers of str, map and array

namespace msgpack_detail {

inline char* put_length(char* p, uint8_t type, uint32_t length, size_t size) noexcept {
  *p++ = static_cast<char>(type);
  while (size > 0) *p++ = static_cast<char>(length >> (8 * --size));
  return p;
}

// Copies without a call where two overlapping moves do it, as they do for almost every key.
[[gnu::always_inline]] inline char* put_bytes(char* p, const char* bytes, size_t size) noexcept {
  const auto ends = [&](auto word) {
    std::memcpy(&word, bytes + size - sizeof(word), sizeof(word));
    auto first = word;
    std::memcpy(&first, bytes, sizeof(first));
    std::memcpy(p, &first, sizeof(first));
    std::memcpy(p + size - sizeof(word), &word, sizeof(word));
  };
  struct Words {
    uint64_t low, high;
  };
  if (size > 2 * sizeof(Words)) {
    std::memcpy(p, bytes, size);
  } else if (size >= sizeof(Words)) {
    ends(Words{});
  } else if (size >= sizeof(uint64_t)) {
    ends(uint64_t{});
  } else if (size >= sizeof(uint32_t)) {
    ends(uint32_t{});
  } else if (size >= sizeof(uint16_t)) {
    ends(uint16_t{});
  } else if (size == 1) {
    *p = *bytes;
  }
  return p + size;
}

}  // namespace msgpack_detail

// The smallest unsigned form.
inline char* put_uint(char* p, uint64_t value) noexcept {
  using namespace msgpack_detail;
  return put_number(p, value, forms_of(NumberKind::kUint64));
}

// The smallest signed form; numbers that are not negative are written as unsigned ones.
inline char* put_int(char* p, int64_t value) noexcept {
  using namespace msgpack_detail;
  return put_number(p, static_cast<uint64_t>(value), forms_of(NumberKind::kInt64));
}

inline char* put_double(char* p, double value) noexcept {
  *p = static_cast<char>(0xcb);
  return msgpack_detail::put_big_endian(p + 1, std::bit_cast<uint64_t>(value));
}

inline char* put_float(char* p, float value) noexcept {
  *p = static_cast<char>(0xca);
  const uint32_t bits = __builtin_bswap32(std::bit_cast<uint32_t>(value));
  std::memcpy(p + 1, &bits, sizeof(bits));
  return p + 1 + sizeof(bits);
}

inline char* put_str_header(char* p, uint32_t length) noexcept {
  using msgpack_detail::put_length;
  if (length < 32) return put_length(p, static_cast<uint8_t>(0xa0 | length), 0, 0);
  if (length < 256) return put_length(p, 0xd9, length, 1);
  if (length < 65536) return put_length(p, 0xda, length, 2);
  return put_length(p, 0xdb, length, 4);
}

// Needs kMsgpackMaxHeader + length bytes.
[[gnu::always_inline]] inline char* put_str(char* p, const char* text, uint32_t length) noexcept {
  return msgpack_detail::put_bytes(put_str_header(p, length), text, length);
}

inline char* put_map_header(char* p, uint32_t pairs) noexcept {
  using msgpack_detail::put_length;
  if (pairs < 16) return put_length(p, static_cast<uint8_t>(0x80 | pairs), 0, 0);
  if (pairs < 65536) return put_length(p, 0xde, pairs, 2);
  return put_length(p, 0xdf, pairs, 4);
}

inline char* put_array_header(char* p, uint32_t elements) noexcept {
  using msgpack_detail::put_length;
  if (elements < 16) return put_length(p, static_cast<uint8_t>(0x90 | elements), 0, 0);
  if (elements < 65536) return put_length(p, 0xdc, elements, 2);
  return put_length(p, 0xdd, elements, 4);
}

}  // namespace vek

#endif  // VEK_UTILS_MSGPACK_ENCODE_H
