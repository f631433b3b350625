// The three ways in which schemas reach a field set.

#include <algorithm>
#include <map>
#include <memory>
#include <utility>

#include "data/byte_reader.h"
#include "data/schema_id.h"
#include "field_set/bound_type.h"
#include "field_set/field_set.h"
#include "field_set/schema_binder.h"
#include "utils/logger.h"

namespace vek {
namespace {

using Candidates = std::vector<SchemaBinder::Candidate>;
using SchemasById = std::map<std::string, std::shared_ptr<vek_schema_t>>;

void bindAll(FieldSetState& state, SchemaBinder::Origin origin, const Candidates& candidates,
             const char* function) {
  if (candidates.empty()) return;
  VEK_LOGD("[%s] updating fset with %zu new schemas", function, candidates.size());
  SchemaBinder(state, origin).bind(candidates);
}

FieldSetState::SchemaIdentity identityOf(const vek_schema_t* schema) {
  FieldSetState::SchemaIdentity identity{};
  if (!schema) return identity;
  std::copy_n(schema->digest, identity.digest.size(), identity.digest.begin());
  std::copy_n(schema->id_string, identity.text.size(), identity.text.begin());
  return identity;
}

// Whether its schemas are those of a type system that brought none, by their identifiers: another
// schema may lie where one lay.
[[gnu::noinline]] bool hasNothingNew(const FieldSetState& state,
                                     const vek_type_system_t& type_system) {
  return std::equal(
      state.known_identities.begin(), state.known_identities.end(), type_system.schemas,
      type_system.schemas + type_system.num_schemas,
      [](const auto& known, const vek_schema_t* schema) { return known == identityOf(schema); });
}

void rememberIdentities(FieldSetState& state, const vek_type_system_t& type_system) {
  state.known_identities.clear();
  for (unsigned i = 0; i < type_system.num_schemas; ++i) {
    state.known_identities.push_back(identityOf(type_system.schemas[i]));
  }
}

[[gnu::noinline]] void bindNewSchemas(FieldSetState& state, const vek_type_system_t& type_system,
                                      bool force) {
  Candidates candidates;
  for (unsigned i = 0; i < type_system.num_schemas; ++i) {
    const vek_schema_t* schema = type_system.schemas[i];
    if (!schema) continue;
    std::string id_text = schemaIdText(*schema);
    const bool seen = std::any_of(candidates.begin(), candidates.end(), [&](const auto& candidate) {
      return candidate.id_text == id_text;
    });
    if (seen || (!force && state.cache_id(id_text) >= 0)) continue;
    VEK_LOGD("[%s] need to add schema '%s'", "updateWithNewSchemas", id_text.c_str());
    candidates.push_back({std::move(id_text), schema, i});
  }
  if (candidates.empty()) rememberIdentities(state, type_system);
  bindAll(state, SchemaBinder::Origin::kTypeSystem, candidates, "updateWithNewSchemas");
}

// Schemas that the page is about to use, which the manager may have to load first.
void findNamedSchemas(const FieldSetState& state, SchemaManager& manager, SchemasById& found) {
  if (!state.last_schema_block) return;
  const uint16_t length = state.last_schema_block->length;
  const ByteReader block(state.last_schema_block, length);
  for (size_t i = 0; i <= VEK_MAX_SCHEMA_INDEX; ++i) {
    SchemaIdBytes bytes;
    if (!block.read(VEK_BLOCK_HEADER_SIZE + i * VEK_SCHEMA_ID_SIZE, bytes)) return;
    if (vek_schema_id_is_unset(bytes.data()) || vek_schema_id_is_blob(bytes.data())) continue;
    const data::SchemaId id(bytes.data());
    if (state.cache_id(id.str()) >= 0) continue;
    if (auto schema = manager.getEventsSchema(id)) found.emplace(id.str(), std::move(schema));
  }
}

// Schemas that the manager gained since it was last asked.
void findHeldSchemas(FieldSetState& state, SchemaManager& manager, SchemasById& found) {
  const size_t count = manager.countEventsSchemas();
  if (state.known_manager == &manager && state.known_manager_schemas == count) return;
  for (auto& [id, schema] : manager.getEventsSchemas()) {
    if (state.cache_id(id.str()) < 0) found.emplace(id.str(), std::move(schema));
  }
  state.known_manager = &manager;
  state.known_manager_schemas = count;
}

}  // namespace

void FieldSet::updateWithNewSchema(const vek_schema_t* schema) {
  if (!schema) return;
  const Candidates candidates{{schemaIdText(*schema), schema, 0}};
  SchemaBinder(*state_, SchemaBinder::Origin::kSchema).bind(candidates);
}

void FieldSet::updateWithNewSchemas(const vek_type_system_t* type_system, bool force) {
  if (!type_system || type_system->num_schemas == 0) return;
  // Asked for every page, and seldom with an answer.
  if (!force && hasNothingNew(*state_, *type_system)) return;
  bindNewSchemas(*state_, *type_system, force);
}

void FieldSet::updateWithNewSchemas_kix(SchemaManager* schema_manager) {
  if (!schema_manager) return;
  SchemasById found;
  findNamedSchemas(*state_, *schema_manager, found);
  findHeldSchemas(*state_, *schema_manager, found);
  Candidates candidates;
  for (const auto& [id_text, schema] : found) {
    VEK_LOGD("[%s] need to add schema '%s'", "updateWithNewSchemas_kix", id_text.c_str());
    candidates.push_back({id_text, schema.get(), 0});
  }
  bindAll(*state_, SchemaBinder::Origin::kManager, candidates, "updateWithNewSchemas_kix");
}

}  // namespace vek
