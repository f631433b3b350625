// Base64, the common alphabet, padded.
#ifndef VEK_RAW_MSGPACK_API_BASE64_H
#define VEK_RAW_MSGPACK_API_BASE64_H

#include <cstddef>

#include "raw_msgpack_api/msgpack_token.h"

namespace vek::engine {

inline constexpr size_t base64_size(size_t bytes) { return (bytes + 2) / 3 * 4; }

// Writes base64_size(bytes.size()) characters and returns the position behind them.
inline char* put_base64(char* p, Bytes bytes) noexcept {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t left = bytes.size() - i;
    const unsigned group = static_cast<unsigned>(bytes[i]) << 16 |
                           (left > 1 ? static_cast<unsigned>(bytes[i + 1]) << 8 : 0u) |
                           (left > 2 ? static_cast<unsigned>(bytes[i + 2]) : 0u);
    *p++ = kDigits[group >> 18];
    *p++ = kDigits[group >> 12 & 63];
    *p++ = left > 1 ? kDigits[group >> 6 & 63] : '=';
    *p++ = left > 2 ? kDigits[group & 63] : '=';
  }
  return p;
}

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_BASE64_H
