#include "utils/json_scalars.h"

#include <array>
#include <charconv>
#include <cmath>

namespace vek {
namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

// Bytes of the valid UTF-8 character at the start of `text`, 0 when there is none. No overlong
// forms, no surrogates, nothing above U+10FFFF.
size_t utf8_length(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto continues = [&](size_t i) { return i < text.size() && (byte(i) & 0xc0) == 0x80; };
  const unsigned first = byte(0);
  if (first < 0x80) return 1;
  if (first < 0xc2 || first > 0xf4 || !continues(1)) return 0;
  if (first < 0xe0) return 2;
  const unsigned second = byte(1);
  if (first < 0xf0) {
    if ((first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f)) return 0;
    return continues(2) ? 3 : 0;
  }
  if ((first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f)) return 0;
  return continues(2) && continues(3) ? 4 : 0;
}

bool is_plain(char c) { return c >= 0x20 && c < 0x7f && c != '"' && c != '\\'; }

void append_escape(unsigned code, std::string& out) {
  switch (code) {
    case '"':
      out += "\\\"";
      return;
    case '\\':
      out += "\\\\";
      return;
    case '\b':
      out += "\\b";
      return;
    case '\f':
      out += "\\f";
      return;
    case '\n':
      out += "\\n";
      return;
    case '\r':
      out += "\\r";
      return;
    case '\t':
      out += "\\t";
      return;
    default:
      out += "\\u00";
      out += kHexDigits[code >> 4];
      out += kHexDigits[code & 0x0f];
  }
}

// One character that is not plain ASCII; returns its length.
size_t append_special(std::string_view text, std::string& out) {
  const size_t length = utf8_length(text);
  const auto first = static_cast<unsigned char>(text[0]);
  if (length == 0) {
    out += "\\ufffd";
    return 1;
  }
  const bool is_c1 = first == 0xc2 && static_cast<unsigned char>(text[1]) < 0xa0;
  if (length == 1) {
    append_escape(first, out);
  } else if (is_c1) {
    append_escape(static_cast<unsigned char>(text[1]), out);
  } else {
    out += text.substr(0, length);
  }
  return length;
}

template <typename Number>
void append_chars(Number number, std::string& out) {
  std::array<char, 24> text;
  const auto end = std::to_chars(text.begin(), text.end(), number).ptr;
  out.append(text.begin(), end);
}

template <typename Float>
void append_float(Float number, std::string& out) {
  if (!std::isfinite(number)) {
    out += "null";
    return;
  }
  // Plain digits where people expect them: times of today would otherwise read 1.7e+09.
  const Float size = std::fabs(number);
  const bool plain = size == 0 || (size >= Float(1e-5) && size < Float(1e17));
  std::array<char, 48> text;
  const auto end = std::to_chars(text.begin(), text.end(), number,
                                 plain ? std::chars_format::fixed : std::chars_format::scientific)
                       .ptr;
  const std::string_view digits(text.begin(), static_cast<size_t>(end - text.begin()));
  out += digits;
  if (digits.find_first_of(".e") == std::string_view::npos) out += ".0";
}

}  // namespace

void append_json_string(std::string_view text, std::string& out) {
  out += '"';
  while (!text.empty()) {
    size_t run = 0;
    while (run < text.size() && is_plain(text[run])) ++run;
    out += text.substr(0, run);
    text.remove_prefix(run);
    if (!text.empty()) text.remove_prefix(append_special(text, out));
  }
  out += '"';
}

void append_json_unsigned(uint64_t number, std::string& out) { append_chars(number, out); }
void append_json_signed(int64_t number, std::string& out) { append_chars(number, out); }
void append_json_double(double number, std::string& out) { append_float(number, out); }
void append_json_float(float number, std::string& out) { append_float(number, out); }

}  // namespace vek
