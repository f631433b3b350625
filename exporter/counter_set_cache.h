// CounterSetCache: the counter sets of one exporter, made on demand, one per counters schema
// identifier, and kept until they are cleared.
#ifndef VEK_EXPORTER_COUNTER_SET_CACHE_H
#define VEK_EXPORTER_COUNTER_SET_CACHE_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "counters/counter_set.h"
#include "counters/counters_schema.h"
#include "utils/owned.h"

namespace vek {

// A counter set as the block paths need it; set is null when there is none.
struct BoundCounterSet {
  vek_counter_set_t* set = nullptr;  // owned by the cache
  uint64_t block_extent = 0;         // bytes that a block must have for the set's values
};

class CounterSetCache {
 public:
  // The set of this schema's identifier, made with the file when it is new. A set that could not be
  // made is remembered as null; a schema without an identifier has none and leaves no entry.
  BoundCounterSet get(const vek_counters_schema_t* schema, const char* counterset_file);
  // The same, without a look at a schema that is the very object of the last call.
  BoundCounterSet get(const std::shared_ptr<vek_counters_schema_t>& schema,
                      const char* counterset_file);
  void clear();

 private:
  using OwnedSet = Owned<vek_counter_set_t, vek_free_counter_set>;

  // Null when the schema has no identifier; else valid until clear().
  const std::string* identifierOf(const vek_counters_schema_t& schema);
  BoundCounterSet findOrCreate(const std::string& id, const vek_counters_schema_t& schema,
                               const char* counterset_file);

  std::vector<OwnedSet> csets_;          // in creation order
  std::vector<uint64_t> block_extents_;  // of the sets at the same places
  std::map<std::string, int32_t> cset_index_by_schema_id_;

  std::unordered_map<std::string, std::string> id_by_signature_;
  std::string signature_;  // kept for its capacity

  // The schema of the last call that shared one. It is watched, not kept alive; unlike an address,
  // what a weak pointer watches is never taken for another schema.
  std::weak_ptr<vek_counters_schema_t> last_schema_;
  const vek_counters_schema_t* last_address_ = nullptr;
  const std::string* last_id_ = nullptr;
};

}  // namespace vek

#endif  // VEK_EXPORTER_COUNTER_SET_CACHE_H
