// MD5, the digest behind schema identifiers (an identifier, not a safeguard).
#ifndef VEK_DATA_MD5_H
#define VEK_DATA_MD5_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "json/json_types.h"
#include "utils/export.h"

VEK_C_BEGIN

VEK_API bool vek_MD5(const void* data, size_t length, uint8_t* out_digest);
// The digest of a text's bytes without its terminator.
VEK_API bool vek_get_schema_id_from_pretty_json_string(const char* text, uint8_t* out_digest);
// The digest of the pretty-printed text of a JSON value.
VEK_API bool vek_type_system_get_json_schema_id(uint8_t* out_digest, const JSON_Value* json);

VEK_C_END

#endif  // VEK_DATA_MD5_H
