// What crosses the boundary of the shared libraries, and how.
//
// Everything is compiled with hidden visibility; what carries VEK_API is visible to the host.
// Framework functions have C linkage, so that hosts find them with dlsym by their plain names.
#ifndef VEK_UTILS_EXPORT_H
#define VEK_UTILS_EXPORT_H

#define VEK_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define VEK_C_BEGIN extern "C" {
#define VEK_C_END }
#else
#define VEK_C_BEGIN
#define VEK_C_END
#endif

// The result of lookups that answer "none" in an unsigned 32-bit value (-1 when read as signed).
#define VEK_NOT_FOUND 0xFFFFFFFFu

#endif  // VEK_UTILS_EXPORT_H
