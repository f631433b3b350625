#include "exporter/counter_set_cache.h"

#include <utility>

#include "counters/counters_msgpack.h"
#include "data/schema_id.h"
#include "data/type_system.h"
#include "exporter/counters_schema_signature.h"
#include "utils/logger.h"

namespace vek {
namespace {

constexpr const char* kGetter = "getCset";

template <typename A, typename B>
bool sameOwner(const A& a, const B& b) {
  return !a.owner_before(b) && !b.owner_before(a);
}

}  // namespace

BoundCounterSet CounterSetCache::get(const vek_counters_schema_t* schema,
                                     const char* counterset_file) {
  if (!schema) return {};
  const std::string* id = identifierOf(*schema);
  return id ? findOrCreate(*id, *schema, counterset_file) : BoundCounterSet{};
}

BoundCounterSet CounterSetCache::get(const std::shared_ptr<vek_counters_schema_t>& schema,
                                     const char* counterset_file) {
  if (!schema) return {};
  if (!last_id_ || last_address_ != schema.get() || !sameOwner(last_schema_, schema)) {
    last_id_ = identifierOf(*schema);
    last_address_ = schema.get();
    last_schema_ = schema;
  }
  return last_id_ ? findOrCreate(*last_id_, *schema, counterset_file) : BoundCounterSet{};
}

void CounterSetCache::clear() {
  for (OwnedSet& set : csets_) set.reset();
  csets_.clear();
  block_extents_.clear();
  cset_index_by_schema_id_.clear();
  id_by_signature_.clear();
  last_schema_.reset();
  last_address_ = nullptr;
  last_id_ = nullptr;
}

const std::string* CounterSetCache::identifierOf(const vek_counters_schema_t& schema) {
  makeCountersSchemaSignature(schema, signature_);
  const auto known = id_by_signature_.find(signature_);
  if (known != id_by_signature_.end()) return &known->second;
  uint8_t digest[VEK_SCHEMA_ID_SIZE];
  if (!vek_calc_counters_schema_id(digest, &schema)) {
    VEK_LOGD("[%s] counters schema without an identifier, no cset made", kGetter);
    return nullptr;
  }
  char id[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(digest, id);
  return &id_by_signature_.emplace(signature_, id).first->second;
}

BoundCounterSet CounterSetCache::findOrCreate(const std::string& id,
                                              const vek_counters_schema_t& schema,
                                              const char* counterset_file) {
  const auto known = cset_index_by_schema_id_.find(id);
  if (known != cset_index_by_schema_id_.end()) {
    VEK_LOGD("[%s] Found cset for schema id = '%s'", kGetter, id.c_str());
    const auto index = static_cast<size_t>(known->second);
    return {csets_[index].get(), block_extents_[index]};
  }
  VEK_LOGD("[%s] Creating new cset for schema id = '%s'", kGetter, id.c_str());
  csets_.emplace_back(vek_schema_to_counter_set(&schema, counterset_file));
  vek_counter_set_t* const set = csets_.back().get();
  block_extents_.push_back(set ? vek_counter_set_block_extent(set) : 0);
  cset_index_by_schema_id_.emplace(id, static_cast<int32_t>(csets_.size() - 1));
  return {set, block_extents_.back()};
}

}  // namespace vek
