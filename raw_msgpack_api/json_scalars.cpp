#include "raw_msgpack_api/json_scalars.h"

namespace vek::engine {

void append_json_base64(Bytes bytes, std::string& out) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  out += '"';
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t left = bytes.size() - i;
    const unsigned group = static_cast<unsigned>(bytes[i]) << 16 |
                           (left > 1 ? static_cast<unsigned>(bytes[i + 1]) << 8 : 0u) |
                           (left > 2 ? static_cast<unsigned>(bytes[i + 2]) : 0u);
    out += kDigits[group >> 18];
    out += kDigits[group >> 12 & 63];
    out += left > 1 ? kDigits[group >> 6 & 63] : '=';
    out += left > 2 ? kDigits[group & 63] : '=';
  }
  out += '"';
}

void append_json_hex(Bytes bytes, std::string& out) {
  static constexpr char kHexDigits[] = "0123456789abcdef";
  out += "\"0x";
  for (const uint8_t byte : bytes) {
    out += kHexDigits[byte >> 4];
    out += kHexDigits[byte & 0x0f];
  }
  out += '"';
}

}  // namespace vek::engine
