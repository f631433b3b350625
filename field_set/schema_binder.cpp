#include "field_set/schema_binder.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "field_set/field_filter.h"
#include "utils/logger.h"

namespace vek {
namespace {

constexpr char kDefaultType[] = "default";
constexpr std::string_view kQuietType = "power";  // its interest is not logged
constexpr std::string_view kSkipsEmptyTexts = "kelvra_smi_event";

bool isWildcardHit(const std::string& entry, const std::string& type_name) {
  return entry.ends_with('*') &&
         type_name.starts_with(std::string_view(entry).substr(0, entry.size() - 1));
}

// Gives table[to] a copy of table[from]; false when that changes nothing.
template <typename Table>
bool copyEntry(Table& table, const std::string& from, const std::string& to) {
  const auto source = table.find(from);
  if (source == table.end()) return false;
  const auto value = source->second;
  auto& target = table[to];
  if (target == value) return false;
  target = value;
  return true;
}

}  // namespace

void SchemaBinder::bind(const std::vector<Candidate>& candidates) {
  state_.forget_recent();
  for (const Candidate& candidate : candidates) bind_schema(candidate);
}

// Ids are handed out one after the other in eight bits. Beyond 256 schemas they start again, and a
// schema then shares its place with an earlier one: hosts live with that.
uint8_t SchemaBinder::cache_id_for(const std::string& id_text) {
  const int32_t known = state_.cache_id(id_text);
  if (known >= 0) return static_cast<uint8_t>(known);
  const auto id = static_cast<uint8_t>(state_.cache_ids.size());
  state_.cache_ids[id_text] = id;
  return id;
}

void SchemaBinder::bind_schema(const Candidate& candidate) {
  const uint8_t cache_id = cache_id_for(candidate.id_text);
  VEK_LOGD("[%s] new_schm_id = %d, adding schema = %s", "GetSchemaId", cache_id,
           candidate.id_text.c_str());
  if (state_.schemas.size() <= cache_id) state_.schemas.resize(size_t{cache_id} + 1);
  auto& types = state_.schemas[cache_id].types;
  const vek_schema_t& schema = *candidate.schema;
  if (types.size() < schema.num_types) types.resize(schema.num_types);

  steps_left_ = limits_.steps;
  std::vector<BoundType*> bound_types;
  for (unsigned i = 0; i < schema.num_types && i < VEK_MAX_TYPES; ++i) {
    auto bound = std::make_unique<BoundType>();
    const vek_type_definition_t* type = schema.types[i];
    if (type) {
      bind_type(*bound, *type);
    } else {
      log_missing_type(candidate, i);
    }
    put_in_place(types[i], std::move(bound));
    bound_types.push_back(types[i].get());
  }
  // Last, for binding a type can change the tables of another.
  for (BoundType* bound : bound_types) state_.plan_of(*bound);
}

void SchemaBinder::put_in_place(std::unique_ptr<BoundType>& place,
                                std::unique_ptr<BoundType> bound) {
  state_.bound_fields += bound->field_set.fields.size();
  state_.bound_name_bytes += bound->name_bytes;
  state_.current = &bound->field_set;
  place.swap(bound);
  if (!bound) return;
  state_.bound_fields -= bound->field_set.fields.size();
  state_.bound_name_bytes -= bound->name_bytes;
}

bool SchemaBinder::flatten(BoundType& bound, const vek_type_definition_t& type, Names& names) {
  FlatteningLimits limits;
  limits.fields = std::min(limits.fields, limits_.fields - state_.bound_fields);
  limits.name_bytes = std::min(limits.name_bytes, limits_.name_bytes - state_.bound_name_bytes);
  limits.steps = std::min(limits.steps, steps_left_);
  Flattener flattener(bound, limits);
  const bool flattened = flattener.GetAllTypeNames(type, names);
  steps_left_ -= std::min(steps_left_, flattener.steps());
  if (!flattened) {
    VEK_LOGE("[FieldSet] type '%s' is left without fields: %s", bound.name.c_str(),
             flattener.error().c_str());
  }
  return flattened;
}

void SchemaBinder::log_missing_type(const Candidate& candidate, unsigned type_index) const {
  switch (origin_) {
    case Origin::kSchema:
      VEK_LOGE("Type definition %u not found", type_index);
      break;
    case Origin::kTypeSystem:
      VEK_LOGE("Type definition %u:%u not found", candidate.index, type_index);
      break;
    case Origin::kManager:
      VEK_LOGE("Type definition %u not found for schema %s", type_index, candidate.id_text.c_str());
      break;
  }
}

void SchemaBinder::bind_type(BoundType& bound, const vek_type_definition_t& type) {
  bound.name = type.name ? type.name : "";
  bound.record_size = type.size;
  Names names;
  if (!flatten(bound, type, names)) return;
  VEK_LOGD("types for td=%s", bound.name.c_str());
  for (const std::string& name : names) {
    VEK_LOGD("%s contains %s", bound.name.c_str(), name.c_str());
  }

  const bool is_quiet = bound.name == kQuietType;
  std::string entry;
  const bool is_of_interest = isTypeOfInterest(bound.name, names, entry);
  if (is_of_interest) {
    if (!is_quiet) VEK_LOGD("type [%s] is type of interest", bound.name.c_str());
    const std::vector<std::string> tokens = tokensOf(bound.name);
    FillAliases(bound);
    FilterWatched(bound.field_set, tokens, true, bound.name, state_.observer);
  } else {
    if (!is_quiet) VEK_LOGD("type [%s] is not type of interest", bound.name.c_str());
    for (field_t& field : bound.field_set.fields) field.skip = true;
    bound.field_set.num_included = 0;
  }
  if (origin_ != Origin::kSchema && bound.name.starts_with(kSkipsEmptyTexts)) {
    VEK_LOGD("[%s] Fields with empty strings will be skipped", bound.name.c_str());
    bound.field_set.skip_empty_strings = true;
  }
  if (state_.observer) {
    state_.observer->on_type(bound.name, is_of_interest, entry, bound.field_set);
  }
}

// Entries are tried in order. An entry may also name a type that fields inside this one have,
// built-in types included.
bool SchemaBinder::isTypeOfInterest(const std::string& type_name, const Names& names,
                                    std::string& entry) {
  const std::vector<std::string>& types = state_.tables.types_of_interest;
  if (types.empty()) return true;
  for (const std::string& listed : types) {
    entry = listed;
    if (isWildcardHit(listed, type_name)) {
      copyTables(listed, type_name);
      return true;
    }
    if (type_name == listed || names.contains(listed)) return true;
  }
  entry.clear();
  return false;
}

void SchemaBinder::copyTables(const std::string& from, const std::string& to) {
  FieldSetTables& tables = state_.tables;
  const bool tokens = copyEntry(tables.tokens_by_type, from, to);
  const bool constants = copyEntry(tables.meta_fields_constants_by_type, from, to);
  const bool aliases = copyEntry(tables.meta_fields_aliases_by_type, from, to);
  if (tokens || constants || aliases) ++state_.tables_version;
}

std::vector<std::string> SchemaBinder::tokensOf(const std::string& type_name) {
  FieldSetTables& tables = state_.tables;
  std::vector<std::string> tokens;
  if (!tables.types_of_interest.empty()) tokens = tables.tokens_by_type[type_name];
  const auto common = tables.tokens_by_type.find(kDefaultType);
  if (common != tables.tokens_by_type.end()) {
    tokens.insert(tokens.end(), common->second.begin(), common->second.end());
  }
  return tokens;
}

void SchemaBinder::FillAliases(BoundType& bound) const {
  const auto& table = state_.tables.meta_fields_aliases_by_type;
  const auto aliases = table.find(bound.name);
  if (aliases == table.end()) return;
  const std::vector<field_t>& fields = bound.field_set.fields;
  for (size_t i = 0; i < fields.size(); ++i) {
    if (aliases->second.contains(fields[i].name)) bound.aliased_fields.push_back(i);
  }
  for (const auto& [index, name] : FieldSet::meta_field_names()) {
    if (aliases->second.contains(name)) bound.aliased_meta_fields.push_back(index);
  }
}

}  // namespace vek
