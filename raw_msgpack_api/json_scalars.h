// JSON text of single values, bytes that are no text included.
#ifndef VEK_RAW_MSGPACK_API_JSON_SCALARS_H
#define VEK_RAW_MSGPACK_API_JSON_SCALARS_H

#include <string>

#include "raw_msgpack_api/msgpack_token.h"
#include "utils/json_scalars.h"

namespace vek::engine {

using vek::append_json_double;
using vek::append_json_float;
using vek::append_json_signed;
using vek::append_json_string;
using vek::append_json_unsigned;

// Quoted base64, for bytes that are no text.
void append_json_base64(Bytes bytes, std::string& out);
// Quoted hexadecimal digits behind "0x".
void append_json_hex(Bytes bytes, std::string& out);

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_JSON_SCALARS_H
