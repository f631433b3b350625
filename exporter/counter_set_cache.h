// CounterSetCache: the counter sets of one exporter, made on demand, one per counters schema
// identifier, and kept until they are cleared, or until there are too many (utils/limits.h): then
// all are forgotten, and made again as pages ask for them.
#ifndef VEK_EXPORTER_COUNTER_SET_CACHE_H
#define VEK_EXPORTER_COUNTER_SET_CACHE_H

#include <array>
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

class RecordPacker;

// A counter set as the block paths need it; set is null when there is none.
struct BoundCounterSet {
  vek_counter_set_t* set = nullptr;
  uint64_t block_extent = 0;       // bytes that a block must have for the set's values
  RecordPacker* packer = nullptr;  // of the set's records
};

class CounterSetCache {
 public:
  CounterSetCache();
  ~CounterSetCache();
  CounterSetCache(const CounterSetCache&) = delete;
  CounterSetCache& operator=(const CounterSetCache&) = delete;

  // The set of this schema's identifier, made with the file when it is new; owned by the cache. A
  // set that could not be made is remembered as null; a schema without an identifier has none and
  // leaves no entry.
  BoundCounterSet get(const vek_counters_schema_t* schema, const char* counterset_file);
  // The same for a page. A digest costs more than a hundred records, so a schema that was met
  // before is known by its serial number and its shape, without a look at its counters.
  BoundCounterSet get_for_page(const vek_counters_schema_t* schema, const char* counterset_file);
  // The same, null for a schema that was not met before.
  const BoundCounterSet* find_for_page(const vek_counters_schema_t& schema) const;
  void clear();

 private:
  struct Entry;
  // A schema that was met before.
  struct Known {
    uint64_t serial = 0;
    uint64_t shape = 0;
    const std::string* id = nullptr;
    BoundCounterSet bound;
  };

  // Null when the schema has no identifier; else valid until clear().
  const std::string* identifierOf(const vek_counters_schema_t& schema);
  BoundCounterSet findOrCreate(const std::string& id, const vek_counters_schema_t& schema,
                               const char* counterset_file);

  std::vector<std::unique_ptr<Entry>> csets_;  // in creation order
  std::map<std::string, int32_t> cset_index_by_schema_id_;

  std::unordered_map<std::string, std::string> id_by_signature_;
  std::string signature_;        // kept for its capacity
  std::array<Known, 16> known_;  // by the low bits of the serial number
};

}  // namespace vek

#endif  // VEK_EXPORTER_COUNTER_SET_CACHE_H
