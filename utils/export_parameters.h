// The parameters of an output plug-in: the "plugin_" lines of one exporter file, in file order.
// The plug-in hands this record to the engine's "init" unchanged, so both libraries share it.
#ifndef VEK_UTILS_EXPORT_PARAMETERS_H
#define VEK_UTILS_EXPORT_PARAMETERS_H

#include <stdbool.h>
#include <stdint.h>

#include "utils/export.h"

VEK_C_BEGIN

typedef struct fluentbit_export_parameter {
  char* name;
  char* value;
} fluentbit_export_parameter_t;

// A name may occur more than once; every occurrence is kept.
typedef struct fluentbit_export_parameters {
  int32_t count;
  fluentbit_export_parameter_t* params;
} fluentbit_export_parameters_t;

VEK_API fluentbit_export_parameters_t* fluentbit_export_init_parameters(void);
// Appends copies; false leaves the list unchanged.
VEK_API bool push_parameter(fluentbit_export_parameters_t* list, const char* name,
                            const char* value);
VEK_API void fluentbit_export_destroy_parameters(fluentbit_export_parameters_t* list);

VEK_C_END

#endif  // VEK_UTILS_EXPORT_PARAMETERS_H
