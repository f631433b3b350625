// One ".exp" file: the configuration of one destination.
#ifndef VEK_EXPORTER_EXP_CONFIG_H
#define VEK_EXPORTER_EXP_CONFIG_H

#include <stdint.h>

#include "utils/export.h"
#include "utils/export_parameters.h"
#include "utils/string_array.h"

VEK_C_BEGIN

// A zero-filled heap block; all strings are owned. A piece for which memory ran out is null.
typedef struct fluentbit_exporter_config {
  char* name;
  int32_t enable;  // 0: the file makes no exporter
  char* plugin_name;
  char* host;
  int32_t port;  // cut to 16 bits when it is used
  int32_t batch_mode;
  char* msgpack_data_layout;
  vek_string_array_t* source_tag_list;
  char* counterset;  // may be null
  char* fieldset;    // may be null
  fluentbit_export_parameters_t* params;
} fluentbit_exporter_config_t;

// A configuration with every default; null when out of memory.
VEK_API fluentbit_exporter_config_t* vek_create_exporter_config(void);
// Accepts null.
VEK_API void destroy_config(fluentbit_exporter_config_t* config);

VEK_C_END

#endif  // VEK_EXPORTER_EXP_CONFIG_H
