#ifndef VEK_HAVE_PARSON

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "json/calls.h"
#include "json/parser.h"
#include "json/printer.h"
#include "json/validation.h"
#include "utils/input_file.h"
#include "utils/owned.h"

using vek::json::Layout;
using vek::json::make_or_null;
using vek::json::or_failure;

namespace {

std::optional<std::string> read_file(const char* path) {
  const vek::File file = vek::open_input_file(path);
  if (!file) return std::nullopt;
  std::string text;
  char block[16384];
  while (const size_t size = std::fread(block, 1, sizeof block, file.get())) {
    text.append(block, size);
  }
  if (std::ferror(file.get())) return std::nullopt;
  return text;
}

char* serialize(const JSON_Value* value, Layout layout) {
  if (!value) return nullptr;
  return or_failure(static_cast<char*>(nullptr), [&] {
    const std::string text = vek::json::print(*value, layout);
    const size_t size = text.size() + 1;
    char* copy = static_cast<char*>(std::malloc(size));
    if (copy) std::memcpy(copy, text.c_str(), size);
    return copy;
  });
}

}  // namespace

JSON_Value* json_parse_file(const char* path) {
  if (!path) return nullptr;
  return make_or_null([&]() -> vek::json::ValuePtr {
    const std::optional<std::string> text = read_file(path);
    return text ? vek::json::parse(text->c_str()) : nullptr;
  });
}

JSON_Value* json_parse_string(const char* text) {
  if (!text) return nullptr;
  return make_or_null([&] { return vek::json::parse(text); });
}

JSON_Status json_validate(const JSON_Value* schema, const JSON_Value* value) {
  if (!schema || !value) return JSONFailure;
  return or_failure<JSON_Status>(JSONFailure, [&]() -> JSON_Status {
    return vek::json::has_shape(*schema, *value) ? JSONSuccess : JSONFailure;
  });
}

char* json_serialize_to_string(const JSON_Value* value) {
  return serialize(value, Layout::kCompact);
}

char* json_serialize_to_string_pretty(const JSON_Value* value) {
  return serialize(value, Layout::kPretty);
}

void json_free_serialized_string(char* text) { std::free(text); }

#endif  // VEK_HAVE_PARSON
