// Look-ups: from what a page says to the type that was bound for it.

#include <algorithm>
#include <cstring>
#include <optional>

#include "data/byte_reader.h"
#include "data/schema_id.h"
#include "field_set/bound_type.h"
#include "utils/logger.h"

namespace vek {
namespace {

// A schemas block holds fewer identifiers than may be addressed: its own length decides.
std::optional<SchemaIdBytes> schemaIdAt(const vek_schema_block_t& block, uint8_t index) {
  const uint16_t length = block.length;
  const size_t offset = VEK_BLOCK_HEADER_SIZE + size_t{index} * VEK_SCHEMA_ID_SIZE;
  SchemaIdBytes id;
  if (!ByteReader(&block, length).read(offset, id)) return std::nullopt;
  return id;
}

std::string idText(const SchemaIdBytes& id) {
  char text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(id.data(), text);
  return text;
}

int32_t cacheIdOf(const FieldSetState& state, uint8_t schema_index,
                  const std::optional<SchemaIdBytes>& id) {
  static constexpr char kName[] = "GetSchemaId";
  if (schema_index > VEK_MAX_SCHEMA_INDEX) {
    VEK_LOGE("[%s] data block schema_index is corrupted = %d, should be less that %d", kName,
             schema_index, VEK_MAX_SCHEMA_INDEX + 1);
    return -1;
  }
  const std::string text = id ? idText(*id) : std::string();
  const int32_t cache_id = id ? state.cache_id(text) : -1;
  if (cache_id < 0) {
    VEK_LOGE("[%s] cannot find schema idx! schema_id = %s, event_block_header->schema_index = %d",
             kName, text.c_str(), schema_index);
    return -1;
  }
  VEK_LOGD("[%s] schema_id ='%s', cache id = %d", kName, text.c_str(), cache_id);
  return cache_id;
}

std::optional<SchemaIdBytes> namedSchemaId(uint8_t schema_index, const vek_schema_block_t* block) {
  if (!block || schema_index > VEK_MAX_SCHEMA_INDEX) return std::nullopt;
  return schemaIdAt(*block, schema_index);
}

// Identifiers are digests, so that any of their bytes scatter well.
size_t recentSlot(const SchemaIdBytes& id, uint16_t type_index) {
  uint64_t word;
  std::memcpy(&word, id.data(), sizeof(word));
  return (word ^ type_index) % FieldSetState::kRecentTypes;
}

}  // namespace

std::string schemaIdText(const vek_schema_t& schema) {
  std::string text(schema.id_string, strnlen(schema.id_string, sizeof(schema.id_string)));
  const bool has_text = text.find_first_not_of('0') != std::string::npos;
  if (has_text) return text;
  SchemaIdBytes id;
  std::copy_n(schema.digest, id.size(), id.begin());
  return idText(id);
}

int32_t FieldSetState::cache_id(const std::string& id_text) const {
  const auto found = cache_ids.find(id_text);
  return found == cache_ids.end() ? -1 : found->second;
}

int32_t FieldSetState::cache_id(const vek_event_header_t& header,
                                const vek_schema_block_t* block) const {
  return cacheIdOf(*this, header.schema_index, namedSchemaId(header.schema_index, block));
}

BoundType* FieldSetState::find_type(int32_t cache_id, uint64_t type_index) const {
  if (cache_id < 0 || static_cast<size_t>(cache_id) >= schemas.size()) return nullptr;
  const auto& types = schemas[static_cast<size_t>(cache_id)].types;
  return type_index < types.size() ? types[type_index].get() : nullptr;
}

// The header and the block may lie in a page that its producer still writes: what decides is read
// once.
BoundType* FieldSetState::find_type(const vek_event_header_t& header) {
  const uint8_t schema_index = header.schema_index;
  const uint16_t type_index = header.type_index;
  const std::optional<SchemaIdBytes> id = namedSchemaId(schema_index, last_schema_block);
  RecentType* slot = nullptr;
  if (id) {
    slot = &recent[recentSlot(*id, type_index)];
    // The look-up's debug line is wanted for every event.
    if (slot->type && slot->type_index == type_index && slot->schema_id == *id &&
        !VEK_LOG_ENABLED(VEK_LOG_DEBUG)) {
      return slot->type;
    }
  }
  BoundType* type = find_type(cacheIdOf(*this, schema_index, id), type_index);
  if (type) *slot = {*id, type_index, type};
  return type;
}

EventPlan& FieldSetState::plan_of(BoundType& type) const {
  if (!type.plan || type.plan_tables_version != tables_version) {
    type.plan = makeEventPlan(type, tables);
    type.plan_tables_version = tables_version;
  }
  return *type.plan;
}

}  // namespace vek
