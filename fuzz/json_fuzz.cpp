// A document that is accepted prints to texts that are accepted and print the same again: providers
// hash the text, so it has to be a fixed point. Bytes behind the first NUL are a second document,
// checked against the first as its template.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "json/json.h"
#include "json/json_owned.h"

namespace {

using vek::JsonText;
using vek::JsonValue;

void require(bool holds) {
  if (!holds) std::abort();
}

void require_same_prints(const JSON_Value* first, const JSON_Value* second) {
  const JsonText compact(json_serialize_to_string(first));
  const JsonText pretty(json_serialize_to_string_pretty(first));
  const JsonText compact_again(json_serialize_to_string(second));
  const JsonText pretty_again(json_serialize_to_string_pretty(second));
  require(compact && pretty && compact_again && pretty_again);
  require(std::string_view(compact.get()) == compact_again.get());
  require(std::string_view(pretty.get()) == pretty_again.get());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const JsonValue value(json_parse_string(input.c_str()));
  if (!value) return 0;

  const JsonText compact(json_serialize_to_string(value.get()));
  const JsonText pretty(json_serialize_to_string_pretty(value.get()));
  require(compact && pretty);
  require_same_prints(value.get(), JsonValue(json_parse_string(compact.get())).get());
  require_same_prints(value.get(), JsonValue(json_parse_string(pretty.get())).get());
  require_same_prints(value.get(), JsonValue(json_value_deep_copy(value.get())).get());

  if (const size_t nul = input.find('\0'); nul != std::string::npos) {
    const JsonValue other(json_parse_string(input.c_str() + nul + 1));
    json_validate(value.get(), other.get());
  }
  return 0;
}
