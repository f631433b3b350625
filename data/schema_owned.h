// Unique ownership of schemas and their parts while they are being built.
#ifndef VEK_DATA_SCHEMA_OWNED_H
#define VEK_DATA_SCHEMA_OWNED_H

#include "data/schema.h"
#include "utils/owned.h"

namespace vek {

using OwnedField = Owned<vek_type_field_definition_t, vek_destroy_type_field_definition>;
using OwnedType = Owned<vek_type_definition_t, vek_destroy_type_definition>;
using OwnedSchema = Owned<vek_schema_t, vek_destroy_schema>;

}  // namespace vek

#endif  // VEK_DATA_SCHEMA_OWNED_H
