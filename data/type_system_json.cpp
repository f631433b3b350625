// JSON form of type systems.
#include <algorithm>

#include "counters/counters_schema.h"
#include "data/printable.h"
#include "data/type_system.h"
#include "data/type_system_slots.h"
#include "data/version_text.h"
#include "json/json_owned.h"
#include "utils/logger.h"
#include "utils/version.h"

namespace {

constexpr char kTitle[] = "Vekora type system";
constexpr char kFormatVersion[] = "1.5.0";
constexpr uint32_t kMinimalVersion = VEK_VERSION_ENCODE(1, 4, 0);
static_assert(kMinimalVersion == 1025);

vek::JsonValue schemas_jsonify(const vek_type_system_t* ts) {
  vek::JsonValue json(json_value_init_array());
  JSON_Array* array = json_value_get_array(json.get());
  if (!array) return nullptr;
  for (uint8_t i = 0; i < ts->num_schemas; ++i) {
    errno = 0;
    vek::JsonValue schema(vek_schema_jsonify(ts->schemas[i]));
    if (!schema && errno == ENOMEM) return nullptr;
    if (!schema) continue;  // without types
    if (json_array_append_value(array, schema.get()) != JSONSuccess) return nullptr;
    (void)schema.release();
  }
  return json;
}

bool set_counters_schema(JSON_Object* object, const vek_type_system_t* ts) {
  if (!ts->counters_schema) return true;
  vek::JsonValue json(vek_counters_schema_jsonify(ts->counters_schema));
  if (!json || json_object_set_value(object, "counters_schema", json.get()) != JSONSuccess) {
    VEK_LOGE("[ts] failed to serialize counters schema");
    return false;
  }
  (void)json.release();
  return true;
}

bool check_heading(const JSON_Value* json) {
  const JSON_Object* object = json_value_get_object(json);
  if (!object) {
    VEK_LOGE("[ts] Failed to deserialize: schema is not a JSON object");
    return false;
  }
  const char* version_text = json_object_get_string(object, "version");
  if (!version_text) {
    VEK_LOGE("[ts] Failed to deserialize: missing Vekora schema version");
    return false;
  }
  const uint32_t version = vek_version_from_string(version_text);
  if (static_cast<int32_t>(vek_version_compare(version, kMinimalVersion)) < 0) {
    VEK_LOGE(
        "[ts] Failed to deserialize: schema version %s is incompatible with the deserializer, "
        "the minimal supported schema version is %s",
        vek::VersionText(version).text, vek::VersionText(kMinimalVersion).text);
    return false;
  }
  return true;
}

vek::OwnedTypeSystem create_without_counters() {
  vek::OwnedTypeSystem ts(vek_create_type_system());
  if (!ts) {
    VEK_LOGE("[ts] Failed to deserialize: unable to create type system object");
    return nullptr;
  }
  vek_destroy_counters_schema(ts->counters_schema);
  ts->counters_schema = nullptr;
  return ts;
}

// Reads the counters schema, wherever the document has it; false when there should be one.
bool read_counters_schema(const JSON_Value* json, bool has_schemas, vek_type_system_t* ts) {
  const JSON_Object* object = json_value_get_object(json);
  if (const JSON_Value* counters = json_object_get_value(object, "counters_schema")) {
    ts->counters_schema = vek_counters_schema_from_json(counters);
    if (!ts->counters_schema) {
      VEK_LOGE("[ts] Failed to deserialize: unable to decode counters schema");
    }
    return ts->counters_schema != nullptr;
  }
  if (has_schemas) return true;
  if (!json_object_get_array(object, "counter_groups")) {
    VEK_LOGE(
        "[schema writer] schema was not recognized neither as type system nor as counters schema");
    return false;
  }
  ts->counters_schema = vek_counters_schema_from_json(json);
  if (!ts->counters_schema) {
    VEK_LOGE("[ts] Failed to deserialize: unable to decode JSON as counters schema");
  }
  return ts->counters_schema != nullptr;
}

bool read_schema(const JSON_Array* array, size_t position, vek_type_system_t* ts) {
  const JSON_Value* element = json_array_get_value(array, position);
  if (!element) {
    VEK_LOGE("[ts] Failed to deserialize: unable to get schema #%d from the array",
             static_cast<int>(position));
    return false;
  }
  vek_schema_t* schema = vek_schema_from_json(element);
  if (!schema) {
    VEK_LOGE("[ts] Failed to deserialize: unable to decode type schema");
    return false;
  }
  vek::store_schema(ts, schema);
  // The element as it stands, not what was understood of it: keys unknown here count too.
  if (!vek_type_system_get_json_schema_id(schema->digest, element)) {
    VEK_LOGE("[ts] Failed to fill schema '%s' md5 digest", vek::printable(schema->provider_name));
  }
  if (!vek_type_system_adjust_type_references(ts, schema)) {
    VEK_LOGE("[ts] Failed to deserialize: unable to adjust type fields of schema %s",
             vek::printable(schema->provider_name));
    return false;
  }
  return true;
}

bool read_schemas(const JSON_Array* array, vek_type_system_t* ts) {
  const size_t count = json_array_get_count(array);
  if (count > VEK_MAX_SCHEMAS) {
    VEK_LOGE("[ts] Failed to deserialize: number of schemas %zu exceeds limit %d", count,
             VEK_MAX_SCHEMAS);
  }
  for (size_t i = 0; i < std::min<size_t>(count, VEK_MAX_SCHEMAS); ++i) {
    if (!read_schema(array, i, ts)) return false;
  }
  return true;
}

}  // namespace

JSON_Value* vek_type_system_jsonify(const vek_type_system_t* ts) {
  if (!ts) return nullptr;
  vek::JsonValue json(json_value_init_object());
  JSON_Object* object = json_value_get_object(json.get());
  if (!object || json_object_set_string(object, "name", kTitle) != JSONSuccess ||
      json_object_set_string(object, "version", kFormatVersion) != JSONSuccess ||
      !set_counters_schema(object, ts)) {
    return nullptr;
  }
  vek::JsonValue schemas = schemas_jsonify(ts);
  if (!schemas || json_object_set_value(object, "schemas", schemas.get()) != JSONSuccess) {
    return nullptr;
  }
  (void)schemas.release();
  return json.release();
}

char* vek_type_system_serialize(const vek_type_system_t* ts, bool pretty) {
  const vek::JsonValue json(vek_type_system_jsonify(ts));
  if (!json) return nullptr;
  return pretty ? json_serialize_to_string_pretty(json.get())
                : json_serialize_to_string(json.get());
}

vek_type_system_t* vek_type_system_from_json(const JSON_Value* json) {
  if (!check_heading(json)) return nullptr;
  vek::OwnedTypeSystem ts = create_without_counters();
  if (!ts) return nullptr;
  const JSON_Array* schemas = json_object_get_array(json_value_get_object(json), "schemas");
  if (!read_counters_schema(json, schemas != nullptr, ts.get())) return nullptr;
  if (schemas && !read_schemas(schemas, ts.get())) return nullptr;
  return ts.release();
}

vek_type_system_t* vek_type_system_deserialize(const char* text) {
  const vek::JsonValue json(text ? json_parse_string(text) : nullptr);
  if (!json) {
    VEK_LOGE("Failed parsing schema JSON string");
    return nullptr;
  }
  return vek_type_system_from_json(json.get());
}
