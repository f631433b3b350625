// Texts of documents whose bytes are hashed.
#ifndef VEK_JSON_JSON_TEXT_H
#define VEK_JSON_JSON_TEXT_H

#include <cerrno>

#include "json/json.h"

namespace vek {

// A text that cannot be written (null, an unknown type's name) leaves its key out: schemas that
// carry one still have an identifier. One for which memory ran out must not: it would be another's.
inline bool set_text(JSON_Object* object, const char* key, const char* text) noexcept {
  errno = 0;
  return json_object_set_string(object, key, text) == JSONSuccess || errno != ENOMEM;
}

}  // namespace vek

#endif  // VEK_JSON_JSON_TEXT_H
