// Ready-made fillings of vek_exporter_schema_manager_t, and a schema manager for hosts written in
// C. Nothing here throws. What a filling refers to must outlive its use.
#ifndef VEK_SCHEMA_MANAGER_FILLINGS_H
#define VEK_SCHEMA_MANAGER_FILLINGS_H

#include <stdbool.h>

#include "data/exporter_schema_manager.h"
#include "data/type_system.h"
#include "utils/export.h"

VEK_C_BEGIN

VEK_API void vek_exporter_schema_manager_from_type_system(const vek_type_system_t* type_system,
                                                          vek_exporter_schema_manager_t* out);
VEK_API void vek_exporter_schema_manager_from_manager(vek_schema_manager_t* manager,
                                                      vek_exporter_schema_manager_t* out);

// Null on failure. A null directory leaves it unset.
VEK_API vek_schema_manager_t* vek_schema_manager_create(const char* schema_dir_or_null);
VEK_API bool vek_schema_manager_append_type_system(vek_schema_manager_t* manager,
                                                   const char* json_text);
VEK_API void vek_schema_manager_destroy(vek_schema_manager_t* manager);

VEK_C_END

#endif  // VEK_SCHEMA_MANAGER_FILLINGS_H
