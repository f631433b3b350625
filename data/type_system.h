// A type system: everything a consumer needs to decode one provider's data. The built-in schema,
// up to 255 events schemas that may refer to it, and one counters schema.
//
// One schema can carry different identifiers, depending on how it entered: the MD5 of the received
// text (add_schema_from_serialized_json), of the pretty-printed element (from_json), or of its own
// re-serialisation (update_md5_hashes, load from a file). Providers rely on all three.
#ifndef VEK_DATA_TYPE_SYSTEM_H
#define VEK_DATA_TYPE_SYSTEM_H

#include <stdbool.h>
#include <stdint.h>

#include "counters/counters_schema.h"
#include "data/schema.h"
#include "data/schema_id.h"
#include "json/json_types.h"
#include "utils/export.h"

#define VEK_MAX_SCHEMAS 255

VEK_C_BEGIN

typedef struct vek_type_system {
  vek_schema_t* builtin;                   // owned
  vek_schema_t* schemas[VEK_MAX_SCHEMAS];  // owned; filled without gaps
  uint8_t num_schemas;
  vek_counters_schema_t* counters_schema;              // owned; may be null
  uint8_t counters_schema_digest[VEK_SCHEMA_ID_SIZE];  // all zero until computed
} vek_type_system_t;

VEK_API vek_type_system_t* vek_create_type_system(void);
VEK_API void vek_destroy_type_system(vek_type_system_t* ts);

VEK_API vek_schema_t* vek_type_system_add_schema(vek_type_system_t* ts, const char* name,
                                                 uint32_t provider_version, uint8_t* out_index);
VEK_API void vek_type_system_remove_last_schema(vek_type_system_t* ts);
VEK_API bool vek_type_system_find_schema(const vek_type_system_t* ts, const char* id_text,
                                         uint8_t* out_index);
VEK_API bool vek_type_system_adjust_type_references(vek_type_system_t* ts, vek_schema_t* schema);
// Stores the same schema objects in dst; 0, or VEK_NOT_FOUND.
VEK_API uint32_t vek_type_system_clone_schemas(vek_type_system_t* dst, const vek_type_system_t* src,
                                               uint8_t* out_index);
VEK_API vek_schema_t* vek_type_system_load_schema(vek_type_system_t* ts, const char* path);
// 0, or VEK_NOT_FOUND. out_index receives 255 for a counters schema.
VEK_API uint32_t vek_type_system_add_schema_from_serialized_json(vek_type_system_t* ts,
                                                                 const char* text,
                                                                 uint8_t* out_index);
VEK_API void vek_type_system_update_md5_hashes(vek_type_system_t* ts);
VEK_API bool vek_calc_counters_schema_id(uint8_t* out_digest,
                                         const vek_counters_schema_t* counters_schema);
VEK_API uint64_t vek_type_system_get_max_event_type_size(const vek_type_system_t* ts);
VEK_API uint64_t vek_type_system_max_type_size(const vek_type_system_t* ts);

VEK_API JSON_Value* vek_type_system_jsonify(const vek_type_system_t* ts);
// Text freed with json_free_serialized_string.
VEK_API char* vek_type_system_serialize(const vek_type_system_t* ts, bool pretty);
VEK_API vek_type_system_t* vek_type_system_from_json(const JSON_Value* json);
VEK_API vek_type_system_t* vek_type_system_deserialize(const char* text);

#ifdef __cplusplus
// Nothing without a counters schema. A digest once computed is kept, even if the counters schema is
// replaced later: hosts have already announced it.
VEK_API void vek_type_system_fill_counter_schema_id(vek_type_system_t* ts,
                                                    vek::data::SchemaId* out_id);
#endif

VEK_C_END

#endif  // VEK_DATA_TYPE_SYSTEM_H
