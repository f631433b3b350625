// JSON form of types.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "data/json_number.h"
#include "data/schema.h"
#include "data/schema_owned.h"
#include "json/json_owned.h"
#include "json/json_template.h"
#include "utils/logger.h"

namespace {

constexpr char kTemplate[] = R"({"name" : "", "size" : 0, "fields" : []})";
constexpr size_t kMaxFields = std::numeric_limits<uint16_t>::max();

vek::JsonValue fields_jsonify(const vek_type_definition_t* type) {
  vek::JsonValue json(json_value_init_array());
  JSON_Array* array = json_value_get_array(json.get());
  if (!array) return nullptr;
  for (uint16_t i = 0; i < type->num_fields; ++i) {
    vek::JsonValue field(vek_type_field_definition_jsonify(type->fields[i]));
    if (!field || json_array_append_value(array, field.get()) != JSONSuccess) return nullptr;
    (void)field.release();
  }
  return json;
}

bool read_fields(const JSON_Array* array, vek_type_definition_t* type) {
  const size_t count = json_array_get_count(array);
  if (count > kMaxFields) {
    VEK_LOGE("Type '%s' has %zu fields, more than %zu", type->name, count, kMaxFields);
    return false;
  }
  type->fields = static_cast<vek_type_field_definition_t**>(
      std::calloc(count ? count : 1, sizeof(vek_type_field_definition_t*)));
  if (!type->fields) {
    VEK_LOGE("Failed to allocate type definition object: %s", std::strerror(errno));
    return false;
  }
  for (size_t i = 0; i < count; ++i) {
    vek_type_field_definition_t* field =
        vek_type_field_definition_from_json(json_array_get_value(array, i));
    if (!field) return false;
    type->fields[type->num_fields++] = field;
  }
  return true;
}

}  // namespace

JSON_Value* vek_type_definition_jsonify(const vek_type_definition_t* type) {
  if (!type) return nullptr;
  vek::JsonValue json(json_value_init_object());
  JSON_Object* object = json_value_get_object(json.get());
  if (!object ||
      (type->name && json_object_set_string(object, "name", type->name) != JSONSuccess) ||
      json_object_set_number(object, "size", static_cast<double>(type->size)) != JSONSuccess) {
    return nullptr;
  }
  vek::JsonValue fields = fields_jsonify(type);
  if (!fields || json_object_set_value(object, "fields", fields.get()) != JSONSuccess) {
    return nullptr;
  }
  (void)fields.release();
  return json.release();
}

vek_type_definition_t* vek_type_definition_from_json(const JSON_Value* json) {
  if (!vek::json_matches_template(json, kTemplate)) {
    VEK_LOGE("Type definition JSON does not match schema '%s'", kTemplate);
    return nullptr;
  }
  const JSON_Object* object = json_value_get_object(json);
  const auto size = vek::json_number_to<uint64_t>(json_object_get_number(object, "size"));
  if (size == 0) return nullptr;

  vek::OwnedType type(vek_create_type_definition());
  if (type) type->name = strdup(json_object_get_string(object, "name"));
  if (!type || !type->name) {
    VEK_LOGE("Failed to allocate type definition object: %s", std::strerror(errno));
    return nullptr;
  }
  type->size = size;
  if (!read_fields(json_object_get_array(object, "fields"), type.get())) return nullptr;
  return type.release();
}

char* vek_type_definition_serialize(const vek_type_definition_t* type, bool pretty) {
  const vek::JsonValue json(vek_type_definition_jsonify(type));
  if (!json) return nullptr;
  return pretty ? json_serialize_to_string_pretty(json.get())
                : json_serialize_to_string(json.get());
}

char* vek_schema_serialize_type_definition(const vek_schema_t* schema, const char* name,
                                           bool pretty) {
  return vek_type_definition_serialize(vek_schema_find_type_definition(schema, name), pretty);
}
