// The API record: what a collector gets from the plug-in.
//
// Load libfluentbit_exporter.so, look up vek_exporter_get_api, then init, connect, any number of
// export_data_page, disconnect, destroy, all for one handle from one thread at a time. No exception
// leaves an entry point.
#ifndef VEK_EXPORTER_EXPORTER_API_H
#define VEK_EXPORTER_EXPORTER_API_H

#include <stdint.h>

#include "data/data_page.h"
#include "data/exporter_schema_manager.h"
#include "utils/dictionary.h"
#include "utils/export.h"

#define VEK_EXPORTER_API_VERSION 1
#define VEK_EXPORTER_MAX_PARAMS 32

VEK_C_BEGIN

typedef struct vek_exporter_api {
  int32_t version;
  const char* name;
  const char* description;
  // The handle, or null. Parameters: "fluentbit-config-dir" (required),
  // "fluentbit-export-interval" (optional; read, but not listed in param_names).
  void* (*init)(vek_dict_t* params);
  int (*connect)(void* exporter);  // 1, or 0 when an exception was caught
  int (*export_data_page)(void* exporter, const vek_data_page_t* page,
                          const vek_exporter_schema_manager_t* schema_manager);  // as connect
  void (*disconnect)(void* exporter);
  void (*destroy)(void* exporter);                    // accepts null
  vek_dict_t* (*get_custom_options)(void* exporter);  // borrowed
  void* reserved;                                     // null
  int32_t (*get_export_interval)(void* exporter);
  const char* param_names[VEK_EXPORTER_MAX_PARAMS];  // null after the last name
} vek_exporter_api_t;

VEK_API const vek_exporter_api_t* vek_exporter_get_api(void);

VEK_C_END

#endif  // VEK_EXPORTER_EXPORTER_API_H
