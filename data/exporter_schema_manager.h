// The record through which a host lends its schemas to the plug-in for one call.
// schema_manager/fillings.h has ready-made fillings for hosts that hold a type system or a
// vek::SchemaManager.
#ifndef VEK_DATA_EXPORTER_SCHEMA_MANAGER_H
#define VEK_DATA_EXPORTER_SCHEMA_MANAGER_H

#include <stdint.h>

#include "data/data_page.h"
#include "data/schema.h"

#ifdef __cplusplus
namespace vek {
class SchemaManager;
}
typedef vek::SchemaManager vek_schema_manager_t;
#else
typedef struct vek_schema_manager vek_schema_manager_t;
#endif

VEK_C_BEGIN

struct vek_type_system;

// The type of an events block's records, found through the last schemas block (null when the page
// had none so far); null when it is not known.
typedef const vek_type_definition_t* (*vek_find_event_type_t)(
    void* context, const vek_schema_block_t* schema_block, const vek_event_header_t* events_block);

typedef struct vek_exporter_schema_manager {
  vek_find_event_type_t find_event_type;
  void* context;                              // first argument of find_event_type
  const struct vek_type_system* type_system;  // used when has_schema_manager is 0
  vek_schema_manager_t* schema_manager;       // used when has_schema_manager is not 0
  uint8_t has_schema_manager;
} vek_exporter_schema_manager_t;

VEK_C_END

#endif  // VEK_DATA_EXPORTER_SCHEMA_MANAGER_H
