// Events schemas: named, versioned lists of record types.
//
// A type is an ordered list of fields; a field refers by name to a built-in type or to a type of
// the schema or of its parent. Records are packed: fields lie back to back, without alignment.
// Schemas are built once and then only read; nothing here locks. Failures are logged and reported
// by null, false or a result code; nothing is thrown.
#ifndef VEK_DATA_SCHEMA_H
#define VEK_DATA_SCHEMA_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "data/builtin_types.h"
#include "data/md5.h"
#include "data/schema_id.h"
#include "json/json_types.h"
#include "utils/export.h"

#define VEK_MAX_TYPES 254
// Version of the schema document format, and of the built-in schema.
#define VEK_SCHEMA_FORMAT_VERSION "1.5.0"
#define VEK_SCHEMA_FORMAT_VERSION_ENCODED 1281u

VEK_C_BEGIN

typedef enum vek_value_type { VEK_VALUE_ABSOLUTE = 0, VEK_VALUE_RUNNING_SUM = 1 } vek_value_type_t;

typedef struct vek_type_definition vek_type_definition_t;
typedef struct vek_schema vek_schema_t;

typedef struct vek_type_field_definition {
  char* field_name;                   // owned
  char* description;                  // owned
  char* type_name;                    // owned
  uint64_t type_size;                 // bytes of one element
  uint32_t counting_mode;             // vek_value_type_t
  uint32_t array_length;              // 1 for a scalar
  uint64_t offset;                    // bytes from the start of the containing record
  const vek_type_definition_t* type;  // not owned; null until references are resolved
  uint16_t index;  // 0: not an index field; else its position among the index fields
} vek_type_field_definition_t;

struct vek_type_definition {
  char* name;   // owned
  uint32_t id;  // built-in id; 0 for defined types
  uint16_t num_fields;
  vek_type_field_definition_t** fields;  // owned
  uint64_t size;                         // bytes of one record
};

// One field of a type to be added; all strings are borrowed.
typedef struct vek_type_field_info {
  const char* field_name;
  const char* description;
  const char* type_name;
  uint32_t counting_mode;
  uint32_t array_length;
} vek_type_field_info_t;

struct vek_schema {
  uint32_t provider_version;                    // utils/version.h
  char* provider_name;                          // owned; may be null
  vek_type_definition_t* types[VEK_MAX_TYPES];  // owned; filled without gaps
  uint8_t num_types;
  const vek_schema_t* parent;          // not owned; consulted for names that are not found here
  uint8_t digest[VEK_SCHEMA_ID_SIZE];  // all zero until computed
  char id_string[VEK_SCHEMA_ID_TEXT_SIZE];  // empty until computed
};

VEK_API const char* vek_value_type_string(uint32_t value);
// VEK_NOT_FOUND for an unknown name; "ABSOLUTE_MONOTONIC" is accepted for "RUNNING_SUM".
VEK_API uint32_t vek_value_type_from_string(const char* name);

VEK_API vek_type_field_definition_t* vek_create_type_field_definition(void);
VEK_API void vek_destroy_type_field_definition(vek_type_field_definition_t* field);
VEK_API vek_type_field_definition_t* vek_type_field_definition_from_info(
    const vek_type_field_info_t* info);
VEK_API vek_type_definition_t* vek_create_type_definition(void);
VEK_API void vek_destroy_type_definition(vek_type_definition_t* type);
VEK_API vek_schema_t* vek_create_schema(const char* name, uint32_t provider_version);
VEK_API void vek_destroy_schema(vek_schema_t* schema);

// Searches the schema, then its parents; borrowed.
VEK_API vek_type_definition_t* vek_schema_find_type_definition(const vek_schema_t* schema,
                                                               const char* name);
VEK_API uint64_t vek_schema_sizeof_type(const vek_schema_t* schema, const char* name);

// 0 success, 1 out of memory or unresolvable field type, 2 name exists or a field name repeats,
// 3 a field's type is undefined, 5 the schema is full. A failure leaves the schema as it was.
VEK_API int vek_schema_add_type(vek_schema_t* schema, const char* name,
                                const vek_type_field_info_t* infos, uint32_t count,
                                uint8_t* out_index);
// 0, or 3 for a null argument or an index out of range.
VEK_API int vek_schema_set_field_indexes(vek_schema_t* schema, uint32_t type_index,
                                         const char* const* names, size_t count);
// A new array (freed by the caller) of borrowed names, in field order.
VEK_API const char** vek_schema_get_indexed_fields(const vek_schema_t* schema, uint32_t type_index,
                                                   size_t* out_count);
VEK_API bool vek_schema_adjust_field_type_references(const vek_schema_t* schema,
                                                     vek_type_definition_t* type);

// JSON form of schemas.
VEK_API JSON_Value* vek_type_field_definition_jsonify(const vek_type_field_definition_t* field);
VEK_API vek_type_field_definition_t* vek_type_field_definition_from_json(const JSON_Value* json);
VEK_API JSON_Value* vek_type_definition_jsonify(const vek_type_definition_t* type);
VEK_API vek_type_definition_t* vek_type_definition_from_json(const JSON_Value* json);
// Null for a schema without types.
VEK_API JSON_Value* vek_schema_jsonify(const vek_schema_t* schema);
// Null, with an info line, when the document is no events schema. References stay unresolved.
VEK_API vek_schema_t* vek_schema_from_json(const JSON_Value* json);
VEK_API vek_schema_t* vek_schema_load_from_file(const char* path, const vek_schema_t* parent);
// Text freed with json_free_serialized_string.
VEK_API char* vek_schema_serialize_type_definition(const vek_schema_t* schema, const char* name,
                                                   bool pretty);
VEK_API char* vek_type_definition_serialize(const vek_type_definition_t* type, bool pretty);

// JSON form of one raw record; `bytes` holds at least the type's size. Null, with an error, for a
// type that contains itself or whose fields lie outside its size.
VEK_API JSON_Value* vek_type_definition_jsonify_data(const vek_type_definition_t* type,
                                                     const uint8_t* bytes);
VEK_API JSON_Value* vek_type_field_definition_jsonify_data(const vek_type_field_definition_t* field,
                                                           const uint8_t* bytes);
VEK_API JSON_Value* vek_type_field_definition_jsonify_scalar(
    const vek_type_field_definition_t* field, const uint8_t* bytes);
VEK_API JSON_Value* vek_type_field_definition_jsonify_array(
    const vek_type_field_definition_t* field, const uint8_t* bytes);

// MD5 of the schema's pretty-printed JSON; false and untouched for a schema without types.
VEK_API bool vek_schema_extract_id(const vek_schema_t* schema, uint8_t* out_digest);
// Sets `digest` from the schema's own JSON, as far as it has any, and `id_string` from the digest.
void vek_schema_update_id(vek_schema_t* schema);

VEK_C_END

#endif  // VEK_DATA_SCHEMA_H
