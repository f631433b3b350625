// Unique ownership of JSON values and of serialised text.
#ifndef VEK_JSON_JSON_OWNED_H
#define VEK_JSON_JSON_OWNED_H

#include "json/json.h"
#include "utils/input_file.h"
#include "utils/owned.h"

namespace vek {

using JsonValue = Owned<JSON_Value, json_value_free>;
using JsonText = Owned<char, json_free_serialized_string>;

// Null, with errno where the file is the reason. Never waits, whatever the path leads to.
inline JsonValue parse_json_file(const char* path) {
#ifdef VEK_HAVE_PARSON
  if (!open_input_file(path)) return nullptr;  // parson's own call would wait for a pipe's writer
#endif
  return JsonValue(json_parse_file(path));
}

}  // namespace vek

#endif  // VEK_JSON_JSON_OWNED_H
