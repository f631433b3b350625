#include "exporter/counter_set_cache.h"

#include <utility>

#include "counters/counters_msgpack.h"
#include "data/schema_id.h"
#include "data/type_system.h"
#include "exporter/counters_schema_signature.h"
#include "utils/clock.h"
#include "utils/limits.h"
#include "utils/logger.h"
#include "utils/record_packer.h"

namespace vek {
namespace {

constexpr const char* kGetter = "getCset";
constexpr char kFoundFormat[] = "[%s] Found cset for schema id = '%s'";

// What changes when counters are added to a schema, or its groups are exchanged.
[[gnu::always_inline]] inline uint64_t shapeOf(const vek_counters_schema_t& schema) {
  constexpr uint64_t kPrime = 0x100000001b3;
  uint64_t shape = schema.num_groups * kPrime + schema.size_of_counters;
  for (uint32_t i = 0; i < schema.num_groups; ++i) {
    const vek_counter_group_t* group = schema.groups[i];
    shape = (shape ^ reinterpret_cast<uintptr_t>(group)) * kPrime;
    shape = (shape ^ group->num_counters) * kPrime;
    shape = (shape ^ group->num_counter_sets) * kPrime;
  }
  return shape;
}

}  // namespace

struct CounterSetCache::Entry {
  Owned<vek_counter_set_t, vek_free_counter_set> set;
  uint64_t block_extent = 0;
  RecordPacker packer;

  BoundCounterSet bound() { return {set.get(), block_extent, &packer}; }
};

CounterSetCache::CounterSetCache() = default;
CounterSetCache::~CounterSetCache() = default;

BoundCounterSet CounterSetCache::get(const vek_counters_schema_t* schema,
                                     const char* counterset_file) {
  if (!schema) return {};
  const std::string* id = identifierOf(*schema);
  return id ? findOrCreate(*id, *schema, counterset_file) : BoundCounterSet{};
}

BoundCounterSet CounterSetCache::get_for_page(const vek_counters_schema_t* schema,
                                              const char* counterset_file) {
  if (!schema || schema->serial == 0) return get(schema, counterset_file);
  if (const BoundCounterSet* found = find_for_page(*schema)) return *found;
  Known& known = known_[schema->serial % known_.size()];
  known = {};
  const std::string* id = identifierOf(*schema);
  if (!id) return {};
  const BoundCounterSet bound = findOrCreate(*id, *schema, counterset_file);
  if (bound.set) known = {schema->serial, shapeOf(*schema), id, bound};
  return bound;
}

const BoundCounterSet* CounterSetCache::find_for_page(const vek_counters_schema_t& schema) const {
  const Known& known = known_[schema.serial % known_.size()];
  if (!known.id || known.serial != schema.serial || known.shape != shapeOf(schema)) return nullptr;
  VEK_LOGD(kFoundFormat, kGetter, known.id->c_str());
  return &known.bound;
}

void CounterSetCache::clear() {
  for (auto& entry : csets_) entry.reset();
  csets_.clear();
  cset_index_by_schema_id_.clear();
  id_by_signature_.clear();
  known_ = {};
}

const std::string* CounterSetCache::identifierOf(const vek_counters_schema_t& schema) {
  makeCountersSchemaSignature(schema, signature_);
  const auto known = id_by_signature_.find(signature_);
  if (known != id_by_signature_.end()) return &known->second;
  uint8_t digest[VEK_SCHEMA_ID_SIZE];
  if (!vek_calc_counters_schema_id(digest, &schema)) {
    static LogRateLimit limit;
    if (limit.due_at_level(VEK_LOG_ERROR)) {
      VEK_LOGE("[%s] counters schema without an identifier, no cset made", kGetter);
    }
    return nullptr;
  }
  if (id_by_signature_.size() >= limits::kCounterSets) {
    VEK_LOGW("[%s] more than %zu counters schemas: their counter sets are made anew", kGetter,
             limits::kCounterSets);
    clear();
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
    VEK_LOGD(kFoundFormat, kGetter, id.c_str());
    return csets_[static_cast<size_t>(known->second)]->bound();
  }
  VEK_LOGD("[%s] Creating new cset for schema id = '%s'", kGetter, id.c_str());
  auto entry = std::make_unique<Entry>();
  entry->set.reset(vek_schema_to_counter_set(&schema, counterset_file));
  if (!entry->set) {  // no memory: made by a later page
    static LogRateLimit limit;
    if (limit.due_at_level(VEK_LOG_ERROR)) {
      VEK_LOGE("[%s] no memory for the cset of schema id = '%s'", kGetter, id.c_str());
    }
    return {};
  }
  entry->block_extent = vek_counter_set_block_extent(entry->set.get());
  csets_.push_back(std::move(entry));
  cset_index_by_schema_id_.emplace(id, static_cast<int32_t>(csets_.size() - 1));
  return csets_.back()->bound();
}

}  // namespace vek
