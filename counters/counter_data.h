// One counter: its description, its JSON form and its value in a counters data block.
#ifndef VEK_COUNTERS_COUNTER_DATA_H
#define VEK_COUNTERS_COUNTER_DATA_H

#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

#include "data/data_page.h"
#include "json/json_types.h"
#include "utils/export.h"

VEK_C_BEGIN

typedef enum vek_data_type {
  VEK_DATA_TYPE_UNDEFINED = 0,
  VEK_DATA_TYPE_UINT64 = 1,
  VEK_DATA_TYPE_FP64 = 2,
  VEK_DATA_TYPE_BIT64 = 3,
  VEK_DATA_TYPE_INT64 = 4,
  VEK_DATA_TYPE_STRING = 5
} vek_data_type_t;

typedef enum vek_granularity {
  VEK_GRANULARITY_NODE = 0,
  VEK_GRANULARITY_CPU = 1,
  VEK_GRANULARITY_PACKAGE = 2
} vek_granularity_t;

typedef enum vek_counting_type {
  VEK_COUNTING_ABSOLUTE = 0,
  VEK_COUNTING_RUNNING_SUM = 1
} vek_counting_type_t;

typedef struct vek_counter_info {
  char* name;              // owned
  char* description;       // owned
  char* units;             // owned
  uint32_t data_type;      // vek_data_type_t
  uint32_t counting_type;  // vek_counting_type_t, or VEK_NOT_FOUND for an unknown name
  uint32_t offset;         // bytes from the start of the block's values
  uint32_t length;         // bytes; for STRING its fixed size, for other types 0 means 8
  uint32_t reserved;
  bool hidden;
  bool mandatory;
} vek_counter_info_t;

// Names of unknown values are null; values of unknown names are VEK_NOT_FOUND.
VEK_API const char* vek_data_type_string(uint32_t value);
VEK_API uint32_t vek_data_type_from_string(const char* name);
VEK_API const char* vek_granularity_string(uint32_t value);
VEK_API uint32_t vek_granularity_from_string(const char* name);
VEK_API const char* vek_counting_type_string(uint32_t value);
// Read from the table alone: "ABSOLUTE_MONOTONIC", which field value types accept, is unknown here.
VEK_API uint32_t vek_counting_type_from_string(const char* name);

// Frees the three strings, not the record.
VEK_API void vek_destroy_counter_info(vek_counter_info_t* counter);
// A new record; null when a copy fails.
VEK_API vek_counter_info_t* vek_counter_info_deep_copy(const vek_counter_info_t* counter);
VEK_API JSON_Value* vek_counter_info_jsonify(const vek_counter_info_t* counter);
VEK_API vek_counter_info_t* vek_counter_info_from_json(const JSON_Value* json);
// `value` points at the counter's own bytes: 8, or `width` characters of a STRING.
VEK_API void vek_print_counter_value(FILE* stream, const vek_counter_info_t* counter, int width,
                                     const void* value);

VEK_API void vek_counters_data_reset(vek_counters_block_t* block);
VEK_API void vek_counters_data_print_struct_layout(FILE* stream);
VEK_API void vek_counters_data_print_info(FILE* stream, const vek_counters_block_t* block);

VEK_C_END

#endif  // VEK_COUNTERS_COUNTER_DATA_H
