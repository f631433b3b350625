// Strict text conversions and small string utilities.
//
// Conversions return true and store the value, or return false and leave the output untouched.
// Functions that return char* return malloc'd text for the caller to free, null on failure.
#ifndef VEK_UTILS_STRINGS_H
#define VEK_UTILS_STRINGS_H

#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>  // strnlen is the C library's

#include "utils/export.h"

VEK_C_BEGIN

// Base 0 ("0x" and leading-0 octal accepted); nothing may follow the number. The unsigned forms
// accept a leading minus, as strtoul does.
VEK_API bool string_to_long(const char* text, long* out);
VEK_API bool string_to_unsigned_long(const char* text, unsigned long* out);
VEK_API bool string_to_long_long(const char* text, long long* out);
VEK_API bool string_to_unsigned_long_long(const char* text, unsigned long long* out);
VEK_API bool string_to_sizet(const char* text, size_t* out);
VEK_API bool string_to_u64(const char* text, uint64_t* out);
VEK_API bool string_to_u8(const char* text, uint8_t* out);
VEK_API bool string_to_u16(const char* text, uint16_t* out);
VEK_API bool string_to_u32(const char* text, uint32_t* out);
VEK_API bool bounded_string_to_int(const char* text, size_t length, int* out);

// True for a null pointer, "1", "True" and "true" only.
VEK_API bool vek_string_to_boolean(const char* text);
VEK_API const char* boolean_to_string(bool value);
// 0..15, or VEK_NOT_FOUND.
VEK_API uint32_t hex_char_to_int(char c);
VEK_API bool string_to_guid(const char* text, uint8_t out[16]);

// Trims in place; returns the first character that is not white space.
VEK_API char* trim_white_space(char* text);
VEK_API char* vek_vexpand_string_template(const char* format, va_list args)
    __attribute__((format(printf, 1, 0)));
VEK_API char* vek_expand_string_template(const char* format, ...)
    __attribute__((format(printf, 1, 2)));
VEK_API char* string_concat(const char* a, const char* b);
VEK_API char* string_concat_comma_separated_token(const char* list, const char* token);
// Position of the index-th occurrence (from 0; overlaps count).
VEK_API bool find_ith_substr(const char* text, const char* needle, size_t index,
                             size_t* out_position);
VEK_API char* get_allocated_basename(const char* path);
VEK_API bool vek_string_ends_with(const char* text, const char* suffix);
// Returns the number of bytes copied; always terminates unless dst_size is 0.
VEK_API size_t vek_strncpy(char* dst, size_t dst_size, const char* src, size_t n);
VEK_API void strncpy_visible_ascii(char* dst, const char* src, size_t size);
VEK_API void print_si_prefixed_value(FILE* stream, int width, long long value);

VEK_C_END

#endif  // VEK_UTILS_STRINGS_H
