// Names of JSON values for public headers, so that programs built against the plug-in need no JSON
// library. The tags are parson's own: both declarations may meet in one translation unit.
#ifndef VEK_JSON_JSON_TYPES_H
#define VEK_JSON_JSON_TYPES_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct json_object_t JSON_Object;
typedef struct json_array_t JSON_Array;
typedef struct json_value_t JSON_Value;

#ifdef __cplusplus
}
#endif

#endif  // VEK_JSON_JSON_TYPES_H
