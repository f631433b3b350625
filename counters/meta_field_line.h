// The parser of "meta_field_alias:" and "meta_field_add:" lines, shared by counter-set files and
// field-set files.
#ifndef VEK_COUNTERS_META_FIELD_LINE_H
#define VEK_COUNTERS_META_FIELD_LINE_H

#include <stdbool.h>

#include "utils/export.h"

#define VEK_SET_FILE_TEXT_SIZE 256

VEK_C_BEGIN

typedef struct set_file_parser_key_val_pair {
  char key[VEK_SET_FILE_TEXT_SIZE];
  char val[VEK_SET_FILE_TEXT_SIZE];
} set_file_parser_key_val_pair_t;

#ifdef __cplusplus
// False when the line does not hold the prefix, or holds it without "=". Otherwise true, with
// *found telling whether both key and value are non-empty. Texts longer than their buffer are cut.
VEK_API bool vek_set_file_parser_check_custom_meta_field(const char* line, const char* prefix,
                                                         set_file_parser_key_val_pair_t& pair,
                                                         bool* found);
#endif

VEK_C_END

#endif  // VEK_COUNTERS_META_FIELD_LINE_H
