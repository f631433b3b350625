// Groups of counters that one provider samples together.
#ifndef VEK_COUNTERS_COUNTER_GROUP_H
#define VEK_COUNTERS_COUNTER_GROUP_H

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

#include "counters/counter_data.h"
#include "json/json_types.h"
#include "utils/export.h"

VEK_C_BEGIN

typedef struct vek_counter_group vek_counter_group_t;
typedef struct vek_counter_provider vek_counter_provider_t;

// What a provider knows about one of its groups.
typedef struct vek_counter_provider_info {
  const char* name;
  void* context;
} vek_counter_provider_info_t;

// The collector-side source of counters. Every operation may be null; one that is null agrees.
struct vek_counter_provider {
  const char* name;
  bool (*create_group)(vek_counter_provider_t* provider, vek_counter_provider_info_t* info,
                       vek_counter_group_t* group);
  bool (*add_counter)(vek_counter_provider_t* provider, vek_counter_group_t* group,
                      const vek_counter_info_t* counter);
  bool (*start)(vek_counter_provider_t* provider, vek_counter_group_t* group);
  bool (*stop)(vek_counter_provider_t* provider, vek_counter_group_t* group, int argument);
};

struct vek_counter_group {
  vek_counter_provider_t* provider;   // not owned; null for groups read from JSON
  vek_counter_provider_info_t* info;  // not owned; null for groups read from JSON
  uint32_t granularity;               // vek_granularity_t
  uint32_t num_counter_sets;
  uint32_t num_counters;
  vek_counter_info_t** counters;  // owned
  char* name;                     // owned; may be null
  char* provider_name;            // owned; may be null
};

VEK_API vek_counter_group_t* vek_create_counter_group(vek_counter_provider_t* provider,
                                                      vek_counter_provider_info_t* info);
VEK_API bool vek_add_counter_to_group(vek_counter_group_t* group,
                                      const vek_counter_info_t* counter);
VEK_API bool vek_start_counting_group(vek_counter_group_t* group);
VEK_API bool vek_stop_counting_group(vek_counter_group_t* group);
VEK_API void vek_free_counter_group(vek_counter_group_t* group);
VEK_API void vek_destroy_counter_group(vek_counter_group_t* group);

VEK_API JSON_Value* vek_counter_group_jsonify(const vek_counter_group_t* group);
VEK_API vek_counter_group_t* vek_counter_group_from_json(const JSON_Value* json);

// `values` is the values area of a counters block, as large as the schema says.
VEK_API JSON_Value* vek_counter_set_values_jsonify(const vek_counter_group_t* group,
                                                   const void* values);
VEK_API JSON_Value* vek_counter_group_values_jsonify(const vek_counter_group_t* group,
                                                     const void* values);
VEK_API void vek_print_counter_group(const vek_counter_group_t* group, FILE* stream);
// Values by position (8-byte slots), not by the counters' offsets.
VEK_API void vek_print_counter_group_values(const vek_counter_group_t* group, const void* values,
                                            FILE* stream);
VEK_API void vek_reset_counter_group_values(const vek_counter_group_t* group, void* values);

VEK_C_END

#endif  // VEK_COUNTERS_COUNTER_GROUP_H
