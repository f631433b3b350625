// Schemas that come into a type system one by one, as files and as received texts.
#include <utility>

#include "counters/counters_schema.h"
#include "data/printable.h"
#include "data/type_system.h"
#include "data/type_system_slots.h"
#include "json/json_owned.h"
#include "utils/logger.h"

namespace {

// What out_index receives for a counters schema, which has no slot.
constexpr uint8_t kNoSlot = 255;

void replace_counters_schema(vek_type_system_t* ts, vek::OwnedCountersSchema schema) {
  VEK_LOGD("FOUND COUNTERS SCHEMA");
  vek_destroy_counters_schema(ts->counters_schema);
  ts->counters_schema = schema.release();
}

bool find_digest(const vek_type_system_t* ts, const uint8_t* digest, uint8_t* out_index) {
  for (uint8_t i = 0; i < ts->num_schemas; ++i) {
    if (vek_compare_schema_id(ts->schemas[i]->digest, digest) != 0) continue;
    vek::report_slot(out_index, i);
    return true;
  }
  return false;
}

// The identifier is the digest of the text as it was received: that is what the sender's pages
// carry. Making it from the schema again would lose white space, and with it the match.
bool add_events_schema(vek_type_system_t* ts, vek::OwnedSchema schema, const char* text,
                       uint8_t* out_index) {
  if (!vek_get_schema_id_from_pretty_json_string(text, schema->digest)) return false;
  if (find_digest(ts, schema->digest, out_index)) {
    VEK_LOGD("Schema already exists");
    return true;
  }
  VEK_LOGD("FOUND EVENTS SCHEMA");
  vek_schema_id_to_schema_string(schema->digest, schema->id_string);
  const uint8_t slot = vek::store_schema(ts, schema.release());
  vek::report_slot(out_index, slot);
  // A field of an unknown type makes the schema poorer, not useless.
  (void)vek_type_system_adjust_type_references(ts, ts->schemas[slot]);
  return true;
}

}  // namespace

vek_schema_t* vek_type_system_load_schema(vek_type_system_t* ts, const char* path) {
  if (!vek::has_free_slot(ts)) {
    VEK_LOGE("Failed to load schema: schema limit exceeded '%u'",
             static_cast<unsigned>(ts->num_schemas));
    return nullptr;
  }
  const vek::JsonValue json = vek::parse_json_file(path);
  if (!json) {
    VEK_LOGE("Failed reading schema JSON from file '%s'", vek::printable(path));
    return nullptr;
  }
  vek::OwnedSchema schema(vek_schema_from_json(json.get()));
  if (!schema) return nullptr;
  if (!vek_type_system_adjust_type_references(ts, schema.get())) {
    VEK_LOGE("Failed to adjust type fields within schema %s",
             vek::printable(schema->provider_name));
    return nullptr;
  }
  return ts->schemas[vek::store_schema(ts, schema.release())];
}

uint32_t vek_type_system_add_schema_from_serialized_json(vek_type_system_t* ts, const char* text,
                                                         uint8_t* out_index) {
  if (!vek::has_free_slot(ts)) return VEK_NOT_FOUND;
  const vek::JsonValue json(text ? json_parse_string(text) : nullptr);
  if (!json) {
    VEK_LOGE("Failed to read schemas as JSON");
    return VEK_NOT_FOUND;
  }
  vek::OwnedSchema schema(vek_schema_from_json(json.get()));
  vek::OwnedCountersSchema counters(vek_counters_schema_from_json(json.get()));
  if (!schema && !counters) {
    VEK_LOGE("Failed to convert schema from JSON to internal memory representation");
    return VEK_NOT_FOUND;
  }
  if (counters) {
    replace_counters_schema(ts, std::move(counters));
    vek::report_slot(out_index, kNoSlot);
    return 0;
  }
  return add_events_schema(ts, std::move(schema), text, out_index) ? 0 : VEK_NOT_FOUND;
}
