// Definitions of the built-in types, made from their table, in schemas and type systems.
#include <cstring>

#include "data/builtin_types.h"
#include "data/schema_owned.h"
#include "data/type_system.h"

namespace {

vek::OwnedType make_definition(const vek_builtin_type_row_t& row) {
  vek::OwnedType type(vek_create_type_definition());
  if (!type) return nullptr;
  type->id = row.id;
  type->size = row.size;
  type->name = strdup(row.name);
  if (!type->name) return nullptr;
  return type;
}

}  // namespace

uint32_t vek_builtin_type_get_type_defs(vek_type_definition_t** out, uint32_t max) {
  uint32_t count = 0;
  for (const vek_builtin_type_row_t* row = vek_builtin_type_rows(); row->id != 0 && count < max;
       ++row) {
    vek::OwnedType type = make_definition(*row);
    if (!type) return VEK_NOT_FOUND;
    out[count++] = type.release();
  }
  return count;
}

bool vek_builtin_type_register_types(vek_type_system_t* type_system) {
  vek_schema_t* schema = type_system->builtin;
  if (schema->num_types > VEK_MAX_TYPES - 1) return false;
  for (const vek_builtin_type_row_t* row = vek_builtin_type_rows(); row->id != 0; ++row) {
    if (schema->num_types == VEK_MAX_TYPES) return false;
    vek::OwnedType type = make_definition(*row);
    if (!type) return false;
    schema->types[schema->num_types++] = type.release();
  }
  return true;
}

bool vek_schema_register_builtin_types(vek_schema_t* schema) {
  const uint32_t count = vek_builtin_type_get_type_defs(schema->types, VEK_MAX_TYPES);
  if (static_cast<int32_t>(count) < 0) return false;
  schema->num_types = static_cast<uint8_t>(count);
  return true;
}
