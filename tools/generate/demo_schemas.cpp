#include "tools/generate/demo_schemas.h"

#include "json/json_owned.h"
#include "tools/generate/demo_events.h"
#include "tools/generate/demo_streams.h"
#include "utils/logger.h"

namespace vek::tools {
namespace {

bool add_file(DemoSchemaSet& set, const char* text, uint8_t* id) {
  if (!text || !vek_get_schema_id_from_pretty_json_string(text, id)) return false;
  std::array<char, VEK_SCHEMA_ID_TEXT_SIZE> id_text{};
  vek_schema_id_to_schema_string(id, id_text.data());
  set.files.push_back({std::string("schemas/schema_") + id_text.data() + ".json", text});
  return true;
}

bool make_counters(DemoSchemaSet& set) {
  set.groups = demo_groups();
  const OwnedCountersSchema schema = demo_counters_schema(set.groups);
  if (!schema) return false;
  const JsonText text(vek_counters_schema_serialize(schema.get()));
  if (!add_file(set, text.get(), set.counters_id.data())) return false;
  // A bare counters schema document is a type system without events.
  set.type_system.reset(vek_type_system_deserialize(text.get()));
  return set.type_system != nullptr;
}

bool add_streams(vek_type_system_t& type_system) {
  const OpaqueEventSchema schema(kDemoStreamEventSize);
  uint8_t index = 0;
  // Any document is tried as a counters schema too, which an events schema fails with an error
  // line.
  const uint32_t level = vek_set_log_level(0);
  const bool added = vek_type_system_add_schema_from_serialized_json(
                         &type_system, schema.document().c_str(), &index) == 0;
  vek_set_log_level(level);
  return added;
}

bool make_events(DemoSchemaSet& set) {
  if (!add_demo_events(*set.type_system) || !add_streams(*set.type_system)) return false;
  for (uint8_t i = 0; i < set.type_system->num_schemas; ++i) {
    const JsonValue json(vek_schema_jsonify(set.type_system->schemas[i]));
    const JsonText text(json_serialize_to_string_pretty(json.get()));
    std::array<uint8_t, VEK_SCHEMA_ID_SIZE> id{};
    if (!add_file(set, text.get(), id.data())) return false;
  }
  return true;
}

}  // namespace

bool make_demo_schemas(DemoSchemaSet& set) {
  if (!make_counters(set) || !make_events(set)) return false;
  const JsonText text(vek_type_system_serialize(set.type_system.get(), true));
  if (!text) return false;
  set.document = text.get();
  return true;
}

}  // namespace vek::tools
