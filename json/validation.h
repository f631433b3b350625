// Checks the shape of a document against a template document.
#ifndef VEK_JSON_VALIDATION_H
#define VEK_JSON_VALIDATION_H

#include "json/value.h"

namespace vek::json {

// The rules stand at json_validate.
bool has_shape(const json_value_t& shape, const json_value_t& value);

}  // namespace vek::json

#endif  // VEK_JSON_VALIDATION_H
