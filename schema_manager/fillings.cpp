#include "schema_manager/fillings.h"

#include <exception>
#include <memory>

#include "data/byte_reader.h"
#include "schema_manager/schema_manager.h"
#include "utils/logger.h"

namespace {

using vek::ByteReader;

// The identifier that an events block names, out of the schemas block of its page.
bool schemaIdOf(const vek_schema_block_t* schema_block, uint8_t schema_index,
                uint8_t (&out)[VEK_SCHEMA_ID_SIZE]) {
  if (!schema_block || schema_index > VEK_MAX_SCHEMA_INDEX) return false;
  uint16_t length = 0;
  if (!ByteReader(schema_block, sizeof schema_block->magic + sizeof length)
           .read(offsetof(vek_schema_block_t, length), length)) {
    return false;
  }
  const size_t offset =
      offsetof(vek_schema_block_t, schema_ids) + size_t{schema_index} * VEK_SCHEMA_ID_SIZE;
  // An unset identifier names nothing, not even a schema whose digest was never computed.
  return ByteReader(schema_block, length).read(offset, out) && !vek_schema_id_is_unset(out);
}

const vek_type_definition_t* typeAt(const vek_schema_t* schema, uint16_t type_index) {
  return schema && type_index < schema->num_types ? schema->types[type_index] : nullptr;
}

const vek_type_definition_t* findInTypeSystem(void* context, const vek_schema_block_t* schema_block,
                                              const vek_event_header_t* events_block) {
  const auto* type_system = static_cast<const vek_type_system_t*>(context);
  uint8_t id[VEK_SCHEMA_ID_SIZE];
  if (!type_system || !events_block || !schemaIdOf(schema_block, events_block->schema_index, id)) {
    return nullptr;
  }
  char id_text[VEK_SCHEMA_ID_TEXT_SIZE];
  vek_schema_id_to_schema_string(id, id_text);
  uint8_t index = 0;
  if (!vek_type_system_find_schema(type_system, id_text, &index)) return nullptr;
  return typeAt(type_system->schemas[index], events_block->type_index);
}

const vek_type_definition_t* findInManager(void* context, const vek_schema_block_t* schema_block,
                                           const vek_event_header_t* events_block) try {
  auto* manager = static_cast<vek::SchemaManager*>(context);
  uint8_t id[VEK_SCHEMA_ID_SIZE];
  if (!manager || !events_block || !schemaIdOf(schema_block, events_block->schema_index, id)) {
    return nullptr;
  }
  // The manager never lets go of a schema, so its types outlive this pointer's owner.
  const auto schema = manager->getEventsSchema(vek::data::SchemaId(id));
  return typeAt(schema.get(), events_block->type_index);
} catch (...) {
  return nullptr;
}

}  // namespace

void vek_exporter_schema_manager_from_type_system(const vek_type_system_t* type_system,
                                                  vek_exporter_schema_manager_t* out) {
  if (!out) return;
  *out = {};
  out->find_event_type = findInTypeSystem;
  out->context = const_cast<vek_type_system_t*>(type_system);  // only read, behind a void pointer
  out->type_system = type_system;
}

void vek_exporter_schema_manager_from_manager(vek_schema_manager_t* manager,
                                              vek_exporter_schema_manager_t* out) {
  if (!out) return;
  *out = {};
  out->find_event_type = findInManager;
  out->context = manager;
  out->schema_manager = manager;
  out->has_schema_manager = 1;
}

vek_schema_manager_t* vek_schema_manager_create(const char* schema_dir_or_null) try {
  auto manager = std::make_unique<vek::SchemaManager>();
  if (schema_dir_or_null) manager->setSchemaDir(schema_dir_or_null);
  return manager.release();
} catch (...) {
  return nullptr;
}

bool vek_schema_manager_append_type_system(vek_schema_manager_t* manager,
                                           const char* json_text) try {
  if (!manager || !json_text) return false;
  manager->appendTypeSystem(std::string(json_text));
  return true;
} catch (const std::exception& failure) {
  VEK_LOGD("%s", failure.what());
  return false;
} catch (...) {
  return false;
}

void vek_schema_manager_destroy(vek_schema_manager_t* manager) { delete manager; }
