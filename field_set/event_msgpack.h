// Single values of events, for callers that have a msgpack packer of their own.
#ifndef VEK_FIELD_SET_EVENT_MSGPACK_H
#define VEK_FIELD_SET_EVENT_MSGPACK_H

#include <msgpack.h>
#include <stddef.h>
#include <stdint.h>

#include "utils/export.h"

VEK_C_BEGIN

// Packs one value of a built-in type (vek_builtin_type_t); any other id packs the text "0". `value`
// holds the type's size, or `data_str_len` characters for "char" and "unsigned char". The field's
// name decides whether a uint64_t goes out as hexadecimal text.
VEK_API void fset_pack_builtin_type(msgpack_packer* packer, int type_id, const uint8_t* value,
                                    size_t data_str_len, const char* field_name);
// Packs the text up to its first NUL. Lengths are counted with 16 bits: characters from the 65536th
// on are not looked at.
VEK_API void fset_pack_string_type(msgpack_packer* packer, const uint8_t* chars, size_t length);

VEK_C_END

#endif  // VEK_FIELD_SET_EVENT_MSGPACK_H
