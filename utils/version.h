// Three-part versions, encoded in 32 bits: byte 0 major, byte 1 minor, upper 16 bits patch.
#ifndef VEK_UTILS_VERSION_H
#define VEK_UTILS_VERSION_H

#include <stdbool.h>
#include <stdint.h>

#include "utils/export.h"

#define VEK_VERSION_ENCODE(major, minor, patch) \
  ((uint32_t)(major) | ((uint32_t)(minor) << 8) | ((uint32_t)(patch) << 16))

VEK_C_BEGIN

VEK_API uint32_t vek_version(void);            // 71169
VEK_API const char* vek_version_string(void);  // "1.22.1"
// "%u.%u.%u" in one static buffer that the next call overwrites; not thread-safe.
VEK_API const char* vek_version_to_string(uint32_t version);
// 0 when fewer than two fields can be read.
VEK_API uint32_t vek_version_from_string(const char* text);
// Difference of majors, else of minors, as an unsigned value; the patch is never compared.
VEK_API uint32_t vek_version_compare(uint32_t a, uint32_t b);
VEK_API bool vek_versions_are_compatible(uint32_t document, uint32_t current);
VEK_API bool vek_version_strings_are_compatible(const char* document, const char* current);

VEK_C_END

#endif  // VEK_UTILS_VERSION_H
