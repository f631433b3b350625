// vek_string_array_t: one allocated block of a count and that many owned strings.
//
// Operations that grow the array may move the block, so they take the address of the pointer.
#ifndef VEK_UTILS_STRING_ARRAY_H
#define VEK_UTILS_STRING_ARRAY_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "utils/export.h"

VEK_C_BEGIN

// The flexible array is C; both compilers have it in C++ too, but say so under -Wpedantic.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
typedef struct vek_string_array {
  uint64_t count;
  char* strings[];
} vek_string_array_t;
#pragma GCC diagnostic pop

VEK_API vek_string_array_t* vek_init_string_array(void);
// A null *array is allocated afresh; false for null text or when memory runs out.
VEK_API bool vek_append_string_array(vek_string_array_t** array, const char* text);
VEK_API void vek_free_string_array(vek_string_array_t* array);
VEK_API void vek_log_string_array(int priority, const vek_string_array_t* array, const char* name);
// On a failed copy *dst is freed and set to null.
VEK_API bool vek_string_array_join(vek_string_array_t** dst, const vek_string_array_t* src);
VEK_API bool vek_string_array_contains(const vek_string_array_t* array, const char* text);
VEK_API vek_string_array_t* vek_string_array_from_comma_separated_string(const char* text,
                                                                         size_t length);
VEK_API bool vek_string_array_remove_duplicates(vek_string_array_t** array, bool sorted);
VEK_API bool vek_string_array_append_file_lines(vek_string_array_t** array, const char* path,
                                                const char* what);

VEK_C_END

#endif  // VEK_UTILS_STRING_ARRAY_H
