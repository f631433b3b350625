// The counters schema: names, types and places of the values in a counters data block.
//
// Read once, then only read. The schema's identifier (data/type_system.h) is the MD5 of the
// pretty-printed JSON made here.
#ifndef VEK_COUNTERS_COUNTERS_SCHEMA_H
#define VEK_COUNTERS_COUNTERS_SCHEMA_H

#include <stdbool.h>
#include <stdint.h>

#include "counters/counter_group.h"
#include "json/json_types.h"
#include "utils/export.h"

VEK_C_BEGIN

typedef struct vek_counters_schema {
  uint32_t size_of_counters;  // bytes of the values area
  uint32_t num_groups;
  vek_counter_group_t** groups;  // owned
  // Different for every schema that vek_create_counters_schema has made, also where a later one
  // lies at the same address; 0 for a schema made without it.
  uint64_t serial;
} vek_counters_schema_t;

VEK_API vek_counters_schema_t* vek_create_counters_schema(void);
VEK_API void vek_destroy_counters_schema(vek_counters_schema_t* schema);
// Takes the group over on success.
VEK_API bool vek_counters_schema_append_group(vek_counters_schema_t* schema,
                                              vek_counter_group_t* group);
VEK_API vek_counter_info_t* vek_counters_schema_get_counter_by_name(
    const vek_counters_schema_t* schema, const char* name);
// 0, with an error, when a group does not have exactly one counter set.
VEK_API uint32_t vek_counters_schema_number_of_counters(const vek_counters_schema_t* schema);
VEK_API uint32_t vek_counters_schema_total_number_of_counters(const vek_counters_schema_t* schema);
VEK_API uint32_t vek_counters_schema_size_of_counters(const vek_counters_schema_t* schema);
VEK_API void vek_counters_schema_update_counter_offsets(vek_counters_schema_t* schema);

VEK_API JSON_Value* vek_counters_schema_jsonify(const vek_counters_schema_t* schema);
VEK_API vek_counters_schema_t* vek_counters_schema_from_json(const JSON_Value* json);
// Pretty text, freed with json_free_serialized_string.
VEK_API char* vek_counters_schema_serialize(const vek_counters_schema_t* schema);
VEK_API vek_counters_schema_t* vek_counters_schema_deserialize(const char* text);
VEK_API vek_counters_schema_t* vek_counters_schema_load(const char* path);
// The file "schema_<identifier>.json" of a directory; null when the identifier is null or unset.
VEK_API vek_counters_schema_t* vek_counters_load_schema_from_dir(const uint8_t* id,
                                                                 const char* dir);

VEK_C_END

#endif  // VEK_COUNTERS_COUNTERS_SCHEMA_H
