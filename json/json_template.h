// The check that every reader of a document makes first.
#ifndef VEK_JSON_JSON_TEMPLATE_H
#define VEK_JSON_JSON_TEMPLATE_H

#include "json/json.h"
#include "json/json_owned.h"

namespace vek {

// True when `json` has every key of the template text, each with the template's type. False for a
// null value and for a template that does not parse.
inline bool json_matches_template(const JSON_Value* json, const char* template_text) noexcept {
  const JsonValue shape(json_parse_string(template_text));
  return shape && json && json_validate(shape.get(), json) == JSONSuccess;
}

}  // namespace vek

#endif  // VEK_JSON_JSON_TEMPLATE_H
