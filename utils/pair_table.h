// Name/value tables, ended by a row whose name is null.
#ifndef VEK_UTILS_PAIR_TABLE_H
#define VEK_UTILS_PAIR_TABLE_H

#include <stdint.h>

#include "utils/export.h"

VEK_C_BEGIN

typedef struct vek_pair {
  uint32_t value;    // VEK_NOT_FOUND in the last row
  const char* name;  // null in the last row
} vek_pair_t;

// Null when no row has the value.
VEK_API const char* pair_get_string(const vek_pair_t* table, uint32_t value);
// VEK_NOT_FOUND when no row has exactly this name.
VEK_API uint32_t pair_get_number(const vek_pair_t* table, const char* name);

VEK_C_END

#endif  // VEK_UTILS_PAIR_TABLE_H
