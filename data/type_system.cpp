// Life of type systems, and the schemas they hold.
#include "data/type_system.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "data/type_system_slots.h"
#include "json/json_owned.h"
#include "utils/logger.h"

namespace {

// Schemas of a type system document carry a digest without its text.
bool has_id_text(const vek_schema_t* schema, const char* id_text) {
  if (schema->id_string[0] != '\0' || vek_schema_id_is_unset(schema->digest)) {
    return std::strcmp(schema->id_string, id_text) == 0;
  }
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(schema->digest, text);
  return std::strcmp(text, id_text) == 0;
}

}  // namespace

vek_type_system_t* vek_create_type_system(void) {
  vek::OwnedTypeSystem ts(
      static_cast<vek_type_system_t*>(std::calloc(1, sizeof(vek_type_system_t))));
  if (!ts) return nullptr;
  ts->builtin = vek_create_schema("<built-in>", VEK_SCHEMA_FORMAT_VERSION_ENCODED);
  if (!ts->builtin) return nullptr;
  if (!vek_builtin_type_register_types(ts.get())) {
    VEK_LOGE("Failed to register built-in types");
    return nullptr;
  }
  ts->counters_schema = vek_create_counters_schema();
  if (!ts->counters_schema) {
    VEK_LOGE("Failed to create counters schema object");
    return nullptr;
  }
  return ts.release();
}

void vek_destroy_type_system(vek_type_system_t* ts) {
  if (!ts) return;
  for (vek_schema_t* schema : ts->schemas) vek_destroy_schema(schema);
  vek_destroy_schema(ts->builtin);
  vek_destroy_counters_schema(ts->counters_schema);
  std::free(ts);
}

vek_schema_t* vek_type_system_add_schema(vek_type_system_t* ts, const char* name,
                                         uint32_t provider_version, uint8_t* out_index) {
  if (!vek::has_free_slot(ts)) return nullptr;
  vek_schema_t* schema = vek_create_schema(name, provider_version);
  if (!schema) return nullptr;
  schema->parent = ts->builtin;
  vek_schema_update_id(schema);
  vek::report_slot(out_index, vek::store_schema(ts, schema));
  return schema;
}

void vek_type_system_remove_last_schema(vek_type_system_t* ts) {
  if (ts->num_schemas == 0) return;
  const uint8_t slot = --ts->num_schemas;
  vek_destroy_schema(ts->schemas[slot]);
  ts->schemas[slot] = nullptr;
}

bool vek_type_system_find_schema(const vek_type_system_t* ts, const char* id_text,
                                 uint8_t* out_index) {
  if (!id_text) return false;
  for (uint8_t i = 0; i < ts->num_schemas; ++i) {
    if (!has_id_text(ts->schemas[i], id_text)) continue;
    VEK_LOGD("Schema already exists %s", id_text);
    vek::report_slot(out_index, i);
    return true;
  }
  return false;
}

bool vek_type_system_adjust_type_references(vek_type_system_t* ts, vek_schema_t* schema) {
  schema->parent = ts->builtin;
  for (uint32_t i = 0; i < schema->num_types; ++i) {
    if (!vek_schema_adjust_field_type_references(schema, schema->types[i])) return false;
  }
  return true;
}

uint32_t vek_type_system_clone_schemas(vek_type_system_t* dst, const vek_type_system_t* src,
                                       uint8_t* out_index) {
  for (uint8_t i = 0; i < src->num_schemas; ++i) {
    // There is no slot behind the last one, whatever the limit.
    if (!vek::has_free_slot(dst) || !vek_type_system_adjust_type_references(dst, src->schemas[i])) {
      VEK_LOGE("Cannot add schema to type system");
      return VEK_NOT_FOUND;
    }
    vek::report_slot(out_index, vek::store_schema(dst, src->schemas[i]));
  }
  return 0;
}

void vek_type_system_update_md5_hashes(vek_type_system_t* ts) {
  for (uint8_t i = 0; i < ts->num_schemas; ++i) vek_schema_update_id(ts->schemas[i]);
}

bool vek_calc_counters_schema_id(uint8_t* out_digest,
                                 const vek_counters_schema_t* counters_schema) {
  const vek::JsonValue json(vek_counters_schema_jsonify(counters_schema));
  return json && vek_type_system_get_json_schema_id(out_digest, json.get());
}

void vek_type_system_fill_counter_schema_id(vek_type_system_t* ts, vek::data::SchemaId* out_id) {
  if (!ts->counters_schema) return;
  if (vek_schema_id_is_unset(ts->counters_schema_digest)) {
    (void)vek_calc_counters_schema_id(ts->counters_schema_digest, ts->counters_schema);
  }
  try {
    *out_id = vek::data::SchemaId(ts->counters_schema_digest);
  } catch (const std::bad_alloc&) {
    VEK_LOGD("no memory for the text of a counters schema identifier");
  }
}

uint64_t vek_type_system_get_max_event_type_size(const vek_type_system_t* ts) {
  constexpr uint64_t kLimit = std::numeric_limits<uint32_t>::max();
  uint64_t largest = 0;
  for (uint8_t i = 0; i < ts->num_schemas; ++i) {
    const vek_schema_t* schema = ts->schemas[i];
    for (uint8_t j = 0; j < schema->num_types; ++j) {
      largest = std::max(largest, std::min(schema->types[j]->size, kLimit));
    }
  }
  return largest;
}

uint64_t vek_type_system_max_type_size(const vek_type_system_t* ts) {
  const uint64_t counters = ts->counters_schema ? ts->counters_schema->size_of_counters : 0;
  return std::max(counters, vek_type_system_get_max_event_type_size(ts));
}
