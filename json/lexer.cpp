#ifndef VEK_HAVE_PARSON

#include "json/lexer.h"

#include <locale.h>
#include <stdlib.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "json/utf8.h"

namespace vek::json {

namespace {

constexpr uint32_t kHighSurrogates = 0xD800;
constexpr uint32_t kLowSurrogates = 0xDC00;
constexpr uint32_t kSurrogatesEnd = 0xE000;

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20; }

std::optional<uint32_t> read_hex_digit(char c) {
  if (c >= '0' && c <= '9') return static_cast<uint32_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<uint32_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<uint32_t>(c - 'A' + 10);
  return std::nullopt;
}

std::optional<uint32_t> read_four_hex_digits(const char*& cursor) {
  uint32_t value = 0;
  for (int i = 0; i < 4; i++) {
    const std::optional<uint32_t> digit = read_hex_digit(*cursor);
    if (!digit) return std::nullopt;
    value = value << 4 | *digit;
    cursor++;
  }
  return value;
}

// Behind "\u": one unit, or a pair of surrogates; a surrogate alone is refused.
bool read_unicode_escape(const char*& cursor, std::string& text) {
  std::optional<uint32_t> unit = read_four_hex_digits(cursor);
  if (!unit) return false;
  uint32_t code_point = *unit;
  if (code_point >= kLowSurrogates && code_point < kSurrogatesEnd) return false;
  if (code_point >= kHighSurrogates && code_point < kLowSurrogates) {
    if (!take(cursor, "\\u")) return false;
    unit = read_four_hex_digits(cursor);
    if (!unit || *unit < kLowSurrogates || *unit >= kSurrogatesEnd) return false;
    code_point = 0x10000 + ((code_point - kHighSurrogates) << 10 | (*unit - kLowSurrogates));
  }
  append_utf8(text, code_point);
  return true;
}

// Behind the backslash.
bool read_escape(const char*& cursor, std::string& text) {
  constexpr std::string_view kSpelled = "\"\\/bfnrt";
  constexpr std::string_view kMeant = "\"\\/\b\f\n\r\t";
  const char c = *cursor;
  if (c == '\0') return false;
  cursor++;
  if (c == 'u') return read_unicode_escape(cursor, text);
  const size_t which = kSpelled.find(c);
  if (which == std::string_view::npos) return false;
  text += kMeant[which];
  return true;
}

// No leading zeros, no hexadecimal digits. A zero must be followed by a point, so that "0e5" is
// refused as well: documents are to mean the same to every reader of them.
bool is_decimal(std::string_view digits) {
  if (digits.find_first_of("xX") != std::string_view::npos) return false;
  if (digits.starts_with('-')) digits.remove_prefix(1);
  return digits.size() < 2 || digits[0] != '0' || digits[1] == '.';
}

// The host may run under any locale; a decimal comma must not change what a document says.
double to_double_in_c_locale(const char* text, char** end) {
  static const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(text, end, c_locale);
}

}  // namespace

void skip_white_space(const char*& cursor) {
  while (*cursor == ' ' || (*cursor >= '\t' && *cursor <= '\r')) cursor++;
}

bool take(const char*& cursor, std::string_view expected) {
  if (std::strncmp(cursor, expected.data(), expected.size()) != 0) return false;
  cursor += expected.size();
  return true;
}

std::optional<std::string> read_string(const char*& cursor) {
  std::string text;
  cursor++;
  for (;;) {
    const char* run = cursor;
    while (*cursor != '"' && *cursor != '\\' && !is_control(*cursor)) cursor++;
    text.append(run, cursor);
    // A control character, the text's end among them, has no place inside quotes.
    if (is_control(*cursor)) return std::nullopt;
    if (*cursor++ == '"') return text;
    if (!read_escape(cursor, text)) return std::nullopt;
  }
}

std::optional<double> read_number(const char*& cursor) {
  char* end = nullptr;
  const double number = to_double_in_c_locale(cursor, &end);
  // Infinity: beyond the range, or spelled out. What is too small for a double is a zero.
  if (!std::isfinite(number)) return std::nullopt;
  if (!is_decimal({cursor, static_cast<size_t>(end - cursor)})) return std::nullopt;
  cursor = end;
  return number;
}

}  // namespace vek::json

#endif  // VEK_HAVE_PARSON
