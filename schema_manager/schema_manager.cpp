#include "schema_manager/schema_manager.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <utility>

#include "json/json.h"
#include "json/json_owned.h"
#include "utils/clock.h"
#include "utils/logger.h"
#include "utils/owned.h"

namespace vek {
namespace {

std::string schemaPath(const std::string& dir, const data::SchemaId& id) {
  return dir + "/schema_" + id.str() + ".json";
}

uint64_t nextSerial() {
  static std::atomic<uint64_t> last = 0;
  return ++last;
}

std::shared_ptr<vek_schema_t> makeBuiltinSchema() {
  std::shared_ptr<vek_schema_t> schema(
      vek_create_schema("<built-in>", VEK_SCHEMA_FORMAT_VERSION_ENCODED), vek_destroy_schema);
  if (!schema) throw std::runtime_error("[schema manager] failed to create builtin schema");
  if (!vek_schema_register_builtin_types(schema.get())) {
    VEK_LOGE("Failed to register built-in types");
    throw std::runtime_error("[schema manager] failed to register builtin types");
  }
  return schema;
}

data::SchemaId countersSchemaId(const vek_type_system_t& type_system) {
  uint8_t digest[VEK_SCHEMA_ID_SIZE];
  vek_copy_schema_id(digest, type_system.counters_schema_digest);
  if (vek_schema_id_is_unset(digest) &&
      !vek_calc_counters_schema_id(digest, type_system.counters_schema)) {
    throw std::runtime_error("[schema manager] failed to extract counters schema identifier");
  }
  return data::SchemaId(digest);
}

data::SchemaId eventsSchemaId(const vek_schema_t& schema) {
  uint8_t digest[VEK_SCHEMA_ID_SIZE];
  vek_copy_schema_id(digest, schema.digest);
  if (vek_schema_id_is_unset(digest) && !vek_schema_extract_id(&schema, digest)) {
    throw std::runtime_error("[schema manager] failed to extract schema identifier");
  }
  return data::SchemaId(digest);
}

}  // namespace

SchemaManager::SchemaManager() : serial_(nextSerial()), builtin_(makeBuiltinSchema()) {}

void SchemaManager::setSchemaDir(const std::string& dir) {
  const std::lock_guard<std::mutex> lock(mutex_);
  schema_dir_ = dir;
}

const vek_schema_t* SchemaManager::getBuiltinSchema() const { return builtin_.get(); }

std::shared_ptr<vek_counters_schema_t> SchemaManager::getCountersSchema(const data::SchemaId& id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto known = counters_schemas_.find(id);
  return known != counters_schemas_.end() ? known->second : tryLoadCountersSchema(id);
}

std::shared_ptr<vek_schema_t> SchemaManager::getEventsSchema(const data::SchemaId& id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto known = events_schemas_.find(id);
  return known != events_schemas_.end() ? known->second : tryLoadEventsSchema(id);
}

SchemaManager::EventsSchemas SchemaManager::getEventsSchemas() {
  EventsSchemas schemas;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    schemas.assign(events_schemas_.begin(), events_schemas_.end());
  }
  std::sort(schemas.begin(), schemas.end(),
            [](const auto& a, const auto& b) { return a.first.str() < b.first.str(); });
  return schemas;
}

size_t SchemaManager::countEventsSchemas() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return events_schemas_.size();
}

// A failed load leaves no entry, so that a file that arrives later is found.
std::shared_ptr<vek_counters_schema_t> SchemaManager::tryLoadCountersSchema(
    const data::SchemaId& id) {
  static LogRateLimit path_unset;
  static LogRateLimit load_failed;
  if (schema_dir_.empty()) {
    if (path_unset.due_at_level(VEK_LOG_ERROR)) {
      VEK_LOGE("[schema manager] schema path is unset, cannot find counters schema %s",
               id.str().c_str());
    }
    return {};
  }
  const std::string path = schemaPath(schema_dir_, id);
  vek_counters_schema_t* const loaded = vek_counters_schema_load(path.c_str());
  if (!loaded) {
    if (load_failed.due_at_level(VEK_LOG_WARNING)) {
      VEK_LOGW("[schema manager] no counters schema loaded from %s", path.c_str());
    }
    return {};
  }
  std::shared_ptr<vek_counters_schema_t> schema(loaded, vek_destroy_counters_schema);
  counters_schemas_.emplace(id, schema);
  return schema;
}

std::shared_ptr<vek_schema_t> SchemaManager::tryLoadEventsSchema(const data::SchemaId& id) {
  static LogRateLimit path_unset;
  static LogRateLimit load_failed;
  if (schema_dir_.empty()) {
    if (path_unset.due_at_level(VEK_LOG_ERROR)) {
      // "counters" here too: operators filter on this one text for both kinds of schema.
      VEK_LOGE("[schema manager] schema path is unset, cannot find counters schema %s",
               id.str().c_str());
    }
    return {};
  }
  const std::string path = schemaPath(schema_dir_, id);
  vek_schema_t* const loaded = vek_schema_load_from_file(path.c_str(), builtin_.get());
  if (!loaded) {
    if (load_failed.due_at_level(VEK_LOG_WARNING)) {
      VEK_LOGW("[schema manager] no events schema loaded from %s", path.c_str());
    }
    return {};
  }
  // Its fields point into the built-in schema, which therefore lives as long as it does.
  std::shared_ptr<vek_schema_t> schema(
      loaded, [builtin = builtin_](vek_schema_t* owned) { vek_destroy_schema(owned); });
  events_schemas_.emplace(id, schema);
  return schema;
}

void SchemaManager::appendTypeSystem(const std::shared_ptr<const vek_type_system_t>& type_system) {
  if (!type_system) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  // Stored schemas share ownership with their type system: they lie inside it.
  if (type_system->counters_schema) {
    counters_schemas_.try_emplace(countersSchemaId(*type_system), type_system,
                                  type_system->counters_schema);
  }
  for (uint8_t i = 0; i < type_system->num_schemas; ++i) {
    vek_schema_t* const schema = type_system->schemas[i];
    events_schemas_.try_emplace(eventsSchemaId(*schema), type_system, schema);
  }
  type_systems_.push_back(type_system);
}

void SchemaManager::appendTypeSystem(const std::string& text) {
  const JsonValue json(json_parse_string(text.c_str()));
  if (!json) throw std::runtime_error("[schema manager] failed parsing schema string");
  Owned<vek_type_system_t, vek_destroy_type_system> decoded(vek_type_system_from_json(json.get()));
  if (!decoded) {
    throw std::runtime_error("[schema manager] failed decoding type system json");
  }
  appendTypeSystem(std::shared_ptr<const vek_type_system_t>(std::move(decoded)));
}

}  // namespace vek
