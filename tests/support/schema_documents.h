// Schemas and type systems for tests, as objects and as the documents that providers send.
#ifndef VEK_TESTS_SUPPORT_SCHEMA_DOCUMENTS_H
#define VEK_TESTS_SUPPORT_SCHEMA_DOCUMENTS_H

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "counters/counters_schema.h"
#include "data/schema_id.h"
#include "data/type_system.h"
#include "json/json_owned.h"
#include "utils/owned.h"

namespace vek::test {

using OwnedCounters = Owned<vek_counters_schema_t, vek_destroy_counters_schema>;
using OwnedTypeSystem = Owned<vek_type_system_t, vek_destroy_type_system>;

// The document of a schema whose one group holds these UINT64 counters.
inline std::string countersDocument(const std::vector<std::string>& names, int sets = 1) {
  std::string counters;
  for (const std::string& name : names) {
    counters += (counters.empty() ? "" : ",") + std::string("{\"name\":\"") + name +
                "\",\"description\":\"d\",\"units\":\"u\",\"data_type\":\"UINT64\","
                "\"counting_type\":\"ABSOLUTE\"}";
  }
  return "{\"title\":\"t\",\"version\":\"1.5.0\",\"counter_groups\":[{\"granularity\":\"NODE\","
         "\"name\":\"g\",\"num_counter_sets\":" +
         std::to_string(sets) + ",\"num_counters\":0,\"counters\":[" + counters + "]}]}";
}

inline OwnedCounters countersSchema(const std::vector<std::string>& names, int sets = 1) {
  return OwnedCounters(vek_counters_schema_deserialize(countersDocument(names, sets).c_str()));
}

// The identifier that the system works out for that schema.
inline std::string countersIdOf(const vek_counters_schema_t& schema) {
  uint8_t digest[VEK_SCHEMA_ID_SIZE] = {};
  if (!vek_calc_counters_schema_id(digest, &schema)) return "none";
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(digest, text);
  return text;
}
inline std::string countersIdOf(const std::vector<std::string>& names) {
  return countersIdOf(*countersSchema(names));
}

// A type system with these counters and no events schema.
inline OwnedTypeSystem typeSystem(const std::vector<std::string>& names, int sets = 1) {
  OwnedTypeSystem type_system(vek_create_type_system());
  vek_destroy_counters_schema(type_system->counters_schema);
  type_system->counters_schema = countersSchema(names, sets).release();
  return type_system;
}

// A new schema of the type system with one type of one scalar field; its digest is worked out.
inline vek_schema_t* addEvents(vek_type_system_t& type_system, const char* type,
                               const char* field_type) {
  vek_schema_t* schema = vek_type_system_add_schema(&type_system, type, 1, nullptr);
  const vek_type_field_info_t field = {"value", "", field_type, VEK_VALUE_ABSOLUTE, 1};
  if (!schema || vek_schema_add_type(schema, type, &field, 1, nullptr) != 0) return nullptr;
  vek_type_system_update_md5_hashes(&type_system);
  return schema;
}

inline std::string eventsDocument(const char* type, const char* field_type) {
  const OwnedTypeSystem type_system(vek_create_type_system());
  const JsonValue json(vek_schema_jsonify(addEvents(*type_system, type, field_type)));
  return JsonText(json_serialize_to_string_pretty(json.get())).get();
}

// Counters and one events schema with one type.
inline std::string typeSystemDocument(const std::vector<std::string>& names, const char* type) {
  const OwnedTypeSystem type_system = typeSystem(names);
  addEvents(*type_system, type, "uint64_t");
  return JsonText(vek_type_system_serialize(type_system.get(), true)).get();
}

// The values area of a counters block.
inline std::vector<uint8_t> values(const std::vector<uint64_t>& numbers) {
  std::vector<uint8_t> bytes(numbers.size() * sizeof(uint64_t));
  if (!numbers.empty()) std::memcpy(bytes.data(), numbers.data(), bytes.size());
  return bytes;
}

}  // namespace vek::test

#endif  // VEK_TESTS_SUPPORT_SCHEMA_DOCUMENTS_H
