// The 22 built-in scalar types. Ids start at 1; id 0 means "not built-in" wherever an id is stored.
#ifndef VEK_DATA_BUILTIN_TYPES_H
#define VEK_DATA_BUILTIN_TYPES_H

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

#include "json/json_types.h"
#include "utils/export.h"

VEK_C_BEGIN

typedef enum vek_builtin_type {
  VEK_TYPE_NONE = 0,
  VEK_TYPE_BOOL = 1,
  VEK_TYPE_CHAR = 2,
  VEK_TYPE_SHORT = 3,
  VEK_TYPE_INT = 4,
  VEK_TYPE_LONG = 5,
  VEK_TYPE_LONG_LONG = 6,
  VEK_TYPE_UNSIGNED_CHAR = 7,
  VEK_TYPE_UNSIGNED_SHORT = 8,
  VEK_TYPE_UNSIGNED_INT = 9,
  VEK_TYPE_UNSIGNED_LONG = 10,
  VEK_TYPE_UNSIGNED_LONG_LONG = 11,
  VEK_TYPE_FLOAT = 12,
  VEK_TYPE_DOUBLE = 13,
  VEK_TYPE_INT8 = 14,
  VEK_TYPE_INT16 = 15,
  VEK_TYPE_INT32 = 16,
  VEK_TYPE_INT64 = 17,
  VEK_TYPE_UINT8 = 18,
  VEK_TYPE_UINT16 = 19,
  VEK_TYPE_UINT32 = 20,
  VEK_TYPE_UINT64 = 21,
  VEK_TYPE_TIMESTAMP = 22
} vek_builtin_type_t;

typedef struct vek_builtin_type_row {
  uint32_t id;  // 0 in the last row
  const char* name;
  uint64_t size;  // bytes
} vek_builtin_type_row_t;

struct vek_type_definition;
struct vek_type_system;
struct vek_schema;

// The table, in order of ids, ended by a row whose id is 0.
const vek_builtin_type_row_t* vek_builtin_type_rows(void);
// Null when no row has the id.
VEK_API const char* vek_builtin_type_name(uint32_t id);
// 0 when no row has the id.
VEK_API uint64_t vek_builtin_type_size(uint32_t id);
// 0 unless the name is exactly a row's.
VEK_API uint32_t vek_builtin_type_from_name(const char* name);
// A new JSON number read from `bytes` (as many as the type's size); null for any other id.
VEK_API JSON_Value* vek_builtin_type_jsonify(uint32_t id, const uint8_t* bytes);
// New definitions into out[0..max); their count, or VEK_NOT_FOUND when one cannot be made.
VEK_API uint32_t vek_builtin_type_get_type_defs(struct vek_type_definition** out, uint32_t max);
// Appends one definition per row to the type system's built-in schema; false when they do not all
// fit or one cannot be made.
VEK_API bool vek_builtin_type_register_types(struct vek_type_system* type_system);
// Fills an empty schema with them.
VEK_API bool vek_schema_register_builtin_types(struct vek_schema* schema);
VEK_API void vek_builtin_type_print_info(FILE* stream);

VEK_C_END

#endif  // VEK_DATA_BUILTIN_TYPES_H
