// Life of schemas, types and fields, and look-ups by name.
#include "data/schema.h"

#include <cstdlib>
#include <cstring>

#include "data/printable.h"
#include "data/schema_owned.h"
#include "utils/logger.h"
#include "utils/pair_table.h"

namespace {

constexpr vek_pair_t kValueTypes[] = {
    {VEK_VALUE_ABSOLUTE, "ABSOLUTE"},
    {VEK_VALUE_RUNNING_SUM, "RUNNING_SUM"},
    {VEK_NOT_FOUND, nullptr},
};

template <typename T>
T* create_zeroed() {
  return static_cast<T*>(std::calloc(1, sizeof(T)));
}

// A copy of a text that may be absent; false only when memory runs out.
bool copy_text(const char* text, char*& out) {
  if (!text) return true;
  out = strdup(text);
  return out != nullptr;
}

}  // namespace

const char* vek_value_type_string(uint32_t value) { return pair_get_string(kValueTypes, value); }

uint32_t vek_value_type_from_string(const char* name) {
  if (!name) return VEK_NOT_FOUND;
  if (std::strcmp(name, "ABSOLUTE_MONOTONIC") == 0) return VEK_VALUE_RUNNING_SUM;
  return pair_get_number(kValueTypes, name);
}

vek_type_field_definition_t* vek_create_type_field_definition(void) {
  return create_zeroed<vek_type_field_definition_t>();
}

void vek_destroy_type_field_definition(vek_type_field_definition_t* field) {
  if (!field) return;
  std::free(field->field_name);
  std::free(field->description);
  std::free(field->type_name);
  std::free(field);
}

vek_type_field_definition_t* vek_type_field_definition_from_info(
    const vek_type_field_info_t* info) {
  if (!info) return nullptr;
  vek::OwnedField field(vek_create_type_field_definition());
  if (!field || !copy_text(info->field_name, field->field_name) ||
      !copy_text(info->description, field->description) ||
      !copy_text(info->type_name, field->type_name)) {
    return nullptr;
  }
  field->counting_mode = info->counting_mode;
  field->array_length = info->array_length;
  return field.release();
}

vek_type_definition_t* vek_create_type_definition(void) {
  return create_zeroed<vek_type_definition_t>();
}

void vek_destroy_type_definition(vek_type_definition_t* type) {
  if (!type) return;
  for (uint16_t i = 0; i < type->num_fields; ++i) {
    vek_destroy_type_field_definition(type->fields[i]);
  }
  std::free(type->fields);
  std::free(type->name);
  std::free(type);
}

vek_schema_t* vek_create_schema(const char* name, uint32_t provider_version) {
  vek::OwnedSchema schema(create_zeroed<vek_schema_t>());
  if (!schema || !copy_text(name, schema->provider_name)) return nullptr;
  schema->provider_version = provider_version;
  VEK_LOGD("clearing md5_digest of schema: %p", static_cast<void*>(schema.get()));
  vek_reset_schema_id(schema->digest);
  schema->id_string[0] = '\0';
  return schema.release();
}

void vek_destroy_schema(vek_schema_t* schema) {
  if (!schema) return;
  // Every slot, counted or not: a registration that failed half-way leaves its types behind.
  for (vek_type_definition_t* type : schema->types) vek_destroy_type_definition(type);
  std::free(schema->provider_name);
  std::free(schema);
}

vek_type_definition_t* vek_schema_find_type_definition(const vek_schema_t* schema,
                                                       const char* name) {
  if (!name) return nullptr;
  for (; schema; schema = schema->parent) {
    for (uint32_t i = 0; i < schema->num_types; ++i) {
      vek_type_definition_t* type = schema->types[i];
      if (type && type->name && std::strcmp(type->name, name) == 0) return type;
    }
  }
  return nullptr;
}

uint64_t vek_schema_sizeof_type(const vek_schema_t* schema, const char* name) {
  const vek_type_definition_t* type = vek_schema_find_type_definition(schema, name);
  return type ? type->size : 0;
}

bool vek_schema_adjust_field_type_references(const vek_schema_t* schema,
                                             vek_type_definition_t* type) {
  for (uint16_t i = 0; i < type->num_fields; ++i) {
    vek_type_field_definition_t* field = type->fields[i];
    field->type = vek_schema_find_type_definition(schema, field->type_name);
    if (!field->type) {
      VEK_LOGE("Definition of type %s not found within the schema %s",
               vek::printable(field->type_name), vek::printable(schema->provider_name));
      return false;
    }
  }
  return true;
}
