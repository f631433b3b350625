#ifndef VEK_HAVE_PARSON

#include "json/calls.h"

using vek::json::adopt;
using vek::json::give_new;

size_t json_array_get_count(const JSON_Array* array) { return array ? array->elements.size() : 0; }

JSON_Value* json_array_get_value(const JSON_Array* array, size_t index) {
  return index < json_array_get_count(array) ? array->elements[index].get() : nullptr;
}

const char* json_array_get_string(const JSON_Array* array, size_t index) {
  return json_value_get_string(json_array_get_value(array, index));
}

JSON_Object* json_array_get_object(const JSON_Array* array, size_t index) {
  return json_value_get_object(json_array_get_value(array, index));
}

double json_array_get_number(const JSON_Array* array, size_t index) {
  return json_value_get_number(json_array_get_value(array, index));
}

JSON_Status json_array_append_value(JSON_Array* array, JSON_Value* value) {
  if (!array) return JSONFailure;
  return adopt(value, [&](vek::json::ValuePtr& owned) { array->append(owned); });
}

JSON_Status json_array_append_string(JSON_Array* array, const char* text) {
  return give_new(json_value_init_string(text),
                  [&](JSON_Value* value) { return json_array_append_value(array, value); });
}

JSON_Status json_array_append_number(JSON_Array* array, double number) {
  return give_new(json_value_init_number(number),
                  [&](JSON_Value* value) { return json_array_append_value(array, value); });
}

#endif  // VEK_HAVE_PARSON
