// Counters schemas, type systems and pages for tests.
#ifndef VEK_TESTS_EXPORTER_SCHEMAS_H
#define VEK_TESTS_EXPORTER_SCHEMAS_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "counters/counters_schema.h"
#include "data/type_system.h"
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

inline OwnedTypeSystem typeSystem(OwnedCounters counters) {
  OwnedTypeSystem type_system(vek_create_type_system());
  type_system->counters_schema = counters.release();
  return type_system;
}

inline OwnedTypeSystem typeSystem(const std::vector<std::string>& names, int sets = 1) {
  return typeSystem(countersSchema(names, sets));
}

// The values area of a counters block.
inline std::vector<uint8_t> values(const std::vector<uint64_t>& numbers) {
  std::vector<uint8_t> bytes(numbers.size() * sizeof(uint64_t));
  if (!numbers.empty()) std::memcpy(bytes.data(), numbers.data(), bytes.size());
  return bytes;
}

}  // namespace vek::test

#endif  // VEK_TESTS_EXPORTER_SCHEMAS_H
