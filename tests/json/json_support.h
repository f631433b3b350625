// What the JSON tests share: values and texts that release themselves, printing in one call.
#ifndef VEK_TESTS_JSON_JSON_SUPPORT_H
#define VEK_TESTS_JSON_JSON_SUPPORT_H

#include <optional>
#include <string>

#include "json/json.h"
#include "json/json_owned.h"

namespace vek::test {

// The text ends at its first NUL, as C strings do.
inline JsonValue parse(const std::string& text) {
  return JsonValue(json_parse_string(text.c_str()));
}

inline std::optional<std::string> to_optional(const char* text) {
  return text ? std::optional<std::string>(text) : std::nullopt;
}

inline std::optional<std::string> compact(const JSON_Value* value) {
  const JsonText text(json_serialize_to_string(value));
  return to_optional(text.get());
}

inline std::optional<std::string> pretty(const JSON_Value* value) {
  const JsonText text(json_serialize_to_string_pretty(value));
  return to_optional(text.get());
}

// Parsed and printed without white space; nothing when the text is refused.
inline std::optional<std::string> reprint(const std::string& text) {
  return compact(parse(text).get());
}

inline std::string repeat(const std::string& text, size_t times) {
  std::string result;
  result.reserve(text.size() * times);
  for (size_t i = 0; i < times; i++) result += text;
  return result;
}

}  // namespace vek::test

#endif  // VEK_TESTS_JSON_JSON_SUPPORT_H
