// The JSON calls that the system uses.
//
// An installed parson serves them where there is one (VEK_HAVE_PARSON); otherwise json/ supplies
// the same calls, under the same names, with the same results and the same bytes. Providers hash
// pretty-printed text, so every byte of the printer counts. Only json_free_serialized_string
// leaves the library: callers free with it what the serialize functions of the schema code return.
//
// Ownership: json_parse_* and json_value_init_* give a value that json_value_free releases with all
// that hangs below it. A value that was set or appended belongs to its container. json_object_get_*
// and json_array_get_* lend. Numbers are doubles. Not locked: one document, one thread at a time.
// The built-in calls read and print numbers as in the C locale, whatever the host has set; an
// installed parson follows the host's LC_NUMERIC.
#ifndef VEK_JSON_JSON_H
#define VEK_JSON_JSON_H

#ifdef VEK_HAVE_PARSON

#include <parson.h>

#else

#include <stddef.h>

#include "json/json_types.h"
#include "utils/export.h"

VEK_C_BEGIN

typedef int JSON_Status;
enum json_result_t { JSONSuccess = 0, JSONFailure = -1 };

typedef int JSON_Value_Type;
enum json_value_type {
  JSONError = -1,
  JSONNull = 1,
  JSONString = 2,
  JSONNumber = 3,
  JSONObject = 4,
  JSONArray = 5,
  JSONBoolean = 6
};

JSON_Value* json_parse_file(const char* path);
JSON_Value* json_parse_string(const char* text);

JSON_Value* json_value_init_object(void);
JSON_Value* json_value_init_array(void);
JSON_Value* json_value_init_string(const char* text);  // null when not valid UTF-8
JSON_Value* json_value_init_number(double number);     // null for NaN and infinities
JSON_Value* json_value_init_boolean(int boolean);
JSON_Value* json_value_init_null(void);
JSON_Value* json_value_deep_copy(const JSON_Value* value);
void json_value_free(JSON_Value* value);

JSON_Value_Type json_value_get_type(const JSON_Value* value);
JSON_Object* json_value_get_object(const JSON_Value* value);
JSON_Array* json_value_get_array(const JSON_Value* value);
const char* json_value_get_string(const JSON_Value* value);
size_t json_value_get_string_len(const JSON_Value* value);
double json_value_get_number(const JSON_Value* value);  // 0 when not a number
int json_value_get_boolean(const JSON_Value* value);    // -1 when not a boolean

size_t json_object_get_count(const JSON_Object* object);
const char* json_object_get_name(const JSON_Object* object, size_t index);
JSON_Value* json_object_get_value_at(const JSON_Object* object, size_t index);
JSON_Value* json_object_get_value(const JSON_Object* object, const char* name);
const char* json_object_get_string(const JSON_Object* object, const char* name);
JSON_Object* json_object_get_object(const JSON_Object* object, const char* name);
JSON_Array* json_object_get_array(const JSON_Object* object, const char* name);
double json_object_get_number(const JSON_Object* object, const char* name);
int json_object_get_boolean(const JSON_Object* object, const char* name);
int json_object_has_value(const JSON_Object* object, const char* name);
int json_object_has_value_of_type(const JSON_Object* object, const char* name,
                                  JSON_Value_Type type);

JSON_Status json_object_set_value(JSON_Object* object, const char* name, JSON_Value* value);
JSON_Status json_object_set_string(JSON_Object* object, const char* name, const char* text);
JSON_Status json_object_set_number(JSON_Object* object, const char* name, double number);
JSON_Status json_object_set_boolean(JSON_Object* object, const char* name, int boolean);
JSON_Status json_object_set_null(JSON_Object* object, const char* name);
JSON_Status json_object_remove(JSON_Object* object, const char* name);

size_t json_array_get_count(const JSON_Array* array);
JSON_Value* json_array_get_value(const JSON_Array* array, size_t index);
const char* json_array_get_string(const JSON_Array* array, size_t index);
JSON_Object* json_array_get_object(const JSON_Array* array, size_t index);
double json_array_get_number(const JSON_Array* array, size_t index);
JSON_Status json_array_append_value(JSON_Array* array, JSON_Value* value);
JSON_Status json_array_append_string(JSON_Array* array, const char* text);
JSON_Status json_array_append_number(JSON_Array* array, double number);

// Success when `value` has the shape of `schema`: an empty template array or object accepts any, a
// non-empty array checks every element against the template's first, an object needs every
// template key with that type, null accepts anything.
JSON_Status json_validate(const JSON_Value* schema, const JSON_Value* value);

// Freed with json_free_serialized_string; null on failure.
char* json_serialize_to_string(const JSON_Value* value);
char* json_serialize_to_string_pretty(const JSON_Value* value);
VEK_API void json_free_serialized_string(char* text);

VEK_C_END

#endif  // VEK_HAVE_PARSON

#endif  // VEK_JSON_JSON_H
