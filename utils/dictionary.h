// vek_dict_t: the string-to-string dictionary in which a host hands over parameters.
//
// Keys and values are copies owned by the dictionary. No locking: fill it, then read it.
#ifndef VEK_UTILS_DICTIONARY_H
#define VEK_UTILS_DICTIONARY_H

#include <stdbool.h>
#include <stdint.h>

#include "utils/export.h"

VEK_C_BEGIN

// Open addressing; the i-th retry of a probe moves i buckets further.
typedef struct vek_dict_table {
  uint32_t bucket_count;  // 0 or a power of two
  uint32_t live_count;
  uint32_t used_count;      // live plus deleted slots
  uint32_t grow_threshold;  // floor(bucket_count * 0.77 + 0.5)
  uint32_t* slot_flags;     // 2 bits a bucket: bit 1 empty, bit 0 deleted; 16 buckets a word
  char** keys;
  char** values;
} vek_dict_table_t;

typedef struct vek_dict {
  vek_dict_table_t* table;
} vek_dict_t;

// Options of an extended opaque event are such a dictionary.
typedef vek_dict_t vek_custom_options;

typedef bool (*vek_dict_callback_t)(const char* key, const char* value, void* context);

VEK_API vek_dict_t* vek_dict_create(void);
// Adds or replaces; false when memory runs out or an argument is null.
VEK_API bool vek_dict_add(vek_dict_t* dict, const char* key, const char* value);
// Borrowed; null when absent or when the dictionary is null or empty.
VEK_API const char* vek_dict_get(const vek_dict_t* dict, const char* key);
VEK_API void vek_dict_delete(vek_dict_t* dict);
VEK_API vek_dict_t* vek_dict_dup(const vek_dict_t* dict);
// Calls back in bucket order; stops with false at the first callback that answers false.
VEK_API bool vek_dict_enum(const vek_dict_t* dict, vek_dict_callback_t callback, void* context);
VEK_API void vek_dict_dump(const vek_dict_t* dict, const char* title);

VEK_C_END

#endif  // VEK_UTILS_DICTIONARY_H
