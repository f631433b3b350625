#include "json/utf8.h"

#include <cstddef>

namespace vek::json {

namespace {

struct Lead {
  size_t length;        // of the whole sequence; 0: not a lead byte
  uint32_t bits;        // of the code point that the lead byte carries
  uint32_t code_floor;  // a smaller code point has a shorter form
};

Lead read_lead(unsigned char byte) {
  if (byte < 0x80) return {1, byte, 0};
  if ((byte & 0xE0) == 0xC0) return {2, byte & 0x1Fu, 0x80};
  if ((byte & 0xF0) == 0xE0) return {3, byte & 0x0Fu, 0x800};
  if ((byte & 0xF8) == 0xF0) return {4, byte & 0x07u, 0x10000};
  return {0, 0, 0};
}

char low_byte(uint32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); }

char continuation(uint32_t bits) { return low_byte(0x80 | (bits & 0x3F)); }

}  // namespace

bool is_valid_utf8(std::string_view text) {
  while (!text.empty()) {
    const Lead lead = read_lead(static_cast<unsigned char>(text.front()));
    if (lead.length == 0 || lead.length > text.size()) return false;
    uint32_t code_point = lead.bits;
    for (const char next : text.substr(1, lead.length - 1)) {
      const auto byte = static_cast<unsigned char>(next);
      if ((byte & 0xC0) != 0x80) return false;
      code_point = code_point << 6 | (byte & 0x3Fu);
    }
    const bool surrogate = code_point >= 0xD800 && code_point <= 0xDFFF;
    if (code_point < lead.code_floor || surrogate || code_point > 0x10FFFF) return false;
    text.remove_prefix(lead.length);
  }
  return true;
}

void append_utf8(std::string& text, uint32_t code_point) {
  if (code_point < 0x80) {
    text += low_byte(code_point);
  } else if (code_point < 0x800) {
    text += low_byte(0xC0 | code_point >> 6);
    text += continuation(code_point);
  } else if (code_point < 0x10000) {
    text += low_byte(0xE0 | code_point >> 12);
    text += continuation(code_point >> 6);
    text += continuation(code_point);
  } else {
    text += low_byte(0xF0 | code_point >> 18);
    text += continuation(code_point >> 12);
    text += continuation(code_point >> 6);
    text += continuation(code_point);
  }
}

}  // namespace vek::json
