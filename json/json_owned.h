// Unique ownership of JSON values and of serialised text.
#ifndef VEK_JSON_JSON_OWNED_H
#define VEK_JSON_JSON_OWNED_H

#include "json/json.h"
#include "utils/owned.h"

namespace vek {

using JsonValue = Owned<JSON_Value, json_value_free>;
using JsonText = Owned<char, json_free_serialized_string>;

}  // namespace vek

#endif  // VEK_JSON_JSON_OWNED_H
