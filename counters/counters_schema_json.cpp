#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "counters/counters_schema.h"
#include "json/json.h"
#include "json/json_owned.h"
#include "json/json_template.h"
#include "utils/logger.h"
#include "utils/owned.h"
#include "utils/version.h"

namespace {

using Schema = vek::Owned<vek_counters_schema_t, vek_destroy_counters_schema>;

constexpr char kTitle[] = "Vekora performance counters collector";
constexpr char kVersion[] = "1.5.0";
constexpr char kTemplate[] = R"({"version" : "", "counter_groups" : []})";

vek::JsonValue groups_jsonify(const vek_counters_schema_t* schema) noexcept {
  vek::JsonValue json(json_value_init_array());
  JSON_Array* array = json_value_get_array(json.get());
  if (!array) return nullptr;
  for (uint32_t i = 0; schema->groups && i < schema->num_groups; ++i) {
    vek::JsonValue group(vek_counter_group_jsonify(schema->groups[i]));
    if (!group) {
      VEK_LOGE("Failed to JSONify counter group #%d", static_cast<int>(i));
      return nullptr;
    }
    if (json_array_append_value(array, group.get()) != JSONSuccess) {
      VEK_LOGE("Failed to append JSON array with counter group #%d", static_cast<int>(i));
      return nullptr;
    }
    (void)group.release();
  }
  return json;
}

// Only told, never enforced: collectors meet newer providers and must go on.
void report_version(const JSON_Object* object) noexcept {
  const char* version = json_object_get_string(object, "version");
  if (!vek_version_strings_are_compatible(version, kVersion)) {
    VEK_LOGE("Version '%s' of parsing schema is incompatible with current schema version '%s'",
             version, kVersion);
  }
}

bool read_groups(const JSON_Array* array, vek_counters_schema_t* schema) noexcept {
  const size_t count = json_array_get_count(array);
  if (count == 0) return true;
  schema->groups = static_cast<vek_counter_group_t**>(std::calloc(count, sizeof(void*)));
  if (!schema->groups) {
    VEK_LOGE("Failed to allocate counter groups array: %s", std::strerror(errno));
    return false;
  }
  for (size_t i = 0; i < count; ++i) {
    const JSON_Value* item = json_array_get_value(array, i);
    if (!item) {
      VEK_LOGE("Failed to get item #%d from groups array", static_cast<int>(i));
      return false;
    }
    vek_counter_group_t* group = vek_counter_group_from_json(item);
    if (!group) {
      VEK_LOGE("Failed to decode counter group from JSON");
      return false;
    }
    schema->groups[schema->num_groups++] = group;
  }
  return true;
}

}  // namespace

JSON_Value* vek_counters_schema_jsonify(const vek_counters_schema_t* schema) {
  if (!schema) return nullptr;
  vek::JsonValue json(json_value_init_object());
  if (!json) {
    VEK_LOGE("[%s] json_value_init_object() failed", __func__);
    return nullptr;
  }
  JSON_Object* object = json_value_get_object(json.get());
  if (!object) {
    VEK_LOGE("[%s] json_value_get_object() failed", __func__);
    return nullptr;
  }
  if (json_object_set_string(object, "title", kTitle) != JSONSuccess ||
      json_object_set_string(object, "version", kVersion) != JSONSuccess) {
    return nullptr;
  }
  vek::JsonValue groups = groups_jsonify(schema);
  if (!groups || json_object_set_value(object, "counter_groups", groups.get()) != JSONSuccess) {
    return nullptr;
  }
  (void)groups.release();
  return json.release();
}

vek_counters_schema_t* vek_counters_schema_from_json(const JSON_Value* json) {
  if (!vek::json_matches_template(json, kTemplate)) {
    VEK_LOGE("JSON does not match schema '%s'", kTemplate);
    return nullptr;
  }
  const JSON_Object* object = json_value_get_object(json);
  report_version(object);

  Schema schema(vek_create_counters_schema());
  if (!schema) {
    VEK_LOGE("Failed to allocate schema object: %s", std::strerror(errno));
    return nullptr;
  }
  const JSON_Array* groups = json_object_get_array(object, "counter_groups");
  if (!groups) {
    VEK_LOGE("Schema JSON is missing counter groups information");
    return nullptr;
  }
  if (!read_groups(groups, schema.get())) return nullptr;
  vek_counters_schema_update_counter_offsets(schema.get());
  schema->size_of_counters = vek_counters_schema_size_of_counters(schema.get());
  return schema.release();
}

// Operators search logs for the two messages as they are, word slip included.
char* vek_counters_schema_serialize(const vek_counters_schema_t* schema) {
  const vek::JsonValue json(vek_counters_schema_jsonify(schema));
  if (!json) {
    VEK_LOGE("Failed to JSONify counters schemaector schema");
    return nullptr;
  }
  char* text = json_serialize_to_string_pretty(json.get());
  if (!text) VEK_LOGE("Failed to serialize JSON counters schemaector schema");
  return text;
}

vek_counters_schema_t* vek_counters_schema_deserialize(const char* text) {
  const vek::JsonValue json(json_parse_string(text));
  if (!json) {
    VEK_LOGE("Failed parsing counters schema JSON from string");
    return nullptr;
  }
  return vek_counters_schema_from_json(json.get());
}
