// JSON text to a value tree.
//
// More than the grammar's own is accepted, because documents in the field rely on it: a trailing
// comma before ] or }, whatever stands behind the first value, any white space of C. Less is
// accepted too: duplicate keys and keys with an embedded NUL are refused.
#ifndef VEK_JSON_PARSER_H
#define VEK_JSON_PARSER_H

#include "json/value.h"

namespace vek::json {

// A value inside more containers than this is refused.
inline constexpr size_t kMaxNesting = 2048;

// The first value of a NUL-terminated text; null when it is refused.
ValuePtr parse(const char* text);

}  // namespace vek::json

#endif  // VEK_JSON_PARSER_H
