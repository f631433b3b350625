// JSON form of whole schemas, schema files, and the identifier made from the text.
#include <cerrno>
#include <cstring>

#include "data/printable.h"
#include "data/schema.h"
#include "data/schema_owned.h"
#include "data/version_text.h"
#include "json/json_owned.h"
#include "json/json_template.h"
#include "utils/logger.h"
#include "utils/version.h"

namespace {

constexpr char kTitle[] = "Vekora schema";
constexpr char kTemplate[] =
    R"({"vek_version" : "", "provider_name" : "", "provider_version" : "", "types" : []})";

vek::JsonValue types_jsonify(const vek_schema_t* schema) {
  vek::JsonValue json(json_value_init_array());
  JSON_Array* array = json_value_get_array(json.get());
  if (!array) return nullptr;
  for (uint32_t i = 0; i < schema->num_types; ++i) {
    vek::JsonValue type(vek_type_definition_jsonify(schema->types[i]));
    if (!type ||
        json_object_set_number(json_value_get_object(type.get()), "type_index", i) != JSONSuccess ||
        json_array_append_value(array, type.get()) != JSONSuccess) {
      return nullptr;
    }
    (void)type.release();
  }
  return json;
}

bool set_heading(JSON_Object* object, const vek_schema_t* schema) {
  const vek::VersionText version(schema->provider_version);
  return json_object_set_string(object, "title", kTitle) == JSONSuccess &&
         json_object_set_string(object, "vek_version", VEK_SCHEMA_FORMAT_VERSION) == JSONSuccess &&
         (!schema->provider_name ||
          json_object_set_string(object, "provider_name", schema->provider_name) == JSONSuccess) &&
         json_object_set_string(object, "provider_version", version.text) == JSONSuccess;
}

bool read_types(const JSON_Array* array, vek_schema_t* schema) {
  const size_t count = json_array_get_count(array);
  if (count > VEK_MAX_TYPES) {
    VEK_LOGE("Schema '%s' has %zu types, more than VEK_MAX_TYPES = %d", schema->provider_name,
             count, VEK_MAX_TYPES);
    return false;
  }
  for (size_t i = 0; i < count; ++i) {
    const JSON_Value* item = json_array_get_value(array, i);
    if (!item) {
      VEK_LOGE("Failed to get type #%d from JSON array", static_cast<int>(i));
      return false;
    }
    vek_type_definition_t* type = vek_type_definition_from_json(item);
    if (!type) {
      VEK_LOGE("Failed to deserialize type #%d from JSON array", static_cast<int>(i));
      return false;
    }
    schema->types[schema->num_types++] = type;
  }
  return true;
}

bool adjust_all_references(const vek_schema_t* schema) {
  for (uint32_t i = 0; i < schema->num_types; ++i) {
    if (!vek_schema_adjust_field_type_references(schema, schema->types[i])) return false;
  }
  return true;
}

}  // namespace

JSON_Value* vek_schema_jsonify(const vek_schema_t* schema) {
  if (!schema || schema->num_types == 0) return nullptr;
  vek::JsonValue json(json_value_init_object());
  JSON_Object* object = json_value_get_object(json.get());
  if (!object || !set_heading(object, schema)) return nullptr;
  vek::JsonValue types = types_jsonify(schema);
  if (!types || json_object_set_value(object, "types", types.get()) != JSONSuccess) return nullptr;
  (void)types.release();
  return json.release();
}

vek_schema_t* vek_schema_from_json(const JSON_Value* json) {
  if (!vek::json_matches_template(json, kTemplate)) {
    VEK_LOGI("Not an event schema");
    return nullptr;
  }
  const JSON_Object* object = json_value_get_object(json);
  const char* version = json_object_get_string(object, "vek_version");
  if (!vek_version_strings_are_compatible(version, VEK_SCHEMA_FORMAT_VERSION)) {
    VEK_LOGE("Schema version %s is incompatible with current version %s", version,
             VEK_SCHEMA_FORMAT_VERSION);
    return nullptr;
  }
  const char* name = json_object_get_string(object, "provider_name");
  vek::OwnedSchema schema(vek_create_schema(
      name, vek_version_from_string(json_object_get_string(object, "provider_version"))));
  if (!schema) {
    VEK_LOGE("Failed to initialize '%s' schema: %s", name, std::strerror(errno));
    return nullptr;
  }
  if (!read_types(json_object_get_array(object, "types"), schema.get())) return nullptr;
  return schema.release();
}

vek_schema_t* vek_schema_load_from_file(const char* path, const vek_schema_t* parent) {
  const vek::JsonValue json = vek::parse_json_file(path);
  if (!json) {
    VEK_LOGE("Failed reading schema JSON from file '%s'", vek::printable(path));
    return nullptr;
  }
  vek::OwnedSchema schema(vek_schema_from_json(json.get()));
  if (!schema) return nullptr;
  schema->parent = parent;
  if (!adjust_all_references(schema.get())) return nullptr;
  vek_schema_update_id(schema.get());
  return schema.release();
}

bool vek_schema_extract_id(const vek_schema_t* schema, uint8_t* out_digest) {
  const vek::JsonValue json(vek_schema_jsonify(schema));
  return json && vek_type_system_get_json_schema_id(out_digest, json.get());
}

void vek_schema_update_id(vek_schema_t* schema) {
  if (!vek_schema_extract_id(schema, schema->digest) && schema->num_types != 0) {
    VEK_LOGE("Failed to fill schema '%s' md5 digest", vek::printable(schema->provider_name));
  }
  vek_schema_id_to_schema_string(schema->digest, schema->id_string);
}
