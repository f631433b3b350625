#ifndef VEK_HAVE_PARSON

#include "json/calls.h"

using vek::json::adopt;
using vek::json::give_new;

size_t json_object_get_count(const JSON_Object* object) {
  return object ? object->members.size() : 0;
}

const char* json_object_get_name(const JSON_Object* object, size_t index) {
  if (index >= json_object_get_count(object)) return nullptr;
  return object->members[index].name.c_str();
}

JSON_Value* json_object_get_value_at(const JSON_Object* object, size_t index) {
  if (index >= json_object_get_count(object)) return nullptr;
  return object->members[index].value.get();
}

JSON_Value* json_object_get_value(const JSON_Object* object, const char* name) {
  if (!object || !name) return nullptr;
  return json_object_get_value_at(object, object->find(name));
}

const char* json_object_get_string(const JSON_Object* object, const char* name) {
  return json_value_get_string(json_object_get_value(object, name));
}

JSON_Object* json_object_get_object(const JSON_Object* object, const char* name) {
  return json_value_get_object(json_object_get_value(object, name));
}

JSON_Array* json_object_get_array(const JSON_Object* object, const char* name) {
  return json_value_get_array(json_object_get_value(object, name));
}

double json_object_get_number(const JSON_Object* object, const char* name) {
  return json_value_get_number(json_object_get_value(object, name));
}

int json_object_get_boolean(const JSON_Object* object, const char* name) {
  return json_value_get_boolean(json_object_get_value(object, name));
}

int json_object_has_value(const JSON_Object* object, const char* name) {
  return json_object_get_value(object, name) != nullptr;
}

int json_object_has_value_of_type(const JSON_Object* object, const char* name,
                                  JSON_Value_Type type) {
  const JSON_Value* value = json_object_get_value(object, name);
  return value && json_value_get_type(value) == type;
}

JSON_Status json_object_set_value(JSON_Object* object, const char* name, JSON_Value* value) {
  if (!object || !name) return JSONFailure;
  return adopt(value, [&](vek::json::ValuePtr& owned) { object->set(name, owned); });
}

JSON_Status json_object_set_string(JSON_Object* object, const char* name, const char* text) {
  return give_new(json_value_init_string(text),
                  [&](JSON_Value* value) { return json_object_set_value(object, name, value); });
}

JSON_Status json_object_set_number(JSON_Object* object, const char* name, double number) {
  return give_new(json_value_init_number(number),
                  [&](JSON_Value* value) { return json_object_set_value(object, name, value); });
}

JSON_Status json_object_set_boolean(JSON_Object* object, const char* name, int boolean) {
  return give_new(json_value_init_boolean(boolean),
                  [&](JSON_Value* value) { return json_object_set_value(object, name, value); });
}

JSON_Status json_object_set_null(JSON_Object* object, const char* name) {
  return give_new(json_value_init_null(),
                  [&](JSON_Value* value) { return json_object_set_value(object, name, value); });
}

JSON_Status json_object_remove(JSON_Object* object, const char* name) {
  if (!object || !name) return JSONFailure;
  const size_t position = object->find(name);
  if (position == json_object_t::kNone) return JSONFailure;
  object->remove(position);
  return JSONSuccess;
}

#endif  // VEK_HAVE_PARSON
