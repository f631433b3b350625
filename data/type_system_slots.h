// How schemas get into the slots of a type system; for the files that build one.
#ifndef VEK_DATA_TYPE_SYSTEM_SLOTS_H
#define VEK_DATA_TYPE_SYSTEM_SLOTS_H

#include <cstdint>

#include "data/schema_owned.h"
#include "data/type_system.h"
#include "utils/owned.h"

namespace vek {

using OwnedTypeSystem = Owned<vek_type_system_t, vek_destroy_type_system>;
using OwnedCountersSchema = Owned<vek_counters_schema_t, vek_destroy_counters_schema>;

inline bool has_free_slot(const vek_type_system_t* ts) { return ts->num_schemas < VEK_MAX_SCHEMAS; }

// Puts a schema into the next slot, which must be free, and answers its number.
inline uint8_t store_schema(vek_type_system_t* ts, vek_schema_t* schema) {
  const uint8_t slot = ts->num_schemas++;
  ts->schemas[slot] = schema;
  return slot;
}

inline void report_slot(uint8_t* out_index, uint8_t slot) {
  if (out_index) *out_index = slot;
}

}  // namespace vek

#endif  // VEK_DATA_TYPE_SYSTEM_SLOTS_H
