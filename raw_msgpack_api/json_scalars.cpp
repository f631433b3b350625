#include "raw_msgpack_api/json_scalars.h"

#include "raw_msgpack_api/base64.h"

namespace vek::engine {

void append_json_base64(Bytes bytes, std::string& out) {
  out += '"';
  const size_t start = out.size();
  out.resize(start + base64_size(bytes.size()));
  put_base64(out.data() + start, bytes);
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
