// Include/exclude token filters such as "+a+b-c".
//
// Inclusive tokens are combined with AND; one matching exclusive token refuses the text. Matching
// ignores case; a token may be anchored with leading "^" and trailing "$".
#ifndef VEK_UTILS_FILTERS_H
#define VEK_UTILS_FILTERS_H

#include <stdbool.h>
#include <stdint.h>

#include "utils/export.h"

#define VEK_FILTER_MAX_TOKENS 32
#define VEK_FILTER_TOKEN_SIZE 128  // 127 characters and a terminator

VEK_C_BEGIN

typedef char vek_filter_token_t[VEK_FILTER_TOKEN_SIZE];

VEK_API bool vek_filter_get_incl_excl_tokens(const char* filter, vek_filter_token_t* incl,
                                             uint32_t* incl_count, vek_filter_token_t* excl,
                                             uint32_t* excl_count);
VEK_API bool vek_filter_match_single_token(const char* text, const char* token);
VEK_API bool vek_filter_have_match(const vek_filter_token_t* incl, uint32_t incl_count,
                                   const vek_filter_token_t* excl, uint32_t excl_count,
                                   const char* text);
VEK_API void vek_filter_to_lower(char* text);

VEK_C_END

#endif  // VEK_UTILS_FILTERS_H
