#ifndef VEK_HAVE_PARSON

#include <cmath>
#include <string_view>

#include "json/calls.h"
#include "json/utf8.h"

using vek::json::make_or_null;
using vek::json::make_value;
using vek::json::ValuePtr;

JSON_Value* json_value_init_object(void) { return make_or_null(vek::json::make_object); }

JSON_Value* json_value_init_array(void) { return make_or_null(vek::json::make_array); }

JSON_Value* json_value_init_string(const char* text) {
  if (!text || !vek::json::is_valid_utf8(text)) return nullptr;
  return make_or_null([&] { return make_value(std::string(text)); });
}

JSON_Value* json_value_init_number(double number) {
  if (!std::isfinite(number)) return nullptr;
  return make_or_null([&] { return make_value(number); });
}

JSON_Value* json_value_init_boolean(int boolean) {
  return make_or_null([&] { return make_value(boolean != 0); });
}

JSON_Value* json_value_init_null(void) {
  return make_or_null([] { return make_value(); });
}

JSON_Value* json_value_deep_copy(const JSON_Value* value) {
  if (!value) return nullptr;
  return make_or_null([&] { return vek::json::deep_copy(*value); });
}

void json_value_free(JSON_Value* value) { ValuePtr{value}.reset(); }

JSON_Value_Type json_value_get_type(const JSON_Value* value) {
  return value ? value->type() : static_cast<JSON_Value_Type>(JSONError);
}

JSON_Object* json_value_get_object(const JSON_Value* value) {
  return value ? value->object() : nullptr;
}

JSON_Array* json_value_get_array(const JSON_Value* value) {
  return value ? value->array() : nullptr;
}

const char* json_value_get_string(const JSON_Value* value) {
  const std::string* text = value ? value->string() : nullptr;
  return text ? text->c_str() : nullptr;
}

size_t json_value_get_string_len(const JSON_Value* value) {
  const std::string* text = value ? value->string() : nullptr;
  return text ? text->size() : 0;
}

double json_value_get_number(const JSON_Value* value) {
  const double* number = value ? value->number() : nullptr;
  return number ? *number : 0;
}

int json_value_get_boolean(const JSON_Value* value) {
  const bool* boolean = value ? value->boolean() : nullptr;
  return boolean ? *boolean : -1;
}

#endif  // VEK_HAVE_PARSON
