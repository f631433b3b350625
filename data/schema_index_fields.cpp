// Index fields: those of a type by which its records are told apart.
#include <cstdlib>
#include <cstring>

#include "data/printable.h"
#include "data/schema.h"
#include "utils/logger.h"
#include "utils/owned.h"

namespace {

constexpr char kSetter[] = "vek_schema_set_field_indexes";
constexpr char kFile[] = "data/schema";
constexpr int kInvalid = 3;

bool check_setter_arguments(const vek_schema_t* schema, uint32_t type_index,
                            const char* const* names) {
  if (!schema) {
    VEK_LOGE("[%s] Schema pointer is NULL!", kSetter);
    return false;
  }
  if (!names) {
    VEK_LOGE("[%s] Index names array is NULL!", kSetter);
    return false;
  }
  if (type_index >= schema->num_types) {
    VEK_LOGE("[%s] Invalid type_index: %u (out of range, max: %u)", kSetter, type_index,
             static_cast<unsigned>(schema->num_types - 1));
    return false;
  }
  return true;
}

vek_type_field_definition_t* find_field(const vek_type_definition_t* type, const char* name) {
  if (!name) return nullptr;
  for (uint16_t i = 0; i < type->num_fields; ++i) {
    vek_type_field_definition_t* field = type->fields[i];
    if (field->field_name && std::strcmp(field->field_name, name) == 0) return field;
  }
  return nullptr;
}

size_t count_indexed(const vek_type_definition_t* type) {
  size_t count = 0;
  for (uint16_t i = 0; i < type->num_fields; ++i) count += type->fields[i]->index != 0;
  return count;
}

}  // namespace

int vek_schema_set_field_indexes(vek_schema_t* schema, uint32_t type_index,
                                 const char* const* names, size_t count) {
  if (!check_setter_arguments(schema, type_index, names)) return kInvalid;
  const vek_type_definition_t* type = schema->types[type_index];
  for (uint16_t i = 0; i < type->num_fields; ++i) type->fields[i]->index = 0;
  if (count == 0) return 0;

  uint16_t next = 1;
  for (size_t i = 0; i < count; ++i) {
    if (vek_type_field_definition_t* field = find_field(type, names[i])) field->index = next++;
  }
  const unsigned assigned = static_cast<uint16_t>(next - 1);
  if (assigned != count) {
    VEK_LOGD("Mismatch in assigned indices: expected %zu, but assigned %u (%s).", count, assigned,
             vek::printable(type->name));
  }
  return 0;
}

const char** vek_schema_get_indexed_fields(const vek_schema_t* schema, uint32_t type_index,
                                           size_t* out_count) {
  if (!out_count) {
    VEK_LOGE("[%s %i] out_count is NULL", kFile, __LINE__);
    return nullptr;
  }
  *out_count = 0;
  if (!schema) {
    VEK_LOGE("[%s %i] schema is NULL", kFile, __LINE__);
    return nullptr;
  }
  if (type_index >= schema->num_types) {
    VEK_LOGE("[%s %i] type_index %u out of bounds (max: %u)", kFile, __LINE__, type_index,
             static_cast<unsigned>(schema->num_types - 1));
    return nullptr;
  }
  const vek_type_definition_t* type = schema->types[type_index];
  if (!type) {
    VEK_LOGE("[%s %i] schema->types[%u] is NULL", kFile, __LINE__, type_index);
    return nullptr;
  }
  const size_t count = count_indexed(type);
  // At least one slot, so that "no index fields" is told from "no memory".
  auto** names = static_cast<const char**>(std::calloc(count ? count : 1, sizeof(const char*)));
  if (!names) {
    VEK_LOGE("[%s %i] malloc failed for %zu fields", kFile, __LINE__, count);
    return nullptr;
  }
  for (uint16_t i = 0; i < type->num_fields; ++i) {
    const vek_type_field_definition_t* field = type->fields[i];
    if (field->index != 0) names[(*out_count)++] = field->field_name;
  }
  return names;
}
