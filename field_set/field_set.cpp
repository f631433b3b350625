#include "field_set/field_set.h"

#include <utility>

#include "field_set/bound_type.h"
#include "field_set/meta_fields.h"
#include "utils/logger.h"

namespace vek {

FieldSet::FieldSet() : state_(std::make_unique<FieldSetState>()) {}
FieldSet::~FieldSet() = default;

const std::map<std::string, std::vector<std::string>>& FieldSet::tokens_by_type() const {
  return state_->tables.tokens_by_type;
}

const std::map<std::string, FieldSet::NameMap>& FieldSet::meta_fields_aliases_by_type() const {
  return state_->tables.meta_fields_aliases_by_type;
}

const std::map<std::string, FieldSet::NameMap>& FieldSet::meta_fields_constants_by_type() const {
  return state_->tables.meta_fields_constants_by_type;
}

const std::vector<std::string>& FieldSet::types_of_interest() const {
  return state_->tables.types_of_interest;
}

const std::map<int32_t, std::string>& FieldSet::meta_field_names() {
  static const std::map<int32_t, std::string> names{
      {kMetaTimestamp, "timestamp"},
      {kMetaType, "type"},
      {kMetaTypeName, "type_name"},
      {kMetaSource, "source"},
  };
  return names;
}

void FieldSet::setObserver(FieldSetObserver* observer) { state_->observer = observer; }

void FieldSet::SaveLastSchemaBlock(const vek_schema_block_t* block) {
  state_->last_schema_block = block;
}

int32_t FieldSet::GetSchemaId(const vek_schema_t* schema) const {
  return schema ? state_->cache_id(schemaIdText(*schema)) : -1;
}

int32_t FieldSet::GetSchemaId(const char (&id)[VEK_SCHEMA_ID_TEXT_SIZE]) const {
  return state_->cache_id(std::string(id, strnlen(id, sizeof(id))));
}

int32_t FieldSet::GetSchemaId(const vek_event_header_t* header,
                              const vek_schema_block_t* block) const {
  return header ? state_->cache_id(*header, block) : -1;
}

int32_t FieldSet::GetSchemaId(const vek_event_header_t* header) const {
  return GetSchemaId(header, state_->last_schema_block);
}

uint64_t FieldSet::GetTypeSize(const vek_event_header_t* header) const {
  const BoundType* type = header ? state_->find_type(*header) : nullptr;
  return type ? type->record_size : 0;
}

uint64_t FieldSet::GetTypeSize(const vek_event_header_t* header,
                               const vek_schema_block_t* block) const {
  if (!header) return 0;
  const BoundType* type = state_->find_type(GetSchemaId(header, block), header->type_index);
  return type ? type->record_size : 0;
}

std::vector<field_t> FieldSet::getFields(const vek_event_header_t* header,
                                         const vek_schema_block_t* block) const {
  if (!header) return {};
  const BoundType* type = state_->find_type(GetSchemaId(header, block), header->type_index);
  return type ? type->field_set.fields : std::vector<field_t>();
}

std::vector<field_t> FieldSet::getFields(const vek_schema_t* schema, uint8_t type_id) const {
  const int32_t schema_id = GetSchemaId(schema);
  VEK_LOGD("FieldSet::getFields: schema_id = %d type_id=%d", schema_id, type_id);
  const BoundType* type = state_->find_type(schema_id, type_id);
  return type ? type->field_set.fields : std::vector<field_t>();
}

void FieldSet::PrepareAccess(uint8_t schema_id, uint16_t type_id) {
  const BoundType* type = state_->find_type(schema_id, type_id);
  if (type) {
    state_->prepared_fields = type->field_set.fields;
  } else {
    state_->prepared_fields.clear();
  }
}

const std::vector<field_t>& FieldSet::prepared_fields() const { return state_->prepared_fields; }

void FieldSet::PrintFieldSet() const { PrintFieldSet(state_->current); }

}  // namespace vek
