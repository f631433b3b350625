// Counter sets: which counters of a schema leave, under which names, with which meta fields.
#ifndef VEK_COUNTERS_COUNTER_SET_H
#define VEK_COUNTERS_COUNTER_SET_H

#include <stdbool.h>
#include <stdint.h>

#include "counters/counters_schema.h"
#include "counters/meta_field_line.h"
#include "utils/export.h"
#include "utils/string_array.h"

VEK_C_BEGIN

typedef struct vek_counter_set_element {
  char* name;  // owned; the counter's name, or its alias
  uint64_t name_len;
  uint32_t data_type;  // vek_data_type_t
  uint32_t length;     // bytes; for STRING its fixed size
  uint64_t offset;     // bytes from the start of the counters block, header included
} vek_counter_set_element_t;

typedef enum vek_meta_kind {
  VEK_META_COUNTER_ALIAS = 0,
  VEK_META_BUILTIN_ALIAS = 1,
  VEK_META_CONSTANT = 2
} vek_meta_kind_t;

typedef enum vek_meta_builtin {
  VEK_META_TIMESTAMP = 1,
  VEK_META_SOURCE = 2,
  VEK_META_TYPE = 3
} vek_meta_builtin_t;

typedef struct vek_counter_set_meta_element {
  uint32_t kind;  // vek_meta_kind_t
  char* name;     // owned; the output name
  uint64_t name_len;
  uint8_t skip;       // 1: not written
  char* source_name;  // owned; kind 0: the counter it stands for
  uint32_t builtin;   // kind 1: vek_meta_builtin_t
  char* constant;     // owned; kind 2: the value
  uint64_t constant_len;
  // Kind 0: the matched counter's entry; its name is borrowed from `name` above.
  vek_counter_set_element_t element;
} vek_counter_set_meta_element_t;

typedef struct vek_counter_plan vek_counter_plan_t;  // internal

typedef struct vek_counter_set {
  uint64_t num_meta;
  vek_counter_set_meta_element_t* meta;  // owned
  uint64_t num_shown_meta;
  uint64_t num_counters;
  vek_counter_set_element_t* counters;  // owned; in schema order
  uint64_t num_exported;
  uint8_t* skip;  // owned; one byte a counter, 1 = not exported
  char* name;     // owned; the file's name, or "default"
  // Owned; how records are packed, worked out when the set is made. Null works too, slower.
  vek_counter_plan_t* plan;
} vek_counter_set_t;

// Always a set, unless memory runs out or the schema is null: a file that cannot be read exports
// every counter.
VEK_API vek_counter_set_t* vek_schema_to_counter_set(const vek_counters_schema_t* schema,
                                                     const char* file_name);
// Null when `name` is null. Null tokens leave every counter skipped while num_exported stays at the
// counter count: callers rely on this asymmetry.
VEK_API vek_counter_set_t* vek_schema_and_tokens_to_counter_set(const vek_counters_schema_t* schema,
                                                                const char* name,
                                                                const vek_string_array_t* tokens);
VEK_API void vek_free_counter_set(vek_counter_set_t* set);
VEK_API void vek_counter_set_set_name(vek_counter_set_t* set, const char* name);
// To standard output, for debugging.
VEK_API void print_counter_set(const vek_counter_set_t* set);

VEK_C_END

#endif  // VEK_COUNTERS_COUNTER_SET_H
